#include "sdk/Commands.h"

#include <algorithm>

namespace sdk
{

namespace
{

using cat::CommandType;
using cat::Result;
using Handling = CommandRow::Handling;
using std::chrono::milliseconds;

constexpr milliseconds usual{60000};
constexpr milliseconds forInput{120000};
constexpr milliseconds longest = std::chrono::hours(24 * 365);

constexpr CommandRow commandRows[] = {
    {CommandType::SetUpMenu, MDSV_STKTYPE_SETUP_MENU, Handling::Menu, usual},
    {CommandType::DisplayText, MDSV_STKTYPE_DISPLAY_TEXT, Handling::User, usual},
    {CommandType::GetInkey, MDSV_STKTYPE_GET_INKEY, Handling::User, usual},
    {CommandType::GetInput, MDSV_STKTYPE_GET_INPUT, Handling::User, forInput},
    {CommandType::SetUpCall, MDSV_STKTYPE_SETUP_CALL, Handling::User, usual},
    {CommandType::PlayTone, MDSV_STKTYPE_PLAY_TONE, Handling::User, usual},
    {CommandType::SelectItem, MDSV_STKTYPE_SELECT_ITEM, Handling::User, usual},
    {CommandType::Refresh, MDSV_STKTYPE_REFRESH, Handling::Refresh, usual},
    {CommandType::SendSs, MDSV_STKTYPE_SEND_SS, Handling::Network, usual},
    {CommandType::SendShortMessage, MDSV_STKTYPE_SEND_SMS, Handling::Network, usual},
    {CommandType::SendUssd, MDSV_STKTYPE_SEND_USSD, Handling::Network, usual},
    {CommandType::LaunchBrowser, MDSV_STKTYPE_LAUNCH_BROWSER, Handling::User, usual},
    {CommandType::SetUpIdleModeText, MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, Handling::User, usual},
};

struct ResultRow {
    CommandType type;
    int result;
    Result meaning;
};

/// A result that has no row here and is not 0 is refused.
constexpr ResultRow resultRows[] = {
    {CommandType::DisplayText, STK_UI_RESPONSE_DONE, Result::Performed},
    {CommandType::DisplayText, STK_UI_RESPONSE_NOT_HANDLED, Result::SessionTerminatedByUser},
    {CommandType::PlayTone, STK_UI_RESPONSE_DONE, Result::Performed},
    {CommandType::LaunchBrowser, STK_UI_RESPONSE_DONE, Result::Performed},
    {CommandType::SetUpIdleModeText, STK_UI_RESPONSE_DONE, Result::Performed},
    {CommandType::SetUpCall, STK_UI_RESPONSE_NO_CALL, Result::BeyondCapabilities},
};

struct RefreshRow {
    std::uint8_t mode;
    RefreshAction action;
};

/// ETSI TS 102 223 clause 8.6. A mode that is not here changes nothing that this terminal keeps.
constexpr RefreshRow refreshRows[] = {
    {0x00, RefreshAction::ReadMenu}, // initialization, full file change notification
    {0x02, RefreshAction::ReadMenu}, // initialization, file change notification
    {0x03, RefreshAction::ReadMenu}, // initialization
    {0x04, RefreshAction::Reset},    // card reset
    {0x05, RefreshAction::ReadMenu}, // application reset
    {0x06, RefreshAction::ReadMenu}, // session reset
};

bool isEndedByTheWindow(const cat::Command &command)
{
    const bool clearsItself = command.details.type == CommandType::DisplayText && !command.isClearedByUser();
    return clearsItself || (command.isYesNo() && command.duration);
}

bool isEndedByTheCard(const cat::Command &command)
{
    const CommandType type = command.details.type;
    return command.duration && (type == CommandType::DisplayText || type == CommandType::GetInkey);
}

} // namespace

const CommandRow *commandRow(CommandType type)
{
    const auto row = std::find_if(std::begin(commandRows), std::end(commandRows),
                                  [type](const CommandRow &each) { return each.type == type; });
    return row == std::end(commandRows) ? nullptr : row;
}

cat::Response responseTo(const cat::Command &command, Result result)
{
    cat::Response response;
    response.details = command.details;
    response.result = result == Result::Performed && command.isPartial() ? Result::PerformedMissingInformation : result;
    return response;
}

cat::Response unable(const cat::Command &command, std::uint8_t cause)
{
    cat::Response response = responseTo(command, Result::TerminalUnable);
    response.additionalInformation = {cause};
    return response;
}

std::optional<cat::Response> responseWithoutData(const cat::Command &command, int result)
{
    const auto row = std::find_if(std::begin(resultRows), std::end(resultRows), [&](const ResultRow &each) {
        return each.type == command.details.type && each.result == result;
    });
    if (row != std::end(resultRows))
        return responseTo(command, row->meaning);
    if (result == STK_UI_RESPONSE_NOT_HANDLED)
        return unable(command, noSpecificCause);
    return std::nullopt;
}

RefreshAction refreshAction(const cat::Command &command)
{
    const auto row = std::find_if(std::begin(refreshRows), std::end(refreshRows),
                                  [&](const RefreshRow &each) { return each.mode == command.details.qualifier; });
    return row == std::end(refreshRows) ? RefreshAction::Nothing : row->action;
}

Limits::Limits() : m_grace(usual)
{
    for (const CommandRow &row : commandRows)
        m_limits[row.stkType] = row.limit;
}

void Limits::setAll(milliseconds limit)
{
    for (auto &each : m_limits)
        each.second = std::clamp(limit, milliseconds(0), longest);
}

void Limits::set(int stkType, milliseconds limit)
{
    const auto found = m_limits.find(stkType);
    if (found != m_limits.end())
        found->second = std::clamp(limit, milliseconds(0), longest);
}

void Limits::setGrace(milliseconds grace)
{
    m_grace = std::clamp(grace, milliseconds(0), longest);
}

milliseconds Limits::of(const cat::Command &command) const
{
    const milliseconds own = command.duration ? command.duration->time() : milliseconds(0);
    if (isEndedByTheWindow(command))
        return own + m_grace;
    if (isEndedByTheCard(command))
        return own;
    const CommandRow *const row = commandRow(command.details.type);
    const milliseconds limit = row ? m_limits.at(row->stkType) : usual;
    return command.details.type == CommandType::PlayTone ? own + limit : limit;
}

} // namespace sdk
