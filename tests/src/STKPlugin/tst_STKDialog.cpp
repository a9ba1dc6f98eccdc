// The window's controller: construction, connections, destruction, and the texts it can set without a window.
#include "DialogWorld.h"

#include "core/WsSound.h"

#include <QtCore/QMetaMethod>
#include <QtTest/QtTest>

#include <memory>
#include <thread>

using support::Call;
using support::ref;
namespace journal = support::journal;

struct InputPeek : STKInputDlg {
    using STKInputDlg::m_pStkInputDlgInstance;
};

namespace
{
bool emitSignal(STKLogic *logic, const QByteArray &signature)
{
    const QByteArray name = signature.left(signature.indexOf('('));
    const bool available = false; // outlives the argument that refers to it
    const QGenericArgument argument = signature.contains("bool") ? Q_ARG(bool, available) : QGenericArgument();
    return QMetaObject::invokeMethod(logic, name.constData(), Qt::DirectConnection, argument);
}

/// What there is to show cannot be read: the handlers come back at once.
void refuseReading(DialogWorld &w)
{
    for (const char *reading : {"GetPromptText", "GetInKeyRequest", "GetInputRequest", "GetPlayTone"})
        w.sdk.answer(QByteArray("MDSV_STKSrv_") + reading, 1);
}
} // namespace

class tst_STKDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void membersStartAsGiven();
    void thereIsOneInstance();
    void destroyTwiceIsHarmlessAndAFreshOneFollows();
    void constructionRegistersTheCallbacksAndLogs();
    void slotsAreInOrder();
    void parameterNamesAreAsGiven();
    void everySignalReachesItsSlot_data();
    void everySignalReachesItsSlot();
    void aSignalFromAnotherThreadIsQueued_data();
    void aSignalFromAnotherThreadIsQueued();
    void theWaitersSignalReachesItsSlot();
    void theWaitersSignalIsQueuedFromItsThread();
    void withdrawingTheCallbacks();
    void withdrawingWithoutLogicOnlyLogs();
    void trAsksTheHostWithKeyAndGroup();
    void textsBeforeAnyWindowChangeNothing();
    void debugOutputSwitchedOffFormatsNothing();

    void destructionRunsInOrder();
    void destructionLeavesAnIdleThread();
    void destructionStopsARunningWaiter();
    void destructionRightAfterAStart();
    void destructionDuringAWaitDeliversNoCommand();
    void destructionHearsNoCommandOfTheHostsWait();
    void destructionOutlivesAHostThatDoesNotWait();
    void destructionDeletesToneTimerAndPlayer();
    void destructionDeletesTheTimer();
    void destructionWithTheWindowOpen();

private:
    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialog::init()
{
    m_world.reset(new DialogWorld);
}

void tst_STKDialog::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    QVERIFY(!LogicPeek::m_pStkLogicInst);
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
    QVERIFY(!DialogPeek::m_pWsSoundSTK);
}

void tst_STKDialog::membersStartAsGiven()
{
    DialogWorld &w = *m_world;
    QVERIFY(!w.dialog->parent());
    QVERIFY(w.thread() && !w.thread()->isRunning());
    QCOMPARE(w.at(&DialogPeek::m_pStkLogic), LogicPeek::m_pStkLogicInst);
    QCOMPARE(w.at(&DialogPeek::m_pStkInputDlg), InputPeek::m_pStkInputDlgInstance);
    QVERIFY(w.at(&DialogPeek::m_pStkInputDlg));
    QCOMPARE(w.setPointers(), QStringList());
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(w.menuState(), QString("STK_UNKNOWN"));
    QVERIFY(!w.at(&DialogPeek::m_pMsgBoxDlg));
    QVERIFY(!w.at(&DialogPeek::m_pMsgDialog));
    QVERIFY(!w.at(&DialogPeek::m_pMsgTimer));
    QVERIFY(!w.at(&DialogPeek::m_pMsgBtnOk));
    QVERIFY(!w.at(&DialogPeek::m_pMsgBtnCancel));
    QCOMPARE(w.at(&DialogPeek::m_nMsgTimeOut), 0);
    QCOMPARE(w.at(&DialogPeek::m_nMsgTick), 0);
    QCOMPARE(w.at(&DialogPeek::m_nMsgRemain), 0);
    QCOMPARE(w.at(&DialogPeek::m_strTitle), QString(""));
    QVERIFY(!w.at(&DialogPeek::m_strTitle).isNull());
    QVERIFY(w.at(&DialogPeek::m_strTimerType).isNull());
    for (const StkMenuItems &menu : {w.at(&DialogPeek::m_stMainMenu), w.at(&DialogPeek::m_stSubMenu)}) {
        QVERIFY(menu.strTitle.isEmpty() && !menu.strTitle.isNull());
        QVERIFY(menu.pItemList && menu.pItemList->isEmpty());
    }
    QVERIFY(w.at(&DialogPeek::m_stMainMenu).pItemList != w.at(&DialogPeek::m_stSubMenu).pItemList);
    QVERIFY(!DialogPeek::m_pWsSoundSTK);
    QVERIFY(!DialogPeek::m_pStkDialogInstance->isWidgetType());
}

void tst_STKDialog::thereIsOneInstance()
{
    m_world->forget();
    QCOMPARE(STKDialog::Instance(), m_world->dialog);
    QCOMPARE(DialogPeek::m_pStkDialogInstance, m_world->dialog);
    QCOMPARE(m_world->log.debug(), QStringList({logged::start("Instance"), logged::end("Instance")}));
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKDialog::destroyTwiceIsHarmlessAndAFreshOneFollows()
{
    const QPointer<STKDialog> first(m_world->dialog);
    const std::unique_ptr<STKThread> thread(m_world->thread());
    m_world->dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    QVERIFY(!first);
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    m_world->log.clear();
    STKDialog::Destroy();
    QCOMPARE(m_world->log.debug(), QStringList({logged::start("Destroy"), logged::end("Destroy")}));

    STKDialog *second = STKDialog::Instance();
    const std::unique_ptr<STKThread> secondThread(second->*(&DialogPeek::m_pStkThread));
    QVERIFY(second);
    QCOMPARE(journal::count("MDSV_STK_RegisterCallBack"), 2);
    second->unSDKRegisterEvent();
    STKDialog::Destroy();
    m_world->logic = nullptr;
}

void tst_STKDialog::constructionRegistersTheCallbacksAndLogs()
{
    QCOMPARE(journal::names(), QStringList({"MDSV_STK_RegisterCallBack", "MDSV_DevSrv_RegisterDevMgrCallback"}));
    QVERIFY(m_world->sdk.stkCallback() == &STKLogic::OnSTKEventCB);
    QVERIFY(m_world->sdk.deviceCallback() == &STKLogic::OnDeviceEventCB);

    const QStringList order = logged::started(m_world->log, nullptr);
    const QStringList first = {"STKDialog::Instance", "STKDialog::STKDialog", "STKLogic::CreateInstance"};
    QVERIFY2(order.mid(0, 3) == first, qPrintable(order.join('\n')));
    const QString thread = "../../src/STKPlugin/STKThread: STKThread: called";
    const QStringList lines = m_world->log.debug();
    const int atThread = lines.indexOf(thread);
    const int atInput = lines.indexOf(logged::start("StkInputDlgInstance", "STKInputDlg"));
    const int atRegister = lines.indexOf(logged::start("RegisterSTKCB", "STKLogic"));
    QVERIFY2(0 < atThread && atThread < atInput && atInput < atRegister, qPrintable(lines.join('\n')));
    const int atEnd = lines.indexOf(logged::end("STKDialog"));
    QVERIFY(atRegister < atEnd);
    QCOMPARE(lines.value(atEnd + 1), logged::end("Instance"));
}

void tst_STKDialog::slotsAreInOrder()
{
    const QStringList expected = {"onButtonClickClose()",
                                  "onButtonClickBack()",
                                  "onButtonClickSelect()",
                                  "onCellDoubleClicked(int,int)",
                                  "onSTKTimeOut()",
                                  "onSTKPlayToneTimeOut()",
                                  "onPlayingFinished()",
                                  "onDeviceAvailable(bool)",
                                  "onSTKSetupMenu()",
                                  "onSTKDisplayText()",
                                  "onSTKGetInkey()",
                                  "onSTKGetInput()",
                                  "onSTKSetupCall()",
                                  "onSTKPlayTone()",
                                  "onSTKSelItem()",
                                  "onSTKRefresh()",
                                  "onSTKSendSS()",
                                  "onSTKSendSMS()",
                                  "onSTKSendUSSD()",
                                  "onSTKLaunchBrowser()",
                                  "onSTKSetupIdleModeText()",
                                  "onSTKEndSession()",
                                  "onShowMainMenu()",
                                  "onChangeCursor()",
                                  "onCloseInputDlg()",
                                  "onMessageTimeOut()"};
    const QMetaObject &meta = STKDialog::staticMetaObject;
    QStringList found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QVERIFY2(method.methodType() == QMetaMethod::Slot, method.methodSignature().constData());
        QVERIFY2(method.access() == QMetaMethod::Public, method.methodSignature().constData());
        QCOMPARE(method.returnType(), int(QMetaType::Void));
        found << method.methodSignature();
    }
    QCOMPARE(found, expected);
    QCOMPARE(QByteArray(meta.className()), QByteArray("STKDialog"));
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

void tst_STKDialog::parameterNamesAreAsGiven()
{
    const QMetaObject &meta = STKDialog::staticMetaObject;
    const auto names = [&meta](const char *signature) {
        return meta.method(meta.indexOfSlot(signature)).parameterNames();
    };
    QCOMPARE(names("onCellDoubleClicked(int,int)"), QList<QByteArray>({"iRow", "iColumn"}));
    QCOMPARE(names("onDeviceAvailable(bool)"), QList<QByteArray>({"isAvaialable"}));
}

void tst_STKDialog::everySignalReachesItsSlot_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QString>("slot");
    QTest::newRow("DevAvailable") << QByteArray("DevAvailable(bool)") << "onDeviceAvailable";
    for (const char *stem :
         {"STKSetupMenu", "STKDisplayText", "STKGetInkey", "STKGetInput", "STKSetupCall", "STKPlayTone", "STKSelItem",
          "STKRefresh", "STKSendSS", "STKSendSMS", "STKSendUSSD", "STKLaunchBrowser", "STKSetupIdleModeText",
          "STKEndSession", "ShowMainMenu", "CloseInputDlg"})
        QTest::newRow(stem) << QByteArray(stem) + "()" << QString("on") + stem;
}

void tst_STKDialog::everySignalReachesItsSlot()
{
    QFETCH(QByteArray, signal);
    QFETCH(QString, slot);
    DialogWorld &w = *m_world;
    QCOMPARE((w.logic->*(&LogicPeek::receivers))(("2" + signal).constData()), 1);
    refuseReading(w);
    w.forget();
    QVERIFY(emitSignal(w.logic, signal));
    const QStringList reached = logged::started(w.log).filter(QRegularExpression("^on"));
    QCOMPARE(reached, QStringList({slot}));
    const QStringList returnEarly = {"onSTKDisplayText", "onSTKGetInkey", "onSTKGetInput", "onSTKPlayTone"};
    QCOMPARE(w.log.debug().count(logged::end(slot.toLatin1().constData())), returnEarly.contains(slot) ? 0 : 1);
}

void tst_STKDialog::aSignalFromAnotherThreadIsQueued_data()
{
    everySignalReachesItsSlot_data();
}

void tst_STKDialog::aSignalFromAnotherThreadIsQueued()
{
    QFETCH(QByteArray, signal);
    QFETCH(QString, slot);
    DialogWorld &w = *m_world;
    refuseReading(w);
    w.forget();
    bool emitted = false;
    std::thread([&] { emitted = emitSignal(w.logic, signal); }).join();
    QVERIFY(emitted);
    QCOMPARE(logged::started(w.log), QStringList());
    QCoreApplication::sendPostedEvents(w.dialog, QEvent::MetaCall);
    QCOMPARE(logged::started(w.log).filter(QRegularExpression("^on")), QStringList({slot}));
}

void tst_STKDialog::theWaitersSignalReachesItsSlot()
{
    DialogWorld &w = *m_world;
    QCOMPARE((w.thread()->*(&ThreadPeek::receivers))(SIGNAL(ChangeCursor())), 1);
    w.forget();
    emit w.thread()->ChangeCursor();
    QCOMPARE(logged::started(w.log).value(0), QString("onChangeCursor"));
}

void tst_STKDialog::theWaitersSignalIsQueuedFromItsThread()
{
    DialogWorld &w = *m_world;
    w.startWait();
    w.logic->SetResponseVar(true);
    QVERIFY(w.thread()->wait(5000));
    QVERIFY(!logged::started(w.log).contains("onChangeCursor"));
    QCoreApplication::sendPostedEvents(w.dialog, QEvent::MetaCall);
    QCOMPARE(logged::started(w.log).count("onChangeCursor"), 1);
}

void tst_STKDialog::withdrawingTheCallbacks()
{
    DialogWorld &w = *m_world;
    w.forget();
    w.dialog->unSDKRegisterEvent();
    QCOMPARE(journal::names(), QStringList({"MDSV_STK_UnRegisterCallBack", "MDSV_DevSrv_UnRegisterDevMgrCallback"}));
    QCOMPARE(w.log.debug().first(), QString("../../src/STKPlugin/STKDialog: unSDKRegisterEvent called"));
    QCOMPARE(w.log.debug().last(), QString("../../src/STKPlugin/STKDialog: unSDKRegisterEvent exit"));
    w.logic = nullptr; // nothing more to withdraw
}

void tst_STKDialog::withdrawingWithoutLogicOnlyLogs()
{
    DialogWorld &w = *m_world;
    w.forget();
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->unSDKRegisterEvent();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QCOMPARE(w.log.debug(), QStringList({"../../src/STKPlugin/STKDialog: unSDKRegisterEvent called",
                                         "../../src/STKPlugin/STKDialog: unSDKRegisterEvent exit"}));
}

void tst_STKDialog::trAsksTheHostWithKeyAndGroup()
{
    m_world->forget();
    m_world->core.setTranslator([](const QString &key, const QString &group) { return key + '@' + group; });
    QCOMPARE(m_world->dialog->tr(QString("SOME_KEY")), QString("SOME_KEY@STKPlugin"));
    QCOMPARE(journal::lines(), QStringList({"Change::tr(\"SOME_KEY\", \"STKPlugin\")"}));
}

void tst_STKDialog::textsBeforeAnyWindowChangeNothing()
{
    DialogWorld &w = *m_world;
    w.forget();
    w.dialog->SetStkUiText();
    QCOMPARE(w.log.debug(), QStringList({logged::start("SetStkUiText"),
                                         "Widgets id NULL ../../src/STKPlugin/STKDialog: SetStkUiText: <time>: "}));
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKDialog::debugOutputSwitchedOffFormatsNothing()
{
    DialogWorld &w = *m_world;
    w.log.setDebugOutput(false);
    w.forget();
    QVERIFY(w.show());
    w.dialog->onButtonClickClose();
    QCOMPARE(w.log.debug(), QStringList());
    w.log.setDebugOutput(true);
    w.dialog->onSTKTimeOut();
    QVERIFY(!w.log.debug().isEmpty());
}

void tst_STKDialog::destructionRunsInOrder()
{
    DialogWorld &w = *m_world;
    w.dialog->unSDKRegisterEvent();
    w.forget();
    STKDialog::Destroy();
    w.dialog = nullptr;
    const QStringList order = {"STKDialog::Destroy",    "STKDialog::~STKDialog",        "STKLogic::DestroyInst",
                               "STKLogic::~STKLogic",   "STKInputDlg::DestroyInstance", "STKInputDlg::~STKInputDlg",
                               "STKLogic::DestroyInst", "STKInputDlg::AssignNULL"};
    const QStringList found = logged::started(w.log, nullptr);
    QVERIFY2(found == order, qPrintable(found.join('\n')));
    const QStringList lines = w.log.debug();
    QCOMPARE(lines.mid(lines.size() - 2), QStringList({logged::end("~STKDialog"), logged::end("Destroy")}));
    // The callbacks are the host's to withdraw: it has done so before.
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!LogicPeek::m_pStkLogicInst);
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
}

void tst_STKDialog::destructionLeavesAnIdleThread()
{
    DialogWorld &w = *m_world;
    const QPointer<STKThread> thread(w.thread());
    w.dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    w.dialog = nullptr;
    QVERIFY(thread);
    QCOMPARE(journal::count("CommonUtils::WaitForThreadToStop"), 0);
}

void tst_STKDialog::destructionStopsARunningWaiter()
{
    DialogWorld &w = *m_world;
    const QPointer<STKThread> thread(w.thread());
    const void *address = thread;
    w.dialog->unSDKRegisterEvent();
    w.startWait();
    // Past the start of run(), which forgets a request to stop.
    QTRY_VERIFY(logged::linesOf(w.log, "GetResponseVar", "STKLogic").size() > 0);
    bool asked = false;
    journal::setObserver([&](const Call &call) {
        if (call.name == "CommonUtils::WaitForThreadToStop")
            asked = support::peek(thread.data(), &ThreadPeek::m_bStop);
    });
    STKDialog::Destroy();
    journal::setObserver(nullptr);
    w.dialog = nullptr;
    QVERIFY(!thread);
    QVERIFY(asked); // before the host is made to wait
    const QList<Call> waits = journal::callsOf("CommonUtils::WaitForThreadToStop");
    QCOMPARE(waits.size(), 1);
    QCOMPARE(waits.first().args, QVariantList({ref(address), 5}));
}

void tst_STKDialog::destructionRightAfterAStart()
{
    DialogWorld &w = *m_world;
    // Many times: the thread has then begun in some and has yet to begin in others.
    for (int i = 0; i < 20; ++i) {
        STKDialog *dialog = i ? STKDialog::Instance() : w.dialog;
        const QPointer<STKThread> thread(dialog->*(&DialogPeek::m_pStkThread));
        dialog->stkWaitforRespond(20);
        dialog->unSDKRegisterEvent();
        QElapsedTimer clock;
        clock.start();
        STKDialog::Destroy();
        QVERIFY(!thread);
        QVERIFY2(clock.elapsed() < 3000, "the host is held up although the waiter can end at once");
    }
    w.dialog = nullptr;
}

void tst_STKDialog::destructionDuringAWaitDeliversNoCommand()
{
    DialogWorld &w = *m_world;
    w.startWait();
    std::thread([&w] { emit w.logic->STKSelItem(); }).join();
    w.dialog->unSDKRegisterEvent();
    w.forget();
    STKDialog::Destroy();
    w.dialog = nullptr;
    QCoreApplication::processEvents();
    QVERIFY(!logged::started(w.log).contains("onSTKSelItem"));
    QCOMPARE(journal::count("MDSV_STKSrv_GetSubMenu"), 0);
}

void tst_STKDialog::destructionHearsNoCommandOfTheHostsWait()
{
    DialogWorld &w = *m_world;
    w.startWait();
    w.core.onWait([&w] {
        emit w.logic->STKSelItem();
        return true;
    });
    w.dialog->unSDKRegisterEvent();
    w.forget();
    STKDialog::Destroy();
    w.dialog = nullptr;
    QVERIFY(!logged::started(w.log).contains("onSTKSelItem"));
    QCOMPARE(journal::count("MDSV_STKSrv_GetSubMenu"), 0);
}

void tst_STKDialog::destructionOutlivesAHostThatDoesNotWait()
{
    DialogWorld &w = *m_world;
    const QPointer<STKThread> thread(w.thread());
    w.startWait();
    w.core.onWait([] { return false; });
    w.dialog->unSDKRegisterEvent();
    STKDialog::Destroy(); // a thread that is deleted while it runs would end the process
    w.dialog = nullptr;
    QVERIFY(!thread);
}

void tst_STKDialog::destructionDeletesToneTimerAndPlayer()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    const QPointer<QTimer> timer(w.at(&DialogPeek::m_pToneTimer));
    const QPointer<WsSound> sound(new WsSound("tone.wav"));
    DialogPeek::m_pWsSoundSTK = sound;
    w.dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    w.dialog = nullptr;
    QVERIFY(!timer);
    QVERIFY(!sound);
    QVERIFY(!DialogPeek::m_pWsSoundSTK);
}

void tst_STKDialog::destructionDeletesTheTimer()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    const QPointer<QTimer> timer(w.at(&DialogPeek::m_pStkTimer));
    QVERIFY(timer);
    w.dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    w.dialog = nullptr;
    QVERIFY(!timer);
}

void tst_STKDialog::destructionWithTheWindowOpen()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    const QPointer<STKExtendDlg> frame(w.frame());
    const QPointer<STKTableWidget> table(w.table());
    w.dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    w.dialog = nullptr;
    QVERIFY(frame && frame->isVisible()); // its owner is the host's window

    // It does nothing any more, but it can be closed.
    w.forget();
    QTest::keyClick(table, Qt::Key_Down);
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier, table->viewport()->rect().bottomRight());
    frame->reject();
    QVERIFY(frame && frame->isVisible());
    QVERIFY(frame->close());
    QTRY_VERIFY(!frame);
    QCOMPARE(journal::names("MDSV_"), QStringList());
}

QTEST_MAIN(tst_STKDialog)
#include "tst_STKDialog.moc"
