#include "RecordingCard.h"

#include <QtCore/QMutexLocker>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace
{

const std::uint8_t FETCH = 0x12;
const std::uint8_t TERMINAL_PROFILE = 0x10;
const std::uint8_t TERMINAL_RESPONSE = 0x14;
const std::uint8_t ENVELOPE = 0xC2;
const std::uint8_t COMMAND_WAITING = 0x91;
const cat::Bytes DONE = {0x90, 0x00};

QString hex(const cat::Bytes &bytes)
{
    return QString::fromStdString(cat::toHex(bytes)).remove(' ').toUpper();
}

cat::Bytes statusOf(const cat::Bytes &answer)
{
    return answer.size() < 2 ? cat::Bytes() : cat::Bytes(answer.end() - 2, answer.end());
}

/// SET UP MENU "Scripted card" with the item 1, "Go".
const cat::Bytes MENU = {0xD0, 0x1D, 0x81, 0x03, 0x01, 0x25, 0x00, 0x82, 0x02, 0x81, 0x82, 0x85, 0x0D, 'S', 'c', 'r',
                         'i',  'p',  't',  'e',  'd',  ' ',  'c',  'a',  'r',  'd',  0x8F, 0x03, 0x01, 'G', 'o'};

} // namespace

// ---------------------------------------------------------------- CardLog

QStringList CardLog::lines() const
{
    QMutexLocker lock(&m_mutex);
    return m_lines;
}

void CardLog::forget()
{
    QMutexLocker lock(&m_mutex);
    m_lines.clear();
}

bool CardLog::isAtRest() const
{
    QMutexLocker lock(&m_mutex);
    return m_lastStatus == DONE && !m_isTalking;
}

void CardLog::begin()
{
    QMutexLocker lock(&m_mutex);
    m_isTalking = true;
}

void CardLog::add(const cat::Bytes &apdu, const cat::Bytes &answer)
{
    QMutexLocker lock(&m_mutex);
    m_isTalking = false;
    const bool isFetch = apdu.size() == 5 && apdu[1] == FETCH;
    const cat::Bytes status = statusOf(answer);
    const bool isLengthRight = isFetch && m_lastStatus.size() == 2 && m_lastStatus[1] == apdu[4] &&
                               answer.size() == (apdu[4] ? apdu[4] : 256) + 2u;
    const QString said = isFetch && status == DONE ? hex(cat::Bytes(answer.begin(), answer.end() - 2)) : hex(answer);
    m_lastStatus = isFetch && status == DONE ? cat::Bytes() : status;
    if (!isFetch || !isLengthRight)
        m_lines << "term " + hex(apdu);
    if (answer.empty())
        m_lines << "card has gone";
    else if (isFetch || answer.size() > 2 || status[0] != COMMAND_WAITING)
        m_lines << "card " + said;
}

void CardLog::add(const QString &line)
{
    QMutexLocker lock(&m_mutex);
    m_lines << line;
}

// ---------------------------------------------------------------- RecordingCard

RecordingCard::RecordingCard(std::unique_ptr<sdk::CardChannel> card, CardLog *log, const std::atomic<bool> *hasNetwork)
    : m_card(std::move(card)), m_log(log), m_hasNetwork(hasNetwork)
{
}

std::string RecordingCard::name() const
{
    return m_card->name();
}

bool RecordingCard::reset(std::string *error)
{
    m_log->add("reset");
    return m_card->reset(error);
}

bool RecordingCard::transmit(const cat::Bytes &apdu, cat::Bytes *answer)
{
    m_log->begin();
    const bool isThere = m_card->transmit(apdu, answer);
    m_log->add(apdu, isThere ? *answer : cat::Bytes());
    return isThere;
}

bool RecordingCard::hasNetwork() const
{
    return *m_hasNetwork && m_card->hasNetwork();
}

void RecordingCard::interrupt()
{
    m_card->interrupt();
}

// ---------------------------------------------------------------- ScriptedCard

struct ScriptedCard::Private {
    std::vector<cat::Bytes> commands;
    std::size_t next = 0;
    cat::Bytes waiting; ///< for FETCH
    std::mutex mutex;
    std::condition_variable wake;
    bool isInterrupted = false;

    cat::Bytes raise(const cat::Bytes &command)
    {
        waiting = command;
        return {COMMAND_WAITING, static_cast<std::uint8_t>(command.size())};
    }

    cat::Bytes answerTo(const cat::Bytes &apdu)
    {
        const std::uint8_t instruction = apdu.size() > 1 ? apdu[1] : 0;
        const bool isOver = next >= commands.size() || (instruction == TERMINAL_RESPONSE && waiting == MENU);
        if (instruction == TERMINAL_PROFILE)
            return raise(MENU);
        if (instruction == FETCH) {
            cat::Bytes answer = waiting;
            answer.insert(answer.end(), DONE.begin(), DONE.end());
            return answer;
        }
        if (instruction == ENVELOPE)
            next = 0;
        if ((instruction == ENVELOPE || instruction == TERMINAL_RESPONSE) && (!isOver || instruction == ENVELOPE))
            return raise(commands[next++]);
        return DONE;
    }
};

ScriptedCard::ScriptedCard(std::vector<cat::Bytes> commands) : d(new Private)
{
    d->commands = std::move(commands);
}

ScriptedCard::~ScriptedCard() = default;

std::string ScriptedCard::name() const
{
    return "scripted card";
}

bool ScriptedCard::reset(std::string *)
{
    return true;
}

bool ScriptedCard::transmit(const cat::Bytes &apdu, cat::Bytes *answer)
{
    std::unique_lock<std::mutex> lock(d->mutex);
    *answer = d->answerTo(apdu);
    // Cards take their time; the window is made for that.
    return !d->wake.wait_for(lock, std::chrono::milliseconds(30), [this] { return d->isInterrupted; });
}

void ScriptedCard::interrupt()
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->isInterrupted = true;
    d->wake.notify_all();
}
