#include "card/CardSession.h"

#include "card/MenuCommand.h"
#include "card/StepAnswer.h"
#include "card/StepCommand.h"
#include "card/Template.h"

#include <algorithm>

namespace card
{

namespace
{

using cat::CommandType;
using cat::Result;

constexpr std::uint8_t lastNumber = 0xFE;

const Entry *entryWithId(const Menu &menu, std::uint8_t id)
{
    const auto entry = std::find_if(menu.entries.begin(), menu.entries.end(),
                                    [id](const Entry &candidate) { return candidate.id == id; });
    return entry == menu.entries.end() ? nullptr : &*entry;
}

/// Results that mean that the command was performed, in one way or another (ETSI TS 102 223 clause 8.12).
bool performed(Result result)
{
    return static_cast<std::uint8_t>(result) < 0x10;
}

/// Commands whose outcome is not the user's alone.
bool needsNetwork(CommandType type)
{
    return type == CommandType::SetUpCall || type == CommandType::SendShortMessage || type == CommandType::SendSs ||
           type == CommandType::SendUssd;
}

/// Commands that a user can come back to without anything being done twice.
bool asksTheUser(CommandType type)
{
    return type == CommandType::SelectItem || type == CommandType::GetInkey || type == CommandType::GetInput ||
           type == CommandType::DisplayText;
}

/// Failures that are no decision of the user's.
bool failed(Result result)
{
    constexpr auto userRefused = static_cast<Result>(0x22);
    constexpr auto userClearedDown = static_cast<Result>(0x23);
    return static_cast<std::uint8_t>(result) >= 0x20 && result != userRefused && result != userClearedDown;
}

} // namespace

void CardSession::reset()
{
    end();
    m_number = 0;
}

NextMove CardSession::start()
{
    reset();
    if (m_profile.mainMenu.entries.empty())
        return enter(m_profile.atStart);
    const cat::Command command = raisedMainMenu(m_profile.mainMenu, nextNumber());
    return propose(cat::encodeCommand(command), command.details, Purpose::MainMenu);
}

NextMove CardSession::select(const cat::MenuSelection &selection)
{
    NextMove move;
    move.kind = NextMove::Kind::Refused;
    const Entry *entry = entryWithId(m_profile.mainMenu, selection.itemId);
    if (!entry)
        return move;
    if (selection.helpRequested)
        return entry->helpText.empty() ? end() : show(entry->helpText, Purpose::LastWord);
    move = enter(entry->steps);
    move.delay = entry->delay;
    return move;
}

NextMove CardSession::answered(const cat::Response &response)
{
    switch (m_purpose) {
    case Purpose::MainMenu:
        return enter(m_profile.atStart);
    case Purpose::Step:
        return stepAnswered(response);
    case Purpose::Help: // and back to the question
        return performed(response.result) || response.result == Result::BackwardMove ? run() : end();
    case Purpose::LastWord:
        break;
    }
    return end();
}

NextMove CardSession::enter(const std::vector<Step> &steps)
{
    m_frames.push_back({&steps, 0});
    return run();
}

/// Raises the next step that applies; without one the lists that are done with are left.
NextMove CardSession::run()
{
    while (!m_frames.empty()) {
        Frame &frame = m_frames.back();
        while (frame.index < frame.steps->size() && !applies((*frame.steps)[frame.index]))
            ++frame.index;
        if (frame.index < frame.steps->size())
            return raise(current());
        m_frames.pop_back();
        if (!m_frames.empty())
            ++m_frames.back().index; // behind the menu that led here
    }
    return end();
}

NextMove CardSession::raise(const Step &step)
{
    if (!step.menu && !step.raw.empty())
        return propose(step.raw, cat::decodeCommand(step.raw).command.details, Purpose::Step);
    const cat::Command command = raised(step, m_values, nextNumber());
    return propose(cat::encodeCommand(command), command.details, Purpose::Step);
}

NextMove CardSession::propose(const cat::Bytes &bytes, const cat::CommandDetails &details, Purpose purpose)
{
    NextMove move;
    if (bytes.size() > longestCommand) {
        end();
        move.kind = NextMove::Kind::Fault;
        return move;
    }
    m_purpose = purpose;
    move.kind = NextMove::Kind::Command;
    move.bytes = bytes;
    move.details = details;
    return move;
}

NextMove CardSession::show(const std::u16string &text, Purpose purpose)
{
    const cat::Command command = raised(displayStep(text), m_values, nextNumber());
    return propose(cat::encodeCommand(command), command.details, purpose);
}

NextMove CardSession::stepAnswered(const cat::Response &response)
{
    const Step &step = current();
    if (response.result == Result::BackwardMove)
        return backward();
    if (response.result == Result::HelpRequired)
        return help(step, response);
    return performed(response.result) ? stepPerformed(step, response) : stepFailed(step, response.result);
}

NextMove CardSession::stepPerformed(const Step &step, const cat::Response &response)
{
    if (step.menu)
        return chosen(step, response);
    const std::optional<std::u16string> answer = answerOf(step, response);
    if (!answer) {
        NextMove move;
        move.kind = NextMove::Kind::Refused;
        return move;
    }
    if (!step.as.empty())
        m_values[step.as] = *answer;
    return step.endOnNo && *answer == answerNo ? end() : forward();
}

NextMove CardSession::stepFailed(const Step &step, Result result)
{
    if (!needsNetwork(step.type()) || !failed(result))
        return end();
    return step.onFailure.empty() ? forward() : show(step.onFailure, Purpose::LastWord);
}

NextMove CardSession::chosen(const Step &step, const cat::Response &response)
{
    const Entry *entry = response.itemId ? entryWithId(*step.menu, *response.itemId) : nullptr;
    NextMove move;
    move.kind = NextMove::Kind::Refused;
    if (!entry)
        return move;
    if (!step.as.empty())
        m_values[step.as] = entry->value ? *entry->value : expanded(entry->text, m_values, std::u16string::npos);
    move = enter(entry->steps);
    move.delay = entry->delay;
    return move;
}

NextMove CardSession::help(const Step &step, const cat::Response &response)
{
    const Entry *entry = step.menu && response.itemId ? entryWithId(*step.menu, *response.itemId) : nullptr;
    const std::u16string &text = entry ? entry->helpText : step.helpText;
    return text.empty() ? end() : show(text, Purpose::Help);
}

NextMove CardSession::forward()
{
    ++m_frames.back().index;
    return run();
}

/// To the last step before this one that asks the user, or to the menu that led here.
NextMove CardSession::backward()
{
    while (!m_frames.empty()) {
        Frame &frame = m_frames.back();
        while (frame.index > 0) {
            --frame.index;
            if (asksTheUser(current().type()) && applies(current()))
                return raise(current());
        }
        m_frames.pop_back();
        if (!m_frames.empty())
            return raise(current());
    }
    return end();
}

NextMove CardSession::end()
{
    m_frames.clear();
    m_values.clear();
    return NextMove();
}

bool CardSession::applies(const Step &step) const
{
    return std::all_of(step.when.begin(), step.when.end(), [this](const Condition &condition) {
        const auto value = m_values.find(condition.name);
        return value == m_values.end() ? condition.value.empty() : value->second == condition.value;
    });
}

std::uint8_t CardSession::nextNumber()
{
    m_number = m_number == lastNumber ? std::uint8_t{1} : static_cast<std::uint8_t>(m_number + 1);
    return m_number;
}

} // namespace card
