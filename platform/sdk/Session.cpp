#include "sdk/Service.h"

#include "sdk/Apdu.h"
#include "sdk/Describe.h"
#include "sdk/Outside.h"

#include <algorithm>

// The part of Service that runs on its own thread: the talk with the card, and the events that come of it.

namespace sdk
{

namespace
{

/// What the card is too busy for (ETSI TS 102 221 clause 10.2.1.2) is sent again that often, with that much time in
/// between.
constexpr int busyRetries = 5;
constexpr std::chrono::milliseconds busyPause{200};

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// The session

/// Everything that is said to the card goes through here. False: the card is gone, and that has been told.
bool Service::exchange(const DevicePtr &device, const cat::Bytes &apdu, cat::Bytes *answer, WhenBusy whenBusy)
{
    for (int retries = 0; exchangeOnce(device, apdu, answer); ++retries) {
        if (!statusWord(*answer).isToolkitBusy() || whenBusy == WhenBusy::GiveUp || retries == busyRetries)
            return true;
        note("the card is busy and is told again");
        pause(device, busyPause);
    }
    return false;
}

bool Service::exchangeOnce(const DevicePtr &device, const cat::Bytes &apdu, cat::Bytes *answer)
{
    if (!isCurrent(device))
        return false;
    tellTurn();
    bool isThere = false;
    const auto observer = [this](TraceFile::Time time, const cat::Bytes &sent, const cat::Bytes &got) {
        observe({time, sent, got});
    };
    callOutside("the card channel", [&] { isThere = transmitApdu(*device->channel, apdu, answer, observer); });
    if (!isThere)
        loseDevice(device, "the card is gone", MDSV_DEVICE_REMOVED);
    return isThere;
}

void Service::observe(const ApduExchange &apdu)
{
    std::string problem;
    if (!m_trace.add(apdu.time, apdu.command, apdu.answer, &problem))
        note(problem + "; it ends here");
    callOutside("the APDU listener", [&] { m_apduListener.call(0, apdu); });
}

bool Service::fetch(const DevicePtr &device, std::uint8_t length, cat::Bytes *pdu)
{
    cat::Bytes answer;
    if (!exchange(device, fetchApdu(device->toolkitClass, length), &answer))
        return false;
    const StatusWord status = statusWord(answer);
    if (answer.size() == 2 || !(status.isSuccess() || status.isCommandWaiting())) {
        note("FETCH brought no command: the card answered " + describe(status));
        endSession(device);
        return false;
    }
    pdu->assign(answer.begin(), answer.end() - 2);
    return true;
}

/// Goes on from the card's answer until the card is at rest or the user has the word.
void Service::follow(const DevicePtr &device, cat::Bytes answer)
{
    while (statusWord(answer).isCommandWaiting()) {
        cat::Bytes pdu;
        if (!fetch(device, statusWord(answer).sw2, &pdu))
            return;
        const Reaction reaction = react(device, pdu);
        if (!reaction.response || !respond(device, *reaction.response, reaction.command, &answer))
            return;
        if (reaction.isMenuNew)
            raiseMenu();
    }
    if (!statusWord(answer).isSuccess())
        note("the session ends: the card answered " + describe(statusWord(answer)));
    endSession(device);
}

Service::Reaction Service::react(const DevicePtr &device, const cat::Bytes &pdu)
{
    const cat::DecodedCommand decoded = cat::decodeCommand(pdu);
    if (!decoded.detailsKnown) {
        note(describe(decoded) + "; it gets no response", pdu);
        endSession(device);
        return {};
    }
    tell(Exchange::Kind::Command, describe(decoded), pdu);
    const cat::Command &command = decoded.command;
    if (decoded.result != cat::Result::Performed)
        return answered(command, decoded.result);
    if (const std::optional<cat::Response> response = answerAlone(device, command))
        return {response, command, false};
    const CommandRow *const row = commandRow(command.details.type);
    if (!row)
        return answered(command, cat::Result::BeyondCapabilities);
    if (row->handling == CommandRow::Handling::Menu)
        return installMenu(device, command);
    return command.immediateResponse ? openSustained(device, command, *row) : open(device, command, *row);
}

Service::Reaction Service::answered(const cat::Command &command, cat::Result result)
{
    return {responseTo(command, result), command, false};
}

Service::Reaction Service::installMenu(const DevicePtr &device, const cat::Command &command)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // No items: one that was empty, which takes the menu away (ETSI TS 102 223 clause 6.6.7).
    if (m_state.device == device)
        m_state.menu = command.items.empty() ? std::nullopt : std::make_optional(command);
    return {responseTo(command, cat::Result::Performed), command, true};
}

/// A command for callers. The answer is theirs to give, or comes when they have heard of it.
Service::Reaction Service::open(const DevicePtr &device, const cat::Command &command, const CommandRow &row)
{
    bool isFirst = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return {};
        isFirst = prepareOpenLocked(row);
        const Clock::time_point now = Clock::now();
        m_state.open = OpenCommand{nextIdLocked(), command, &row, now, now + m_limits.of(command), 0};
    }
    tellTurn();
    if (isFirst)
        raiseAvailable();
    raiseOpen();
    return {};
}

/// A text that stays on the screen while the card goes on (clause 6.4.1): it is answered at once.
Service::Reaction Service::openSustained(const DevicePtr &device, const cat::Command &command, const CommandRow &row)
{
    bool isFirst = false;
    int16_t id = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return {};
        isFirst = prepareOpenLocked(row);
        id = nextIdLocked();
        m_state.lingering = Lingering{id, command, row.stkType, true};
    }
    if (isFirst)
        raiseAvailable();
    raiseStk(row.stkType, id);
    return answered(command, cat::Result::Performed);
}

/// True: callers have yet to hear of the device.
bool Service::prepareOpenLocked(const CommandRow &row)
{
    if (m_state.lingering && m_state.lingering->stkType == row.stkType)
        m_state.lingering.reset();
    m_state.isUserSession = true;
    return !std::exchange(m_state.isAvailable, true);
}

bool Service::respond(const DevicePtr &device, const cat::Response &response, const cat::Command &command,
                      cat::Bytes *answer)
{
    if (!isCurrent(device))
        return false;
    const cat::Bytes data = cat::encodeResponse(response);
    tell(Exchange::Kind::Response, describe(response, command), data);
    return exchange(device, terminalResponseApdu(device->toolkitClass, data), answer);
}

// ---------------------------------------------------------------------------------------------------------------------
// Commands that the service carries out

/// The callback has heard of the command `id`, or there is none: time to carry it out, unless somebody has closed it.
/// Any thread.
void Service::delivered(const DevicePtr &device, int16_t id)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto isOpen = [this, device, id] {
        return m_state.device == device && m_state.open && m_state.open->id == id;
    };
    if (!isOpen())
        return;
    queueLocked([this, device, isOpen] {
        std::unique_lock<std::mutex> jobLock(m_mutex);
        if (!isOpen())
            return;
        const OpenCommand closed = takeOpenLocked();
        jobLock.unlock();
        carryOut(device, closed);
    });
}

void Service::carryOut(const DevicePtr &device, const OpenCommand &closed)
{
    const cat::Command &command = closed.command;
    bool isPossible = true;
    if (closed.row->handling == CommandRow::Handling::Network)
        callOutside("the card channel", [&] { isPossible = device->channel->hasNetwork(); });
    cat::Bytes answer;
    if (!respond(device, isPossible ? responseTo(command, cat::Result::Performed) : unable(command, noService), command,
                 &answer))
        return;
    if (closed.row->handling == CommandRow::Handling::Refresh)
        finishRefresh(device, command, answer);
    else
        follow(device, answer);
}

void Service::finishRefresh(const DevicePtr &device, const cat::Command &command, const cat::Bytes &answer)
{
    const RefreshAction action = refreshAction(command);
    bool hasMenu = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return;
        if (action == RefreshAction::Reset)
            m_state.menu.reset();
        hasMenu = m_state.menu.has_value();
    }
    if (action == RefreshAction::Reset) {
        // Whatever the card has answered: it forgets it now.
        tell(Exchange::Kind::Device, device->channel->name() + ": reset");
        return restartCard(device);
    }
    if (action == RefreshAction::ReadMenu && hasMenu)
        raiseMenu();
    follow(device, answer);
}

// ---------------------------------------------------------------------------------------------------------------------
// Envelopes, what a card asks unasked, and time-outs

/// A card that is at rest is asked whether it has something to say (ETSI TS 102 223 clause 6.1); in a session it tells
/// so by itself.
void Service::raiseOnCard(const DevicePtr &device, const cat::Bytes &command)
{
    if (!isCurrent(device))
        return;
    bool isTaken = false;
    callOutside("the card channel", [&] { isTaken = device->channel->raise(command); });
    if (!isTaken)
        return note(device->channel->name() + " cannot be told what to ask", command);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state.device == device && m_state.isAtRest() && !m_state.selection)
        m_state.upkeep.isAsking = true;
}

void Service::sendSelection(const DevicePtr &device, const cat::Item &item)
{
    if (!isCurrent(device))
        return;
    const cat::Bytes data = cat::encodeMenuSelection({item.id, false});
    tell(Exchange::Kind::Envelope, describe(item), data);
    cat::Bytes answer;
    if (exchange(device, envelopeApdu(device->toolkitClass, data), &answer))
        follow(device, answer);
}

/// Lets some time pass; the device's end cuts it short.
void Service::pause(const DevicePtr &device, std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait_for(lock, time, [&] { return m_state.device != device; });
}

/// The user has taken too long. The response goes out first: who hears of the time-out finds the card told.
void Service::expire(const DevicePtr &device, const OpenCommand &closed)
{
    if (!closed.row->isAnsweredByUser())
        return carryOut(device, closed); // its callback is held up
    cat::Bytes answer;
    cat::Response response = responseTo(closed.command, cat::Result::NoResponseFromUser);
    addDuration(closed, &response);
    if (!respond(device, response, closed.command, &answer))
        return;
    raiseStk(closed.row->stkType, closed.id, true);
    follow(device, answer);
}

/// The card is at rest: the first time, the device is ready; after a session that the user has seen, it is over.
void Service::endSession(const DevicePtr &device)
{
    bool isFirst = false;
    bool isUserSession = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return;
        m_state.isBusy = false;
        schedulePollLocked();
        isFirst = !std::exchange(m_state.isAvailable, true);
        isUserSession = std::exchange(m_state.isUserSession, false);
    }
    tellTurn();
    if (isFirst)
        raiseAvailable();
    if (isUserSession)
        raiseStk(MDSV_STKTYPE_END_SESSION, nextId());
}

} // namespace sdk
