#include "support/ModemPeer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;

const std::chrono::seconds LIMIT(20);

int good(int result, const char *what)
{
    if (result < 0)
        throw std::runtime_error(what);
    return result;
}

void closeOne(int *descriptor)
{
    if (*descriptor >= 0)
        ::close(*descriptor);
    *descriptor = -1;
}

} // namespace

ModemPeer::ModemPeer(Way way, Reply reply) : m_way(way), m_reply(std::move(reply))
{
    good(::pipe2(m_wake, O_CLOEXEC | O_NONBLOCK), "a pipe");
    char folder[] = "/tmp/modem-XXXXXX";
    if (way == Way::Terminal && ::mkdtemp(folder))
        m_folder = folder;
    plugIn();
    m_thread = std::thread([this] { run(); });
}

ModemPeer::~ModemPeer()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        (void)!::write(m_wake[1], "", 1);
    }
    m_thread.join();
    closeAll();
    closeOne(&m_wake[0]);
    closeOne(&m_wake[1]);
    if (!m_folder.empty())
        ::rmdir(m_folder.c_str());
}

std::string ModemPeer::address() const
{
    return m_way == Way::Terminal ? m_folder + "/modem" : "127.0.0.1:" + std::to_string(m_port);
}

void ModemPeer::plugIn()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_other >= 0)
        return;
    if (m_way == Way::Terminal)
        openTerminal();
    else
        openPort();
    (void)!::write(m_wake[1], "", 1);
}

void ModemPeer::openTerminal()
{
    m_line = good(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK), "a pseudo-terminal");
    char path[64];
    if (::grantpt(m_line) != 0 || ::unlockpt(m_line) != 0 || ::ptsname_r(m_line, path, sizeof path) != 0)
        throw std::runtime_error("no pseudo-terminal");
    // Kept open: an end that nobody has opened looks like a hang-up on this one.
    m_other = good(::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC), path);
    termios settings{};
    ::tcgetattr(m_other, &settings);
    ::cfmakeraw(&settings);
    ::tcsetattr(m_other, TCSANOW, &settings);
    if (::symlink(path, address().c_str()) != 0)
        throw std::runtime_error(address());
}

void ModemPeer::openPort()
{
    m_other = good(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "a socket");
    const int isOn = 1;
    ::setsockopt(m_other, SOL_SOCKET, SO_REUSEADDR, &isOn, sizeof isOn);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(static_cast<std::uint16_t>(m_port));
    socklen_t size = sizeof place;
    good(::bind(m_other, reinterpret_cast<sockaddr *>(&place), size), "a port");
    good(::listen(m_other, 1), "a port");
    ::getsockname(m_other, reinterpret_cast<sockaddr *>(&place), &size);
    m_port = ntohs(place.sin_port);
}

void ModemPeer::unplug()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    closeAll();
    (void)!::write(m_wake[1], "", 1);
}

void ModemPeer::closeAll()
{
    if (m_way == Way::Port && m_line >= 0) {
        const linger atOnce = {1, 0}; // a reset
        ::setsockopt(m_line, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    } else if (m_way == Way::Terminal) {
        ::unlink(address().c_str());
    }
    // Closing alone takes until the thread looks up from it.
    if (m_way == Way::Port && m_other >= 0)
        ::shutdown(m_other, SHUT_RDWR);
    closeOne(&m_other);
    closeOne(&m_line);
    m_received.clear();
    m_due.clear();
}

void ModemPeer::setSilent(bool isSilent)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isSilent = isSilent;
    m_due.clear();
    m_received.clear();
}

void ModemPeer::say(const std::string &bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_due.push_back({m_due.empty() ? Clock::now() : m_due.back().time, bytes});
    (void)!::write(m_wake[1], "", 1);
}

std::vector<std::string> ModemPeer::commands() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_commands;
}

void ModemPeer::forget()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_commands.clear();
}

bool ModemPeer::waitFor(const std::string &start, int count) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, LIMIT, [&] {
        return std::count_if(m_commands.begin(), m_commands.end(),
                             [&](const std::string &one) { return one.compare(0, start.size(), start) == 0; }) >= count;
    });
}

// ---------------------------------------------------------------- the thread

void ModemPeer::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isEnding) {
        pollfd ends[] = {{m_wake[0], POLLIN, 0}, {m_line, POLLIN, 0}, {-1, POLLIN, 0}};
        if (m_way == Way::Port && m_line < 0)
            ends[2].fd = m_other;
        const int time = timeToNext();
        lock.unlock();
        ::poll(ends, 3, time);
        lock.lock();
        char bytes[64];
        while (::read(m_wake[0], bytes, sizeof bytes) > 0) {
        }
        if (m_way == Way::Port && m_line < 0 && m_other >= 0)
            m_line = ::accept4(m_other, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        receive();
        sayDue();
    }
}

int ModemPeer::timeToNext() const
{
    if (m_due.empty())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due.front().time - Clock::now()).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

void ModemPeer::receive()
{
    char bytes[4096];
    const ssize_t count = m_line >= 0 ? ::read(m_line, bytes, sizeof bytes) : 0;
    if (m_line >= 0 && m_way == Way::Port && (count == 0 || (count < 0 && errno != EAGAIN)))
        closeOne(&m_line);
    if (count <= 0 || m_isSilent)
        return;
    m_received.append(bytes, static_cast<std::size_t>(count));
    for (std::size_t end = m_received.find('\r'); end != std::string::npos; end = m_received.find('\r')) {
        const std::string command = m_received.substr(0, end);
        m_received.erase(0, end + 1);
        m_commands.push_back(command);
        m_changed.notify_all();
        auto time = m_due.empty() ? Clock::now() : std::max(Clock::now(), m_due.back().time);
        for (const Saying &saying : m_reply(command)) {
            time += saying.after;
            m_due.push_back({time, saying.bytes});
        }
    }
}

void ModemPeer::sayDue()
{
    while (!m_due.empty() && m_due.front().time <= Clock::now()) {
        std::string bytes = std::move(m_due.front().bytes);
        m_due.pop_front();
        // What nobody reads gets lost, as on a real line.
        for (int tries = 0; !bytes.empty() && m_line >= 0 && !m_isSilent && tries < 1000; ++tries) {
            const ssize_t count = m_way == Way::Port ? ::send(m_line, bytes.data(), bytes.size(), MSG_NOSIGNAL)
                                                     : ::write(m_line, bytes.data(), bytes.size());
            if (count > 0)
                bytes.erase(0, static_cast<std::size_t>(count));
            else if (errno != EAGAIN)
                break;
            pollfd end = {m_line, POLLOUT, 0};
            if (!bytes.empty())
                ::poll(&end, 1, 2);
        }
    }
}
