#ifndef SDK_SERVICE_H
#define SDK_SERVICE_H

#include "cat/Command.h"
#include "sdk/Commands.h"
#include "sdk/Hook.h"
#include "sdk/MDSVStk.h"
#include "sdk/SdkControl.h"
#include "sdk/Trace.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace sdk
{

/// The terminal's side of one card's toolkit session (ETSI TS 102 223 clauses 4 to 6).
///
/// One thread of its own, started by the first device, does everything that takes time: it talks to the card and
/// raises events. Requests come on any thread, look at the state, queue what is to be done and return at once. No lock
/// is held while a callback, the dispatcher, the listener or the card channel is called.
///
/// A command is open from its event until whoever closes it first: an answer, the service itself when it carries the
/// command out, the time limit, or the loss of the card. Closing it is what entitles to send its terminal response, so
/// that the card gets exactly one. A refusal from within the callback of a command that the service carries out comes
/// first, and counts.
class Service
{
public:
    /// The one service. It is never destroyed: other threads may still use it while the process ends.
    static Service &instance();

    // Control, as in SdkControl.h.
    void attach(std::unique_ptr<CardChannel> channel);
    void detach();
    void setDispatcher(Dispatcher dispatcher);
    void setLimit(std::chrono::milliseconds limit);
    void setLimit(int stkType, std::chrono::milliseconds limit);
    void setGrace(std::chrono::milliseconds grace);
    void setLanguage(const std::string &language);
    bool setTraceFile(const std::string &path, std::string *error);
    void setListener(std::function<void(const Exchange &)> listener);
    void setApduListener(std::function<void(const ApduExchange &)> listener);
    void setTurnListener(std::function<void(Turn)> listener);
    bool raise(const cat::Bytes &command, std::string *error);
    void shutDown();

    // Registration of callbacks. The state of a device that is there already is told to a new one soon after.
    Status registerStkCallback(MDSVSTKCALLBACK callback);
    Status unregisterStkCallback(MDSVSTKCALLBACK callback);
    Status registerDeviceCallback(MDSVDEVMGRCALLBACK callback);
    Status unregisterDeviceCallback(MDSVDEVMGRCALLBACK callback);

    /// The menu that the card has installed. `*menu` is untouched after a failure.
    Status mainMenu(cat::Command *menu) const;

    /// The open command `id` if it is of the type `type`, or one that the service has closed by itself, as Lingering
    /// has it. `*command` is untouched after a failure.
    Status openCommand(int id, _MDSV_EN_STKTYPE type, cat::Command *command) const;

    /// Sends the user's choice from the main menu.
    Status selectMenuItem(int itemId);

    /// Answers the open SELECT ITEM; `action` is an _MDSV_EN_SUBMENU_ACTION.
    Status answerSelectItem(int id, int action, int itemId);

    /// Answers the open GET INPUT or GET INKEY, as `type` says. What breaks the card's constraints is refused, and the
    /// command stays open.
    Status answerText(int id, _MDSV_EN_STKTYPE type, bool isConfirmed, const std::u16string &text);

    /// Answers the open command when it is of the type `stkType` (an _STK_UI_EN_STKTYPE).
    Status answerWithoutData(int id, int stkType, int result);

    /// Notes that a request was refused, and gives `status`.
    Status refuse(const std::string &what, Status status);

    /// Tells the listener and standard error about something that went wrong.
    void note(const std::string &text, const cat::Bytes &bytes = {});

private:
    using Clock = std::chrono::steady_clock;
    using Ticket = std::uint64_t;

    /// One attached card, or the place for the next one when the channel stays without a card: the channel then moves
    /// to a new Device, so that nothing that was meant for the card of before reaches the next. The service's thread
    /// owns the channel; it deletes it when the device has gone.
    struct Device {
        Device(std::unique_ptr<CardChannel> channel, std::uint64_t number);
        ~Device();
        Device(const Device &) = delete;
        Device &operator=(const Device &) = delete;

        /// Deletes the channel. No news comes from it any more when this returns: never called under the lock.
        void close();

        std::unique_ptr<CardChannel> channel;
        const std::uint64_t attachment;   ///< which attachDevice() it comes from
        std::uint8_t toolkitClass = 0x80; ///< class byte of the card's commands
        unsigned resets = 0;              ///< of the card, those that succeeded
        bool isRemovalTold = false;       ///< callers know that there is nothing
        bool isReleased = false;          ///< whoever detached it does not use the channel any more
    };
    using DevicePtr = std::shared_ptr<Device>;

    struct OpenCommand {
        int16_t id = 0;
        cat::Command command;
        const CommandRow *row = nullptr; ///< never null
        Clock::time_point since;
        Clock::time_point deadline;
        Ticket toldTo = 0; ///< registration that has got its event
    };

    /// A command that the service has closed while a caller may still be busy with it: its callback may have returned
    /// before the caller's own thread has read the data, and a text that was answered at once is still on the screen.
    /// It lingers until another of its type comes. Callers know only the identifier of the last event that they have
    /// got, so those of later events are good, too.
    struct Lingering {
        int16_t id = 0;
        cat::Command command;
        _MDSV_EN_STKTYPE stkType = MDSV_STKTYPE_END_SESSION;
        bool takesAnswer = false; ///< one more answer is taken, and goes nowhere
    };

    /// A timer that the card has started (ETSI TS 102 223 clause 6.4.21). It runs until the card has heard of its end.
    struct Timer {
        Clock::time_point since;
        Clock::time_point end;
        Clock::time_point due; ///< when the card is to hear of its end: later when it was busy
    };

    /// What goes on by itself while the card is at rest, and ends with its reset.
    struct Upkeep {
        bool isAsking = false;                                 ///< the card has told that it has something to say
        std::optional<std::chrono::milliseconds> pollInterval; ///< empty: it is not polled
        Clock::time_point pollDue;
        std::array<std::optional<Timer>, cat::timerCount> timers;
    };

    /// Everything about the attached device that ends with it, or with its card.
    struct State {
        DevicePtr device;
        bool hasCard = false;               ///< false: the channel waits for one
        bool isAvailable = false;           ///< the profile download is over
        bool isBusy = false;                ///< a session is open: the card has the word, or the user has
        bool isUserSession = false;         ///< the user has seen something of the session that is open
        std::optional<cat::Item> selection; ///< the user's choice from the main menu, on its way to the card
        std::optional<cat::Command> menu;
        std::optional<OpenCommand> open;
        std::optional<Lingering> lingering;
        Ticket availableToldTo = 0;
        Ticket menuToldTo = 0;
        Upkeep upkeep;

        bool isAtRest() const { return hasCard && !isBusy; }
        Turn turn() const;
    };

    /// What the service does about a command by itself.
    struct Reaction {
        std::optional<cat::Response> response; ///< nothing: the user has it, or it cannot be answered
        cat::Command command;                  ///< that it answers
        bool isMenuNew = false;
    };

    using Job = std::function<void()>;

    Service() = default;
    ~Service() = delete;

    template <typename Callback>
    Status registerIn(Hook<Callback> *hook, Callback callback, const char *what);

    void attachFromEnvironment();
    void attachUnlessLate(std::unique_ptr<CardChannel> channel, bool isChosen);

    // Answers.
    Status checkOpenLocked(int id, int type) const;
    bool isLingeringLocked(int id, int type) const;
    void closeLocked(cat::Response response);
    OpenCommand takeOpenLocked();
    static void addDuration(const OpenCommand &closed, cat::Response *response);

    // The thread.
    void queueLocked(Job job);
    void run();
    Job nextJobLocked();
    Job nextUpkeepLocked(Clock::time_point now);
    std::optional<Clock::time_point> upkeepDueLocked() const;
    void waitForWork(std::unique_lock<std::mutex> *lock);
    bool isServiceThread() const;
    DevicePtr stopLocked();
    void stopAtExit();

    // The device.
    DevicePtr takeDeviceLocked();
    void letGo(const DevicePtr &device);
    void finishDetach(const DevicePtr &device);
    void hear(std::uint64_t attachment, CardChannel::News news);
    void startCard(const DevicePtr &device);
    void closeGivenUp(const DevicePtr &device);
    void welcomeCard(std::uint64_t attachment);
    void restartCard(const DevicePtr &device);
    void readCard(const DevicePtr &device);
    bool isCurrent(const DevicePtr &device) const;
    void loseDevice(const DevicePtr &device, const std::string &why, int event);

    // The session, on the service's thread.
    enum class WhenBusy { TryAgain, GiveUp };
    bool exchange(const DevicePtr &device, const cat::Bytes &apdu, cat::Bytes *answer,
                  WhenBusy whenBusy = WhenBusy::TryAgain);
    bool exchangeOnce(const DevicePtr &device, const cat::Bytes &apdu, cat::Bytes *answer);
    void observe(const ApduExchange &apdu);
    bool fetch(const DevicePtr &device, std::uint8_t length, cat::Bytes *pdu);
    void follow(const DevicePtr &device, cat::Bytes answer);
    Reaction react(const DevicePtr &device, const cat::Bytes &pdu);
    static Reaction answered(const cat::Command &command, cat::Result result);
    Reaction installMenu(const DevicePtr &device, const cat::Command &command);
    Reaction open(const DevicePtr &device, const cat::Command &command, const CommandRow &row);
    Reaction openSustained(const DevicePtr &device, const cat::Command &command, const CommandRow &row);
    bool prepareOpenLocked(const CommandRow &row);
    bool respond(const DevicePtr &device, const cat::Response &response, const cat::Command &command,
                 cat::Bytes *answer);
    void delivered(const DevicePtr &device, int16_t id);
    void carryOut(const DevicePtr &device, const OpenCommand &closed);
    void finishRefresh(const DevicePtr &device, const cat::Command &command, const cat::Bytes &answer);
    void raiseOnCard(const DevicePtr &device, const cat::Bytes &command);
    void sendSelection(const DevicePtr &device, const cat::Item &item);
    void pause(const DevicePtr &device, std::chrono::milliseconds time);
    void expire(const DevicePtr &device, const OpenCommand &closed);
    void endSession(const DevicePtr &device);

    // What needs no user, on the service's thread.
    struct UpkeepRow;
    static const UpkeepRow upkeepRows[];
    std::optional<cat::Response> answerAlone(const DevicePtr &device, const cat::Command &command);
    cat::Response accept(const DevicePtr &device, const cat::Command &command);
    cat::Response startPolling(const DevicePtr &device, const cat::Command &command);
    cat::Response endPolling(const DevicePtr &device, const cat::Command &command);
    cat::Response setUpEvents(const DevicePtr &device, const cat::Command &command);
    cat::Response provideInformation(const DevicePtr &device, const cat::Command &command);
    cat::Response manageTimer(const DevicePtr &device, const cat::Command &command);
    void tellTimer(const DevicePtr &device, std::uint8_t timerId);
    std::optional<Timer> *timerLocked(const DevicePtr &device, std::uint8_t timerId);
    void askCard(const DevicePtr &device, bool isNewsworthy);
    void followFromRest(const DevicePtr &device, const cat::Bytes &answer);
    void schedulePollLocked();

    // Events, on the service's thread.
    int16_t nextIdLocked();
    int16_t nextId();
    Ticket raiseStk(_MDSV_EN_STKTYPE type, int16_t id, bool isTimeOut = false, const Job &whenDelivered = {});
    Ticket raiseDevice(int event);
    void raiseMenu();
    void raiseAvailable();
    void raiseOpen();
    void tellNewcomers();
    void dispatch(const std::function<void()> &call);
    void tellTurn();
    void tell(Exchange::Kind kind, const std::string &text, const cat::Bytes &bytes = {});

    mutable std::mutex m_mutex; ///< guards everything down to the hooks
    std::condition_variable m_wake;
    std::thread m_thread;
    std::thread::id m_threadId;
    bool m_isStopping = false;
    bool m_isFinished = true; ///< the thread has left run()
    bool m_isExiting = false;
    std::deque<Job> m_jobs;
    std::deque<Job> m_dropped; ///< jobs that the end of the thread has left over
    std::optional<Clock::time_point> m_newcomersDue;
    std::uint64_t m_lastAttachment = 0;
    bool m_hasAttached = false;
    bool m_isEnvironmentAsked = false; ///< for a card
    std::optional<Turn> m_toldTurn;
    bool m_isTellingTurn = false;
    std::string m_language; ///< empty: the environment's
    State m_state;
    Limits m_limits;
    int16_t m_lastId = 0;

    Hook<MDSVSTKCALLBACK> m_stkHook;
    Hook<MDSVDEVMGRCALLBACK> m_deviceHook;
    Hook<Dispatcher> m_dispatcher;
    Hook<std::function<void(const Exchange &)>> m_listener;
    Hook<std::function<void(const ApduExchange &)>> m_apduListener;
    Hook<std::function<void(Turn)>> m_turnListener;
    Trace m_trace;
};

} // namespace sdk

#endif // SDK_SERVICE_H
