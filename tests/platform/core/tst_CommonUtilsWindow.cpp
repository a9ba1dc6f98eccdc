#include "core/CommonUtils.h"

#include "core/Change.h"
#include "core/CoreControl.h"
#include "core/ExtendDialog.h"
#include "core/ExtendLineEdit.h"
#include "platform/core/RealInput.h"

#include <QtCore/QPointer>
#include <QtCore/QProcess>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtGui/QWindow>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QPushButton>

/// CommonUtils on a real screen: input and placement go through the window manager.
class tst_CommonUtilsWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void centresOverTheParent();
    void messageIsAnsweredByKeys_data();
    void messageIsAnsweredByKeys();
    void messageOverAKeyboardGrabGetsTheKeys_data() { messageIsAnsweredByKeys_data(); }
    void messageOverAKeyboardGrabGetsTheKeys();
    void messageOutlivesTheGrabber();
    void messagesClosedOutOfTurnReturnTheGrab();
    void grabOfAMessageAboveIsNotTaken();
    void otherProgramsKeepTheirKeyboard();
    void textsOfButtonsFit();
    void inputIsKeptUntilTheWaitIsOver();

private:
    QWidget *m_host = nullptr;
};

namespace
{

const char takeKeyboard[] = "--take-keyboard";

/// As another program: 0 when the X server lets it take the whole keyboard, which it does while nobody else has it.
int takeTheKeyboard()
{
    QWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 2;
    return window.setKeyboardGrabEnabled(true) ? 0 : 1;
}

/// A dialog whose field grabs the keyboard before it is shown, and never lets go.
class GrabbingDialog : public ExtendDialog
{
public:
    explicit GrabbingDialog(QWidget *parent) : ExtendDialog(parent, Qt::WindowCloseButtonHint, 1)
    {
        QWidget *content = new QWidget(this);
        field = new ExtendLineEdit(content);
        field->setGeometry(10, 10, 240, 22);
        AddMainWidget(content);
        field->setFocus();
        field->grabKeyboard();
        setFixedSize(261, 170);
        setWindowModality(Qt::WindowModal);
    }

    QPointer<ExtendLineEdit> field;
};

int ask(QWidget *parent, QDialog **out)
{
    return CommonUtils::ShowMessage(QMessageBox::NoIcon, parent, "", "Send it?", "IDS_YES", "IDS_NO", "", true,
                                    Qt::WindowCloseButtonHint, out, "", true);
}

bool isOpen(QDialog *const &dialog)
{
    return QTest::qWaitFor([&dialog] { return dialog && dialog->isVisible(); });
}

} // namespace

void tst_CommonUtilsWindow::init()
{
    m_host = new QWidget;
    m_host->setGeometry(300, 150, 700, 500);
    QVERIFY(realinput::show(m_host));
}

void tst_CommonUtilsWindow::cleanup()
{
    delete m_host;
    m_host = nullptr;
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void tst_CommonUtilsWindow::centresOverTheParent()
{
    QDialog dialog(m_host, Qt::FramelessWindowHint);
    dialog.setFixedSize(380, 357);
    dialog.move(0, 0);
    QVERIFY(realinput::show(&dialog));
    CommonUtils::MoveCentre(&dialog);
    QTRY_VERIFY((dialog.frameGeometry().center() - m_host->frameGeometry().center()).manhattanLength() <= 2);
}

void tst_CommonUtilsWindow::messageIsAnsweredByKeys_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<int>("answer");
    QTest::newRow("Return") << QStringList("Return") << 1024;
    QTest::newRow("Tab, Return") << (QStringList() << "Tab"
                                                   << "Return")
                                 << int(QMessageBox::No);
    QTest::newRow("Escape") << QStringList("Escape") << int(QMessageBox::Cancel);
}

void tst_CommonUtilsWindow::messageIsAnsweredByKeys()
{
    QFETCH(QStringList, keys);
    QDialog *out = nullptr;
    bool driven = false;
    QTimer::singleShot(0, m_host, [&] {
        driven = out && realinput::waitForKeyboard(out) && realinput::send(QStringList("key") + keys) &&
                 QTest::qWaitFor([&out] { return !out; });
        if (out) {
            out->close();
        }
    });
    const int answer = CommonUtils::ShowMessage(QMessageBox::NoIcon, m_host, "", "Send it?", "IDS_YES", "IDS_NO", "",
                                                true, Qt::WindowCloseButtonHint, &out, "", true);
    QVERIFY(driven);
    QTEST(answer, "answer");
}

void tst_CommonUtilsWindow::messageOverAKeyboardGrabGetsTheKeys()
{
    QFETCH(QStringList, keys);
    GrabbingDialog dialog(m_host);
    QVERIFY(realinput::show(&dialog));
    QVERIFY(realinput::key("a"));
    QTRY_COMPARE(dialog.field->text(), QString("a"));

    QDialog *out = nullptr;
    bool driven = false;
    QTimer::singleShot(0, m_host, [&] {
        driven = isOpen(out) && realinput::waitForKeyboard(out) && realinput::send(QStringList("key") + keys) &&
                 QTest::qWaitFor([&out] { return !out; });
        if (out)
            out->close();
    });
    const int answer = ask(&dialog, &out);
    QVERIFY(driven);
    QTEST(answer, "answer");
    QCOMPARE(dialog.field->text(), QString("a"));
    QVERIFY(dialog.isVisible());

    QCOMPARE(QWidget::keyboardGrabber(), dialog.field.data());
    QVERIFY(realinput::waitForKeyboard(&dialog));
    QVERIFY(realinput::key("b"));
    QTRY_COMPARE(dialog.field->text(), QString("ab"));
}

void tst_CommonUtilsWindow::messageOutlivesTheGrabber()
{
    QPointer<GrabbingDialog> dialog = new GrabbingDialog(m_host);
    QVERIFY(realinput::show(dialog));
    QDialog *out = nullptr;
    bool driven = false;
    QTimer::singleShot(0, m_host, [&] {
        driven = isOpen(out) && !QWidget::keyboardGrabber();
        delete dialog;
        driven = driven && realinput::waitForKeyboard(out) && realinput::key("Return") &&
                 QTest::qWaitFor([&out] { return !out; });
        if (out)
            out->close();
    });
    QCOMPARE(ask(m_host, &out), 1024);
    QVERIFY(driven);
    QVERIFY(!QWidget::keyboardGrabber());
}

void tst_CommonUtilsWindow::messagesClosedOutOfTurnReturnTheGrab()
{
    GrabbingDialog dialog(m_host);
    QVERIFY(realinput::show(&dialog));
    QDialog *first = nullptr, *second = nullptr;
    int secondAnswer = 0;
    bool driven = false;
    QTimer::singleShot(0, m_host, [&] {
        isOpen(first);
        QTimer::singleShot(0, m_host, [&] {
            driven = isOpen(second) && realinput::waitForKeyboard(second);
            first->close();
            driven = driven && !QWidget::keyboardGrabber() && realinput::waitForKeyboard(second) &&
                     realinput::key("Return") && QTest::qWaitFor([&second] { return !second; });
            if (second)
                second->close();
        });
        secondAnswer = ask(&dialog, &second);
    });
    QCOMPARE(ask(&dialog, &first), int(QMessageBox::Cancel));
    QVERIFY(driven);
    QCOMPARE(secondAnswer, 1024);
    QCOMPARE(QWidget::keyboardGrabber(), dialog.field.data());
}

void tst_CommonUtilsWindow::grabOfAMessageAboveIsNotTaken()
{
    GrabbingDialog below(m_host);
    QVERIFY(realinput::show(&below));
    QDialog *out = nullptr;
    bool driven = false;
    QTimer::singleShot(0, m_host, [&] {
        driven = isOpen(out);
        GrabbingDialog above(&below); // not over the message, which is to go first
        driven = driven && realinput::show(&above);
        out->close();
        driven = driven && QWidget::keyboardGrabber() == above.field && realinput::waitForKeyboard(&above) &&
                 realinput::key("c") && QTest::qWaitFor([&above] { return above.field->text() == "c"; });
    });
    QCOMPARE(ask(&below, &out), int(QMessageBox::Cancel));
    QVERIFY(driven);
    QCOMPARE(QWidget::keyboardGrabber(), below.field.data());
    QCOMPARE(below.field->text(), QString());
}

void tst_CommonUtilsWindow::otherProgramsKeepTheirKeyboard()
{
    GrabbingDialog dialog(m_host);
    QVERIFY(realinput::show(&dialog));
    QDialog *out = nullptr;
    QTimer::singleShot(0, m_host, [&] {
        isOpen(out);
        out->close();
    });
    QCOMPARE(ask(&dialog, &out), int(QMessageBox::Cancel));
    QCOMPARE(QWidget::keyboardGrabber(), dialog.field.data());

    QProcess other;
    other.start(QCoreApplication::applicationFilePath(), {takeKeyboard});
    QVERIFY(QTest::qWaitFor([&other] { return other.state() == QProcess::NotRunning; }, 20000));
    QCOMPARE(other.exitStatus(), QProcess::NormalExit);
    QCOMPARE(other.exitCode(), 0);
}

/// The buttons stand in rows of windows with a fixed size: two of them in 240 pixels with 35 in between, three in 360.
void tst_CommonUtilsWindow::textsOfButtonsFit()
{
    QStringList tooWide;
    for (const QString &code : core::languages()) {
        QVERIFY(core::setLanguage(code));
        for (const char *name : {"BACK", "SELECT", "CLOSE", "OK", "CANCEL"}) {
            const QString text = Change::tr(QString("IDS_STK_BTN_") + name, "STKPlugin");
            if (QPushButton(text).sizeHint().width() > 100 || m_host->fontMetrics().horizontalAdvance(text) > 76)
                tooWide << code + ": " + text;
        }
    }
    QVERIFY(core::setLanguage("en"));
    QCOMPARE(tooWide, QStringList());
}

void tst_CommonUtilsWindow::inputIsKeptUntilTheWaitIsOver()
{
    class Worker : public QThread
    {
    public:
        QSemaphore go;

    protected:
        void run() override { go.acquire(); }
    };
    QPushButton *button = new QPushButton("Press", m_host);
    button->setGeometry(10, 10, 80, 30);
    button->show();
    int clicks = 0;
    connect(button, &QPushButton::clicked, this, [&clicks] { ++clicks; });
    QVERIFY(realinput::click(button, QPoint(5, 5))); // the pointer stays there
    QTRY_COMPARE(clicks, 1);

    Worker worker;
    worker.start();
    int toolResult = -1;
    int clicksWhileWaiting = -1;
    QTimer::singleShot(0, this, [&] {
        toolResult = QProcess::execute("xdotool", QStringList() << "click"
                                                                << "1"); // runs no events of its own
        QTimer::singleShot(200, this, [&] {
            clicksWhileWaiting = clicks;
            worker.go.release();
        });
    });
    const bool stopped = CommonUtils::WaitForThreadToStop(&worker, 10);
    worker.go.release();
    QVERIFY(worker.wait(5000));
    QVERIFY(stopped);
    QCOMPARE(toolResult, 0);
    QCOMPARE(clicksWhileWaiting, 1);
    // The event loop of GLib looks at the input it has put off when the next event comes from the screen.
    QVERIFY(realinput::send(QStringList() << "mousemove_relative"
                                          << "1"
                                          << "0"));
    QTRY_COMPARE(clicks, 2);
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (application.arguments().value(1) == takeKeyboard)
        return takeTheKeyboard();
    tst_CommonUtilsWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_CommonUtilsWindow.moc"
