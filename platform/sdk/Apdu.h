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

/// The commands of the toolkit (ETSI TS 102 221 clause 11.2). Data fields have at most 255 bytes.
cat::Bytes terminalProfileApdu();
cat::Bytes fetchApdu(std::uint8_t length);
cat::Bytes terminalResponseApdu(const cat::Bytes &data);
cat::Bytes envelopeApdu(const cat::Bytes &data);
cat::Bytes statusApdu(); ///< asks for no data, only for the status word

/// Hears of every APDU that was answered, with the time at which it was sent.
using ApduObserver = std::function<void(std::chrono::system_clock::time_point, const cat::Bytes &, const cat::Bytes &)>;

/// Sends one command and gives data, SW1 and SW2. 61xx is followed by GET RESPONSE and 6Cxx by the same command with
/// that length (ISO/IEC 7816-4 clause 5.6). False: the card is gone, and that includes a card whose answer has no
/// status word.
bool transmitApdu(CardChannel &channel, const cat::Bytes &apdu, cat::Bytes *answer, const ApduObserver &observe);

} // namespace sdk

#endif // SDK_APDU_H
