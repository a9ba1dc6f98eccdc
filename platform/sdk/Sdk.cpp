#include "sdk/Records.h"
#include "sdk/Service.h"

#include <algorithm>
#include <atomic>

// The C functions of the contract and the control functions beside it: arguments are checked and records filled here,
// everything else is the service's.

namespace sdk
{

namespace
{

using Kind = ItemArrays::Kind;

/// Never destroyed, as the service itself.
ItemArrays &arrays()
{
    static ItemArrays *const lent = new ItemArrays;
    return *lent;
}

/// No exception crosses the C interface.
template <typename Body>
int guarded(const char *function, Body body)
{
    try {
        return static_cast<int>(body());
    } catch (const std::exception &problem) {
        Service::instance().note(std::string(function) + ": " + problem.what());
    }
    return static_cast<int>(Status::NotAvailable);
}

/// Set: the next request fails.
std::atomic<bool> failsNext{false};

/// As guarded(), for the functions that ask or answer something.
template <typename Body>
int request(const char *function, Body body)
{
    if (!failsNext.exchange(false))
        return guarded(function, body);
    const auto fail = [function] { return Service::instance().refuse(std::string(function), Status::NotAvailable); };
    return guarded(function, fail);
}

/// Title, number of items and items, as both menu records have them.
template <typename Record>
void fillMenu(Kind kind, const cat::Command &command, Record *record)
{
    MDSVStkMenuItem *const items = arrays().lend(kind, command.items);
    copyText(command.alphaId.value_or(std::u16string()), record->usTitle);
    record->sItemCount = static_cast<int16_t>(command.items.size());
    record->pItems = items;
}

template <typename Record>
Status releaseMenu(const char *function, Kind kind, Record *record)
{
    if (!record || !arrays().takeBack(kind, record->pItems)) {
        const std::string what = std::string(function) + ": an array that was not handed out, or is back already";
        return Service::instance().refuse(what, Status::BadArgument);
    }
    record->pItems = nullptr;
    record->sItemCount = 0;
    return Status::Success;
}

/// Fills a record with the data of the command `id`, with `fill`.
template <typename Record>
Status fetchData(int id, _MDSV_EN_STKTYPE type, Record *record, void (*fill)(const cat::Command &, Record *))
{
    cat::Command command;
    const Status status = record ? Service::instance().openCommand(id, type, &command) : Status::BadArgument;
    if (status == Status::Success)
        fill(command, record);
    return status;
}

/// Longest answer that is looked at; no terminal response holds so much.
constexpr std::size_t longestAnswer = 1024;

Status answer(const char *function, int id, _MDSV_EN_STKTYPE type, int isConfirmed, const uint16_t *text)
{
    const uint16_t *const end = text ? std::find(text, text + longestAnswer, uint16_t(0)) : nullptr;
    const bool isTerminated = text && end != text + longestAnswer;
    if (isTerminated && (isConfirmed == 0 || isConfirmed == 1))
        return Service::instance().answerText(id, type, isConfirmed == 1, std::u16string(text, end));
    return Service::instance().refuse(std::string(function) + ", command " + std::to_string(id), Status::BadArgument);
}

} // namespace

void attachDevice(std::unique_ptr<CardChannel> channel)
{
    Service::instance().attach(std::move(channel));
}

void detachDevice()
{
    Service::instance().detach();
}

void setCallbackDispatcher(Dispatcher dispatcher)
{
    Service::instance().setDispatcher(std::move(dispatcher));
}

void setResponseLimit(std::chrono::milliseconds limit)
{
    Service::instance().setLimit(limit);
}

void setResponseLimit(int stkType, std::chrono::milliseconds limit)
{
    Service::instance().setLimit(stkType, limit);
}

void setUnattendedLimit(std::chrono::milliseconds limit)
{
    Service::instance().setGrace(limit);
}

void setLanguage(const std::string &language)
{
    Service::instance().setLanguage(language);
}

bool setTraceFile(const std::string &path, std::string *error)
{
    return Service::instance().setTraceFile(path, error);
}

void setExchangeListener(std::function<void(const Exchange &)> listener)
{
    Service::instance().setListener(std::move(listener));
}

void setApduListener(std::function<void(const ApduExchange &)> listener)
{
    Service::instance().setApduListener(std::move(listener));
}

void setTurnListener(std::function<void(Turn)> listener)
{
    Service::instance().setTurnListener(std::move(listener));
}

bool raiseCommand(const cat::Bytes &command, std::string *error)
{
    return Service::instance().raise(command, error);
}

void failNextCall()
{
    failsNext = true;
}

std::optional<std::u16string> menuTitle()
{
    cat::Command menu;
    if (Service::instance().mainMenu(&menu) != Status::Success)
        return std::nullopt;
    return menu.alphaId.value_or(std::u16string());
}

void shutDown()
{
    Service::instance().shutDown();
    setVirtualCardLatency(usualCardLatency);
    setVirtualCardsHanging(false);
    failsNext = false;
}

} // namespace sdk

using namespace sdk;

int MDSV_STK_RegisterCallBack(MDSVSTKCALLBACK pCallback)
{
    return guarded(__func__, [&] { return Service::instance().registerStkCallback(pCallback); });
}

int MDSV_STK_UnRegisterCallBack(MDSVSTKCALLBACK pCallback)
{
    return guarded(__func__, [&] { return Service::instance().unregisterStkCallback(pCallback); });
}

int MDSV_DevSrv_RegisterDevMgrCallback(MDSVDEVMGRCALLBACK pCallback)
{
    return guarded(__func__, [&] { return Service::instance().registerDeviceCallback(pCallback); });
}

int MDSV_DevSrv_UnRegisterDevMgrCallback(MDSVDEVMGRCALLBACK pCallback)
{
    return guarded(__func__, [&] { return Service::instance().unregisterDeviceCallback(pCallback); });
}

int MDSV_STKSrv_GetMainMenu(MDSVStkMainMenu *pMenu)
{
    return request(__func__, [&] {
        cat::Command command;
        const Status status = pMenu ? Service::instance().mainMenu(&command) : Status::BadArgument;
        if (status == Status::Success)
            fillMenu(Kind::MainMenu, command, pMenu);
        return status;
    });
}

int MDSV_STKSrv_ReleaseMenus(MDSVStkMainMenu *pMenu)
{
    const char *const function = __func__;
    return guarded(function, [&] { return releaseMenu(function, Kind::MainMenu, pMenu); });
}

int MDSV_STKSrv_GetSubMenu(int nCmdId, MDSVStkSubMenu *pMenu)
{
    return request(__func__, [&] {
        cat::Command command;
        const Status status =
            pMenu ? Service::instance().openCommand(nCmdId, MDSV_STKTYPE_SELECT_ITEM, &command) : Status::BadArgument;
        if (status == Status::Success) {
            fillMenu(Kind::SubMenu, command, pMenu);
            pMenu->sLeading = command.defaultItem.value_or(0);
        }
        return status;
    });
}

int MDSV_STKSrv_ReleaseSubMenus(MDSVStkSubMenu *pMenu)
{
    const char *const function = __func__;
    return guarded(function, [&] { return releaseMenu(function, Kind::SubMenu, pMenu); });
}

int MDSV_STKSrv_SelectMenuItem(int nAlwaysOne, int16_t sItemId)
{
    const char *const function = __func__;
    return request(function, [&] {
        if (nAlwaysOne == 1)
            return Service::instance().selectMenuItem(sItemId);
        return Service::instance().refuse(std::string(function) + ": the first argument is not 1", Status::BadArgument);
    });
}

int MDSV_STKSrv_SelectSubMenuItem(int nCmdId, int nAction, int16_t sItemId)
{
    return request(__func__, [&] { return Service::instance().answerSelectItem(nCmdId, nAction, sItemId); });
}

int MDSV_STKSrv_GetInputRequest(int nCmdId, MDSVStkInputData *pData)
{
    return request(__func__, [&] { return fetchData(nCmdId, MDSV_STKTYPE_GET_INPUT, pData, fillRecord); });
}

int MDSV_STKSrv_GetInKeyRequest(int nCmdId, MDSVStkInKeyData *pData)
{
    return request(__func__, [&] { return fetchData(nCmdId, MDSV_STKTYPE_GET_INKEY, pData, fillRecord); });
}

int MDSV_STKSrv_GetPromptText(int nCmdId, MDSVStkPromptData *pData)
{
    return request(__func__, [&] { return fetchData(nCmdId, MDSV_STKTYPE_DISPLAY_TEXT, pData, fillRecord); });
}

int MDSV_STKSrv_GetPlayTone(int nCmdId, MDSVStkToneData *pData)
{
    return request(__func__, [&] { return fetchData(nCmdId, MDSV_STKTYPE_PLAY_TONE, pData, fillRecord); });
}

int MDSV_STKSrv_GetLaunchBrowser(int nCmdId, MDSVStkBrowserData *pData)
{
    return request(__func__, [&] { return fetchData(nCmdId, MDSV_STKTYPE_LAUNCH_BROWSER, pData, fillRecord); });
}

int MDSV_STKSrv_GetIdleModePrompt(int nCmdId, uint16_t *pText)
{
    return request(__func__, [&] { return fetchData(nCmdId, MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, pText, fillIdleText); });
}

int MDSV_STKSrv_GetRefreshInfo(int nCmdId, void *pBuffer)
{
    return request(__func__, [&] { return fetchData(nCmdId, MDSV_STKTYPE_REFRESH, pBuffer, fillRefresh); });
}

int MDSV_STKSrv_AnswerInput(int nCmdId, int nConfirmed, const uint16_t *pAnswer)
{
    const char *const function = __func__;
    return request(function, [&] { return answer(function, nCmdId, MDSV_STKTYPE_GET_INPUT, nConfirmed, pAnswer); });
}

int MDSV_STKSrv_AnswerInKey(int nCmdId, int nConfirmed, const uint16_t *pAnswer)
{
    const char *const function = __func__;
    return request(function, [&] { return answer(function, nCmdId, MDSV_STKTYPE_GET_INKEY, nConfirmed, pAnswer); });
}

int MDSV_STKSrv_SendNoDataResponse(int nCmdId, int nType, int nResult)
{
    return request(__func__, [&] { return Service::instance().answerWithoutData(nCmdId, nType, nResult); });
}
