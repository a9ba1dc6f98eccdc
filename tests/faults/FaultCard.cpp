#include "FaultCard.h"

#include <chrono>
#include <iterator>
#include <utility>

namespace
{

enum Instruction : std::uint8_t { TerminalProfile = 0x10, Fetch = 0x12, TerminalResponse = 0x14, Envelope = 0xC2 };

/// So long this card takes for an answer.
constexpr std::chrono::milliseconds thinking{2};

const char menu[] = "D01C 8103012500 82028182 85044D656E75 8F05014E657773 8F04804F6464";

const char *const commands[] = {
    "D011 8103032180820281028D060448656C6C6F",                                        // DISPLAY TEXT
    "D010 8103052201820281828D05044B65793F",                                          // GET INKEY
    "D01B 8103062381820281828D06044E616D653F91020205970404426F62",                    // GET INPUT
    "D022 8103022400 82028182 85055768657265 8F051148657265 8F06125468657265 900112", // SELECT ITEM
    "D022 810307100082028183850543616C6C3F860591940321F3850948656C70206C696E65",      // SET UP CALL
    "D016 8103082000820281038504426565708E010284020219",                              // PLAY TONE
    "D009 810309010382028182",                                                        // REFRESH
    "D009 810309010482028182",                                                        // with a reset
    "D017 81030A11008202818385064469766572748904FFAA12FB",                            // SEND SS
    "D01D 81030B130082028183850753656E64696E678B09010002812100F40141",                // SEND SMS
    "D011 81030C1200820281838A06F42A31303023",                                        // SEND USSD
    "D01F 81030D150382028182310D687474703A2F2F782E6F72672F05054F70656E3F",            // LAUNCH BROWSER
    "D010 81030E2800820281828D050449646C65",                                          // idle text
    "D013 8103042180820281028D060448656C6C6FAB00",                                    // at once
};

cat::Bytes bytesOf(const char *hex)
{
    cat::Bytes bytes;
    cat::fromHex(hex, &bytes);
    return bytes;
}

} // namespace

FaultCard::FaultCard(std::uint32_t seed) : m_random(seed) {}

stkcard::Chip FaultCard::chip()
{
    return {[this] { reset(); }, [this](const cat::Bytes &apdu) { return transmit(apdu); }};
}

void FaultCard::talkNonsense(int count)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_nonsense = count;
}

bool FaultCard::isTalkingNonsense() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_nonsense > 0;
}

bool FaultCard::isAtRest() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_hasMenu && !m_isOpen && m_waiting.empty() && m_nonsense == 0;
}

FaultCard::Figures FaultCard::figures() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_figures;
}

void FaultCard::reset()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_figures.gone += m_isOpen ? 1 : 0;
    m_isOpen = false;
    m_hasMenu = false;
    m_waiting.clear();
}

card::CardAnswer FaultCard::transmit(const cat::Bytes &apdu)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_nonsense == 0)
        return {answerTo(apdu), thinking};
    --m_nonsense;
    const cat::Bytes said = noise();
    // What was to be fetched never reaches the terminal; everything else has reached the card.
    if (apdu.size() > 1 && apdu[1] == Fetch)
        m_waiting.clear();
    else
        answerTo(apdu);
    // With 6Cxx and 9300 the card asks for the same again.
    const std::uint8_t sw1 = said.size() < 2 ? 0 : said[said.size() - 2];
    m_mayRepeat = sw1 == 0x6C || sw1 == 0x93;
    return {said, thinking};
}

cat::Bytes FaultCard::answerTo(const cat::Bytes &apdu)
{
    const cat::Bytes done = {0x90, 0x00};
    switch (apdu.size() > 1 && apdu[0] == 0x80 ? apdu[1] : 0) {
    case TerminalProfile:
        m_figures.missed += m_isOpen ? 1 : 0;
        m_isOpen = false;
        return announce(bytesOf(menu));
    case Envelope:
        if (m_isOpen)
            return {0x93, 0x00};
        return announce(bytesOf(commands[m_next++ % std::size(commands)]));
    case Fetch: {
        if (m_waiting.empty())
            return {0x6F, 0x00};
        m_figures.missed += m_isOpen ? 1 : 0;
        ++m_figures.fetched;
        m_isOpen = true;
        m_mayRepeat = false;
        cat::Bytes answer = std::exchange(m_waiting, {});
        answer.insert(answer.end(), done.begin(), done.end());
        return answer;
    }
    case TerminalResponse:
        if (!m_isOpen) {
            m_figures.doubled += m_mayRepeat ? 0 : 1;
            return m_mayRepeat ? done : cat::Bytes{0x6F, 0x00};
        }
        ++m_figures.answered;
        m_isOpen = false;
        m_hasMenu = true;
        return done;
    default:
        return apdu.size() > 1 && apdu[0] == 0x80 ? done : cat::Bytes{0x6E, 0x00};
    }
}

cat::Bytes FaultCard::announce(const cat::Bytes &command)
{
    m_waiting = command;
    return {0x91, static_cast<std::uint8_t>(command.size())};
}

/// Half of it looks like an answer: a status word of the toolkit behind any data.
cat::Bytes FaultCard::noise()
{
    const auto any = [this](unsigned limit) { return static_cast<unsigned>(m_random() % limit); };
    cat::Bytes bytes(any(4) == 0 ? any(4) : any(259));
    for (std::uint8_t &byte : bytes)
        byte = static_cast<std::uint8_t>(any(256));
    const std::uint8_t likely[] = {0x90, 0x91, 0x93, 0x61, 0x6C, 0x9F};
    if (bytes.size() >= 2 && any(2) == 0)
        bytes[bytes.size() - 2] = likely[any(std::size(likely))];
    return bytes;
}
