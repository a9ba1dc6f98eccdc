// Events at every moment of the window's life: while it is made, shown, withdrawn from the library and destroyed.
#include "CommandWorld.h"

#include "support/ModalDriver.h"

#include <QtTest/QtTest>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace journal = support::journal;

namespace
{

const int LIVES = 300;

/// The library on a thread of its own, which calls the registered callbacks without a pause. As the contract says, a
/// withdrawal has only ended when no callback runs any more: settle() waits for that.
class Caller
{
public:
    explicit Caller(const support::SdkDouble *sdk)
        : m_sdk(sdk), m_isOver(false), m_calls(0), m_thread([this] { run(); })
    {
    }

    ~Caller()
    {
        m_isOver = true;
        m_thread.join();
    }

    void settle() { const std::lock_guard<std::mutex> lock(m_mutex); }
    int calls() const { return m_calls; }

private:
    /// Everything but texts and questions, which would keep their handlers from returning.
    void callOnce(int number)
    {
        static const int TYPES[] = {0, 4, 6, 7, 8, 9, 10, 11, 12, 13, 99};
        static const int DEVICE_EVENTS[] = {MDSV_DEVICE_AVAILABLE, MDSV_DEVICE_REMOVED, MDSV_DEVICE_UNAVAILABLE, 0};
        const std::lock_guard<std::mutex> lock(m_mutex);
        MDSVStkNotifyData record = {_MDSV_EN_STKTYPE(TYPES[number % 11]), int16_t(number), number % 7 == 0};
        if (const MDSVSTKCALLBACK callback = m_sdk->stkCallback())
            m_calls += callback(0, number % 5 ? &record : nullptr) == 0;
        if (const MDSVDEVMGRCALLBACK callback = m_sdk->deviceCallback())
            m_calls += callback(DEVICE_EVENTS[number % 4], nullptr) == 1;
    }

    void run()
    {
        for (int number = 0; !m_isOver; ++number) {
            callOnce(number);
            std::this_thread::sleep_for(std::chrono::microseconds(50)); // lets settle() have its turn
        }
    }

    const support::SdkDouble *const m_sdk;
    std::mutex m_mutex;
    std::atomic<bool> m_isOver;
    std::atomic<int> m_calls;
    std::thread m_thread; ///< last: it uses the others
};

} // namespace

class tst_LifetimeUnderEvents : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void eventsAllTheTime_data();
    void eventsAllTheTime();
    void eventWithinRegistration_data();
    void eventWithinRegistration();
    void eventWithinWithdrawal_data();
    void eventWithinWithdrawal();
    void twoWindows_data();
    void twoWindows();

private:
    void endDialog();
    void beginDialog();

    std::unique_ptr<DialogWorld> m_world;
};

void tst_LifetimeUnderEvents::init()
{
    m_world.reset(new DialogWorld);
}

void tst_LifetimeUnderEvents::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

/// As the host does it; the waiter that stays behind is deleted.
void tst_LifetimeUnderEvents::endDialog()
{
    const QPointer<STKThread> waiter(m_world->thread());
    command::destroy(*m_world);
    delete waiter;
}

void tst_LifetimeUnderEvents::beginDialog()
{
    m_world->dialog = STKDialog::Instance();
    m_world->logic = STKLogic::CreateInstance();
}

void tst_LifetimeUnderEvents::eventsAllTheTime_data()
{
    QTest::addColumn<bool>("shown");
    QTest::addColumn<bool>("waits");
    QTest::newRow("made and destroyed") << false << false;
    QTest::newRow("shown") << true << false;
    QTest::newRow("destroyed while it waits") << true << true;
}

void tst_LifetimeUnderEvents::eventsAllTheTime()
{
    QFETCH(bool, shown);
    QFETCH(bool, waits);
    endDialog();
    m_world->log.setDebugOutput(false);
    Caller caller(&m_world->sdk);
    const int lives = shown ? LIVES / 3 : LIVES;
    for (int life = 0; life < lives; ++life) {
        beginDialog();
        if (life == 0)
            QTRY_VERIFY(caller.calls() > 0); // the other thread has begun
        QRect rect;
        if (shown)
            QVERIFY(m_world->dialog->ShowStkDlg(m_world->host, rect));
        if (life % 2)
            QCoreApplication::processEvents();
        if (waits)
            m_world->startWait();
        m_world->dialog->unSDKRegisterEvent();
        caller.settle();
        const QPointer<STKThread> waiter(m_world->thread());
        const QPointer<STKExtendDlg> frame(m_world->frame());
        STKDialog::Destroy();
        delete frame; // its parent's, and without function by now
        delete waiter;
        journal::clear();
    }
    m_world->dialog = nullptr;
    m_world->logic = nullptr;
}

void tst_LifetimeUnderEvents::eventWithinRegistration_data()
{
    QTest::addColumn<int>("where");
    QTest::newRow("on the user-interface thread") << int(support::SdkDouble::Here);
    QTest::newRow("on the library's thread") << int(support::SdkDouble::Elsewhere);
}

/// The library calls back before its registration functions have returned: the window's slots are not connected yet, so
/// nothing is shown or answered, and the next command is handled.
void tst_LifetimeUnderEvents::eventWithinRegistration()
{
    QFETCH(int, where);
    endDialog();
    const auto from = support::SdkDouble::Where(where);
    int results = 0;
    m_world->sdk.onCall("MDSV_DevSrv_RegisterDevMgrCallback", [&] {
        results += m_world->sdk.raiseStk(MDSV_STKTYPE_SETUP_CALL, 5, 0, from) == 0;
        results += m_world->sdk.raiseStk(MDSV_STKTYPE_DISPLAY_TEXT, 6, 1, from) == 0;
        results += m_world->sdk.raiseNullRecord(from) == 0;
    });
    beginDialog();
    QCOMPARE(results, 3);
    QCoreApplication::processEvents();
    QCOMPARE(command::requests(), QStringList());
    QVERIFY(m_world->logic->GetResponseVar());
    m_world->sdk.raiseStk(MDSV_STKTYPE_SETUP_CALL, 7);
    QCOMPARE(command::requests(), QStringList("SendNoDataResponse(7, 4, 4)"));
    endDialog();
}

void tst_LifetimeUnderEvents::eventWithinWithdrawal_data()
{
    QTest::addColumn<int>("where");
    QTest::addColumn<bool>("ends");
    QTest::newRow("on the user-interface thread") << int(support::SdkDouble::Here) << false;
    QTest::newRow("on the library's thread") << int(support::SdkDouble::Elsewhere) << false;
    QTest::newRow("and the host destroys the plug-in in it") << int(support::SdkDouble::Here) << true;
}

/// The last events come while the library takes the callbacks back.
void tst_LifetimeUnderEvents::eventWithinWithdrawal()
{
    QFETCH(int, where);
    QFETCH(bool, ends);
    QVERIFY(m_world->show());
    const QPointer<STKThread> waiter(m_world->thread());
    int results = 0;
    m_world->sdk.onCall("MDSV_STK_UnRegisterCallBack", [&] {
        results += m_world->sdk.raiseStk(MDSV_STKTYPE_SETUP_CALL, 5, 0, support::SdkDouble::Where(where)) == 0;
        results += m_world->sdk.raiseDevice(MDSV_DEVICE_REMOVED, support::SdkDouble::Where(where)) == 1;
        if (ends)
            STKDialog::Destroy();
    });
    m_world->dialog->unSDKRegisterEvent();
    QCOMPARE(results, 2);
    QVERIFY(!m_world->sdk.stkCallback());
    QVERIFY(!m_world->sdk.deviceCallback());
    if (!ends)
        STKDialog::Destroy();
    QCoreApplication::processEvents();
    const bool isHere = where == support::SdkDouble::Here; // what was queued is gone with the window
    QCOMPARE(command::requests(), isHere ? QStringList("SendNoDataResponse(5, 4, 4)") : QStringList());
    m_world->dialog = nullptr;
    m_world->logic = nullptr;
    delete waiter;
}

void tst_LifetimeUnderEvents::twoWindows_data()
{
    QTest::addColumn<int>("deleted"); // the number of the window whose parent goes
    QTest::addColumn<bool>("dialogOpen");
    QTest::newRow("the first parent goes") << 1 << false;
    QTest::newRow("the second parent goes") << 2 << false;
    QTest::newRow("the first parent goes under a text") << 1 << true;
    QTest::newRow("the second parent goes under a text") << 2 << true;
}

/// Two windows over two parents: the later one is the one that shows what comes.
void tst_LifetimeUnderEvents::twoWindows()
{
    QFETCH(int, deleted);
    QFETCH(bool, dialogOpen);
    QVERIFY(m_world->show());
    const QPointer<STKExtendDlg> first(m_world->frame());
    const QPointer<QWidget> otherHost(new QWidget);
    otherHost->show();
    QRect rect;
    QVERIFY(m_world->dialog->ShowStkDlg(otherHost, rect));
    const QPointer<STKExtendDlg> second(m_world->frame());
    QVERIFY(first && second && first != second);
    m_world->sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 3);
    QCOMPARE(m_world->rows(), QStringList({"Sport", "Weather"}));
    m_world->forget();

    const auto deleteParent = [&] { delete (deleted == 1 ? m_world->host : otherHost).data(); };
    if (dialogOpen) {
        support::ModalDriver driver;
        driver.on("ExtendDialog", [&](QWidget *) { deleteParent(); });
        if (deleted == 2) // the text is the main window's, not this one's
            driver.on("ExtendDialog", [&](QWidget *frame) { frame->close(); });
        m_world->sdk.setPrompt("Text", 1, 0);
        m_world->sdk.raiseStk(MDSV_STKTYPE_DISPLAY_TEXT, 4);
        QVERIFY(driver.isDone());
        QCOMPARE(command::requests(), QStringList({"GetPromptText(4)", "SendNoDataResponse(4, 1, 0)"}));
    } else {
        deleteParent();
    }
    QCOMPARE(bool(first), deleted == 2);
    QCOMPARE(bool(second), deleted == 1);
    m_world->sdk.raiseStk(MDSV_STKTYPE_SETUP_MENU, 5);
    QCOMPARE(m_world->rows(), deleted == 1 ? QStringList({"Balance", "News", "Help"}) : QStringList());
    delete otherHost;
}

QTEST_MAIN(tst_LifetimeUnderEvents)
#include "tst_LifetimeUnderEvents.moc"
