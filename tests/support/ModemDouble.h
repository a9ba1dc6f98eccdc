#ifndef TESTS_MODEMDOUBLE_H
#define TESTS_MODEMDOUBLE_H

#include "card/VirtualCard.h"
#include "cat/Command.h"
#include "support/ModemPeer.h"

#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

/// A modem with a virtual card in it, that takes the commands of 3GPP TS 27.007 clause 12 and hands over everything
/// that its card asks. Any thread.
class ModemDouble
{
public:
    /// How it goes about it. The first value of each is what the standard describes.
    struct Habits {
        unsigned int seed = 1;      ///< of everything that happens by chance
        bool chats = false;         ///< says things of other services in between, and in halves, with any line ends
        bool wantsQuotes = true;    ///< takes strings only in quotes; otherwise only without
        bool readsProfile = true;   ///< AT+CUSATR, and so on: otherwise the answer is ERROR
        bool writesProfile = true;  ///< AT+CUSATW
        bool choosesProfile = true; ///< AT+CUSATD
        bool activates = true;      ///< AT+CUSATA; otherwise the card is started with the line
        bool tellsEnd = true;       ///< +CUSATEND
        std::chrono::milliseconds cardTime{30}; ///< for each command, as cards take
    };

    /// Every habit by the seed, and talkative.
    static Habits anyHabits(unsigned int seed);

    ModemDouble(ModemPeer::Way way, card::Profile profile, const Habits &habits);

    ModemPeer &peer() { return m_peer; }
    std::string address() const { return m_peer.address(); }

    /// Noise on the line: bytes of any kind, none of them a line end with a meaning.
    void babble(int bytes);

    /// What has passed, counted since the start.
    struct Count {
        int handedOver = 0;  ///< commands
        int answered = 0;    ///< that got their one response
        int refused = 0;     ///< responses that the card did not want: second ones, or others' ones
        int lost = 0;        ///< commands whose modem was unplugged, silent or restarted before the response
        int givenUp = 0;     ///< commands that the modem itself has answered in the end
        int late = 0;        ///< responses to one of those, which had been on their way
        int open = 0;        ///< commands without a response until now: one or none
        std::string refusal; ///< the first of the refused ones, for people
    };
    Count count() const;

    /// The modem waits no longer for the response to the open command: it tells its card itself that no user has
    /// answered. The card asks `next` then, or the session is over. False: nothing is open.
    bool giveUp(const cat::Bytes &next = {});

    /// The line goes, or nothing is heard any more; what was open is lost. restore() ends either.
    void unplug();
    void fallSilent();
    void restore();

private:
    using Sayings = std::vector<ModemPeer::Saying>;

    Sayings reply(const std::string &line);
    Sayings obey(const std::string &command);
    Sayings activate();
    Sayings response(const std::string &text);
    Sayings envelope(const std::string &text);
    bool readString(const std::string &text, cat::Bytes *bytes) const;
    cat::Bytes sendToCard(std::uint8_t instruction, const cat::Bytes &data, std::chrono::milliseconds *time);
    void follow(const cat::Bytes &answer, std::chrono::milliseconds time, Sayings *sayings);
    std::string handOver(const cat::Bytes &command);
    void loseOpen();

    Sayings spoken(const Sayings &lines);
    void speak(const std::string &bytes, std::chrono::milliseconds after, Sayings *sayings);
    std::string chatter();
    bool chance(unsigned int in);
    unsigned int any(unsigned int below);

    const Habits m_habits;
    mutable std::mutex m_mutex;
    std::mt19937 m_random;
    card::VirtualCard m_card;
    std::string m_profile = "0"; ///< the stored one, in hexadecimal
    bool m_echoes = true;
    bool m_isStarted = false;
    bool m_isOpen = false;                        ///< a command that was handed over has no response yet
    cat::CommandDetails m_details;                ///< of the last command
    std::optional<cat::CommandDetails> m_givenUp; ///< of the last one that was
    Count m_count;
    ModemPeer m_peer; // last: its thread uses all the others
};

#endif // TESTS_MODEMDOUBLE_H
