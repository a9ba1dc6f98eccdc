#include "support/ModalDriver.h"

#include <QtWidgets/QApplication>

namespace support
{

ModalDriver::ModalDriver(int budgetMs, int intervalMs) : m_budget(budgetMs), m_timedOut(false), m_pending(false)
{
    connect(&m_timer, &QTimer::timeout, this, &ModalDriver::tick);
    m_clock.start();
    m_timer.start(intervalMs);
}

void ModalDriver::on(const char *className, std::function<void(QWidget *)> act)
{
    m_steps << Step{className, act};
}

bool ModalDriver::isDone() const
{
    return m_steps.isEmpty() && !m_timedOut;
}

bool ModalDriver::timedOut() const
{
    return m_timedOut;
}

bool ModalDriver::isReady() const
{
    const QWidget *window = QApplication::activeModalWidget();
    return window && window->isVisible() && !m_steps.isEmpty() && window->inherits(m_steps.first().className);
}

void ModalDriver::tick()
{
    if (m_clock.elapsed() >= m_budget) {
        // Hiding one may bring up the next; a window that comes back at once is met at the next tick.
        for (int i = 0; i < 20 && QApplication::activeModalWidget(); ++i) {
            m_timedOut = true;
            QApplication::activeModalWidget()->hide();
        }
        m_timedOut = m_timedOut || !m_steps.isEmpty();
        return;
    }
    // A timer does not fire again inside its own slot: the step is posted, so that it may open modal windows itself.
    if (!m_pending && isReady()) {
        m_pending = true;
        QMetaObject::invokeMethod(this, "takeStep", Qt::QueuedConnection);
    }
}

void ModalDriver::takeStep()
{
    m_pending = false;
    if (!isReady())
        return;
    const Step step = m_steps.takeFirst();
    step.act(QApplication::activeModalWidget());
}

} // namespace support
