#include "sdk/Service.h"

#include "sdk/AnswerText.h"
#include "sdk/Describe.h"

#include <algorithm>
#include <cmath>
#include <limits>

// The part of Service that callers ask and answer. Nothing here waits for the card.

namespace sdk
{

namespace
{

/// The item `id`, or null.
const cat::Item *findItem(const cat::Command &menu, int id)
{
    const auto item =
        std::find_if(menu.items.begin(), menu.items.end(), [id](const cat::Item &each) { return each.id == id; });
    return item == menu.items.end() ? nullptr : &*item;
}

} // namespace

Status Service::mainMenu(cat::Command *menu) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_state.hasCard)
        return Status::NoCard;
    if (!m_state.menu)
        return Status::NoMenu;
    *menu = *m_state.menu;
    return Status::Success;
}

Status Service::openCommand(int id, _MDSV_EN_STKTYPE type, cat::Command *command) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Status status = isLingeringLocked(id, type) ? Status::Success : checkOpenLocked(id, type);
    if (status == Status::Success)
        *command = isLingeringLocked(id, type) ? m_state.lingering->command : m_state.open->command;
    return status;
}

bool Service::raise(const cat::Bytes &command, std::string *error)
{
    constexpr std::size_t longest = 256; // FETCH has one byte for the length, and 00 stands for this
    const cat::DecodedCommand decoded = cat::decodeCommand(command);
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::string problem;
    if (!m_state.hasCard)
        problem = m_state.device ? "there is no card: put one in" : "there is no card: attach the device first";
    else if (!decoded.detailsKnown)
        problem = decoded.reason;
    else if (command.size() > longest)
        problem = std::to_string(command.size()) + " bytes, and FETCH brings 256 at most: shorten the texts";
    else
        queueLocked([this, device = m_state.device, command] { raiseOnCard(device, command); });
    if (!problem.empty())
        *error = problem;
    return problem.empty();
}

Status Service::selectMenuItem(int itemId)
{
    const std::string what = "choice of item " + std::to_string(itemId) + " of the main menu";
    std::unique_lock<std::mutex> lock(m_mutex);
    const cat::Item *const item = m_state.menu ? findItem(*m_state.menu, itemId) : nullptr;
    Status status = Status::Success;
    if (!m_state.hasCard)
        status = Status::NoCard;
    else if (!m_state.menu)
        status = Status::NoMenu;
    else if (!item)
        status = Status::BadArgument;
    else if (m_state.isBusy || m_state.selection)
        status = Status::SessionBusy;
    if (status != Status::Success) {
        lock.unlock();
        return refuse(what, status);
    }
    m_state.selection = *item;
    m_wake.notify_all();
    return Status::Success;
}

Status Service::answerSelectItem(int id, int action, int itemId)
{
    struct ActionRow {
        int action;
        cat::Result result;
    };
    static constexpr ActionRow rows[] = {
        {MDSV_SUBMENU_ACTION_SELECT, cat::Result::Performed},
        {MDSV_SUBMENU_ACTION_BACK, cat::Result::BackwardMove},
        {MDSV_SUBMENU_ACTION_NONE, cat::Result::SessionTerminatedByUser},
    };
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [action](const ActionRow &each) { return each.action == action; });

    std::unique_lock<std::mutex> lock(m_mutex);
    Status status = checkOpenLocked(id, MDSV_STKTYPE_SELECT_ITEM);
    const bool needsItem = action == MDSV_SUBMENU_ACTION_SELECT;
    if (status == Status::Success && (row == std::end(rows) || (needsItem && !findItem(m_state.open->command, itemId))))
        status = Status::BadArgument;
    if (status != Status::Success) {
        lock.unlock();
        return refuse("answer to SELECT ITEM, command " + std::to_string(id) + ", action " + std::to_string(action) +
                          ", item " + std::to_string(itemId),
                      status);
    }
    cat::Response response = responseTo(m_state.open->command, row->result);
    if (needsItem)
        response.itemId = static_cast<std::uint8_t>(itemId);
    closeLocked(response);
    return Status::Success;
}

Status Service::answerText(int id, _MDSV_EN_STKTYPE type, bool isConfirmed, const std::u16string &text)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    Status status = checkOpenLocked(id, type);
    CheckedAnswer checked;
    if (status == Status::Success && isConfirmed) {
        checked = checkAnswer(m_state.open->command, text);
        status = checked.text ? Status::Success : Status::AnswerRefused;
    }
    if (status != Status::Success) {
        lock.unlock();
        // Without the text: it may be a secret.
        const std::string what = type == MDSV_STKTYPE_GET_INPUT ? "answer to GET INPUT" : "answer to GET INKEY";
        return refuse(what + ", command " + std::to_string(id) + (checked.reason.empty() ? "" : ": " + checked.reason),
                      status);
    }
    cat::Response response =
        responseTo(m_state.open->command, isConfirmed ? cat::Result::Performed : cat::Result::SessionTerminatedByUser);
    response.text = checked.text;
    closeLocked(response);
    return Status::Success;
}

Status Service::answerWithoutData(int id, int stkType, int result)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (isLingeringLocked(id, stkType) && std::exchange(m_state.lingering->takesAnswer, false))
        return Status::Success; // the card has had its response
    Status status = checkOpenLocked(id, stkType);
    std::optional<cat::Response> response;
    if (status == Status::Success) {
        response = responseWithoutData(m_state.open->command, result);
        status = response ? Status::Success : Status::BadArgument;
    }
    if (status != Status::Success) {
        lock.unlock();
        return refuse("answer without data, command " + std::to_string(id) + ", type " + std::to_string(stkType) +
                          ", result " + std::to_string(result),
                      status);
    }
    closeLocked(*response);
    return Status::Success;
}

Status Service::checkOpenLocked(int id, int type) const
{
    if (!m_state.hasCard)
        return Status::NoCard;
    if (!m_state.open || m_state.open->id != id)
        return Status::StaleCommand;
    return m_state.open->row->stkType == type ? Status::Success : Status::WrongCommand;
}

bool Service::isLingeringLocked(int id, int type) const
{
    if (!m_state.lingering || m_state.lingering->stkType != type)
        return false;
    // Identifiers go round: what counts is how far they are behind the last one.
    constexpr int round = std::numeric_limits<int16_t>::max();
    const auto age = [this](int each) { return (m_lastId - each + round) % round; };
    return id >= 1 && id <= round && age(id) <= age(m_state.lingering->id);
}

void Service::closeLocked(cat::Response response)
{
    const OpenCommand closed = takeOpenLocked();
    addDuration(closed, &response);
    queueLocked([this, device = m_state.device, command = closed.command, response] {
        cat::Bytes answer;
        if (respond(device, response, command, &answer))
            follow(device, answer);
    });
}

/// Closes the open command: whoever has called this sees to its response.
Service::OpenCommand Service::takeOpenLocked()
{
    OpenCommand closed = std::move(*m_state.open);
    m_state.open.reset();
    if (!closed.row->isAnsweredByUser())
        m_state.lingering = Lingering{closed.id, closed.command, closed.row->stkType, false};
    return closed;
}

/// A key with a time of its own is answered with the time that it took (ETSI TS 102 223 clause 6.4.2).
void Service::addDuration(const OpenCommand &closed, cat::Response *response)
{
    if (closed.command.details.type != cat::CommandType::GetInkey || !closed.command.duration)
        return;
    cat::Duration unit = *closed.command.duration;
    unit.interval = 1;
    const double units = std::chrono::duration<double>(Clock::now() - closed.since) / unit.time();
    unit.interval = static_cast<std::uint8_t>(std::clamp(std::lround(units), 1L, 255L));
    response->duration = unit;
}

Status Service::refuse(const std::string &what, Status status)
{
    note(what + ": refused, " + describe(status));
    return status;
}

} // namespace sdk
