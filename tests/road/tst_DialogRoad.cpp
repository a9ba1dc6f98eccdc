// The window's text box and the input dialog in the real frames of the host core library, with real keys and clicks.
#include "RoadWorld.h"

#include "STKPlugin/STKInputDlg.h"
#include "core/ExtendDialog.h"
#include "core/WsMessageBox.h"
#include "platform/core/RealInput.h"
#include "support/ModalDriver.h"

#include <QtCore/QTimer>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>

#include <memory>

using support::ModalDriver;

namespace
{
const int BUDGET_MS = 20000;

QString plainText(const QPushButton *button)
{
    return button->text().remove('&');
}

QStringList textsOfVisibleButtons(const QWidget *window)
{
    QStringList texts;
    for (const QPushButton *button : window->findChildren<QPushButton *>()) {
        if (button->isVisible() && !button->text().isEmpty()) // the frame's own button has no text
            texts << plainText(button);
    }
    texts.sort();
    return texts;
}

void clickOn(QWidget *widget)
{
    realinput::click(widget, widget->rect().center());
}

/// "key Return", "close", or the text of the button to click.
void perform(QWidget *frame, const QString &act)
{
    if (act.startsWith("key ")) {
        realinput::key(act.mid(4));
    } else if (act == "close") {
        frame->close();
    } else {
        for (QPushButton *button : frame->findChildren<QPushButton *>()) {
            if (button->isVisible() && plainText(button) == act)
                return clickOn(button);
        }
    }
}
} // namespace

class tst_DialogRoad : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void textBox_data();
    void textBox();
    void aSecondTextWhileTheFirstIsUp_data();
    void aSecondTextWhileTheFirstIsUp();
    void theMainWindowDeletedUnderTheText();

    void inputDialog_data();
    void inputDialog();
    void returnInTheFieldPressesOk();
    void everythingFitsIntoTheInputDialog();

private:
    std::unique_ptr<RoadWorld> m_world;
};

void tst_DialogRoad::init()
{
    m_world.reset(new RoadWorld(true));
    QVERIFY(realinput::waitForKeyboard(m_world->host));
}

void tst_DialogRoad::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

void tst_DialogRoad::textBox_data()
{
    QTest::addColumn<QString>("act");
    QTest::addColumn<int>("outcome");
    QTest::newRow("click on OK") << "OK" << int(QMessageBox::Ok);
    QTest::newRow("click on Cancel") << "Cancel" << int(QMessageBox::Cancel);
    QTest::newRow("Return") << "key Return" << int(QMessageBox::Cancel); // the default button
    QTest::newRow("Enter") << "key KP_Enter" << int(QMessageBox::Cancel);
    QTest::newRow("Escape") << "key Escape" << int(QMessageBox::Cancel);
    QTest::newRow("close") << "close" << int(QMessageBox::Cancel);
}

void tst_DialogRoad::textBox()
{
    QFETCH(QString, act);
    QFETCH(int, outcome);
    ModalDriver driver(BUDGET_MS);
    QString text;
    QStringList buttons;
    driver.on<ExtendDialog>([&](ExtendDialog *frame) {
        realinput::waitForKeyboard(frame);
        text = frame->findChild<WsMessageBox *>()->text();
        buttons = textsOfVisibleButtons(frame);
        perform(frame, act);
    });
    const int found = m_world->dialog->showTimeMessageBox("<b>Hello</b> & welcome");
    QVERIFY(driver.isDone());
    QCOMPARE(text, QString("<b>Hello</b> & welcome"));
    QCOMPARE(buttons, QStringList({"Cancel", "OK"}));
    QCOMPARE(found, outcome);
}

void tst_DialogRoad::aSecondTextWhileTheFirstIsUp_data()
{
    textBox_data();
}

void tst_DialogRoad::aSecondTextWhileTheFirstIsUp()
{
    QFETCH(QString, act);
    QFETCH(int, outcome);
    ModalDriver driver(BUDGET_MS);
    int inner = 0;
    bool firstIsSeen = true;
    QStringList buttons;
    QPointer<WsMessageBox> first;
    driver.on<ExtendDialog>([&](ExtendDialog *frame) {
        first = frame->findChild<WsMessageBox *>();
        inner = m_world->dialog->showTimeMessageBox("Second");
    });
    driver.on<ExtendDialog>([&](ExtendDialog *frame) {
        realinput::waitForKeyboard(frame);
        firstIsSeen = first && first->isVisible();
        buttons = textsOfVisibleButtons(frame);
        perform(frame, act);
    });
    const int outer = m_world->dialog->showTimeMessageBox("First");
    QVERIFY(driver.isDone());
    QVERIFY(!firstIsSeen);
    QCOMPARE(buttons, QStringList({"Cancel", "OK"}));
    QCOMPARE(inner, outcome);
    QCOMPARE(outer, int(QMessageBox::NoButton));
}

void tst_DialogRoad::theMainWindowDeletedUnderTheText()
{
    ModalDriver driver(BUDGET_MS);
    driver.on<ExtendDialog>([&](ExtendDialog *) { delete m_world->host; });
    QCOMPARE(m_world->dialog->showTimeMessageBox("Hello"), int(QMessageBox::Cancel));
    QVERIFY(driver.isDone());
}

void tst_DialogRoad::inputDialog_data()
{
    QTest::addColumn<QString>("act");
    QTest::addColumn<QString>("typed");
    QTest::newRow("digits, then Cancel") << "Cancel"
                                         << "12";
    QTest::newRow("digits, then Escape") << "key Escape"
                                         << "12";
    QTest::newRow("digits, then close") << "close"
                                        << "12";
}

void tst_DialogRoad::inputDialog()
{
    QFETCH(QString, act);
    QFETCH(QString, typed);
    STKInputDlg *dialog = STKInputDlg::StkInputDlgInstance();
    const StkInKeyRequest request = {"Code?", 2, 0, 0, 1, 2, 4, ""};
    dialog->SetInputRequest(request);
    ModalDriver driver(BUDGET_MS);
    QString text;
    bool okBefore = true, okAfter = false;
    driver.on<ExtendDialog>([&](ExtendDialog *frame) {
        realinput::waitForKeyboard(frame);
        QLineEdit *field = frame->findChild<QLineEdit *>("STKPlugin_LineEditInput");
        QPushButton *ok = frame->findChild<QPushButton *>("STKPlugin _PushBtnOk");
        okBefore = ok->isEnabled();
        for (const char *key : {"a", "1", "x", "2"}) // letters are refused
            realinput::key(key);
        text = QTest::qWaitFor([&] { return field->text() == typed; }) ? typed : field->text();
        okAfter = ok->isEnabled();
        perform(frame, act);
    });
    dialog->ShowStkInputDlg(m_world->host);
    QVERIFY(driver.isDone());
    QCOMPARE(text, typed);
    QVERIFY(!okBefore);
    QVERIFY(okAfter);
    QVERIFY(!dialog->IsDialogCreated());
    QCOMPARE(dialog->GetLastError(), -1); // there is no card that could take the answer
    QVERIFY(!QWidget::keyboardGrabber());
}

void tst_DialogRoad::returnInTheFieldPressesOk()
{
    STKInputDlg *dialog = STKInputDlg::StkInputDlgInstance();
    const StkInKeyRequest request = {"Code?", 2, 0, 0, 1, 2, 4, ""};
    dialog->SetInputRequest(request);
    bool isRefused = false;
    // There is no card that could take the answer: OK is pressed, and refused with a message.
    QTimer closer;
    connect(&closer, &QTimer::timeout, [&] {
        QWidget *modal = QApplication::activeModalWidget();
        if (modal && modal->findChild<WsMessageBox *>()) {
            isRefused = true;
            modal->close();
        }
    });
    closer.start(20);
    ModalDriver driver(BUDGET_MS);
    driver.on<ExtendDialog>([&](ExtendDialog *frame) {
        realinput::waitForKeyboard(frame);
        for (const char *key : {"1", "2", "Return"})
            realinput::key(key);
        const bool isSeen = QTest::qWaitFor([&] { return isRefused; }, BUDGET_MS / 2);
        Q_UNUSED(isSeen)
        dialog->CloseDlg();
    });
    dialog->ShowStkInputDlg(m_world->host);
    QVERIFY(driver.isDone());
    QVERIFY(isRefused);
}

void tst_DialogRoad::everythingFitsIntoTheInputDialog()
{
    STKInputDlg *dialog = STKInputDlg::StkInputDlgInstance();
    const StkInKeyRequest request = {"Please enter the name of your town", 0, 0, 0, 1, 0, 20, ""};
    dialog->SetInputRequest(request);
    ModalDriver driver(BUDGET_MS);
    QStringList outside;
    int parts = 0;
    driver.on<ExtendDialog>([&](ExtendDialog *frame) {
        realinput::waitForKeyboard(frame);
        for (const char *name :
             {"STKPlugin_LabelText", "STKPlugin_LineEditInput", "STKPlugin _PushBtnOk", "STKPlugin _PushBtnCancel"}) {
            const QWidget *part = frame->findChild<QWidget *>(name);
            const QRect place(part->mapTo(frame, QPoint(0, 0)), part->size());
            ++parts;
            if (!frame->rect().contains(place))
                outside << QString("%1 at %2,%3 %4x%5")
                               .arg(name)
                               .arg(place.x())
                               .arg(place.y())
                               .arg(place.width())
                               .arg(place.height());
        }
        frame->close();
    });
    dialog->ShowStkInputDlg(m_world->host);
    QVERIFY(driver.isDone());
    QCOMPARE(parts, 4);
    QVERIFY2(outside.isEmpty(), qPrintable(outside.join("; ")));
}

QTEST_MAIN(tst_DialogRoad)
#include "tst_DialogRoad.moc"
