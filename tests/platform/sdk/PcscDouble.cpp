#include "PcscDouble.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <numeric>
#include <optional>
#include <utility>

namespace
{

using pcscdouble::Card;

struct Reader {
    std::string name;
    std::optional<Card> card;
    DWORD events = 0; ///< insertions and removals
    unsigned long cardNumber = 0;
    bool isOverlooked = false;
};

struct Context {
    int service = 0;
    bool isInUse = false;
    bool isWaiting = false;
    bool isCancelled = false;
};

struct Connection {
    SCARDCONTEXT context = 0;
    std::string reader;
    unsigned long cardNumber = 0;
};

struct Service {
    std::mutex mutex;
    std::condition_variable wake;
    int number = 1;
    bool isRunning = true;
    bool isHanging = false;
    bool isFrozen = false;
    bool isHeldByOthers = false;
    std::vector<Reader> readers;
    DWORD readerEvents = 1;
    unsigned long lastNumber = 0;
    long lastHandle = 100;
    std::map<SCARDCONTEXT, Context> contexts;
    std::map<SCARDHANDLE, Connection> cards;
    std::map<std::string, std::pair<LONG, int>> failures;
    std::map<std::string, int> calls;
    std::optional<DWORD> claimedSize;
    int inside = 0;
    std::vector<cat::Bytes> sent;
    std::vector<DWORD> sentBy;
    std::vector<DWORD> powers;
    std::vector<std::string> offences;
};

/// Never destroyed: threads that were left behind may still be in it.
Service &service()
{
    static auto *const one = new Service;
    return *one;
}

using Lock = std::unique_lock<std::mutex>;

/// One call of a function of the library: counted, held up while the service is frozen, failed when the test wants it.
class Call
{
public:
    explicit Call(const char *function, SCARDCONTEXT context = 0) : s(service()), lock(s.mutex), m_context(context)
    {
        ++s.inside;
        ++s.calls[function];
        s.wake.notify_all();
        enter(function);
        s.wake.wait(lock, [this] { return !s.isFrozen; });
        auto &failure = s.failures[function];
        if (failure.second > 0) {
            --failure.second;
            code = failure.first;
        }
        if (code == SCARD_S_SUCCESS && m_context && !isAlive())
            code = SCARD_E_NO_SERVICE;
    }

    ~Call()
    {
        if (m_hasEntered && s.contexts.count(m_context))
            s.contexts[m_context].isInUse = false;
        --s.inside;
        s.wake.notify_all();
    }

    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    bool isFine() const { return code == SCARD_S_SUCCESS; }
    bool isAlive() const
    {
        const auto context = s.contexts.find(m_context);
        return context != s.contexts.end() && context->second.service == s.number && s.isRunning;
    }

    Service &s;
    Lock lock;
    LONG code = SCARD_S_SUCCESS;

private:
    void enter(const char *function)
    {
        if (!m_context)
            return;
        const auto context = s.contexts.find(m_context);
        if (context == s.contexts.end())
            s.offences.push_back(std::string(function) + " with a context that is not open");
        else if (context->second.isInUse)
            s.offences.push_back(std::string(function) + " while another thread is in the context");
        else
            m_hasEntered = context->second.isInUse = true;
    }

    const SCARDCONTEXT m_context;
    bool m_hasEntered = false;
};

Reader *findReader(Service &s, const std::string &name)
{
    const auto reader =
        std::find_if(s.readers.begin(), s.readers.end(), [&](const Reader &one) { return one.name == name; });
    return reader == s.readers.end() ? nullptr : &*reader;
}

SCARDCONTEXT contextOf(SCARDHANDLE card)
{
    Service &s = service();
    const Lock lock(s.mutex);
    const auto found = s.cards.find(card);
    return found == s.cards.end() ? -1 : found->second.context;
}

/// The connected card, or null when it is not the one of before any more.
Card *connectedCard(Service &s, SCARDHANDLE handle)
{
    const auto connection = s.cards.find(handle);
    Reader *const reader = connection == s.cards.end() ? nullptr : findReader(s, connection->second.reader);
    if (!reader || !reader->card || reader->cardNumber != connection->second.cardNumber)
        return nullptr;
    return &*reader->card;
}

DWORD stateOf(const Reader *reader)
{
    if (!reader)
        return SCARD_STATE_UNKNOWN;
    const DWORD events = reader->events << 16;
    if (!reader->card || reader->isOverlooked)
        return events | SCARD_STATE_EMPTY;
    return events | SCARD_STATE_PRESENT | (reader->card->isMute ? SCARD_STATE_MUTE : 0u);
}

/// Fills in the states; true: one has changed.
bool lookAt(Service &s, SCARD_READERSTATE *states, DWORD count)
{
    bool hasChanged = false;
    for (DWORD i = 0; i < count; ++i) {
        const bool isPlugAndPlay = std::strcmp(states[i].szReader, "\\\\?PnP?\\Notification") == 0;
        // As in the library, the first look at the list of readers is no change.
        if (isPlugAndPlay && states[i].dwCurrentState == SCARD_STATE_UNAWARE)
            states[i].dwCurrentState = s.readerEvents << 16;
        const DWORD now = isPlugAndPlay ? s.readerEvents << 16 : stateOf(findReader(s, states[i].szReader));
        const bool isNew = now != states[i].dwCurrentState;
        states[i].dwEventState = now | (isNew ? SCARD_STATE_CHANGED : 0u);
        hasChanged = hasChanged || isNew;
    }
    return hasChanged;
}

} // namespace

// ---------------------------------------------------------------- what the test does

namespace pcscdouble
{

namespace
{

template <typename Change>
void change(Change body)
{
    Service &s = service();
    const Lock lock(s.mutex);
    body(s);
    s.wake.notify_all();
}

template <typename Look>
auto look(Look body)
{
    Service &s = service();
    const Lock lock(s.mutex);
    return body(s);
}

} // namespace

void renew()
{
    change([](Service &s) {
        ++s.number;
        s.isRunning = true;
        s.isHanging = s.isFrozen = s.isHeldByOthers = false;
        s.readers.clear();
        s.failures.clear();
        s.calls.clear();
        s.claimedSize.reset();
        s.sent.clear();
        s.sentBy.clear();
        s.powers.clear();
        s.offences.clear();
    });
}

void addReader(const std::string &name)
{
    change([&](Service &s) {
        Reader reader;
        reader.name = name;
        s.readers.push_back(reader);
        ++s.readerEvents;
    });
}

void removeReader(const std::string &name)
{
    change([&](Service &s) {
        s.readers.erase(
            std::remove_if(s.readers.begin(), s.readers.end(), [&](const Reader &one) { return one.name == name; }),
            s.readers.end());
        ++s.readerEvents;
    });
}

void insert(const std::string &name, const Card &card)
{
    change([&](Service &s) {
        Reader *const reader = findReader(s, name);
        reader->card = card;
        reader->cardNumber = ++s.lastNumber;
        ++reader->events;
    });
}

void pull(const std::string &name)
{
    change([&](Service &s) {
        Reader *const reader = findReader(s, name);
        reader->card.reset();
        ++reader->events;
    });
}

void overlook(const std::string &name)
{
    change([&](Service &s) { findReader(s, name)->isOverlooked = true; });
}

void endService()
{
    change([](Service &s) { s.isRunning = false; });
}

void startService()
{
    change([](Service &s) {
        s.isRunning = true;
        ++s.number;
        for (Reader &reader : s.readers)
            reader.events = reader.card ? 1 : 0;
    });
}

void setHanging(bool isHanging)
{
    change([=](Service &s) { s.isHanging = isHanging; });
}

void setFrozen(bool isFrozen)
{
    change([=](Service &s) { s.isFrozen = isFrozen; });
}

void setHeldByOthers(bool isHeld)
{
    change([=](Service &s) { s.isHeldByOthers = isHeld; });
}

void failNext(const std::string &function, LONG code, int count)
{
    change([&](Service &s) { s.failures[function] = {code, count}; });
}

void claimSize(DWORD size)
{
    change([=](Service &s) { s.claimedSize = size; });
}

int calls(const std::string &function)
{
    return look([&](Service &s) { return s.calls[function]; });
}

int calls()
{
    return look([](Service &s) {
        return std::accumulate(s.calls.begin(), s.calls.end(), 0,
                               [](int sum, const auto &function) { return sum + function.second; });
    });
}

int contexts()
{
    return look([](Service &s) { return static_cast<int>(s.contexts.size()); });
}

int cards()
{
    return look([](Service &s) { return static_cast<int>(s.cards.size()); });
}

int waiting()
{
    return look([](Service &s) { return s.inside; });
}

std::vector<cat::Bytes> sent()
{
    return look([](Service &s) { return s.sent; });
}

std::vector<DWORD> sentBy()
{
    return look([](Service &s) { return s.sentBy; });
}

std::vector<DWORD> powers()
{
    return look([](Service &s) { return s.powers; });
}

std::vector<std::string> offences()
{
    return look([](Service &s) { return s.offences; });
}

} // namespace pcscdouble

// ---------------------------------------------------------------- the library's functions

extern "C" {

extern const SCARD_IO_REQUEST g_rgSCardT0Pci = {SCARD_PROTOCOL_T0, sizeof(SCARD_IO_REQUEST)};
extern const SCARD_IO_REQUEST g_rgSCardT1Pci = {SCARD_PROTOCOL_T1, sizeof(SCARD_IO_REQUEST)};

const char *pcsc_stringify_error(const LONG)
{
    return "something odd.";
}

LONG SCardEstablishContext(DWORD, LPCVOID, LPCVOID, LPSCARDCONTEXT context)
{
    Call call("SCardEstablishContext");
    if (!call.isFine())
        return call.code;
    if (!call.s.isRunning)
        return SCARD_E_NO_SERVICE;
    *context = ++call.s.lastHandle;
    call.s.contexts[*context].service = call.s.number;
    return SCARD_S_SUCCESS;
}

LONG SCardReleaseContext(SCARDCONTEXT context)
{
    Call call("SCardReleaseContext", context);
    for (auto card = call.s.cards.begin(); card != call.s.cards.end();)
        card = card->second.context == context ? call.s.cards.erase(card) : std::next(card);
    call.s.contexts.erase(context);
    return SCARD_S_SUCCESS;
}

LONG SCardListReaders(SCARDCONTEXT context, LPCSTR, LPSTR names, LPDWORD size)
{
    Call call("SCardListReaders", context);
    if (!call.isFine())
        return call.code;
    if (call.s.readers.empty())
        return SCARD_E_NO_READERS_AVAILABLE;
    std::string list;
    for (const Reader &reader : call.s.readers)
        list += reader.name + '\0';
    list += '\0';
    const DWORD room = *size;
    *size = list.size();
    if (!names)
        return SCARD_S_SUCCESS;
    if (room < list.size())
        return SCARD_E_INSUFFICIENT_BUFFER;
    std::memcpy(names, list.data(), list.size());
    return SCARD_S_SUCCESS;
}

LONG SCardConnect(SCARDCONTEXT context, LPCSTR name, DWORD mode, DWORD protocols, LPSCARDHANDLE card, LPDWORD protocol)
{
    Call call("SCardConnect", context);
    if (!call.isFine())
        return call.code;
    const Reader *const reader = findReader(call.s, name);
    if (!reader)
        return SCARD_E_UNKNOWN_READER;
    if (mode == SCARD_SHARE_DIRECT) {
        *card = ++call.s.lastHandle;
        call.s.cards[*card] = {context, name, reader->cardNumber};
        return SCARD_S_SUCCESS;
    }
    if (!reader->card || reader->isOverlooked)
        return SCARD_E_NO_SMARTCARD;
    if (reader->card->isMute)
        return SCARD_W_UNPOWERED_CARD;
    for (const auto &other : call.s.cards) {
        if (other.second.reader == name && call.s.contexts[other.second.context].service == call.s.number)
            return SCARD_E_SHARING_VIOLATION;
    }
    if (call.s.isHeldByOthers || mode != SCARD_SHARE_EXCLUSIVE)
        return SCARD_E_SHARING_VIOLATION;
    if (!(reader->card->protocol & protocols))
        return SCARD_E_PROTO_MISMATCH;
    *card = ++call.s.lastHandle;
    *protocol = reader->card->protocol;
    call.s.cards[*card] = {context, name, reader->cardNumber};
    return SCARD_S_SUCCESS;
}

LONG SCardReconnect(SCARDHANDLE card, DWORD, DWORD, DWORD how, LPDWORD protocol)
{
    Call call("SCardReconnect", contextOf(card));
    call.s.powers.push_back(how);
    if (!call.isFine())
        return call.code;
    const Card *const there = connectedCard(call.s, card);
    if (!there)
        return SCARD_W_REMOVED_CARD;
    *protocol = there->protocol;
    findReader(call.s, call.s.cards[card].reader)->isOverlooked = false;
    return SCARD_S_SUCCESS;
}

LONG SCardDisconnect(SCARDHANDLE card, DWORD how)
{
    Call call("SCardDisconnect", contextOf(card));
    call.s.powers.push_back(how);
    call.s.cards.erase(card);
    return call.code;
}

LONG SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST *protocol, LPCBYTE apdu, DWORD length, SCARD_IO_REQUEST *,
                   LPBYTE buffer, LPDWORD size)
{
    Call call("SCardTransmit", contextOf(card));
    if (!call.isFine())
        return call.code;
    const cat::Bytes command(apdu, apdu + length);
    call.s.sent.push_back(command);
    call.s.sentBy.push_back(protocol->dwProtocol);
    call.s.wake.notify_all();
    call.s.wake.wait(call.lock, [&] { return !call.s.isHanging || !call.isAlive() || !connectedCard(call.s, card); });
    if (!call.isAlive())
        return SCARD_F_COMM_ERROR;
    const Card *const there = connectedCard(call.s, card);
    if (!there)
        return SCARD_W_REMOVED_CARD;
    if (call.s.claimedSize) {
        *size = *call.s.claimedSize;
        call.s.claimedSize.reset();
        return SCARD_S_SUCCESS;
    }
    const cat::Bytes answer = there->talk ? there->talk(command) : cat::Bytes{0x90, 0x00};
    if (answer.size() > *size)
        return SCARD_E_INSUFFICIENT_BUFFER;
    std::copy(answer.begin(), answer.end(), buffer);
    *size = answer.size();
    return SCARD_S_SUCCESS;
}

LONG SCardGetStatusChange(SCARDCONTEXT context, DWORD, SCARD_READERSTATE *states, DWORD count)
{
    Call call("SCardGetStatusChange", context);
    if (!call.isFine())
        return call.code;
    Context &own = call.s.contexts[context];
    own.isWaiting = true;
    call.s.wake.wait(call.lock, [&] { return own.isCancelled || !call.isAlive() || lookAt(call.s, states, count); });
    own.isWaiting = false;
    if (!call.isAlive())
        return SCARD_E_NO_SERVICE;
    return std::exchange(own.isCancelled, false) ? SCARD_E_CANCELLED : SCARD_S_SUCCESS;
}

LONG SCardCancel(SCARDCONTEXT context)
{
    Call call("SCardCancel");
    const auto found = call.s.contexts.find(context);
    if (found == call.s.contexts.end())
        call.s.offences.push_back("SCardCancel with a context that is not open");
    else if (found->second.isWaiting)
        found->second.isCancelled = true;
    call.s.wake.notify_all();
    // It is the service that ends the wait, so the context is still in use here when the wait is over.
    call.s.wake.wait_for(call.lock, std::chrono::milliseconds(30), [&] { return !call.s.contexts.count(context); });
    if (!call.s.contexts.count(context))
        call.s.offences.push_back("SCardReleaseContext while it is being cancelled");
    return call.code;
}

} // extern "C"
