// The window's controller: waiting for the card, the timer of a lost device, the end of the session.
#include "DialogWorld.h"

#include "support/ModalDriver.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

namespace journal = support::journal;

namespace
{
const char GET_MAIN[] = "MDSV_STKSrv_GetMainMenu";
const char RELEASE_MAIN[] = "MDSV_STKSrv_ReleaseMenus";
const char ANSWER_INPUT[] = "MDSV_STKSrv_AnswerInput";
const char SILENCE[] = "m_bRespondence value is false ../../src/STKPlugin/STKDialog: onChangeCursor: <time>: ";
const int LIMIT_MS = 5000;

const QStringList MAIN_ROWS = {"Balance", "News", "Help"};
const QStringList SUB_ROWS = {"Sport", "Weather"};
const QList<int> ARROW = {int(Qt::ArrowCursor)};
} // namespace

/// A question that notes, when it closes, what the general timer is like.
class NotingQuestion : public QDialog
{
public:
    explicit NotingQuestion(const DialogWorld &world) : m_world(world) {}

    bool active = true;
    QString tag = "not closed";

protected:
    void closeEvent(QCloseEvent *event) override
    {
        active = m_world.at(&DialogPeek::m_pStkTimer)->isActive();
        tag = m_world.at(&DialogPeek::m_strTimerType);
        QDialog::closeEvent(event);
    }

private:
    const DialogWorld &m_world;
};

class tst_STKDialogTimers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void waitOfLessThanASecondStartsNothing_data();
    void waitOfLessThanASecondStartsNothing();
    void waitWithoutAnObjectOnlyLogs_data();
    void waitWithoutAnObjectOnlyLogs();
    void waitClearsTheFlagAndStartsTheThread();
    void waitLogsInOrder();
    void waitWithoutAWindow();
    void aSecondWaitReplacesTheTimeOut();
    void waitThatEndsWithACommand_data();
    void waitThatEndsWithACommand();
    void waitThatEndsWithANullRecord();
    void waitThatRunsOut();
    void waitThatRunsOutAndTheReadingFails();
    void waitThatRunsOutWithoutLogic();
    void cursorsAreNeverPopped();
    void aCommandThatArrivesWithinTheChoice();

    void deviceBackShowsTheMainMenu_data();
    void deviceBackShowsTheMainMenu();
    void deviceBackWhenTheReadingFails();
    void deviceBackWithoutLogic();
    void deviceLostClosesTheWindow_data();
    void deviceLostClosesTheWindow();
    void deviceLostTwiceStartsTheDelayAgain();
    void deviceLostWithoutAWindow();
    void deviceLostAfterTheWindowWasClosed();
    void deviceLostWhileWaiting();
    void deviceLostAfterEnter();
    void deviceLostWithTheInputDialogOpen();
    void deviceLostDisarmsTheTimerFirst();
    void deviceBackWithinTheDelay();

    void timerWithAnotherTagChangesNothing_data();
    void timerWithAnotherTagChangesNothing();
    void timerThatIsMissingDoesNothing();
    void timerOfAQuestionClosesIt();
    void timerOfAQuestionIsDisarmedFirst();
    void timerOfAQuestionThatHasClosed();

    void endOfSession_data();
    void endOfSession();
    void endOfSessionRunsInOrder();
    void endOfSessionDoesNotReadTheMenu();
    void endOfSessionWithoutLogic();
    void endOfSessionClosesTheInputDialog();
    void closeInputDialogSignal();
    void closeInputDialogSignalWithoutOne();
    void theWindowsEndWithinTheCancel_data();
    void theWindowsEndWithinTheCancel();

private:
    void showInput(std::function<void()> act);

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogTimers::init()
{
    m_world.reset(new DialogWorld);
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKDialogTimers::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

/// Opens the input dialog over the window and runs `act` while it is open; returns when it has closed.
void tst_STKDialogTimers::showInput(std::function<void()> act)
{
    STKInputDlg *input = m_world->at(&DialogPeek::m_pStkInputDlg);
    const StkInKeyRequest request = {"Your name?", 0, 0, 0, 1, 0, 20, ""};
    input->SetInputRequest(request);
    support::ModalDriver driver;
    driver.on("ExtendDialog", [act](QWidget *) { act(); });
    input->ShowStkInputDlg(m_world->frame());
    QVERIFY(driver.isDone());
}

// ---------------------------------------------------------------- waiting

void tst_STKDialogTimers::waitOfLessThanASecondStartsNothing_data()
{
    QTest::addColumn<int>("seconds");
    QTest::newRow("none") << 0;
    QTest::newRow("negative") << -1;
    QTest::newRow("lowest") << INT_MIN;
}

void tst_STKDialogTimers::waitOfLessThanASecondStartsNothing()
{
    QFETCH(int, seconds);
    DialogWorld &w = *m_world;
    for (bool flag : {true, false}) {
        w.logic->SetResponseVar(flag);
        w.log.clear();
        QCOMPARE(w.dialog->stkWaitforRespond(seconds), 0);
        QCOMPARE(logged::started(w.log, nullptr), QStringList({"STKDialog::stkWaitforRespond"}));
        QCOMPARE(w.logic->GetResponseVar(), flag);
        QVERIFY(!w.isWaiting());
        QVERIFY(takeCursors().isEmpty());
    }
}

void tst_STKDialogTimers::waitWithoutAnObjectOnlyLogs_data()
{
    QTest::addColumn<bool>("logicMissing");
    QTest::newRow("logic") << true;
    QTest::newRow("thread") << false;
}

void tst_STKDialogTimers::waitWithoutAnObjectOnlyLogs()
{
    QFETCH(bool, logicMissing);
    DialogWorld &w = *m_world;
    STKThread *thread = w.thread();
    if (logicMissing)
        w.at(&DialogPeek::m_pStkLogic) = nullptr;
    else
        w.at(&DialogPeek::m_pStkThread) = nullptr;
    w.logic->SetResponseVar(true);
    w.forget();
    w.dialog->stkWaitforRespond(20);
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    w.at(&DialogPeek::m_pStkThread) = thread;
    QCOMPARE(w.log.debug(),
             QStringList({logged::start("stkWaitforRespond"),
                          "Logic instance or thread is null ../../src/STKPlugin/STKDialog: stkWaitforRespond: "
                          "<time>: "}));
    QVERIFY(w.logic->GetResponseVar());
    QVERIFY(!thread->isRunning());
    QVERIFY(takeCursors().isEmpty());
}

void tst_STKDialogTimers::waitClearsTheFlagAndStartsTheThread()
{
    DialogWorld &w = *m_world;
    w.logic->SetResponseVar(true);
    w.dialog->stkWaitforRespond(7);
    QVERIFY(w.isWaiting());
    QVERIFY(!w.logic->GetResponseVar());
    QCOMPARE(support::peek(w.thread(), &ThreadPeek::m_nTimeOut).load(), 7);
    QCOMPARE(w.thread()->priority(), QThread::InheritPriority);
    QCOMPARE(takeCursors(), QList<int>({int(Qt::WaitCursor)}));
}

void tst_STKDialogTimers::waitLogsInOrder()
{
    DialogWorld &w = *m_world;
    w.dialog->stkWaitforRespond(20);
    const QStringList lines = w.log.debug();
    QCOMPARE(lines.value(0), logged::start("stkWaitforRespond"));
    QCOMPARE(lines.value(1), logged::start("SetResponseVar", "STKLogic"));
    QCOMPARE(lines.value(3), QString("<time>: ../../src/STKPlugin/STKThread: SetTimeOut: Called with TimeOut = 20"));
    QVERIFY(lines.contains(logged::end("stkWaitforRespond")));
}

void tst_STKDialogTimers::waitWithoutAWindow()
{
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.dialog->stkWaitforRespond(20);
    QVERIFY(w.isWaiting());
    QVERIFY(w.endWait());
}

void tst_STKDialogTimers::aSecondWaitReplacesTheTimeOut()
{
    DialogWorld &w = *m_world;
    w.startWait(20);
    QTRY_VERIFY(logged::linesOf(w.log, "GetResponseVar", "STKLogic").size() > 0);
    w.startWait(1);
    QCOMPARE(support::peek(w.thread(), &ThreadPeek::m_nTimeOut).load(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(!w.isWaiting(), LIMIT_MS);
}

void tst_STKDialogTimers::waitThatEndsWithACommand_data()
{
    QTest::addColumn<bool>("elsewhere");
    QTest::newRow("on the user-interface thread") << false;
    QTest::newRow("on the library's thread") << true;
}

void tst_STKDialogTimers::waitThatEndsWithACommand()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.table()->selectRow(1);
    w.dialog->onButtonClickSelect();
    w.forget();
    if (elsewhere)
        w.raiseElsewhere(MDSV_STKTYPE_SELECT_ITEM, 21);
    else
        w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21);
    QTRY_VERIFY_WITH_TIMEOUT(logged::started(w.log).contains("onChangeCursor"), LIMIT_MS);
    QTRY_VERIFY_WITH_TIMEOUT(!w.isWaiting(), LIMIT_MS);
    // The menu that the command showed stays.
    QCOMPARE(w.rows(), SUB_ROWS);
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    QCOMPARE(journal::count(GET_MAIN), 0);
    QVERIFY(!w.log.debug().contains(SILENCE));
    QCOMPARE(takeCursors(), ARROW);
}

void tst_STKDialogTimers::waitThatEndsWithANullRecord()
{
    DialogWorld &w = *m_world;
    w.startWait();
    w.forget();
    w.sdk.raiseNullRecord();
    QTRY_VERIFY_WITH_TIMEOUT(logged::started(w.log).contains("onChangeCursor"), LIMIT_MS);
    QCOMPARE(journal::count(GET_MAIN), 0);
}

void tst_STKDialogTimers::waitThatRunsOut()
{
    DialogWorld &w = *m_world;
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21);
    w.startWait(1);
    w.sdk.setMainMenu("Back", {{1, "Home"}});
    w.forget();
    QTRY_VERIFY_WITH_TIMEOUT(logged::started(w.log).contains("onChangeCursor"), LIMIT_MS);
    QVERIFY(w.log.debug().contains(SILENCE));
    QCOMPARE(journal::names("MDSV_"), QStringList({GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.rows(), QStringList({"Home"}));
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QCOMPARE(takeCursors(), ARROW);
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!w.isWaiting(), LIMIT_MS);
}

void tst_STKDialogTimers::waitThatRunsOutAndTheReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21);
    w.sdk.answer(GET_MAIN, 1);
    w.logic->SetResponseVar(false);
    w.forget();
    w.dialog->onChangeCursor();
    QCOMPARE(journal::names(), QStringList({GET_MAIN}));
    QCOMPARE(w.rows(), SUB_ROWS); // as it was
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    QCOMPARE(takeCursors(), ARROW);
    QVERIFY(w.log.debug().contains(SILENCE));
}

void tst_STKDialogTimers::waitThatRunsOutWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.logic->SetResponseVar(false);
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.forget();
    w.dialog->onChangeCursor();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!w.log.debug().contains(SILENCE));
    QCOMPARE(takeCursors(), ARROW);
}

void tst_STKDialogTimers::cursorsAreNeverPopped()
{
    DialogWorld &w = *m_world;
    for (int i = 0; i < 2; ++i) {
        w.startWait();
        QVERIFY(w.endWait());
    }
    QCOMPARE(int(QApplication::overrideCursor()->shape()), int(Qt::ArrowCursor));
    w.dialog->onButtonClickClose();
    QCOMPARE(takeCursors(), QList<int>({int(Qt::WaitCursor), int(Qt::ArrowCursor), int(Qt::WaitCursor),
                                        int(Qt::ArrowCursor), int(Qt::ArrowCursor), int(Qt::ArrowCursor)}));
}

void tst_STKDialogTimers::aCommandThatArrivesWithinTheChoice()
{
    DialogWorld &w = *m_world;
    w.sdk.onCall("MDSV_STKSrv_SelectMenuItem", [&w] { w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21); });
    w.table()->selectRow(1);
    w.dialog->onButtonClickSelect();
    // The wait begins after the choice, and so clears the flag that this command has set.
    QCOMPARE(w.rows(), SUB_ROWS);
    QVERIFY(w.isWaiting());
    QVERIFY(!w.logic->GetResponseVar());
}

// ---------------------------------------------------------------- the device

void tst_STKDialogTimers::deviceBackShowsTheMainMenu_data()
{
    waitThatEndsWithACommand_data();
}

void tst_STKDialogTimers::deviceBackShowsTheMainMenu()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21);
    w.sdk.setMainMenu("Again", {{4, "Four"}});
    w.forget();
    w.sdk.raiseDevice(MDSV_DEVICE_AVAILABLE, elsewhere ? support::SdkDouble::Elsewhere : support::SdkDouble::Here);
    QTRY_COMPARE(journal::names("MDSV_"), QStringList({GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.rows(), QStringList({"Four"}));
    QVERIFY(!w.back()->isEnabled());
    QVERIFY(!w.at(&DialogPeek::m_pStkTimer)->isActive());
}

void tst_STKDialogTimers::deviceBackWhenTheReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_MAIN, 1);
    w.dialog->onDeviceAvailable(true);
    QCOMPARE(w.table()->rowCount(), 0);
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
}

void tst_STKDialogTimers::deviceBackWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->onDeviceAvailable(true);
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QCOMPARE(w.rows(), MAIN_ROWS);
}

void tst_STKDialogTimers::deviceLostClosesTheWindow_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("elsewhere");
    QTest::newRow("removed") << MDSV_DEVICE_REMOVED << false;
    QTest::newRow("unavailable") << MDSV_DEVICE_UNAVAILABLE << false;
    QTest::newRow("removed, on the library's thread") << MDSV_DEVICE_REMOVED << true;
}

void tst_STKDialogTimers::deviceLostClosesTheWindow()
{
    QFETCH(int, code);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    const QPointer<QTimer> timer(w.at(&DialogPeek::m_pStkTimer));
    w.sdk.raiseDevice(code, elsewhere ? support::SdkDouble::Elsewhere : support::SdkDouble::Here);
    QTRY_VERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 100);
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(w.at(&DialogPeek::m_strTimerType), QString("STK_DEVICE_TIMER"));
    QVERIFY(frame->isVisible());
    QCOMPARE(journal::names("MDSV_"), QStringList());

    QTRY_VERIFY(!frame);
    QVERIFY(!timer->isActive());
    QCOMPARE(w.at(&DialogPeek::m_strTimerType), QString(""));
    QVERIFY(!w.at(&DialogPeek::m_strTimerType).isNull());
    QCOMPARE(w.setPointers(), QStringList());
    QCOMPARE(journal::count(GET_MAIN), 2);
    QCOMPARE(takeCursors(), QList<int>({int(Qt::ArrowCursor), int(Qt::ArrowCursor)}));
}

void tst_STKDialogTimers::deviceLostTwiceStartsTheDelayAgain()
{
    DialogWorld &w = *m_world;
    QTimer *timer = w.at(&DialogPeek::m_pStkTimer);
    w.dialog->onDeviceAvailable(false);
    // Half of the delay goes by, unless the machine is so slow that all of it has.
    QTRY_VERIFY_WITH_TIMEOUT(timer->remainingTime() < 60, LIMIT_MS);
    const int first = timer->timerId();
    w.dialog->onDeviceAvailable(false);
    QVERIFY(timer->isActive());
    QVERIFY(timer->remainingTime() > 90);
    QVERIFY(first >= 0);
    QVERIFY(w.frame()->isVisible());
    QTRY_VERIFY(!w.frame());
}

void tst_STKDialogTimers::deviceLostWithoutAWindow()
{
    // As before the first window: no timer.
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.at(&DialogPeek::m_strTimerType) = QString();
    w.forget();
    w.dialog->onDeviceAvailable(false);
    QVERIFY(w.at(&DialogPeek::m_strTimerType).isNull());
    QCOMPARE(journal::calls().size(), 0);
    for (QTimer *timer : w.dialog->findChildren<QTimer *>())
        QVERIFY(!timer->isActive());
}

void tst_STKDialogTimers::deviceLostAfterTheWindowWasClosed()
{
    DialogWorld &w = *m_world;
    QTimer *timer = w.at(&DialogPeek::m_pStkTimer);
    w.dialog->onDeviceAvailable(false);
    w.dialog->onButtonClickClose(); // the user was faster
    w.forget();
    QTRY_VERIFY(logged::started(w.log).contains("onSTKTimeOut"));
    QCOMPARE(journal::names("MDSV_"), QStringList());
    timer->stop();
}

void tst_STKDialogTimers::deviceLostWhileWaiting()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    w.startWait();
    w.forget();
    w.dialog->onDeviceAvailable(false);
    QTRY_VERIFY(logged::started(w.log).contains("closeEvent"));
    // The close is refused while the wait runs; the cache is read.
    QVERIFY(frame && frame->isVisible());
    QCOMPARE(journal::count(GET_MAIN), 1);
    QCOMPARE(w.setPointers().size(), 8);
    QVERIFY(!w.at(&DialogPeek::m_pStkTimer)->isActive());

    // The wait ends in silence: the reading is tried again.
    w.sdk.answer(GET_MAIN, 1);
    w.forget();
    w.thread()->RequestStop();
    QTRY_VERIFY(logged::started(w.log).contains("onChangeCursor"));
    QCOMPARE(journal::names(), QStringList({GET_MAIN}));
    QVERIFY(frame->isVisible());
}

void tst_STKDialogTimers::deviceLostAfterEnter()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(1);
    w.at(&DialogPeek::m_bEnterPressed) = true;
    w.sdk.answer("MDSV_STKSrv_SelectMenuItem", 1);
    w.dialog->onDeviceAvailable(false);
    QTRY_VERIFY(logged::started(w.log).contains("onSTKTimeOut"));
    // The cache is not read for the close, which becomes a Select.
    QCOMPARE(journal::names("MDSV_"), QStringList({"MDSV_STKSrv_SelectMenuItem", GET_MAIN, RELEASE_MAIN}));
    QVERIFY(w.frame()->isVisible());
}

void tst_STKDialogTimers::deviceLostWithTheInputDialogOpen()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    showInput([&w] { w.sdk.raiseDevice(MDSV_DEVICE_REMOVED); });
    QCOMPARE(journal::lines("MDSV_STKSrv_Answer"), QStringList({"MDSV_STKSrv_AnswerInput(0, 0, \"\")"}));
    QTRY_VERIFY(!frame);
    QCOMPARE(w.setPointers(), QStringList());
    QVERIFY(!w.at(&DialogPeek::m_pStkInputDlg)->IsDialogCreated());
}

void tst_STKDialogTimers::deviceLostDisarmsTheTimerFirst()
{
    DialogWorld &w = *m_world;
    bool active = true;
    QString tag = "not answered";
    w.sdk.onCall(ANSWER_INPUT, [&] {
        active = w.at(&DialogPeek::m_pStkTimer)->isActive();
        tag = w.at(&DialogPeek::m_strTimerType);
    });
    showInput([&w] { w.dialog->onDeviceAvailable(false); });
    QVERIFY(!active);
    QCOMPARE(tag, QString(""));
}

void tst_STKDialogTimers::deviceBackWithinTheDelay()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    w.dialog->onDeviceAvailable(false);
    w.dialog->onDeviceAvailable(true);
    QVERIFY(w.at(&DialogPeek::m_pStkTimer)->isActive()); // nothing takes the loss back
    QTRY_VERIFY(!frame);
    QVERIFY(w.show());
    QCOMPARE(w.rows(), MAIN_ROWS);
}

// ---------------------------------------------------------------- the timer

void tst_STKDialogTimers::timerWithAnotherTagChangesNothing_data()
{
    QTest::addColumn<QString>("tag");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString("");
    QTest::newRow("unknown") << QString("STK_OTHER_TIMER");
    QTest::newRow("lower case") << QString("stk_device_timer");
}

void tst_STKDialogTimers::timerWithAnotherTagChangesNothing()
{
    QFETCH(QString, tag);
    DialogWorld &w = *m_world;
    QDialog question;
    w.at(&DialogPeek::m_pMsgDialog) = &question;
    w.at(&DialogPeek::m_strTimerType) = tag;
    QTimer *timer = w.at(&DialogPeek::m_pStkTimer);
    timer->start(10);
    QTRY_VERIFY(logged::started(w.log).count("onSTKTimeOut") >= 2);
    QVERIFY(timer->isActive());
    QCOMPARE(w.at(&DialogPeek::m_strTimerType), tag);
    QCOMPARE(w.at(&DialogPeek::m_strTimerType).isNull(), tag.isNull());
    QCOMPARE(w.at(&DialogPeek::m_pMsgDialog), &question);
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::calls().size(), 0);
    w.at(&DialogPeek::m_pMsgDialog) = nullptr;
}

void tst_STKDialogTimers::timerThatIsMissingDoesNothing()
{
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkTimer) = nullptr;
    for (const char *tag : {"STK_DEVICE_TIMER", "STK_MSGBOX_TIMER"}) {
        w.at(&DialogPeek::m_strTimerType) = tag;
        w.dialog->onSTKTimeOut();
        QCOMPARE(w.at(&DialogPeek::m_strTimerType), QString(tag));
    }
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKDialogTimers::timerOfAQuestionClosesIt()
{
    DialogWorld &w = *m_world;
    QDialog question;
    question.show();
    w.at(&DialogPeek::m_pMsgDialog) = &question;
    w.at(&DialogPeek::m_strTimerType) = "STK_MSGBOX_TIMER";
    w.at(&DialogPeek::m_pStkTimer)->start(10);
    QTRY_VERIFY(!question.isVisible());
    QVERIFY(!w.at(&DialogPeek::m_pMsgDialog));
    QVERIFY(!w.at(&DialogPeek::m_pStkTimer)->isActive());
    QCOMPARE(w.at(&DialogPeek::m_strTimerType), QString(""));
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::names("MDSV_"), QStringList());
}

void tst_STKDialogTimers::timerOfAQuestionIsDisarmedFirst()
{
    DialogWorld &w = *m_world;
    NotingQuestion question(w);
    question.show();
    w.at(&DialogPeek::m_pMsgDialog) = &question;
    w.at(&DialogPeek::m_strTimerType) = "STK_MSGBOX_TIMER";
    w.at(&DialogPeek::m_pStkTimer)->start(10);
    QTRY_VERIFY(!question.isVisible());
    QVERIFY(!question.active);
    QCOMPARE(question.tag, QString(""));
}

void tst_STKDialogTimers::timerOfAQuestionThatHasClosed()
{
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_strTimerType) = "STK_MSGBOX_TIMER";
    w.at(&DialogPeek::m_pStkTimer)->start(10);
    QTRY_COMPARE(w.at(&DialogPeek::m_strTimerType), QString(""));
    QVERIFY(!w.at(&DialogPeek::m_pStkTimer)->isActive());
    QVERIFY(w.frame()->isVisible());
}

// ---------------------------------------------------------------- the end of the session

void tst_STKDialogTimers::endOfSession_data()
{
    waitThatEndsWithACommand_data();
}

void tst_STKDialogTimers::endOfSession()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21);
    w.logic->UpdateCBReturnVal(true);
    w.forget();
    if (elsewhere)
        w.raiseElsewhere(MDSV_STKTYPE_END_SESSION, 22);
    else
        w.sdk.raiseStk(MDSV_STKTYPE_END_SESSION, 22);
    QCOMPARE(journal::names("MDSV_"), QStringList());
    QCOMPARE(w.rows(), MAIN_ROWS);
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QVERIFY(!w.back()->isEnabled());
    QVERIFY(w.log.debug().contains("Updated vale is 1, ../../src/STKPlugin/STKLogic: UpdateCBReturnVal: <time>: "));
}

void tst_STKDialogTimers::endOfSessionRunsInOrder()
{
    DialogWorld &w = *m_world;
    showInput([&w] {
        w.log.clear();
        w.dialog->onSTKEndSession();
    });
    const QStringList order = logged::started(w.log, nullptr);
    const int atClose = order.indexOf("STKInputDlg::CloseDlg");
    const int atMenu = order.indexOf("STKDialog::showMainMenu");
    const int atVerdict = order.indexOf("STKLogic::UpdateCBReturnVal");
    QVERIFY2(0 < atClose && atClose < atMenu && atMenu < atVerdict, qPrintable(order.join('\n')));
}

void tst_STKDialogTimers::endOfSessionDoesNotReadTheMenu()
{
    DialogWorld &w = *m_world;
    w.sdk.setMainMenu("Changed", {{9, "Nine"}});
    w.dialog->onSTKEndSession();
    QCOMPARE(w.rows(), MAIN_ROWS); // the cached menu
    QCOMPARE(w.frame()->windowTitle(), QString("Operator"));
    QCOMPARE(journal::names("MDSV_"), QStringList());
}

void tst_STKDialogTimers::endOfSessionWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21);
    w.forget();
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->onSTKEndSession();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(w.rows(), MAIN_ROWS);
    QVERIFY(!logged::started(w.log, "STKLogic").contains("UpdateCBReturnVal"));
}

void tst_STKDialogTimers::endOfSessionClosesTheInputDialog()
{
    DialogWorld &w = *m_world;
    showInput([&w] { w.sdk.raiseStk(MDSV_STKTYPE_END_SESSION, 22); });
    QVERIFY(!w.at(&DialogPeek::m_pStkInputDlg)->IsDialogCreated());
    QCOMPARE(journal::callsOf("MDSV_STKSrv_AnswerInput").size(), 1);
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(w.rows(), MAIN_ROWS);
}

void tst_STKDialogTimers::closeInputDialogSignal()
{
    DialogWorld &w = *m_world;
    showInput([&w] {
        w.log.clear();
        emit w.logic->CloseInputDlg();
    });
    QVERIFY(!w.at(&DialogPeek::m_pStkInputDlg)->IsDialogCreated());
    QCOMPARE(journal::callsOf("MDSV_STKSrv_AnswerInput").size(), 1);
    QVERIFY(!logged::started(w.log, "STKLogic").contains("UpdateCBReturnVal"));
    QCOMPARE(journal::count(GET_MAIN), 0);
}

void tst_STKDialogTimers::closeInputDialogSignalWithoutOne()
{
    DialogWorld &w = *m_world;
    emit w.logic->CloseInputDlg();
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!logged::started(w.log, "STKInputDlg").contains("CloseDlg"));
    w.at(&DialogPeek::m_pStkInputDlg) = nullptr;
    emit w.logic->CloseInputDlg();
    w.dialog->onSTKEndSession();
    w.at(&DialogPeek::m_strTimerType) = "STK_DEVICE_TIMER";
    w.dialog->onSTKTimeOut();
    QVERIFY(!w.frame());
}

void tst_STKDialogTimers::theWindowsEndWithinTheCancel_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<QString>("next"); // what would follow in the controller
    QTest::newRow("device lost") << QByteArray("onSTKTimeOut") << "onButtonClickClose";
    QTest::newRow("end of session") << QByteArray("onSTKEndSession") << "showMainMenu";
    QTest::newRow("close the input dialog") << QByteArray("onCloseInputDlg") << "";
}

/// The open input dialog's Cancel brings the end of everything: the controller that asked for it is not touched again.
void tst_STKDialogTimers::theWindowsEndWithinTheCancel()
{
    QFETCH(QByteArray, slot);
    QFETCH(QString, next);
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_strTimerType) = "STK_DEVICE_TIMER";
    w.sdk.onCall(ANSWER_INPUT, [&w] {
        w.dialog->unSDKRegisterEvent();
        STKDialog::Destroy();
        w.logic = nullptr;
    });
    QStringList after;
    showInput([&] {
        STKDialog *dialog = w.dialog;
        w.log.clear();
        QMetaObject::invokeMethod(dialog, slot.constData(), Qt::DirectConnection);
        after = logged::started(w.log);
        delete w.host; // and with it the windows, which are nobody's any more
    });
    w.dialog = nullptr;
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    QCOMPARE(after.value(0), QString(slot));
    QCOMPARE(after.value(after.size() - 1), QString("~STKDialog"));
    QVERIFY(next.isEmpty() || !after.contains(next));
}

QTEST_MAIN(tst_STKDialogTimers)
#include "tst_STKDialogTimers.moc"
