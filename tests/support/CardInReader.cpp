#include "support/CardInReader.h"

#include <cstdio>
#include <cstdlib>

stkcard::VpcdCard::Reader CardInReader::firstSlot()
{
    return {"127.0.0.1", "35963", std::chrono::milliseconds(20)};
}

CardInReader::CardInReader(stkcard::Chip chip, stkcard::VpcdCard::Reader reader)
    : m_chip(std::move(chip)), m_reader(std::move(reader))
{
}

CardInReader::~CardInReader()
{
    pull();
}

void CardInReader::insert()
{
    if (m_card)
        return;
    m_isIn = true; // there is no other thread yet
    const stkcard::Chip chip{m_chip.reset, [this](const cat::Bytes &apdu) { return transmit(apdu); }};
    m_card = std::make_unique<stkcard::VpcdCard>(chip, stkcard::answerToReset(stkcard::Protocol::T0));
    m_thread = std::thread([this] {
        std::string error;
        if (m_card->serve(m_reader, &error))
            return;
        std::fprintf(stderr, "the card for the reader: %s\n", error.c_str());
        std::abort();
    });
}

void CardInReader::pull()
{
    if (!m_card)
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isIn = false;
        m_wake.notify_all();
    }
    m_card->interrupt();
    m_thread.join();
    m_card.reset();
}

void CardInReader::setHanging(bool isHanging)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isHanging = isHanging;
    m_wake.notify_all();
}

card::CardAnswer CardInReader::transmit(const cat::Bytes &apdu)
{
    const card::CardAnswer answer = m_chip.transmit(apdu);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait(lock, [this] { return !m_isHanging || !m_isIn; });
    return m_isIn ? answer : card::CardAnswer();
}
