#include "stkcard/VpcdCard.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <numeric>
#include <optional>
#include <system_error>

namespace stkcard
{

namespace
{

constexpr std::size_t longestMessage = 0xFFFF;

/// ETSI TS 102 221 clause 6.3.2: card service data (none), card capabilities (files are selected by identifier, data
/// are coded in one byte), no logical channels.
const cat::Bytes historicalBytes{0x80, 0x31, 0x00, 0x73, 0x04, 0x21, 0x00};

using Addresses = std::unique_ptr<addrinfo, void (*)(addrinfo *)>;

Addresses addressesOf(const VpcdCard::Reader &reader, std::string *error)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int result = getaddrinfo(reader.host.c_str(), reader.port.c_str(), &hints, &found);
    if (result != 0)
        *error = "the reader's host '" + reader.host + "' cannot be found: " + gai_strerror(result);
    return {result == 0 ? found : nullptr, freeaddrinfo};
}

} // namespace

cat::Bytes answerToReset(Protocol protocol)
{
    constexpr std::uint8_t directConvention = 0x3B, blockSize = 0xFE, waitingTimes = 0x45;
    const auto historicalCount = static_cast<std::uint8_t>(historicalBytes.size());
    cat::Bytes bytes{directConvention, historicalCount};
    if (protocol != Protocol::T0) {
        bytes[1] |= 0x80;                                           // TD1 follows
        bytes.push_back(protocol == Protocol::T1 ? 0x81 : 0x80);    // the first protocol, and TD2 follows
        bytes.insert(bytes.end(), {0x31, blockSize, waitingTimes}); // T=1 with TA3 and TB3
    }
    bytes.insert(bytes.end(), historicalBytes.begin(), historicalBytes.end());
    if (protocol != Protocol::T0) // what offers T=0 alone has no check byte
        bytes.push_back(
            std::accumulate(bytes.begin() + 1, bytes.end(), std::uint8_t{0},
                            [](std::uint8_t sum, std::uint8_t byte) -> std::uint8_t { return sum ^ byte; }));
    return bytes;
}

/// The connection to the reader. Every function that waits gives up when the card is interrupted, and then, or when the
/// reader has gone, it gives false.
class VpcdCard::Line
{
public:
    explicit Line(int interrupted) : m_interrupted(interrupted) {}
    ~Line() { close(); }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    bool connect(const addrinfo &address);
    void close();
    bool receive(cat::Bytes *message);
    bool send(const cat::Bytes &message);
    /// Lets time pass.
    bool wait(std::chrono::milliseconds time);
    bool isInterrupted() const;

private:
    bool waitFor(short events);
    bool receiveAll(std::uint8_t *place, std::size_t count);
    void acknowledgeAtOnce() const;

    const int m_interrupted;
    int m_socket = -1;
};

bool VpcdCard::Line::isInterrupted() const
{
    pollfd wake{m_interrupted, POLLIN, 0};
    return poll(&wake, 1, 0) > 0;
}

bool VpcdCard::Line::waitFor(short events)
{
    pollfd ends[] = {{m_interrupted, POLLIN, 0}, {m_socket, events, 0}};
    int ready = 0;
    do
        ready = poll(ends, 2, -1);
    while (ready < 0 && errno == EINTR);
    return ready > 0 && ends[0].revents == 0;
}

bool VpcdCard::Line::wait(std::chrono::milliseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        // A descriptor that is not there is left out by its negative number.
        pollfd ends[] = {{m_interrupted, POLLIN, 0}, {m_socket, POLLRDHUP, 0}};
        const int ready = poll(ends, 2, static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0)));
        if (ready == 0)
            return true;
        if (ready > 0 || errno != EINTR)
            return false;
    }
}

bool VpcdCard::Line::connect(const addrinfo &address)
{
    close();
    m_socket = socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
    if (m_socket < 0)
        return false;
    int problem = 0;
    socklen_t size = sizeof problem;
    const bool connected = ::connect(m_socket, address.ai_addr, address.ai_addrlen) == 0 ||
                           (errno == EINPROGRESS && waitFor(POLLOUT) &&
                            getsockopt(m_socket, SOL_SOCKET, SO_ERROR, &problem, &size) == 0 && problem == 0);
    if (!connected) {
        close();
        return false;
    }
    const int yes = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    return true;
}

void VpcdCard::Line::close()
{
    if (m_socket >= 0)
        ::close(m_socket);
    m_socket = -1;
}

/// The reader sends a message's length and the message one by one, and the second only when the first has been
/// acknowledged: a late acknowledgement costs 40 ms for every APDU. The system takes the wish back now and then.
void VpcdCard::Line::acknowledgeAtOnce() const
{
    const int yes = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_QUICKACK, &yes, sizeof yes);
}

bool VpcdCard::Line::receiveAll(std::uint8_t *place, std::size_t count)
{
    while (count > 0) {
        acknowledgeAtOnce();
        const ssize_t got = recv(m_socket, place, count, 0);
        if (got > 0) {
            place += got;
            count -= static_cast<std::size_t>(got);
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR) || !waitFor(POLLIN)) {
            return false;
        }
    }
    return !isInterrupted();
}

bool VpcdCard::Line::receive(cat::Bytes *message)
{
    std::uint8_t length[2] = {};
    if (!receiveAll(length, sizeof length))
        return false;
    message->resize(length[0] * 0x100U + length[1]);
    return receiveAll(message->data(), message->size());
}

bool VpcdCard::Line::send(const cat::Bytes &message)
{
    const std::size_t size = std::min(message.size(), longestMessage);
    cat::Bytes bytes{static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size)};
    bytes.insert(bytes.end(), message.begin(), message.begin() + static_cast<std::ptrdiff_t>(size));
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count >= 0)
            sent += static_cast<std::size_t>(count);
        else if ((errno != EAGAIN && errno != EINTR) || !waitFor(POLLOUT))
            return false;
    }
    return true;
}

VpcdCard::VpcdCard(Chip chip, cat::Bytes answerToReset, Listener listener)
    : m_chip(std::move(chip)), m_answerToReset(std::move(answerToReset)), m_listener(std::move(listener)),
      m_interrupted(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (m_interrupted < 0)
        throw std::system_error(errno, std::generic_category(), "no event descriptor");
}

VpcdCard::~VpcdCard()
{
    close(m_interrupted);
}

void VpcdCard::interrupt()
{
    const int before = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(m_interrupted, &one, sizeof one); // full: interrupted long ago
    errno = before;
}

void VpcdCard::tell(News news) const
{
    if (m_listener.news)
        m_listener.news(news);
}

bool VpcdCard::serve(const Reader &reader, std::string *error)
{
    Line line(m_interrupted);
    while (!line.isInterrupted()) {
        if (!connectTo(reader, error, &line))
            return line.isInterrupted();
        tell(News::Inserted);
        beInserted(&line);
        line.close();
        m_chip.reset();
        if (line.isInterrupted())
            break;
        tell(News::ReaderGone);
        line.wait(reader.retry);
    }
    return true;
}

/// False: interrupted, or the host is not known.
bool VpcdCard::connectTo(const Reader &reader, std::string *error, Line *line)
{
    const Addresses addresses = addressesOf(reader, error);
    if (!addresses)
        return false;
    for (bool isFirst = true;; isFirst = false) {
        for (const addrinfo *address = addresses.get(); address; address = address->ai_next) {
            if (line->connect(*address))
                return true;
        }
        if (isFirst && !line->isInterrupted())
            tell(News::NoReader);
        if (!line->wait(reader.retry))
            return false;
    }
}

/// Until the reader goes or the card is interrupted.
void VpcdCard::beInserted(Line *line)
{
    cat::Bytes message;
    while (line->receive(&message)) {
        if (message.size() == 1 ? !obey(message.front(), line) : !answer(message, line))
            return;
    }
}

bool VpcdCard::obey(std::uint8_t control, Line *line)
{
    constexpr struct {
        std::uint8_t control;
        News news;
    } powers[] = {{0, News::PowerOff}, {1, News::PowerOn}, {2, News::Reset}};
    constexpr std::uint8_t sendAnswerToReset = 4;
    if (control == sendAnswerToReset)
        return line->send(m_answerToReset);
    for (const auto &row : powers) {
        if (row.control != control)
            continue;
        m_chip.reset();
        tell(row.news);
    }
    return true; // a control that is not known asks for no answer
}

bool VpcdCard::answer(const cat::Bytes &apdu, Line *line)
{
    const card::CardAnswer answer = m_chip.transmit(apdu);
    if (answer.bytes.empty())
        return true;
    if (!line->wait(answer.delay) || !line->send(answer.bytes))
        return false;
    if (m_listener.apdu)
        m_listener.apdu(apdu, answer.bytes);
    return true;
}

} // namespace stkcard
