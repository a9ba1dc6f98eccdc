#include "sdk/PcscWatch.h"

#include "sdk/Outside.h"
#include "sdk/PcscThread.h"

#include <algorithm>
#include <thread>

namespace sdk
{

namespace
{

/// The service's name for "readers come and go".
const char plugAndPlayName[] = "\\\\?PnP?\\Notification";

/// A report that brings nothing new is followed by the next after so long: a service that has lost its way costs
/// little.
constexpr std::chrono::milliseconds emptyReportPause{50};

/// SCardCancel() finds nothing to cancel just before the wait begins, so it is called again.
constexpr std::chrono::milliseconds cancelInterval{20};

constexpr std::chrono::milliseconds endPatience{1000};

constexpr DWORD noCard = ~DWORD(0);

SCARD_READERSTATE stateOf(const char *reader)
{
    SCARD_READERSTATE state = {};
    state.szReader = reader;
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    return state;
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Notes

void PcscWatch::Desk::note(const std::function<void(PcscNews &)> &fact)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    fact(m_news);
    m_wake.notify_all();
}

bool PcscWatch::Desk::isCardUp() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_news.isUp();
}

std::string PcscWatch::Desk::reader() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_reader;
}

bool PcscWatch::Desk::isOver() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isOver;
}

void PcscWatch::Desk::pause(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait_for(lock, time, [this] { return m_isOver; });
}

// ---------------------------------------------------------------------------------------------------------------------
// The thread that looks

/// Looks at the reader until the watch is over, through every end of the service.
void PcscWatch::Desk::look(const std::string &wanted)
{
    while (!isOver()) {
        PcscContext context;
        SCARD_READERSTATE plugAndPlay = stateOf(plugAndPlayName);
        if (context.open() == SCARD_S_SUCCESS) {
            while (followReaders(context.handle(), wanted, &plugAndPlay)) {
            }
        }
        context.close();
        note([](PcscNews &news) { news.see(false, 0); });
        pause(m_retry);
    }
}

/// Follows the reader until the list of readers has to be read again. False: over, or the service has gone.
bool PcscWatch::Desk::followReaders(SCARDCONTEXT context, const std::string &wanted, SCARD_READERSTATE *plugAndPlay)
{
    std::vector<std::string> names;
    if (isOver() || pcscReaders(context, &names) != SCARD_S_SUCCESS)
        return false;
    std::string why;
    std::string name = chooseReader(names, reader(), &why);
    if (name.empty())
        name = chooseReader(names, wanted, &why);
    if (name.empty()) {
        note([](PcscNews &news) { news.see(false, 0); });
    } else {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_reader = name;
    }
    SCARD_READERSTATE states[] = {*plugAndPlay, stateOf(name.c_str())};
    DWORD cardNumber = noCard;
    for (;;) {
        const LONG code = waitForChange(context, states, name.empty() ? 1 : 2);
        if (code != SCARD_S_SUCCESS && code != SCARD_E_UNKNOWN_READER)
            return false;
        *plugAndPlay = states[0];
        constexpr DWORD away = SCARD_STATE_UNKNOWN | SCARD_STATE_UNAVAILABLE | SCARD_STATE_IGNORE;
        if (name.empty() || code == SCARD_E_UNKNOWN_READER || (states[1].dwCurrentState & away))
            break;
        // Each coming and going of a card has a number. A reader that is empty without the card having gone is one that
        // the service could not reset; it finds out in a moment whether the card is there.
        const DWORD number = states[1].dwCurrentState >> 16;
        const bool isThere = (states[1].dwCurrentState & SCARD_STATE_PRESENT) || number == cardNumber;
        cardNumber = isThere ? number : noCard;
        note([=](PcscNews &news) { news.see(isThere, static_cast<unsigned>(number)); });
    }
    if (!name.empty())
        note([](PcscNews &news) { news.see(false, 0); });
    pause(emptyReportPause);
    return true;
}

/// Waits for the service to report a change of any of the states, which are current then.
LONG PcscWatch::Desk::waitForChange(SCARDCONTEXT context, SCARD_READERSTATE *states, DWORD count)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_isOver)
            return SCARD_E_CANCELLED;
        m_context = context;
        m_isWaiting = true;
    }
    stopAtProcessEnd();
    const LONG code = SCardGetStatusChange(context, INFINITE, states, count);
    {
        // Who cancels uses the context: it must not be released before.
        std::unique_lock<std::mutex> lock(m_mutex);
        m_isWaiting = false;
        m_wake.wait(lock, [this] { return !m_isCancelling; });
    }
    bool hasChanged = false;
    for (DWORD i = 0; i < count && code == SCARD_S_SUCCESS; ++i) {
        const DWORD state = states[i].dwEventState & ~static_cast<DWORD>(SCARD_STATE_CHANGED);
        hasChanged = hasChanged || state != states[i].dwCurrentState;
        states[i].dwCurrentState = state;
    }
    if (code == SCARD_E_TIMEOUT || (code == SCARD_S_SUCCESS && !hasChanged)) {
        pause(emptyReportPause);
        return SCARD_S_SUCCESS;
    }
    return code;
}

// ---------------------------------------------------------------------------------------------------------------------
// The thread that tells

void PcscWatch::Desk::tell()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isOver) {
        const auto news = m_news.next(PcscNews::Clock::now());
        if (news) {
            lock.unlock();
            callOutside("the listener for cards", [&] { m_listener.call(0, *news); });
            lock.lock();
        } else if (const auto due = m_news.due()) {
            m_wake.wait_until(lock, *due);
        } else {
            m_wake.wait(lock);
        }
    }
    endLook(&lock);
}

/// Gets the other thread out of its wait.
void PcscWatch::Desk::endLook(std::unique_lock<std::mutex> *lock)
{
    while (m_isLooking) {
        if (m_isWaiting) {
            m_isCancelling = true;
            const SCARDCONTEXT context = m_context;
            lock->unlock();
            stopAtProcessEnd();
            SCardCancel(context);
            lock->lock();
            m_isCancelling = false;
            m_wake.notify_all();
        }
        m_wake.wait_for(*lock, cancelInterval, [this] { return !m_isLooking; });
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The watch

PcscWatch::PcscWatch(const std::string &wanted, const std::string &reader, std::chrono::milliseconds retry)
    : m_desk(std::make_shared<Desk>(reader, retry))
{
    const auto leave = [](Desk &desk) {
        const std::lock_guard<std::mutex> lock(desk.m_mutex);
        --desk.m_threads;
        desk.m_wake.notify_all();
    };
    std::thread([desk = m_desk, wanted, leave] {
        callOutside("PC/SC", [&] { desk->look(wanted); });
        {
            const std::lock_guard<std::mutex> lock(desk->m_mutex);
            desk->m_isLooking = false;
        }
        leave(*desk);
    }).detach();
    std::thread([desk = m_desk, leave] {
        desk->tell();
        leave(*desk);
    }).detach();
}

PcscWatch::~PcscWatch()
{
    setListener({});
    std::unique_lock<std::mutex> lock(m_desk->m_mutex);
    m_desk->m_isOver = true;
    m_desk->m_wake.notify_all();
    m_desk->m_wake.wait_for(lock, endPatience, [this] { return m_desk->m_threads == 0; });
}

void PcscWatch::setListener(std::function<void(News)> listener)
{
    if (listener)
        m_desk->m_listener.set(std::move(listener));
    else
        m_desk->m_listener.clear();
}

} // namespace sdk
