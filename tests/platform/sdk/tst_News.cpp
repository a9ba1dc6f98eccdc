#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"

#include <QTest>

#include <atomic>
#include <random>

using News = sdk::CardChannel::News;
using sdk::Status;

/// What a channel tells by itself: its card asks, goes and comes, on any thread and at any time.
class tst_News : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void listenerIsThereBeforeTheFirstReset();
    void listenerEndsBeforeTheChannel_data();
    void listenerEndsBeforeTheChannel();

    void cardThatAsksIsAskedBack();
    void cardThatAsksInASessionIsAskedAtItsEnd();
    void cardThatAsksForNothing();
    void cardThatAsksAndFails();
    void choiceIsTakenWhileTheCardIsAskedBack_data();
    void choiceIsTakenWhileTheCardIsAskedBack();

    void commandThatIsGivenUpIsClosed();
    void commandAfterOneThatIsGivenUpIsFetched();
    void newsOfAnEarlierCommandChangesNothing();

    void cardThatGoesAtRest();
    void cardThatGoesInASession();
    void cardThatGoesTwiceGoesOnce();
    void newsOfAnotherTimeAreNotHeard();
    void newsOfTheDeviceBeforeAreNotHeard();

    void readerWaitsForTheNextCard_data();
    void readerWaitsForTheNextCard();
    void readerWithoutACardWaits();
    void lossFromBeforeTheResetDoesNotCount();
    void cardThatIsNotThereYetCanFail();
    void cardThatIsThereIsNotReset();
    void cardOfBeforeIsNotAnsweredToTheNext();
    void emptyReaderCanBeDetached_data();
    void emptyReaderCanBeDetached();

    void newsWithinACallback();
    void newsAtAnyMoment();

private:
    bool attach();
    bool openSubMenu();

    std::shared_ptr<Script> m_script;
    int m_id = 0;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

const char *const status = "80F2000C00";
const QStringList started = {vectors::terminalProfile, vectors::fetchSetUpMenu, vectors::setUpMenuDone};

int number(Status value)
{
    return static_cast<int>(value);
}

} // namespace

void tst_News::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_News::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

/// A card in a reader, with its menu and at rest.
bool tst_News::attach()
{
    m_script = std::make_shared<Script>();
    m_script->staysWithoutCard().proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    const bool isThere = waitForEvent("DEVICE 6602");
    events::forget();
    m_script->forgetSent();
    return isThere;
}

bool tst_News::openSubMenu()
{
    m_script->proposes(vectors::selectItem);
    if (MDSV_STKSrv_SelectMenuItem(1, 1) != 0 || !waitForEvent("STK 6"))
        return false;
    m_id = events::lastId();
    events::forget();
    m_script->forgetSent();
    return true;
}

void tst_News::listenerIsThereBeforeTheFirstReset()
{
    QVERIFY(attach());
    QCOMPARE(m_script->resets(), 1);
    QCOMPARE(m_script->deafResets(), 0);
}

using Act = void (*)(Script &);
Q_DECLARE_METATYPE(Act)

void tst_News::listenerEndsBeforeTheChannel_data()
{
    QTest::addColumn<Act>("end");
    const auto row = [](const char *name, Act end) { QTest::newRow(name) << end; };
    row("detached", [](Script &) { sdk::detachDevice(); });
    row("shut down", [](Script &) { sdk::shutDown(); });
    row("replaced", [](Script &) { sdk::attachDevice(Script::channel(std::make_shared<Script>())); });
    row("gone", [](Script &card) { card.tells(News::Gone); });
}

void tst_News::listenerEndsBeforeTheChannel()
{
    QFETCH(Act, end);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    end(*m_script);
    QVERIFY(waitFor([this] { return m_script->isDeleted(); }));
    QVERIFY(m_script->isDeletedDeaf());
    QVERIFY(!m_script->tells(News::Asks));
}

void tst_News::cardThatAsksIsAskedBack()
{
    QVERIFY(attach());
    m_script->proposes(vectors::selectItem);
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(m_script->sent(), (QStringList{status, vectors::fetchSelectItem}));
    m_script->forgetSent();
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::wentBack});
}

void tst_News::cardThatAsksInASessionIsAskedAtItsEnd()
{
    QVERIFY(attach());
    QVERIFY(openSubMenu());
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(m_script->tells(News::Asks));
    m_script->answers("9000").answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 3, 0), 0);
    QVERIFY(waitFor([this] { return m_script->sent().size() >= 2; }));
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), (QStringList{vectors::wentBack, status}));
}

void tst_News::cardThatAsksForNothing()
{
    QVERIFY(attach());
    m_script->answers("9000").answers("9000");
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(waitFor([this] { return m_script->sent() == QStringList{status}; }));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::texts(), QStringList{"STK 99"}); // of the choice; the question opened no session
}

void tst_News::cardThatAsksAndFails()
{
    QVERIFY(attach());
    m_script->answers("6D00");
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(waitFor([] { return !events::notes().isEmpty(); }));
    QCOMPARE(events::notes(), QStringList{"the card has something to say, but answered 6D00"});
}

void tst_News::choiceIsTakenWhileTheCardIsAskedBack_data()
{
    QTest::addColumn<bool>("isAsking");
    QTest::newRow("nothing comes of it") << false;
    QTest::newRow("a session comes of it") << true;
}

void tst_News::choiceIsTakenWhileTheCardIsAskedBack()
{
    QFETCH(bool, isAsking);
    QVERIFY(attach());
    m_script->answersLate(isAsking ? "9124" : "9000");
    if (isAsking)
        m_script->answers("D0228103022400820281828505 57686572658F0511486572658F06125468657265900112 9000");
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(waitFor([this] { return m_script->isHanging(); }));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::SessionBusy));
    m_script->goOn();
    QStringList sent{status};
    if (isAsking) {
        QVERIFY(waitForEvent("STK 6"));
        m_script->answers("9000");
        QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
        sent << vectors::fetchSelectItem << vectors::wentBack;
    }
    m_script->answers("9000");
    sent << vectors::chooseNews;
    QVERIFY(waitFor([&] { return m_script->sent() == sent; }));
    QVERIFY(waitFor([&] { return events::count("STK 99") == (isAsking ? 2 : 1); }));
}

void tst_News::commandThatIsGivenUpIsClosed()
{
    QVERIFY(attach());
    QVERIFY(openSubMenu());
    QVERIFY(m_script->givesUp().tells(News::Ended));
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 3, 0), number(Status::StaleCommand));
    QCOMPARE(m_script->sent(), QStringList());

    m_script->givesUp(false).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([this] { return m_script->sent().size() == 1; }));
}

void tst_News::commandAfterOneThatIsGivenUpIsFetched()
{
    QVERIFY(attach());
    QVERIFY(openSubMenu());
    m_script->proposes(vectors::selectItem);
    QVERIFY(m_script->givesUp().tells(News::Ended));
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(events::texts(), (QStringList{"STK 99", "STK 6"}));
    QCOMPARE(m_script->sent().value(0), QString(status));

    m_script->givesUp(false).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitFor([this] { return m_script->sent().contains(vectors::wentBack); }));
}

/// What is open now is another one, which the card waits for.
void tst_News::newsOfAnEarlierCommandChangesNothing()
{
    QVERIFY(attach());
    QVERIFY(openSubMenu());
    QVERIFY(m_script->tells(News::Ended));
    QVERIFY(m_script->tells(News::Gone)); // heard behind it
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6601"});
}

void tst_News::cardThatGoesAtRest()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(m_script->isDeleted());
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoCard));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::NoCard));
    QCOMPARE(events::exchanges().last(),
             QString("Note: choice of item 1 of the main menu: refused, there is no card (1)"));
    QVERIFY(events::exchanges().contains("Device: scripted card: the card is gone"));
}

void tst_News::cardThatGoesInASession()
{
    QVERIFY(attach());
    QVERIFY(openSubMenu());
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), number(Status::NoCard));
    MDSVStkSubMenu menu;
    QCOMPARE(MDSV_STKSrv_GetSubMenu(m_id, &menu), number(Status::NoCard));
    QVERIFY(m_script->sent().isEmpty());
    QCOMPARE(events::texts(), QStringList{"DEVICE 6601"});
}

void tst_News::cardThatGoesTwiceGoesOnce()
{
    QVERIFY(attach());
    QVERIFY(openSubMenu());
    m_script->answersLate("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QVERIFY(waitFor([this] { return m_script->isHanging(); }));
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(m_script->tells(News::Gone));
    m_script->goOn();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(m_script->tells(News::Gone));
    m_script->proposes(vectors::setUpMenu).answers("9000");
    QVERIFY(m_script->tells(News::There));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::count("DEVICE 6601"), 1);
    QCOMPARE(m_script->sent().count(vectors::choseThere), 1);
}

void tst_News::newsOfAnotherTimeAreNotHeard()
{
    QVERIFY(attach());
    const auto first = m_script;
    const auto next = std::make_shared<Script>();
    next->proposes(vectors::setUpMenu).hangs();
    sdk::attachDevice(Script::channel(next));
    QVERIFY(waitFor([&] { return next->isHanging(); }));
    QVERIFY(first->isDeleted());
    QVERIFY(!first->tells(News::Gone));
    QVERIFY(next->isHanging());
    sdk::detachDevice();
    QVERIFY(waitFor([&] { return next->isDeleted(); }));
}

/// Within a callback: the channel of the device before has yet to be deleted.
void tst_News::newsOfTheDeviceBeforeAreNotHeard()
{
    QVERIFY(attach());
    const auto next = std::make_shared<Script>();
    next->proposes(vectors::setUpMenu).answers("9000");
    std::atomic<bool> isHeard{false};
    events::setReaction([&](const events::Event &event) {
        if (event.text != "STK 6")
            return;
        sdk::attachDevice(Script::channel(next));
        isHeard = m_script->tells(News::Gone);
    });
    m_script->proposes(vectors::selectItem);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("DEVICE 6602"));
    QVERIFY(isHeard); // by the library, which does not care
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
    sdk::detachDevice();
    QVERIFY(waitFor([&] { return next->isDeleted(); }));
    QCOMPARE(events::exchanges().filter("the card is gone"), QStringList());
}

void tst_News::readerWaitsForTheNextCard_data()
{
    QTest::addColumn<bool>("isTold"); // or found out by an answer that does not come
    QTest::newRow("told") << true;
    QTest::newRow("found out") << false;
}

void tst_News::readerWaitsForTheNextCard()
{
    QFETCH(bool, isTold);
    QVERIFY(attach());
    for (int round = 0; round < 3; ++round) {
        events::forget();
        m_script->forgetSent();
        if (isTold) {
            m_script->tells(News::Gone);
        } else {
            m_script->vanishes();
            QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
        }
        QVERIFY(waitForEvent("DEVICE 6601"));
        QVERIFY(!m_script->isDeleted());
        QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::NoCard));
        m_script->forgetSent();
        m_script->proposes(vectors::setUpMenu).answers("9000");
        QVERIFY(m_script->tells(News::There));
        QVERIFY(waitForEvent("DEVICE 6602"));
        QCOMPARE(m_script->sent(), started);
        QCOMPARE(events::texts(), (QStringList{"DEVICE 6601", "STK 0", "DEVICE 6602"}));
    }
    QCOMPARE(m_script->resets(), 4);
    QVERIFY(openSubMenu());
}

void tst_News::readerWithoutACardWaits()
{
    m_script = std::make_shared<Script>();
    m_script->staysWithoutCard().refusesReset("put one into the reader");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6603"));
    QCOMPARE(events::exchanges().last(), QString("Device: scripted card: no card, put one into the reader"));
    QVERIFY(!m_script->isDeleted());
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoCard));
    std::string error;
    QVERIFY(!sdk::raiseCommand({0xD0, 0x00}, &error));
    QCOMPARE(error, std::string("there is no card: put one in"));
    m_script->refusesReset("").proposes(vectors::setUpMenu).answers("9000");
    QVERIFY(m_script->tells(News::There));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), (QStringList{"DEVICE 6603", "STK 0", "DEVICE 6602"}));
    QCOMPARE(m_script->deafResets(), 0);
}

/// It goes once more before it is taken up; when it is, it is back already.
void tst_News::lossFromBeforeTheResetDoesNotCount()
{
    QVERIFY(attach());
    m_script->proposes(vectors::setUpMenu).answers("9000");
    events::setReaction([this](const events::Event &event) {
        if (event.text != "DEVICE 6601")
            return;
        m_script->tells(News::There);
        m_script->tells(News::Gone);
    });
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QVERIFY(openSubMenu());
    QCOMPARE(m_script->resets(), 2);
}

void tst_News::cardThatIsNotThereYetCanFail()
{
    QVERIFY(attach());
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(waitForEvent("DEVICE 6601"));
    m_script->refusesReset("it is mute");
    QVERIFY(m_script->tells(News::There));
    QVERIFY(waitForEvent("DEVICE 6603"));
    m_script->refusesReset("").vanishes();
    QVERIFY(m_script->tells(News::There));
    QVERIFY(waitFor([] { return events::count("DEVICE 6601") == 2; }));
    QVERIFY(!m_script->isDeleted());
    m_script->proposes(vectors::setUpMenu).answers("9000");
    QVERIFY(m_script->tells(News::There));
    QVERIFY(waitForEvent("DEVICE 6602"));
}

void tst_News::cardThatIsThereIsNotReset()
{
    QVERIFY(attach());
    QVERIFY(openSubMenu());
    QVERIFY(m_script->tells(News::There));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 3, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->resets(), 1);
    QCOMPARE(m_script->sent(), QStringList{vectors::wentBack});
}

/// The card goes and comes while its service waits for it: what was meant for the first one does not reach the second.
void tst_News::cardOfBeforeIsNotAnsweredToTheNext()
{
    QVERIFY(attach());
    m_script->proposes(vectors::selectItem);
    const auto script = m_script;
    events::setReaction([script](const events::Event &event) {
        if (event.text != "STK 6")
            return;
        // On the service's own thread: all three wait behind this callback, in this order.
        script->tells(News::Gone);
        script->tells(News::There);
        MDSV_STKSrv_SelectSubMenuItem(event.id, 1, 0x12);
    });
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 6"));
    m_script->answers("9000"); // to the profile
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QVERIFY(!m_script->sent().contains(vectors::choseThere));
    QCOMPARE(m_script->sent().last(), QString(vectors::terminalProfile));
    QCOMPARE(m_script->resets(), 2);
}

void tst_News::emptyReaderCanBeDetached_data()
{
    QTest::addColumn<bool>("hadCard");
    QTest::newRow("after a card") << true;
    QTest::newRow("never a card") << false;
}

void tst_News::emptyReaderCanBeDetached()
{
    QFETCH(bool, hadCard);
    if (hadCard) {
        QVERIFY(attach());
        QVERIFY(m_script->tells(News::Gone));
        QVERIFY(waitForEvent("DEVICE 6601"));
    } else {
        m_script = std::make_shared<Script>();
        m_script->staysWithoutCard().refusesReset("none");
        sdk::attachDevice(Script::channel(m_script));
        QVERIFY(waitForEvent("DEVICE 6603"));
    }
    sdk::detachDevice();
    QVERIFY(waitFor([this] { return m_script->isDeleted(); }));
    const auto next = std::make_shared<Script>();
    next->answers("9000");
    sdk::attachDevice(Script::channel(next));
    QVERIFY(waitForEvent("DEVICE 6602"));
    const QStringList toldBefore = hadCard ? QStringList{"DEVICE 6601"} : QStringList{"DEVICE 6603", "DEVICE 6601"};
    QCOMPARE(events::texts(), toldBefore + QStringList{"DEVICE 6602"});
    QCOMPARE(events::exchanges().filter("detached").size(), 1);
}

void tst_News::newsWithinACallback()
{
    QVERIFY(attach());
    const auto script = m_script;
    std::atomic<int> told{0};
    events::setReaction([&, script](const events::Event &event) {
        if (event.text == "DEVICE 6602" || event.text == "DEVICE 6601") {
            script->tells(event.text == "DEVICE 6602" ? News::Gone : News::There);
            ++told;
        }
    });
    for (int round = 0; round < 20; ++round)
        m_script->proposes(vectors::setUpMenu).answers("9000");
    m_script->refusesReset("");
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(waitFor([&] { return told >= 20; }));
    events::setReaction({});
    QCOMPARE(m_script->deafResets(), 0);
}

/// Threads tell all sorts of news while devices come and go, the user chooses and the library is shut down.
void tst_News::newsAtAnyMoment()
{
    std::atomic<bool> isOver{false};
    std::mutex mutex;
    std::shared_ptr<Script> current;
    const auto tellAll = [&](unsigned int seed) {
        std::minstd_rand random(seed);
        while (!isOver) {
            std::unique_lock<std::mutex> lock(mutex);
            const std::shared_ptr<Script> script = current;
            lock.unlock();
            if (script)
                script->tells(static_cast<News>(random() % 3));
            std::this_thread::yield();
        }
    };
    std::thread first(tellAll, 1);
    std::thread second(tellAll, 2);
    std::minstd_rand random(3);
    std::vector<std::shared_ptr<Script>> all;
    for (int round = 0; round < 300; ++round) {
        const auto script = std::make_shared<Script>();
        if (random() % 2 == 0)
            script->staysWithoutCard();
        for (int i = 0; i < 3; ++i)
            script->proposes(vectors::setUpMenu).answers("9000");
        sdk::attachDevice(Script::channel(script));
        {
            const std::lock_guard<std::mutex> lock(mutex);
            current = script;
        }
        all.push_back(script);
        MDSV_STKSrv_SelectMenuItem(1, 1);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
        if (round % 3 == 0)
            sdk::detachDevice();
        if (round % 10 == 0)
            sdk::shutDown();
    }
    sdk::shutDown();
    isOver = true;
    first.join();
    second.join();
    for (const std::shared_ptr<Script> &script : all)
        QVERIFY(script->isDeleted() && script->isDeletedDeaf());
}

QTEST_GUILESS_MAIN(tst_News)
#include "tst_News.moc"
