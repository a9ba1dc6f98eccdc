#include "support/PcscService.h"

#include <winscard.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds limit{20};
const char program[] = "/usr/sbin/pcscd";
const char driver[] = "/usr/lib/pcsc/drivers/serial/libifdvpcd.so";

/// The reader's state, or what went wrong.
LONG readerState(DWORD *state)
{
    SCARDCONTEXT context = 0;
    LONG code = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
    if (code != SCARD_S_SUCCESS)
        return code;
    SCARD_READERSTATE reader = {};
    reader.szReader = PcscService::readerName;
    code = SCardGetStatusChange(context, 0, &reader, 1);
    *state = reader.dwEventState;
    SCardReleaseContext(context);
    return code;
}

template <typename Condition>
bool waitUntil(Condition condition)
{
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool hasReader()
{
    DWORD state = 0;
    return readerState(&state) == SCARD_S_SUCCESS && !(state & (SCARD_STATE_UNKNOWN | SCARD_STATE_UNAVAILABLE));
}

bool answersWithoutReader()
{
    DWORD state = 0;
    return readerState(&state) == SCARD_E_UNKNOWN_READER;
}

/// Takes this process over. On the machine's own network the reader must not wait for connections from anywhere.
[[noreturn]] void become(PcscService::Reader reader, bool onlyLoopback, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(127);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    if (onlyLoopback)
        setenv("LD_PRELOAD", STK_BIND_LOOPBACK, 1);
    const char *const withoutReaders = reader == PcscService::Reader::Out ? "--config=/dev/null" : nullptr;
    execl(program, program, "--foreground", withoutReaders, nullptr);
    _exit(127);
}

} // namespace

PcscService::~PcscService()
{
    end();
}

bool PcscService::start(std::string *error, Reader reader)
{
    const char *const spaces = std::getenv("STK_OWN_PCSC");
    DWORD state = 0;
    if (!spaces)
        *error = "this is to be run by tools/with-own-pcsc";
    else if (m_pid < 0 && readerState(&state) != SCARD_E_NO_SERVICE)
        *error = "a PC/SC service runs here that is not the test's: end it";
    else if (access(program, X_OK) != 0 || access(driver, R_OK) != 0)
        *error = "pcscd or its reader is not installed: the packages needed are listed in tools/packages.txt";
    if (!error->empty())
        return false;
    const bool onlyLoopback = std::strcmp(spaces, "namespaces") != 0;
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid == 0)
        become(reader, onlyLoopback, parent);
    const bool isOut = reader == Reader::Out;
    if (m_pid > 0 && waitUntil(isOut ? answersWithoutReader : hasReader))
        return true;
    *error = isOut ? "pcscd does not answer after 20 s" : "pcscd has no vpcd reader after 20 s";
    kill();
    return false;
}

void PcscService::kill()
{
    endWith(SIGKILL);
}

void PcscService::end()
{
    endWith(SIGTERM);
}

void PcscService::endWith(int signal)
{
    if (m_pid <= 0)
        return;
    ::kill(m_pid, signal);
    const pid_t pid = m_pid;
    const auto hasEnded = [pid] { return waitpid(pid, nullptr, WNOHANG) != 0; };
    if (!waitUntil(hasEnded)) {
        ::kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    m_pid = -1;
}

bool PcscService::waitForCard(bool isThere)
{
    return waitUntil([isThere] {
        DWORD state = 0;
        return readerState(&state) == SCARD_S_SUCCESS && ((state & SCARD_STATE_PRESENT) != 0) == isThere;
    });
}
