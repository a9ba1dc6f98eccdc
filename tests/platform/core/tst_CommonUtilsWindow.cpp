#include "core/CommonUtils.h"
#include "platform/core/RealInput.h"

#include <QtCore/QProcess>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
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
    void inputIsKeptUntilTheWaitIsOver();

private:
    QWidget *m_host = nullptr;
};

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

QTEST_MAIN(tst_CommonUtilsWindow)
#include "tst_CommonUtilsWindow.moc"
