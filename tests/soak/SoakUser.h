#ifndef SOAK_SOAKUSER_H
#define SOAK_SOAKUSER_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <functional>
#include <random>

QT_BEGIN_NAMESPACE
class QMessageBox;
class QLineEdit;
class QPushButton;
class QTableWidget;
class QWidget;
QT_END_NAMESPACE

namespace soak
{

class CardTraffic;

/// Somebody who answers everything that the window asks, at once: mostly with yes, now and then by cancelling, going
/// back, closing a dialog or giving an answer that the card refuses. Opens the window, chooses from the menu and closes
/// it, as often as it is due. User-interface thread.
class SoakUser : public QObject
{
    Q_OBJECT

public:
    /// `open` opens the window over `host`. `traffic` must outlive the user.
    SoakUser(QWidget *host, const CardTraffic *traffic, std::function<void()> open);

    /// From now on until stop(): the window is closed and opened anew whenever `isWindowDue` says so.
    void start(std::function<bool()> isWindowDue);
    void stop();

    /// Windows that were opened, and have closed again.
    long windows() const { return m_windows; }

    /// Nothing is open but, maybe, the window with its main menu, and the card waits for nothing.
    bool isAtRest() const;

    /// Clicks the window's Close button, if it is open.
    void closeWindow();

    /// What is to be seen at the moment, for people to read.
    QString view() const;

private slots:
    void tick();
    void act();

private:
    QWidget *window() const;
    void answerBox(QWidget *frame, QMessageBox *box);
    void answerInput(QWidget *frame, QLineEdit *field);
    void answerMenu();
    void tryToClose();
    bool isChoicePending() const;
    void choose();
    bool oneIn(int number);
    QString anAnswer();

    QPointer<QWidget> m_host;
    const CardTraffic *m_traffic;
    const std::function<void()> m_open;
    std::function<bool()> m_isWindowDue;
    QTimer m_timer;
    QElapsedTimer m_choice;  ///< since the last one
    QElapsedTimer m_attempt; ///< to close the window, since the first
    long m_apdusAtChoice = -1;
    long m_apdusAtLook = -1;
    long m_windows = 0;
    bool m_isActing = false;
    bool m_isOpen = false;
    bool m_isClosing = false;
    std::minstd_rand m_random;
};

} // namespace soak

#endif // SOAK_SOAKUSER_H
