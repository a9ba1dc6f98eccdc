// STKLogic: events in, requests out.
#include "Scenes.h"

#include "support/Peek.h"
#include "support/SdkDouble.h"
#include "support/Trace.h"

#include "STKPlugin/STKLogic.h"

using support::peek;

namespace
{
const int CMD_ID = 291;
const int FAILED = 7;
const int FAILED_BELOW_ZERO = -3;

struct Peek : STKLogic {
    using STKLogic::m_bRet;
    using STKLogic::m_pStkLogicInst;
    using STKLogic::m_sCmdId;
};

/// The instance on a double of the device-service library, with command 291 present.
struct Stage {
    Stage() : trace(log), logic(STKLogic::CreateInstance())
    {
        sdk.setMainMenu("Operator", {{1, "Balance"}, {-7, "Help"}});
        sdk.setSubMenu("News", {{11, "Sport"}});
        sdk.setInput("Name?", 2, 1, 3, 9, 1, "Ann");
        sdk.setInKey("Key?", 0, 0, 5);
        sdk.setPrompt("Hello", 0, 4);
        sdk.setTone(3, 2, "Ring");
        sdk.setBrowser(2, "http://localhost/");
        sdk.setIdleText("Idle");
        peek(logic, &Peek::m_sCmdId) = CMD_ID;
        trace.name(reinterpret_cast<const void *>(&STKLogic::OnSTKEventCB), "OnSTKEventCB");
        trace.name(reinterpret_cast<const void *>(&STKLogic::OnDeviceEventCB), "OnDeviceEventCB");
        trace.follow(logic);
        trace.clear();
    }

    void answer(const QByteArray &function, int status) { sdk.answer("MDSV_" + function, status); }

    QStringList end()
    {
        STKLogic::DestroyInst();
        return sdk.faults() + log.warnings();
    }

    support::SdkDouble sdk;
    support::LogCapture log;
    support::Trace trace;
    STKLogic *logic;
};

using Scenes = QList<Scene<Stage>>;

void addLife(Scenes *scenes)
{
    *scenes << Scene<Stage>{"CreateInstance, the first call",
                            [](Stage &s) {
                                STKLogic::DestroyInst();
                                s.trace.clear();
                                STKLogic::CreateInstance();
                                return QVariant();
                            }}
            << Scene<Stage>{"CreateInstance, another call",
                            [](Stage &s) { return STKLogic::CreateInstance() == s.logic ? "the same" : "another"; }}
            << Scene<Stage>{"DestroyInst",
                            [](Stage &) {
                                STKLogic::DestroyInst();
                                return Peek::m_pStkLogicInst ? "there" : "gone";
                            }}
            << Scene<Stage>{"DestroyInst, nothing there", [](Stage &s) {
                                STKLogic::DestroyInst();
                                s.trace.clear();
                                STKLogic::DestroyInst();
                                return QVariant();
                            }};
}

/// An operation that makes the two calls, each of which fails or does not.
void addPair(Scenes *scenes, const QString &name, const char *first, const char *second, void (STKLogic::*run)())
{
    const QByteArray calls[] = {first, second};
    const char *const variants[] = {"", ", the STK callback refused", ", the device callback refused",
                                    ", both refused"};
    for (int failing = 0; failing < 4; ++failing) {
        *scenes << Scene<Stage>{name + variants[failing], [=](Stage &s) {
                                    if (run == &STKLogic::UnresgisterSTKCB)
                                        s.logic->RegisterSTKCB();
                                    for (int i = 0; i < 2; ++i)
                                        s.answer(calls[i], failing & (1 << i) ? FAILED : 0);
                                    s.trace.clear();
                                    (s.logic->*run)();
                                    return QVariant();
                                }};
    }
}

/// The callback is called as the library does.
QVariant raise(int type, int timeOut = 0)
{
    MDSVStkNotifyData notify = {_MDSV_EN_STKTYPE(type), 77, timeOut};
    return STKLogic::OnSTKEventCB(4711, &notify);
}

void addEvents(Scenes *scenes)
{
    for (int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 98, 99, 100, -1})
        *scenes << Scene<Stage>{QString("OnSTKEventCB, type %1").arg(type), [=](Stage &) { return raise(type); }};
    *scenes << Scene<Stage>{"OnSTKEventCB, no record", [](Stage &) { return STKLogic::OnSTKEventCB(4711, nullptr); }}
            << Scene<Stage>{"OnSTKEventCB, time-out", [](Stage &) { return raise(6, 1); }}
            << Scene<Stage>{"OnSTKEventCB, time-out flag 2", [](Stage &) { return raise(6, 2); }}
            << Scene<Stage>{"OnSTKEventCB, not handled",
                            [](Stage &s) {
                                peek(s.logic, &Peek::m_bRet) = false;
                                return raise(7);
                            }}
            << Scene<Stage>{"OnSTKEventCB, not handled, type 100",
                            [](Stage &s) {
                                peek(s.logic, &Peek::m_bRet) = false;
                                return raise(100);
                            }}
            << Scene<Stage>{"OnSTKEventCB, not handled, the response refused",
                            [](Stage &s) {
                                peek(s.logic, &Peek::m_bRet) = false;
                                s.answer("STKSrv_SendNoDataResponse", FAILED);
                                return raise(7);
                            }}
            << Scene<Stage>{"OnSTKEventCB, time-out after a command that was not handled", [](Stage &s) {
                                peek(s.logic, &Peek::m_bRet) = false;
                                return raise(7, 1);
                            }};
    for (int code : {6600, 6601, 6602, 6603, 6604})
        *scenes << Scene<Stage>{QString("OnDeviceEventCB, code %1").arg(code),
                                [=](Stage &) { return STKLogic::OnDeviceEventCB(code, nullptr); }};
}

void addFlags(Scenes *scenes)
{
    for (bool value : {false, true}) {
        const QString suffix = value ? "true" : "false";
        *scenes << Scene<Stage>{"UpdateCBReturnVal, " + suffix,
                                [=](Stage &s) {
                                    s.logic->UpdateCBReturnVal(value);
                                    return QVariant();
                                }}
                << Scene<Stage>{"SetResponseVar, " + suffix,
                                [=](Stage &s) {
                                    s.logic->SetResponseVar(value);
                                    return QVariant();
                                }}
                << Scene<Stage>{"GetResponseVar, " + suffix, [=](Stage &s) {
                                    s.logic->SetResponseVar(value);
                                    s.trace.clear();
                                    return s.logic->GetResponseVar();
                                }};
    }
}

QVariant fetch(Stage &s, bool (STKLogic::*get)(StkMenuItems *))
{
    QList<StkItemClass> items = {{5, "stale"}};
    StkMenuItems menu = {"stale", &items};
    QString text = (s.logic->*get)(&menu) ? "true" : "false";
    text += menu.strTitle.isNull() ? QString(", no title") : ", " + menu.strTitle;
    for (const StkItemClass &item : items)
        text += QString(", %1 %2").arg(item.nItemId).arg(item.strItemText);
    return text;
}

void addMenu(Scenes *scenes, const QString &name, const char *fetching, const char *releasing,
             bool (STKLogic::*get)(StkMenuItems *))
{
    *scenes << Scene<Stage>{name, [=](Stage &s) { return fetch(s, get); }}
            << Scene<Stage>{name + ", no items",
                            [=](Stage &s) {
                                s.sdk.setMainMenu("Operator", {});
                                s.sdk.setSubMenu("News", {});
                                return fetch(s, get);
                            }}
            << Scene<Stage>{name + ", count below zero",
                            [=](Stage &s) {
                                s.sdk.setMainMenuCount(-1);
                                s.sdk.setSubMenuCount(-1);
                                return fetch(s, get);
                            }}
            << Scene<Stage>{name + ", refused",
                            [=](Stage &s) {
                                s.answer(fetching, FAILED);
                                return fetch(s, get);
                            }}
            << Scene<Stage>{name + ", release refused", [=](Stage &s) {
                                s.answer(releasing, FAILED);
                                return fetch(s, get);
                            }};
}

/// A request that makes one call: taken, refused, refused with a status below zero.
void addRequest(Scenes *scenes, const QString &name, const QByteArray &call,
                const std::function<QVariant(Stage &)> &run)
{
    const QList<QPair<const char *, int>> variants = {
        {"", 0}, {", refused", FAILED}, {", refused with a status below zero", FAILED_BELOW_ZERO}};
    for (const auto &variant : variants) {
        const int status = variant.second;
        *scenes << Scene<Stage>{name + variant.first, [=](Stage &s) {
                                    s.answer(call, status);
                                    return run(s);
                                }};
    }
}

QString printed(const StkInKeyRequest &request)
{
    return QString("prompt %1, type %2, option %3, duration %4, echo %5, %6 to %7, default %8")
        .arg(request.strPrompt)
        .arg(request.nInputType)
        .arg(request.nOption)
        .arg(request.nDuration)
        .arg(request.nEcho)
        .arg(request.nMinLen)
        .arg(request.nMaxLen)
        .arg(request.strDefaultText);
}

QVariant ask(Stage &s, bool (STKLogic::*get)(StkInKeyRequest *))
{
    StkInKeyRequest request = {"stale", 91, 92, 93, 94, 95, 96, "stale"};
    const QString answer = (s.logic->*get)(&request) ? "true, " : "false, ";
    return answer + printed(request);
}

void addSelections(Scenes *scenes)
{
    addRequest(scenes, "SelectMainMenuItem", "STKSrv_SelectMenuItem",
               [](Stage &s) { return s.logic->SelectMainMenuItem(12); });
    *scenes << Scene<Stage>{"SelectMainMenuItem, more than 16 bits",
                            [](Stage &s) { return s.logic->SelectMainMenuItem(0x18001); }};
    for (const char *action :
         {"SUBMENU_ACTION_SELECT_ITEM", "SUBMENU_ACTION_RETURN_BACK_ITEM", "submenu_action_select_item"})
        addRequest(scenes, QString("SelectSubMenuItem, ") + action, "STKSrv_SelectSubMenuItem",
                   [=](Stage &s) { return s.logic->SelectSubMenuItem(action, 34); });
}

void addAnswers(Scenes *scenes)
{
    const QList<QPair<const char *, const char *>> answers = {
        {"STK_TYPE_OK", "4711"}, {"STK_TYPE_OK", ""}, {"STK_TYPE_CANCEL", ""}, {"stk_type_ok", "x"}};
    for (const auto &answer : answers) {
        const QString words = QString(", %1 \"%2\"").arg(answer.first, answer.second);
        addRequest(scenes, "CallStkAnswerInput" + words, "STKSrv_AnswerInput",
                   [=](Stage &s) { return s.logic->CallStkAnswerInput(answer.first, answer.second); });
        addRequest(scenes, "CallStkAnswerInKey" + words, "STKSrv_AnswerInKey",
                   [=](Stage &s) { return s.logic->CallStkAnswerInKey(answer.first, answer.second); });
    }
}

void addRequests(Scenes *scenes)
{
    addRequest(scenes, "GetInputRequest", "STKSrv_GetInputRequest",
               [](Stage &s) { return ask(s, &STKLogic::GetInputRequest); });
    addRequest(scenes, "GetInKeyRquest", "STKSrv_GetInKeyRequest",
               [](Stage &s) { return ask(s, &STKLogic::GetInKeyRquest); });
    addRequest(scenes, "GetPromptText", "STKSrv_GetPromptText", [](Stage &s) {
        QString text = "stale", mode = "stale";
        int duration = 99;
        const QString answer = s.logic->GetPromptText(&text, &mode, &duration) ? "true" : "false";
        return QString("%1, %2, %3, %4").arg(answer, text, mode).arg(duration);
    });
    addRequest(scenes, "GetPlayTone", "STKSrv_GetPlayTone", [](Stage &s) {
        MDSVPlayToneRequest request = {91, 92, "stale"};
        const QString answer = s.logic->GetPlayTone(&request) ? "true" : "false";
        return QString("%1, tone %2, %3 s, %4")
            .arg(answer)
            .arg(request.nTone)
            .arg(request.nDuration)
            .arg(request.strText);
    });
    addRequest(scenes, "GetLaunchBrowser", "STKSrv_GetLaunchBrowser", [](Stage &s) {
        MDSVLaunchBrowser request = {91, "stale"};
        const QString answer = s.logic->GetLaunchBrowser(&request) ? "true" : "false";
        return QString("%1, mode %2, %3").arg(answer).arg(request.nMode).arg(request.strUrl);
    });
    addRequest(scenes, "GetIdleModePrompt", "STKSrv_GetIdleModePrompt", [](Stage &s) {
        QString text = "stale";
        const QString answer = s.logic->GetIdleModePrompt(&text) ? "true, " : "false, ";
        return answer + text;
    });
    addRequest(scenes, "GetRefreshInfo", "STKSrv_GetRefreshInfo", [](Stage &s) { return s.logic->GetRefreshInfo(); });
    addRequest(scenes, "SendNoDataResponse", "STKSrv_SendNoDataResponse", [](Stage &s) {
        return s.logic->SendNoDataResponse(STK_UI_STKTYPE_SETUP_CALL, STK_UI_RESPONSE_NO_CALL);
    });
}
} // namespace

QStringList logicTraces()
{
    Scenes scenes;
    addLife(&scenes);
    addPair(&scenes, "RegisterSTKCB", "STK_RegisterCallBack", "DevSrv_RegisterDevMgrCallback",
            &STKLogic::RegisterSTKCB);
    addPair(&scenes, "UnresgisterSTKCB", "STK_UnRegisterCallBack", "DevSrv_UnRegisterDevMgrCallback",
            &STKLogic::UnresgisterSTKCB);
    addEvents(&scenes);
    addFlags(&scenes);
    addMenu(&scenes, "GetMainMenu", "STKSrv_GetMainMenu", "STKSrv_ReleaseMenus", &STKLogic::GetMainMenu);
    addMenu(&scenes, "GetSubMenu", "STKSrv_GetSubMenu", "STKSrv_ReleaseSubMenus", &STKLogic::GetSubMenu);
    addSelections(&scenes);
    addAnswers(&scenes);
    addRequests(&scenes);
    return played(scenes);
}
