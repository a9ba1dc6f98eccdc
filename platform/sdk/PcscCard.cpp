#include "sdk/PcscCard.h"

#include "sdk/PcscThread.h"

#include <chrono>
#include <thread>

namespace sdk
{

namespace
{

/// Programs that look at every new card, as those for signatures do, let go of it after a moment.
constexpr int sharingTries = 20;
constexpr std::chrono::milliseconds sharingPause{100};

/// 256 bytes of data and the status word.
constexpr std::size_t longestAnswer = 258;

constexpr std::size_t headerSize = 4;
constexpr DWORD protocols = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;

/// T=0 has no place for the expected length behind data; the card announces with 61xx what it has (ISO/IEC 7816-3
/// clause 12.2.1).
void fitToT0(cat::Bytes *apdu)
{
    if (apdu->size() > headerSize + 1) {
        const std::size_t withData = headerSize + 1 + (*apdu)[headerSize];
        if (apdu->size() == withData + 1)
            apdu->pop_back();
    }
}

} // namespace

PcscCard::~PcscCard()
{
    close();
}

LONG PcscCard::reset(const std::string &reader, const std::atomic<bool> &isWanted)
{
    LONG code = SCARD_E_INVALID_HANDLE;
    if (m_isConnected)
        code = restart();
    if (code != SCARD_S_SUCCESS) {
        // The card is another one, or the service is: begin anew.
        m_isLost = true;
        close();
        code = connect(reader, isWanted);
        if (code == SCARD_S_SUCCESS)
            code = restart();
    }
    if (code == SCARD_S_SUCCESS)
        code = findClass();
    if (code != SCARD_S_SUCCESS) {
        m_isLost = true;
        close();
    }
    return code;
}

LONG PcscCard::connect(const std::string &reader, const std::atomic<bool> &isWanted)
{
    LONG code = m_context.open();
    if (code != SCARD_S_SUCCESS)
        return code;
    code = SCARD_E_CANCELLED;
    for (int tries = 0; tries < sharingTries && isWanted; ++tries) {
        stopAtProcessEnd();
        code = SCardConnect(m_context.handle(), reader.c_str(), SCARD_SHARE_EXCLUSIVE, protocols, &m_card, &m_protocol);
        if (code != SCARD_E_SHARING_VIOLATION)
            break;
        std::this_thread::sleep_for(sharingPause);
    }
    if (code == SCARD_E_NO_SMARTCARD)
        code = connectOverlooked(reader);
    m_isConnected = code == SCARD_S_SUCCESS;
    m_isLost = false;
    return code;
}

/// A card that was out and in again between two looks of the service, with a reset in between, is there all the same,
/// and the service learns of it when it powers the reader up.
LONG PcscCard::connectOverlooked(const std::string &reader)
{
    stopAtProcessEnd();
    LONG code = SCardConnect(m_context.handle(), reader.c_str(), SCARD_SHARE_DIRECT, 0, &m_card, &m_protocol);
    if (code != SCARD_S_SUCCESS)
        return SCARD_E_NO_SMARTCARD;
    code = restart();
    if (code == SCARD_S_SUCCESS)
        return code;
    stopAtProcessEnd();
    SCardDisconnect(m_card, SCARD_LEAVE_CARD);
    return SCARD_E_NO_SMARTCARD;
}

/// A warm reset; a card that does not take it is switched off and on.
LONG PcscCard::restart()
{
    LONG code = SCARD_E_INVALID_HANDLE;
    for (const DWORD how : {DWORD{SCARD_RESET_CARD}, DWORD{SCARD_UNPOWER_CARD}}) {
        stopAtProcessEnd();
        code = SCardReconnect(m_card, SCARD_SHARE_EXCLUSIVE, protocols, how, &m_protocol);
        if (code != SCARD_W_UNRESPONSIVE_CARD && code != SCARD_W_UNPOWERED_CARD)
            break;
    }
    return code;
}

/// Selects the master file as a UICC has it (ETSI TS 102 221 clause 11.1.1). A SIM of before refuses that class, and
/// takes its own (3GPP TS 51.011 clause 9.2); a card that refuses both is a UICC with nothing but the toolkit.
LONG PcscCard::findClass()
{
    constexpr std::uint8_t unknownClass = 0x6E, unknownInstruction = 0x6D;
    m_toolkitClass = 0x80;
    cat::Bytes answer;
    LONG code = transmit({0x00, 0xA4, 0x00, 0x04, 0x02, 0x3F, 0x00}, &answer);
    if (code != SCARD_S_SUCCESS || answer[answer.size() - 2] != unknownClass)
        return code;
    code = transmit({0xA0, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00}, &answer);
    if (code != SCARD_S_SUCCESS)
        return code;
    const std::uint8_t sw1 = answer[answer.size() - 2];
    if (sw1 != unknownClass && sw1 != unknownInstruction)
        m_toolkitClass = 0xA0;
    return SCARD_S_SUCCESS;
}

LONG PcscCard::transmit(cat::Bytes apdu, cat::Bytes *answer)
{
    if (m_protocol == SCARD_PROTOCOL_T0)
        fitToT0(&apdu);
    const SCARD_IO_REQUEST *const protocol = m_protocol == SCARD_PROTOCOL_T0 ? SCARD_PCI_T0 : SCARD_PCI_T1;
    answer->resize(longestAnswer);
    DWORD size = longestAnswer;
    stopAtProcessEnd();
    const LONG code = SCardTransmit(m_card, protocol, apdu.data(), apdu.size(), nullptr, answer->data(), &size);
    if (code != SCARD_S_SUCCESS) {
        m_isLost = true;
        return code;
    }
    // A card that is pulled out may be reported as a success without an answer.
    m_isLost = size < 2 || size > longestAnswer;
    if (m_isLost)
        return SCARD_E_COMM_DATA_LOST;
    answer->resize(size);
    return SCARD_S_SUCCESS;
}

void PcscCard::close()
{
    if (m_isConnected) {
        stopAtProcessEnd();
        SCardDisconnect(m_card, m_isLost ? SCARD_LEAVE_CARD : SCARD_RESET_CARD);
        m_isConnected = false;
    }
    m_context.close();
}

} // namespace sdk
