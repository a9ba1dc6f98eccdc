// The input dialog: what answers reach the card, and all the ways in which the dialog closes or does not.
#include "InputWorld.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMessageBox>

#include <memory>

using support::ref;
namespace journal = support::journal;

namespace
{
const char UNIT[] = "STKInputDlg";
const char ANSWER_INPUT[] = "MDSV_STKSrv_AnswerInput";
const char SHOW_MESSAGE[] = "CommonUtils::ShowMessage";

const QStringList CANCELLED = {"AnswerInput(0, 0, \"\")"};
const QStringList CANCELLED_TWICE = CANCELLED + CANCELLED;

QString withPlace(const char *words, const char *function)
{
    return QString("%1../../src/STKPlugin/STKInputDlg: %2: <time>: ").arg(words, function);
}

/// Notes what the dialog says of its last answer when the frame that it filters is asked to close.
class ResultAtClose : public QObject
{
public:
    explicit ResultAtClose(STKInputDlg *dialog) : m_dialog(dialog) {}

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Close)
            result = m_dialog->GetLastError();
        return false;
    }

    int result = 77;

private:
    STKInputDlg *const m_dialog;
};
} // namespace

class tst_STKInputDlgAnswers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void okSendsTheText_data();
    void okSendsTheText();
    void okCarriesTheCommandsIdentifier();
    void okSendsAHiddenTextInClear();
    void okThatIsRefused();
    void okThatIsRefusedLeavesTheFocusInTheField();
    void okThatIsRefusedThenAccepted();
    void okThatIsRefusedThenCancel();
    void okThatIsRefusedThenTheFramesClose();
    void okThatIsRefusedThenEscape();
    void okWithAnObjectMissing_data();
    void okWithAnObjectMissing();

    void cancelAnswers_data();
    void cancelAnswers();
    void cancelThatIsRefused();
    void cancelWithAnObjectMissing_data();
    void cancelWithAnObjectMissing();

    void escapeAnswersOnce();
    void theFramesCloseAnswersAndLeavesTheFlag();
    void requestsClosedByTheFrameAnswerEveryOtherTime();
    void aButtonAfterTheFramesCloseAnswersAllTheSame();
    void closeFromOutside();
    void closeFromOutsideWithoutAFrame();
    void hiddenFromOutsideAnswersNothing();
    void returnInTheFieldPressesOk();
    void returnBeforeAnythingIsTypedDoesNothing();

    void timeOutAnswersLikeCancel();
    void timeOutOfAKeyRequest();
    void timeOutWithoutATimer();

    void theResultIsThereWhenTheFrameCloses_data();
    void theResultIsThereWhenTheFrameCloses();
    void theResultIsKept();
    void anEarlierRequestIsReplaced();
    void theParentDeletedWhileItIsOpen();
    void theDialogDestroyedWhileItIsOpen();
    void theDialogDestroyedWithinAnAnswer_data();
    void theDialogDestroyedWithinAnAnswer();
    void theSessionEndsUnderTheMessage();
    void theParentDeletedUnderTheMessage();

private:
    std::unique_ptr<InputWorld> m_world;
};

void tst_STKInputDlgAnswers::init()
{
    m_world.reset(new InputWorld);
    m_world->dialog->SetInputRequest(inputRequest());
    m_world->forget();
}

void tst_STKInputDlgAnswers::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

// ---------------------------------------------------------------- OK

void tst_STKInputDlgAnswers::okSendsTheText_data()
{
    QTest::addColumn<bool>("key");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("answer");
    QTest::newRow("text") << false << "Ann"
                          << "AnswerInput(0, 1, \"Ann\")";
    QTest::newRow("markup") << false << "<b>"
                            << "AnswerInput(0, 1, \"<b>\")";
    QTest::newRow("not Latin") << false << QString::fromUtf8("Аня") << QString::fromUtf8("AnswerInput(0, 1, \"Аня\")");
    QTest::newRow("empty") << false << ""
                           << "AnswerInput(0, 1, \"\")";
    QTest::newRow("key") << true << "x"
                         << "AnswerInKey(0, 1, \"x\")";
}

void tst_STKInputDlgAnswers::okSendsTheText()
{
    QFETCH(bool, key);
    QFETCH(QString, text);
    QFETCH(QString, answer);
    InputWorld &w = *m_world;
    if (key)
        w.dialog->SetInKeyRequest(inputRequest());
    QVERIFY(w.show([&] {
        w.field()->setText(text);
        w.ok()->setEnabled(true);
        QTest::mouseClick(w.ok(), Qt::LeftButton);
    }));
    QCOMPARE(w.answers(), QStringList({answer}));
    QCOMPARE(w.dialog->GetLastError(), 0);
    QVERIFY(!w.dialog->GetBtnClicked()); // the close has read and reset it
    QVERIFY(!w.dialog->IsDialogCreated());
    QCOMPARE(w.setPointers(), QStringList());
}

void tst_STKInputDlgAnswers::okCarriesTheCommandsIdentifier()
{
    InputWorld &w = *m_world;
    w.at(&InputPeek::m_pStkLogic)->RegisterSTKCB();
    w.sdk.raiseStk(MDSV_STKTYPE_GET_INPUT, 345);
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "42");
        w.ok()->click();
    }));
    w.at(&InputPeek::m_pStkLogic)->UnresgisterSTKCB();
    QCOMPARE(w.answers(), QStringList({"AnswerInput(345, 1, \"42\")"}));
}

void tst_STKInputDlgAnswers::okSendsAHiddenTextInClear()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.nEcho = 0;
    w.dialog->SetInputRequest(request);
    QString shown;
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "1234");
        shown = w.field()->displayText();
        w.ok()->click();
    }));
    QVERIFY(!shown.contains(QRegExp("[1-4]")));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"1234\")"}));
}

void tst_STKInputDlgAnswers::okThatIsRefused()
{
    InputWorld &w = *m_world;
    w.sdk.answer(ANSWER_INPUT, 3);
    bool open = false, flag = false;
    int error = 0;
    QVariant frame;
    QVERIFY(w.show([&] {
        frame = ref(static_cast<QWidget *>(w.frame()));
        QTest::keyClicks(w.field(), "Ann");
        w.ok()->click();
        open = w.frame() && w.frame()->isVisible() && w.field()->text() == "Ann";
        error = w.dialog->GetLastError();
        flag = w.dialog->GetBtnClicked();
        w.cancel()->click();
    }));
    QVERIFY(open);
    QVERIFY(flag);
    QCOMPARE(error, -1);
    QCOMPARE(journal::count(SHOW_MESSAGE), 1);
    QCOMPARE(journal::callsOf(SHOW_MESSAGE).first().args,
             QVariantList({int(QMessageBox::Information), frame, "tr:STKPlugin:IDS_STK_MSG_PROMPT",
                           "tr:STKPlugin:IDS_STK_MSG_INPUTFAILED", "IDS_OK", "", "", true,
                           int(Qt::WindowCloseButtonHint), false, "", true}));
}

void tst_STKInputDlgAnswers::okThatIsRefusedLeavesTheFocusInTheField()
{
    InputWorld &w = *m_world;
    w.sdk.answer(ANSWER_INPUT, 3);
    w.core.onShowMessage([&w](QDialog *) {
        w.cancel()->setFocus();
        return 1024;
    });
    QVariant focus, field;
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "Ann");
        w.ok()->click();
        focus = ref(w.frame()->focusWidget());
        field = ref(static_cast<QWidget *>(w.field()));
        w.cancel()->click();
    }));
    QCOMPARE(focus, field);
}

void tst_STKInputDlgAnswers::okThatIsRefusedThenAccepted()
{
    InputWorld &w = *m_world;
    w.sdk.answerOnce(ANSWER_INPUT, 3);
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "A");
        w.ok()->click();
        QTest::keyClicks(w.field(), "B");
        w.ok()->click();
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"A\")", "AnswerInput(0, 1, \"AB\")"}));
    QCOMPARE(w.dialog->GetLastError(), 0);
    QCOMPARE(journal::count(SHOW_MESSAGE), 1);
}

void tst_STKInputDlgAnswers::okThatIsRefusedThenCancel()
{
    InputWorld &w = *m_world;
    w.sdk.answerOnce(ANSWER_INPUT, 3);
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "A");
        w.ok()->click();
        w.cancel()->click();
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"A\")", "AnswerInput(0, 0, \"\")"}));
    QCOMPARE(w.dialog->GetLastError(), 0);
}

void tst_STKInputDlgAnswers::okThatIsRefusedThenTheFramesClose()
{
    InputWorld &w = *m_world;
    w.sdk.answer(ANSWER_INPUT, 3);
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "A");
        w.ok()->click();
        w.frame()->close();
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"A\")"})); // and no Cancel
    QCOMPARE(w.dialog->GetLastError(), -1);
    QVERIFY(!w.dialog->GetBtnClicked());
    QVERIFY(!w.dialog->IsDialogCreated());
}

void tst_STKInputDlgAnswers::okThatIsRefusedThenEscape()
{
    InputWorld &w = *m_world;
    w.sdk.answerOnce(ANSWER_INPUT, 3);
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "A");
        w.ok()->click();
        QTest::keyClick(w.field(), Qt::Key_Escape);
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"A\")", "AnswerInput(0, 0, \"\")"}));
    QCOMPARE(w.dialog->GetLastError(), 0);
}

void tst_STKInputDlgAnswers::okWithAnObjectMissing_data()
{
    QTest::addColumn<QString>("missing");
    QTest::newRow("logic") << "logic";
    QTest::newRow("field") << "field";
    QTest::newRow("frame") << "frame";
}

void tst_STKInputDlgAnswers::okWithAnObjectMissing()
{
    QFETCH(QString, missing);
    InputWorld &w = *m_world;
    STKLogic *logic = w.at(&InputPeek::m_pStkLogic);
    QStringList lines;
    bool open = false;
    QVERIFY(w.show([&] {
        const QPointer<QDialog> frame(w.frame());
        if (missing == "logic")
            w.at(&InputPeek::m_pStkLogic) = nullptr;
        else if (missing == "field")
            w.at(&InputPeek::m_pLineEditInput) = nullptr;
        else
            w.at(&InputPeek::m_pInputExtendDlg) = nullptr;
        w.log.clear();
        QMetaObject::invokeMethod(w.dialog, "onButtonClickOk");
        lines = logged::linesOf(w.log, "onButtonClickOk", UNIT);
        open = frame && frame->isVisible();
        w.at(&InputPeek::m_pStkLogic) = logic;
        frame->close();
    }));
    QVERIFY(open);
    QCOMPARE(lines, QStringList({logged::start("onButtonClickOk", UNIT),
                                 withPlace("Logic Instance/Widget is NULL ", "onButtonClickOk")}));
    QCOMPARE(w.answers(), QStringList()); // the flag that the handler has set keeps the close silent
    QVERIFY(!w.dialog->GetBtnClicked());
    QCOMPARE(w.dialog->GetLastError(), -1);
}

// ---------------------------------------------------------------- Cancel

void tst_STKInputDlgAnswers::cancelAnswers_data()
{
    QTest::addColumn<bool>("key");
    QTest::addColumn<QString>("answer");
    QTest::newRow("text") << false << "AnswerInput(0, 0, \"\")";
    QTest::newRow("key") << true << "AnswerInKey(0, 0, \"\")";
}

void tst_STKInputDlgAnswers::cancelAnswers()
{
    QFETCH(bool, key);
    QFETCH(QString, answer);
    InputWorld &w = *m_world;
    if (key)
        w.dialog->SetInKeyRequest(inputRequest());
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "typed");
        QTest::mouseClick(w.cancel(), Qt::LeftButton);
    }));
    QCOMPARE(w.answers(), QStringList({answer}));
    QCOMPARE(w.dialog->GetLastError(), 0);
    QVERIFY(!w.dialog->GetBtnClicked());
    QCOMPARE(w.setPointers(), QStringList());
}

void tst_STKInputDlgAnswers::cancelThatIsRefused()
{
    InputWorld &w = *m_world;
    w.sdk.answer(ANSWER_INPUT, 3);
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QCOMPARE(w.answers(), CANCELLED);
    QCOMPARE(w.dialog->GetLastError(), -1);
    QVERIFY(!w.dialog->IsDialogCreated());
    QCOMPARE(journal::count(SHOW_MESSAGE), 0);
}

void tst_STKInputDlgAnswers::cancelWithAnObjectMissing_data()
{
    QTest::addColumn<QString>("missing");
    QTest::newRow("logic") << "logic";
    QTest::newRow("frame") << "frame";
}

void tst_STKInputDlgAnswers::cancelWithAnObjectMissing()
{
    QFETCH(QString, missing);
    InputWorld &w = *m_world;
    STKLogic *logic = w.at(&InputPeek::m_pStkLogic);
    QStringList lines;
    bool open = false;
    QVERIFY(w.show([&] {
        const QPointer<QDialog> frame(w.frame());
        if (missing == "logic")
            w.at(&InputPeek::m_pStkLogic) = nullptr;
        else
            w.at(&InputPeek::m_pInputExtendDlg) = nullptr;
        w.log.clear();
        QMetaObject::invokeMethod(w.dialog, "onButtonClickCancel");
        lines = logged::linesOf(w.log, "onButtonClickCancel", UNIT);
        open = frame && frame->isVisible();
        frame->close();
    }));
    w.at(&InputPeek::m_pStkLogic) = logic;
    QVERIFY(open);
    QCOMPARE(lines, QStringList({logged::start("onButtonClickCancel", UNIT),
                                 withPlace("Logic Instance/ widget is NULL ", "onButtonClickCancel")}));
    QCOMPARE(w.answers(), QStringList());
    QVERIFY(!w.dialog->GetBtnClicked());
    QCOMPARE(w.dialog->GetLastError(), -1);
}

// ---------------------------------------------------------------- closing

void tst_STKInputDlgAnswers::escapeAnswersOnce()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] { QTest::keyClick(w.field(), Qt::Key_Escape); }));
    QCOMPARE(w.answers(), CANCELLED);
    QVERIFY(!w.dialog->GetBtnClicked());
    QCOMPARE(w.dialog->GetLastError(), 0);
    QCOMPARE(w.setPointers(), QStringList());
}

void tst_STKInputDlgAnswers::theFramesCloseAnswersAndLeavesTheFlag()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] { w.frame()->close(); }));
    QCOMPARE(w.answers(), CANCELLED);
    QVERIFY(w.dialog->GetBtnClicked());
    QCOMPARE(w.dialog->GetLastError(), 0);
    QCOMPARE(w.setPointers(), QStringList());
    QVERIFY(!w.dialog->IsDialogCreated());
}

void tst_STKInputDlgAnswers::requestsClosedByTheFrameAnswerEveryOtherTime()
{
    InputWorld &w = *m_world;
    const QList<int> expected = {1, 1, 2, 2};
    for (int count : expected) {
        w.dialog->SetInputRequest(inputRequest());
        QVERIFY(w.show([&] { w.frame()->findChild<QPushButton *>("CoreDouble_CloseButton")->click(); }));
        QCOMPARE(w.answers().size(), count);
        QVERIFY(!w.dialog->IsDialogCreated());
    }
    QCOMPARE(w.answers(), CANCELLED_TWICE);
}

void tst_STKInputDlgAnswers::aButtonAfterTheFramesCloseAnswersAllTheSame()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] { w.frame()->close(); }));
    QVERIFY(w.dialog->GetBtnClicked());
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QCOMPARE(w.answers(), CANCELLED_TWICE);
    QVERIFY(!w.dialog->GetBtnClicked());
}

void tst_STKInputDlgAnswers::closeFromOutside()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] { w.dialog->CloseDlg(); }));
    QCOMPARE(w.answers(), CANCELLED);
    QVERIFY(!w.dialog->GetBtnClicked());
    QVERIFY(!w.dialog->IsDialogCreated());
}

void tst_STKInputDlgAnswers::closeFromOutsideWithoutAFrame()
{
    InputWorld &w = *m_world;
    w.log.clear();
    w.dialog->CloseDlg();
    QVERIFY(w.log.debug().contains(withPlace("Logic Instance/ widget is NULL ", "onButtonClickCancel")));
    QVERIFY(w.dialog->GetBtnClicked());
    QCOMPARE(w.answers(), QStringList());
    QCOMPARE(w.dialog->GetLastError(), -1);
}

void tst_STKInputDlgAnswers::hiddenFromOutsideAnswersNothing()
{
    // Nobody in the product does this; whoever does gets his loop back, and nothing hangs.
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] { w.frame()->hide(); }));
    QCOMPARE(w.answers(), QStringList());
    QVERIFY(!w.dialog->IsDialogCreated());
}

void tst_STKInputDlgAnswers::returnInTheFieldPressesOk()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "typed");
        QTest::keyClick(w.field(), Qt::Key_Return);
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"typed\")"}));
    QVERIFY(!w.dialog->GetBtnClicked());
}

void tst_STKInputDlgAnswers::returnBeforeAnythingIsTypedDoesNothing()
{
    InputWorld &w = *m_world;
    QStringList afterReturn("not looked at");
    QVERIFY(w.show([&] {
        QTest::keyClick(w.field(), Qt::Key_Return);
        afterReturn = w.answers();
        w.cancel()->click();
    }));
    QCOMPARE(afterReturn, QStringList());
    QCOMPARE(w.answers(), CANCELLED);
}

// ---------------------------------------------------------------- the timer

void tst_STKInputDlgAnswers::timeOutAnswersLikeCancel()
{
    InputWorld &w = *m_world;
    QPointer<QTimer> timer;
    QVERIFY(w.show([&] {
        timer = w.timer();
        timer->start(10);
    }));
    QCOMPARE(w.answers(), CANCELLED);
    QVERIFY(timer && !timer->isActive());
    QVERIFY(!w.dialog->GetBtnClicked());
    QCOMPARE(w.dialog->GetLastError(), 0);
    QCOMPARE(logged::started(w.log, UNIT).count("onTimerTimeOut"), 1);
}

void tst_STKInputDlgAnswers::timeOutOfAKeyRequest()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] {
        StkInKeyRequest request = inputRequest();
        request.nDuration = 1;
        w.dialog->SetInKeyRequest(request); // a frame is up: the timer starts
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInKey(0, 0, \"\")"}));
}

void tst_STKInputDlgAnswers::timeOutWithoutATimer()
{
    InputWorld &w = *m_world;
    QVERIFY(QMetaObject::invokeMethod(w.dialog, "onTimerTimeOut"));
    QCOMPARE(w.answers(), QStringList());
    QVERIFY(!w.dialog->GetBtnClicked());
}

// ---------------------------------------------------------------- what may come between

void tst_STKInputDlgAnswers::theResultIsThereWhenTheFrameCloses_data()
{
    QTest::addColumn<bool>("cancel");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("result");
    QTest::newRow("OK") << false << 0 << -1 << 0;
    QTest::newRow("Cancel") << true << 0 << -1 << 0;
    QTest::newRow("Cancel, refused") << true << 3 << 0 << -1;
}

void tst_STKInputDlgAnswers::theResultIsThereWhenTheFrameCloses()
{
    QFETCH(bool, cancel);
    QFETCH(int, status);
    QFETCH(int, before);
    QFETCH(int, result);
    InputWorld &w = *m_world;
    w.at(&InputPeek::m_nLastError) = before;
    w.sdk.answer(ANSWER_INPUT, status);
    ResultAtClose atClose(w.dialog);
    QVERIFY(w.show([&] {
        w.frame()->installEventFilter(&atClose);
        QTest::keyClicks(w.field(), "x");
        (cancel ? w.cancel() : w.ok())->click();
    }));
    QCOMPARE(atClose.result, result);
}

void tst_STKInputDlgAnswers::theResultIsKept()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QCOMPARE(w.dialog->GetLastError(), 0);
    int during = 77;
    w.dialog->SetInputRequest(inputRequest());
    w.sdk.answer(ANSWER_INPUT, 3);
    QVERIFY(w.show([&] {
        during = w.dialog->GetLastError();
        w.cancel()->click();
    }));
    QCOMPARE(during, 0); // of the answer before
    QCOMPARE(w.dialog->GetLastError(), -1);
    w.dialog->SetInKeyRequest(inputRequest());
    QCOMPARE(w.dialog->GetLastError(), -1);
}

void tst_STKInputDlgAnswers::anEarlierRequestIsReplaced()
{
    InputWorld &w = *m_world;
    QPointer<QDialog> first;
    bool innerReturned = false, firstHidden = false;
    QString prompt;
    QVERIFY(w.show({[&] {
                        first = w.frame();
                        StkInKeyRequest request = inputRequest();
                        request.strPrompt = "Second?";
                        w.dialog->SetInKeyRequest(request);
                        w.dialog->ShowStkInputDlg(w.host);
                        innerReturned = true;
                    },
                    [&] {
                        prompt = w.label()->text();
                        firstHidden = !first || !first->isVisible();
                        QTest::keyClicks(w.field(), "7");
                        w.ok()->click();
                    }}));
    QVERIFY(innerReturned);
    QVERIFY(firstHidden);
    QCOMPARE(prompt, QString("Second?"));
    QCOMPARE(w.answers(), QStringList({"AnswerInKey(0, 1, \"7\")"})); // nothing for the first any more
    QVERIFY(!first);
    QVERIFY(!w.dialog->IsDialogCreated());
    QVERIFY(!w.dialog->GetBtnClicked());
}

void tst_STKInputDlgAnswers::theParentDeletedWhileItIsOpen()
{
    InputWorld &w = *m_world;
    QVERIFY(w.show([&] { delete w.host; }));
    QVERIFY(!w.dialog->IsDialogCreated());
    QCOMPARE(w.setPointers(), QStringList({"m_pInputTimer"}));
    QCOMPARE(w.answers(), QStringList());
    QCOMPARE(w.dialog->GetLastError(), -1);
    // And it works again.
    w.host = new QWidget;
    w.host->show();
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QCOMPARE(w.answers(), CANCELLED);
}

void tst_STKInputDlgAnswers::theDialogDestroyedWhileItIsOpen()
{
    InputWorld &w = *m_world;
    QPointer<QDialog> frame;
    QVERIFY(w.show([&] {
        frame = w.frame();
        STKInputDlg::DestroyInstance();
        frame->close();
    }));
    QVERIFY(!frame);
    QCOMPARE(w.answers(), QStringList());
}

void tst_STKInputDlgAnswers::theDialogDestroyedWithinAnAnswer_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("OK") << "OK";
    QTest::newRow("Cancel") << "Cancel";
    QTest::newRow("Escape") << "Escape";
    QTest::newRow("close") << "close";
}

void tst_STKInputDlgAnswers::theDialogDestroyedWithinAnAnswer()
{
    QFETCH(QString, way);
    InputWorld &w = *m_world;
    // As when the answer brings the end of everything on this very thread. The frame stays its parent's.
    w.sdk.onCall(ANSWER_INPUT, [] { STKInputDlg::DestroyInstance(); });
    QVERIFY(w.show([&] {
        const QPointer<QDialog> frame(w.frame());
        if (way == "OK") {
            w.ok()->setEnabled(true);
            w.ok()->click();
        } else if (way == "Cancel") {
            w.cancel()->click();
        } else if (way == "Escape") {
            QTest::keyClick(w.field(), Qt::Key_Escape);
        } else {
            frame->close();
        }
        if (frame)
            frame->close();
    }));
    QCOMPARE(w.answers().size(), 1);
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
}

void tst_STKInputDlgAnswers::theSessionEndsUnderTheMessage()
{
    InputWorld &w = *m_world;
    w.sdk.answerOnce(ANSWER_INPUT, 3);
    w.core.onShowMessage([&w](QDialog *) {
        w.dialog->CloseDlg();
        return int(QMessageBox::Cancel);
    });
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "A");
        w.ok()->click();
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"A\")", "AnswerInput(0, 0, \"\")"}));
    QVERIFY(!w.dialog->IsDialogCreated());
}

void tst_STKInputDlgAnswers::theParentDeletedUnderTheMessage()
{
    InputWorld &w = *m_world;
    w.sdk.answer(ANSWER_INPUT, 3);
    w.core.onShowMessage([&w](QDialog *) {
        delete w.host;
        return int(QMessageBox::Cancel);
    });
    QVERIFY(w.show([&] {
        QTest::keyClicks(w.field(), "A");
        w.ok()->click();
    }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 1, \"A\")"}));
    QVERIFY(!w.dialog->IsDialogCreated());
    QCOMPARE(w.dialog->GetLastError(), -1);
}

QTEST_MAIN(tst_STKInputDlgAnswers)
#include "tst_STKInputDlgAnswers.moc"
