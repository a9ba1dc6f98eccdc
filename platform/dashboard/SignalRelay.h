#ifndef DASHBOARD_SIGNALRELAY_H
#define DASHBOARD_SIGNALRELAY_H

#include <QtCore/QObject>

#include <array>

namespace dashboard
{

/// Turns signals of the operating system into Qt signals on the user-interface thread. There is one at a time; the
/// handlers that were there before are put back when it is destroyed.
class SignalRelay : public QObject
{
    Q_OBJECT

public:
    SignalRelay();
    ~SignalRelay() override;

signals:
    void detachAsked(); ///< SIGUSR1
    void attachAsked(); ///< SIGUSR2
    void quitAsked();   ///< SIGTERM, SIGINT, SIGHUP

private:
    void deliver();

    std::array<int, 2> m_pipe{{-1, -1}}; ///< the signal handler writes into the second end
};

} // namespace dashboard

#endif // DASHBOARD_SIGNALRELAY_H
