// The window's controller: the text in a modal box, with and without its count-down.
#include "DialogWorld.h"

#include "support/ModalDriver.h"

#include "core/WsMessageBox.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

using support::ModalDriver;
using support::ref;
namespace journal = support::journal;

namespace
{
const QString OK_TEXT = "tr:XFramePlugin:IDS_OK";

WsMessageBox *boxIn(QWidget *frame)
{
    return frame->findChild<WsMessageBox *>();
}

QPushButton *buttonOf(QWidget *frame, const QString &key)
{
    for (QPushButton *button : boxIn(frame)->findChildren<QPushButton *>()) {
        if (button->text().contains(key))
            return button;
    }
    return nullptr;
}

void closeFrame(QWidget *frame)
{
    frame->close();
}
} // namespace

/// Stands in for Qt's own, whose sound nobody could look at.
static int s_beeps = 0;

void QApplication::beep()
{
    ++s_beeps;
}

class tst_STKDialogMessage : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void callsTheHostInOrder();
    void boxAndFrameAreAsGiven();
    void beepsBeforeItShows();
    void withoutAMainWindow();
    void textIsShownAsItIs_data();
    void textIsShownAsItIs();
    void outcome_data();
    void outcome();
    void enterPressesCancel_data();
    void enterPressesCancel();
    void membersAfterwards();
    void countDownIsResetAfterwards();

    void tickCountsDown_data();
    void tickCountsDown();
    void tickWithAnObjectMissing_data();
    void tickWithAnObjectMissing();
    void tickWithoutAnOkButtonCloses();
    void okWhileCountingDown();
    void countDownThatIsCancelled();

    void aSecondTextTakesTheFrameOver_data();
    void aSecondTextTakesTheFrameOver();
    void aThirdTextTakesTheFrameOver();
    void countDownOfASecondText();
    void theMainWindowDeletedWhileItIsOpen();
    void theMainWindowDeletedUnderTwoTexts();
    void theControllerDestroyedWhileItIsOpen();
    void aTextAfterAnother();

private:
    int show(const QString &text, std::function<void(QWidget *frame)> act);
    void startCountDown(int seconds);
    ExtendDialog *messageFrame() const { return m_world->at(&DialogPeek::m_pMsgBoxDlg); }

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogMessage::init()
{
    m_world.reset(new DialogWorld);
    m_world->forget();
}

void tst_STKDialogMessage::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

/// Shows the text, acts once in its frame, and gives the outcome; INT_MIN when the frame never came or stayed open.
int tst_STKDialogMessage::show(const QString &text, std::function<void(QWidget *)> act)
{
    ModalDriver driver;
    driver.on("ExtendDialog", act);
    const int outcome = m_world->dialog->showTimeMessageBox(text);
    return driver.isDone() ? outcome : INT_MIN;
}

/// As DISPLAY TEXT does for a text that clears itself. The ticks are the test's own.
void tst_STKDialogMessage::startCountDown(int seconds)
{
    QTimer *timer = new QTimer(m_world->dialog);
    m_world->at(&DialogPeek::m_pMsgTimer) = timer;
    m_world->at(&DialogPeek::m_nMsgTimeOut) = seconds;
    m_world->at(&DialogPeek::m_nMsgRemain) = seconds;
    timer->start(1000);
}

// ---------------------------------------------------------------- the box

void tst_STKDialogMessage::callsTheHostInOrder()
{
    QCOMPARE(show("Hello", closeFrame), int(QMessageBox::Cancel));
    QStringList lines = journal::lines();
    lines = lines.filter(QRegularExpression("^(?!ExtendDialog::changeSize)"));
    const QStringList expected = {"CommonUtils::GetMainWindow()",
                                  "ExtendDialog::ExtendDialog(<pointer>, 134217728, 4)",
                                  "WsMessageBox::WsMessageBox(<pointer>)",
                                  "ExtendDialog::AddMainWidget(<pointer>)",
                                  "ExtendDialog::setWindowFlags(134217728)",
                                  "ExtendDialog::setWindowTitle(\"\")",
                                  "Change::tr(\"IDS_OK\", \"XFramePlugin\")",
                                  "Change::tr(\"IDS_CANCEL\", \"XFramePlugin\")",
                                  "ExtendDialog::~ExtendDialog()"};
    QCOMPARE(lines, expected);
    QCOMPARE(journal::callsOf("ExtendDialog::ExtendDialog").first().args.first(), ref(m_world->host.data()));
    QCOMPARE(logged::linesOf(m_world->log, "showTimeMessageBox"),
             QStringList({logged::start("showTimeMessageBox"), logged::end("showTimeMessageBox")}));
}

void tst_STKDialogMessage::boxAndFrameAreAsGiven()
{
    struct Seen {
        bool modal, icon, text, okFirst, cancelDefault, okDefault, flags, inFrame, members, sizeConnected;
    } seen = {};
    QPointer<QWidget> frame;
    show("Hello", [&](QWidget *window) {
        frame = window;
        WsMessageBox *box = boxIn(window);
        QPushButton *ok = buttonOf(window, "IDS_OK");
        QPushButton *cancel = buttonOf(window, "IDS_CANCEL");
        seen.modal = window->windowModality() == Qt::WindowModal && window->windowTitle().isEmpty();
        seen.icon = box->icon() == QMessageBox::NoIcon;
        seen.text = box->text() == "Hello" && box->textFormat() == Qt::PlainText;
        seen.okFirst =
            box->buttonRole(ok) == QMessageBox::YesRole && box->buttonRole(cancel) == QMessageBox::RejectRole;
        seen.cancelDefault = box->defaultButton() == cancel;
        seen.flags = box->windowFlags() == (Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        seen.inFrame = box->parentWidget() == window;
        seen.members = m_world->at(&DialogPeek::m_pMsgBtnOk) == ok &&
                       m_world->at(&DialogPeek::m_pMsgBtnCancel) == cancel && messageFrame() == window;
        const int before = journal::count("ExtendDialog::changeSize");
        emit box->changeSize(QSize(10, 20));
        seen.sizeConnected = journal::count("ExtendDialog::changeSize") == before + 1;
        window->close();
    });
    QVERIFY(!frame);
    QVERIFY(seen.modal);
    QVERIFY(seen.icon);
    QVERIFY(seen.text);
    QVERIFY(seen.okFirst);
    QVERIFY(seen.cancelDefault);
    QVERIFY(seen.flags);
    QVERIFY(seen.inFrame);
    QVERIFY(seen.members);
    QVERIFY(seen.sizeConnected);
}

void tst_STKDialogMessage::beepsBeforeItShows()
{
    int beeps = -1;
    s_beeps = 0;
    show("Hello", [&](QWidget *frame) {
        beeps = s_beeps;
        frame->close();
    });
    QCOMPARE(beeps, 1);
    QCOMPARE(s_beeps, 1);
}

void tst_STKDialogMessage::withoutAMainWindow()
{
    m_world->core.setMainWindow(nullptr);
    QCOMPARE(show("Hello", [](QWidget *frame) { buttonOf(frame, "IDS_OK")->click(); }), int(QMessageBox::Ok));
    QCOMPARE(journal::lines("ExtendDialog::ExtendDialog"),
             QStringList({"ExtendDialog::ExtendDialog(null, 134217728, 4)"}));
}

void tst_STKDialogMessage::textIsShownAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("markup") << "<b>x</b>";
    QTest::newRow("entity") << "&amp;";
    QTest::newRow("ampersand") << "a &b";
    QTest::newRow("link") << "<a href='http://example.org'>here</a>";
    QTest::newRow("empty") << "";
    QTest::newRow("lines") << "a\nb\n\nc";
    QTest::newRow("not Latin") << QString::fromUtf8("余额 Баланс");
    QTest::newRow("long") << QString(255, 'w');
}

void tst_STKDialogMessage::textIsShownAsItIs()
{
    QFETCH(QString, text);
    QString shown;
    Qt::TextFormat format = Qt::AutoText;
    show(text, [&](QWidget *frame) {
        const QLabel *label = boxIn(frame)->findChild<QLabel *>("qt_msgbox_label");
        shown = label->text();
        format = label->textFormat();
        frame->close();
    });
    QCOMPARE(shown, text);
    QCOMPARE(format, Qt::PlainText);
}

void tst_STKDialogMessage::outcome_data()
{
    QTest::addColumn<QString>("way");
    QTest::addColumn<int>("expected");
    QTest::newRow("OK") << "IDS_OK" << 0x400;
    QTest::newRow("Cancel") << "IDS_CANCEL" << 0x400000;
    QTest::newRow("the frame's close button") << "close button" << 0x400000;
    QTest::newRow("the frame's close") << "close" << 0x400000;
    QTest::newRow("Escape") << "Escape" << 0x400000;
    QTest::newRow("hidden from outside") << "hide" << 0x400000;
}

void tst_STKDialogMessage::outcome()
{
    QFETCH(QString, way);
    QFETCH(int, expected);
    const int found = show("Hello", [way](QWidget *frame) {
        if (way == "close button")
            frame->findChild<QPushButton *>("CoreDouble_CloseButton")->click();
        else if (way == "close")
            frame->close();
        else if (way == "Escape")
            QTest::keyClick(frame, Qt::Key_Escape);
        else if (way == "hide")
            frame->hide();
        else
            QTest::mouseClick(buttonOf(frame, way), Qt::LeftButton);
    });
    QCOMPARE(found, expected);
    QVERIFY(!messageFrame());
    QCOMPARE(journal::names("MDSV_"), QStringList());
}

void tst_STKDialogMessage::enterPressesCancel_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Enter") << int(Qt::Key_Enter);
}

/// The button itself: the frame's close, which gives the same outcome, would come of any Return that nobody uses.
void tst_STKDialogMessage::enterPressesCancel()
{
    QFETCH(int, key);
    bool focused = false;
    int pressed = 0;
    const int found = show("Hello", [&](QWidget *frame) {
        QPushButton *cancel = buttonOf(frame, "IDS_CANCEL");
        connect(cancel, &QPushButton::clicked, this, [&pressed] { ++pressed; });
        focused = frame->focusWidget() == cancel;
        QTest::keyClick(frame->focusWidget() ? frame->focusWidget() : frame, Qt::Key(key));
    });
    QVERIFY(focused);
    QCOMPARE(pressed, 1);
    QCOMPARE(found, int(QMessageBox::Cancel));
}

void tst_STKDialogMessage::membersAfterwards()
{
    const int before = m_world->core.frames().size();
    show("Hello", closeFrame);
    QVERIFY(!messageFrame());
    QVERIFY(!m_world->core.frames().value(before)); // the frame is deleted, and the box with it
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgBtnOk));
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgBtnCancel));
}

void tst_STKDialogMessage::countDownIsResetAfterwards()
{
    startCountDown(5);
    m_world->at(&DialogPeek::m_nMsgTick) = 2;
    m_world->at(&DialogPeek::m_nMsgRemain) = 3;
    QCOMPARE(show("Hello", closeFrame), int(QMessageBox::Cancel));
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgTimer)->isActive());
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgTick), 0);
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgRemain), 5);

    // Without a timer nothing is touched.
    m_world->at(&DialogPeek::m_pMsgTimer) = nullptr;
    m_world->at(&DialogPeek::m_nMsgTick) = 2;
    show("Hello", closeFrame);
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgTick), 2);
}

// ---------------------------------------------------------------- the count-down

void tst_STKDialogMessage::tickCountsDown_data()
{
    QTest::addColumn<int>("seconds");
    QTest::newRow("3 seconds") << 3;
    QTest::newRow("1 second") << 1;
    QTest::newRow("no second") << 0;
    QTest::newRow("12 seconds") << 12;
}

void tst_STKDialogMessage::tickCountsDown()
{
    QFETCH(int, seconds);
    QStringList expected;
    for (int i = seconds; i >= 0; --i)
        expected << OK_TEXT + " = " + QString::number(i);
    startCountDown(seconds);
    QStringList shown;
    QList<bool> open;
    const int outcome = show("Hello", [&](QWidget *frame) {
        const QPointer<QPushButton> ok(buttonOf(frame, "IDS_OK"));
        for (int i = 0; i <= seconds && ok; ++i) {
            m_world->dialog->onMessageTimeOut();
            shown << ok->text();
            open << frame->isVisible();
        }
    });
    QCOMPARE(shown, expected);
    for (int i = 0; i <= seconds; ++i)
        QCOMPARE(open.at(i), i < seconds);   // it closes on the tick that shows 0
    QCOMPARE(outcome, int(QMessageBox::Ok)); // a text that clears itself counts as accepted
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgTimer)->isActive());
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgTick), 0);
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgRemain), seconds);
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgBtnOk));
}

void tst_STKDialogMessage::tickWithAnObjectMissing_data()
{
    QTest::addColumn<bool>("timerMissing");
    QTest::newRow("timer") << true;
    QTest::newRow("frame") << false;
}

void tst_STKDialogMessage::tickWithAnObjectMissing()
{
    QFETCH(bool, timerMissing);
    startCountDown(3);
    QTimer *timer = m_world->at(&DialogPeek::m_pMsgTimer);
    ExtendDialog frame(nullptr, Qt::WindowCloseButtonHint, 4);
    if (timerMissing) {
        m_world->at(&DialogPeek::m_pMsgTimer) = nullptr;
        m_world->at(&DialogPeek::m_pMsgBoxDlg) = &frame;
    }
    m_world->forget();
    m_world->dialog->onMessageTimeOut();
    const QStringList lines = m_world->log.debug();
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.first(), logged::start("onMessageTimeOut"));
    const QRegularExpression missing("^Arg is NULL: (?=.*<time>)(?=.*STKDialog)(?=.*onMessageTimeOut).* \\d+$");
    QVERIFY2(missing.match(lines.last()).hasMatch(), qPrintable(lines.last()));
    QVERIFY(timer->isActive());
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgTick), 0);
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgRemain), 3);
    m_world->at(&DialogPeek::m_pMsgBoxDlg) = nullptr;
}

void tst_STKDialogMessage::tickWithoutAnOkButtonCloses()
{
    startCountDown(3);
    const int outcome = show("Hello", [this](QWidget *) {
        m_world->at(&DialogPeek::m_pMsgBtnOk) = nullptr;
        m_world->dialog->onMessageTimeOut();
    });
    QCOMPARE(outcome, int(QMessageBox::Ok)); // no button was clicked, and there is no OK button
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgTimer)->isActive());
    QCOMPARE(logged::started(m_world->log).count("onMessageTimeOut"), 1);
}

void tst_STKDialogMessage::okWhileCountingDown()
{
    startCountDown(3);
    const int outcome = show("Hello", [this](QWidget *frame) {
        m_world->dialog->onMessageTimeOut();
        m_world->dialog->onMessageTimeOut();
        buttonOf(frame, "IDS_OK")->click();
    });
    QCOMPARE(outcome, int(QMessageBox::Ok));
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgRemain), 3);
    QVERIFY(!m_world->at(&DialogPeek::m_pMsgTimer)->isActive());
}

void tst_STKDialogMessage::countDownThatIsCancelled()
{
    startCountDown(3);
    const int outcome = show("Hello", [this](QWidget *frame) {
        m_world->dialog->onMessageTimeOut();
        frame->close();
    });
    QCOMPARE(outcome, int(QMessageBox::Cancel));
    QCOMPARE(m_world->at(&DialogPeek::m_nMsgTick), 0);
}

// ---------------------------------------------------------------- what may come between

void tst_STKDialogMessage::aSecondTextTakesTheFrameOver_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("second");
    QTest::newRow("OK") << "IDS_OK" << int(QMessageBox::Ok);
    QTest::newRow("Cancel") << "IDS_CANCEL" << int(QMessageBox::Cancel);
    QTest::newRow("closed") << "" << int(QMessageBox::Cancel);
}

void tst_STKDialogMessage::aSecondTextTakesTheFrameOver()
{
    QFETCH(QString, key);
    QFETCH(int, second);
    ModalDriver driver;
    QPointer<QWidget> first;
    bool sameFrame = false;
    QString shown;
    int inner = 0;
    driver.on("ExtendDialog", [&](QWidget *frame) {
        first = frame;
        inner = m_world->dialog->showTimeMessageBox("Second");
    });
    driver.on("ExtendDialog", [&](QWidget *frame) {
        sameFrame = frame == first;
        shown = m_world->at(&DialogPeek::m_pMsgBtnOk)->parentWidget()->parentWidget()->isVisible() ? "visible" : "";
        if (key == "IDS_OK")
            m_world->at(&DialogPeek::m_pMsgBtnOk)->click();
        else if (key == "IDS_CANCEL")
            m_world->at(&DialogPeek::m_pMsgBtnCancel)->click();
        else
            frame->close();
    });
    const int outer = m_world->dialog->showTimeMessageBox("First");
    QVERIFY(driver.isDone());
    QVERIFY(sameFrame);
    QCOMPARE(shown, QString("visible"));
    QCOMPARE(inner, second);
    QCOMPARE(outer, int(QMessageBox::NoButton)); // the later text has the say
    QVERIFY(!messageFrame());
    QVERIFY(!first);
    QCOMPARE(journal::count("ExtendDialog::~ExtendDialog"), 1);
}

void tst_STKDialogMessage::aThirdTextTakesTheFrameOver()
{
    ModalDriver driver;
    QList<int> outcomes;
    driver.on("ExtendDialog", [&](QWidget *) { outcomes << m_world->dialog->showTimeMessageBox("Second"); });
    driver.on("ExtendDialog", [&](QWidget *) { outcomes << m_world->dialog->showTimeMessageBox("Third"); });
    driver.on("ExtendDialog", [&](QWidget *) { m_world->at(&DialogPeek::m_pMsgBtnOk)->click(); });
    outcomes << m_world->dialog->showTimeMessageBox("First");
    QVERIFY(driver.isDone());
    QCOMPARE(outcomes, QList<int>({int(QMessageBox::Ok), int(QMessageBox::NoButton), int(QMessageBox::NoButton)}));
    QVERIFY(!messageFrame());
}

void tst_STKDialogMessage::countDownOfASecondText()
{
    ModalDriver driver;
    int inner = 0;
    driver.on("ExtendDialog", [&](QWidget *) {
        startCountDown(1);
        inner = m_world->dialog->showTimeMessageBox("Second");
    });
    driver.on("ExtendDialog", [&](QWidget *) {
        m_world->dialog->onMessageTimeOut();
        m_world->dialog->onMessageTimeOut();
    });
    const int outer = m_world->dialog->showTimeMessageBox("First");
    QVERIFY(driver.isDone());
    QCOMPARE(inner, int(QMessageBox::Ok));
    QCOMPARE(outer, int(QMessageBox::NoButton));
}

void tst_STKDialogMessage::theMainWindowDeletedWhileItIsOpen()
{
    const int outcome = show("Hello", [this](QWidget *) { delete m_world->host; });
    QCOMPARE(outcome, int(QMessageBox::Cancel)); // nobody has accepted it
    QVERIFY(!messageFrame());
}

void tst_STKDialogMessage::theMainWindowDeletedUnderTwoTexts()
{
    ModalDriver driver;
    int inner = 0;
    driver.on("ExtendDialog", [&](QWidget *) { inner = m_world->dialog->showTimeMessageBox("Second"); });
    driver.on("ExtendDialog", [&](QWidget *) { delete m_world->host; });
    const int outer = m_world->dialog->showTimeMessageBox("First");
    QVERIFY(driver.isDone());
    QCOMPARE(inner, int(QMessageBox::Cancel));
    QCOMPARE(outer, int(QMessageBox::Cancel));
    QVERIFY(!messageFrame());
}

void tst_STKDialogMessage::theControllerDestroyedWhileItIsOpen()
{
    QPointer<QWidget> window;
    const int outcome = show("Hello", [&](QWidget *frame) {
        window = frame;
        m_world->dialog->unSDKRegisterEvent();
        STKDialog::Destroy();
        m_world->dialog = nullptr;
        frame->close();
    });
    QCOMPARE(outcome, int(QMessageBox::Cancel));
    QVERIFY(!window);
}

void tst_STKDialogMessage::aTextAfterAnother()
{
    for (int i = 0; i < 3; ++i)
        QCOMPARE(show("Hello", [](QWidget *frame) { buttonOf(frame, "IDS_OK")->click(); }), int(QMessageBox::Ok));
    QCOMPARE(journal::count("ExtendDialog::ExtendDialog"), 3);
    QCOMPARE(journal::count("ExtendDialog::~ExtendDialog"), 3);
}

QTEST_MAIN(tst_STKDialogMessage)
#include "tst_STKDialogMessage.moc"
