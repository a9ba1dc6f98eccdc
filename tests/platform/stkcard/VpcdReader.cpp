#include "platform/stkcard/VpcdReader.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace
{

constexpr int limit = 20000; // milliseconds for anything to happen

bool isReadable(int descriptor)
{
    pollfd end{descriptor, POLLIN, 0};
    return poll(&end, 1, limit) > 0;
}

void closeIt(int *descriptor)
{
    if (*descriptor >= 0)
        ::close(*descriptor);
    *descriptor = -1;
}

} // namespace

VpcdReader::VpcdReader()
{
    start();
}

VpcdReader::~VpcdReader()
{
    eject();
    stop();
}

void VpcdReader::start()
{
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(m_port);
    socklen_t size = sizeof address;
    auto *const place = reinterpret_cast<sockaddr *>(&address);
    if (bind(m_listener, place, size) != 0 || listen(m_listener, 1) != 0 || getsockname(m_listener, place, &size) != 0)
        throw std::runtime_error("the reader's double cannot listen");
    m_port = ntohs(address.sin_port);
}

void VpcdReader::stop()
{
    closeIt(&m_listener);
}

void VpcdReader::eject()
{
    closeIt(&m_card);
}

bool VpcdReader::waitForCard()
{
    eject();
    m_card = isReadable(m_listener) ? accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC) : -1;
    return m_card >= 0;
}

bool VpcdReader::waitForCardGone()
{
    std::uint8_t byte = 0;
    return isReadable(m_card) && recv(m_card, &byte, 1, 0) <= 0;
}

void VpcdReader::control(Control control)
{
    send({static_cast<std::uint8_t>(control)});
}

void VpcdReader::send(const cat::Bytes &message)
{
    sendRaw({static_cast<std::uint8_t>(message.size() >> 8), static_cast<std::uint8_t>(message.size())});
    sendRaw(message);
}

void VpcdReader::sendRaw(const cat::Bytes &bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(m_card, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        sent += static_cast<std::size_t>(count);
    }
}

bool VpcdReader::readAll(std::uint8_t *place, std::size_t count)
{
    while (count > 0) {
        const ssize_t got = isReadable(m_card) ? recv(m_card, place, count, 0) : 0;
        if (got <= 0)
            return false;
        place += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

std::optional<cat::Bytes> VpcdReader::receive()
{
    std::uint8_t length[2] = {};
    if (!readAll(length, sizeof length))
        return std::nullopt;
    cat::Bytes message(length[0] * 0x100U + length[1]);
    if (!readAll(message.data(), message.size()))
        return std::nullopt;
    return message;
}

std::optional<cat::Bytes> VpcdReader::transmit(const cat::Bytes &apdu)
{
    send(apdu);
    return receive();
}
