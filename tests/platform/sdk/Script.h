#ifndef TESTS_SDK_SCRIPT_H
#define TESTS_SDK_SCRIPT_H

#include "sdk/CardChannel.h"

#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// A card that plays what it is told and keeps what it was sent. The test and the channel share it; any thread.
class Script
{
public:
    /// A channel to this card.
    static std::unique_ptr<sdk::CardChannel> channel(const std::shared_ptr<Script> &script);

    /// The next command gets this answer: hexadecimal digits with the status word at the end.
    Script &answers(const char *hex);
    /// The next command gets that answer `count` times.
    Script &answers(const char *hex, int count);
    /// The next command finds the card gone.
    Script &vanishes();
    /// The next command gets this answer, but not before goOn() or interrupt().
    Script &answersLate(const char *hex);
    void goOn();
    /// The next command is not answered before interrupt().
    Script &hangs();
    /// The next command makes the channel throw.
    Script &throws();
    /// reset() fails with this text, from now on; an empty one ends that.
    Script &refusesReset(const std::string &error);

    /// The channel stays when its card goes, as a reader's does.
    Script &staysWithoutCard();
    /// A card at rest is to be polled so often.
    Script &wantsPolling(std::chrono::milliseconds interval);
    /// The card is a SIM of before the UICC.
    Script &isOld();

    /// The card waits no longer, or again, for the answer to the command that it has brought last.
    Script &givesUp(bool isGivenUp = true);

    /// Tells the channel's listener, on this thread. False: nobody listens.
    bool tells(sdk::CardChannel::News news);
    int deafResets() const;     ///< while nobody listened
    bool isDeletedDeaf() const; ///< the channel is, and nobody listened any more

    /// A SET UP MENU or SELECT ITEM: announced by the answer to the command before, and fetched.
    Script &proposes(const char *pdu);

    /// Whether what the card sends finds a network, as it does at first.
    void setNetwork(bool network);

    QStringList sent() const; ///< command APDUs in upper-case hexadecimal digits
    void forgetSent();
    int resets() const;
    bool isHanging() const;
    bool isInterrupted() const;
    bool isDeleted() const; ///< the channel is
    bool isPlayedOut() const;

private:
    class Channel;

    struct Step {
        enum class Kind { Answer, AnswerLate, Vanish, Hang, Throw };
        Kind kind;
        cat::Bytes answer;
    };

    bool reset(std::string *error);
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer);
    void interrupt();
    void setListener(std::function<void(sdk::CardChannel::News)> listener);

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Step> m_steps;
    std::vector<std::string> m_sent; ///< no list of Qt's: its sharing confuses ThreadSanitizer
    std::string m_resetError;
    int m_resets = 0;
    std::function<void(sdk::CardChannel::News)> m_listener;
    int m_telling = 0; ///< calls of the listener that run
    std::optional<std::chrono::milliseconds> m_pollInterval;
    std::uint8_t m_toolkitClass = 0x80;
    bool m_staysWithoutCard = false;
    bool m_isGivenUp = false;
    bool m_network = true;
    bool m_isHanging = false;
    bool m_isInterrupted = false;
    bool m_isDeleted = false;
    bool m_isDeletedDeaf = false;
    int m_deafResets = 0;
    int m_goOn = 0; ///< late answers that may go
};

#endif // TESTS_SDK_SCRIPT_H
