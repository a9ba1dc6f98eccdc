#include "support/ModemDouble.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <utility>

namespace
{

using std::chrono::milliseconds;

const std::uint8_t PROFILE = 0x10;
const std::uint8_t FETCH = 0x12;
const std::uint8_t RESPONSE = 0x14;
const std::uint8_t ENVELOPE = 0xC2;

const char *const CHATTER[] = {"RING",
                               "+CREG: 1,\"00C3\",\"0A1B2C\",7",
                               "^RSSI: 17",
                               "+CSQ: 31,99",
                               "NO CARRIER 1",
                               "+CUSATS: 3",
                               "+CUSD: 0,\"OK\",15",
                               "+CMTI: \"SM\",3",
                               "OKAY",
                               "AT+CUSATT=8103012500",
                               "$QCSIMSTAT: 1"};

/// Whether this is a response to the command with these details.
bool answers(const cat::Bytes &data, const cat::CommandDetails &details)
{
    const std::optional<cat::Response> response = cat::decodeResponse(data);
    return response && response->details.number == details.number && response->details.type == details.type;
}

bool startsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

std::uint8_t statusByte(const cat::Bytes &answer, std::size_t fromEnd)
{
    return answer[answer.size() - fromEnd];
}

} // namespace

ModemDouble::Habits ModemDouble::anyHabits(unsigned int seed)
{
    std::mt19937 random(seed);
    const auto either = [&random] { return random() % 2 == 0; };
    Habits habits;
    habits.seed = seed;
    habits.chats = true;
    habits.wantsQuotes = either();
    habits.readsProfile = either();
    habits.writesProfile = either();
    habits.choosesProfile = either();
    return habits;
}

ModemDouble::ModemDouble(ModemPeer::Way way, card::Profile profile, const Habits &habits)
    : m_habits(habits), m_random(habits.seed), m_card(std::move(profile)),
      m_peer(way, [this](const std::string &line) { return reply(line); })
{
}

ModemDouble::Count ModemDouble::count() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Count count = m_count;
    count.open = m_isOpen ? 1 : 0;
    return count;
}

void ModemDouble::babble(int bytes)
{
    std::string noise;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (int i = 0; i < bytes; ++i)
            noise.push_back(any(40) == 0 ? "\r\n"[any(2)] : static_cast<char>(any(256)));
    }
    m_peer.say("\r\n" + noise + "\r\n");
}

void ModemDouble::unplug()
{
    m_peer.unplug();
    const std::lock_guard<std::mutex> lock(m_mutex);
    loseOpen();
}

void ModemDouble::fallSilent()
{
    m_peer.setSilent(true);
    const std::lock_guard<std::mutex> lock(m_mutex);
    loseOpen();
}

void ModemDouble::restore()
{
    m_peer.setSilent(false);
    m_peer.plugIn();
}

bool ModemDouble::giveUp(const cat::Bytes &next)
{
    std::string said;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_isOpen)
            return false;
        ++m_count.givenUp;
        m_isOpen = false;
        m_givenUp = m_details;
        cat::Response response;
        response.details = m_details;
        response.result = cat::Result::NoResponseFromUser;
        if (!next.empty())
            m_card.raise(next);
        milliseconds time{0};
        Sayings sayings;
        follow(sendToCard(RESPONSE, cat::encodeResponse(response), &time), milliseconds(0), &sayings);
        for (const ModemPeer::Saying &saying : spoken(sayings))
            said += saying.bytes;
    }
    m_peer.say(said); // whose lock comes before the one of here
    return true;
}

void ModemDouble::loseOpen()
{
    m_count.lost += m_isOpen ? 1 : 0;
    m_isOpen = false;
    m_isStarted = false;
    m_echoes = true;
    m_card.reset();
}

// ---------------------------------------------------------------- commands

ModemDouble::Sayings ModemDouble::reply(const std::string &line)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Sayings sayings;
    if (m_echoes)
        speak(line + '\r', milliseconds(0), &sayings);
    std::string command;
    for (const char character : line) {
        if (character != '\n' && character != '\0')
            command.push_back(character);
    }
    const Sayings answer = spoken(obey(command));
    sayings.insert(sayings.end(), answer.begin(), answer.end());
    return sayings;
}

ModemDouble::Sayings ModemDouble::obey(const std::string &command)
{
    if (startsWith(command, "ATE")) {
        m_echoes = command != "ATE0";
        return {{"OK"}};
    }
    if (command == "AT" && !m_habits.activates && !m_isStarted) {
        Sayings sayings = activate();
        sayings.insert(sayings.begin(), {"OK"});
        return sayings;
    }
    if (command == "AT" || command == "AT+CMEE=1")
        return {{"OK"}};
    if (command == "AT+CUSATR" && m_habits.readsProfile)
        return {{"+CUSATR: 0,\"" + m_profile + '"'}, {"+CUSATR: 1,\"FFFF\""}, {"OK"}};
    if (startsWith(command, "AT+CUSATW=0,\"") && m_habits.writesProfile) {
        m_profile = command.substr(13, command.size() - 14);
        return {{"OK"}};
    }
    if (command == "AT+CUSATD=1" && m_habits.choosesProfile)
        return {{"OK"}};
    if (startsWith(command, "AT+CUSATA=") && m_habits.activates) {
        Sayings sayings = activate();
        sayings.insert(sayings.begin(), {"OK"});
        return sayings;
    }
    if (startsWith(command, "AT+CUSATT="))
        return response(command.substr(10));
    if (startsWith(command, "AT+CUSATE="))
        return envelope(command.substr(10));
    return {{chance(2) ? "ERROR" : "+CME ERROR: 3"}};
}

/// Starts the card anew: what was open is lost.
ModemDouble::Sayings ModemDouble::activate()
{
    loseOpen();
    m_echoes = false;
    m_isStarted = true;
    Sayings sayings;
    milliseconds time{0};
    const cat::Bytes answer = sendToCard(PROFILE, cat::Bytes(18, 0xFF), &time);
    follow(answer, time, &sayings);
    return sayings;
}

ModemDouble::Sayings ModemDouble::response(const std::string &text)
{
    cat::Bytes data;
    if (!readString(text, &data))
        return {{"ERROR"}};
    if (m_givenUp && answers(data, *m_givenUp) && !(m_isOpen && answers(data, m_details))) {
        ++m_count.late;
        return {{"+CME ERROR: 100"}};
    }
    milliseconds time{0};
    const cat::Bytes answer = sendToCard(RESPONSE, data, &time);
    const bool isTaken = statusByte(answer, 2) == 0x90 || statusByte(answer, 2) == 0x91;
    if (!isTaken || !m_isOpen) {
        if (m_count.refused++ == 0)
            m_count.refusal = text + " when " + cat::commandName(m_details.type) + ", number " +
                              std::to_string(m_details.number) + ", was " + (m_isOpen ? "open" : "not open any more") +
                              "; the card said " + cat::toHex(answer);
        return {{"+CME ERROR: 100", time}};
    }
    ++m_count.answered;
    m_isOpen = false;
    Sayings sayings = {{"OK", time}};
    follow(answer, milliseconds(0), &sayings);
    return sayings;
}

ModemDouble::Sayings ModemDouble::envelope(const std::string &text)
{
    cat::Bytes data;
    if (!readString(text, &data))
        return {{"ERROR"}};
    milliseconds time{0};
    const cat::Bytes answer = sendToCard(ENVELOPE, data, &time);
    if (statusByte(answer, 2) == 0x93)
        return {{"+CUSATE: \"\",1", time}, {"OK"}};
    if (statusByte(answer, 2) != 0x90 && statusByte(answer, 2) != 0x91)
        return {{"+CME ERROR: 100", time}};
    Sayings sayings = {{"+CUSATE: \"\",0", time}, {"OK"}};
    if (statusByte(answer, 2) == 0x91)
        follow(answer, milliseconds(0), &sayings);
    else if (m_habits.tellsEnd)
        sayings.push_back({"+CUSATEND"});
    return sayings;
}

bool ModemDouble::readString(const std::string &text, cat::Bytes *bytes) const
{
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted == m_habits.wantsQuotes && cat::fromHex(isQuoted ? text.substr(1, text.size() - 2) : text, bytes);
}

cat::Bytes ModemDouble::sendToCard(std::uint8_t instruction, const cat::Bytes &data, milliseconds *time)
{
    cat::Bytes apdu = {0x80, instruction, 0x00, 0x00, static_cast<std::uint8_t>(data.size())};
    apdu.insert(apdu.end(), data.begin(), data.end());
    const card::CardAnswer answer = m_card.transmit(apdu);
    *time = answer.delay + m_habits.cardTime;
    return answer.bytes;
}

/// What the card does next, said `time` later.
void ModemDouble::follow(const cat::Bytes &answer, milliseconds time, Sayings *sayings)
{
    if (statusByte(answer, 2) == 0x91) {
        const cat::Bytes apdu = {0x80, FETCH, 0x00, 0x00, statusByte(answer, 1)};
        cat::Bytes command = m_card.transmit(apdu).bytes;
        command.resize(command.size() - 2);
        sayings->push_back({handOver(command), time});
    } else if (m_habits.tellsEnd) {
        sayings->push_back({"+CUSATEND", time});
    }
}

std::string ModemDouble::handOver(const cat::Bytes &command)
{
    ++m_count.handedOver;
    m_isOpen = true;
    m_details = cat::decodeCommand(command).command.details;
    std::string hex = cat::toHex(command);
    if (m_habits.chats && chance(3))
        std::transform(hex.begin(), hex.end(), hex.begin(),
                       [](unsigned char digit) { return char(std::tolower(digit)); });
    for (std::size_t at = 2; m_habits.chats && chance(3) && at < hex.size(); at += 2 * (1 + any(40)) + 1)
        hex.insert(at, " ");
    return "+CUSATP:" + std::string(m_habits.chats ? any(3) : 1, ' ') +
           (m_habits.chats && chance(2) ? hex : '"' + hex + '"');
}

// ---------------------------------------------------------------- how it is said

/// Whole lines as they go over the line, with what else there is in between.
ModemDouble::Sayings ModemDouble::spoken(const Sayings &lines)
{
    static const char *const ends[] = {"\r\n", "\r", "\n", "\n\r", "\r\r\n"};
    Sayings sayings;
    for (const ModemPeer::Saying &line : lines) {
        milliseconds after = line.after;
        if (m_habits.chats && chance(2))
            speak(chatter(), std::exchange(after, milliseconds(0)), &sayings);
        const std::string end = m_habits.chats ? ends[any(unsigned(std::size(ends)))] : "\r\n";
        speak(end + line.bytes + end, after, &sayings);
    }
    if (m_habits.chats && chance(4))
        speak(chatter(), milliseconds(0), &sayings);
    return sayings;
}

/// At once, or in two pieces.
void ModemDouble::speak(const std::string &bytes, milliseconds after, Sayings *sayings)
{
    const std::size_t first = m_habits.chats && chance(4) && bytes.size() > 2 ? 1 + any(unsigned(bytes.size()) - 1) : 0;
    if (first)
        sayings->push_back({bytes.substr(0, first), after});
    sayings->push_back({bytes.substr(first), first ? milliseconds(3) : after});
}

std::string ModemDouble::chatter()
{
    if (chance(6))
        return "\r\n+CMT: " + std::string(1000 + any(6000), 'x') + "\r\n";
    if (chance(6))
        return std::string("\0\0\r\n\0", 5);
    return std::string(chance(2) ? "\r\n" : "\n") + CHATTER[any(unsigned(std::size(CHATTER)))] + "\r\n";
}

bool ModemDouble::chance(unsigned int in)
{
    return any(in) == 0;
}

unsigned int ModemDouble::any(unsigned int below)
{
    return static_cast<unsigned int>(m_random() % below);
}
