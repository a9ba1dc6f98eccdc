#include "sdk/Service.h"

#include "sdk/Apdu.h"
#include "sdk/Describe.h"
#include "sdk/LocalInformation.h"

#include <algorithm>

// The part of Service that needs no user: what is done for a card at rest.

namespace sdk
{

namespace
{

/// A card that is too busy to hear of a timer's end hears of it so much later. The standard has this repeated until it
/// does (ETSI TS 102 223 clause 7.4.1).
constexpr std::chrono::seconds busyTimerPause{1};

std::chrono::seconds rounded(std::chrono::steady_clock::duration time)
{
    return std::chrono::round<std::chrono::seconds>(time);
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Commands that need no user

/// How a command is answered that no caller hears of.
struct Service::UpkeepRow {
    cat::CommandType type;
    cat::Response (Service::*answer)(const DevicePtr &device, const cat::Command &command);
};

const Service::UpkeepRow Service::upkeepRows[] = {
    {cat::CommandType::MoreTime, &Service::accept},
    {cat::CommandType::PollInterval, &Service::startPolling},
    {cat::CommandType::PollingOff, &Service::endPolling},
    {cat::CommandType::SetUpEventList, &Service::setUpEvents},
    {cat::CommandType::ProvideLocalInformation, &Service::provideInformation},
    {cat::CommandType::TimerManagement, &Service::manageTimer},
    {cat::CommandType::LanguageNotification, &Service::accept},
};

/// The response to a command that needs no user; nothing for any other.
std::optional<cat::Response> Service::answerAlone(const DevicePtr &device, const cat::Command &command)
{
    const auto row = std::find_if(std::begin(upkeepRows), std::end(upkeepRows),
                                  [&](const UpkeepRow &each) { return each.type == command.details.type; });
    if (row == std::end(upkeepRows))
        return std::nullopt;
    return (this->*row->answer)(device, command);
}

/// Nothing is to be done but to go on.
cat::Response Service::accept(const DevicePtr &, const cat::Command &command)
{
    return responseTo(command, cat::Result::Performed);
}

/// Every interval can be had, and so the response repeats it (clause 6.4.6).
cat::Response Service::startPolling(const DevicePtr &device, const cat::Command &command)
{
    cat::Response response = responseTo(command, cat::Result::Performed);
    response.duration = command.duration;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state.device == device)
        m_state.upkeep.pollInterval = command.duration->time();
    return response;
}

/// Also what the channel would do by itself (clause 6.4.14).
cat::Response Service::endPolling(const DevicePtr &device, const cat::Command &command)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state.device == device)
        m_state.upkeep.pollInterval.reset();
    return responseTo(command, cat::Result::Performed);
}

/// This terminal sends no events: only the empty list, which asks for none, can be kept (clause 6.4.16).
cat::Response Service::setUpEvents(const DevicePtr &, const cat::Command &command)
{
    return responseTo(command, command.eventList->empty() ? cat::Result::Performed : cat::Result::BeyondCapabilities);
}

cat::Response Service::provideInformation(const DevicePtr &, const cat::Command &command)
{
    cat::Response response = responseTo(command, cat::Result::Performed);
    const auto wanted = static_cast<cat::LocalInformation>(command.details.qualifier);
    if (wanted == cat::LocalInformation::DateTimeAndZone) {
        response.dateTime = localTime(std::time(nullptr));
    } else if (wanted == cat::LocalInformation::Language) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        response.language = m_language.empty() ? environmentLanguage() : m_language;
    } else {
        response.result = cat::Result::BeyondCapabilities;
    }
    return response;
}

/// The slot of a timer, or null when the device is gone.
std::optional<Service::Timer> *Service::timerLocked(const DevicePtr &device, std::uint8_t timerId)
{
    return m_state.device == device ? &m_state.upkeep.timers.at(timerId - 1U) : nullptr;
}

/// A value in the response is the time that is left.
cat::Response Service::manageTimer(const DevicePtr &device, const cat::Command &command)
{
    cat::Response response = responseTo(command, cat::Result::Performed);
    response.timerId = command.timerId;
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::optional<Timer> *const timer = timerLocked(device, *command.timerId);
    if (!timer)
        return response; // to nobody
    const Clock::time_point now = Clock::now();
    if (command.timerAction() == cat::TimerAction::Start) {
        const Clock::time_point end = now + *command.timerValue;
        *timer = Timer{now, end, end};
    } else if (!*timer) {
        response.result = cat::Result::TimerContradiction;
    } else {
        response.timerValue = rounded((*timer)->end - now);
        if (command.timerAction() == cat::TimerAction::Deactivate)
            timer->reset();
    }
    return response;
}

// ---------------------------------------------------------------------------------------------------------------------
// A card at rest

/// The next thing to do for a card at rest, if it is time.
Service::Job Service::nextUpkeepLocked(Clock::time_point now)
{
    Upkeep &upkeep = m_state.upkeep;
    const DevicePtr &device = m_state.device;
    if (std::exchange(upkeep.isAsking, false))
        return [this, device] { askCard(device, true); };
    if (m_state.selection) {
        m_state.isBusy = true;
        m_state.isUserSession = true;
        const Job job = [this, device, chosen = *m_state.selection] { sendSelection(device, chosen); };
        m_state.selection.reset();
        return job;
    }
    for (std::size_t i = 0; i < upkeep.timers.size(); ++i) {
        if (upkeep.timers[i] && upkeep.timers[i]->due <= now)
            return [this, device, timerId = static_cast<std::uint8_t>(i + 1)] { tellTimer(device, timerId); };
    }
    if (upkeep.pollInterval && upkeep.pollDue <= now)
        return [this, device] { askCard(device, false); };
    return {};
}

/// When there is something to do that nobody asks for; nothing while a session is open.
std::optional<Service::Clock::time_point> Service::upkeepDueLocked() const
{
    std::optional<Clock::time_point> due;
    if (!m_state.isAtRest())
        return due;
    if (m_state.upkeep.pollInterval)
        due = m_state.upkeep.pollDue;
    for (const std::optional<Timer> &timer : m_state.upkeep.timers) {
        if (timer)
            due = due ? std::min(*due, timer->due) : timer->due;
    }
    return due;
}

void Service::schedulePollLocked()
{
    if (m_state.upkeep.pollInterval)
        m_state.upkeep.pollDue = Clock::now() + *m_state.upkeep.pollInterval;
}

/// A card that is at rest is asked whether it has something to say (ETSI TS 102 223 clause 6.1). It stays at rest
/// meanwhile, so that the user's choice is not refused for it.
void Service::askCard(const DevicePtr &device, bool isNewsworthy)
{
    cat::Bytes answer;
    const WhenBusy whenBusy = isNewsworthy ? WhenBusy::TryAgain : WhenBusy::GiveUp;
    if (!exchange(device, statusApdu(device->toolkitClass), &answer, whenBusy))
        return;
    const StatusWord status = statusWord(answer);
    if (isNewsworthy && !status.isSuccess() && !status.isCommandWaiting())
        note("the card has something to say, but answered " + describe(status));
    followFromRest(device, answer);
}

/// A timer is over (ETSI TS 102 223 clause 7.4). It has ended when the card has heard of it, so that the session that
/// this may open can start it anew.
void Service::tellTimer(const DevicePtr &device, std::uint8_t timerId)
{
    cat::TimerExpiration expiration{timerId, std::chrono::seconds(0)};
    bool isFirst = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const std::optional<Timer> *const timer = timerLocked(device, timerId);
        if (!timer || !*timer)
            return;
        expiration.value = rounded(Clock::now() - (*timer)->since);
        isFirst = (*timer)->due == (*timer)->end;
    }
    const cat::Bytes data = cat::encodeTimerExpiration(expiration);
    if (isFirst)
        tell(Exchange::Kind::Envelope, describe(expiration), data);
    cat::Bytes answer;
    if (!exchange(device, envelopeApdu(device->toolkitClass, data), &answer, WhenBusy::GiveUp))
        return;
    const StatusWord status = statusWord(answer);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::optional<Timer> *const timer = timerLocked(device, timerId);
        if (timer && *timer && status.isToolkitBusy())
            (*timer)->due = Clock::now() + busyTimerPause;
        else if (timer)
            timer->reset();
    }
    if (!status.isSuccess() && !status.isCommandWaiting() && !status.isToolkitBusy())
        note("the card does not take the end of its timer: it answered " + describe(status));
    followFromRest(device, answer);
}

/// Opens a session when the card has a command; otherwise it stays at rest.
void Service::followFromRest(const DevicePtr &device, const cat::Bytes &answer)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return;
        schedulePollLocked();
        if (!statusWord(answer).isCommandWaiting())
            return;
        m_state.isBusy = true;
    }
    follow(device, answer);
}

} // namespace sdk
