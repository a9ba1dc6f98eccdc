#ifndef TESTS_CARDINREADER_H
#define TESTS_CARDINREADER_H

#include "stkcard/VpcdCard.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

/// A card for the vpcd reader of a PC/SC service on this machine, which speaks T=0 and can be put in, pulled out and
/// made to hang. One thread at a time.
class CardInReader
{
public:
    static stkcard::VpcdCard::Reader firstSlot();

    /// It is out at first. The chip is called on a thread of the card's own.
    explicit CardInReader(stkcard::Chip chip, stkcard::VpcdCard::Reader reader = firstSlot());
    ~CardInReader(); ///< pulls it
    CardInReader(const CardInReader &) = delete;
    CardInReader &operator=(const CardInReader &) = delete;

    /// Puts it into the reader, as soon as there is one, and again whenever the reader has been lost.
    void insert();

    /// Takes it out. A command that it is busy with gets no answer.
    void pull();

    /// While true, the card takes commands and answers none of them; afterwards it answers the one that waits.
    void setHanging(bool isHanging);

private:
    card::CardAnswer transmit(const cat::Bytes &apdu);

    const stkcard::Chip m_chip;
    const stkcard::VpcdCard::Reader m_reader;
    std::mutex m_mutex; ///< guards the two below
    std::condition_variable m_wake;
    bool m_isIn = false;
    bool m_isHanging = false;
    std::unique_ptr<stkcard::VpcdCard> m_card; ///< a new one each time: one that was interrupted stays so
    std::thread m_thread;
};

#endif // TESTS_CARDINREADER_H
