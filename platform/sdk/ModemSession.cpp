#include "sdk/ModemSession.h"

#include <algorithm>

namespace sdk
{

namespace
{

/// What 91xx can announce (ETSI TS 102 221 clause 10.2.1.1); 00 stands for it.
constexpr std::size_t longestCommand = 256;

cat::Bytes statusWord(std::uint8_t sw1, std::size_t sw2)
{
    return {sw1, static_cast<std::uint8_t>(sw2)};
}

std::string withoutAnswer(std::size_t count)
{
    return std::to_string(count) + (count == 1 ? " command" : " commands") +
           " was given up by the modem before the user has seen it";
}

} // namespace

ModemSession::Change ModemSession::handOver(const cat::Bytes &command, std::string *problem)
{
    problem->clear();
    const auto isSame = [&command](const Handed &one) { return !one.isGivenUp && one.bytes == command; };
    if ((m_open && isSame(*m_open)) || std::any_of(m_waiting.begin(), m_waiting.end(), isSame))
        return {};
    if (command.empty() || command.size() > longestCommand) {
        *problem = "a command of " + std::to_string(command.size()) + " bytes is dropped: it can have 1 to 256";
        return {};
    }
    if (const std::size_t count = giveUpWaiting())
        *problem = withoutAnswer(count);
    m_waiting.push_back({command, cat::decodeCommand(command).command.details});
    return {true, giveUpOpen()};
}

ModemSession::Change ModemSession::end(std::string *problem)
{
    problem->clear();
    if (const std::size_t count = giveUpWaiting())
        *problem = withoutAnswer(count);
    return {false, giveUpOpen()};
}

/// How many were dropped.
std::size_t ModemSession::giveUpWaiting()
{
    const std::size_t before = m_waiting.size();
    const auto isDropped = [](const Handed &one) {
        return one.isGivenUp || one.details.type != cat::CommandType::SetUpMenu;
    };
    m_waiting.erase(std::remove_if(m_waiting.begin(), m_waiting.end(), isDropped), m_waiting.end());
    for (Handed &menu : m_waiting)
        menu.isGivenUp = true;
    return before - m_waiting.size();
}

/// True: something was open until now.
bool ModemSession::giveUpOpen()
{
    if (!m_open || m_open->isGivenUp || m_open->isAnswered)
        return false;
    m_open->isGivenUp = true;
    return true;
}

cat::Bytes ModemSession::status() const
{
    return m_waiting.empty() ? statusWord(0x90, 0) : statusWord(0x91, m_waiting.front().bytes.size());
}

cat::Bytes ModemSession::fetch(std::uint8_t length)
{
    if (m_waiting.empty())
        return statusWord(0x69, 0x85);
    if (static_cast<std::uint8_t>(m_waiting.front().bytes.size()) != length)
        return statusWord(0x6C, m_waiting.front().bytes.size());
    m_open = std::move(m_waiting.front());
    m_waiting.pop_front();
    cat::Bytes answer = m_open->bytes;
    answer.push_back(0x90);
    answer.push_back(0x00);
    return answer;
}

bool ModemSession::respond(const cat::Bytes &data)
{
    const std::optional<cat::Response> response = cat::decodeResponse(data);
    if (m_open && !m_open->isGivenUp && !m_open->isAnswered && response &&
        response->details.number == m_open->details.number && response->details.type == m_open->details.type) {
        m_open->isAnswered = true;
        return true;
    }
    if (m_open && m_open->isGivenUp)
        m_open.reset();
    return false;
}

void ModemSession::clear()
{
    m_waiting.clear();
    m_open.reset();
}

} // namespace sdk
