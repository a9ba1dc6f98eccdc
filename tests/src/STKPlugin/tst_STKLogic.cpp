#include "support/FakeClock.h"
#include "support/LogCapture.h"
#include "support/Peek.h"
#include "support/SdkDouble.h"
#include "support/VirtualSlot.h"

#include "STKPlugin/STKLogic.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>
#include <QtCore/QScopedPointer>
#include <QtCore/QThread>
#include <QtTest/QtTest>

#include <climits>
#include <type_traits>

using support::LogCapture;
using support::MenuItem;
using support::peek;
using support::SdkDouble;
namespace journal = support::journal;

namespace
{

struct Peek : STKLogic {
    using STKLogic::m_bRespondence;
    using STKLogic::m_bRet;
    using STKLogic::m_pStkLogicInst;
    using STKLogic::m_sCmdId;
};

const char *const PATH = "../../src/STKPlugin/STKLogic";
const int CMD_ID = 291;

/// A log line that ends in path, function and time; `head` has its own last blank.
QString line(const QString &head, const QString &function)
{
    return head + QString("%1: %2: <time>: ").arg(PATH, function);
}

QString startOf(const QString &function)
{
    return line("Start of ", function);
}

QString endOf(const QString &function)
{
    return line("End of ", function);
}

/// The text with ids as "1 One|-1 Two".
QString printed(const QList<StkItemClass> &items)
{
    QStringList result;
    for (const StkItemClass &item : items)
        result << QString("%1 %2").arg(item.nItemId).arg(item.strItemText);
    return result.join("|");
}

/// Every request about a command that makes exactly one library call and shares the common shape.
struct Request {
    const char *function;
    const char *library;
    QString call;     ///< the library call with its arguments
    QString calling;  ///< head of the calling line
    QString returned; ///< head of the returned line, %1 the status
    QString success;  ///< head of the success line, null for none
    bool (*run)(STKLogic *logic);
};

const QList<Request> &requests()
{
    static const QList<Request> ALL = {
        {"SelectMainMenuItem", "MDSV_STKSrv_SelectMenuItem", "MDSV_STKSrv_SelectMenuItem(1, 12)",
         "Calling  MDSV_STKSrv_SelectMenuItem(12) ", "MDSV_STKSrv_SelectMenuItem() returned %1: ",
         "MDSV_STKSrv_SelectMenuItem() success : ", [](STKLogic *logic) { return logic->SelectMainMenuItem(12); }},
        {"SelectSubMenuItem", "MDSV_STKSrv_SelectSubMenuItem", "MDSV_STKSrv_SelectSubMenuItem(291, 1, 34)",
         "Calling  MDSV_STKSrv_SelectSubMenuItem(34) ",
         "MDSV_STKSrv_SelectSubMenuItem() returned %1: ", "MDSV_STKSrv_SelectSubMenuItem() success : ",
         [](STKLogic *logic) { return logic->SelectSubMenuItem("SUBMENU_ACTION_SELECT_ITEM", 34); }},
        {"GetInputRequest", "MDSV_STKSrv_GetInputRequest", "MDSV_STKSrv_GetInputRequest(291)",
         "Calling MDSV_STKSrv_GetInputRequest(): ", "MDSV_STKSrv_GetInputRequest() returned %1: ", "SDK success ",
         [](STKLogic *logic) {
             StkInKeyRequest request = {};
             return logic->GetInputRequest(&request);
         }},
        {"GetInKeyRquest", "MDSV_STKSrv_GetInKeyRequest", "MDSV_STKSrv_GetInKeyRequest(291)",
         "Calling MDSV_STKSrv_GetInKeyRequest(): ", "MDSV_STKSrv_GetInKeyRequest() returned %1: ", "SDK success ",
         [](STKLogic *logic) {
             StkInKeyRequest request = {};
             return logic->GetInKeyRquest(&request);
         }},
        {"CallStkAnswerInput", "MDSV_STKSrv_AnswerInput", "MDSV_STKSrv_AnswerInput(291, 1, \"4711\")",
         "Calling MDSV_STKSrv_AnswerInput(4711): ", "MDSV_STKSrv_AnswerInKey() returned %1: ",
         "MDSV_STKSrv_AnswerInput() success: ",
         [](STKLogic *logic) { return logic->CallStkAnswerInput("STK_TYPE_OK", "4711"); }},
        {"CallStkAnswerInKey", "MDSV_STKSrv_AnswerInKey", "MDSV_STKSrv_AnswerInKey(291, 1, \"x\")",
         "Calling MDSV_STKSrv_AnswerInKey(x): ", "MDSV_STKSrv_AnswerInKey() returned %1: ",
         "MDSV_STKSrv_AnswerInKey() success: ",
         [](STKLogic *logic) { return logic->CallStkAnswerInKey("STK_TYPE_OK", "x"); }},
        {"GetPromptText", "MDSV_STKSrv_GetPromptText", "MDSV_STKSrv_GetPromptText(291)",
         "Calling  MDSV_STKSrv_GetPromptText() ", "MDSV_STKSrv_GetPromptText() returned %1: ", QString(),
         [](STKLogic *logic) {
             QString text, mode;
             int duration;
             return logic->GetPromptText(&text, &mode, &duration);
         }},
        {"GetPlayTone", "MDSV_STKSrv_GetPlayTone", "MDSV_STKSrv_GetPlayTone(291, true)",
         "Calling MDSV_STKSrv_GetPlayTone(): ", "MDSV_STKSrv_GetPlayTone() returned %1: ", "SDK success ",
         [](STKLogic *logic) {
             MDSVPlayToneRequest request = {};
             return logic->GetPlayTone(&request);
         }},
        {"GetLaunchBrowser", "MDSV_STKSrv_GetLaunchBrowser", "MDSV_STKSrv_GetLaunchBrowser(291, true)",
         "Calling MDSV_STKSrv_GetLaunchBrowser(): ", "MDSV_STKSrv_GetLaunchBrowser() returned %1: ", "SDK success ",
         [](STKLogic *logic) {
             MDSVLaunchBrowser request = {};
             return logic->GetLaunchBrowser(&request);
         }},
        {"GetIdleModePrompt", "MDSV_STKSrv_GetIdleModePrompt", "MDSV_STKSrv_GetIdleModePrompt(291)",
         "Calling MDSV_STKSrv_GetIdleModePrompt(): ", "MDSV_STKSrv_GetIdleModePrompt() returned %1: ", "SDK success ",
         [](STKLogic *logic) {
             QString text;
             return logic->GetIdleModePrompt(&text);
         }},
        {"GetRefreshInfo", "MDSV_STKSrv_GetRefreshInfo", "MDSV_STKSrv_GetRefreshInfo(291)",
         "Calling  MDSV_STKSrv_GetRefreshInfo() ", "MDSV_STKSrv_GetRefreshInfo() returned %1: ",
         "MDSV_STKSrv_GetRefreshInfo() success: ", [](STKLogic *logic) { return logic->GetRefreshInfo(); }},
        {"SendNoDataResponse", "MDSV_STKSrv_SendNoDataResponse", "MDSV_STKSrv_SendNoDataResponse(291, 4, 4)",
         "Calling MDSV_STKSrv_SendNoDataResponse(): ", "MDSV_STKSrv_SendNoDataResponse() returned %1: ",
         "MDSV return success : ",
         [](STKLogic *logic) { return logic->SendNoDataResponse(STK_UI_STKTYPE_SETUP_CALL, STK_UI_RESPONSE_NO_CALL); }},
    };
    return ALL;
}

/// Every place where a text comes out of a library record.
struct TextSource {
    const char *name;
    void (*script)(SdkDouble *sdk, const QString &text);
    QString (*fetch)(STKLogic *logic);
};

QString fetchMenu(bool (STKLogic::*get)(StkMenuItems *), STKLogic *logic, bool title)
{
    QList<StkItemClass> items;
    StkMenuItems menu = {QString(), &items};
    if (!(logic->*get)(&menu))
        return "failed";
    return title ? menu.strTitle : items.last().strItemText;
}

const QList<TextSource> &textSources()
{
    static const QList<TextSource> ALL = {
        {"main menu title",
         [](SdkDouble *sdk, const QString &text) {
             sdk->setMainMenu(text, {{1, "x"}});
         },
         [](STKLogic *logic) { return fetchMenu(&STKLogic::GetMainMenu, logic, true); }},
        {"main menu item",
         [](SdkDouble *sdk, const QString &text) {
             sdk->setMainMenu("t", {{1, "x"}, {2, text}});
         },
         [](STKLogic *logic) { return fetchMenu(&STKLogic::GetMainMenu, logic, false); }},
        {"sub-menu title",
         [](SdkDouble *sdk, const QString &text) {
             sdk->setSubMenu(text, {{1, "x"}});
         },
         [](STKLogic *logic) { return fetchMenu(&STKLogic::GetSubMenu, logic, true); }},
        {"sub-menu item",
         [](SdkDouble *sdk, const QString &text) {
             sdk->setSubMenu("t", {{1, "x"}, {2, text}});
         },
         [](STKLogic *logic) { return fetchMenu(&STKLogic::GetSubMenu, logic, false); }},
        {"input prompt", [](SdkDouble *sdk, const QString &text) { sdk->setInput(text, 0, 1, 1, 9, 0, "d"); },
         [](STKLogic *logic) {
             StkInKeyRequest request = {};
             return logic->GetInputRequest(&request) ? request.strPrompt : QString("failed");
         }},
        {"input default text", [](SdkDouble *sdk, const QString &text) { sdk->setInput("p", 0, 1, 1, 9, 0, text); },
         [](STKLogic *logic) {
             StkInKeyRequest request = {};
             return logic->GetInputRequest(&request) ? request.strDefaultText : QString("failed");
         }},
        {"inkey prompt", [](SdkDouble *sdk, const QString &text) { sdk->setInKey(text, 1, 1, 1); },
         [](STKLogic *logic) {
             StkInKeyRequest request = {};
             return logic->GetInKeyRquest(&request) ? request.strPrompt : QString("failed");
         }},
        {"display text", [](SdkDouble *sdk, const QString &text) { sdk->setPrompt(text, 1, 1); },
         [](STKLogic *logic) {
             QString text, mode;
             int duration = 0;
             return logic->GetPromptText(&text, &mode, &duration) ? text : QString("failed");
         }},
        {"tone text", [](SdkDouble *sdk, const QString &text) { sdk->setTone(1, 1, text); },
         [](STKLogic *logic) {
             MDSVPlayToneRequest request = {};
             return logic->GetPlayTone(&request) ? request.strText : QString("failed");
         }},
        {"browser URL", [](SdkDouble *sdk, const QString &text) { sdk->setBrowser(2, text); },
         [](STKLogic *logic) {
             MDSVLaunchBrowser request = {};
             return logic->GetLaunchBrowser(&request) ? request.strUrl : QString("failed");
         }},
        {"idle mode text", [](SdkDouble *sdk, const QString &text) { sdk->setIdleText(text); },
         [](STKLogic *logic) {
             QString text;
             return logic->GetIdleModePrompt(&text) ? text : QString("failed");
         }},
    };
    return ALL;
}

const struct {
    int type;
    const char *signal; ///< null: none
} TYPES[] = {
    {0, "STKSetupMenu"},
    {1, "STKDisplayText"},
    {2, "STKGetInkey"},
    {3, "STKGetInput"},
    {4, "STKSetupCall"},
    {5, "STKPlayTone"},
    {6, "STKSelItem"},
    {7, "STKRefresh"},
    {8, "STKSendSMS"},
    {9, "STKSendSMS"},
    {10, "STKSendUSSD"},
    {11, "STKLaunchBrowser"},
    {12, "STKSetupIdleModeText"},
    {99, "STKEndSession"},
    {13, nullptr},
    {50, nullptr},
    {98, nullptr},
    {100, nullptr},
    {-1, nullptr},
    {256, nullptr},
    {INT_MAX, nullptr},
    {INT_MIN, nullptr},
};

} // namespace

class tst_STKLogic : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void metaObjectHasTheSignalsInTheirOrder();
    void operationsHaveTheirSignaturesAndNoneIsVirtual();
    void membersStandInTheirOrder();
    void instanceLivesFromFirstCreateToFirstDestroy();
    void createAndDestroyAreLogged();
    void destructorLeavesTheCallbacksRegistered();

    void registersBothCallbacks_data();
    void registersBothCallbacks();
    void withdrawsBothCallbacks_data();
    void withdrawsBothCallbacks();

    void eventEmitsTheSignalOfItsType_data();
    void eventEmitsTheSignalOfItsType();
    void eventFromAnotherThreadIsQueuedToTheReceiver_data();
    void eventFromAnotherThreadIsQueuedToTheReceiver();
    void classificationEmitsAndLogs();
    void flagsAreSetBeforeTheSignal();
    void responseFlagIsSetEvenWithoutARecord();
    void commandIdentifierKeepsItsSign_data();
    void commandIdentifierKeepsItsSign();
    void timeOutClosesTheInputAndShowsTheMenu_data();
    void timeOutClosesTheInputAndShowsTheMenu();
    void onlyOneMeansTimeOut_data();
    void onlyOneMeansTimeOut();
    void unhandledCommandIsAnsweredAndTheMainMenuComesBack_data();
    void unhandledCommandIsAnsweredAndTheMainMenuComesBack();
    void verdictOfTheHandlerCountsAtOnceOnTheSameThread();
    void verdictStoredLastCountsOnAnotherThread();
    void answerNamesTheLatestIdentifierAndItsOwnType();
    void deviceEventTellsAvailability_data();
    void deviceEventTellsAvailability();
    void deviceEventFromAnotherThreadIsQueued();

    void handlerResultIsStoredAndLogged();
    void responseFlagIsStoredAndLogged();

    void requestCallsLogsAndAnswers_data();
    void requestCallsLogsAndAnswers();

    void mainMenuIsCopiedAndReleased();
    void subMenuIsCopiedAndReleased();
    void menuFetchAndReleaseAreLogged_data();
    void menuFetchAndReleaseAreLogged();
    void menuWithoutItemsIsReleased_data();
    void menuWithoutItemsIsReleased();
    void menuWithACountButNoItemsIsEmpty_data();
    void menuWithACountButNoItemsIsEmpty();
    void failedMenuFetchLeavesTheMenuEmpty_data();
    void failedMenuFetchLeavesTheMenuEmpty();
    void manyItemsKeepTheirOrder();

    void selectionSendsTheLow16Bits_data();
    void selectionSendsTheLow16Bits();
    void subMenuActionIsTranslated_data();
    void subMenuActionIsTranslated();
    void answerFlagIsSetByTheExactActionOnly_data();
    void answerFlagIsSetByTheExactActionOnly();
    void answerTextIsSentWhateverTheFlag_data();
    void answerTextIsSentWhateverTheFlag();
    void answerTextIsTheStringsOwnBuffer();
    void terminalResponsePassesAnyNumbers();

    void inputDataAreFilled();
    void inputValuesOutsideTheirRangeAreIgnored_data();
    void inputValuesOutsideTheirRangeAreIgnored();
    void inKeyDataAreFilled();
    void inKeyValuesOutsideTheirRangeAreIgnored_data();
    void inKeyValuesOutsideTheirRangeAreIgnored();
    void promptClearModeIsAutoForZeroOnly_data();
    void promptClearModeIsAutoForZeroOnly();
    void toneIsFilled();
    void browserModeIsTakenWhenDefined_data();
    void browserModeIsTakenWhenDefined();
    void failedGetterLeavesItsOutputUntouched();
    void requestsCarryTheLatestCommandIdentifier();

    void textEndsAtItsFirstZeroAndAtItsField_data();
    void textEndsAtItsFirstZeroAndAtItsField();

    void switchedOffLoggingFormatsNothing();

private:
    STKLogic *make();
    void connectAll(STKLogic *logic, QObject *receiver);
    void exerciseEverything();

    QScopedPointer<LogCapture> m_log;
    QScopedPointer<SdkDouble> m_sdk;
    QScopedPointer<QObject> m_receiver;
};

/// The instance with the callbacks registered, a command identifier and every signal noted in the journal as
/// "signal(…)".
STKLogic *tst_STKLogic::make()
{
    STKLogic *logic = STKLogic::CreateInstance();
    logic->RegisterSTKCB();
    peek(logic, &Peek::m_sCmdId) = qint16(CMD_ID);
    connectAll(logic, m_receiver.data());
    journal::clear();
    m_log->clear();
    return logic;
}

void tst_STKLogic::connectAll(STKLogic *logic, QObject *receiver)
{
#define NOTE(name) connect(logic, &STKLogic::name, receiver, [] { journal::add(#name); })
    connect(logic, &STKLogic::DevAvailable, receiver,
            [](bool available) { journal::add("DevAvailable", {available}); });
    NOTE(STKSetupMenu);
    NOTE(STKDisplayText);
    NOTE(STKGetInkey);
    NOTE(STKGetInput);
    NOTE(STKSetupCall);
    NOTE(STKPlayTone);
    NOTE(STKSelItem);
    NOTE(STKRefresh);
    NOTE(STKSendSS);
    NOTE(STKSendSMS);
    NOTE(STKSendUSSD);
    NOTE(STKLaunchBrowser);
    NOTE(STKSetupIdleModeText);
    NOTE(STKEndSession);
    NOTE(ShowMainMenu);
    NOTE(CloseInputDlg);
#undef NOTE
}

void tst_STKLogic::init()
{
    m_log.reset(new LogCapture);
    m_sdk.reset(new SdkDouble);
    m_receiver.reset(new QObject);
}

void tst_STKLogic::cleanup()
{
    STKLogic::DestroyInst();
    m_receiver.reset();
    const QStringList faults = m_sdk->faults();
    const QStringList warnings = m_log->warnings();
    m_sdk.reset();
    m_log.reset();
    QCOMPARE(faults, QStringList());
    QCOMPARE(warnings, QStringList());
    QVERIFY(!Peek::m_pStkLogicInst);
}

void tst_STKLogic::metaObjectHasTheSignalsInTheirOrder()
{
    const QStringList expected = {
        "DevAvailable(bool)", "STKSetupMenu()", "STKDisplayText()",   "STKGetInkey()",          "STKGetInput()",
        "STKSetupCall()",     "STKPlayTone()",  "STKSelItem()",       "STKRefresh()",           "STKSendSS()",
        "STKSendSMS()",       "STKSendUSSD()",  "STKLaunchBrowser()", "STKSetupIdleModeText()", "STKEndSession()",
        "ShowMainMenu()",     "CloseInputDlg()"};
    const QMetaObject &meta = STKLogic::staticMetaObject;
    QCOMPARE(meta.className(), "STKLogic");
    QCOMPARE(meta.superClass()->className(), "QObject");

    QStringList found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Signal);
        found << meta.method(i).methodSignature();
    }
    QCOMPARE(found, expected);
    QCOMPARE(meta.method(meta.methodOffset()).parameterNames(), QList<QByteArray>{"isAvaillable"});
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

void tst_STKLogic::operationsHaveTheirSignaturesAndNoneIsVirtual()
{
#define OPERATION(name, result, ...)                                                              \
    QVERIFY((std::is_same<decltype(&STKLogic::name), result (STKLogic::*)(__VA_ARGS__)>::value)); \
    QCOMPARE(support::slotOf(&STKLogic::name), -1)
    QVERIFY((std::is_same<decltype(&STKLogic::CreateInstance), STKLogic *(*)()>::value));
    QVERIFY((std::is_same<decltype(&STKLogic::DestroyInst), void (*)()>::value));
    QVERIFY((std::is_same<decltype(&STKLogic::OnSTKEventCB), MDSVSTKCALLBACK>::value));
    QVERIFY((std::is_same<decltype(&STKLogic::OnDeviceEventCB), MDSVDEVMGRCALLBACK>::value));
    OPERATION(RegisterSTKCB, void, );
    OPERATION(UnresgisterSTKCB, void, );
    OPERATION(stkEventSwitchCase, void, _MDSV_EN_STKTYPE);
    OPERATION(UpdateCBReturnVal, void, bool);
    OPERATION(GetResponseVar, bool, );
    OPERATION(SetResponseVar, void, bool);
    OPERATION(GetMainMenu, bool, StkMenuItems *);
    OPERATION(GetSubMenu, bool, StkMenuItems *);
    OPERATION(SelectMainMenuItem, bool, int);
    OPERATION(SelectSubMenuItem, bool, QString, int);
    OPERATION(GetInputRequest, bool, StkInKeyRequest *);
    OPERATION(GetInKeyRquest, bool, StkInKeyRequest *);
    OPERATION(CallStkAnswerInput, bool, QString, QString);
    OPERATION(CallStkAnswerInKey, bool, QString, QString);
    OPERATION(GetPromptText, bool, QString *, QString *, int *);
    OPERATION(GetPlayTone, bool, MDSVPlayToneRequest *);
    OPERATION(GetLaunchBrowser, bool, MDSVLaunchBrowser *);
    OPERATION(GetIdleModePrompt, bool, QString *);
    OPERATION(GetRefreshInfo, bool, );
    OPERATION(SendNoDataResponse, bool, _STK_UI_EN_STKTYPE, _STK_UI_EN_TERMINALRESPONSE);
#undef OPERATION
    QVERIFY(std::has_virtual_destructor<STKLogic>::value);
}

void tst_STKLogic::membersStandInTheirOrder()
{
    STKLogic *logic = make();
    const auto offsetOf = [logic](const void *member) {
        return int(static_cast<const char *>(member) - reinterpret_cast<const char *>(logic));
    };
    const int first = sizeof(QObject);
    QCOMPARE(offsetOf(&peek(logic, &Peek::m_sCmdId)), first);
    QCOMPARE(offsetOf(&peek(logic, &Peek::m_bRet)), first + 2);
    QCOMPARE(offsetOf(&peek(logic, &Peek::m_bRespondence)), first + 3);
}

void tst_STKLogic::instanceLivesFromFirstCreateToFirstDestroy()
{
    QVERIFY(!Peek::m_pStkLogicInst);
    STKLogic::DestroyInst(); // harmless without an instance

    QPointer<STKLogic> first = STKLogic::CreateInstance();
    QVERIFY(first);
    QVERIFY(!first->parent());
    QCOMPARE(STKLogic::CreateInstance(), first.data());
    QCOMPARE(Peek::m_pStkLogicInst, first.data());
    first->UpdateCBReturnVal(false);
    first->SetResponseVar(true);
    peek(first.data(), &Peek::m_sCmdId) = 5;

    STKLogic::DestroyInst();
    QVERIFY(first.isNull());
    QVERIFY(!Peek::m_pStkLogicInst);
    STKLogic::DestroyInst();
    QVERIFY(!Peek::m_pStkLogicInst);

    STKLogic *second = STKLogic::CreateInstance();
    QCOMPARE(int(peek(second, &Peek::m_sCmdId)), 0);
    QCOMPARE(bool(peek(second, &Peek::m_bRet)), true);
    QCOMPARE(bool(peek(second, &Peek::m_bRespondence)), false);
}

void tst_STKLogic::createAndDestroyAreLogged()
{
    STKLogic::CreateInstance();
    QCOMPARE(m_log->debug(),
             (QStringList{startOf("CreateInstance"), startOf("STKLogic"), endOf("STKLogic"), endOf("CreateInstance")}));
    m_log->clear();
    STKLogic::CreateInstance();
    QCOMPARE(m_log->debug(), (QStringList{startOf("CreateInstance"), endOf("CreateInstance")}));
    m_log->clear();
    STKLogic::DestroyInst();
    QCOMPARE(m_log->debug(),
             (QStringList{startOf("DestroyInst"), startOf("~STKLogic"), endOf("~STKLogic"), endOf("DestroyInst")}));
    m_log->clear();
    STKLogic::DestroyInst();
    QCOMPARE(m_log->debug(), (QStringList{startOf("DestroyInst"), endOf("DestroyInst")}));
}

void tst_STKLogic::destructorLeavesTheCallbacksRegistered()
{
    STKLogic::CreateInstance()->RegisterSTKCB();
    journal::clear();
    STKLogic::DestroyInst();
    QCOMPARE(journal::lines(), QStringList());
}

void tst_STKLogic::registersBothCallbacks_data()
{
    QTest::addColumn<int>("stk");
    QTest::addColumn<int>("device");
    QTest::newRow("both succeed") << 0 << 0;
    QTest::newRow("STK fails") << 5 << 0;
    QTest::newRow("device fails") << 0 << -1;
    QTest::newRow("both fail") << 1 << 2;
}

void tst_STKLogic::registersBothCallbacks()
{
    QFETCH(int, stk);
    QFETCH(int, device);
    m_sdk->answer("MDSV_STK_RegisterCallBack", stk);
    m_sdk->answer("MDSV_DevSrv_RegisterDevMgrCallback", device);
    STKLogic *logic = STKLogic::CreateInstance();
    m_log->clear();
    logic->RegisterSTKCB();

    const QList<support::Call> expected = {
        {"MDSV_STK_RegisterCallBack", {support::ref(reinterpret_cast<void *>(&STKLogic::OnSTKEventCB))}},
        {"MDSV_DevSrv_RegisterDevMgrCallback", {support::ref(reinterpret_cast<void *>(&STKLogic::OnDeviceEventCB))}}};
    QVERIFY(journal::calls() == expected);

    const QString where = QString("%1: RegisterSTKCB: ").arg(PATH);
    QStringList lines = {startOf("RegisterSTKCB"), "MDSV_STK_RegisterCallBack called " + where + "114: "};
    if (stk)
        lines << line("MDSV_STK_RegisterCallBack failed ", "RegisterSTKCB");
    lines << "MDSV_DevSrv_RegisterDevMgrCallback called " + where + "122: ";
    if (device)
        lines << "MDSV_DevSrv_RegisterDevMgrCallback failed " + where + "126: ";
    lines << endOf("RegisterSTKCB");
    QCOMPARE(m_log->debug(), lines);
}

void tst_STKLogic::withdrawsBothCallbacks_data()
{
    registersBothCallbacks_data();
}

void tst_STKLogic::withdrawsBothCallbacks()
{
    QFETCH(int, stk);
    QFETCH(int, device);
    STKLogic *logic = make();
    m_sdk->answer("MDSV_STK_UnRegisterCallBack", stk);
    m_sdk->answer("MDSV_DevSrv_UnRegisterDevMgrCallback", device);
    logic->UnresgisterSTKCB();

    const QList<support::Call> expected = {
        {"MDSV_STK_UnRegisterCallBack", {support::ref(reinterpret_cast<void *>(&STKLogic::OnSTKEventCB))}},
        {"MDSV_DevSrv_UnRegisterDevMgrCallback", {support::ref(reinterpret_cast<void *>(&STKLogic::OnDeviceEventCB))}}};
    QVERIFY(journal::calls() == expected);

    QStringList lines = {startOf("UnresgisterSTKCB")};
    if (stk)
        lines << line("MDSV_STK_UnRegisterCallBack failed ", "UnresgisterSTKCB");
    if (device)
        lines << line("MDSV_DevSrv_UnRegisterDevMgrCallback failed ", "UnresgisterSTKCB");
    lines << endOf("UnresgisterSTKCB");
    QCOMPARE(m_log->debug(), lines);
}

void tst_STKLogic::eventEmitsTheSignalOfItsType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("signalNames");
    for (const auto &row : TYPES)
        QTest::addRow("type %d", row.type) << row.type << (row.signal ? QStringList(row.signal) : QStringList());
}

void tst_STKLogic::eventEmitsTheSignalOfItsType()
{
    QFETCH(int, type);
    QFETCH(QStringList, signalNames);
    STKLogic *logic = make();

    QCOMPARE(m_sdk->raiseStk(type, 7), 0);
    QCOMPARE(journal::names(), signalNames);
    QCOMPARE(int(peek(logic, &Peek::m_sCmdId)), 7);
    QCOMPARE(bool(peek(logic, &Peek::m_bRespondence)), true);
    QCOMPARE(bool(peek(logic, &Peek::m_bRet)), true);
    QCOMPARE(m_log->debug(), (QStringList{startOf("OnSTKEventCB"), startOf("stkEventSwitchCase"),
                                          line(QString("enStkType value is %1,  ").arg(type), "stkEventSwitchCase"),
                                          endOf("OnSTKEventCB")}));
}

void tst_STKLogic::eventFromAnotherThreadIsQueuedToTheReceiver_data()
{
    eventEmitsTheSignalOfItsType_data();
}

void tst_STKLogic::eventFromAnotherThreadIsQueuedToTheReceiver()
{
    QFETCH(int, type);
    QFETCH(QStringList, signalNames);
    STKLogic *logic = make();
    QList<QThread *> threads;
    connect(logic, &STKLogic::STKSelItem, m_receiver.data(), [&] { threads << QThread::currentThread(); });

    QCOMPARE(m_sdk->raiseStk(type, 7, 0, SdkDouble::Elsewhere), 0);
    QCOMPARE(journal::names(), QStringList());
    QCOMPARE(bool(peek(logic, &Peek::m_bRespondence)), true);
    QCoreApplication::processEvents();
    QCOMPARE(journal::names(), signalNames);
    for (QThread *thread : threads)
        QCOMPARE(thread, QThread::currentThread());
}

void tst_STKLogic::classificationEmitsAndLogs()
{
    STKLogic *logic = make();
    logic->stkEventSwitchCase(MDSV_STKTYPE_SEND_SS);
    QCOMPARE(journal::names(), QStringList{"STKSendSMS"});
    QCOMPARE(m_log->debug(),
             (QStringList{startOf("stkEventSwitchCase"), line("enStkType value is 8,  ", "stkEventSwitchCase")}));
    QCOMPARE(bool(peek(logic, &Peek::m_bRespondence)), false);
    QCOMPARE(int(peek(logic, &Peek::m_sCmdId)), CMD_ID);
}

void tst_STKLogic::flagsAreSetBeforeTheSignal()
{
    STKLogic *logic = make();
    bool respondence = false;
    int id = 0;
    connect(logic, &STKLogic::STKSelItem, m_receiver.data(), [&] {
        respondence = peek(logic, &Peek::m_bRespondence);
        id = peek(logic, &Peek::m_sCmdId);
    });
    m_sdk->raiseStk(MDSV_STKTYPE_SELECT_ITEM, 1234);
    QCOMPARE(respondence, true);
    QCOMPARE(id, 1234);
}

void tst_STKLogic::responseFlagIsSetEvenWithoutARecord()
{
    for (SdkDouble::Where where : {SdkDouble::Here, SdkDouble::Elsewhere}) {
        STKLogic *logic = make();
        logic->UpdateCBReturnVal(false); // not consulted
        logic->SetResponseVar(false);
        m_log->clear();
        QCOMPARE(m_sdk->raiseNullRecord(where), 0);
        QCoreApplication::processEvents();
        QCOMPARE(bool(peek(logic, &Peek::m_bRespondence)), true);
        QCOMPARE(int(peek(logic, &Peek::m_sCmdId)), CMD_ID);
        QCOMPARE(journal::lines(), QStringList());
        QCOMPARE(m_log->debug(), (QStringList{startOf("OnSTKEventCB"), line("pNotifyData is null ", "OnSTKEventCB")}));
        STKLogic::DestroyInst();
    }
}

void tst_STKLogic::commandIdentifierKeepsItsSign_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<int>("sent");
    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("greatest") << 32767 << 32767;
    QTest::newRow("lowest") << -32768 << -32768;
    QTest::newRow("minus one") << -1 << -1;
    QTest::newRow("0xFFFE as a 16-bit field") << 0xFFFE << -2;
}

void tst_STKLogic::commandIdentifierKeepsItsSign()
{
    QFETCH(int, id);
    QFETCH(int, sent);
    STKLogic *logic = make();
    m_sdk->raiseStk(MDSV_STKTYPE_REFRESH, id);
    journal::clear();
    logic->GetRefreshInfo();
    logic->SendNoDataResponse(STK_UI_STKTYPE_REFRESH, STK_UI_RESPONSE_DONE);
    QCOMPARE(journal::lines(), (QStringList{QString("MDSV_STKSrv_GetRefreshInfo(%1)").arg(sent),
                                            QString("MDSV_STKSrv_SendNoDataResponse(%1, 7, 1)").arg(sent)}));
}

void tst_STKLogic::timeOutClosesTheInputAndShowsTheMenu_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("elsewhere");
    for (int type : {0, 1, 3, 6, 8, 99, 13, -1}) {
        QTest::addRow("type %d, same thread", type) << type << false;
        QTest::addRow("type %d, another thread", type) << type << true;
    }
}

void tst_STKLogic::timeOutClosesTheInputAndShowsTheMenu()
{
    QFETCH(int, type);
    QFETCH(bool, elsewhere);
    STKLogic *logic = make();
    logic->UpdateCBReturnVal(false); // not consulted
    m_log->clear();

    QCOMPARE(m_sdk->raiseStk(type, -77, 1, elsewhere ? SdkDouble::Elsewhere : SdkDouble::Here), 0);
    QCoreApplication::processEvents();
    QCOMPARE(journal::lines(), (QStringList{"CloseInputDlg()", "STKSetupMenu()"}));
    QCOMPARE(int(peek(logic, &Peek::m_sCmdId)), -77);
    QCOMPARE(bool(peek(logic, &Peek::m_bRespondence)), true);
    QCOMPARE(bool(peek(logic, &Peek::m_bRet)), false);
    QCOMPARE(m_log->debug(), (QStringList{startOf("OnSTKEventCB"), line("STK TimeOut ", "OnSTKEventCB")}));
}

void tst_STKLogic::onlyOneMeansTimeOut_data()
{
    QTest::addColumn<int>("flag");
    for (int flag : {0, 2, -1, 256, 257, 0x10000})
        QTest::addRow("flag %d", flag) << flag;
}

void tst_STKLogic::onlyOneMeansTimeOut()
{
    QFETCH(int, flag);
    make();
    m_sdk->raiseStk(MDSV_STKTYPE_GET_INPUT, 1, flag);
    QCOMPARE(journal::lines(), QStringList{"STKGetInput()"});
}

void tst_STKLogic::unhandledCommandIsAnsweredAndTheMainMenuComesBack_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("signalLine");
    QTest::addColumn<int>("status");
    for (int status : {0, 3}) {
        for (const auto &row : TYPES) {
            QTest::addRow("type %d, status %d", row.type, status)
                << row.type << (row.signal ? QString(row.signal) + "()" : QString()) << status;
        }
    }
}

void tst_STKLogic::unhandledCommandIsAnsweredAndTheMainMenuComesBack()
{
    QFETCH(int, type);
    QFETCH(QString, signalLine);
    QFETCH(int, status);
    STKLogic *logic = make();
    logic->UpdateCBReturnVal(false);
    m_sdk->answer("MDSV_STKSrv_SendNoDataResponse", status);
    m_log->clear();

    QCOMPARE(m_sdk->raiseStk(type, -5), 0);
    QStringList calls = {QString("MDSV_STKSrv_SendNoDataResponse(-5, %1, 0)").arg(type), "ShowMainMenu()"};
    if (!signalLine.isNull())
        calls.prepend(signalLine);
    QCOMPARE(journal::lines(), calls);
    QCOMPARE(bool(peek(logic, &Peek::m_bRet)), false);

    QStringList lines = {startOf("OnSTKEventCB"), startOf("stkEventSwitchCase"),
                         line(QString("enStkType value is %1,  ").arg(type), "stkEventSwitchCase"),
                         line("m_bRet is false ", "OnSTKEventCB")};
    if (status)
        lines << line("MDSV_STKSrv_SendNoDataResponse Failed ", "OnSTKEventCB");
    lines << endOf("OnSTKEventCB");
    QCOMPARE(m_log->debug(), lines);
}

void tst_STKLogic::verdictOfTheHandlerCountsAtOnceOnTheSameThread()
{
    STKLogic *logic = make();
    bool verdict = false;
    connect(logic, &STKLogic::STKSelItem, m_receiver.data(), [&] { logic->UpdateCBReturnVal(verdict); });

    m_sdk->raiseStk(MDSV_STKTYPE_SELECT_ITEM, 1);
    QCOMPARE(journal::lines(),
             (QStringList{"STKSelItem()", "MDSV_STKSrv_SendNoDataResponse(1, 6, 0)", "ShowMainMenu()"}));

    journal::clear();
    verdict = true; // the false of before is overwritten inside the emit
    m_sdk->raiseStk(MDSV_STKTYPE_SELECT_ITEM, 2);
    QCOMPARE(journal::lines(), (QStringList{"STKSelItem()"}));
}

void tst_STKLogic::verdictStoredLastCountsOnAnotherThread()
{
    STKLogic *logic = make();
    connect(logic, &STKLogic::STKSelItem, m_receiver.data(), [&] { logic->UpdateCBReturnVal(false); });
    connect(logic, &STKLogic::STKGetInput, m_receiver.data(), [&] { logic->UpdateCBReturnVal(true); });

    m_sdk->raiseStk(MDSV_STKTYPE_SELECT_ITEM, 1, 0, SdkDouble::Elsewhere);
    QCOMPARE(journal::lines("MDSV_"), QStringList());
    QCoreApplication::processEvents(); // now the handler says false, about command 1
    QCOMPARE(journal::lines("MDSV_"), QStringList());

    m_sdk->raiseStk(MDSV_STKTYPE_GET_INPUT, 2, 0, SdkDouble::Elsewhere);
    QCOMPARE(journal::lines("MDSV_"), QStringList{"MDSV_STKSrv_SendNoDataResponse(2, 3, 0)"});
    journal::clear();
    QCoreApplication::processEvents();
    QCOMPARE(journal::lines(), (QStringList{"STKGetInput()", "ShowMainMenu()"}));
    QCOMPARE(bool(peek(logic, &Peek::m_bRet)), true);
}

void tst_STKLogic::answerNamesTheLatestIdentifierAndItsOwnType()
{
    STKLogic *logic = make();
    connect(logic, &STKLogic::STKDisplayText, m_receiver.data(), [&] {
        m_sdk->raiseStk(MDSV_STKTYPE_END_SESSION, 22); // arrives while the text's handler is still running
        logic->UpdateCBReturnVal(false);
    });
    m_sdk->raiseStk(MDSV_STKTYPE_DISPLAY_TEXT, 11);
    QCOMPARE(journal::lines(), (QStringList{"STKDisplayText()", "STKEndSession()",
                                            "MDSV_STKSrv_SendNoDataResponse(22, 1, 0)", "ShowMainMenu()"}));
}

void tst_STKLogic::deviceEventTellsAvailability_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("available") << 6602 << QStringList("DevAvailable(true)");
    QTest::newRow("removed") << 6601 << QStringList("DevAvailable(false)");
    QTest::newRow("unavailable") << 6603 << QStringList("DevAvailable(false)");
    for (int code : {0, 1, -1, 6600, 6604, 6602 + 0x10000, INT_MAX})
        QTest::addRow("code %d", code) << code << QStringList();
}

void tst_STKLogic::deviceEventTellsAvailability()
{
    QFETCH(int, code);
    QFETCH(QStringList, expected);
    STKLogic *logic = make();
    QCOMPARE(m_sdk->raiseDevice(code), 1);
    QCOMPARE(journal::lines(), expected);
    QCOMPARE(bool(peek(logic, &Peek::m_bRespondence)), false);
    QCOMPARE(int(peek(logic, &Peek::m_sCmdId)), CMD_ID);
    QCOMPARE(m_log->debug(), (QStringList{startOf("OnDeviceEventCB"), endOf("OnDeviceEventCB")}));
}

void tst_STKLogic::deviceEventFromAnotherThreadIsQueued()
{
    make();
    QCOMPARE(m_sdk->raiseDevice(6601, SdkDouble::Elsewhere), 1);
    QCOMPARE(m_sdk->raiseDevice(6602, SdkDouble::Elsewhere), 1);
    QCOMPARE(journal::lines(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(journal::lines(), (QStringList{"DevAvailable(false)", "DevAvailable(true)"}));
}

void tst_STKLogic::handlerResultIsStoredAndLogged()
{
    STKLogic *logic = make();
    for (bool value : {false, true}) {
        m_log->clear();
        logic->UpdateCBReturnVal(value);
        QCOMPARE(bool(peek(logic, &Peek::m_bRet)), value);
        QCOMPARE(m_log->debug(),
                 (QStringList{startOf("UpdateCBReturnVal"),
                              line(QString("Updated vale is %1, ").arg(int(value)), "UpdateCBReturnVal"),
                              endOf("UpdateCBReturnVal")}));
    }
    QCOMPARE(journal::lines(), QStringList());
}

void tst_STKLogic::responseFlagIsStoredAndLogged()
{
    STKLogic *logic = make();
    for (bool value : {true, false}) {
        m_log->clear();
        logic->SetResponseVar(value);
        QCOMPARE(bool(peek(logic, &Peek::m_bRespondence)), value);
        QCOMPARE(logic->GetResponseVar(), value);
        QCOMPARE(
            m_log->debug(),
            (QStringList{startOf("SetResponseVar"), endOf("SetResponseVar"), startOf("GetResponseVar"),
                         line(QString("Start of with m_bRespondence  value= %1, ").arg(int(value)), "GetResponseVar"),
                         endOf("GetResponseVar")}));
    }
}

void tst_STKLogic::requestCallsLogsAndAnswers_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("status");
    for (int i = 0; i < requests().size(); ++i) {
        for (int status : {0, 1, -1, INT_MAX})
            QTest::addRow("%s, status %d", requests().at(i).function, status) << i << status;
    }
}

void tst_STKLogic::requestCallsLogsAndAnswers()
{
    QFETCH(int, index);
    QFETCH(int, status);
    const Request &request = requests().at(index);
    STKLogic *logic = make();
    m_sdk->answer(request.library, status);

    QCOMPARE(request.run(logic), status == 0);
    QCOMPARE(journal::lines(), QStringList{request.call});

    QStringList lines = {startOf(request.function), line(request.calling, request.function),
                         line(request.returned.arg(status), request.function)};
    if (status)
        lines << endOf(request.function);
    else if (!request.success.isNull())
        lines << line(request.success, request.function);
    QCOMPARE(m_log->debug(), lines);
}

void tst_STKLogic::mainMenuIsCopiedAndReleased()
{
    STKLogic *logic = make();
    m_sdk->setMainMenu("Operator", {{1, "News"}, {-1, "Balance"}, {32767, ""}, {-32768, "Últimas"}});
    QList<StkItemClass> items = {{9, "old"}};
    StkMenuItems menu = {"old title", &items};

    QVERIFY(logic->GetMainMenu(&menu));
    QCOMPARE(menu.strTitle, QString("Operator"));
    QCOMPARE(menu.pItemList, &items);
    QCOMPARE(printed(items), QString::fromUtf8("1 News|-1 Balance|32767 |-32768 Últimas"));
    QCOMPARE(journal::lines(), (QStringList{"MDSV_STKSrv_GetMainMenu()", "MDSV_STKSrv_ReleaseMenus(\"Operator\", 4)"}));
    QCOMPARE(m_sdk->openMenus(), 0);
}

void tst_STKLogic::subMenuIsCopiedAndReleased()
{
    STKLogic *logic = make();
    m_sdk->setSubMenu("News", {{3, "Sport"}, {-1, "Weather"}}, 77);
    QList<StkItemClass> items = {{9, "old"}};
    StkMenuItems menu = {"old title", &items};

    QVERIFY(logic->GetSubMenu(&menu));
    QCOMPARE(menu.strTitle, QString("News"));
    QCOMPARE(menu.pItemList, &items);
    QCOMPARE(printed(items), QString("3 Sport|-1 Weather"));
    QCOMPARE(journal::lines(),
             (QStringList{"MDSV_STKSrv_GetSubMenu(291)", "MDSV_STKSrv_ReleaseSubMenus(\"News\", 2)"}));
    QCOMPARE(m_sdk->openMenus(), 0);
}

void tst_STKLogic::menuFetchAndReleaseAreLogged_data()
{
    QTest::addColumn<bool>("sub");
    QTest::addColumn<int>("fetch");
    QTest::addColumn<int>("release");
    for (bool sub : {false, true}) {
        const char *name = sub ? "sub-menu" : "main menu";
        QTest::addRow("%s", name) << sub << 0 << 0;
        QTest::addRow("%s, fetch fails", name) << sub << 17 << 0;
        QTest::addRow("%s, fetch fails below zero", name) << sub << -2 << 0;
        QTest::addRow("%s, release fails", name) << sub << 0 << 1;
    }
}

void tst_STKLogic::menuFetchAndReleaseAreLogged()
{
    QFETCH(bool, sub);
    QFETCH(int, fetch);
    QFETCH(int, release);
    STKLogic *logic = make();
    const QString function = sub ? "GetSubMenu" : "GetMainMenu";
    const QString get = sub ? "MDSV_STKSrv_GetSubMenu" : "MDSV_STKSrv_GetMainMenu";
    const QString free = sub ? "MDSV_STKSrv_ReleaseSubMenus" : "MDSV_STKSrv_ReleaseMenus";
    m_sdk->answer(get.toLatin1(), fetch);
    m_sdk->answer(free.toLatin1(), release);
    m_sdk->setMainMenu("t", {{1, "x"}});
    m_sdk->setSubMenu("t", {{1, "x"}});
    QList<StkItemClass> items;
    StkMenuItems menu = {QString(), &items};

    QCOMPARE(sub ? logic->GetSubMenu(&menu) : logic->GetMainMenu(&menu), fetch == 0);
    QCOMPARE(printed(items), fetch ? QString() : QString("1 x")); // a failed release takes nothing back
    QStringList lines = {startOf(function), line("Calling  " + get + "()", function),
                         line(get + QString("() Returned = %1: ").arg(fetch), function)};
    if (fetch)
        lines << endOf(function);
    else
        lines << line("Calling  " + free + "()", function);
    if (release)
        lines << line(free + "() failed : ", function);
    QCOMPARE(m_log->debug(), lines);
}

void tst_STKLogic::menuWithoutItemsIsReleased_data()
{
    QTest::addColumn<bool>("sub");
    QTest::addColumn<int>("count");
    for (int count : {0, -1, -32768}) {
        QTest::addRow("main menu, %d items", count) << false << count;
        QTest::addRow("sub-menu, %d items", count) << true << count;
    }
}

void tst_STKLogic::menuWithoutItemsIsReleased()
{
    QFETCH(bool, sub);
    QFETCH(int, count);
    STKLogic *logic = make();
    m_sdk->setMainMenu("Empty", {{1, "not to be read"}});
    m_sdk->setMainMenuCount(count);
    m_sdk->setSubMenu("Empty", {{1, "not to be read"}});
    m_sdk->setSubMenuCount(count);
    QList<StkItemClass> items = {{9, "old"}};
    StkMenuItems menu = {"old title", &items};

    QVERIFY(sub ? logic->GetSubMenu(&menu) : logic->GetMainMenu(&menu));
    QCOMPARE(menu.strTitle, QString("Empty"));
    QVERIFY(items.isEmpty());
    QCOMPARE(journal::count(sub ? "MDSV_STKSrv_ReleaseSubMenus" : "MDSV_STKSrv_ReleaseMenus"), 1);
}

void tst_STKLogic::menuWithACountButNoItemsIsEmpty_data()
{
    QTest::addColumn<bool>("sub");
    QTest::newRow("main menu") << false;
    QTest::newRow("sub-menu") << true;
}

void tst_STKLogic::menuWithACountButNoItemsIsEmpty()
{
    QFETCH(bool, sub);
    STKLogic *logic = make();
    m_sdk->setMainMenu("Empty", {});
    m_sdk->setMainMenuCount(3);
    m_sdk->setSubMenu("Empty", {});
    m_sdk->setSubMenuCount(3);
    QList<StkItemClass> items = {{9, "old"}};
    StkMenuItems menu = {"old title", &items};

    QVERIFY(sub ? logic->GetSubMenu(&menu) : logic->GetMainMenu(&menu));
    QCOMPARE(menu.strTitle, QString("Empty"));
    QVERIFY(items.isEmpty());
    QCOMPARE(journal::count(sub ? "MDSV_STKSrv_ReleaseSubMenus" : "MDSV_STKSrv_ReleaseMenus"), 1);
}

void tst_STKLogic::failedMenuFetchLeavesTheMenuEmpty_data()
{
    QTest::addColumn<bool>("sub");
    QTest::newRow("main menu") << false;
    QTest::newRow("sub-menu") << true;
}

void tst_STKLogic::failedMenuFetchLeavesTheMenuEmpty()
{
    QFETCH(bool, sub);
    STKLogic *logic = make();
    m_sdk->answer("MDSV_STKSrv_GetMainMenu", 1);
    m_sdk->answer("MDSV_STKSrv_GetSubMenu", 1);
    QList<StkItemClass> items = {{9, "old"}};
    StkMenuItems menu = {"old title", &items};

    QVERIFY(!(sub ? logic->GetSubMenu(&menu) : logic->GetMainMenu(&menu)));
    QVERIFY(menu.strTitle.isNull());
    QVERIFY(items.isEmpty());
    QCOMPARE(menu.pItemList, &items);
    QCOMPARE(journal::lines(), QStringList{sub ? "MDSV_STKSrv_GetSubMenu(291)" : "MDSV_STKSrv_GetMainMenu()"});
}

void tst_STKLogic::manyItemsKeepTheirOrder()
{
    STKLogic *logic = make();
    QList<MenuItem> many;
    for (int i = 0; i < 255; ++i)
        many << MenuItem{254 - i, QString("Item %1").arg(i)};
    m_sdk->setMainMenu("Long", many);
    QList<StkItemClass> items;
    StkMenuItems menu = {QString(), &items};
    QVERIFY(logic->GetMainMenu(&menu));
    QCOMPARE(items.size(), 255);
    for (int i = 0; i < 255; ++i) {
        QCOMPARE(items.at(i).nItemId, 254 - i);
        QCOMPARE(items.at(i).strItemText, QString("Item %1").arg(i));
    }
}

void tst_STKLogic::selectionSendsTheLow16Bits_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<int>("sent");
    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("minus one") << -1 << -1;
    QTest::newRow("greatest") << 32767 << 32767;
    QTest::newRow("one more") << 32768 << -32768;
    QTest::newRow("0x1FFFF") << 0x1FFFF << -1;
    QTest::newRow("0x12345") << 0x12345 << 0x2345;
}

void tst_STKLogic::selectionSendsTheLow16Bits()
{
    QFETCH(int, id);
    QFETCH(int, sent);
    STKLogic *logic = make();
    QVERIFY(logic->SelectMainMenuItem(id));
    QVERIFY(logic->SelectSubMenuItem("SUBMENU_ACTION_SELECT_ITEM", id));
    QCOMPARE(journal::lines(), (QStringList{QString("MDSV_STKSrv_SelectMenuItem(1, %1)").arg(sent),
                                            QString("MDSV_STKSrv_SelectSubMenuItem(291, 1, %1)").arg(sent)}));
    // The log shows the identifier as it was given.
    QVERIFY(m_log->debug().contains(
        line(QString("Calling  MDSV_STKSrv_SelectMenuItem(%1) ").arg(id), "SelectMainMenuItem")));
    QVERIFY(m_log->debug().contains(
        line(QString("Calling  MDSV_STKSrv_SelectSubMenuItem(%1) ").arg(id), "SelectSubMenuItem")));
}

void tst_STKLogic::subMenuActionIsTranslated_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("code");
    QTest::newRow("select") << "SUBMENU_ACTION_SELECT_ITEM" << 1;
    QTest::newRow("back") << "SUBMENU_ACTION_RETURN_BACK_ITEM" << 3;
    QTest::newRow("select in lower case") << "submenu_action_select_item" << 0;
    QTest::newRow("back in mixed case") << "SUBMENU_ACTION_Return_BACK_ITEM" << 0;
    QTest::newRow("with a blank") << "SUBMENU_ACTION_SELECT_ITEM " << 0;
    QTest::newRow("only the beginning") << "SUBMENU_ACTION_SELECT" << 0;
    QTest::newRow("empty") << "" << 0;
    QTest::newRow("null") << QString() << 0;
}

void tst_STKLogic::subMenuActionIsTranslated()
{
    QFETCH(QString, action);
    QFETCH(int, code);
    STKLogic *logic = make();
    QVERIFY(logic->SelectSubMenuItem(action, 0));
    QCOMPARE(journal::lines(), QStringList{QString("MDSV_STKSrv_SelectSubMenuItem(291, %1, 0)").arg(code)});
}

void tst_STKLogic::answerFlagIsSetByTheExactActionOnly_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("flag");
    QTest::newRow("ok") << "STK_TYPE_OK" << 1;
    QTest::newRow("cancel") << "STK_TYPE_CANCEL" << 0;
    QTest::newRow("lower case") << "stk_type_ok" << 0;
    QTest::newRow("with a blank") << " STK_TYPE_OK" << 0;
    QTest::newRow("empty") << "" << 0;
    QTest::newRow("null") << QString() << 0;
}

void tst_STKLogic::answerFlagIsSetByTheExactActionOnly()
{
    QFETCH(QString, action);
    QFETCH(int, flag);
    STKLogic *logic = make();
    QVERIFY(logic->CallStkAnswerInput(action, ""));
    QVERIFY(logic->CallStkAnswerInKey(action, ""));
    QCOMPARE(journal::lines(), (QStringList{QString("MDSV_STKSrv_AnswerInput(291, %1, \"\")").arg(flag),
                                            QString("MDSV_STKSrv_AnswerInKey(291, %1, \"\")").arg(flag)}));
}

void tst_STKLogic::answerTextIsSentWhateverTheFlag_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
    QTest::newRow("digits") << "*100#";
    QTest::newRow("non-Latin") << QString::fromUtf8("Привет");
    QTest::newRow("beyond the basic plane") << QString::fromUtf8("\xF0\x9F\x98\x80!");
    QTest::newRow("longer than a record's field") << QString(300, 'a');
    QTest::newRow("with a percent sign") << "%s%d%n";
}

void tst_STKLogic::answerTextIsSentWhateverTheFlag()
{
    QFETCH(QString, text);
    STKLogic *logic = make();
    for (const char *action : {"STK_TYPE_OK", "STK_TYPE_CANCEL"}) {
        journal::clear();
        m_log->clear();
        QVERIFY(logic->CallStkAnswerInput(action, text));
        QVERIFY(logic->CallStkAnswerInKey(action, text));
        QCOMPARE(journal::calls().at(0).args.at(2).toString(), text);
        QCOMPARE(journal::calls().at(1).args.at(2).toString(), text);
        QVERIFY(m_log->debug().contains(
            line(QString("Calling MDSV_STKSrv_AnswerInput(") + text + "): ", "CallStkAnswerInput")));
        QVERIFY(m_log->debug().contains(
            line(QString("Calling MDSV_STKSrv_AnswerInKey(") + text + "): ", "CallStkAnswerInKey")));
    }
}

void tst_STKLogic::answerTextIsTheStringsOwnBuffer()
{
    STKLogic *logic = make();
    const QString text = "4711";
    QVERIFY(logic->CallStkAnswerInput("STK_TYPE_OK", text));
    QCOMPARE(m_sdk->answerBuffer(), static_cast<const void *>(text.utf16()));
    const QString key = "x";
    QVERIFY(logic->CallStkAnswerInKey("STK_TYPE_OK", key));
    QCOMPARE(m_sdk->answerBuffer(), static_cast<const void *>(key.utf16()));
}

void tst_STKLogic::terminalResponsePassesAnyNumbers()
{
    STKLogic *logic = make();
    const int pairs[][2] = {{1, 1}, {1, 0}, {4, 4}, {5, 1}, {11, 1}, {12, 1}, {99, 0}, {-1, 77}, {INT_MAX, INT_MIN}};
    for (const auto &pair : pairs) {
        journal::clear();
        QVERIFY(logic->SendNoDataResponse(_STK_UI_EN_STKTYPE(pair[0]), _STK_UI_EN_TERMINALRESPONSE(pair[1])));
        QCOMPARE(journal::lines(),
                 QStringList{QString("MDSV_STKSrv_SendNoDataResponse(291, %1, %2)").arg(pair[0]).arg(pair[1])});
    }
}

void tst_STKLogic::inputDataAreFilled()
{
    STKLogic *logic = make();
    m_sdk->setInput("Your name?", 3, 1, -2, 160, 1, "Ann");
    StkInKeyRequest request = {"old", 9, 9, 4321, 9, 9, 9, "old"};
    QVERIFY(logic->GetInputRequest(&request));
    QCOMPARE(request.strPrompt, QString("Your name?"));
    QCOMPARE(request.nInputType, 3);
    QCOMPARE(request.nEcho, 1);
    QCOMPARE(request.nMinLen, -2);
    QCOMPARE(request.nMaxLen, 160);
    QCOMPARE(request.nOption, 1);
    QCOMPARE(request.strDefaultText, QString("Ann"));
    QCOMPARE(request.nDuration, 4321);
}

void tst_STKLogic::inputValuesOutsideTheirRangeAreIgnored_data()
{
    QTest::addColumn<int>("value");
    for (int value : {0, 1, 2, 3, 4, -1, 256, INT_MAX, INT_MIN})
        QTest::addRow("%d", value) << value;
}

void tst_STKLogic::inputValuesOutsideTheirRangeAreIgnored()
{
    QFETCH(int, value);
    STKLogic *logic = make();
    m_sdk->setInput("p", value, value, 0, 0, value, "");
    StkInKeyRequest request = {"", 70, 71, 72, 73, 74, 75, ""};
    QVERIFY(logic->GetInputRequest(&request));
    QCOMPARE(request.nInputType, value >= 0 && value <= 3 ? value : 70);
    QCOMPARE(request.nOption, value == 0 || value == 1 ? value : 71);
    QCOMPARE(request.nEcho, value == 0 || value == 1 ? value : 73);
    QCOMPARE(request.nDuration, 72);
}

void tst_STKLogic::inKeyDataAreFilled()
{
    STKLogic *logic = make();
    m_sdk->setInKey("Go on?", 1, 1, 65535);
    StkInKeyRequest request = {"old", 9, 9, 4321, 81, 82, 83, "mine"};
    QVERIFY(logic->GetInKeyRquest(&request));
    QCOMPARE(request.strPrompt, QString("Go on?"));
    QCOMPARE(request.nInputType, 1);
    QCOMPARE(request.nOption, 1);
    QCOMPARE(request.nDuration, 65535);
    QCOMPARE(request.nEcho, 81);
    QCOMPARE(request.nMinLen, 82);
    QCOMPARE(request.nMaxLen, 83);
    QCOMPARE(request.strDefaultText, QString("mine"));
}

void tst_STKLogic::inKeyValuesOutsideTheirRangeAreIgnored_data()
{
    inputValuesOutsideTheirRangeAreIgnored_data();
}

void tst_STKLogic::inKeyValuesOutsideTheirRangeAreIgnored()
{
    QFETCH(int, value);
    STKLogic *logic = make();
    m_sdk->setInKey("p", value, value, 0);
    StkInKeyRequest request = {"", 70, 71, 72, 73, 74, 75, ""};
    QVERIFY(logic->GetInKeyRquest(&request));
    QCOMPARE(request.nInputType, value >= 0 && value <= 3 ? value : 70);
    QCOMPARE(request.nOption, value == 0 || value == 1 ? value : 71);
    QCOMPARE(request.nDuration, 0);
    QCOMPARE(request.nEcho, 73);
}

void tst_STKLogic::promptClearModeIsAutoForZeroOnly_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << 0 << "STK_CLR_MODE_AUTO";
    for (int mode : {1, 5, -1, 0x10000})
        QTest::addRow("%d", mode) << mode << "";
}

void tst_STKLogic::promptClearModeIsAutoForZeroOnly()
{
    QFETCH(int, mode);
    QFETCH(QString, text);
    STKLogic *logic = make();
    m_sdk->setPrompt("Hello", mode, 40000);
    QString prompt = "old", clearMode = "old";
    int duration = -9;
    QVERIFY(logic->GetPromptText(&prompt, &clearMode, &duration));
    QCOMPARE(prompt, QString("Hello"));
    QCOMPARE(clearMode, text);
    QCOMPARE(duration, 40000);
}

void tst_STKLogic::toneIsFilled()
{
    STKLogic *logic = make();
    m_sdk->setTone(-3, 65535, "Ring");
    MDSVPlayToneRequest request = {9, 9, "old"};
    QVERIFY(logic->GetPlayTone(&request));
    QCOMPARE(request.nTone, -3);
    QCOMPARE(request.nDuration, 65535);
    QCOMPARE(request.strText, QString("Ring"));
    QCOMPARE(journal::calls().first().args.at(1).toBool(), true); // the record came zero-filled
}

void tst_STKLogic::browserModeIsTakenWhenDefined_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("taken");
    for (int mode : {0, 2, 3})
        QTest::addRow("%d", mode) << mode << mode;
    for (int mode : {1, 4, -1, INT_MAX})
        QTest::addRow("%d", mode) << mode << 50;
}

void tst_STKLogic::browserModeIsTakenWhenDefined()
{
    QFETCH(int, mode);
    QFETCH(int, taken);
    STKLogic *logic = make();
    m_sdk->setBrowser(mode, "http://example.org/");
    MDSVLaunchBrowser request = {50, "old"};
    QVERIFY(logic->GetLaunchBrowser(&request));
    QCOMPARE(request.nMode, taken);
    QCOMPARE(request.strUrl, QString("http://example.org/"));
    QCOMPARE(journal::calls().first().args.at(1).toBool(), true); // the record came zero-filled
}

void tst_STKLogic::failedGetterLeavesItsOutputUntouched()
{
    STKLogic *logic = make();
    for (const Request &request : requests())
        m_sdk->answer(request.library, 1);

    StkInKeyRequest input = {"a", 1, 2, 3, 4, 5, 6, "b"};
    QVERIFY(!logic->GetInputRequest(&input));
    QVERIFY(!logic->GetInKeyRquest(&input));
    QCOMPARE(input.strPrompt + input.strDefaultText, QString("ab"));
    QCOMPARE((QList<int>{input.nInputType, input.nOption, input.nDuration, input.nEcho, input.nMinLen, input.nMaxLen}),
             (QList<int>{1, 2, 3, 4, 5, 6}));

    QString text = "text", mode = "mode";
    int duration = 8;
    QVERIFY(!logic->GetPromptText(&text, &mode, &duration));
    QVERIFY(!logic->GetIdleModePrompt(&text));
    QCOMPARE(text + mode, QString("textmode"));
    QCOMPARE(duration, 8);

    MDSVPlayToneRequest tone = {5, 6, "tone"};
    QVERIFY(!logic->GetPlayTone(&tone));
    QCOMPARE(tone.nTone, 5);
    QCOMPARE(tone.nDuration, 6);
    QCOMPARE(tone.strText, QString("tone"));

    MDSVLaunchBrowser browser = {2, "url"};
    QVERIFY(!logic->GetLaunchBrowser(&browser));
    QCOMPARE(browser.nMode, 2);
    QCOMPARE(browser.strUrl, QString("url"));
}

void tst_STKLogic::requestsCarryTheLatestCommandIdentifier()
{
    STKLogic *logic = make();
    for (int id : {1, -2}) {
        m_sdk->raiseStk(13, id); // emits nothing
        for (const Request &request : requests()) {
            if (request.call.contains("291")) {
                journal::clear();
                request.run(logic);
                QCOMPARE(journal::calls().first().args.first().toInt(), id);
            }
        }
    }
}

void tst_STKLogic::textEndsAtItsFirstZeroAndAtItsField_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<QString>("played");
    QTest::addColumn<QString>("text");

    const QString unpaired = QString("a") + QChar(0xD83D) + "b";
    QString zeroInside = "before after";
    zeroInside[6] = QChar(0);
    for (int i = 0; i < textSources().size(); ++i) {
        const char *name = textSources().at(i).name;
        QTest::addRow("%s, empty", name) << i << ""
                                         << "";
        QTest::addRow("%s, short", name) << i << "Hi"
                                         << "Hi";
        QTest::addRow("%s, non-Latin", name)
            << i << QString::fromUtf8("余额 остаток") << QString::fromUtf8("余额 остаток");
        QTest::addRow("%s, beyond the basic plane", name)
            << i << QString::fromUtf8("\xF0\x9F\x98\x80") << QString::fromUtf8("\xF0\x9F\x98\x80");
        QTest::addRow("%s, unpaired surrogate", name) << i << unpaired << unpaired;
        QTest::addRow("%s, zero inside", name) << i << zeroInside << "before";
        QTest::addRow("%s, 255 units", name) << i << QString(255, 'y') << QString(255, 'y');
        QTest::addRow("%s, to the brim", name) << i << QString(256, 'z') << QString(256, 'z');
    }
}

void tst_STKLogic::textEndsAtItsFirstZeroAndAtItsField()
{
    QFETCH(int, source);
    QFETCH(QString, played);
    QFETCH(QString, text);
    STKLogic *logic = make();
    textSources().at(source).script(m_sdk.data(), played);
    QCOMPARE(textSources().at(source).fetch(logic), text);
}

/// Every operation once, failures included.
void tst_STKLogic::exerciseEverything()
{
    STKLogic *logic = STKLogic::CreateInstance();
    logic->RegisterSTKCB();
    QList<StkItemClass> items;
    StkMenuItems menu = {QString(), &items};
    for (int status : {0, 1}) {
        for (const Request &request : requests()) {
            m_sdk->answer(request.library, status);
            request.run(logic);
        }
        m_sdk->answer("MDSV_STKSrv_GetMainMenu", status);
        m_sdk->answer("MDSV_STKSrv_GetSubMenu", status);
        logic->GetMainMenu(&menu);
        logic->GetSubMenu(&menu);
        logic->UpdateCBReturnVal(status == 0);
        logic->SetResponseVar(false);
        logic->GetResponseVar();
        m_sdk->raiseStk(MDSV_STKTYPE_SELECT_ITEM, 1);
    }
    m_sdk->raiseStk(MDSV_STKTYPE_SELECT_ITEM, 1, 1);
    m_sdk->raiseNullRecord();
    m_sdk->raiseDevice(6602);
    logic->UnresgisterSTKCB();
    STKLogic::DestroyInst();
}

void tst_STKLogic::switchedOffLoggingFormatsNothing()
{
    // Each line with a time reads the wall clock, so the clock tells whether lines were put together.
    m_log->clear();
    int before = support::FakeClock::reads();
    exerciseEverything();
    QVERIFY(m_log->lines().size() > 50);
    QVERIFY(support::FakeClock::reads() - before > 50);

    m_log->setDebugOutput(false);
    m_log->clear();
    before = support::FakeClock::reads();
    exerciseEverything();
    QCOMPARE(support::FakeClock::reads() - before, 0);
    QCOMPARE(m_log->lines().size(), 0);
}

QTEST_GUILESS_MAIN(tst_STKLogic)
#include "tst_STKLogic.moc"
