#ifndef SUPPORT_COREDOUBLE_H
#define SUPPORT_COREDOUBLE_H

#include "support/Journal.h"

#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <functional>

QT_BEGIN_NAMESPACE
class QDialog;
class QWidget;
QT_END_NAMESPACE

class ExtendDialog;
class WsSound;

namespace support
{

/// The host's core library as a recording double: it implements the classes of include/core. User-interface thread.
///
/// Making one starts afresh, as does deleting it; without one everything answers as by default. Journal:
///   ExtendDialog::ExtendDialog(ref parent, int flags, int widgetType), ExtendDialog::AddMainWidget(ref),
///   ExtendDialog::setWindowTitle(text), ExtendDialog::setWindowFlags(int), ExtendDialog::changeSize(width, height),
///   ExtendDialog::~ExtendDialog()
///   ExtendLineEdit::ExtendLineEdit(ref parent), WsMessageBox::WsMessageBox(ref parent)
///   WsSound::WsSound(file), WsSound::Play(), WsSound::Stop(), WsSound::~WsSound(file)
///   CommonUtils::GetMainWindow(), CommonUtils::MoveCentre(ref), CommonUtils::OpenUrl(url),
///   CommonUtils::WaitForThreadToStop(ref, int seconds), CommonUtils::GetPluginLibraryPath()
///   CommonUtils::ShowMessage(int icon, ref parent, title, text, button1, button2, button3, bool modal, int flags,
///                            bool outWanted, checkText, bool plainText)
///   Change::tr(key, group)
///
/// The frame is a plain QDialog with a close button that is its default button, as the contract says.
class CoreDouble
{
public:
    CoreDouble();
    ~CoreDouble();

    /// Answer of CommonUtils::GetMainWindow, at first null.
    void setMainWindow(QWidget *window);

    /// Answer of CommonUtils::GetPluginLibraryPath, at first "/plugin-library".
    void setPluginLibraryPath(const QString &path);

    /// Answer of CommonUtils::OpenUrl, at first true.
    void setOpenUrlResult(bool result);

    /// What the message is to do while it is 'open': it is given the box that stands in `*out`, and its result is that
    /// of ShowMessage. It may run an event loop, also `box->exec()`, or delete nothing. At first it is empty.
    void onShowMessage(std::function<int(QDialog *box)> hook);

    /// Answers of ShowMessage while there is no hook: the next ones in turn, then 1024.
    void answerMessage(int result);

    /// WaitForThreadToStop always waits; false makes it say that the thread did not stop.
    void setWaitResult(bool result);

    /// Runs in place of the waiting of WaitForThreadToStop, and gives its answer; empty ends it.
    void onWait(std::function<bool()> hook);

    /// Answer of WsSound::Play, at first true.
    void setPlayResult(bool result);

    /// Answer of Change::tr in place of "tr:" + group + ":" + key; empty brings that back.
    void setTranslator(std::function<QString(const QString &key, const QString &group)> translator);

    /// All frames and players that were made, in order; a deleted one reads as null.
    QList<QPointer<ExtendDialog>> frames() const;
    QList<QPointer<WsSound>> sounds() const;

    /// The player has come to the end of its file: it is silent, then emits finished().
    static void finish(WsSound *sound);

private:
    CoreDouble(const CoreDouble &) = delete;
    CoreDouble &operator=(const CoreDouble &) = delete;
};

} // namespace support

#endif // SUPPORT_COREDOUBLE_H
