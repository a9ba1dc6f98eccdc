#include "support/CoreDouble.h"

#include "core/Change.h"
#include "core/CommonUtils.h"
#include "core/ExtendDialog.h"
#include "core/ExtendLineEdit.h"
#include "core/WsMessageBox.h"
#include "core/WsSound.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QHash>
#include <QtCore/QThread>
#include <QtGui/QResizeEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

class ExtendDialogPrivate
{
public:
    QVBoxLayout *layout;
    QPointer<QWidget> content;
};

class WsSoundPrivate
{
public:
    QString file;
    bool playing;
};

namespace support
{

namespace
{
struct State {
    QPointer<QWidget> mainWindow;
    QString pluginLibraryPath = "/plugin-library";
    bool openUrlResult = true;
    bool waitResult = true;
    std::function<bool()> waitHook;
    bool playResult = true;
    std::function<int(QDialog *)> showMessage;
    QList<int> messageResults;
    std::function<QString(const QString &, const QString &)> translator;
    QList<QPointer<ExtendDialog>> frames;
    QList<QPointer<WsSound>> sounds;
    QHash<const WsSound *, WsSoundPrivate *> players;
};

State &state()
{
    static State the;
    return the;
}

/// Forgets the script; players that still live keep their data.
void reset()
{
    State fresh;
    fresh.players = state().players;
    state() = fresh;
}

int showMessage(QDialog *box)
{
    if (state().showMessage)
        return state().showMessage(box);
    return state().messageResults.isEmpty() ? int(QMessageBox::Ok) : state().messageResults.takeFirst();
}
} // namespace

CoreDouble::CoreDouble()
{
    reset();
}

CoreDouble::~CoreDouble()
{
    reset();
}

void CoreDouble::setMainWindow(QWidget *window)
{
    state().mainWindow = window;
}

void CoreDouble::setPluginLibraryPath(const QString &path)
{
    state().pluginLibraryPath = path;
}

void CoreDouble::setOpenUrlResult(bool result)
{
    state().openUrlResult = result;
}

void CoreDouble::onShowMessage(std::function<int(QDialog *)> hook)
{
    state().showMessage = hook;
}

void CoreDouble::answerMessage(int result)
{
    state().messageResults << result;
}

void CoreDouble::setWaitResult(bool result)
{
    state().waitResult = result;
}

void CoreDouble::onWait(std::function<bool()> hook)
{
    state().waitHook = hook;
}

void CoreDouble::setPlayResult(bool result)
{
    state().playResult = result;
}

void CoreDouble::setTranslator(std::function<QString(const QString &, const QString &)> translator)
{
    state().translator = translator;
}

QList<QPointer<ExtendDialog>> CoreDouble::frames() const
{
    return state().frames;
}

QList<QPointer<WsSound>> CoreDouble::sounds() const
{
    return state().sounds;
}

void CoreDouble::finish(WsSound *sound)
{
    state().players.value(sound)->playing = false;
    QMetaObject::invokeMethod(sound, "finished", Qt::DirectConnection);
}

} // namespace support

using support::ref;
using support::state;
using support::journal::add;

ExtendDialog::ExtendDialog(QWidget *parent, Qt::WindowFlags flags, int widgetType)
    : QDialog(parent, flags), d(new ExtendDialogPrivate)
{
    add("ExtendDialog::ExtendDialog", {ref(parent), int(flags), widgetType});
    state().frames << QPointer<ExtendDialog>(this);
    d->layout = new QVBoxLayout(this);
    d->layout->setContentsMargins(0, 0, 0, 0);
    QPushButton *close = new QPushButton("x", this);
    close->setObjectName("CoreDouble_CloseButton");
    close->setDefault(true);
    connect(close, SIGNAL(clicked()), this, SLOT(close()));
    d->layout->addWidget(close, 0, Qt::AlignRight);
}

ExtendDialog::~ExtendDialog()
{
    add("ExtendDialog::~ExtendDialog");
    delete d;
}

void ExtendDialog::AddMainWidget(QWidget *widget)
{
    add("ExtendDialog::AddMainWidget", {ref(widget)});
    if (d->content && d->content != widget)
        delete d->content;
    d->content = widget;
    if (widget)
        d->layout->addWidget(widget);
}

void ExtendDialog::setWindowTitle(const QString &title)
{
    add("ExtendDialog::setWindowTitle", {title});
    QDialog::setWindowTitle(title);
}

void ExtendDialog::setWindowFlags(Qt::WindowFlags flags)
{
    add("ExtendDialog::setWindowFlags", {int(flags)});
    QDialog::setWindowFlags((flags & Qt::WindowType_Mask) ? flags : flags | Qt::Dialog);
}

void ExtendDialog::changeSize(QSize size)
{
    add("ExtendDialog::changeSize", {size.width(), size.height()});
}

ExtendLineEdit::ExtendLineEdit(QWidget *parent) : QLineEdit(parent)
{
    add("ExtendLineEdit::ExtendLineEdit", {ref(parent)});
}

ExtendLineEdit::~ExtendLineEdit() {}

WsMessageBox::WsMessageBox(QWidget *parent) : QMessageBox(parent)
{
    add("WsMessageBox::WsMessageBox", {ref(parent)});
}

WsMessageBox::~WsMessageBox() {}

void WsMessageBox::resizeEvent(QResizeEvent *event)
{
    QMessageBox::resizeEvent(event);
    emit changeSize(event->size());
}

WsSound::WsSound(QString file) : d(new WsSoundPrivate)
{
    add("WsSound::WsSound", {file});
    d->file = file;
    d->playing = false;
    state().sounds << QPointer<WsSound>(this);
    state().players.insert(this, d);
}

WsSound::~WsSound()
{
    add("WsSound::~WsSound", {d->file});
    state().players.remove(this);
    delete d;
}

bool WsSound::Play()
{
    add("WsSound::Play");
    d->playing = state().playResult;
    return d->playing;
}

void WsSound::Stop()
{
    add("WsSound::Stop");
    d->playing = false;
}

bool WsSound::IsPlaying()
{
    return d->playing;
}

QWidget *CommonUtils::GetMainWindow()
{
    add("CommonUtils::GetMainWindow");
    return state().mainWindow;
}

void CommonUtils::MoveCentre(QWidget *window)
{
    add("CommonUtils::MoveCentre", {ref(window)});
}

int CommonUtils::ShowMessage(QMessageBox::Icon icon, QWidget *parent, QString title, QString text, QString button1,
                             QString button2, QString button3, bool modal, Qt::WindowFlags flags, QDialog **out,
                             QString checkText, bool plainText)
{
    add("CommonUtils::ShowMessage", {int(icon), ref(parent), title, text, button1, button2, button3, modal, int(flags),
                                     out != nullptr, checkText, plainText});
    // The box outlives neither the call nor its parent.
    const QPointer<QDialog> box(new QDialog(parent, flags));
    if (out)
        *out = box;
    const int result = support::showMessage(box);
    if (out)
        *out = nullptr;
    delete box;
    return result;
}

bool CommonUtils::OpenUrl(QString url)
{
    add("CommonUtils::OpenUrl", {url});
    return state().openUrlResult;
}

bool CommonUtils::WaitForThreadToStop(QThread *thread, int seconds)
{
    add("CommonUtils::WaitForThreadToStop", {ref(thread), seconds});
    if (state().waitHook)
        return state().waitHook();
    QElapsedTimer clock;
    clock.start();
    while (thread && thread->isRunning() && clock.elapsed() < seconds * 1000) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
        thread->wait(10);
    }
    return (!thread || !thread->isRunning()) && state().waitResult;
}

QString CommonUtils::GetPluginLibraryPath()
{
    add("CommonUtils::GetPluginLibraryPath");
    return state().pluginLibraryPath;
}

QString Change::tr(const QString &key, const QString &group)
{
    add("Change::tr", {key, group});
    return state().translator ? state().translator(key, group) : "tr:" + group + ":" + key;
}
