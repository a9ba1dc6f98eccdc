// The window's controller: texts and questions that come over one another, and what may end them from outside.
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
using support::ModalDriver;
namespace journal = support::journal;

namespace
{
const char ANSWER_KEY[] = "MDSV_STKSrv_AnswerInKey";
const char GET_TEXT[] = "MDSV_STKSrv_GetPromptText";
const QString OK_TEXT = "tr:XFramePlugin:IDS_OK";

const int AUTO = 0;
const int USER = 1;
const int ANY_TEXT = 0;
const int YES_NO = 1;
const int YES = 1024;
const int LIMIT_MS = 5000;

/// What can be open when something else comes.
enum Kind { Text, CountDown, Dialog, Key, YesNo };

const char *nameOf(int kind)
{
    static const char *const NAMES[] = {"text", "counting text", "input", "key", "yes or no"};
    return NAMES[kind];
}
} // namespace

class tst_STKDialogNested : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void aSecondTextHasTheSay_data();
    void aSecondTextHasTheSay();
    void aSecondTextStartsItsOwnCountDown_data();
    void aSecondTextStartsItsOwnCountDown();
    void aTextForTheUserEndsTheCountDown_data();
    void aTextForTheUserEndsTheCountDown();
    void threeTexts_data();
    void threeTexts();
    void manyTexts();
    void aSecondTextThatCannotBeRead_data();
    void aSecondTextThatCannotBeRead();
    void aSecondTextThatCannotBeShown();
    void aSecondTextWhenTheWindowHasGone();
    void theMainWindowDeletedUnderTexts_data();
    void theMainWindowDeletedUnderTexts();
    void aTextAfterTwoTexts();

    void oneOverAnother_data();
    void oneOverAnother();
    void aReplacedQuestionIsOffTheScreen_data();
    void aReplacedQuestionIsOffTheScreen();
    void aReplacedQuestionDoesNotWait_data();
    void aReplacedQuestionDoesNotWait();
    void aRefusedQuestionOverAnother_data();
    void aRefusedQuestionOverAnother();
    void aKeyOverAnInputHasNoTimeOut();
    void threeQuestions_data();
    void threeQuestions();
    void aSilentCommandOverOne_data();
    void aSilentCommandOverOne();

    void endOfSession_data();
    void endOfSession();
    void deviceLost_data();
    void deviceLost();
    void theMainWindowDeleted_data();
    void theMainWindowDeleted();
    void destroyed_data();
    void destroyed();
    void destroyedUnderTwo_data();
    void destroyedUnderTwo();
    void aNewPlugInAfterOneThatWasDestroyed();

private:
    void open(Kind kind, int cmdId, bool elsewhere);
    static void close(QWidget *window);
    QStringList answers() const;
    void tick(int times);
    QTimer *msgTimer() const { return m_world->at(&DialogPeek::m_pMsgTimer); }
    QWidget *messageFrame() const { return m_world->at(&DialogPeek::m_pMsgBoxDlg).data(); }

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogNested::init()
{
    m_world.reset(new DialogWorld);
    m_world->sdk.setInput("Your name?", ANY_TEXT, 1, 1, 20, 0, "");
    m_world->core.onShowMessage([](QDialog *box) { return box->exec(); });
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKDialogNested::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
    QVERIFY(!DialogPeek::m_pMsgDialog);
    QVERIFY(!QWidget::keyboardGrabber());
}

/// Raises a command of that kind. Returns when its handler has.
void tst_STKDialogNested::open(Kind kind, int cmdId, bool elsewhere)
{
    static const int TYPES[] = {MDSV_STKTYPE_DISPLAY_TEXT, MDSV_STKTYPE_DISPLAY_TEXT, MDSV_STKTYPE_GET_INPUT,
                                MDSV_STKTYPE_GET_INKEY, MDSV_STKTYPE_GET_INKEY};
    m_world->sdk.setPrompt(QString("Text %1").arg(cmdId), kind == CountDown ? AUTO : USER, 60);
    m_world->sdk.setInKey("Key?", kind == YesNo ? YES_NO : ANY_TEXT, 0, 0);
    raise(*m_world, TYPES[kind], cmdId, elsewhere);
}

/// Accepts whatever is open there.
void tst_STKDialogNested::close(QWidget *window)
{
    if (window->findChild<WsMessageBox *>()) {
        for (WsMessageBox *box : window->findChildren<WsMessageBox *>()) {
            if (box->isVisible())
                command::buttonOf(box, "IDS_OK")->click();
        }
    } else if (ExtendLineEdit *field = window->findChild<ExtendLineEdit *>()) {
        QTest::keyClicks(field, "x");
        command::leave(window, "BTN_OK");
    } else {
        static_cast<QDialog *>(window)->done(YES);
    }
}

/// What went out to the card, without the reading.
QStringList tst_STKDialogNested::answers() const
{
    return requests().filter(QRegularExpression("^(Answer|Send)"));
}

void tst_STKDialogNested::tick(int times)
{
    msgTimer()->stop(); // the seconds are the test's
    for (int i = 0; i < times; ++i)
        command::fire(msgTimer());
}

// ---------------------------------------------------------------- texts

void tst_STKDialogNested::aSecondTextHasTheSay_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<QString>("way");
    QTest::addColumn<int>("result");
    QTest::addColumn<bool>("elsewhere");
    const QList<QPair<QString, int>> ways = {{"IDS_OK", 1}, {"IDS_CANCEL", 0}, {"close button", 0}};
    for (int first : {AUTO, USER}) {
        for (int second : {AUTO, USER}) {
            for (const auto &way : ways) {
                for (bool elsewhere : {false, true})
                    QTest::addRow("%s over %s, %s, %s", second == AUTO ? "counting" : "plain",
                                  first == AUTO ? "counting" : "plain", qPrintable(way.first),
                                  elsewhere ? "library's thread" : "user-interface thread")
                        << first << second << way.first << way.second << elsewhere;
            }
        }
    }
}

void tst_STKDialogNested::aSecondTextHasTheSay()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(QString, way);
    QFETCH(int, result);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    QPointer<QWidget> frame;
    QStringList shown;
    bool same = false;
    ModalDriver driver;
    driver.on("ExtendDialog", [&](QWidget *window) {
        frame = window;
        w.sdk.setPrompt("Second", second, 60);
        raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 6, elsewhere);
    });
    driver.on("ExtendDialog", [&](QWidget *window) {
        same = window == frame;
        for (WsMessageBox *box : window->findChildren<WsMessageBox *>()) {
            if (box->isVisible())
                shown << box->text();
        }
        if (way == "close button")
            command::leave(window, way);
        else
            w.at(way == "IDS_OK" ? &DialogPeek::m_pMsgBtnOk : &DialogPeek::m_pMsgBtnCancel)->click();
    });
    w.sdk.setPrompt("First", first, 60);
    raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 5, elsewhere);
    QVERIFY(driver.isDone());
    QVERIFY(same); // the frame is used again
    QVERIFY(shown.contains("Second"));
    QVERIFY(!frame);
    QVERIFY(!messageFrame());
    QCOMPARE(requests(), QStringList({"GetPromptText(5)", "GetPromptText(6)",
                                      QString("SendNoDataResponse(6, 1, %1)").arg(result)}));
    QCOMPARE(verdicts(w), QList<int>({1}));
    QCOMPARE(journal::lines("ExtendDialog::ExtendDialog").filter(", 4)").size(), 1);
    QVERIFY(!msgTimer()->isActive());
}

void tst_STKDialogNested::aSecondTextStartsItsOwnCountDown_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<bool>("elsewhere");
    QTest::newRow("over a counting text") << AUTO << false;
    QTest::newRow("over a counting text, on the library's thread") << AUTO << true;
    QTest::newRow("over a plain text") << USER << false;
    QTest::newRow("over a plain text, on the library's thread") << USER << true;
}

void tst_STKDialogNested::aSecondTextStartsItsOwnCountDown()
{
    QFETCH(int, first);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    QTimer *firstTimer = nullptr;
    QTimer *secondTimer = nullptr;
    QList<int> values;
    QStringList shown;
    ModalDriver driver;
    driver.on("ExtendDialog", [&](QWidget *) {
        firstTimer = msgTimer();
        if (first == AUTO)
            tick(3);
        w.sdk.setPrompt("Second", AUTO, 2);
        raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 6, elsewhere);
    });
    driver.on("ExtendDialog", [&](QWidget *) {
        secondTimer = msgTimer();
        values << msgTimer()->isActive() << msgTimer()->interval() << w.at(&DialogPeek::m_nMsgTimeOut)
               << w.at(&DialogPeek::m_nMsgRemain) << w.at(&DialogPeek::m_nMsgTick);
        const QPointer<QPushButton> ok(w.at(&DialogPeek::m_pMsgBtnOk));
        for (int i = 0; i < 3; ++i) {
            tick(1);
            shown << (ok ? ok->text() : QString());
        }
    });
    w.sdk.setPrompt("First", first, 9);
    raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(secondTimer, firstTimer);
    QCOMPARE(values, QList<int>({1, 1000, 2, 2, 0}));
    QCOMPARE(shown, QStringList({OK_TEXT + " = 2", OK_TEXT + " = 1", OK_TEXT + " = 0"}));
    QCOMPARE(answers(), QStringList({"SendNoDataResponse(6, 1, 1)"}));
    QCOMPARE(verdicts(w), QList<int>({1}));
}

void tst_STKDialogNested::aTextForTheUserEndsTheCountDown_data()
{
    command::threadRows();
}

void tst_STKDialogNested::aTextForTheUserEndsTheCountDown()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    bool active = true;
    QString button;
    ModalDriver driver;
    driver.on("ExtendDialog", [&](QWidget *) {
        tick(2);
        msgTimer()->start(1000);
        w.sdk.setPrompt("Second", USER, 7);
        raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 6, elsewhere);
    });
    driver.on("ExtendDialog", [&](QWidget *) {
        active = msgTimer()->isActive();
        button = w.at(&DialogPeek::m_pMsgBtnOk)->text();
        w.at(&DialogPeek::m_pMsgBtnCancel)->click();
    });
    w.sdk.setPrompt("First", AUTO, 9);
    raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 5, elsewhere);
    QVERIFY(driver.isDone());
    QVERIFY(!active);
    QCOMPARE(button, OK_TEXT);
    QCOMPARE(answers(), QStringList({"SendNoDataResponse(6, 1, 0)"}));
}

void tst_STKDialogNested::threeTexts_data()
{
    command::threadRows();
}

void tst_STKDialogNested::threeTexts()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    ModalDriver driver;
    driver.on("ExtendDialog", [&](QWidget *) { open(Text, 6, elsewhere); });
    driver.on("ExtendDialog", [&](QWidget *) { open(CountDown, 7, elsewhere); });
    driver.on("ExtendDialog", [&](QWidget *) { tick(61); });
    open(CountDown, 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(requests(),
             QStringList({"GetPromptText(5)", "GetPromptText(6)", "GetPromptText(7)", "SendNoDataResponse(7, 1, 1)"}));
    QCOMPARE(verdicts(w), QList<int>({1}));
    QVERIFY(!messageFrame());
}

void tst_STKDialogNested::manyTexts()
{
    ModalDriver driver;
    for (int i = 1; i < 12; ++i)
        driver.on("ExtendDialog", [this, i](QWidget *) { open(i % 2 ? Text : CountDown, 5 + i, i % 3 == 0); });
    driver.on("ExtendDialog", [this](QWidget *) { m_world->at(&DialogPeek::m_pMsgBtnOk)->click(); });
    open(Text, 5, false);
    QVERIFY(driver.isDone());
    QCOMPARE(answers(), QStringList({"SendNoDataResponse(16, 1, 1)"}));
}

void tst_STKDialogNested::aSecondTextThatCannotBeRead_data()
{
    command::threadRows();
}

void tst_STKDialogNested::aSecondTextThatCannotBeRead()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    bool active = false;
    QStringList meanwhile;
    ModalDriver driver;
    driver.on("ExtendDialog", [&](QWidget *) {
        w.sdk.answerOnce(GET_TEXT, 1);
        open(CountDown, 6, elsewhere);
        active = msgTimer()->isActive();
        meanwhile = answers();
        tick(61); // the first goes on counting, and clears itself
    });
    open(CountDown, 5, elsewhere);
    QVERIFY(driver.isDone());
    QVERIFY(active);
    QCOMPARE(meanwhile, QStringList());
    QCOMPARE(answers(), QStringList({"SendNoDataResponse(6, 1, 1)"}));
    QCOMPARE(verdicts(w), QList<int>({1}));
}

void tst_STKDialogNested::aSecondTextThatCannotBeShown()
{
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.forget();
    QStringList meanwhile;
    ModalDriver driver;
    driver.on("ExtendDialog", [&](QWidget *frame) {
        open(CountDown, 6, true);
        meanwhile = answers();
        command::leave(frame, "IDS_OK");
    });
    open(Text, 5, true);
    QVERIFY(driver.isDone());
    QCOMPARE(meanwhile, QStringList());
    QCOMPARE(answers(), QStringList({"SendNoDataResponse(6, 1, 1)"})); // the first one's
    QCOMPARE(verdicts(w), QList<int>({0, 1}));
}

void tst_STKDialogNested::aSecondTextWhenTheWindowHasGone()
{
    DialogWorld &w = *m_world;
    ModalDriver driver;
    driver.on("ExtendDialog", [&](QWidget *) {
        tick(2);
        msgTimer()->start(60000);
        w.dialog->onButtonClickClose();
        w.sdk.setPrompt("Second", AUTO, 1);
        raise(w, MDSV_STKTYPE_DISPLAY_TEXT, 6, true); // not shown
        tick(59);
    });
    open(CountDown, 5, true);
    QVERIFY2(driver.isDone(), "the first text does not clear itself any more");
    QCOMPARE(answers(), QStringList({"SendNoDataResponse(6, 1, 1)"}));
    QCOMPARE(verdicts(w), QList<int>({0, 1}));
}

void tst_STKDialogNested::theMainWindowDeletedUnderTexts_data()
{
    QTest::addColumn<int>("texts");
    QTest::addColumn<bool>("elsewhere");
    for (int texts = 1; texts <= 3; ++texts) {
        QTest::addRow("%d", texts) << texts << false;
        QTest::addRow("%d, on the library's thread", texts) << texts << true;
    }
}

void tst_STKDialogNested::theMainWindowDeletedUnderTexts()
{
    QFETCH(int, texts);
    QFETCH(bool, elsewhere);
    ModalDriver driver;
    for (int i = 1; i < texts; ++i)
        driver.on("ExtendDialog", [=](QWidget *) { open(CountDown, 5 + i, elsewhere); });
    driver.on("ExtendDialog", [this](QWidget *) { delete m_world->host; });
    open(Text, 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(answers(), QStringList({QString("SendNoDataResponse(%1, 1, 0)").arg(4 + texts)}));
    QVERIFY(!messageFrame());
}

void tst_STKDialogNested::aTextAfterTwoTexts()
{
    for (int i = 0; i < 2; ++i) {
        m_world->forget();
        ModalDriver driver;
        driver.on("ExtendDialog", [this](QWidget *) { open(Text, 6, false); });
        driver.on("ExtendDialog", [this](QWidget *) { m_world->at(&DialogPeek::m_pMsgBtnOk)->click(); });
        open(Text, 5, false);
        QVERIFY(driver.isDone());
        QCOMPARE(answers(), QStringList({"SendNoDataResponse(6, 1, 1)"}));
    }
}

// ---------------------------------------------------------------- questions

void tst_STKDialogNested::oneOverAnother_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<bool>("elsewhere");
    const QStringList answerOf = {"SendNoDataResponse(6, 1, 1)", "SendNoDataResponse(6, 1, 1)",
                                  "AnswerInput(6, 1, \"x\")", "AnswerInKey(6, 1, \"x\")", "AnswerInKey(6, 1, \"1\")"};
    for (int first = Text; first <= YesNo; ++first) {
        for (int second = Text; second <= YesNo; ++second) {
            // A text and a question stay open both; of two of a kind the later one alone is answered.
            QStringList expected = {answerOf.at(second)};
            if ((first <= CountDown) != (second <= CountDown))
                expected << answerOf.at(first);
            for (bool elsewhere : {false, true})
                QTest::addRow("%s over %s%s", nameOf(second), nameOf(first),
                              elsewhere ? ", on the library's thread" : "")
                    << first << second << expected << elsewhere;
        }
    }
}

void tst_STKDialogNested::oneOverAnother()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(QStringList, expected);
    QFETCH(bool, elsewhere);
    ModalDriver driver;
    driver.on("QDialog", [=](QWidget *) { open(Kind(second), 6, elsewhere); });
    for (int i = 0; i < expected.size(); ++i)
        driver.on("QDialog", close);
    open(Kind(first), 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(answers(), expected);
    QVERIFY(!verdicts(*m_world).isEmpty());
    QVERIFY(!verdicts(*m_world).contains(0));
    QVERIFY(!messageFrame());
    QVERIFY(!m_world->at(&DialogPeek::m_pStkInputDlg)->IsDialogCreated());
}

void tst_STKDialogNested::aReplacedQuestionIsOffTheScreen_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    for (int first : {Dialog, Key, YesNo}) {
        for (int second : {Dialog, Key, YesNo})
            QTest::addRow("%s over %s", nameOf(second), nameOf(first)) << first << second;
    }
}

void tst_STKDialogNested::aReplacedQuestionIsOffTheScreen()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QPointer<QWidget> earlier;
    bool visible = true;
    bool itsKeyboard = true;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *window) {
        earlier = window;
        open(Kind(second), 6, false);
    });
    driver.on("QDialog", [&](QWidget *window) {
        visible = earlier && earlier->isVisible();
        itsKeyboard = earlier && QWidget::keyboardGrabber() && earlier->isAncestorOf(QWidget::keyboardGrabber());
        close(window);
    });
    open(Kind(first), 5, false);
    QVERIFY(driver.isDone());
    QVERIFY(!visible);
    QVERIFY(!itsKeyboard);
    QVERIFY(!earlier);
}

void tst_STKDialogNested::aReplacedQuestionDoesNotWait_data()
{
    aReplacedQuestionIsOffTheScreen_data();
}

void tst_STKDialogNested::aReplacedQuestionDoesNotWait()
{
    QFETCH(int, first);
    QFETCH(int, second);
    DialogWorld &w = *m_world;
    ModalDriver driver;
    driver.on("QDialog", [=](QWidget *) { open(Kind(second), 6, false); });
    driver.on("QDialog", close);
    open(Kind(first), 5, false);
    QVERIFY(driver.isDone());
    QVERIFY(w.isWaiting());
    QCOMPARE(logged::started(w.log).count("stkWaitforRespond"), 1);
    QCOMPARE(takeCursors(), QList<int>({int(Qt::WaitCursor)}));
}

void tst_STKDialogNested::aRefusedQuestionOverAnother_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<bool>("elsewhere");
    for (int first : {Dialog, Key, YesNo}) {
        QTest::addRow("over %s", nameOf(first)) << first << false;
        QTest::addRow("over %s, on the library's thread", nameOf(first)) << first << true;
    }
}

void tst_STKDialogNested::aRefusedQuestionOverAnother()
{
    QFETCH(int, first);
    QFETCH(bool, elsewhere);
    m_world->sdk.answer(ANSWER_KEY, 1);
    ModalDriver driver;
    driver.on("QDialog", [=](QWidget *) { open(YesNo, 6, elsewhere); });
    driver.on("QDialog", close);
    open(Kind(first), 5, elsewhere);
    QVERIFY(driver.isDone());
    // Its own callback tells the card, once; that of the question it replaced does not do so again.
    const QStringList told = {"AnswerInKey(6, 1, \"1\")", "SendNoDataResponse(6, 2, 0)"};
    QCOMPARE(answers(), told.mid(0, elsewhere ? 1 : 2));
}

void tst_STKDialogNested::aKeyOverAnInputHasNoTimeOut()
{
    DialogWorld &w = *m_world;
    QList<QTimer *> running;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *) {
        w.sdk.setInKey("Key?", ANY_TEXT, 0, 5000);
        raise(w, MDSV_STKTYPE_GET_INKEY, 6);
    });
    driver.on("QDialog", [&](QWidget *window) {
        for (QTimer *timer : w.at(&DialogPeek::m_pStkInputDlg)->findChildren<QTimer *>()) {
            if (timer->isActive())
                running << timer;
        }
        close(window);
    });
    open(Dialog, 5, false);
    QVERIFY(driver.isDone());
    QCOMPARE(running.size(), 0);
    QCOMPARE(answers(), QStringList({"AnswerInKey(6, 1, \"x\")"}));
}

void tst_STKDialogNested::threeQuestions_data()
{
    QTest::addColumn<bool>("elsewhere");
    QTest::addColumn<int>("last");
    for (bool elsewhere : {false, true}) {
        for (int last : {Dialog, Key, YesNo})
            QTest::addRow("%s%s", nameOf(last), elsewhere ? ", on the library's thread" : "") << elsewhere << last;
    }
}

void tst_STKDialogNested::threeQuestions()
{
    QFETCH(bool, elsewhere);
    QFETCH(int, last);
    ModalDriver driver;
    driver.on("QDialog", [=](QWidget *) { open(YesNo, 6, elsewhere); });
    driver.on("QDialog", [=](QWidget *) { open(Dialog, 7, elsewhere); });
    driver.on("QDialog", [=](QWidget *) { open(Kind(last), 8, elsewhere); });
    driver.on("QDialog", close);
    open(Key, 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(answers().size(), 1);
    QVERIFY(answers().first().contains("(8, 1, "));
    QCOMPARE(logged::started(m_world->log).count("stkWaitforRespond"), 1);
}

void tst_STKDialogNested::aSilentCommandOverOne_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("elsewhere");
    for (int kind = Text; kind <= YesNo; ++kind) {
        QTest::addRow("%s", nameOf(kind)) << kind << false;
        QTest::addRow("%s, on the library's thread", nameOf(kind)) << kind << true;
    }
}

void tst_STKDialogNested::aSilentCommandOverOne()
{
    QFETCH(int, kind);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.setBrowser(0, "http://example.org");
    QStringList meanwhile;
    bool visible = false;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *window) {
        raise(w, MDSV_STKTYPE_SETUP_CALL, 6, elsewhere);
        raise(w, MDSV_STKTYPE_SEND_SMS, 7, elsewhere);
        raise(w, MDSV_STKTYPE_LAUNCH_BROWSER, 8, elsewhere);
        raise(w, MDSV_STKTYPE_SELECT_ITEM, 9, elsewhere);
        meanwhile = answers();
        visible = window->isVisible();
        close(window);
    });
    open(Kind(kind), 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(meanwhile, QStringList({"SendNoDataResponse(6, 4, 4)", "SendNoDataResponse(8, 11, 1)"}));
    QVERIFY(visible);
    QCOMPARE(answers().size(), 3);
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
}

// ---------------------------------------------------------------- ends from outside

void tst_STKDialogNested::endOfSession_data()
{
    aSilentCommandOverOne_data();
}

void tst_STKDialogNested::endOfSession()
{
    QFETCH(int, kind);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 4);
    w.forget();
    const bool inDialog = kind == Dialog || kind == Key;
    bool stays = false;
    QString state;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *window) {
        raise(w, MDSV_STKTYPE_END_SESSION, 22, elsewhere);
        stays = window->isVisible();
        state = w.menuState();
        if (stays)
            close(window);
    });
    open(Kind(kind), 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(stays, !inDialog); // it closes the input dialog alone
    QCOMPARE(state, QString("STK_MAINMENU"));
    QCOMPARE(answers().size(), 1);
    if (inDialog)
        QVERIFY(answers().first().endsWith("(22, 0, \"\")"));
    QCOMPARE(verdicts(w), QList<int>({1, 1}));
    QVERIFY(w.frame()->isVisible());
}

void tst_STKDialogNested::deviceLost_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("waiting");
    for (int kind = Text; kind <= YesNo; ++kind) {
        QTest::addRow("%s", nameOf(kind)) << kind << false;
        QTest::addRow("%s, while waiting", nameOf(kind)) << kind << true;
    }
}

void tst_STKDialogNested::deviceLost()
{
    QFETCH(int, kind);
    QFETCH(bool, waiting);
    DialogWorld &w = *m_world;
    const QPointer<QWidget> frame(w.frame());
    const bool inDialog = kind == Dialog || kind == Key;
    bool stays = false;
    bool windowStays = false;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *window) {
        const QPointer<QWidget> guarded(window);
        if (waiting)
            w.startWait(20);
        w.sdk.raiseDevice(MDSV_DEVICE_REMOVED);
        QElapsedTimer clock;
        clock.start();
        // Its timer fires in this loop, or in an outer one.
        while (!logged::started(w.log).contains("onSTKTimeOut") && clock.elapsed() < LIMIT_MS)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
        stays = guarded && guarded->isVisible();
        windowStays = frame && frame->isVisible();
        if (stays)
            close(window);
    });
    open(Kind(kind), 5, false);
    QVERIFY(driver.isDone());
    QCOMPARE(stays, !inDialog);
    QCOMPARE(windowStays, waiting); // a wait refuses the close
    QCOMPARE(answers().size(), 1);
    QVERIFY(!verdicts(w).contains(0));
    QVERIFY(!messageFrame());
}

void tst_STKDialogNested::theMainWindowDeleted_data()
{
    aSilentCommandOverOne_data();
}

void tst_STKDialogNested::theMainWindowDeleted()
{
    QFETCH(int, kind);
    QFETCH(bool, elsewhere);
    ModalDriver driver;
    driver.on("QDialog", [this](QWidget *) { delete m_world->host; });
    open(Kind(kind), 5, elsewhere);
    QVERIFY(driver.isDone());
    QVERIFY(answers().size() <= 1);
    QVERIFY(!messageFrame());
}

void tst_STKDialogNested::destroyed_data()
{
    aSilentCommandOverOne_data();
}

void tst_STKDialogNested::destroyed()
{
    QFETCH(int, kind);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    QPointer<QWidget> opened;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *window) {
        opened = window;
        if (kind == YesNo) // with its timer running, too
            w.at(&DialogPeek::m_pStkTimer)->start(1);
        command::destroy(w);
        if (opened && opened->isVisible())
            opened->close();
    });
    open(Kind(kind), 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(answers(), QStringList()); // the callbacks are withdrawn: the service answers
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    QVERIFY(!DialogPeek::m_pMsgDialog);
    QVERIFY(!opened);
}

void tst_STKDialogNested::destroyedUnderTwo_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<bool>("elsewhere");
    for (int first = Text; first <= YesNo; ++first) {
        for (int second = Text; second <= YesNo; ++second) {
            for (bool elsewhere : {false, true})
                QTest::addRow("%s over %s%s", nameOf(second), nameOf(first),
                              elsewhere ? ", on the library's thread" : "")
                    << first << second << elsewhere;
        }
    }
}

void tst_STKDialogNested::destroyedUnderTwo()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    QPointer<QWidget> lower;
    QPointer<QWidget> upper;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *window) {
        lower = window;
        open(Kind(second), 6, elsewhere);
    });
    driver.on("QDialog", [&](QWidget *window) {
        upper = window;
        command::destroy(w);
        if (upper)
            upper->close();
        if (lower)
            lower->close();
    });
    open(Kind(first), 5, elsewhere);
    QVERIFY(driver.isDone());
    QCOMPARE(answers(), QStringList());
    QVERIFY(!DialogPeek::m_pMsgDialog);
    QVERIFY(!lower);
    QVERIFY(!upper);
}

void tst_STKDialogNested::aNewPlugInAfterOneThatWasDestroyed()
{
    DialogWorld &w = *m_world;
    STKDialog *second = nullptr;
    STKThread *waiter = nullptr;
    ModalDriver driver;
    driver.on("QDialog", [&](QWidget *box) {
        command::destroy(w);
        second = STKDialog::Instance();
        waiter = second->*(&DialogPeek::m_pStkThread);
        box->close();
    });
    open(YesNo, 5, true);
    QVERIFY(driver.isDone());
    QVERIFY(second && second == DialogPeek::m_pStkDialogInstance);
    QCOMPARE(answers(), QStringList());
    QVERIFY(!DialogPeek::m_pMsgDialog);

    raise(w, MDSV_STKTYPE_SETUP_CALL, 6);
    QCOMPARE(answers(), QStringList({"SendNoDataResponse(6, 4, 4)"}));
    second->unSDKRegisterEvent();
    STKDialog::Destroy();
    delete waiter;
}

QTEST_MAIN(tst_STKDialogNested)
#include "tst_STKDialogNested.moc"
