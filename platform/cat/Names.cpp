#include "cat/Command.h"

namespace cat
{

namespace
{

/// ETSI TS 102 223 clause 9.4.
constexpr struct {
    std::uint8_t type;
    const char *name;
} commandNames[] = {
    {0x01, "REFRESH"},
    {0x02, "MORE TIME"},
    {0x03, "POLL INTERVAL"},
    {0x04, "POLLING OFF"},
    {0x05, "SET UP EVENT LIST"},
    {0x10, "SET UP CALL"},
    {0x11, "SEND SS"},
    {0x12, "SEND USSD"},
    {0x13, "SEND SHORT MESSAGE"},
    {0x14, "SEND DTMF"},
    {0x15, "LAUNCH BROWSER"},
    {0x16, "GEOGRAPHICAL LOCATION REQUEST"},
    {0x20, "PLAY TONE"},
    {0x21, "DISPLAY TEXT"},
    {0x22, "GET INKEY"},
    {0x23, "GET INPUT"},
    {0x24, "SELECT ITEM"},
    {0x25, "SET UP MENU"},
    {0x26, "PROVIDE LOCAL INFORMATION"},
    {0x27, "TIMER MANAGEMENT"},
    {0x28, "SET UP IDLE MODE TEXT"},
    {0x30, "PERFORM CARD APDU"},
    {0x31, "POWER ON CARD"},
    {0x32, "POWER OFF CARD"},
    {0x33, "GET READER STATUS"},
    {0x34, "RUN AT COMMAND"},
    {0x35, "LANGUAGE NOTIFICATION"},
    {0x40, "OPEN CHANNEL"},
    {0x41, "CLOSE CHANNEL"},
    {0x42, "RECEIVE DATA"},
    {0x43, "SEND DATA"},
    {0x44, "GET CHANNEL STATUS"},
    {0x45, "SERVICE SEARCH"},
    {0x46, "GET SERVICE INFORMATION"},
    {0x47, "DECLARE SERVICE"},
    {0x50, "SET FRAMES"},
    {0x51, "GET FRAMES STATUS"},
    {0x60, "RETRIEVE MULTIMEDIA MESSAGE"},
    {0x61, "SUBMIT MULTIMEDIA MESSAGE"},
    {0x62, "DISPLAY MULTIMEDIA MESSAGE"},
    {0x70, "ACTIVATE"},
    {0x71, "CONTACTLESS STATE CHANGED"},
    {0x72, "COMMAND CONTAINER"},
    {0x73, "ENCAPSULATED SESSION CONTROL"},
};

/// ETSI TS 102 223 clause 8.12.
constexpr struct {
    std::uint8_t result;
    const char *meaning;
} resultMeanings[] = {
    {0x00, "command performed successfully"},
    {0x01, "command performed with partial comprehension"},
    {0x02, "command performed, with missing information"},
    {0x03, "REFRESH performed with additional files read"},
    {0x04, "command performed, but the requested icon could not be displayed"},
    {0x05, "command performed, but modified by call control"},
    {0x06, "command performed, limited service"},
    {0x07, "command performed with modification"},
    {0x08, "REFRESH performed, but the indicated application was not active"},
    {0x09, "command performed, tone not played"},
    {0x10, "proactive session terminated by the user"},
    {0x11, "backward move requested by the user"},
    {0x12, "no response from the user"},
    {0x13, "help information required by the user"},
    {0x14, "USSD or SS transaction terminated by the user"},
    {0x20, "terminal currently unable to process the command"},
    {0x21, "network currently unable to process the command"},
    {0x22, "user did not accept the command"},
    {0x23, "user cleared down the call before connection or network release"},
    {0x24, "action in contradiction with the current timer state"},
    {0x25, "interaction with call control, temporary problem"},
    {0x26, "launch browser generic error"},
    {0x27, "MMS temporary problem"},
    {0x30, "command beyond the terminal's capabilities"},
    {0x31, "command type not understood by the terminal"},
    {0x32, "command data not understood by the terminal"},
    {0x33, "command number not known by the terminal"},
    {0x34, "SS return error"},
    {0x35, "SMS RP-ERROR"},
    {0x36, "error, required values are missing"},
    {0x37, "USSD return error"},
    {0x38, "multiple card commands error"},
    {0x39, "interaction with call control, permanent problem"},
    {0x3A, "bearer independent protocol error"},
    {0x3B, "access technology unable to process the command"},
    {0x3C, "frames error"},
    {0x3D, "MMS error"},
};

/// ETSI TS 102 223 clause 8.16.
constexpr struct {
    std::uint8_t tone;
    const char *name;
} toneNames[] = {
    {0x01, "dial"},
    {0x02, "called subscriber busy"},
    {0x03, "congestion"},
    {0x04, "radio path acknowledge"},
    {0x05, "radio path not available / call dropped"},
    {0x06, "error / special information"},
    {0x07, "call waiting"},
    {0x08, "ringing"},
    {0x10, "general beep"},
    {0x11, "positive acknowledgement"},
    {0x12, "negative acknowledgement"},
    {0x13, "ringing as chosen by the user for speech calls"},
    {0x14, "alert as chosen by the user for short messages"},
    {0x15, "critical alert"},
    {0x20, "vibration only"},
    {0x30, "happy"},
    {0x31, "sad"},
    {0x32, "urgent action"},
    {0x33, "question"},
    {0x34, "message received"},
    {0x40, "melody 1"},
    {0x41, "melody 2"},
    {0x42, "melody 3"},
    {0x43, "melody 4"},
    {0x44, "melody 5"},
    {0x45, "melody 6"},
    {0x46, "melody 7"},
    {0x47, "melody 8"},
};

/// ETSI TS 102 223 clause 8.25.
constexpr struct {
    std::uint8_t event;
    const char *name;
} eventNames[] = {
    {0x00, "MT call"},
    {0x01, "call connected"},
    {0x02, "call disconnected"},
    {0x03, "location status"},
    {0x04, "user activity"},
    {0x05, "idle screen available"},
    {0x06, "card reader status"},
    {0x07, "language selection"},
    {0x08, "browser termination"},
    {0x09, "data available"},
    {0x0A, "channel status"},
    {0x0B, "access technology change"},
    {0x0C, "display parameters changed"},
    {0x0D, "local connection"},
    {0x0E, "network search mode change"},
    {0x0F, "browsing status"},
    {0x10, "frames information change"},
    {0x13, "HCI connectivity"},
    {0x15, "contactless state request"},
};

std::string hexByte(std::uint8_t byte)
{
    return toHex(ByteView(&byte, 1));
}

} // namespace

bool isNamed(CommandType type)
{
    for (const auto &row : commandNames) {
        if (row.type == static_cast<std::uint8_t>(type))
            return true;
    }
    return false;
}

std::string commandName(CommandType type)
{
    for (const auto &row : commandNames) {
        if (row.type == static_cast<std::uint8_t>(type))
            return row.name;
    }
    return "COMMAND " + hexByte(static_cast<std::uint8_t>(type));
}

std::string resultMeaning(Result result)
{
    for (const auto &row : resultMeanings) {
        if (row.result == static_cast<std::uint8_t>(result))
            return row.meaning;
    }
    return "result " + hexByte(static_cast<std::uint8_t>(result));
}

std::string eventName(std::uint8_t event)
{
    for (const auto &row : eventNames) {
        if (row.event == event)
            return row.name;
    }
    return "event " + hexByte(event);
}

std::string toneName(std::uint8_t tone)
{
    for (const auto &row : toneNames) {
        if (row.tone == tone)
            return row.name;
    }
    return "tone " + hexByte(tone);
}

} // namespace cat
