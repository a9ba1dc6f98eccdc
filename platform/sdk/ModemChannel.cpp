#include "sdk/ModemChannel.h"

#include "sdk/Outside.h"
#include "sdk/SdkControl.h"

#include <algorithm>
#include <iterator>

namespace sdk
{

namespace
{

using std::chrono::milliseconds;

constexpr std::size_t headSize = 4;
constexpr int greetings = 3; ///< a modem may be in the middle of something when the line opens
constexpr int mostComplaints = 20;
constexpr int simBusy = 14; ///< +CME ERROR (3GPP TS 27.007 clause 9.2.2)

const cat::Bytes toolkitBusy = {0x93, 0x00};
const cat::Bytes noDiagnosis = {0x6F, 0x00};
const cat::Bytes unknownInstruction = {0x6D, 0x00};
const cat::Bytes wrongLength = {0x67, 0x00};

const char *const handedOver = "+CUSATP:";
const char *const sessionEnd = "+CUSATEND";

/// What stays the modem's own: it has the network, and it reads the card's files. Bytes and bits of the terminal
/// profile (ETSI TS 102 223 clause 5.2).
constexpr struct {
    std::size_t byte;
    std::uint8_t bits;
} modemsOwn[] = {
    {2, 0x80},                      // REFRESH
    {3, 0x02 | 0x04 | 0x08 | 0x10}, // SEND SHORT MESSAGE, SEND SS, SEND USSD, SET UP CALL
};

std::mutex timesMutex;
ModemTimes usualTimes;

ModemTimes currentTimes()
{
    const std::lock_guard<std::mutex> lock(timesMutex);
    return usualTimes;
}

bool startsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

/// Reads a string of hexadecimal digits as modems write it: with or without quotes, with blanks, with something behind.
bool readHex(std::string text, cat::Bytes *bytes)
{
    text.erase(std::min(text.find(','), text.size()));
    const auto isLeftOut = [](char character) { return character == '"' || character == ' ' || character == '\t'; };
    text.erase(std::remove_if(text.begin(), text.end(), isLeftOut), text.end());
    return cat::fromHex(text, bytes);
}

/// "+CUSATE: "D0...",1": the second parameter says that the card is busy. Some modems give its status word.
bool saysBusy(const std::vector<std::string> &lines)
{
    cat::Bytes response;
    return !lines.empty() && ((lines.front().find(',') != std::string::npos && lines.front().back() == '1') ||
                              (readHex(lines.front(), &response) && response == toolkitBusy));
}

std::string nameOf(const ModemAddress &address)
{
    return address.path.empty() ? "modem at " + address.host + " port " + address.port : "modem on " + address.path;
}

} // namespace

void setModemTimes(const ModemTimes &times)
{
    const std::lock_guard<std::mutex> lock(timesMutex);
    usualTimes = times;
}

std::unique_ptr<CardChannel> openModem(const std::string &line, std::string *error)
{
    const std::optional<ModemAddress> address = readModemAddress(line, error);
    return address ? std::make_unique<ModemChannel>(nameOf(*address), *address) : nullptr;
}

std::vector<std::string> listModemLines()
{
    return modemLinesBelow("/dev");
}

ModemChannel::ModemChannel(std::string name, ModemAddress address)
    : m_name(std::move(name)), m_address(std::move(address)), m_times(currentTimes()),
      m_client([this](const std::string &text) { hear(text); })
{
}

ModemChannel::~ModemChannel()
{
    interrupt();
    if (m_thread.joinable())
        m_thread.join();
}

// ---------------------------------------------------------------------------------------------------------------------
// The service's side

void ModemChannel::setListener(std::function<void(News)> listener)
{
    if (listener)
        m_listener.set(std::move(listener));
    else
        m_listener.clear();
}

bool ModemChannel::isGivenUp() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_session.isGivenUp();
}

void ModemChannel::interrupt()
{
    m_pipe.stop();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_changed.notify_all();
}

bool ModemChannel::reset(std::string *error)
{
    Lock lock(m_mutex);
    if (!m_thread.joinable() && !m_pipe.isStopped())
        m_thread = std::thread([this] { run(); });
    m_isWanted = true;
    m_pipe.wake();
    m_changed.wait(lock, [this] { return m_pipe.isStopped() || !m_isWanted; });
    m_isUp = m_isConnected && !m_pipe.isStopped();
    m_isMissed = !m_isUp;
    if (!m_isUp && error)
        *error = m_pipe.isStopped() ? m_name + " has been taken away: attach it again" : m_error;
    return m_isUp;
}

const ModemChannel::Instruction ModemChannel::instructions[] = {
    {0x10, true, &ModemChannel::terminalProfile},  {0x12, false, &ModemChannel::fetch},
    {0x14, true, &ModemChannel::terminalResponse}, {0xC2, true, &ModemChannel::envelope},
    {0xF2, false, &ModemChannel::status},
};

bool ModemChannel::transmit(const cat::Bytes &apdu, cat::Bytes *answer)
{
    Lock lock(m_mutex);
    answer->clear();
    if (!m_isUp || m_pipe.isStopped())
        return false;
    const auto *const row = std::find_if(std::begin(instructions), std::end(instructions), [&apdu](const auto &one) {
        return apdu.size() >= headSize && one.code == apdu[1];
    });
    if (row == std::end(instructions)) {
        *answer = unknownInstruction;
        return true;
    }
    cat::Bytes body(apdu.begin() + headSize, apdu.end());
    if (body.empty() || (row->hasData && body.size() < 1u + body[0])) {
        *answer = wrongLength;
        return true;
    }
    if (row->hasData)
        body = cat::Bytes(body.begin() + 1, body.begin() + 1 + body[0]);
    m_isTalking = true;
    const bool isThere = (this->*row->run)(body, &lock, answer) && m_isUp && !m_pipe.isStopped();
    m_isTalking = false;
    return isThere;
}

bool ModemChannel::fetch(const cat::Bytes &length, Lock *, cat::Bytes *answer)
{
    *answer = m_session.fetch(length[0]);
    return true;
}

bool ModemChannel::status(const cat::Bytes &, Lock *, cat::Bytes *answer)
{
    *answer = m_session.status();
    return true;
}

/// Tells the modem what this terminal can do, as far as the modem lets itself be told; it starts the card with that.
/// One that does not hands over what it hands over.
bool ModemChannel::terminalProfile(const cat::Bytes &profile, Lock *lock, cat::Bytes *answer)
{
    cat::Bytes ours = profile;
    for (const auto &own : modemsOwn) {
        if (own.byte < ours.size())
            ours[own.byte] = static_cast<std::uint8_t>(ours[own.byte] & ~own.bits);
    }
    m_session.finish();
    m_isOver = false;
    if (!offerProfile(cat::toHex(ours), lock))
        return false;
    m_hasHandedOver = false;
    const AtAnswer activated = ask("AT+CUSATA=1", std::string(), m_times.card, lock);
    // What waits since before is dead when the card has been started anew, and is taken only when nothing else comes.
    if (activated.kind == AtAnswer::Kind::Done)
        m_changed.wait_for(*lock, m_times.start,
                           [this] { return m_hasHandedOver || m_isOver || !m_isUp || m_pipe.isStopped(); });
    *answer = m_session.status();
    return activated.kind == AtAnswer::Kind::Done || activated.kind == AtAnswer::Kind::Refused;
}

/// A profile is stored for good: one that is there already is not written again. False: the modem is gone.
bool ModemChannel::offerProfile(const std::string &hex, Lock *lock)
{
    const auto isLost = [](const AtAnswer &said) {
        return said.kind == AtAnswer::Kind::Lost || said.kind == AtAnswer::Kind::Silent;
    };
    const AtAnswer stored = ask("AT+CUSATR", "+CUSATR:", m_times.answer, lock);
    if (isLost(stored))
        return false;
    for (const std::string &line : stored.lines) {
        cat::Bytes bytes;
        const std::size_t comma = line.find(',');
        if (comma != std::string::npos && line[0] == '0' && readHex(line.substr(comma + 1), &bytes) &&
            cat::toHex(bytes) == hex)
            return true;
    }
    const AtAnswer written = ask("AT+CUSATW=0,\"" + hex + '"', std::string(), m_times.answer, lock);
    return !isLost(written) && !isLost(ask("AT+CUSATD=1", std::string(), m_times.answer, lock));
}

bool ModemChannel::terminalResponse(const cat::Bytes &data, Lock *lock, cat::Bytes *answer)
{
    if (!m_session.respond(data)) {
        *answer = m_session.status();
        return true;
    }
    m_isOver = false;
    const AtAnswer said = askCard("AT+CUSATT=", data, std::string(), lock);
    m_session.finish();
    if (said.kind == AtAnswer::Kind::Done)
        awaitNext(m_tellsEnd ? m_times.next : m_times.start, lock);
    const bool isRefused = said.kind == AtAnswer::Kind::Refused;
    *answer = isRefused && !m_session.isWaiting() ? noDiagnosis : m_session.status();
    return isRefused || said.kind == AtAnswer::Kind::Done;
}

bool ModemChannel::envelope(const cat::Bytes &data, Lock *lock, cat::Bytes *answer)
{
    m_session.finish();
    m_isOver = false;
    const AtAnswer said = askCard("AT+CUSATE=", data, "+CUSATE:", lock);
    const bool isRefused = said.kind == AtAnswer::Kind::Refused;
    const bool isBusy = isRefused ? said.error == simBusy : saysBusy(said.lines);
    if (said.kind == AtAnswer::Kind::Done && !isBusy)
        awaitNext(m_times.start, lock);
    if (m_session.isWaiting() || !(isBusy || isRefused))
        *answer = m_session.status();
    else
        *answer = isBusy ? toolkitBusy : noDiagnosis;
    return isRefused || said.kind == AtAnswer::Kind::Done;
}

/// Has the thread say `command`, and waits for what the modem says to it.
AtAnswer ModemChannel::ask(const std::string &command, const std::string &prefix, milliseconds limit, Lock *lock)
{
    if (!m_isUp || m_pipe.isStopped())
        return {};
    Request request{command, prefix, limit, std::nullopt};
    m_request = &request;
    m_pipe.wake();
    m_changed.wait(*lock, [&] { return request.answer || m_pipe.isStopped(); });
    m_request = nullptr;
    return request.answer.value_or(AtAnswer());
}

/// A command with bytes for the card. The standard has strings in quotes; some modems will not have it so. What one has
/// refused is said again in the other way, unless the modem has gone on by then.
AtAnswer ModemChannel::askCard(const std::string &command, const cat::Bytes &data, const std::string &prefix,
                               Lock *lock)
{
    const std::string plain = command + cat::toHex(data);
    const std::string quoted = command + '"' + cat::toHex(data) + '"';
    AtAnswer said = ask(m_isQuoted.value_or(false) ? quoted : plain, prefix, m_times.card, lock);
    if (said.kind == AtAnswer::Kind::Done && !m_isQuoted)
        m_isQuoted = false;
    if (said.kind != AtAnswer::Kind::Refused || m_isQuoted || said.error == simBusy || m_session.isWaiting() ||
        m_isOver)
        return said;
    said = ask(quoted, prefix, m_times.card, lock);
    if (said.kind == AtAnswer::Kind::Done)
        m_isQuoted = true;
    return said;
}

/// Waits for the card's next command or its end. False: neither has come; a command that comes later is news.
bool ModemChannel::awaitNext(milliseconds limit, Lock *lock)
{
    return m_changed.wait_for(*lock, limit,
                              [this] { return m_session.isWaiting() || m_isOver || !m_isUp || m_pipe.isStopped(); });
}

// ---------------------------------------------------------------------------------------------------------------------
// The thread

void ModemChannel::run()
{
    Clock::time_point nextTry = Clock::now();
    while (!m_pipe.isStopped()) {
        bool isWanted = false;
        {
            const Lock lock(m_mutex);
            isWanted = m_isWanted;
        }
        if (!isWanted && Clock::now() < nextTry) {
            ModemLine::pause(m_pipe, nextTry);
            continue;
        }
        if (connect())
            serve();
        nextTry = Clock::now() + m_times.retry;
    }
    m_line.close();
}

/// Looks for the modem, and tells whoever waits for it.
bool ModemChannel::connect()
{
    {
        const Lock lock(m_mutex);
        m_session.clear();
        m_isQuoted.reset();
        m_tellsEnd = false;
    }
    m_client.clear();
    m_complaints = 0;
    std::string error;
    const bool isThere = m_line.open(m_address, Clock::now() + m_times.connection, &error) && greet(&error);
    if (!isThere)
        m_line.close();
    Lock lock(m_mutex);
    m_isConnected = isThere;
    m_error = error;
    const bool isNews = isThere && !m_isWanted && std::exchange(m_isMissed, false);
    m_isWanted = false;
    m_changed.notify_all();
    lock.unlock();
    if (isNews)
        tell(News::There);
    return isThere;
}

/// Makes sure that somebody is there who takes commands, and that nothing is left of what was said to another.
bool ModemChannel::greet(std::string *error)
{
    AtAnswer said;
    for (int tries = 0; tries < greetings && said.kind != AtAnswer::Kind::Done && m_line.isOpen(); ++tries)
        said = talk("AT", std::string(), m_times.answer / greetings);
    const Clock::time_point quiet = Clock::now() + m_times.quiet;
    while (said.kind == AtAnswer::Kind::Done && Clock::now() < quiet && listen(quiet)) {
    }
    // Neither is missed where it is refused: an echo is no answer, and an error without a number is one, too.
    for (const char *const command : {"ATE0", "AT+CMEE=1"}) {
        if (said.kind == AtAnswer::Kind::Done || said.kind == AtAnswer::Kind::Refused)
            said = talk(command, std::string(), m_times.answer);
    }
    if (said.kind == AtAnswer::Kind::Done || said.kind == AtAnswer::Kind::Refused)
        return true;
    *error = said.kind == AtAnswer::Kind::Silent
                 ? m_name + " does not answer to AT: choose another of its lines, or plug it in again"
                 : m_name + " has hung up: plug it in again";
    return false;
}

/// Says what there is to say and hears what comes, until the modem is gone.
void ModemChannel::serve()
{
    Clock::time_point heard = Clock::now();
    AtAnswer said{AtAnswer::Kind::Done, {}, {}};
    while (!m_pipe.isStopped() && m_line.isOpen() && said.kind != AtAnswer::Kind::Silent) {
        std::optional<Request> request;
        {
            const Lock lock(m_mutex);
            if (std::exchange(m_isWanted, false))
                m_changed.notify_all();
            if (m_request && !m_request->answer)
                request = *m_request;
        }
        if (!request && Clock::now() < heard + m_times.alive) {
            listen(heard + m_times.alive);
            continue;
        }
        said = request ? talk(request->command, request->prefix, request->limit)
                       : talk("AT", std::string(), m_times.answer);
        heard = Clock::now();
        if (request)
            give(said);
    }
    if (!m_pipe.isStopped())
        lose(said.kind == AtAnswer::Kind::Silent ? "does not answer any more" : "has hung up");
}

/// What became of the request. A modem that is lost says so to everybody, see lose().
void ModemChannel::give(const AtAnswer &said)
{
    const Lock lock(m_mutex);
    if (m_request && said.kind != AtAnswer::Kind::Silent && said.kind != AtAnswer::Kind::Lost)
        m_request->answer = said;
    m_changed.notify_all();
}

AtAnswer ModemChannel::talk(const std::string &command, const std::string &prefix, milliseconds limit)
{
    const Clock::time_point deadline = Clock::now() + limit;
    m_client.begin(prefix);
    if (!m_line.write(command + '\r', deadline))
        return {m_line.isOpen() ? AtAnswer::Kind::Silent : AtAnswer::Kind::Lost, {}, {}};
    for (;;) {
        const Clock::time_point now = Clock::now();
        if (std::optional<AtAnswer> said = m_client.take(now))
            return *said;
        if (now >= deadline)
            return {AtAnswer::Kind::Silent, {}, {}};
        if (!listen(std::min(deadline, m_client.due().value_or(deadline))))
            return {};
    }
}

/// False: the line is lost, or the channel comes to its end.
bool ModemChannel::listen(Clock::time_point until)
{
    std::string bytes;
    const ModemLine::Event event = m_line.read(until, &bytes);
    m_client.add(bytes, Clock::now());
    return event != ModemLine::Event::Lost && !m_pipe.isStopped();
}

/// A line that is no part of an answer. Most are other services' and of no concern here.
void ModemChannel::hear(const std::string &line)
{
    if (startsWith(line, handedOver))
        takeCommand(line.substr(std::char_traits<char>::length(handedOver)));
    else if (startsWith(line, sessionEnd))
        takeEnd();
}

void ModemChannel::takeCommand(const std::string &text)
{
    cat::Bytes command;
    if (!readHex(text, &command))
        return complain("what it handed over is no hexadecimal number, and dropped: " + text.substr(0, 80));
    std::string problem;
    Lock lock(m_mutex);
    const ModemSession::Change change = m_session.handOver(command, &problem);
    m_hasHandedOver = m_hasHandedOver || change.isNew;
    const bool isNews = change.isNew && !m_isTalking && m_isUp;
    m_changed.notify_all();
    lock.unlock();
    complain(problem);
    if (change.hasEnded)
        tell(News::Ended);
    if (isNews)
        tell(News::Asks);
}

void ModemChannel::takeEnd()
{
    std::string problem;
    Lock lock(m_mutex);
    const ModemSession::Change change = m_session.end(&problem);
    m_isOver = true;
    m_tellsEnd = true;
    m_changed.notify_all();
    lock.unlock();
    complain(problem);
    if (change.hasEnded)
        tell(News::Ended);
}

void ModemChannel::lose(const std::string &why)
{
    m_line.close();
    Lock lock(m_mutex);
    m_isConnected = false;
    m_isUp = false;
    m_error = m_name + ' ' + why;
    m_session.clear();
    if (m_request)
        m_request->answer = AtAnswer();
    const bool isNews = !std::exchange(m_isMissed, true);
    m_changed.notify_all();
    lock.unlock();
    log(m_name + ' ' + why);
    if (isNews)
        tell(News::Gone);
}

void ModemChannel::tell(News news)
{
    callOutside("the card channel's listener", [&] { m_listener.call(0, news); });
}

/// What people may want to know of a modem; one that talks nonsense without end does not fill their disk.
void ModemChannel::complain(const std::string &problem)
{
    if (!problem.empty() && m_complaints++ < mostComplaints)
        log(m_name + ": " + problem);
}

} // namespace sdk
