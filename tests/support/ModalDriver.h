#ifndef SUPPORT_MODALDRIVER_H
#define SUPPORT_MODALDRIVER_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

#include <functional>

namespace support
{

/// Acts in modal windows while the test's own thread is inside their exec().
///
/// Steps are taken in the order given: each waits until QApplication::activeModalWidget() is of its class, and runs
/// once. When the budget ends every modal window is hidden, so that exec() returns, and timedOut() is true. A step must
/// not check with QVERIFY, which would leave only the step: it copies values out, closes, and the test compares them
/// afterwards.
class ModalDriver : public QObject
{
    Q_OBJECT

public:
    explicit ModalDriver(int budgetMs = 5000, int intervalMs = 20);

    /// The next step, for windows of the class with that meta-object name, or of one deriving from it.
    void on(const char *className, std::function<void(QWidget *)> act);

    template <class Window>
    void on(std::function<void(Window *)> act)
    {
        on(Window::staticMetaObject.className(), [act](QWidget *window) { act(static_cast<Window *>(window)); });
    }

    /// All steps have been taken, and within the budget.
    bool isDone() const;

    bool timedOut() const;

private slots:
    void tick();
    void takeStep();

private:
    struct Step {
        QByteArray className;
        std::function<void(QWidget *)> act;
    };

    bool isReady() const;

    QList<Step> m_steps;
    QTimer m_timer;
    QElapsedTimer m_clock;
    int m_budget;
    bool m_timedOut;
    bool m_pending; ///< a step has been posted and not yet begun
};

} // namespace support

#endif // SUPPORT_MODALDRIVER_H
