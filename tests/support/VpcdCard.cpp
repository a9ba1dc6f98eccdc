#include "support/VpcdCard.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

constexpr std::chrono::milliseconds reconnectPause{20};

enum Control : std::uint8_t { PowerOff = 0, PowerOn = 1, Reset = 2, GetAtr = 4 };

sockaddr_in loopback()
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(VpcdCard::port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Without both of these every message waits for 40 ms in the kernel.
void hurry(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
}

bool receive(int socket, std::uint8_t *into, std::size_t size)
{
    while (size > 0) {
        hurry(socket);
        const ssize_t got = recv(socket, into, size, 0);
        if (got <= 0)
            return false;
        into += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool receiveMessage(int socket, cat::Bytes *message)
{
    std::uint8_t length[2];
    if (!receive(socket, length, sizeof length))
        return false;
    message->resize(static_cast<std::size_t>(length[0] << 8 | length[1]));
    return receive(socket, message->data(), message->size());
}

bool sendMessage(int socket, const cat::Bytes &message)
{
    cat::Bytes bytes = {static_cast<std::uint8_t>(message.size() >> 8), static_cast<std::uint8_t>(message.size())};
    bytes.insert(bytes.end(), message.begin(), message.end());
    return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

int connectToReader()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback();
    if (socket >= 0 && connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return socket;
    close(socket);
    return -1;
}

} // namespace

struct VpcdCard::Private {
    const cat::Bytes atr;
    const Chip chip;
    mutable std::mutex mutex;
    std::condition_variable wake;
    std::thread thread;
    int socket = -1;
    bool isInserted = false;
    bool isHanging = false;
    bool isOver = false;

    Private(cat::Bytes answerToReset, Chip card) : atr(std::move(answerToReset)), chip(std::move(card)) {}

    void run()
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (!isOver) {
            wake.wait(lock, [this] { return isInserted || isOver; });
            if (isOver)
                break;
            lock.unlock();
            const int reached = connectToReader();
            lock.lock();
            if (reached >= 0 && isInserted && !isOver) {
                socket = reached;
                lock.unlock();
                serve(reached);
                lock.lock();
                socket = -1;
            }
            if (reached >= 0)
                close(reached);
            wake.notify_all();
            wake.wait_for(lock, reconnectPause, [this] { return isOver; });
        }
    }

    void serve(int reader)
    {
        cat::Bytes message;
        while (receiveMessage(reader, &message)) {
            if (message.size() != 1) {
                if (!answer(reader, message))
                    return;
            } else if (message[0] == GetAtr) {
                if (!sendMessage(reader, atr))
                    return;
            } else if (message[0] == PowerOn || message[0] == Reset) {
                chip.reset();
            }
        }
    }

    bool answer(int reader, const cat::Bytes &apdu)
    {
        const Answer said = chip.transmit(apdu);
        std::unique_lock<std::mutex> lock(mutex);
        const auto isOut = [this] { return !isInserted || isOver; };
        if (wake.wait_for(lock, said.delay, isOut))
            return false;
        wake.wait(lock, [&] { return isOut() || !isHanging; });
        if (isOut())
            return false;
        lock.unlock();
        return sendMessage(reader, said.bytes);
    }

    void leave()
    {
        isInserted = false;
        if (socket >= 0)
            shutdown(socket, SHUT_RDWR);
        wake.notify_all();
    }
};

cat::Bytes VpcdCard::atr(int protocol)
{
    return protocol == 0 ? cat::Bytes{0x3B, 0x00} : cat::Bytes{0x3B, 0x80, 0x01, 0x81};
}

VpcdCard::VpcdCard(cat::Bytes atr, Chip chip) : d(std::make_shared<Private>(std::move(atr), std::move(chip)))
{
    d->thread = std::thread([this] { d->run(); });
}

VpcdCard::~VpcdCard()
{
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        d->isOver = true;
        d->leave();
    }
    d->thread.join();
}

void VpcdCard::insert()
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->isInserted = true;
    d->wake.notify_all();
}

void VpcdCard::pull()
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->leave();
}

void VpcdCard::setHanging(bool isHanging)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->isHanging = isHanging;
    d->wake.notify_all();
}

bool VpcdCard::isIn() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->isInserted && d->socket >= 0;
}
