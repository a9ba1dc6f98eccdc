// The window's controller: GET INPUT and GET INKEY.
#include "CommandWorld.h"
#include "InputWorld.h"

#include "core/ExtendLineEdit.h"
#include "support/ModalDriver.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

using command::raise;
using command::requests;
using command::verdicts;
using support::Call;
using support::ModalDriver;
using support::ref;
namespace journal = support::journal;

namespace
{
const char ANSWER_INPUT[] = "MDSV_STKSrv_AnswerInput";
const char ANSWER_KEY[] = "MDSV_STKSrv_AnswerInKey";
const char GET_INPUT[] = "MDSV_STKSrv_GetInputRequest";
const char GET_KEY[] = "MDSV_STKSrv_GetInKeyRequest";
const QString TAG = "STK_MSGBOX_TIMER";

const int ANY_TEXT = 0;
const int YES_NO = 1;
const int DIGITS = 2;
const int LIMIT_MS = 5000;
const QList<int> ACCEPTED = {1};
const QList<int> REFUSED = {0};
const QList<int> WAIT_CURSOR = {int(Qt::WaitCursor)};

using Act = std::function<void(QWidget *)>;
} // namespace

class tst_STKDialogInput : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void answerInTheDialog_data();
    void answerInTheDialog();
    void refusedAnswer_data();
    void refusedAnswer();
    void everyStartHasItsEnd_data();
    void everyStartHasItsEnd();
    void waitBeginsBeforeTheVerdict_data();
    void waitBeginsBeforeTheVerdict();
    void requestReachesTheDialog();
    void keyRequestReachesTheDialog_data();
    void keyRequestReachesTheDialog();
    void parentOfTheDialog_data();
    void parentOfTheDialog();
    void requestThatCannotBeRead_data();
    void requestThatCannotBeRead();
    void withoutLogicNothingIsAnswered_data();
    void withoutLogicNothingIsAnswered();
    void withoutTheDialogNothingIsAnswered_data();
    void withoutTheDialogNothingIsAnswered();
    void closedByTheFrameAnswersEveryOtherTime();
    void closedByTheFrameAfterARefusal();
    void timedOutByTheCard_data();
    void timedOutByTheCard();

    void yesNoIsTheHostsMessage();
    void yesNoStandsInItsPlace();
    void yesNoAnswers_data();
    void yesNoAnswers();
    void yesNoThatIsRefused_data();
    void yesNoThatIsRefused();
    void yesNoWithoutTheDialog();
    void yesNoWithoutAWindow_data();
    void yesNoWithoutAWindow();
    void yesNoTimer_data();
    void yesNoTimer();
    void yesNoLeavesARunningTimer();
    void yesNoRestartsARunningTimer();
    void yesNoIsClosedByItsTimer_data();
    void yesNoIsClosedByItsTimer();
    void yesNoClosedByItsFrame();
    void timerLongAfterTheAnswer();
    void timerAfterTheWindowWasClosed();
    void destroyedWithinTheAnswer_data();
    void destroyedWithinTheAnswer();

private:
    bool ask(int type, QList<Act> acts, bool elsewhere = false);
    int timeOut() const { return support::peek(m_world->thread(), &ThreadPeek::m_nTimeOut); }
    QTimer *stkTimer() const { return m_world->at(&DialogPeek::m_pStkTimer); }
    QString tag() const { return m_world->at(&DialogPeek::m_strTimerType); }

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogInput::init()
{
    m_world.reset(new DialogWorld);
    m_world->sdk.setInput("Your name?", ANY_TEXT, 1, 1, 20, 0, "");
    m_world->sdk.setInKey("Which key?", ANY_TEXT, 0, 0);
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKDialogInput::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
    QVERIFY(!DialogPeek::m_pMsgDialog);
    QVERIFY(!QWidget::keyboardGrabber());
}

/// Raises command 5 and acts in turn in the modal windows that come; false when not all of them came.
bool tst_STKDialogInput::ask(int type, QList<Act> acts, bool elsewhere)
{
    ModalDriver driver;
    for (const Act &act : acts)
        driver.on("QDialog", act);
    raise(*m_world, type, 5, elsewhere);
    return driver.isDone();
}

namespace
{
ExtendLineEdit *fieldIn(QWidget *frame)
{
    return frame->findChild<ExtendLineEdit *>();
}

void type(QWidget *frame, const QString &text)
{
    QTest::keyClicks(fieldIn(frame), text);
}

/// Types, if there is anything, and leaves the dialog.
Act typeAndLeave(const QString &text, const QString &way)
{
    return [text, way](QWidget *frame) {
        type(frame, text);
        command::leave(frame, way);
    };
}
} // namespace

// ---------------------------------------------------------------- the input dialog

void tst_STKDialogInput::answerInTheDialog_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("way");
    QTest::addColumn<QStringList>("sent");
    QTest::addColumn<bool>("elsewhere");
    const QString ok = "BTN_OK";
    const QString cancel = "BTN_CANCEL";
    for (bool elsewhere : {false, true}) {
        const char *where = elsewhere ? ", on the library's thread" : "";
        const int input = MDSV_STKTYPE_GET_INPUT;
        QTest::addRow("text%s", where) << input << "Ann" << ok
                                       << QStringList({"GetInputRequest(5)", "AnswerInput(5, 1, \"Ann\")"})
                                       << elsewhere;
        QTest::addRow("text cancelled%s", where)
            << input << "Ann" << cancel << QStringList({"GetInputRequest(5)", "AnswerInput(5, 0, \"\")"}) << elsewhere;
        QTest::addRow("text closed%s", where)
            << input << ""
            << "close button" << QStringList({"GetInputRequest(5)", "AnswerInput(5, 0, \"\")"}) << elsewhere;
        QTest::addRow("text escaped%s", where)
            << input << "A"
            << "Escape" << QStringList({"GetInputRequest(5)", "AnswerInput(5, 0, \"\")"}) << elsewhere;
        const int key = MDSV_STKTYPE_GET_INKEY;
        QTest::addRow("key%s", where) << key << "k" << ok
                                      << QStringList({"GetInKeyRequest(5)", "AnswerInKey(5, 1, \"k\")"}) << elsewhere;
        QTest::addRow("key cancelled%s", where)
            << key << "" << cancel << QStringList({"GetInKeyRequest(5)", "AnswerInKey(5, 0, \"\")"}) << elsewhere;
    }
}

void tst_STKDialogInput::answerInTheDialog()
{
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QString, way);
    QFETCH(QStringList, sent);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.logic->SetResponseVar(true);
    QVERIFY(ask(type, {typeAndLeave(text, way)}, elsewhere));
    QCOMPARE(requests(), sent);
    QCOMPARE(verdicts(w), ACCEPTED);
    QVERIFY(w.isWaiting()); // just the same after a Cancel that the card took
    QCOMPARE(timeOut(), 10);
    QVERIFY(!w.logic->GetResponseVar());
    QCOMPARE(takeCursors(), WAIT_CURSOR);
    QVERIFY(!w.at(&DialogPeek::m_pStkInputDlg)->IsDialogCreated());
    QVERIFY(w.frame()->isVisible());
    QVERIFY(!stkTimer()->isActive());
    QVERIFY(tag().isEmpty());
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 0);
}

void tst_STKDialogInput::refusedAnswer_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("then");
    QTest::addColumn<int>("statusThen");
    QTest::addColumn<bool>("waits");
    for (int type : {int(MDSV_STKTYPE_GET_INPUT), int(MDSV_STKTYPE_GET_INKEY)}) {
        const char *name = type == MDSV_STKTYPE_GET_INPUT ? "text" : "key";
        QTest::addRow("%s, then accepted", name) << type << "BTN_OK"
                                                 << "BTN_OK" << 0 << true;
        QTest::addRow("%s, then cancelled", name) << type << "BTN_OK"
                                                  << "BTN_CANCEL" << 0 << true;
        QTest::addRow("%s, then the cancel is refused", name) << type << "BTN_OK"
                                                              << "BTN_CANCEL" << 1 << false;
        QTest::addRow("%s, cancel refused", name) << type << ""
                                                  << "BTN_CANCEL" << 1 << false;
        QTest::addRow("%s, close refused", name) << type << ""
                                                 << "close button" << 1 << false;
    }
}

void tst_STKDialogInput::refusedAnswer()
{
    QFETCH(int, type);
    QFETCH(QString, first);
    QFETCH(QString, then);
    QFETCH(int, statusThen);
    QFETCH(bool, waits);
    DialogWorld &w = *m_world;
    const char *function = type == MDSV_STKTYPE_GET_INPUT ? ANSWER_INPUT : ANSWER_KEY;
    if (!first.isEmpty())
        w.sdk.answerOnce(function, 1);
    w.sdk.answerOnce(function, statusThen);
    const int answers = first.isEmpty() ? 1 : 2;
    QVERIFY(ask(type, {[&](QWidget *frame) {
                    if (!first.isEmpty())
                        typeAndLeave("x", first)(frame);
                    if (frame->isVisible()) // after a refusal it stays for another try
                        command::leave(frame, then);
                }}));
    QCOMPARE(journal::count(function), answers);
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), answers - 1);
    QCOMPARE(w.isWaiting(), waits);
    QCOMPARE(takeCursors().size(), waits ? 1 : 0);
    QCOMPARE(verdicts(w), ACCEPTED); // the dialog has shown the failure: the command was handled
    QCOMPARE(journal::count("MDSV_STKSrv_SendNoDataResponse"), 0);
}

void tst_STKDialogInput::everyStartHasItsEnd_data()
{
    QTest::addColumn<QString>("way");
    for (const char *way : {"BTN_OK", "BTN_CANCEL", "close button", "Escape"})
        QTest::newRow(way) << QString(way);
}

/// Of the window's and the dialog's functions, when nothing goes wrong.
void tst_STKDialogInput::everyStartHasItsEnd()
{
    QFETCH(QString, way);
    QVERIFY(ask(MDSV_STKTYPE_GET_INPUT, {typeAndLeave("Ann", way)}));
    QStringList starts;
    QStringList ends;
    const QRegularExpression line("^(Start|End) of ../../src/STKPlugin/(STKDialog|STKInputDlg): (\\w+): <time>: $");
    for (const QString &each : m_world->log.debug()) {
        const QRegularExpressionMatch match = line.match(each);
        if (match.hasMatch())
            (match.captured(1) == "Start" ? starts : ends) << match.captured(3);
    }
    starts.sort();
    ends.sort();
    QVERIFY(starts.contains("onSTKGetInput") && starts.contains("ShowStkInputDlg"));
    QVERIFY(starts.contains("onTextEdited") && starts.contains("closeEvent"));
    QCOMPARE(ends, starts);
}

void tst_STKDialogInput::waitBeginsBeforeTheVerdict_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("inputType");
    QTest::newRow("text") << int(MDSV_STKTYPE_GET_INPUT) << ANY_TEXT;
    QTest::newRow("key") << int(MDSV_STKTYPE_GET_INKEY) << ANY_TEXT;
    QTest::newRow("yes or no") << int(MDSV_STKTYPE_GET_INKEY) << YES_NO;
}

void tst_STKDialogInput::waitBeginsBeforeTheVerdict()
{
    QFETCH(int, type);
    QFETCH(int, inputType);
    m_world->sdk.setInKey("?", inputType, 0, 0);
    QList<Act> acts;
    if (inputType != YES_NO)
        acts << typeAndLeave("x", "BTN_OK");
    QVERIFY(ask(type, acts));
    const QStringList order = logged::started(m_world->log, nullptr);
    const int atAnswer = order.indexOf(QRegularExpression(".*CallStkAnswer.*"));
    const int atWait = order.indexOf("STKDialog::stkWaitforRespond");
    const int atVerdict = order.indexOf("STKLogic::UpdateCBReturnVal");
    QVERIFY2(0 < atAnswer && atAnswer < atWait && atWait < atVerdict, qPrintable(order.join('\n')));
}

void tst_STKDialogInput::requestReachesTheDialog()
{
    DialogWorld &w = *m_world;
    w.sdk.setInput("PIN <b>please</b>", DIGITS, 0, 4, 8, 1, "12");
    StkInKeyRequest stored = StkInKeyRequest();
    QString prompt;
    QString text;
    int echo = -1;
    int longest = 0;
    QVERIFY(ask(MDSV_STKTYPE_GET_INPUT, {[&](QWidget *frame) {
                    stored = support::peek(w.at(&DialogPeek::m_pStkInputDlg), &InputPeek::m_stInKeyRequest);
                    prompt = frame->findChild<QLabel *>("STKPlugin_LabelText")->text();
                    text = fieldIn(frame)->text();
                    echo = fieldIn(frame)->echoMode();
                    longest = fieldIn(frame)->maxLength();
                    frame->close();
                }}));
    QCOMPARE(prompt, QString("PIN <b>please</b>"));
    QCOMPARE(text, QString("12"));
    QCOMPARE(echo, int(QLineEdit::Password));
    QCOMPARE(longest, 8);
    QCOMPARE(QList<int>({stored.nInputType, stored.nOption, stored.nMinLen}), QList<int>({2, 1, 4}));
}

void tst_STKDialogInput::keyRequestReachesTheDialog_data()
{
    QTest::addColumn<int>("inputType");
    QTest::newRow("default alphabet") << 0;
    QTest::newRow("digits") << 2;
    QTest::newRow("any character") << 3;
    QTest::newRow("unknown") << 7;
    QTest::newRow("negative") << -1;
}

void tst_STKDialogInput::keyRequestReachesTheDialog()
{
    QFETCH(int, inputType);
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Key?", inputType, 1, 60000);
    QString prompt;
    int longest = 0;
    bool validated = false;
    bool timed = true;
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {[&](QWidget *frame) {
                    prompt = frame->findChild<QLabel *>("STKPlugin_LabelText")->text();
                    longest = fieldIn(frame)->maxLength();
                    validated = fieldIn(frame)->validator();
                    timed = stkTimer()->isActive();
                    frame->close();
                }}));
    QCOMPARE(prompt, QString("Key?"));
    QCOMPARE(longest, 1);
    QCOMPARE(validated, inputType == DIGITS);
    QVERIFY(!timed); // only a yes/no question has a time-out of the window's
    QVERIFY(tag().isEmpty());
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 0);
}

void tst_STKDialogInput::parentOfTheDialog_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("window");
    QTest::newRow("text") << int(MDSV_STKTYPE_GET_INPUT) << true;
    QTest::newRow("text without a window") << int(MDSV_STKTYPE_GET_INPUT) << false;
    QTest::newRow("key") << int(MDSV_STKTYPE_GET_INKEY) << true;
    QTest::newRow("key without a window") << int(MDSV_STKTYPE_GET_INKEY) << false;
}

void tst_STKDialogInput::parentOfTheDialog()
{
    QFETCH(int, type);
    QFETCH(bool, window);
    DialogWorld &w = *m_world;
    if (!window)
        w.dialog->onButtonClickClose();
    w.forget();
    QVERIFY(ask(type, {typeAndLeave("x", "BTN_OK")}));
    const QList<Call> frames = journal::callsOf("ExtendDialog::ExtendDialog");
    QCOMPARE(frames.size(), 1);
    QCOMPARE(frames.first().args.first(), window ? ref(w.host.data()) : ref(nullptr));
    QCOMPARE(verdicts(w), ACCEPTED);
    QVERIFY(w.isWaiting());
}

void tst_STKDialogInput::requestThatCannotBeRead_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("slot");
    QTest::addColumn<QString>("words");
    QTest::addColumn<bool>("elsewhere");
    for (bool elsewhere : {false, true}) {
        const char *where = elsewhere ? ", on the library's thread" : "";
        QTest::addRow("text%s", where) << int(MDSV_STKTYPE_GET_INPUT) << "onSTKGetInput"
                                       << "GetInputRequest failed " << elsewhere;
        QTest::addRow("key%s", where) << int(MDSV_STKTYPE_GET_INKEY) << "onSTKGetInkey"
                                      << "GetInKeyRquest faied " << elsewhere;
    }
}

void tst_STKDialogInput::requestThatCannotBeRead()
{
    QFETCH(int, type);
    QFETCH(QString, slot);
    QFETCH(QString, words);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_INPUT, 1);
    w.sdk.answer(GET_KEY, 1);
    QVERIFY(ask(type, {}, elsewhere));
    QCOMPARE(requests().value(0),
             QString(type == MDSV_STKTYPE_GET_INPUT ? "GetInputRequest(5)" : "GetInKeyRequest(5)"));
    const QString told = QString("SendNoDataResponse(5, %1, 0)").arg(type); // by the callback, which learns the verdict
    QCOMPARE(requests().mid(1), elsewhere ? QStringList() : QStringList({told}));
    QCOMPARE(verdicts(w), REFUSED);
    QCOMPARE(command::linesBetween(w, slot.toLatin1().constData()), QStringList({command::line(words, slot)}));
    QCOMPARE(journal::count("ExtendDialog::ExtendDialog"), 0);
    QVERIFY(!w.isWaiting());
}

void tst_STKDialogInput::withoutLogicNothingIsAnswered_data()
{
    QTest::addColumn<QString>("slot");
    QTest::addColumn<QString>("words");
    QTest::newRow("text") << "onSTKGetInput"
                          << "Logic instance is NULL ";
    QTest::newRow("key") << "onSTKGetInkey"
                         << "Logic instance is null ";
}

void tst_STKDialogInput::withoutLogicNothingIsAnswered()
{
    QFETCH(QString, slot);
    QFETCH(QString, words);
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    QVERIFY(QMetaObject::invokeMethod(w.dialog, slot.toLatin1().constData(), Qt::DirectConnection));
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(w.log.debug(), QStringList({logged::start(slot.toLatin1().constData()), command::line(words, slot)}));
}

void tst_STKDialogInput::withoutTheDialogNothingIsAnswered_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("elsewhere");
    QTest::newRow("text") << int(MDSV_STKTYPE_GET_INPUT) << false;
    QTest::newRow("text, on the library's thread") << int(MDSV_STKTYPE_GET_INPUT) << true;
    QTest::newRow("key") << int(MDSV_STKTYPE_GET_INKEY) << false;
    QTest::newRow("key, on the library's thread") << int(MDSV_STKTYPE_GET_INKEY) << true;
}

void tst_STKDialogInput::withoutTheDialogNothingIsAnswered()
{
    QFETCH(int, type);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkInputDlg) = nullptr;
    QVERIFY(ask(type, {}, elsewhere));
    QCOMPARE(journal::lines(), QStringList({QString(type == MDSV_STKTYPE_GET_INPUT ? GET_INPUT : GET_KEY) + "(5)"}));
    QCOMPARE(verdicts(w), QList<int>());
    QVERIFY(!w.isWaiting());
}

void tst_STKDialogInput::closedByTheFrameAnswersEveryOtherTime()
{
    DialogWorld &w = *m_world;
    QList<int> answers;
    for (int type : {MDSV_STKTYPE_GET_INPUT, MDSV_STKTYPE_GET_INKEY, MDSV_STKTYPE_GET_INPUT}) {
        w.forget();
        QVERIFY(ask(type, {[](QWidget *frame) { command::leave(frame, "close button"); }}));
        answers << journal::lines("MDSV_STKSrv_Answer").size();
        QCOMPARE(verdicts(w), ACCEPTED);
        QVERIFY(w.isWaiting()); // the second time on the strength of the first answer
        QVERIFY(w.endWait());
    }
    QCOMPARE(answers, QList<int>({1, 0, 1}));
}

void tst_STKDialogInput::closedByTheFrameAfterARefusal()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(ANSWER_INPUT, 1);
    QVERIFY(ask(MDSV_STKTYPE_GET_INPUT, {[](QWidget *frame) {
                    typeAndLeave("x", "BTN_OK")(frame);
                    command::leave(frame, "close button");
                }}));
    QCOMPARE(requests(), QStringList({"GetInputRequest(5)", "AnswerInput(5, 1, \"x\")"}));
    QVERIFY(!w.isWaiting());
    QCOMPARE(verdicts(w), ACCEPTED);
}

void tst_STKDialogInput::timedOutByTheCard_data()
{
    command::threadRows();
}

void tst_STKDialogInput::timedOutByTheCard()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    QVERIFY(ask(MDSV_STKTYPE_GET_INPUT, {[&](QWidget *) {
                    if (elsewhere)
                        w.raiseElsewhere(MDSV_STKTYPE_GET_INPUT, 6, 1);
                    else
                        w.sdk.raiseStk(MDSV_STKTYPE_GET_INPUT, 6, 1);
                }},
                elsewhere));
    QCOMPARE(requests(), QStringList({"GetInputRequest(5)", "AnswerInput(6, 0, \"\")"}));
    QVERIFY(!w.at(&DialogPeek::m_pStkInputDlg)->IsDialogCreated());
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
}

// ---------------------------------------------------------------- yes or no

void tst_STKDialogInput::yesNoIsTheHostsMessage()
{
    m_world->sdk.setInKey("<i>Sure?</i>", YES_NO, 0, 0);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QCOMPARE(journal::lines(),
             QStringList({"MDSV_STKSrv_GetInKeyRequest(5)",
                          "CommonUtils::ShowMessage(0, <pointer>, \"\", \"<i>Sure?</i>\", \"IDS_YES\", \"IDS_NO\", "
                          "\"\", true, 134217728, true, \"\", true)",
                          "MDSV_STKSrv_AnswerInKey(5, 1, \"1\")"}));
    QCOMPARE(journal::callsOf("CommonUtils::ShowMessage").first().args.at(1), ref(m_world->host.data()));
    QCOMPARE(logged::linesOf(m_world->log, "onSTKGetInkey"),
             QStringList({logged::start("onSTKGetInkey"), logged::end("onSTKGetInkey")}));
}

void tst_STKDialogInput::yesNoStandsInItsPlace()
{
    m_world->sdk.setInKey("Sure?", YES_NO, 0, 0);
    bool known = false;
    QList<int> verdictsMeanwhile = {-1};
    m_world->core.onShowMessage([&](QDialog *box) {
        known = box && DialogPeek::m_pMsgDialog == box;
        verdictsMeanwhile = verdicts(*m_world);
        return int(QMessageBox::Ok);
    });
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QVERIFY(known);
    QCOMPARE(verdictsMeanwhile, QList<int>());
    QVERIFY(!DialogPeek::m_pMsgDialog);
}

void tst_STKDialogInput::yesNoAnswers_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("elsewhere");
    const QList<QPair<const char *, int>> others = {
        {"No", 0x10000}, {"Cancel", 0x400000}, {"Yes of the message box", 0x4000}, {"0", 0}, {"1", 1}, {"-1", -1},
        {"1023", 1023},  {"1025", 1025}};
    for (bool elsewhere : {false, true}) {
        const char *where = elsewhere ? ", on the library's thread" : "";
        QTest::addRow("1024%s", where) << 1024 << "1" << elsewhere;
        for (const auto &other : others)
            QTest::addRow("%s%s", other.first, where) << other.second << "0" << elsewhere;
    }
}

void tst_STKDialogInput::yesNoAnswers()
{
    QFETCH(int, result);
    QFETCH(QString, answer);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Sure?", YES_NO, 0, 0);
    w.core.answerMessage(result);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}, elsewhere));
    QCOMPARE(requests(), QStringList({"GetInKeyRequest(5)", QString("AnswerInKey(5, 1, \"%1\")").arg(answer)}));
    QCOMPARE(verdicts(w), ACCEPTED);
    QVERIFY(w.isWaiting());
    QCOMPARE(timeOut(), 10);
    QCOMPARE(takeCursors(), WAIT_CURSOR);
}

void tst_STKDialogInput::yesNoThatIsRefused_data()
{
    command::threadRows();
}

void tst_STKDialogInput::yesNoThatIsRefused()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Sure?", YES_NO, 0, 0);
    w.sdk.answer(ANSWER_KEY, 1);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}, elsewhere));
    const QStringList sent = {"GetInKeyRequest(5)", "AnswerInKey(5, 1, \"1\")", "SendNoDataResponse(5, 2, 0)"};
    QCOMPARE(requests(), sent.mid(0, elsewhere ? 2 : 3)); // the last by the callback, which learns the verdict
    QCOMPARE(verdicts(w), REFUSED);
    QVERIFY(!w.isWaiting());
    QVERIFY(takeCursors().isEmpty());
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 1);
}

void tst_STKDialogInput::yesNoWithoutTheDialog()
{
    // Only keys that are typed need it.
    m_world->sdk.setInKey("Sure?", YES_NO, 0, 0);
    m_world->at(&DialogPeek::m_pStkInputDlg) = nullptr;
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QCOMPARE(requests(), QStringList({"GetInKeyRequest(5)", "AnswerInKey(5, 1, \"1\")"}));
}

void tst_STKDialogInput::yesNoWithoutAWindow_data()
{
    command::threadRows();
}

void tst_STKDialogInput::yesNoWithoutAWindow()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.forget();
    w.sdk.setInKey("Sure?", YES_NO, 0, 10);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}, elsewhere));
    const QStringList sent = {"GetInKeyRequest(5)", "SendNoDataResponse(5, 2, 0)"};
    QCOMPARE(requests(), sent.mid(0, elsewhere ? 1 : 2));
    QCOMPARE(verdicts(w), REFUSED);
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 0);
    QVERIFY(tag().isEmpty());
}

void tst_STKDialogInput::yesNoTimer_data()
{
    QTest::addColumn<int>("duration");
    QTest::newRow("none") << 0;
    QTest::newRow("short") << 200;
    QTest::newRow("usual") << 20000;
    QTest::newRow("longest") << 65535;
}

void tst_STKDialogInput::yesNoTimer()
{
    QFETCH(int, duration);
    m_world->sdk.setInKey("Sure?", YES_NO, 0, duration);
    bool active = false;
    int interval = -1;
    QString tagMeanwhile;
    m_world->core.onShowMessage([&](QDialog *) {
        active = stkTimer()->isActive();
        interval = active ? stkTimer()->interval() : 0;
        tagMeanwhile = tag();
        return int(QMessageBox::Ok);
    });
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QCOMPARE(active, duration > 0);
    QCOMPARE(interval, duration); // milliseconds, as the number stands
    QCOMPARE(tagMeanwhile, TAG);
    // The handler leaves both as they are.
    QCOMPARE(stkTimer()->isActive(), duration > 0);
    QCOMPARE(tag(), TAG);
}

void tst_STKDialogInput::yesNoLeavesARunningTimer()
{
    // Without a duration of its own.
    m_world->sdk.setInKey("Sure?", YES_NO, 0, 0);
    stkTimer()->start(60000);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QVERIFY(stkTimer()->isActive());
    QCOMPARE(stkTimer()->interval(), 60000);
}

void tst_STKDialogInput::yesNoRestartsARunningTimer()
{
    m_world->sdk.setInKey("Sure?", YES_NO, 0, 30000);
    m_world->dialog->onDeviceAvailable(false);
    QCOMPARE(stkTimer()->interval(), 100);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QVERIFY(stkTimer()->isActive());
    QCOMPARE(stkTimer()->interval(), 30000);
    QCOMPARE(tag(), TAG);
}

void tst_STKDialogInput::yesNoIsClosedByItsTimer_data()
{
    command::threadRows();
}

void tst_STKDialogInput::yesNoIsClosedByItsTimer()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Sure?", YES_NO, 0, 10);
    bool forgotten = false;
    w.core.onShowMessage([&](QDialog *box) {
        const int result = box->exec();
        forgotten = !DialogPeek::m_pMsgDialog; // by the time-out, before the host does it
        return result;
    });
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}, elsewhere));
    QVERIFY(forgotten);
    QCOMPARE(requests(), QStringList({"GetInKeyRequest(5)", "AnswerInKey(5, 1, \"0\")"}));
    QCOMPARE(verdicts(w), ACCEPTED);
    QVERIFY(!stkTimer()->isActive());
    QCOMPARE(tag(), QString(""));
    QVERIFY(w.isWaiting());
    QVERIFY(w.frame()->isVisible());
}

void tst_STKDialogInput::yesNoClosedByItsFrame()
{
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Sure?", YES_NO, 0, 0);
    w.core.onShowMessage([](QDialog *box) { return box->exec(); });
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {[](QWidget *box) { box->close(); }}));
    QCOMPARE(requests(), QStringList({"GetInKeyRequest(5)", "AnswerInKey(5, 1, \"0\")"}));
    QCOMPARE(verdicts(w), ACCEPTED);
}

void tst_STKDialogInput::timerLongAfterTheAnswer()
{
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Sure?", YES_NO, 0, 300);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QVERIFY(w.endWait());
    w.forget();
    QVERIFY(stkTimer()->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(!stkTimer()->isActive(), LIMIT_MS);
    QCOMPARE(tag(), QString(""));
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(verdicts(w), QList<int>());
    QCOMPARE(logged::started(w.log).filter("on"), QStringList({"onSTKTimeOut"}));
}

void tst_STKDialogInput::timerAfterTheWindowWasClosed()
{
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Sure?", YES_NO, 0, 20);
    QVERIFY(ask(MDSV_STKTYPE_GET_INKEY, {}));
    QVERIFY(w.endWait());
    const QPointer<QTimer> timer(stkTimer());
    w.dialog->onButtonClickClose();
    QVERIFY(!stkTimer());
    w.forget();
    QTRY_VERIFY(logged::started(w.log).contains("onSTKTimeOut"));
    QCOMPARE(journal::lines("MDSV_"), QStringList());
    timer->stop();
}

void tst_STKDialogInput::destroyedWithinTheAnswer_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("inputType");
    QTest::addColumn<bool>("elsewhere");
    for (bool elsewhere : {false, true}) {
        const char *where = elsewhere ? ", on the library's thread" : "";
        QTest::addRow("text%s", where) << int(MDSV_STKTYPE_GET_INPUT) << ANY_TEXT << elsewhere;
        QTest::addRow("key%s", where) << int(MDSV_STKTYPE_GET_INKEY) << ANY_TEXT << elsewhere;
        QTest::addRow("yes or no%s", where) << int(MDSV_STKTYPE_GET_INKEY) << YES_NO << elsewhere;
    }
}

void tst_STKDialogInput::destroyedWithinTheAnswer()
{
    QFETCH(int, type);
    QFETCH(int, inputType);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.setInKey("Sure?", inputType, 0, 30);
    for (const char *function : {ANSWER_INPUT, ANSWER_KEY})
        w.sdk.onCall(function, [&w] { command::destroy(w); });
    QList<Act> acts;
    if (inputType != YES_NO) {
        acts << [](QWidget *frame) {
            typeAndLeave("x", "BTN_OK")(frame);
            frame->close(); // its owner is the host's window
        };
    }
    QVERIFY(ask(type, acts, elsewhere));
    QCOMPARE(journal::lines("MDSV_STKSrv_Answer").size(), 1);
    QCOMPARE(verdicts(w), QList<int>());
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    QVERIFY(!DialogPeek::m_pMsgDialog);
}

QTEST_MAIN(tst_STKDialogInput)
#include "tst_STKDialogInput.moc"
