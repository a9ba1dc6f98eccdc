#ifndef TESTS_VPCDCARD_H
#define TESTS_VPCDCARD_H

#include "cat/Bytes.h"

#include <chrono>
#include <functional>
#include <memory>

/// A card in the vpcd reader of a PC/SC service on this machine. The reader takes it for a card of metal: what it knows
/// of it comes over TCP, to port 35963 on loopback.
///
/// The functions may be called on any thread.
class VpcdCard
{
public:
    struct Answer {
        cat::Bytes bytes;                   ///< data, then SW1 and SW2
        std::chrono::milliseconds delay{0}; ///< how long the card takes
    };

    /// What the card does, on a thread of its own.
    struct Chip {
        std::function<void()> reset; ///< power on, or reset
        std::function<Answer(const cat::Bytes &)> transmit;
    };

    /// The answer to reset of a card that speaks T=0, or T=1.
    static cat::Bytes atr(int protocol);

    VpcdCard(cat::Bytes atr, Chip chip);
    ~VpcdCard(); ///< pulls it

    VpcdCard(const VpcdCard &) = delete;
    VpcdCard &operator=(const VpcdCard &) = delete;

    /// Puts it into the reader, as soon as there is one, and again whenever the reader has been lost.
    void insert();

    /// Takes it out. A command that the card is busy with gets no answer.
    void pull();

    /// While true, the card answers no command.
    void setHanging(bool isHanging);

    /// A reader has it.
    bool isIn() const;

    static constexpr unsigned short port = 35963;

private:
    struct Private;
    const std::shared_ptr<Private> d;
};

#endif // TESTS_VPCDCARD_H
