#ifndef TESTS_SCRIPTEDUSER_H
#define TESTS_SCRIPTEDUSER_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <functional>

class RoadWorld;

QT_BEGIN_NAMESPACE
class QMessageBox;
class QPushButton;
class QWidget;
QT_END_NAMESPACE

/// Somebody at the window who follows a script, also while dialogs run event loops of their own:
///
///     see text "Hello" [OK = 2] [Cancel*]          a text or question; the star marks the default button
///     see text (i) "Title": "Sorry" [OK*]          with an icon and a title
///     see input "PIN" "12" max 4, digits, masked [OK off] [Cancel]
///     see menu "Title": One | Two, back            the window; "waiting: " in front while it waits for the card
///     see main menu                                the view given as the main menu
///     see no window
///     see tone, see silence                        what is heard, after Play() has succeeded
///     see page http://www.example.com              the last page that was opened; see no page
///     do  click OK                                 a button by its text
///     do  close                                    the close button of the frame's title bar
///     do  key Escape                               Escape, Return, Enter, Backspace
///     do  type text
///     do  select One, do back                      in the window's menu
///     do  anything that the test has taught
///
/// `see` waits until it is so, for some seconds; else the script ends there, every modal window is hidden, and the
/// record tells what was seen in its place.
class ScriptedUser : public QObject
{
    Q_OBJECT

public:
    ScriptedUser(RoadWorld *world, const QStringList &script, const QString &mainMenu = QString());

    /// Something that `do` does beside the above: called again and again, for a minute, until it says that it is done.
    /// It must not open dialogs.
    void teach(const QString &action, std::function<bool()> act);

    /// The script is over, also when it ended early.
    bool isOver() const;

    /// What came true of the script, line by line; at the end of one that ended early what was there in its place.
    QStringList record() const;

    /// What is to be seen at the moment, as after `see`.
    QString view() const;

private slots:
    void tick();
    void act(const QString &line);

private:
    void look(const QString &expected);
    bool followTaught(const QString &action);
    void giveUp(const QString &seen);
    QString viewFor(const QString &expected) const;
    QString menuView() const;
    bool click(const QString &button);
    void press(const QString &key);
    void type(const QString &text);
    void select(const QString &item);
    QWidget *keyboardTarget() const;

    RoadWorld *const m_world;
    QStringList m_script;
    QStringList m_record;
    const QString m_mainMenu;
    QList<QPair<QString, std::function<bool()>>> m_taught;
    QTimer m_timer;
    QElapsedTimer m_clock;
    bool m_isActing; ///< an action has been posted and not yet begun
};

#endif // TESTS_SCRIPTEDUSER_H
