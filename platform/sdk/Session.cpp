#include "sdk/Service.h"

#include "sdk/Apdu.h"
#include "sdk/Describe.h"
#include "sdk/Outside.h"

#include <algorithm>
#include <limits>

// The part of Service that runs on its own thread: the talk with the card, and the events that come of it.

namespace sdk
{

namespace
{

/// An envelope that the card is too busy for (ETSI TS 102 221 clause 10.2.1.2) is sent again that often, with that
/// much time in between.
constexpr int busyRetries = 5;
constexpr std::chrono::milliseconds busyPause{200};

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// The session

/// Everything that is said to the card goes through here. False: the card is gone, and that has been told.
bool Service::exchange(const DevicePtr &device, const cat::Bytes &apdu, cat::Bytes *answer)
{
    if (!isCurrent(device))
        return false;
    bool isThere = false;
    callOutside("the card channel", [&] { isThere = transmitApdu(*device->channel, apdu, answer); });
    if (!isThere)
        loseDevice(device, "the card is gone", MDSV_DEVICE_REMOVED);
    return isThere;
}

bool Service::fetch(const DevicePtr &device, std::uint8_t length, cat::Bytes *pdu)
{
    cat::Bytes answer;
    if (!exchange(device, fetchApdu(length), &answer))
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
        if (!reaction.response || !respond(device, *reaction.response, {}, &answer))
            return;
        if (reaction.isMenuNew)
            raiseMenu();
    }
    if (!statusWord(answer).isSuccess())
        note("the session ends: the card answered " + describe(statusWord(answer)));
    endSession(device);
}

cat::Response Service::responseTo(const cat::Command &command, cat::Result result)
{
    cat::Response response;
    response.details = command.details;
    response.result = result;
    return response;
}

struct Service::CommandRow {
    cat::CommandType type;
    Reaction (Service::*react)(const DevicePtr &, const cat::Command &);
};

Service::Reaction Service::react(const DevicePtr &device, const cat::Bytes &pdu)
{
    static constexpr CommandRow rows[] = {
        {cat::CommandType::SetUpMenu, &Service::installMenu},
        {cat::CommandType::SelectItem, &Service::openSelectItem},
    };
    const cat::DecodedCommand decoded = cat::decodeCommand(pdu);
    if (!decoded.detailsKnown) {
        note(describe(decoded) + "; it gets no response", pdu);
        endSession(device);
        return {};
    }
    tell(Exchange::Kind::Command, describe(decoded), pdu);
    if (decoded.result != cat::Result::Performed)
        return {responseTo(decoded.command, decoded.result)};
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [&](const CommandRow &each) { return each.type == decoded.command.details.type; });
    if (row == std::end(rows))
        return {responseTo(decoded.command, cat::Result::BeyondCapabilities)};
    return (this->*row->react)(device, decoded.command);
}

Service::Reaction Service::installMenu(const DevicePtr &device, const cat::Command &command)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // No items: one that was empty, which takes the menu away (ETSI TS 102 223 clause 6.6.7).
    if (m_state.device == device)
        m_state.menu = command.items.empty() ? std::nullopt : std::make_optional(command);
    return {responseTo(command, cat::Result::Performed), true};
}

Service::Reaction Service::openSelectItem(const DevicePtr &device, const cat::Command &command)
{
    bool isFirst = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return {};
        isFirst = !std::exchange(m_state.isAvailable, true);
        m_state.isUserSession = true;
        m_state.open = OpenCommand{nextIdLocked(), command, MDSV_STKTYPE_SELECT_ITEM, Clock::now() + m_limit};
    }
    if (isFirst)
        raiseAvailable();
    raiseOpen();
    return {};
}

bool Service::respond(const DevicePtr &device, const cat::Response &response, const std::vector<cat::Item> &items,
                      cat::Bytes *answer)
{
    if (!isCurrent(device))
        return false;
    const cat::Bytes data = cat::encodeResponse(response);
    tell(Exchange::Kind::Response, describe(response, items), data);
    return exchange(device, terminalResponseApdu(data), answer);
}

void Service::sendSelection(const DevicePtr &device, const cat::Item &item)
{
    if (!isCurrent(device))
        return;
    const cat::Bytes data = cat::encodeMenuSelection({item.id, false});
    tell(Exchange::Kind::Envelope, describe(item), data);
    cat::Bytes answer;
    for (int retries = 0; exchange(device, envelopeApdu(data), &answer); ++retries) {
        if (!statusWord(answer).isToolkitBusy() || retries == busyRetries)
            return follow(device, answer);
        note("the card is busy and gets the choice again");
        pause(device, busyPause);
    }
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
    cat::Bytes answer;
    const cat::Response response = responseTo(closed.command, cat::Result::NoResponseFromUser);
    if (!respond(device, response, closed.command.items, &answer))
        return;
    raiseStk(closed.stkType, closed.id, true);
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
        isFirst = !std::exchange(m_state.isAvailable, true);
        isUserSession = std::exchange(m_state.isUserSession, false);
    }
    if (isFirst)
        raiseAvailable();
    if (isUserSession)
        raiseStk(MDSV_STKTYPE_END_SESSION, nextId());
}

// ---------------------------------------------------------------------------------------------------------------------
// Events

int16_t Service::nextIdLocked()
{
    const bool isLast = m_lastId == std::numeric_limits<int16_t>::max();
    m_lastId = isLast ? int16_t(1) : static_cast<int16_t>(m_lastId + 1);
    return m_lastId;
}

int16_t Service::nextId()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return nextIdLocked();
}

Service::Ticket Service::raiseStk(_MDSV_EN_STKTYPE type, int16_t id, bool isTimeOut)
{
    MDSVStkNotifyData record = {};
    record.enStkType = type;
    record.sCmdId = id;
    record.nTimeOut = isTimeOut ? 1 : 0;
    const Ticket ticket = m_stkHook.ticket();
    if (ticket != 0)
        dispatch([this, ticket, record]() mutable { m_stkHook.call(ticket, 0, &record); });
    return ticket;
}

Service::Ticket Service::raiseDevice(int event)
{
    const Ticket ticket = m_deviceHook.ticket();
    if (ticket != 0)
        dispatch([this, ticket, event] { m_deviceHook.call(ticket, event, nullptr); });
    return ticket;
}

void Service::raiseMenu()
{
    const Ticket ticket = raiseStk(MDSV_STKTYPE_SETUP_MENU, nextId());
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_state.menuToldTo = ticket;
}

void Service::raiseAvailable()
{
    const Ticket ticket = raiseDevice(MDSV_DEVICE_AVAILABLE);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_state.availableToldTo = ticket;
}

void Service::raiseOpen()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_state.open)
        return;
    const _MDSV_EN_STKTYPE type = m_state.open->stkType;
    const int16_t id = m_state.open->id;
    lock.unlock();
    const Ticket ticket = raiseStk(type, id);
    lock.lock();
    if (m_state.open && m_state.open->id == id)
        m_state.open->toldTo = ticket;
}

void Service::tellNewcomers()
{
    const Ticket stk = m_stkHook.ticket();
    const Ticket device = m_deviceHook.ticket();
    std::unique_lock<std::mutex> lock(m_mutex);
    const bool isOpenNew = m_state.open && m_state.open->toldTo != stk;
    // Callers keep the identifier of the last event: none may come behind the open command's.
    const bool isMenuNew = m_state.menu && m_state.menuToldTo != stk && (!m_state.open || isOpenNew);
    const bool isDeviceNew = m_state.isAvailable && m_state.availableToldTo != device;
    lock.unlock();
    if (isMenuNew)
        raiseMenu();
    if (isDeviceNew)
        raiseAvailable();
    if (isOpenNew)
        raiseOpen();
}

void Service::dispatch(const std::function<void()> &call)
{
    callOutside("the callback or its dispatcher", [&] {
        if (!m_dispatcher.call(0, call))
            call();
    });
}

void Service::tell(Exchange::Kind kind, const std::string &text, const cat::Bytes &bytes)
{
    callOutside("the exchange listener", [&] { m_listener.call(0, Exchange{kind, text, bytes}); });
}

void Service::note(const std::string &text, const cat::Bytes &bytes)
{
    log(text);
    tell(Exchange::Kind::Note, text, bytes);
}

} // namespace sdk
