#include "sdk/Service.h"

#include "sdk/Outside.h"

#include <limits>

// The part of Service that tells: callers their events, listeners the exchanges.

namespace sdk
{

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

/// `whenDelivered` runs on the callback's thread when it has returned, or here when there is no callback.
Service::Ticket Service::raiseStk(_MDSV_EN_STKTYPE type, int16_t id, bool isTimeOut, const Job &whenDelivered)
{
    MDSVStkNotifyData record = {};
    record.enStkType = type;
    record.sCmdId = id;
    record.nTimeOut = isTimeOut ? 1 : 0;
    const Ticket ticket = m_stkHook.ticket();
    if (ticket != 0)
        dispatch([this, ticket, record, whenDelivered]() mutable {
            callOutside("the callback", [&] { m_stkHook.call(ticket, 0, &record); });
            if (whenDelivered)
                whenDelivered();
        });
    else if (whenDelivered)
        whenDelivered();
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
    const CommandRow *const row = m_state.open->row;
    const int16_t id = m_state.open->id;
    const DevicePtr device = m_state.device;
    lock.unlock();
    const Job whenDelivered = row->isAnsweredByUser() ? Job() : [this, device, id] { delivered(device, id); };
    const Ticket ticket = raiseStk(row->stkType, id, false, whenDelivered);
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

Turn Service::State::turn() const
{
    using Handling = CommandRow::Handling;
    if (!hasCard)
        return Turn::NoCard;
    if (open && open->row->handling == Handling::User)
        return Turn::User;
    if (open && open->row->handling == Handling::Network)
        return Turn::Network;
    return isBusy || selection ? Turn::Card : Turn::Rest;
}

/// Tells the listener where the session stands, unless it knows. Any thread: while one tells, it tells for all.
void Service::tellTurn()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (std::exchange(m_isTellingTurn, true))
        return;
    while (m_toldTurn != m_state.turn()) {
        const Turn turn = m_state.turn();
        m_toldTurn = turn;
        lock.unlock();
        callOutside("the turn listener", [&] { m_turnListener.call(0, turn); });
        lock.lock();
    }
    m_isTellingTurn = false;
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
