#include "STKLogic.h"

#include "STKLog.h"

#include <cstring>

#define STK_SOURCE "STKLogic"

namespace
{

// Line numbers that are part of the text of two log lines.
const int REGISTER_STK_LINE = 114;
const int REGISTER_DEVICE_LINE = 122;
const int REGISTER_DEVICE_FAILED_LINE = 126;

/// The text of a record's field: up to its first zero unit, and never past the field. The units are taken as they are.
QString textOf(const uint16_t (&units)[MDSV_STK_TEXT_UNITS])
{
    int length = 0;
    while (length < MDSV_STK_TEXT_UNITS && units[length] != 0)
        ++length;
    return QString(reinterpret_cast<const QChar *>(units), length);
}

void appendItems(QList<StkItemClass> *list, const MDSVStkMenuItem *items, int count)
{
    for (int i = 0; items && i < count; ++i) {
        const StkItemClass item = {items[i].sItemId, textOf(items[i].usText)};
        list->append(item);
    }
}

/// Copies the library's record. Where memory does not suffice the library gets its own back, the menu is left empty,
/// and the host has the error.
template <class Record>
void copyMenu(StkMenuItems *pMenu, Record *pRecord, int (*pRelease)(Record *))
{
    try {
        pMenu->strTitle = textOf(pRecord->usTitle);
        appendItems(pMenu->pItemList, pRecord->pItems, pRecord->sItemCount);
    } catch (...) {
        pMenu->strTitle = QString();
        pMenu->pItemList->clear();
        pRelease(pRecord);
        throw;
    }
}

void setIfBetween(int *field, int value, int lowest, int highest)
{
    if (value >= lowest && value <= highest)
        *field = value;
}

/// Logs how a request ended: the returned line, then the success line (none when null) or the end line.
bool logOutcome(const char *function, int status, const char *returnedFormat, const char *successFormat)
{
    STK_LOG(returnedFormat, static_cast<long>(status), STK_LOG_PATH, function, StkLog::now().constData());
    if (status != 0)
        STK_LOG("End of %s: %s: %s: ", STK_LOG_PATH, function, StkLog::now().constData());
    else if (successFormat)
        STK_LOG(successFormat, STK_LOG_PATH, function, StkLog::now().constData());
    return status == 0;
}

int confirmedFlag(const QString &strAction)
{
    return strAction == QLatin1String("STK_TYPE_OK") ? 1 : 0;
}

const uint16_t *unitsOf(const QString &text)
{
    return reinterpret_cast<const uint16_t *>(text.utf16());
}

int subMenuActionCode(const QString &strAction)
{
    if (strAction == QLatin1String("SUBMENU_ACTION_SELECT_ITEM"))
        return MDSV_SUBMENU_ACTION_SELECT;
    if (strAction == QLatin1String("SUBMENU_ACTION_RETURN_BACK_ITEM"))
        return MDSV_SUBMENU_ACTION_BACK;
    return MDSV_SUBMENU_ACTION_NONE;
}

} // namespace

STKLogic *STKLogic::m_pStkLogicInst = 0;

STKLogic::STKLogic() : QObject(0), m_sCmdId(0), m_bRet(true), m_bRespondence(false)
{
    STK_LOG_START();
    STK_LOG_END();
}

STKLogic::~STKLogic()
{
    STK_LOG_START();
    STK_LOG_END();
}

STKLogic *STKLogic::CreateInstance()
{
    STK_LOG_START();
    if (!m_pStkLogicInst)
        m_pStkLogicInst = new STKLogic;
    STK_LOG_END();
    return m_pStkLogicInst;
}

void STKLogic::DestroyInst()
{
    STK_LOG_START();
    if (m_pStkLogicInst) {
        delete m_pStkLogicInst;
        m_pStkLogicInst = 0;
    }
    STK_LOG_END();
}

void STKLogic::RegisterSTKCB()
{
    STK_LOG_START();
    STK_LOG("MDSV_STK_RegisterCallBack called %s: %s: %d: ", STK_LOG_PATH, __func__, REGISTER_STK_LINE);
    if (MDSV_STK_RegisterCallBack(OnSTKEventCB) != 0)
        STK_LOG_LINE("MDSV_STK_RegisterCallBack failed %s: %s: %s: ");

    STK_LOG("MDSV_DevSrv_RegisterDevMgrCallback called %s: %s: %d: ", STK_LOG_PATH, __func__, REGISTER_DEVICE_LINE);
    if (MDSV_DevSrv_RegisterDevMgrCallback(OnDeviceEventCB) != 0)
        STK_LOG("MDSV_DevSrv_RegisterDevMgrCallback failed %s: %s: %d: ", STK_LOG_PATH, __func__,
                REGISTER_DEVICE_FAILED_LINE);
    STK_LOG_END();
}

void STKLogic::UnresgisterSTKCB()
{
    STK_LOG_START();
    if (MDSV_STK_UnRegisterCallBack(OnSTKEventCB) != 0)
        STK_LOG_LINE("MDSV_STK_UnRegisterCallBack failed %s: %s: %s: ");
    if (MDSV_DevSrv_UnRegisterDevMgrCallback(OnDeviceEventCB) != 0)
        STK_LOG_LINE("MDSV_DevSrv_UnRegisterDevMgrCallback failed %s: %s: %s: ");
    STK_LOG_END();
}

int STKLogic::OnSTKEventCB(int /*nEvent*/, void *pNotifyData)
{
    STK_LOG_START();
    m_pStkLogicInst->m_bRespondence = true;
    if (!pNotifyData) {
        STK_LOG_LINE("pNotifyData is null %s: %s: %s: ");
        return 0;
    }

    const MDSVStkNotifyData notify = *static_cast<const MDSVStkNotifyData *>(pNotifyData);
    m_pStkLogicInst->m_sCmdId = notify.sCmdId;
    if (notify.nTimeOut == 1) {
        STK_LOG_LINE("STK TimeOut %s: %s: %s: ");
        emit m_pStkLogicInst->CloseInputDlg();
        emit m_pStkLogicInst->STKSetupMenu();
        return 0;
    }

    m_pStkLogicInst->stkEventSwitchCase(notify.enStkType);
    // Deliberately read right after the emit: on the user-interface thread this is the handler's verdict on this very
    // command, on any other thread the one stored last. The handler may have run a dialog in which everything ended.
    if (m_pStkLogicInst && !m_pStkLogicInst->m_bRet) {
        STK_LOG_LINE("m_bRet is false %s: %s: %s: ");
        if (MDSV_STKSrv_SendNoDataResponse(m_pStkLogicInst->m_sCmdId, notify.enStkType, STK_UI_RESPONSE_NOT_HANDLED) !=
            0)
            STK_LOG_LINE("MDSV_STKSrv_SendNoDataResponse Failed %s: %s: %s: ");
        emit m_pStkLogicInst->ShowMainMenu();
    }
    STK_LOG_END();
    return 0;
}

void STKLogic::stkEventSwitchCase(_MDSV_EN_STKTYPE nType)
{
    static const struct {
        _MDSV_EN_STKTYPE nType;
        void (STKLogic::*pSignal)();
    } SIGNAL_OF_TYPE[] = {
        {MDSV_STKTYPE_SETUP_MENU, &STKLogic::STKSetupMenu},
        {MDSV_STKTYPE_DISPLAY_TEXT, &STKLogic::STKDisplayText},
        {MDSV_STKTYPE_GET_INKEY, &STKLogic::STKGetInkey},
        {MDSV_STKTYPE_GET_INPUT, &STKLogic::STKGetInput},
        {MDSV_STKTYPE_SETUP_CALL, &STKLogic::STKSetupCall},
        {MDSV_STKTYPE_PLAY_TONE, &STKLogic::STKPlayTone},
        {MDSV_STKTYPE_SELECT_ITEM, &STKLogic::STKSelItem},
        {MDSV_STKTYPE_REFRESH, &STKLogic::STKRefresh},
        {MDSV_STKTYPE_SEND_SS, &STKLogic::STKSendSMS}, // deliberately the SMS signal: both are only acknowledged
        {MDSV_STKTYPE_SEND_SMS, &STKLogic::STKSendSMS},
        {MDSV_STKTYPE_SEND_USSD, &STKLogic::STKSendUSSD},
        {MDSV_STKTYPE_LAUNCH_BROWSER, &STKLogic::STKLaunchBrowser},
        {MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, &STKLogic::STKSetupIdleModeText},
        {MDSV_STKTYPE_END_SESSION, &STKLogic::STKEndSession},
    };

    STK_LOG_START();
    STK_LOG_VALUE("enStkType value is %d,  %s: %s: %s: ", static_cast<int>(nType));
    for (const auto &row : SIGNAL_OF_TYPE) {
        if (row.nType == nType) {
            (m_pStkLogicInst->*row.pSignal)();
            return;
        }
    }
}

int STKLogic::OnDeviceEventCB(int nEvent, void * /*pData*/)
{
    STK_LOG_START();
    if (nEvent == MDSV_DEVICE_AVAILABLE)
        emit m_pStkLogicInst->DevAvailable(true);
    else if (nEvent == MDSV_DEVICE_REMOVED || nEvent == MDSV_DEVICE_UNAVAILABLE)
        emit m_pStkLogicInst->DevAvailable(false);
    STK_LOG_END();
    return 1;
}

void STKLogic::UpdateCBReturnVal(bool bRet)
{
    STK_LOG_START();
    m_bRet = bRet;
    STK_LOG_VALUE("Updated vale is %d, %s: %s: %s: ", bRet);
    STK_LOG_END();
}

bool STKLogic::GetResponseVar()
{
    STK_LOG_START();
    const bool bRespondence = m_bRespondence;
    STK_LOG_VALUE("Start of with m_bRespondence  value= %d, %s: %s: %s: ", bRespondence);
    STK_LOG_END();
    return bRespondence;
}

void STKLogic::SetResponseVar(bool bRespondence)
{
    STK_LOG_START();
    m_bRespondence = bRespondence;
    STK_LOG_END();
}

bool STKLogic::GetMainMenu(StkMenuItems *pMenu)
{
    STK_LOG_START();
    pMenu->pItemList->clear();
    pMenu->strTitle = QString();

    STK_LOG_LINE("Calling  MDSV_STKSrv_GetMainMenu()%s: %s: %s: ");
    MDSVStkMainMenu menu;
    const int status = MDSV_STKSrv_GetMainMenu(&menu);
    if (!logOutcome(__func__, status, "MDSV_STKSrv_GetMainMenu() Returned = %li: %s: %s: %s: ", 0))
        return false;
    copyMenu(pMenu, &menu, MDSV_STKSrv_ReleaseMenus);

    STK_LOG_LINE("Calling  MDSV_STKSrv_ReleaseMenus()%s: %s: %s: ");
    if (MDSV_STKSrv_ReleaseMenus(&menu) != 0)
        STK_LOG_LINE("MDSV_STKSrv_ReleaseMenus() failed : %s: %s: %s: ");
    return true;
}

bool STKLogic::GetSubMenu(StkMenuItems *pMenu)
{
    STK_LOG_START();
    pMenu->strTitle = QString();
    pMenu->pItemList->clear();

    STK_LOG_LINE("Calling  MDSV_STKSrv_GetSubMenu()%s: %s: %s: ");
    MDSVStkSubMenu menu;
    const int status = MDSV_STKSrv_GetSubMenu(m_sCmdId, &menu);
    if (!logOutcome(__func__, status, "MDSV_STKSrv_GetSubMenu() Returned = %li: %s: %s: %s: ", 0))
        return false;
    copyMenu(pMenu, &menu, MDSV_STKSrv_ReleaseSubMenus);

    STK_LOG_LINE("Calling  MDSV_STKSrv_ReleaseSubMenus()%s: %s: %s: ");
    if (MDSV_STKSrv_ReleaseSubMenus(&menu) != 0)
        STK_LOG_LINE("MDSV_STKSrv_ReleaseSubMenus() failed : %s: %s: %s: ");
    return true;
}

bool STKLogic::SelectMainMenuItem(int nItemId)
{
    STK_LOG_START();
    STK_LOG_VALUE("Calling  MDSV_STKSrv_SelectMenuItem(%d) %s: %s: %s: ", nItemId);
    const int status = MDSV_STKSrv_SelectMenuItem(1, static_cast<qint16>(nItemId));
    return logOutcome(__func__, status, "MDSV_STKSrv_SelectMenuItem() returned %li: %s: %s: %s: ",
                      "MDSV_STKSrv_SelectMenuItem() success : %s: %s: %s: ");
}

bool STKLogic::SelectSubMenuItem(QString strAction, int nItemId)
{
    STK_LOG_START();
    STK_LOG_VALUE("Calling  MDSV_STKSrv_SelectSubMenuItem(%d) %s: %s: %s: ", nItemId);
    const int status =
        MDSV_STKSrv_SelectSubMenuItem(m_sCmdId, subMenuActionCode(strAction), static_cast<qint16>(nItemId));
    return logOutcome(__func__, status, "MDSV_STKSrv_SelectSubMenuItem() returned %li: %s: %s: %s: ",
                      "MDSV_STKSrv_SelectSubMenuItem() success : %s: %s: %s: ");
}

bool STKLogic::GetInputRequest(StkInKeyRequest *pRequest)
{
    STK_LOG_START();
    STK_LOG_LINE("Calling MDSV_STKSrv_GetInputRequest(): %s: %s: %s: ");
    MDSVStkInputData data;
    const int status = MDSV_STKSrv_GetInputRequest(m_sCmdId, &data);
    if (!logOutcome(__func__, status,
                    "MDSV_STKSrv_GetInputRequest() returned %li: %s: %s: %s: ", "SDK success %s: %s: %s: "))
        return false;
    setIfBetween(&pRequest->nEcho, data.nEcho, 0, 1);
    setIfBetween(&pRequest->nInputType, data.nInputType, 0, 3);
    setIfBetween(&pRequest->nOption, data.nOption, 0, 1);
    pRequest->nMaxLen = data.sMaxLen;
    pRequest->nMinLen = data.sMinLen;
    pRequest->strDefaultText = textOf(data.usDefaultText);
    pRequest->strPrompt = textOf(data.usPrompt);
    return true;
}

bool STKLogic::GetInKeyRquest(StkInKeyRequest *pRequest)
{
    STK_LOG_START();
    STK_LOG_LINE("Calling MDSV_STKSrv_GetInKeyRequest(): %s: %s: %s: ");
    MDSVStkInKeyData data;
    const int status = MDSV_STKSrv_GetInKeyRequest(m_sCmdId, &data);
    if (!logOutcome(__func__, status,
                    "MDSV_STKSrv_GetInKeyRequest() returned %li: %s: %s: %s: ", "SDK success %s: %s: %s: "))
        return false;
    setIfBetween(&pRequest->nInputType, data.nInputType, 0, 3);
    setIfBetween(&pRequest->nOption, data.nOption, 0, 1);
    pRequest->nDuration = data.usDuration;
    pRequest->strPrompt = textOf(data.usPrompt);
    return true;
}

bool STKLogic::CallStkAnswerInput(QString strAction, QString strAnswer)
{
    STK_LOG_START();
    STK_LOG_VALUE("Calling MDSV_STKSrv_AnswerInput(%s): %s: %s: %s: ", strAnswer.toUtf8().constData());
    const int status = MDSV_STKSrv_AnswerInput(m_sCmdId, confirmedFlag(strAction), unitsOf(strAnswer));
    // Deliberately the words of GET INKEY in the returned line: the two share it.
    return logOutcome(__func__, status, "MDSV_STKSrv_AnswerInKey() returned %li: %s: %s: %s: ",
                      "MDSV_STKSrv_AnswerInput() success: %s: %s: %s: ");
}

bool STKLogic::CallStkAnswerInKey(QString strAction, QString strAnswer)
{
    STK_LOG_START();
    STK_LOG_VALUE("Calling MDSV_STKSrv_AnswerInKey(%s): %s: %s: %s: ", strAnswer.toUtf8().constData());
    const int status = MDSV_STKSrv_AnswerInKey(m_sCmdId, confirmedFlag(strAction), unitsOf(strAnswer));
    return logOutcome(__func__, status, "MDSV_STKSrv_AnswerInKey() returned %li: %s: %s: %s: ",
                      "MDSV_STKSrv_AnswerInKey() success: %s: %s: %s: ");
}

bool STKLogic::GetPromptText(QString *pText, QString *pClearMode, int *pDuration)
{
    STK_LOG_START();
    STK_LOG_LINE("Calling  MDSV_STKSrv_GetPromptText() %s: %s: %s: ");
    MDSVStkPromptData data;
    const int status = MDSV_STKSrv_GetPromptText(m_sCmdId, &data);
    if (!logOutcome(__func__, status, "MDSV_STKSrv_GetPromptText() returned %li: %s: %s: %s: ", 0))
        return false;
    *pText = textOf(data.usText);
    *pClearMode = data.nClearMode == 0 ? QString::fromLatin1("STK_CLR_MODE_AUTO") : QString::fromLatin1("");
    *pDuration = data.usDuration;
    return true;
}

bool STKLogic::GetPlayTone(MDSVPlayToneRequest *pRequest)
{
    STK_LOG_START();
    STK_LOG_LINE("Calling MDSV_STKSrv_GetPlayTone(): %s: %s: %s: ");
    MDSVStkToneData data;
    std::memset(&data, 0, sizeof(data));
    const int status = MDSV_STKSrv_GetPlayTone(m_sCmdId, &data);
    if (!logOutcome(__func__, status,
                    "MDSV_STKSrv_GetPlayTone() returned %li: %s: %s: %s: ", "SDK success %s: %s: %s: "))
        return false;
    pRequest->nTone = data.nTone;
    pRequest->nDuration = data.usDuration;
    pRequest->strText = textOf(data.usText);
    return true;
}

bool STKLogic::GetLaunchBrowser(MDSVLaunchBrowser *pRequest)
{
    STK_LOG_START();
    STK_LOG_LINE("Calling MDSV_STKSrv_GetLaunchBrowser(): %s: %s: %s: ");
    MDSVStkBrowserData data;
    std::memset(&data, 0, sizeof(data));
    const int status = MDSV_STKSrv_GetLaunchBrowser(m_sCmdId, &data);
    if (!logOutcome(__func__, status,
                    "MDSV_STKSrv_GetLaunchBrowser() returned %li: %s: %s: %s: ", "SDK success %s: %s: %s: "))
        return false;
    if (data.nMode == 0 || data.nMode == 2 || data.nMode == 3)
        pRequest->nMode = data.nMode;
    pRequest->strUrl = textOf(data.usUrl);
    return true;
}

bool STKLogic::GetIdleModePrompt(QString *pText)
{
    STK_LOG_START();
    STK_LOG_LINE("Calling MDSV_STKSrv_GetIdleModePrompt(): %s: %s: %s: ");
    uint16_t usText[MDSV_STK_TEXT_UNITS];
    const int status = MDSV_STKSrv_GetIdleModePrompt(m_sCmdId, usText);
    if (!logOutcome(__func__, status,
                    "MDSV_STKSrv_GetIdleModePrompt() returned %li: %s: %s: %s: ", "SDK success %s: %s: %s: "))
        return false;
    *pText = textOf(usText);
    return true;
}

bool STKLogic::GetRefreshInfo()
{
    STK_LOG_START();
    STK_LOG_LINE("Calling  MDSV_STKSrv_GetRefreshInfo() %s: %s: %s: ");
    unsigned char ucBuffer[MDSV_STK_REFRESH_BYTES];
    const int status = MDSV_STKSrv_GetRefreshInfo(m_sCmdId, ucBuffer);
    return logOutcome(__func__, status, "MDSV_STKSrv_GetRefreshInfo() returned %li: %s: %s: %s: ",
                      "MDSV_STKSrv_GetRefreshInfo() success: %s: %s: %s: ");
}

bool STKLogic::SendNoDataResponse(_STK_UI_EN_STKTYPE enType, _STK_UI_EN_TERMINALRESPONSE enResult)
{
    STK_LOG_START();
    STK_LOG_LINE("Calling MDSV_STKSrv_SendNoDataResponse(): %s: %s: %s: ");
    const int status = MDSV_STKSrv_SendNoDataResponse(m_sCmdId, enType, enResult);
    return logOutcome(__func__, status, "MDSV_STKSrv_SendNoDataResponse() returned %li: %s: %s: %s: ",
                      "MDSV return success : %s: %s: %s: ");
}
