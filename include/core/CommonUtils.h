#ifndef COMMONUTILS_H
#define COMMONUTILS_H

#include <QtCore/QString>
#include <QtCore/Qt>

#include <QMessageBox>

QT_BEGIN_NAMESPACE
class QDialog;
class QThread;
class QWidget;
QT_END_NAMESPACE

/// Utilities of the host. Everything is called on the user-interface thread.
class CommonUtils
{
public:
    /// The host's main window, null while there is none. The host owns it.
    static QWidget *GetMainWindow();

    /// Centres a window over its parent window, or on the screen when it has none. Null does nothing.
    static void MoveCentre(QWidget *window);

    /// Shows a modal message in the host's frame and returns when it has closed.
    ///
    /// `button1` to `button3` are translation keys of the group "XFramePlugin"; an empty key means no such button.
    /// While the box is open its dialog stands in `*out` (which may be null: not wanted), and null stands there again
    /// when it has closed. Closing that dialog from outside ends the call.
    /// \param modal       true blocks input to the parent's window only, false to the whole application
    /// \param checkText   text of a check box below the message; empty: no check box
    /// \param plainText   true shows `text` as it is, false lets Qt guess markup
    /// \return 1024 (`QMessageBox::Ok`) for the first button, `QMessageBox::No` for the second,
    ///         `QMessageBox::Cancel` for the third and for every other way of closing
    static int ShowMessage(QMessageBox::Icon icon, QWidget *parent, QString title, QString text, QString button1,
                           QString button2, QString button3, bool modal, Qt::WindowFlags flags, QDialog **out,
                           QString checkText, bool plainText);

    /// Opens `url` in the user's browser. Only http and https are opened; anything else is refused.
    /// True when it was handed on.
    static bool OpenUrl(QString url);

    /// Waits until `thread` has finished, for `seconds` at the most, while user-interface events go on.
    /// True when it is not running any more.
    static bool WaitForThreadToStop(QThread *thread, int seconds);

    /// Folder of the host's libraries, without a slash at its end. A plug-in keeps its files below it in
    /// "/plugins/" + its name.
    static QString GetPluginLibraryPath();
};

#endif // COMMONUTILS_H
