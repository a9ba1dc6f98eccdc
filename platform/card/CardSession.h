#ifndef CARD_CARDSESSION_H
#define CARD_CARDSESSION_H

#include "card/Profile.h"

namespace card
{

/// What the card does next.
struct NextMove {
    enum class Kind {
        Command, ///< `bytes` waits for FETCH
        Rest,    ///< nothing is left to do
        Refused, ///< what came is not an answer to what was asked; nothing has changed
        Fault,   ///< the command of the profile does not fit into FETCH; the session is over
    };
    Kind kind = Kind::Rest;
    cat::Bytes bytes;
    cat::CommandDetails details;        ///< of `bytes`
    std::chrono::milliseconds delay{0}; ///< how long the card thinks before it says so
};

/// The course of a card's proactive sessions: which command follows which answer, and what the user has answered so
/// far. Knows nothing of APDUs. One command is open at a time; the caller sees to that.
class CardSession
{
public:
    /// `profile` stays the caller's and outlives the session.
    explicit CardSession(const Profile &profile) : m_profile(profile) {}

    /// Forgets everything, the count of commands too.
    void reset();

    /// The terminal is there: the main menu, then the steps for the start.
    NextMove start();

    /// The user's choice from the main menu, or a request for help about one of its items.
    NextMove select(const cat::MenuSelection &selection);

    /// The terminal's response to the command that the last move brought; its number and type are right.
    NextMove answered(const cat::Response &response);

private:
    /// What a command on its way is for.
    enum class Purpose { MainMenu, Step, Help, LastWord };

    /// A list of steps that is being carried out. While the steps of a menu's item are, the frame below stands at the
    /// menu.
    struct Frame {
        const std::vector<Step> *steps;
        std::size_t index;
    };

    NextMove enter(const std::vector<Step> &steps);
    NextMove run();
    NextMove raise(const Step &step);
    NextMove propose(const cat::Bytes &bytes, const cat::CommandDetails &details, Purpose purpose);
    NextMove show(const std::u16string &text, Purpose purpose);
    NextMove stepAnswered(const cat::Response &response);
    NextMove stepPerformed(const Step &step, const cat::Response &response);
    NextMove stepFailed(const Step &step, cat::Result result);
    NextMove chosen(const Step &step, const cat::Response &response);
    NextMove help(const Step &step, const cat::Response &response);
    NextMove forward();
    NextMove backward();
    NextMove end();

    bool applies(const Step &step) const;
    const Step &current() const { return (*m_frames.back().steps)[m_frames.back().index]; }
    std::uint8_t nextNumber();

    const Profile &m_profile;
    std::vector<Frame> m_frames; ///< none: no session, or only SET UP MENU
    Values m_values;
    Purpose m_purpose = Purpose::MainMenu;
    std::uint8_t m_number = 0;
};

} // namespace card

#endif // CARD_CARDSESSION_H
