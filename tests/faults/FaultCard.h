#ifndef TESTS_FAULTCARD_H
#define TESTS_FAULTCARD_H

#include "stkcard/VpcdCard.h"

#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <vector>

/// A card that asks one command of every kind by turns, each when the user chooses from its menu, and counts what the
/// terminal does about them. Any thread.
class FaultCard
{
public:
    struct Figures {
        long fetched = 0;  ///< commands that the terminal has got
        long answered = 0; ///< of those, with a response
        long gone = 0;     ///< of those, without one, since the card was reset or lost meanwhile
        long doubled = 0;  ///< responses to no open command
        long missed = 0;   ///< commands without a response although the card stayed
    };

    explicit FaultCard(std::uint32_t seed);

    /// For a CardInReader; this must outlive it.
    stkcard::Chip chip();

    /// The next `count` answers are noise: any bytes, of any length up to 258, or none.
    void talkNonsense(int count);
    bool isTalkingNonsense() const;

    /// The menu has been fetched since the last reset, and nothing is open.
    bool isAtRest() const;

    Figures figures() const;

private:
    void reset();
    card::CardAnswer transmit(const cat::Bytes &apdu);
    cat::Bytes answerTo(const cat::Bytes &apdu);
    cat::Bytes announce(const cat::Bytes &command);
    cat::Bytes noise();

    mutable std::mutex m_mutex;
    std::mt19937 m_random;
    std::size_t m_next = 0;
    cat::Bytes m_waiting; ///< for FETCH
    bool m_isOpen = false;
    bool m_mayRepeat = false; ///< noise has asked for the last response again
    bool m_hasMenu = false;
    int m_nonsense = 0;
    Figures m_figures;
};

#endif // TESTS_FAULTCARD_H
