#include "SoakCard.h"

#include "cat/Command.h"

#include <chrono>
#include <random>
#include <thread>

namespace soak
{

namespace
{

const std::uint8_t FETCH = 0x12;
const std::uint8_t TERMINAL_RESPONSE = 0x14;
const int LONGEST_US = 1000;

void takeTime()
{
    thread_local std::minstd_rand random;
    std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<>(0, LONGEST_US)(random)));
}

} // namespace

std::map<std::string, long> CardTraffic::kinds() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_kinds;
}

void CardTraffic::begin()
{
    m_isAtRest = false;
    ++m_apdus;
}

void CardTraffic::add(const cat::Bytes &apdu, const cat::Bytes &answer)
{
    if (apdu.size() < 2 || answer.size() < 2)
        return;
    const bool isDone = answer[answer.size() - 2] == 0x90;
    const bool isTaken = isDone || answer[answer.size() - 2] == 0x91;
    if (apdu[1] == FETCH && isDone) {
        addCommand(cat::Bytes(answer.begin(), answer.end() - 2));
        return;
    }
    if (apdu[1] == TERMINAL_RESPONSE && isTaken) {
        ++m_responses;
        m_isMenuOpen = false;
    }
    m_isAtRest = isDone;
}

void CardTraffic::addCommand(const cat::Bytes &command)
{
    const cat::CommandType type = cat::decodeCommand(command).command.details.type;
    m_isMenuOpen = type == cat::CommandType::SelectItem;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_kinds[cat::commandName(type)];
    }
    ++m_commands;
}

SoakCard::SoakCard(std::unique_ptr<sdk::CardChannel> card, CardTraffic *traffic)
    : m_card(std::move(card)), m_traffic(traffic)
{
}

bool SoakCard::transmit(const cat::Bytes &apdu, cat::Bytes *answer)
{
    m_traffic->begin();
    takeTime();
    const bool isThere = m_card->transmit(apdu, answer);
    if (isThere)
        m_traffic->add(apdu, *answer);
    return isThere;
}

} // namespace soak
