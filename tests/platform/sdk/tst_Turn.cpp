#include "platform/sdk/Commands.h"

#include "sdk/MDSVStk.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

using News = sdk::CardChannel::News;
using sdk::Turn;

/// Where the session stands, told to who wants to know.
class tst_Turn : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void isToldAtOnce();
    void userHasTheWord();
    void networkHasTheWord();
    void refreshIsTheTerminalsOwn();
    void timeIsOver();
    void pollingIsNoSession();
    void cardGoesAndComes();
    void newListenerIsToldAtOnce();
    void turnThatChangesMeanwhileIsToldNext();
    void endedListenerHearsNothing();
    void listenerIsCalledWithoutALock();
    void changesWhileTheListenerRunsAreGathered();

private:
    static void listen();
    static QStringList turns();
    static bool waitForTurns(const QStringList &expected);

    std::shared_ptr<Script> m_script;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

std::mutex mutex;
std::vector<Turn> heard;

void hear(Turn turn)
{
    const std::lock_guard<std::mutex> lock(mutex);
    heard.push_back(turn);
}

const char *name(Turn turn)
{
    static const char *const names[] = {"NoCard", "Rest", "Card", "User", "Network"};
    return names[static_cast<int>(turn)];
}

} // namespace

void tst_Turn::listen()
{
    sdk::setTurnListener(hear);
}

QStringList tst_Turn::turns()
{
    const std::lock_guard<std::mutex> lock(mutex);
    QStringList names;
    for (const Turn turn : heard)
        names << name(turn);
    return names;
}

bool tst_Turn::waitForTurns(const QStringList &expected)
{
    if (waitFor([&] { return turns() == expected; }))
        return true;
    qWarning("turns: %s", qPrintable(turns().join(' ')));
    return false;
}

void tst_Turn::init()
{
    events::reset();
    heard.clear();
    QVERIFY(events::registerBoth());
}

void tst_Turn::cleanup()
{
    sdk::shutDown();
    m_script.reset();
    events::reset();
}

void tst_Turn::isToldAtOnce()
{
    listen();
    QCOMPARE(turns(), QStringList{"NoCard"});
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QVERIFY(waitForTurns({"NoCard", "Card", "Rest"}));
    sdk::detachDevice();
    QVERIFY(waitForTurns({"NoCard", "Card", "Rest", "NoCard"}));
}

void tst_Turn::userHasTheWord()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    listen();
    m_script->proposes(vectors::selectItem);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(turns(), (QStringList{"Rest", "Card", "User"}));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitForTurns({"Rest", "Card", "User", "Card", "Rest"}));
}

void tst_Turn::networkHasTheWord()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    listen();
    m_script->proposes(commands::sendSms).answers("9000");
    QStringList withinCallback;
    events::setReaction([&](const events::Event &event) {
        if (event.text == "STK 9")
            withinCallback = turns();
    });
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForTurns({"Rest", "Card", "Network", "Card", "Rest"}));
    events::setReaction({});
    QVERIFY(waitForEvent("STK 99"));
    sdk::shutDown();
    QCOMPARE(withinCallback, (QStringList{"Rest", "Card", "Network"}));
}

void tst_Turn::refreshIsTheTerminalsOwn()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    listen();
    m_script->proposes(commands::refreshFiles).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(turns(), (QStringList{"Rest", "Card", "Rest"}));
}

void tst_Turn::timeIsOver()
{
    sdk::setResponseLimit(std::chrono::milliseconds(50));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    listen();
    m_script->proposes(vectors::selectItem).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForTurns({"Rest", "Card", "User", "Card", "Rest"}));
}

void tst_Turn::pollingIsNoSession()
{
    m_script = std::make_shared<Script>();
    m_script->wantsPolling(std::chrono::milliseconds(10)).proposes(vectors::setUpMenu).answers("9000", 20);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    listen();
    m_script->forgetSent();
    QVERIFY(waitFor([this] { return m_script->sent().size() >= 5; }));
    QCOMPARE(turns(), QStringList{"Rest"});
}

void tst_Turn::cardGoesAndComes()
{
    m_script = std::make_shared<Script>();
    m_script->staysWithoutCard().refusesReset("none");
    listen();
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForTurns({"NoCard", "Card", "NoCard"}));
    m_script->refusesReset("").proposes(vectors::selectItem);
    QVERIFY(m_script->tells(News::There));
    QVERIFY(waitForTurns({"NoCard", "Card", "NoCard", "Card", "User"}));
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(waitForTurns({"NoCard", "Card", "NoCard", "Card", "User", "NoCard"}));
}

void tst_Turn::newListenerIsToldAtOnce()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    listen();
    listen();
    QCOMPARE(turns(), (QStringList{"Rest", "Rest"}));
}

void tst_Turn::turnThatChangesMeanwhileIsToldNext()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem);
    sdk::setTurnListener([](Turn turn) {
        const bool isFirst = turns().isEmpty();
        hear(turn);
        if (isFirst && MDSV_STKSrv_SelectMenuItem(1, 1) == 0)
            waitForEvent("STK 6");
    });
    QCOMPARE(turns(), (QStringList{"Rest", "User"}));
}

void tst_Turn::endedListenerHearsNothing()
{
    listen();
    sdk::setTurnListener({});
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(turns(), QStringList{"NoCard"});
    listen();
    sdk::shutDown();
    const QStringList before = turns();
    QVERIFY(events::registerBoth());
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(turns(), before);
}

/// While the listener runs, another thread asks the library: it would wait for a lock.
void tst_Turn::listenerIsCalledWithoutALock()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    std::atomic<int> answered{0};
    sdk::setTurnListener([&](Turn) {
        std::thread other([&] {
            MDSVStkMainMenu menu;
            answered += MDSV_STKSrv_GetMainMenu(&menu) == 0 && MDSV_STKSrv_ReleaseMenus(&menu) == 0;
        });
        other.join();
    });
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(answered.load(), 3);
    sdk::setTurnListener({});
}

/// One thread tells for all; the service's own goes on meanwhile.
void tst_Turn::changesWhileTheListenerRunsAreGathered()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    std::thread user;
    bool isGone = false;
    sdk::setTurnListener([&](Turn turn) {
        most = std::max<int>(most, ++running);
        if (turn == Turn::Rest) {
            user = std::thread([] { sdk::detachDevice(); });
            isGone = waitForEvent("DEVICE 6601");
        }
        const std::lock_guard<std::mutex> lock(mutex);
        heard.push_back(turn);
        --running;
    });
    sdk::setTurnListener({});
    user.join();
    QVERIFY(isGone);
    QCOMPARE(turns(), (QStringList{"Rest", "NoCard"}));
    QCOMPARE(most.load(), 1);
}

QTEST_GUILESS_MAIN(tst_Turn)
#include "tst_Turn.moc"
