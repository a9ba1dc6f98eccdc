#ifndef SDK_APDU_H
#define SDK_APDU_H

#include "cat/Bytes.h"

#include <chrono>
#include <functional>

namespace sdk
{

class CardChannel;

/// SW1 and SW2 (ETSI TS 102 221 clause 10.2.1).
struct StatusWord {
    std::uint8_t sw1 = 0;
    std::uint8_t sw2 = 0;

    bool isCommandWaiting() const { return sw1 == 0x91; } ///< `sw2` is the length for FETCH
    bool isSuccess() const { return sw1 == 0x90 && sw2 == 0x00; }
    bool isToolkitBusy() const { return sw1 == 0x93 && sw2 == 0x00; }
};

/// The last two bytes of an answer, which has at least that many.
StatusWord statusWord(const cat::Bytes &answer);

/// Class byte of a SIM of before the UICC (3GPP TS 51.011 clause 9.2), for the toolkit and all else; that of a UICC's
/// toolkit is 80. Logical channel 0 both.
constexpr std::uint8_t gsmClass = 0xA0;

/// The commands of the toolkit (ETSI TS 102 221 clause 11.2) in the class `cla`. Data fields have at most 255 bytes.
cat::Bytes terminalProfileApdu(std::uint8_t cla);
cat::Bytes fetchApdu(std::uint8_t cla, std::uint8_t length);
cat::Bytes terminalResponseApdu(std::uint8_t cla, const cat::Bytes &data);
cat::Bytes envelopeApdu(std::uint8_t cla, const cat::Bytes &data);

/// Of a UICC it asks for no data, only for the status word; a SIM has no such form (3GPP TS 51.011 clause 9.2.2), and
/// of it the 22 bytes that it always has are asked for.
cat::Bytes statusApdu(std::uint8_t cla);

/// Hears of every APDU that was answered, with the time at which it was sent.
using ApduObserver = std::function<void(std::chrono::system_clock::time_point, const cat::Bytes &, const cat::Bytes &)>;

/// Sends one command and gives data, SW1 and SW2. 61xx is followed by GET RESPONSE and 6Cxx by the same command with
/// that length (ISO/IEC 7816-4 clause 5.6); of a SIM 9Fxx and 67xx are the same (3GPP TS 51.011 clause 9.4). False: the
/// card is gone, and that includes a card whose answer has no status word.
bool transmitApdu(CardChannel &channel, const cat::Bytes &apdu, cat::Bytes *answer, const ApduObserver &observe);

} // namespace sdk

#endif // SDK_APDU_H
