#ifndef SDK_PCSCCARD_H
#define SDK_PCSCCARD_H

#include "cat/Bytes.h"
#include "sdk/PcscReaders.h"

#include <atomic>
#include <string>

namespace sdk
{

/// The card in a reader. Every function may block for ever: they are called on one PcscThread.
///
/// The card is held exclusively for as long as it is used. What it has announced with 91xx, and that it has got the
/// terminal's profile, belong to the whole session: another program that talked to the card in between would take the
/// announcement away, or reset the card. Transactions would keep that off only for as long as one lasts.
class PcscCard
{
public:
    ~PcscCard();

    /// Powers the card in the reader of that name up, or resets it when it is up, and finds out the class of its
    /// commands. `isWanted` turning false ends the wait for another program that holds the card. SCARD_S_SUCCESS or
    /// what went wrong.
    LONG reset(const std::string &reader, const std::atomic<bool> &isWanted);

    /// One command APDU and the answer to it, of a card that reset() has found. An answer without a status word, or
    /// longer than any card's, is SCARD_E_COMM_DATA_LOST.
    LONG transmit(cat::Bytes apdu, cat::Bytes *answer);

    /// 80, or A0 for a SIM of before the UICC. Good after reset().
    std::uint8_t toolkitClass() const { return m_toolkitClass; }

    /// Gives card and service up. The card is reset, so that the next program finds it as new; not so one that was
    /// lost, since a service that resets a card at the very moment it is out overlooks that it comes back.
    void close();

private:
    LONG connect(const std::string &reader, const std::atomic<bool> &isWanted);
    LONG connectOverlooked(const std::string &reader);
    LONG restart();
    LONG findClass();

    PcscContext m_context;
    SCARDHANDLE m_card = 0;
    bool m_isConnected = false;
    bool m_isLost = false;
    DWORD m_protocol = 0;
    std::uint8_t m_toolkitClass = 0x80;
};

} // namespace sdk

#endif // SDK_PCSCCARD_H
