#ifndef SDK_SERVICE_H
#define SDK_SERVICE_H

#include "cat/Command.h"
#include "sdk/Hook.h"
#include "sdk/MDSVStk.h"
#include "sdk/SdkControl.h"

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
/// A command is open from its event until whoever closes it first: an answer, the time limit, or the loss of the card.
/// Closing it is what entitles to send its terminal response, so that the card gets exactly one.
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
    void setListener(std::function<void(const Exchange &)> listener);
    void shutDown();

    // Registration of callbacks. The state of a device that is there already is told to a new one soon after.
    Status registerStkCallback(MDSVSTKCALLBACK callback);
    Status unregisterStkCallback(MDSVSTKCALLBACK callback);
    Status registerDeviceCallback(MDSVDEVMGRCALLBACK callback);
    Status unregisterDeviceCallback(MDSVDEVMGRCALLBACK callback);

    /// The menu that the card has installed. `*menu` is untouched after a failure.
    Status mainMenu(cat::Command *menu) const;

    /// The open command `id` if it is of the type `type`. `*command` is untouched after a failure.
    Status openCommand(int id, _MDSV_EN_STKTYPE type, cat::Command *command) const;

    /// Sends the user's choice from the main menu.
    Status selectMenuItem(int itemId);

    /// Answers the open SELECT ITEM; `action` is an _MDSV_EN_SUBMENU_ACTION.
    Status answerSelectItem(int id, int action, int itemId);

    /// Answers the open command when it is of the type `stkType` (an _STK_UI_EN_STKTYPE).
    Status answerWithoutData(int id, int stkType, int result);

    /// Notes that a request was refused, and gives `status`.
    Status refuse(const std::string &what, Status status);

    /// Tells the listener and standard error about something that went wrong.
    void note(const std::string &text, const cat::Bytes &bytes = {});

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds defaultLimit{60000};
    using Ticket = std::uint64_t;

    /// One attached card. The service's thread owns the channel; it deletes it when the device has gone.
    struct Device {
        std::unique_ptr<CardChannel> channel;
        bool isReleased = false; ///< whoever detached it does not use the channel any more
    };
    using DevicePtr = std::shared_ptr<Device>;

    struct OpenCommand {
        int16_t id = 0;
        cat::Command command;
        _MDSV_EN_STKTYPE stkType = MDSV_STKTYPE_END_SESSION;
        Clock::time_point deadline;
        Ticket toldTo = 0; ///< registration that has got its event
    };

    /// Everything about the attached device that ends with it.
    struct State {
        DevicePtr device;
        bool isAvailable = false;   ///< the profile download is over
        bool isBusy = false;        ///< a session is open: the card has the word, or the user has
        bool isUserSession = false; ///< the user has seen something of the session that is open
        std::optional<cat::Command> menu;
        std::optional<OpenCommand> open;
        Ticket availableToldTo = 0;
        Ticket menuToldTo = 0;
    };

    /// What the service does about a command by itself.
    struct Reaction {
        std::optional<cat::Response> response; ///< nothing: the user has it, or it cannot be answered
        bool isMenuNew = false;
    };

    struct CommandRow; ///< of the table of commands that can be carried out

    using Job = std::function<void()>;

    Service() = default;
    ~Service() = delete;

    template <typename Callback>
    Status registerIn(Hook<Callback> *hook, Callback callback, const char *what);

    // Answers.
    Status checkOpenLocked(int id, _MDSV_EN_STKTYPE type) const;
    void closeLocked(const cat::Response &response);

    // The thread.
    void queueLocked(Job job);
    void run();
    Job nextJobLocked();
    void waitForWork(std::unique_lock<std::mutex> *lock);
    bool isServiceThread() const;
    DevicePtr stopLocked();
    void stopAtExit();

    // The device.
    DevicePtr takeDeviceLocked();
    void letGo(const DevicePtr &device);
    void finishDetach(const DevicePtr &device);
    void startCard(const DevicePtr &device);
    bool isCurrent(const DevicePtr &device) const;
    void loseDevice(const DevicePtr &device, const std::string &why, int event);

    // The session, on the service's thread.
    bool exchange(const DevicePtr &device, const cat::Bytes &apdu, cat::Bytes *answer);
    bool fetch(const DevicePtr &device, std::uint8_t length, cat::Bytes *pdu);
    void follow(const DevicePtr &device, cat::Bytes answer);
    Reaction react(const DevicePtr &device, const cat::Bytes &pdu);
    Reaction installMenu(const DevicePtr &device, const cat::Command &command);
    Reaction openSelectItem(const DevicePtr &device, const cat::Command &command);
    bool respond(const DevicePtr &device, const cat::Response &response, const std::vector<cat::Item> &items,
                 cat::Bytes *answer);
    void sendSelection(const DevicePtr &device, const cat::Item &item);
    void pause(const DevicePtr &device, std::chrono::milliseconds time);
    void expire(const DevicePtr &device, const OpenCommand &closed);
    void endSession(const DevicePtr &device);

    static cat::Response responseTo(const cat::Command &command, cat::Result result);

    // Events, on the service's thread.
    int16_t nextIdLocked();
    int16_t nextId();
    Ticket raiseStk(_MDSV_EN_STKTYPE type, int16_t id, bool isTimeOut = false);
    Ticket raiseDevice(int event);
    void raiseMenu();
    void raiseAvailable();
    void raiseOpen();
    void tellNewcomers();
    void dispatch(const std::function<void()> &call);
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
    State m_state;
    std::chrono::milliseconds m_limit = defaultLimit;
    int16_t m_lastId = 0;

    Hook<MDSVSTKCALLBACK> m_stkHook;
    Hook<MDSVDEVMGRCALLBACK> m_deviceHook;
    Hook<Dispatcher> m_dispatcher;
    Hook<std::function<void(const Exchange &)>> m_listener;
};

} // namespace sdk

#endif // SDK_SERVICE_H
