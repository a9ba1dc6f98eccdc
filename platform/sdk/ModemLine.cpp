#include "sdk/ModemLine.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <glob.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace sdk
{

namespace
{

constexpr std::size_t readSize = 4096;
constexpr int highestPort = 65535;

void put(std::string *error, const std::string &text)
{
    if (error)
        *error = text;
}

std::string reason(int code)
{
    return std::generic_category().message(code);
}

/// Milliseconds for poll(), rounded up so that it does not wake too early again and again.
int timeUntil(ModemLine::Clock::time_point limit)
{
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(limit - ModemLine::Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), milliseconds(std::chrono::hours(1))).count());
}

bool isPort(const std::string &text)
{
    const bool isNumber = !text.empty() && text.size() <= 5 && std::all_of(text.begin(), text.end(), [](char digit) {
        return digit >= '0' && digit <= '9';
    });
    return isNumber && std::stoi(text) >= 1 && std::stoi(text) <= highestPort;
}

std::vector<std::string> matches(const std::string &pattern)
{
    glob_t found{};
    std::vector<std::string> paths;
    if (::glob(pattern.c_str(), 0, nullptr, &found) == 0)
        paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    ::globfree(&found);
    // ttyUSB10 behind ttyUSB9
    std::stable_sort(paths.begin(), paths.end(),
                     [](const std::string &one, const std::string &other) { return one.size() < other.size(); });
    return paths;
}

/// "; there are /dev/ttyUSB0, /dev/ttyUSB1", or that there is none.
std::string choice()
{
    const std::vector<std::string> paths = modemLinesBelow("/dev");
    std::string text = paths.empty() ? "; no serial line is there that could be a modem's" : "; there are ";
    for (const std::string &path : paths)
        text += (&path == &paths.front() ? "" : ", ") + path;
    return text;
}

std::string whyTaken(const std::string &path)
{
    return path + " is taken by another program: end it, or the service that manages modems and holds it (such as "
                  "\"systemctl stop ModemManager\"), or tell that service to leave this modem alone";
}

/// Why a serial line cannot be opened, and what to do.
std::string whyNot(const std::string &path, int code)
{
    switch (code) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case EIO:
        return "there is no serial line " + path + ": plug the modem in, or choose another line" + choice();
    case EACCES:
    case EPERM:
        return "no permission for " + path +
               ": become a member of the group that owns it (\"adduser NAME dialout\", as root) and log in again";
    case EBUSY:
    case EWOULDBLOCK:
        return whyTaken(path);
    default:
        return path + " cannot be opened: " + reason(code);
    }
}

/// Who calls a port of this machine again and again gets it for an own end one day, and is connected with itself.
bool isOwnEcho(int descriptor)
{
    sockaddr_storage own{};
    sockaddr_storage other{};
    socklen_t ownSize = sizeof own;
    socklen_t otherSize = sizeof other;
    return ::getsockname(descriptor, reinterpret_cast<sockaddr *>(&own), &ownSize) == 0 &&
           ::getpeername(descriptor, reinterpret_cast<sockaddr *>(&other), &otherSize) == 0 && ownSize == otherSize &&
           std::memcmp(&own, &other, ownSize) == 0;
}

struct AddressList {
    void operator()(addrinfo *list) const { ::freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, AddressList>;

/// getaddrinfo() cannot be interrupted: it has a thread of its own, which outlives an asker that goes.
struct Lookup {
    std::mutex mutex;
    WakePipe done;
    bool isDone = false;
    int code = 0;
    Addresses addresses;

    void run(const ModemAddress &address)
    {
        addrinfo hints{};
        hints.ai_socktype = SOCK_STREAM;
        addrinfo *list = nullptr;
        const int result = ::getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list);
        const std::lock_guard<std::mutex> lock(mutex);
        code = result;
        addresses.reset(result == 0 ? list : nullptr);
        isDone = true;
        done.wake();
    }

    bool hasEnded()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return isDone;
    }
};

/// Addresses that are numbers need nobody to be asked.
Addresses numericAddresses(const ModemAddress &address)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo *list = nullptr;
    return Addresses(::getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list) == 0 ? list : nullptr);
}

Addresses lookUp(const ModemAddress &address, const WakePipe &pipe, ModemLine::Clock::time_point limit,
                 std::string *error)
{
    if (Addresses known = numericAddresses(address))
        return known;
    const auto lookup = std::make_shared<Lookup>();
    std::thread([lookup, address] { lookup->run(address); }).detach();
    while (!pipe.isStopped() && ModemLine::Clock::now() < limit && !lookup->hasEnded()) {
        pollfd ends[] = {{lookup->done.descriptor(), POLLIN, 0}, {pipe.descriptor(), POLLIN, 0}};
        ::poll(ends, 2, timeUntil(limit));
        if (ends[1].revents)
            pipe.drain();
    }
    const std::lock_guard<std::mutex> lock(lookup->mutex);
    if (lookup->isDone && lookup->code != 0)
        put(error, "the host " + address.host + " is not known: " + ::gai_strerror(lookup->code));
    else if (!lookup->isDone && !pipe.isStopped())
        put(error, "the host " + address.host + " could not be looked up in time");
    return std::move(lookup->addresses);
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Addresses

std::optional<ModemAddress> readModemAddress(const std::string &line, std::string *error)
{
    static const char *const forms = "write the serial line's path, such as /dev/ttyUSB2, or HOST:PORT";
    if (line.empty()) {
        put(error, std::string("which modem? ") + forms + choice());
        return std::nullopt;
    }
    if (line.find('\0') == std::string::npos && line.front() == '/')
        return ModemAddress{line, {}, {}};
    const std::size_t colon = line.rfind(':');
    std::string host = line.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    else if (host.find_first_of("[]:") != std::string::npos)
        host.clear(); // an IPv6 address without brackets: where it ends is not to be seen
    const std::string port = colon == std::string::npos ? std::string() : line.substr(colon + 1);
    if (!host.empty() && host.find('\0') == std::string::npos && isPort(port))
        return ModemAddress{{}, host, port};
    put(error, "\"" + line + "\" names no modem: " + forms);
    return std::nullopt;
}

std::vector<std::string> modemLinesBelow(const std::string &folder)
{
    std::vector<std::string> paths;
    for (const char *const pattern : {"/serial/by-id/*", "/ttyUSB*", "/ttyACM*"}) {
        const std::vector<std::string> found = matches(folder + pattern);
        paths.insert(paths.end(), found.begin(), found.end());
    }
    return paths;
}

// ---------------------------------------------------------------------------------------------------------------------
// WakePipe

WakePipe::WakePipe()
{
    if (::pipe2(m_ends, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "a pipe");
}

WakePipe::~WakePipe()
{
    ::close(m_ends[0]);
    ::close(m_ends[1]);
}

void WakePipe::wake() const
{
    const char byte = 0;
    // A pipe that is full wakes as well as one byte does.
    while (::write(m_ends[1], &byte, 1) < 0 && errno == EINTR) {
    }
}

void WakePipe::stop()
{
    m_isStopped = true;
    wake();
}

void WakePipe::drain() const
{
    char bytes[64];
    for (;;) {
        const ssize_t count = ::read(m_ends[0], bytes, sizeof bytes);
        if (count == 0 || (count < 0 && errno != EINTR))
            return;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// ModemLine

ModemLine::~ModemLine()
{
    close();
}

void ModemLine::close()
{
    if (m_descriptor < 0)
        return;
    if (m_isLocked) {
        ::tcflush(m_descriptor, TCIOFLUSH); // or close() waits for a modem that takes nothing any more
        ::ioctl(m_descriptor, TIOCNXCL);    // a pseudo-terminal would keep it
    }
    m_isLocked = false;
    ::close(m_descriptor);
    m_descriptor = -1;
}

bool ModemLine::open(const ModemAddress &address, Clock::time_point limit, std::string *error)
{
    close();
    put(error, std::string());
    m_isSocket = address.path.empty();
    const bool isOpened = m_isSocket ? connectTo(address, limit, error) : openSerial(address.path, error);
    if (!isOpened)
        close();
    return isOpened;
}

bool ModemLine::openSerial(const std::string &path, std::string *error)
{
    struct stat status {
    };
    if (::stat(path.c_str(), &status) == 0 && !S_ISCHR(status.st_mode)) {
        put(error, path + " is no serial line");
        return false;
    }
    m_descriptor = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_descriptor < 0) {
        put(error, whyNot(path, errno));
        return false;
    }
    return makeRaw(path, error);
}

bool ModemLine::makeRaw(const std::string &path, std::string *error)
{
    termios settings{};
    if (::tcgetattr(m_descriptor, &settings) != 0) {
        put(error, errno == ENOTTY ? path + " is no serial line" : whyNot(path, errno));
        return false;
    }
    // The first keeps out those who lock files, the second everybody who is not root.
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0 || ::ioctl(m_descriptor, TIOCEXCL) != 0) {
        put(error, whyNot(path, errno));
        return false;
    }
    m_isLocked = true;
    ::cfmakeraw(&settings);
    ::cfsetspeed(&settings, B115200);
    settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | PARENB | CRTSCTS | HUPCL);
    settings.c_cflag |= CLOCAL | CREAD | CS8;
    if (::tcsetattr(m_descriptor, TCSANOW, &settings) != 0) {
        put(error, whyNot(path, errno));
        return false;
    }
    ::tcflush(m_descriptor, TCIFLUSH);
    return true;
}

bool ModemLine::connectTo(const ModemAddress &address, Clock::time_point limit, std::string *error)
{
    const Addresses addresses = lookUp(address, *m_pipe, limit, error);
    for (const addrinfo *one = addresses.get(); one; one = one->ai_next) {
        close();
        m_descriptor = ::socket(one->ai_family, one->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, one->ai_protocol);
        if (m_descriptor < 0) {
            put(error, "no connection can be made: " + reason(errno));
            continue;
        }
        const int isOn = 1;
        ::setsockopt(m_descriptor, IPPROTO_TCP, TCP_NODELAY, &isOn, sizeof isOn);
        std::string why;
        if (::connect(m_descriptor, one->ai_addr, one->ai_addrlen) == 0 || errno == EINPROGRESS) {
            if (finishConnect(limit, &why))
                return true;
        } else {
            why = reason(errno);
        }
        put(error, why.empty() ? why
                               : "nobody answers at " + address.host + " port " + address.port + " (" + why +
                                     "): start the simulator, or look at the address");
    }
    return false;
}

bool ModemLine::finishConnect(Clock::time_point limit, std::string *error)
{
    Event event = wait(POLLOUT, limit);
    while (event == Event::Woken && !m_pipe->isStopped())
        event = wait(POLLOUT, limit);
    int code = event == Event::Late ? ETIMEDOUT : 0;
    socklen_t size = sizeof code;
    if (event == Event::Data)
        ::getsockopt(m_descriptor, SOL_SOCKET, SO_ERROR, &code, &size);
    if (code == 0 && event == Event::Data && isOwnEcho(m_descriptor))
        code = ECONNREFUSED;
    if (code != 0)
        put(error, reason(code));
    return event == Event::Data && code == 0;
}

/// Data: the line is ready for what `events` asks, or broken, which reading or writing tells.
ModemLine::Event ModemLine::wait(short events, Clock::time_point limit)
{
    pollfd ends[] = {{m_descriptor, events, 0}, {m_pipe->descriptor(), POLLIN, 0}};
    int count = 0;
    do {
        if (m_pipe->isStopped()) // its byte may have been read away
            return Event::Woken;
        count = ::poll(ends, 2, timeUntil(limit));
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        return Event::Lost;
    if (ends[1].revents) {
        m_pipe->drain();
        return Event::Woken;
    }
    return ends[0].revents ? Event::Data : Event::Late;
}

void ModemLine::pause(const WakePipe &pipe, Clock::time_point limit)
{
    pollfd end = {pipe.descriptor(), POLLIN, 0};
    if (!pipe.isStopped() && ::poll(&end, 1, timeUntil(limit)) > 0)
        pipe.drain();
}

ModemLine::Event ModemLine::read(Clock::time_point limit, std::string *bytes)
{
    bytes->clear();
    const Event event = isOpen() ? wait(POLLIN, limit) : Event::Lost;
    if (event != Event::Data)
        return event;
    bytes->resize(readSize);
    ssize_t count = 0;
    do {
        count = ::read(m_descriptor, &bytes->front(), bytes->size());
    } while (count < 0 && errno == EINTR);
    bytes->resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count > 0 || (count < 0 && errno == EAGAIN))
        return Event::Data;
    close();
    return Event::Lost;
}

bool ModemLine::write(std::string_view bytes, Clock::time_point limit)
{
    while (!bytes.empty() && isOpen()) {
        const ssize_t count = m_isSocket ? ::send(m_descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL)
                                         : ::write(m_descriptor, bytes.data(), bytes.size());
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (count < 0 && errno != EAGAIN && errno != EINTR)
            close();
        else if (wait(POLLOUT, limit) == Event::Late || m_pipe->isStopped())
            return false;
    }
    return isOpen();
}

} // namespace sdk
