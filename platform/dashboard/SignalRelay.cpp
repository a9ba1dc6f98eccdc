#include "dashboard/SignalRelay.h"

#include <QtCore/QSocketNotifier>
#include <QtCore/QtGlobal>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace dashboard
{

namespace
{

using RelaySignal = void (SignalRelay::*)();

struct Row {
    int number;
    RelaySignal signal;
};

const std::array<Row, 5> rows{{
    {SIGUSR1, &SignalRelay::detachAsked},
    {SIGUSR2, &SignalRelay::attachAsked},
    {SIGTERM, &SignalRelay::quitAsked},
    {SIGINT, &SignalRelay::quitAsked},
    {SIGHUP, &SignalRelay::quitAsked},
}};

std::array<struct sigaction, rows.size()> previous;
std::atomic<int> pipeEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "read in a signal handler");

/// A signal handler may do next to nothing: one byte, and errno as it was. The pipe never blocks; were it full, the
/// same signals would be waiting in it already.
extern "C" void onSignal(int number)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(number);
    const ssize_t written = write(pipeEnd.load(), &byte, 1);
    static_cast<void>(written);
    errno = savedErrno;
}

} // namespace

SignalRelay::SignalRelay()
{
    if (pipe2(m_pipe.data(), O_NONBLOCK | O_CLOEXEC) != 0) {
        qWarning("signals cannot be received: no pipe (error %d)", errno);
        return;
    }
    pipeEnd = m_pipe[1];
    auto *notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &SignalRelay::deliver);

    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (const Row &row : rows) // one handler after the other, or the later signal would be relayed first
        sigaddset(&action.sa_mask, row.number);
    for (std::size_t i = 0; i < rows.size(); ++i)
        sigaction(rows[i].number, &action, &previous[i]);
}

SignalRelay::~SignalRelay()
{
    if (m_pipe[0] < 0)
        return;
    for (std::size_t i = 0; i < rows.size(); ++i)
        sigaction(rows[i].number, &previous[i], nullptr);
    pipeEnd = -1;
    close(m_pipe[0]);
    close(m_pipe[1]);
}

void SignalRelay::deliver()
{
    unsigned char byte = 0;
    while (read(m_pipe[0], &byte, 1) == 1) {
        for (const Row &row : rows) {
            if (row.number == byte)
                emit(this->*row.signal)();
        }
    }
}

} // namespace dashboard
