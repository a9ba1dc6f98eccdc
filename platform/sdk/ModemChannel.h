#ifndef SDK_MODEMCHANNEL_H
#define SDK_MODEMCHANNEL_H

#include "sdk/AtClient.h"
#include "sdk/CardChannel.h"
#include "sdk/Hook.h"
#include "sdk/ModemLine.h"
#include "sdk/ModemSession.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace sdk
{

/// How long what takes at a modem.
struct ModemTimes {
    std::chrono::milliseconds connection{5000}; ///< a TCP connection
    std::chrono::milliseconds quiet{100};       ///< after the first OK: what was left of before has come by then
    std::chrono::milliseconds answer{5000};     ///< a command that the modem answers by itself
    std::chrono::milliseconds card{60000};      ///< one that goes to the card
    std::chrono::milliseconds next{30000};      ///< the card's next command, or its end, where the modem tells of both
    std::chrono::milliseconds start{3000};      ///< the same where nothing tells that there will be one
    std::chrono::milliseconds alive{15000};     ///< after so long a rest the modem is asked whether it is there
    std::chrono::milliseconds retry{3000};      ///< between two tries to find a modem
};

/// For modems that are opened from now on; for tests.
void setModemTimes(const ModemTimes &times);

/// The card in a modem that takes the commands of 3GPP TS 27.007 clause 12. The modem talks to the card; what it hands
/// over (+CUSATP) is what FETCH brings here, and responses and envelopes go back through it.
///
/// Everything on the line happens on a thread of the channel's own: what the modem says unasked comes at any time.
class ModemChannel : public CardChannel
{
public:
    ModemChannel(std::string name, ModemAddress address);
    ~ModemChannel() override;

    std::string name() const override { return m_name; }
    /// Finds the modem; the card stays as it is. What the modem has handed over already counts.
    bool reset(std::string *error) override;
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override;
    void setListener(std::function<void(News)> listener) override;
    bool isGivenUp() const override;
    bool staysWithoutCard() const override { return true; }
    /// What the card would send goes out through the modem when the modem carries it out; what it hands over does not.
    bool hasNetwork() const override { return false; }
    void interrupt() override;

private:
    using Clock = AtClient::Clock;
    using Lock = std::unique_lock<std::mutex>;

    /// A command for the thread.
    struct Request {
        std::string command;
        std::string prefix; ///< of its information lines
        std::chrono::milliseconds limit;
        std::optional<AtAnswer> answer;
    };

    /// What an APDU becomes.
    struct Instruction {
        std::uint8_t code;
        bool hasData;
        bool (ModemChannel::*run)(const cat::Bytes &body, Lock *lock, cat::Bytes *answer);
    };
    static const Instruction instructions[];

    // The service's thread.
    bool terminalProfile(const cat::Bytes &profile, Lock *lock, cat::Bytes *answer);
    bool fetch(const cat::Bytes &length, Lock *lock, cat::Bytes *answer);
    bool terminalResponse(const cat::Bytes &data, Lock *lock, cat::Bytes *answer);
    bool envelope(const cat::Bytes &data, Lock *lock, cat::Bytes *answer);
    bool status(const cat::Bytes &data, Lock *lock, cat::Bytes *answer);
    bool offerProfile(const std::string &hex, Lock *lock);
    AtAnswer ask(const std::string &command, const std::string &prefix, std::chrono::milliseconds limit, Lock *lock);
    AtAnswer askCard(const std::string &command, const cat::Bytes &data, const std::string &prefix, Lock *lock);
    bool awaitNext(std::chrono::milliseconds limit, Lock *lock);

    // The channel's own thread.
    void run();
    bool connect();
    bool greet(std::string *error);
    void serve();
    void give(const AtAnswer &said);
    AtAnswer talk(const std::string &command, const std::string &prefix, std::chrono::milliseconds limit);
    bool listen(Clock::time_point until);
    void hear(const std::string &line);
    void takeCommand(const std::string &text);
    void takeEnd();
    void lose(const std::string &why);
    void tell(News news);
    void complain(const std::string &problem);

    const std::string m_name;
    const ModemAddress m_address;
    const ModemTimes m_times;
    Hook<std::function<void(News)>> m_listener;
    WakePipe m_pipe;

    // The thread's alone.
    ModemLine m_line{&m_pipe};
    AtClient m_client;
    int m_complaints = 0; ///< on this line

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    // Under the mutex.
    bool m_isWanted = false;        ///< reset() waits for a modem
    bool m_isConnected = false;     ///< the modem answers
    bool m_isUp = false;            ///< and reset() has said so
    bool m_isMissed = false;        ///< the service has been told that there is none
    bool m_isTalking = false;       ///< transmit() is under way, and says by itself what is new
    bool m_hasHandedOver = false;   ///< a command has come since the card was started
    bool m_isOver = false;          ///< +CUSATEND has come since the last answer
    bool m_tellsEnd = false;        ///< this modem has said +CUSATEND
    std::optional<bool> m_isQuoted; ///< how this modem wants its strings
    std::string m_error;            ///< why there is none
    Request *m_request = nullptr;
    ModemSession m_session;

    std::thread m_thread;
};

} // namespace sdk

#endif // SDK_MODEMCHANNEL_H
