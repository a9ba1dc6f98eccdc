#ifndef TESTS_STKCARD_VPCDREADER_H
#define TESTS_STKCARD_VPCDREADER_H

#include "cat/Bytes.h"

#include <cstdint>
#include <optional>
#include <string>

/// Stands for the reader of vpcd: listens on loopback for one card at a time, and sends as vpcd does, the length and
/// the message one by one. Every wait ends by itself; what did not come in time is nothing, or false.
class VpcdReader
{
public:
    enum Control : std::uint8_t { PowerOff = 0, PowerOn = 1, Reset = 2, AnswerToReset = 4 };

    VpcdReader();
    ~VpcdReader();
    VpcdReader(const VpcdReader &) = delete;
    VpcdReader &operator=(const VpcdReader &) = delete;

    std::uint16_t port() const { return m_port; }

    /// A card has connected.
    bool waitForCard();
    void control(Control control);
    void send(const cat::Bytes &message);
    void sendRaw(const cat::Bytes &bytes);
    std::optional<cat::Bytes> receive();
    std::optional<cat::Bytes> transmit(const cat::Bytes &apdu);
    /// The card closes the connection.
    bool waitForCardGone();
    /// Throws the card out; it may connect again.
    void eject();
    /// Nobody listens any more, or somebody does again at the same port.
    void stop();
    void start();

private:
    bool readAll(std::uint8_t *place, std::size_t count);

    int m_listener = -1;
    int m_card = -1;
    std::uint16_t m_port = 0;
};

#endif // TESTS_STKCARD_VPCDREADER_H
