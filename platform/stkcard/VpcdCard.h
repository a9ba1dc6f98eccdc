#ifndef STKCARD_VPCDCARD_H
#define STKCARD_VPCDCARD_H

#include "card/VirtualCard.h"

#include <functional>
#include <string>

namespace stkcard
{

/// Which transmission protocols the card's answer to reset offers (ISO/IEC 7816-3 clause 8.2).
enum class Protocol { T0, T1, Both };

/// The answer to reset of a UICC that offers these protocols (ETSI TS 102 221 clause 6.3).
cat::Bytes answerToReset(Protocol protocol);

/// What is in the card: called on the thread of VpcdCard::serve(), one call at a time.
struct Chip {
    /// Power on, power off, or a reset in between: every session is forgotten.
    std::function<void()> reset;
    /// Answers one command APDU; no bytes: the card is dumb, and the reader waits for as long as it likes.
    std::function<card::CardAnswer(const cat::Bytes &apdu)> transmit;
};

/// A card in the reader of vpcd, the virtual reader of a PC/SC service: it listens on a TCP port for the card, which
/// connects to it. Each message, either way, has a length of two bytes (high byte first) in front. A message of one
/// byte from the reader is a control: 0 power off, 1 power on, 2 reset, 4 "send the answer to reset"; any other is a
/// command APDU, and its answer is sent back.
class VpcdCard
{
public:
    /// Where the reader is.
    struct Reader {
        std::string host = "localhost";
        std::string port = "35963"; ///< of the first slot; the second has the next
        /// How long between two tries while there is no reader.
        std::chrono::milliseconds retry{500};
    };

    /// What happens to the card.
    enum class News {
        NoReader, ///< nobody listens there; tried again until somebody does. Told once
        Inserted, ///< connected: the card is in the reader
        PowerOn,
        PowerOff,
        Reset,
        ReaderGone, ///< the reader has closed the connection; the card tries to get in again
    };

    struct Listener {
        std::function<void(News)> news;                                             ///< may be empty
        std::function<void(const cat::Bytes &apdu, const cat::Bytes &answer)> apdu; ///< may be empty
    };

    VpcdCard(Chip chip, cat::Bytes answerToReset, Listener listener = {});
    ~VpcdCard();
    VpcdCard(const VpcdCard &) = delete;
    VpcdCard &operator=(const VpcdCard &) = delete;

    /// Keeps the card in the reader until interrupt(), however often the reader goes and comes. The card's thinking
    /// time is waited out. False: the reader's host is not known, and `*error` says so.
    bool serve(const Reader &reader, std::string *error);

    /// Ends serve(), now or as soon as it begins. Any thread, and signal handlers.
    void interrupt();

private:
    class Line;

    bool connectTo(const Reader &reader, std::string *error, Line *line);
    void beInserted(Line *line);
    bool obey(std::uint8_t control, Line *line);
    bool answer(const cat::Bytes &apdu, Line *line);
    void tell(News news) const;

    const Chip m_chip;
    const cat::Bytes m_answerToReset;
    const Listener m_listener;
    int m_interrupted; ///< an event descriptor: readable when serve() is to end
};

} // namespace stkcard

#endif // STKCARD_VPCDCARD_H
