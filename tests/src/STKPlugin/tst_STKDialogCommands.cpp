// The window's controller: texts, and the commands that show nothing.
#include "CommandWorld.h"

#include "support/ModalDriver.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

using command::raise;
using command::requests;
using command::verdicts;
using support::ModalDriver;
namespace journal = support::journal;

namespace
{
const char RESPOND[] = "MDSV_STKSrv_SendNoDataResponse";
const char GET_TEXT[] = "MDSV_STKSrv_GetPromptText";
const char GET_BROWSER[] = "MDSV_STKSrv_GetLaunchBrowser";
const char GET_IDLE[] = "MDSV_STKSrv_GetIdleModePrompt";
const char GET_REFRESH[] = "MDSV_STKSrv_GetRefreshInfo";

const QString OK_TEXT = "tr:XFramePlugin:IDS_OK";
const QString TAG = "STK_MSGBOX_TIMER";
const int AUTO = 0;
const int USER = 1;
const QList<int> ACCEPTED = {1};
const QList<int> REFUSED = {0};
} // namespace

class tst_STKDialogCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void withoutLogicNothingIsAnswered_data();
    void withoutLogicNothingIsAnswered();
    void slotsLogTheirStartAndEnd_data();
    void slotsLogTheirStartAndEnd();
    void aRefusedCommandBringsTheMainMenuBack();
    void aRefusalOnTheLibrarysThreadMeetsTheNextCommand();

    void textIsAnsweredWithItsOutcome_data();
    void textIsAnsweredWithItsOutcome();
    void textIsAnsweredAfterItHasClosed_data();
    void textIsAnsweredAfterItHasClosed();
    void textThatCannotBeRead_data();
    void textThatCannotBeRead();
    void textWhoseResponseFails_data();
    void textWhoseResponseFails();
    void textIsShownAsItIs();
    void textThatClearsItselfWithoutAWindow_data();
    void textThatClearsItselfWithoutAWindow();
    void textForTheUserWithoutAWindow_data();
    void textForTheUserWithoutAWindow();
    void countDownStarts_data();
    void countDownStarts();
    void countDownShowsEverySecond_data();
    void countDownShowsEverySecond();
    void countDownInRealTime();
    void textForTheUserDoesNotCountDown_data();
    void textForTheUserDoesNotCountDown();
    void theCountDownsTimerIsMadeOnce();
    void theGeneralTimerIsOnlyTagged();

    void setUpCallFollowsTheSending_data();
    void setUpCallFollowsTheSending();
    void sendCommandsAreOnlyAcknowledged_data();
    void sendCommandsAreOnlyAcknowledged();
    void sendSupplementaryServiceHasItsOwnSlot();
    void refreshFollowsTheReading_data();
    void refreshFollowsTheReading();
    void browserOpensAddressesThatAreGiven_data();
    void browserOpensAddressesThatAreGiven();
    void browserThatCannotBeRead_data();
    void browserThatCannotBeRead();
    void idleTextIsReadAndNotShown_data();
    void idleTextIsReadAndNotShown();
    void idleTextThatCannotBeRead_data();
    void idleTextThatCannotBeRead();
    void responseThatFails_data();
    void responseThatFails();
    void destroyedWithinTheResponse_data();
    void destroyedWithinTheResponse();

private:
    bool showText(int mode, int seconds, std::function<void(QWidget *)> act, bool elsewhere = false);
    QTimer *msgTimer() const { return m_world->at(&DialogPeek::m_pMsgTimer); }
    void closeWindow();

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogCommands::init()
{
    m_world.reset(new DialogWorld);
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKDialogCommands::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

/// Raises DISPLAY TEXT 5 "Hello" and acts once in its frame; false when that never came or stayed open.
bool tst_STKDialogCommands::showText(int mode, int seconds, std::function<void(QWidget *)> act, bool elsewhere)
{
    m_world->sdk.setPrompt("Hello", mode, seconds);
    ModalDriver driver;
    driver.on("ExtendDialog", act);
    raise(*m_world, MDSV_STKTYPE_DISPLAY_TEXT, 5, elsewhere);
    return driver.isDone();
}

void tst_STKDialogCommands::closeWindow()
{
    m_world->dialog->onButtonClickClose();
    m_world->forget();
}

// ---------------------------------------------------------------- all of them

void tst_STKDialogCommands::withoutLogicNothingIsAnswered_data()
{
    QTest::addColumn<QString>("slot");
    for (const char *slot : {"onSTKDisplayText", "onSTKSetupCall", "onSTKSendSMS", "onSTKSendSS", "onSTKSendUSSD",
                             "onSTKRefresh", "onSTKLaunchBrowser", "onSTKSetupIdleModeText"})
        QTest::newRow(slot) << slot;
}

void tst_STKDialogCommands::withoutLogicNothingIsAnswered()
{
    QFETCH(QString, slot);
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    QVERIFY(QMetaObject::invokeMethod(w.dialog, slot.toLatin1().constData(), Qt::DirectConnection));
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(verdicts(w), QList<int>());
    QCOMPARE(w.log.debug().value(0), logged::start(slot.toLatin1().constData()));
    QVERIFY2(w.log.debug().size() >= 2, "the missing object is not logged");
    QVERIFY(w.log.debug().at(1) != logged::end(slot.toLatin1().constData()));
}

void tst_STKDialogCommands::slotsLogTheirStartAndEnd_data()
{
    QTest::addColumn<QByteArray>("slot");
    for (const char *slot :
         {"onSTKSetupCall", "onSTKSendSMS", "onSTKSendSS", "onSTKSendUSSD", "onSTKRefresh", "onSTKLaunchBrowser",
          "onSTKSetupIdleModeText", "onSTKSetupMenu", "onSTKSelItem", "onSTKEndSession", "onShowMainMenu",
          "onCloseInputDlg", "onChangeCursor", "onSTKTimeOut", "onSTKPlayToneTimeOut"})
        QTest::newRow(slot) << QByteArray(slot);
}

void tst_STKDialogCommands::slotsLogTheirStartAndEnd()
{
    QFETCH(QByteArray, slot);
    DialogWorld &w = *m_world;
    w.sdk.setBrowser(0, "");
    w.sdk.setIdleText("Idle");
    w.logic->SetResponseVar(true);
    w.forget();
    QVERIFY(QMetaObject::invokeMethod(w.dialog, slot.constData(), Qt::DirectConnection));
    QCOMPARE(logged::linesOf(w.log, slot.constData()),
             QStringList({logged::start(slot.constData()), logged::end(slot.constData())}));
    QCOMPARE(w.log.debug().first(), logged::start(slot.constData()));
    QCOMPARE(w.log.debug().last(), logged::end(slot.constData()));
}

void tst_STKDialogCommands::aRefusedCommandBringsTheMainMenuBack()
{
    DialogWorld &w = *m_world;
    raise(w, MDSV_STKTYPE_SELECT_ITEM, 4);
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    w.sdk.answer(GET_REFRESH, 1);
    w.forget();
    raise(w, MDSV_STKTYPE_REFRESH, 77);
    QCOMPARE(journal::names("MDSV_"),
             QStringList({GET_REFRESH, RESPOND, "MDSV_STKSrv_GetMainMenu", "MDSV_STKSrv_ReleaseMenus"}));
    QCOMPARE(w.rows(), QStringList({"Balance", "News", "Help"}));
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
}

void tst_STKDialogCommands::aRefusalOnTheLibrarysThreadMeetsTheNextCommand()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_REFRESH, 1);
    raise(w, MDSV_STKTYPE_REFRESH, 77, true);
    // The verdict came after the callback had returned.
    QCOMPARE(requests(), QStringList({"GetRefreshInfo(77)"}));
    raise(w, MDSV_STKTYPE_SEND_SMS, 78, true);
    QCOMPARE(requests(), QStringList({"GetRefreshInfo(77)", "SendNoDataResponse(78, 9, 0)"}));
}

// ---------------------------------------------------------------- DISPLAY TEXT

void tst_STKDialogCommands::textIsAnsweredWithItsOutcome_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("way");
    QTest::addColumn<bool>("elsewhere");
    QTest::addColumn<int>("result");
    const QList<QPair<QString, int>> ways = {{"IDS_OK", 1}, {"IDS_CANCEL", 0}, {"close button", 0}, {"Escape", 0}};
    for (int mode : {AUTO, USER}) {
        for (const auto &way : ways) {
            for (bool elsewhere : {false, true})
                QTest::addRow("%s, %s, %s", mode == AUTO ? "clears itself" : "for the user", qPrintable(way.first),
                              elsewhere ? "library's thread" : "user-interface thread")
                    << mode << way.first << elsewhere << way.second;
        }
    }
}

void tst_STKDialogCommands::textIsAnsweredWithItsOutcome()
{
    QFETCH(int, mode);
    QFETCH(QString, way);
    QFETCH(bool, elsewhere);
    QFETCH(int, result);
    QVERIFY(showText(
        mode, 9, [way](QWidget *frame) { command::leave(frame, way); }, elsewhere));
    QCOMPARE(requests(), QStringList({"GetPromptText(5)", QString("SendNoDataResponse(5, 1, %1)").arg(result)}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgBoxDlg));
    QVERIFY(!msgTimer()->isActive());
    QVERIFY(m_world->frame()->isVisible());
    QCOMPARE(command::linesBetween(*m_world, "onSTKDisplayText"), QStringList());
    QCOMPARE(logged::linesOf(m_world->log, "onSTKDisplayText").size(), 2);
}

void tst_STKDialogCommands::textIsAnsweredAfterItHasClosed_data()
{
    command::threadRows();
}

void tst_STKDialogCommands::textIsAnsweredAfterItHasClosed()
{
    QFETCH(bool, elsewhere);
    QStringList meanwhile;
    QList<int> verdictsMeanwhile;
    const auto act = [&](QWidget *frame) {
        meanwhile = requests();
        verdictsMeanwhile = verdicts(*m_world);
        command::leave(frame, "IDS_OK");
    };
    QVERIFY(showText(USER, 0, act, elsewhere));
    QCOMPARE(meanwhile, QStringList({"GetPromptText(5)"}));
    QCOMPARE(verdictsMeanwhile, QList<int>());
    const QStringList order = logged::started(m_world->log, nullptr);
    const int atRead = order.indexOf("STKLogic::GetPromptText");
    const int atShow = order.indexOf("STKDialog::showTimeMessageBox");
    const int atSend = order.indexOf("STKLogic::SendNoDataResponse");
    const int atVerdict = order.indexOf("STKLogic::UpdateCBReturnVal");
    QVERIFY2(0 < atRead && atRead < atShow && atShow < atSend && atSend < atVerdict, qPrintable(order.join('\n')));
}

void tst_STKDialogCommands::textThatCannotBeRead_data()
{
    QTest::addColumn<bool>("elsewhere");
    QTest::addColumn<bool>("window");
    QTest::addColumn<int>("status");
    QTest::newRow("with a window") << false << true << 1;
    QTest::newRow("with a window, on the library's thread") << true << true << -1;
    QTest::newRow("without a window") << false << false << 7;
    QTest::newRow("without a window, on the library's thread") << true << false << 1;
}

void tst_STKDialogCommands::textThatCannotBeRead()
{
    QFETCH(bool, elsewhere);
    QFETCH(bool, window);
    QFETCH(int, status);
    DialogWorld &w = *m_world;
    if (!window)
        closeWindow();
    w.sdk.setPrompt("Hello", AUTO, 9);
    w.sdk.answer(GET_TEXT, status);
    w.at(&DialogPeek::m_nMsgTimeOut) = 17; // of an earlier text
    const int frames = w.core.frames().size();
    raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 5, elsewhere);
    QCOMPARE(journal::lines(), QStringList({"MDSV_STKSrv_GetPromptText(5)"}));
    QCOMPARE(verdicts(w), QList<int>());
    QCOMPARE(w.core.frames().size(), frames);
    QVERIFY(!msgTimer());
    QCOMPARE(w.at(&DialogPeek::m_nMsgTimeOut), 0);
    QVERIFY(w.at(&DialogPeek::m_strTimerType).isEmpty());
    QCOMPARE(command::linesBetween(w, "onSTKDisplayText").size(), 1);
}

void tst_STKDialogCommands::textWhoseResponseFails_data()
{
    command::threadRows();
}

void tst_STKDialogCommands::textWhoseResponseFails()
{
    QFETCH(bool, elsewhere);
    m_world->sdk.answer(RESPOND, 3);
    QVERIFY(showText(
        USER, 0, [](QWidget *frame) { frame->close(); }, elsewhere));
    QCOMPARE(requests(), QStringList({"GetPromptText(5)", "SendNoDataResponse(5, 1, 0)"}));
    QCOMPARE(command::linesBetween(*m_world, "onSTKDisplayText"),
             QStringList({command::line("SendNoDataResponse Failed ", "onSTKDisplayText")}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);
}

void tst_STKDialogCommands::textIsShownAsItIs()
{
    const QString text = QString::fromUtf8("<b>Баланс</b>\n余额 &amp; more");
    m_world->sdk.setPrompt(text, USER, 0);
    ModalDriver driver;
    QString shown;
    driver.on("ExtendDialog", [&shown](QWidget *frame) {
        shown = frame->findChild<WsMessageBox *>()->text();
        frame->close();
    });
    raise(*m_world, MDSV_STKTYPE_DISPLAY_TEXT, 5);
    QVERIFY(driver.isDone());
    QCOMPARE(shown, text);
}

void tst_STKDialogCommands::textThatClearsItselfWithoutAWindow_data()
{
    command::threadRows();
}

void tst_STKDialogCommands::textThatClearsItselfWithoutAWindow()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    closeWindow();
    const int frames = w.core.frames().size();
    w.sdk.setPrompt("Hello", AUTO, 9);
    raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 5, elsewhere);
    QCOMPARE(verdicts(w), REFUSED);
    QCOMPARE(w.core.frames().size(), frames);
    QCOMPARE(journal::count("CommonUtils::GetMainWindow"), 0);
    QCOMPARE(w.at(&DialogPeek::m_strTimerType), TAG);
    QVERIFY(msgTimer() && !msgTimer()->isActive());
    // On its own thread the library learns the verdict at once, and the card is told that nothing was shown.
    const QStringList told = {"GetPromptText(5)", "SendNoDataResponse(5, 1, 0)"};
    QCOMPARE(requests(), elsewhere ? QStringList({"GetPromptText(5)"}) : told);
}

void tst_STKDialogCommands::textForTheUserWithoutAWindow_data()
{
    command::threadRows();
}

void tst_STKDialogCommands::textForTheUserWithoutAWindow()
{
    QFETCH(bool, elsewhere);
    closeWindow();
    QVERIFY(showText(
        USER, 9, [](QWidget *frame) { command::leave(frame, "IDS_OK"); }, elsewhere));
    QCOMPARE(requests(), QStringList({"GetPromptText(5)", "SendNoDataResponse(5, 1, 1)"}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);
}

void tst_STKDialogCommands::countDownStarts_data()
{
    QTest::addColumn<int>("given");
    QTest::addColumn<int>("seconds");
    QTest::newRow("no duration") << 0 << 3;
    QTest::newRow("shortest") << 1 << 1;
    QTest::newRow("usual") << 20 << 20;
    QTest::newRow("longest") << 65535 << 65535;
}

void tst_STKDialogCommands::countDownStarts()
{
    QFETCH(int, given);
    QFETCH(int, seconds);
    DialogWorld &w = *m_world;
    bool active = false;
    bool single = true;
    QList<int> values;
    QString button;
    const auto act = [&](QWidget *frame) {
        active = msgTimer()->isActive();
        single = msgTimer()->isSingleShot();
        values << msgTimer()->interval() << w.at(&DialogPeek::m_nMsgTimeOut) << w.at(&DialogPeek::m_nMsgRemain)
               << w.at(&DialogPeek::m_nMsgTick);
        button = w.at(&DialogPeek::m_pMsgBtnOk)->text();
        frame->close();
    };
    QVERIFY(showText(AUTO, given, act));
    QVERIFY(active);
    QVERIFY(!single);
    QCOMPARE(values, QList<int>({1000, seconds, seconds, 0}));
    QCOMPARE(button, OK_TEXT); // until the first second is over
    QCOMPARE(msgTimer()->parent(), w.dialog);
}

void tst_STKDialogCommands::countDownShowsEverySecond_data()
{
    QTest::addColumn<int>("given");
    QTest::addColumn<int>("seconds");
    QTest::newRow("no duration") << 0 << 3;
    QTest::newRow("1 second") << 1 << 1;
    QTest::newRow("5 seconds") << 5 << 5;
}

void tst_STKDialogCommands::countDownShowsEverySecond()
{
    QFETCH(int, given);
    QFETCH(int, seconds);
    QStringList expected;
    for (int i = seconds; i >= 0; --i)
        expected << OK_TEXT + " = " + QString::number(i);
    QStringList shown;
    QString open;
    const auto act = [&](QWidget *frame) {
        const QPointer<QPushButton> ok(m_world->at(&DialogPeek::m_pMsgBtnOk));
        msgTimer()->stop();
        for (int i = 0; i <= seconds; ++i) {
            command::fire(msgTimer());
            shown << (ok ? ok->text() : QString());
            open += frame->isVisible() ? 'v' : 'h';
        }
    };
    QVERIFY(showText(AUTO, given, act));
    QCOMPARE(shown, expected);
    QCOMPARE(open, QString(seconds, 'v') + 'h');
    // A text that clears itself counts as accepted.
    QCOMPARE(requests(), QStringList({"GetPromptText(5)", "SendNoDataResponse(5, 1, 1)"}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);
}

void tst_STKDialogCommands::countDownInRealTime()
{
    DialogWorld &w = *m_world;
    w.sdk.setPrompt("Hello", AUTO, 1);
    QElapsedTimer clock;
    clock.start();
    ModalDriver limit(10000);
    raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 5);
    QVERIFY(limit.isDone());
    QVERIFY2(clock.elapsed() > 1800, "it closes after one second more than the display time");
    QCOMPARE(logged::started(w.log).count("onMessageTimeOut"), 2);
    QCOMPARE(requests(), QStringList({"GetPromptText(5)", "SendNoDataResponse(5, 1, 1)"}));
    QVERIFY(!msgTimer()->isActive());
}

void tst_STKDialogCommands::textForTheUserDoesNotCountDown_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("the user clears") << 1;
    QTest::newRow("unknown") << 5;
    QTest::newRow("negative") << -1;
}

void tst_STKDialogCommands::textForTheUserDoesNotCountDown()
{
    QFETCH(int, mode);
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_strTimerType) = "as it was";
    bool active = true;
    QString button;
    const auto act = [&](QWidget *frame) {
        active = msgTimer()->isActive();
        button = w.at(&DialogPeek::m_pMsgBtnOk)->text();
        frame->close();
    };
    QVERIFY(showText(mode, 4, act));
    QVERIFY(!active);
    QCOMPARE(button, OK_TEXT);
    QCOMPARE(w.at(&DialogPeek::m_nMsgTimeOut), 4);
    QCOMPARE(w.at(&DialogPeek::m_strTimerType), QString("as it was"));
}

void tst_STKDialogCommands::theCountDownsTimerIsMadeOnce()
{
    QVERIFY(!msgTimer());
    QVERIFY(showText(USER, 0, [](QWidget *frame) { frame->close(); }));
    const QPointer<QTimer> timer(msgTimer());
    QVERIFY(timer);
    QVERIFY(showText(AUTO, 5, [](QWidget *frame) { frame->close(); }));
    QCOMPARE(msgTimer(), timer.data());
    m_world->log.clear();
    command::fire(timer);
    QCOMPARE(logged::started(m_world->log), QStringList({"onMessageTimeOut"}));
}

void tst_STKDialogCommands::theGeneralTimerIsOnlyTagged()
{
    DialogWorld &w = *m_world;
    bool active = true;
    QString tag;
    const auto act = [&](QWidget *frame) {
        active = w.at(&DialogPeek::m_pStkTimer)->isActive();
        tag = w.at(&DialogPeek::m_strTimerType);
        frame->close();
    };
    QVERIFY(showText(AUTO, 5, act));
    QCOMPARE(tag, TAG);
    QVERIFY(!active);
    QCOMPARE(w.at(&DialogPeek::m_strTimerType), TAG);
}

// ---------------------------------------------------------------- commands that show nothing

void tst_STKDialogCommands::setUpCallFollowsTheSending_data()
{
    QTest::addColumn<bool>("elsewhere");
    QTest::addColumn<int>("status");
    QTest::newRow("sent") << false << 0;
    QTest::newRow("sent, on the library's thread") << true << 0;
    QTest::newRow("not sent") << false << 9;
    QTest::newRow("not sent, on the library's thread") << true << 9;
}

void tst_STKDialogCommands::setUpCallFollowsTheSending()
{
    QFETCH(bool, elsewhere);
    QFETCH(int, status);
    DialogWorld &w = *m_world;
    w.sdk.answerOnce(RESPOND, status);
    raise(w, MDSV_STKTYPE_SETUP_CALL, 8, elsewhere);
    QStringList expected = {"SendNoDataResponse(8, 4, 4)"};
    if (status && !elsewhere)
        expected << "SendNoDataResponse(8, 4, 0)"; // the callback learns the verdict and answers by itself
    QCOMPARE(requests(), expected);
    QCOMPARE(verdicts(w), status ? REFUSED : ACCEPTED);
    const QStringList failed = {command::line("SendNoDataResponse failed ", "onSTKSetupCall")};
    QCOMPARE(command::linesBetween(w, "onSTKSetupCall"), status ? failed : QStringList());
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 0);
    QCOMPARE(journal::count("ExtendDialog::ExtendDialog"), 0);
}

void tst_STKDialogCommands::sendCommandsAreOnlyAcknowledged_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("elsewhere");
    const QList<QPair<const char *, int>> types = {
        {"SEND SS", MDSV_STKTYPE_SEND_SS}, {"SEND SMS", MDSV_STKTYPE_SEND_SMS}, {"SEND USSD", MDSV_STKTYPE_SEND_USSD}};
    for (const auto &type : types) {
        for (bool elsewhere : {false, true})
            QTest::addRow("%s%s", type.first, elsewhere ? ", on the library's thread" : "") << type.second << elsewhere;
    }
}

void tst_STKDialogCommands::sendCommandsAreOnlyAcknowledged()
{
    QFETCH(int, type);
    QFETCH(bool, elsewhere);
    raise(*m_world, type, 8, elsewhere);
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(verdicts(*m_world), ACCEPTED);
    const char *slot = type == MDSV_STKTYPE_SEND_USSD ? "onSTKSendUSSD" : "onSTKSendSMS";
    QCOMPARE(logged::linesOf(m_world->log, slot), QStringList({logged::start(slot), logged::end(slot)}));
}

void tst_STKDialogCommands::sendSupplementaryServiceHasItsOwnSlot()
{
    emit m_world->logic->STKSendSS();
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(verdicts(*m_world), ACCEPTED);
    QCOMPARE(logged::started(m_world->log), QStringList({"onSTKSendSS"}));
}

void tst_STKDialogCommands::refreshFollowsTheReading_data()
{
    setUpCallFollowsTheSending_data();
}

void tst_STKDialogCommands::refreshFollowsTheReading()
{
    QFETCH(bool, elsewhere);
    QFETCH(int, status);
    m_world->sdk.answer(GET_REFRESH, status);
    raise(*m_world, MDSV_STKTYPE_REFRESH, 8, elsewhere);
    QStringList expected = {"GetRefreshInfo(8)"};
    if (status && !elsewhere)
        expected << "SendNoDataResponse(8, 7, 0)"; // by the callback
    QCOMPARE(requests(), expected);
    QCOMPARE(verdicts(*m_world), status ? REFUSED : ACCEPTED);
    QCOMPARE(journal::count("ExtendDialog::ExtendDialog"), 0);
}

void tst_STKDialogCommands::browserOpensAddressesThatAreGiven_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("opens");
    QTest::addColumn<bool>("elsewhere");
    QTest::newRow("address") << "http://example.org/a?b=1&c=%20" << 0 << true << false;
    QTest::newRow("address, on the library's thread") << "https://example.org" << 2 << true << true;
    QTest::newRow("address that is not opened") << "http://example.org" << 3 << false << false;
    QTest::newRow("unknown mode") << "http://example.org" << 1 << true << false;
    QTest::newRow("none") << "" << 0 << true << false;
    QTest::newRow("none, on the library's thread") << "" << 0 << true << true;
    QTest::newRow("blank") << " " << 0 << true << false;
}

void tst_STKDialogCommands::browserOpensAddressesThatAreGiven()
{
    QFETCH(QString, url);
    QFETCH(int, mode);
    QFETCH(bool, opens);
    QFETCH(bool, elsewhere);
    m_world->sdk.setBrowser(mode, url);
    m_world->core.setOpenUrlResult(opens);
    raise(*m_world, MDSV_STKTYPE_LAUNCH_BROWSER, 8, elsewhere);
    QStringList expected = {"MDSV_STKSrv_GetLaunchBrowser(8, true)"};
    if (!url.isEmpty())
        expected << QString("CommonUtils::OpenUrl(\"%1\")").arg(url);
    expected << "MDSV_STKSrv_SendNoDataResponse(8, 11, 1)";
    QCOMPARE(journal::lines(), expected);
    QCOMPARE(verdicts(*m_world), ACCEPTED);
    QCOMPARE(command::linesBetween(*m_world, "onSTKLaunchBrowser"), QStringList());
}

void tst_STKDialogCommands::browserThatCannotBeRead_data()
{
    command::threadRows();
}

void tst_STKDialogCommands::browserThatCannotBeRead()
{
    QFETCH(bool, elsewhere);
    m_world->sdk.setBrowser(0, "http://example.org");
    m_world->sdk.answer(GET_BROWSER, 1);
    raise(*m_world, MDSV_STKTYPE_LAUNCH_BROWSER, 8, elsewhere);
    const QStringList answered = {"GetLaunchBrowser(8, true)", "SendNoDataResponse(8, 11, 0)"};
    QCOMPARE(requests(), answered.mid(0, elsewhere ? 1 : 2));
    QCOMPARE(journal::count("CommonUtils::OpenUrl"), 0);
    QCOMPARE(verdicts(*m_world), REFUSED);
    QCOMPARE(command::linesBetween(*m_world, "onSTKLaunchBrowser"),
             QStringList({command::line("GetLaunchBrowser() failed ", "onSTKLaunchBrowser")}));
}

void tst_STKDialogCommands::idleTextIsReadAndNotShown_data()
{
    command::threadRows();
}

void tst_STKDialogCommands::idleTextIsReadAndNotShown()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    const QImage before = w.frame()->grab().toImage();
    const int windows = QApplication::topLevelWidgets().size();
    w.sdk.setIdleText("Operator says hello");
    raise(w, MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, 8, elsewhere);
    QCOMPARE(journal::lines(),
             QStringList({"MDSV_STKSrv_GetIdleModePrompt(8)", "MDSV_STKSrv_SendNoDataResponse(8, 12, 1)"}));
    QCOMPARE(verdicts(w), ACCEPTED);
    QCOMPARE(QApplication::topLevelWidgets().size(), windows);
    QVERIFY(w.frame()->grab().toImage() == before);
    QCOMPARE(command::linesBetween(w, "onSTKSetupIdleModeText"), QStringList());
}

void tst_STKDialogCommands::idleTextThatCannotBeRead_data()
{
    command::threadRows();
}

void tst_STKDialogCommands::idleTextThatCannotBeRead()
{
    QFETCH(bool, elsewhere);
    m_world->sdk.answer(GET_IDLE, 1);
    raise(*m_world, MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, 8, elsewhere);
    const QStringList answered = {"GetIdleModePrompt(8)", "SendNoDataResponse(8, 12, 0)"};
    QCOMPARE(requests(), answered.mid(0, elsewhere ? 1 : 2));
    QCOMPARE(verdicts(*m_world), REFUSED);
    QCOMPARE(command::linesBetween(*m_world, "onSTKSetupIdleModeText"),
             QStringList({command::line("GetIdleModePrompt() failed ", "onSTKSetupIdleModeText")}));
}

void tst_STKDialogCommands::responseThatFails_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("slot");
    QTest::addColumn<bool>("elsewhere");
    for (bool elsewhere : {false, true}) {
        const char *where = elsewhere ? ", on the library's thread" : "";
        QTest::addRow("browser%s", where) << int(MDSV_STKTYPE_LAUNCH_BROWSER) << "onSTKLaunchBrowser" << elsewhere;
        QTest::addRow("idle text%s", where)
            << int(MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT) << "onSTKSetupIdleModeText" << elsewhere;
    }
}

void tst_STKDialogCommands::responseThatFails()
{
    QFETCH(int, type);
    QFETCH(QString, slot);
    QFETCH(bool, elsewhere);
    m_world->sdk.setBrowser(0, "");
    m_world->sdk.setIdleText("Idle");
    m_world->sdk.answer(RESPOND, 1);
    raise(*m_world, type, 8, elsewhere);
    QCOMPARE(requests().value(1), QString("SendNoDataResponse(8, %1, 1)").arg(type));
    QCOMPARE(requests().size(), 2);
    QCOMPARE(verdicts(*m_world), ACCEPTED);
    QCOMPARE(command::linesBetween(*m_world, slot.toLatin1().constData()),
             QStringList({command::line("SendNoDataResponse() failed ", slot)}));
}

void tst_STKDialogCommands::destroyedWithinTheResponse_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("elsewhere");
    for (bool elsewhere : {false, true}) {
        const char *where = elsewhere ? ", on the library's thread" : "";
        QTest::addRow("text%s", where) << int(MDSV_STKTYPE_DISPLAY_TEXT) << elsewhere;
        QTest::addRow("call%s", where) << int(MDSV_STKTYPE_SETUP_CALL) << elsewhere;
        QTest::addRow("browser%s", where) << int(MDSV_STKTYPE_LAUNCH_BROWSER) << elsewhere;
        QTest::addRow("idle text%s", where) << int(MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT) << elsewhere;
    }
}

void tst_STKDialogCommands::destroyedWithinTheResponse()
{
    QFETCH(int, type);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.setPrompt("Hello", USER, 0);
    w.sdk.setBrowser(0, "");
    w.sdk.setIdleText("Idle");
    w.sdk.onCall(RESPOND, [&w] { command::destroy(w); });
    ModalDriver driver;
    if (type == MDSV_STKTYPE_DISPLAY_TEXT)
        driver.on("ExtendDialog", [](QWidget *frame) { frame->close(); });
    raise(w, type, 8, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(journal::count(RESPOND), 1);
    QCOMPARE(verdicts(w), QList<int>());
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
}

QTEST_MAIN(tst_STKDialogCommands)
#include "tst_STKDialogCommands.moc"
