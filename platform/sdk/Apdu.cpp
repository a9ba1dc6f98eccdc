#include "sdk/Apdu.h"

#include "sdk/CardChannel.h"

#include <algorithm>

namespace sdk
{

namespace
{

constexpr std::size_t headerSize = 4;

/// A card that always has more to say is cut off here; no command of the toolkit is longer than 256 bytes.
constexpr int maxGetResponses = 16;

/// What this terminal can do (ETSI TS 102 223 clause 5.2), byte by byte; a byte that is not sent counts as 0.
constexpr std::uint8_t terminalProfile[] = {
    0x01 |     // byte 1: profile download
        0x08 | //         menu selection
        0x20,  //         timer expiration
    0x01 |     // byte 2: command result
        0x20 | //        UCS2 entry
        0x40 | //        UCS2 display
        0x80,  //        texts of more than 160 characters
    0x01 |     // byte 3: DISPLAY TEXT
        0x02 | //        GET INKEY
        0x04 | //        GET INPUT
        0x08 | //        MORE TIME
        0x10 | //        PLAY TONE
        0x20 | //        POLL INTERVAL
        0x40 | //        POLLING OFF
        0x80,  //        REFRESH
    0x01 |     // byte 4: SELECT ITEM
        0x02 | //        SEND SHORT MESSAGE
        0x04 | //        SEND SS
        0x08 | //        SEND USSD
        0x20,  //         SET UP MENU; SET UP CALL and the place of the terminal are refused, and so not here
    0x00,      // byte 5: no events, and so no SET UP EVENT LIST
    0x00,      // byte 6: events
    0x00,      // byte 7: more than one card
    0x01 |     // byte 8: TIMER MANAGEMENT, start and stop
        0x02 | //        TIMER MANAGEMENT, current value
        0x04 | //        PROVIDE LOCAL INFORMATION, date, time and time zone
        0x08 | //        GET INKEY with yes or no
        0x10,  //        SET UP IDLE MODE TEXT
    0x01 |     // byte 9: DISPLAY TEXT with immediate response
        0x08 | //        PROVIDE LOCAL INFORMATION, language
        0x20 | //        LANGUAGE NOTIFICATION
        0x40,  //        LAUNCH BROWSER
    0x00,      // byte 10: soft keys
    0x00,      // byte 11: how many of them
    0x00,      // byte 12: bearer independent protocol
    0x00,      // byte 13: its bearers
    0x00,      // byte 14: height of the screen, not told
    0x00,      // byte 15: its width, not told
    0x00,      // byte 16: what it does with texts, not told
    0x00,      // byte 17: bearer independent protocol
    0x01 |     // byte 18: DISPLAY TEXT with a duration
        0x08,  //         GET INKEY with a duration
};

cat::Bytes apduWithData(std::uint8_t cla, std::uint8_t instruction, const cat::Bytes &data)
{
    cat::Bytes apdu(headerSize + 1 + data.size());
    apdu[0] = cla;
    apdu[1] = instruction;
    apdu[headerSize] = static_cast<std::uint8_t>(data.size());
    std::copy(data.begin(), data.end(), apdu.begin() + headerSize + 1);
    return apdu;
}

/// The same command with the expected length `length`.
cat::Bytes withLength(cat::Bytes apdu, std::uint8_t length)
{
    const bool hasData = apdu.size() > headerSize + 1;
    const bool hasLength = hasData ? apdu.size() > headerSize + 1 + apdu[headerSize] : apdu.size() == headerSize + 1;
    if (hasLength)
        apdu.back() = length;
    else
        apdu.push_back(length);
    return apdu;
}

bool transmitOnce(CardChannel &channel, const cat::Bytes &apdu, cat::Bytes *answer, const ApduObserver &observe)
{
    const auto time = std::chrono::system_clock::now();
    answer->clear();
    if (!channel.transmit(apdu, answer) || answer->size() < 2)
        return false;
    observe(time, apdu, *answer);
    return true;
}

/// A SIM says in its own way that there is more to get.
bool isMoreWaiting(std::uint8_t cla, StatusWord status)
{
    return status.sw1 == 0x61 || (cla == gsmClass && status.sw1 == 0x9F);
}

/// And how long what was asked for is.
bool isLengthTold(std::uint8_t cla, StatusWord status)
{
    return status.sw1 == 0x6C || (cla == gsmClass && status.sw1 == 0x67 && status.sw2 != 0x00);
}

/// Appends what GET RESPONSE brings; the last status word is the answer's.
bool getResponse(CardChannel &channel, std::uint8_t cla, cat::Bytes *answer, const ApduObserver &observe)
{
    const std::uint8_t ownClass = cla == gsmClass ? gsmClass : 0x00;
    for (int round = 0; round < maxGetResponses && isMoreWaiting(cla, statusWord(*answer)); ++round) {
        const cat::Bytes apdu = {ownClass, 0xC0, 0x00, 0x00, statusWord(*answer).sw2};
        cat::Bytes more;
        if (!transmitOnce(channel, apdu, &more, observe))
            return false;
        answer->resize(answer->size() - 2);
        answer->insert(answer->end(), more.begin(), more.end());
    }
    return true;
}

} // namespace

StatusWord statusWord(const cat::Bytes &answer)
{
    return {answer[answer.size() - 2], answer[answer.size() - 1]};
}

cat::Bytes terminalProfileApdu(std::uint8_t cla)
{
    return apduWithData(cla, 0x10, cat::Bytes(std::begin(terminalProfile), std::end(terminalProfile)));
}

cat::Bytes fetchApdu(std::uint8_t cla, std::uint8_t length)
{
    return {cla, 0x12, 0x00, 0x00, length};
}

cat::Bytes terminalResponseApdu(std::uint8_t cla, const cat::Bytes &data)
{
    return apduWithData(cla, 0x14, data);
}

cat::Bytes envelopeApdu(std::uint8_t cla, const cat::Bytes &data)
{
    return apduWithData(cla, 0xC2, data);
}

cat::Bytes statusApdu(std::uint8_t cla)
{
    constexpr std::uint8_t noData = 0x0C;
    constexpr std::uint8_t alwaysThere = 22;
    if (cla == gsmClass)
        return {cla, 0xF2, 0x00, 0x00, alwaysThere};
    return {cla, 0xF2, 0x00, noData, 0x00};
}

bool transmitApdu(CardChannel &channel, const cat::Bytes &apdu, cat::Bytes *answer, const ApduObserver &observe)
{
    if (!transmitOnce(channel, apdu, answer, observe))
        return false;
    const std::uint8_t cla = apdu.front();
    const StatusWord status = statusWord(*answer);
    if (isLengthTold(cla, status) && !transmitOnce(channel, withLength(apdu, status.sw2), answer, observe))
        return false;
    return getResponse(channel, cla, answer, observe);
}

} // namespace sdk
