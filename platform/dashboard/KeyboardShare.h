#ifndef DASHBOARD_KEYBOARDSHARE_H
#define DASHBOARD_KEYBOARDSHARE_H

#include <QtCore/QObject>
#include <QtCore/QPointer>

QT_BEGIN_NAMESPACE
class QWidget;
QT_END_NAMESPACE

namespace dashboard
{

/// Lets the user type in one window of the program, and in its dialogs, while a widget of another window has grabbed
/// the keyboard, as the plug-in's input field does: the grab rests from the first key there until the next key in its
/// own window. User-interface thread.
class KeyboardShare : public QObject
{
    Q_OBJECT

public:
    /// Needs a QApplication. `window` outlives this.
    explicit KeyboardShare(QWidget *window);

    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void lend();
    void giveBack();

    QWidget *const m_window;
    QPointer<QWidget> m_owner; ///< the widget whose grab rests
};

} // namespace dashboard

#endif // DASHBOARD_KEYBOARDSHARE_H
