#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>

using sdk::Status;

/// The session with the card, byte for byte, and everything that can go wrong in it.
class tst_Service : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void attachDownloadsTheProfileAndTheMenu();
    void deviceIsAvailableOnlyWithItsMenu();
    void cardWithoutToolkitIsAvailable_data();
    void cardWithoutToolkitIsAvailable();
    void subMenuRightAfterTheProfileIsOpen();
    void sessionOfTwoSubMenus();
    void everyExchangeIsTold();
    void controlCharactersOfTheCardAreNotTold();

    void commandThatCannotBeShownIsAnswered_data();
    void commandThatCannotBeShownIsAnswered();
    void unreadableCommandGetsNoResponse();

    void userWhoTakesTooLong();
    void cardThatGoesOnAfterATimeOut();
    void answerBeforeTheLimitStopsTheClock();
    void answerAndTimeOutAtTheSameTime();

    void busyCardGetsTheChoiceAgain();
    void cardThatStaysBusyEndsTheSession();
    void busyCardCanBeDetached();
    void errorToAChoiceEndsTheSession_data();
    void errorToAChoiceEndsTheSession();
    void errorToAResponseEndsTheSession();
    void errorToFetchEndsTheSession_data();
    void errorToFetchEndsTheSession();
    void moreDataIsCollected_data();
    void moreDataIsCollected();
    void cardThatAlwaysHasMoreDataIsCutOff();

    void cardThatIsRefusedAtReset();
    void cardThatGoes_data();
    void cardThatGoes();
    void cardThatGoesWhenTheTimeIsOver();
    void detachWhileASubMenuIsOpen();
    void detachWithoutDeviceTellsNothing();
    void detachOfACardThatThinksDoesNotWait();
    void detachedAtOnceTellsOneEvent();
    void attachReplacesTheDevice();
    void attachOfNothingIsRefused();
    void requestsDoNotWaitForTheCard();

    void shutDownForgetsEverything();
    void shutDownEndsACardThatThinks();
    void shutDownWithinACallbackIsRefused();
    void shutDownOnTwoThreads();
    void listenerThatThrowsDoesNoHarm();

private:
    bool openSubMenu();

    std::shared_ptr<Script> m_script;
    int m_id = 0;
};

namespace
{

int number(Status status)
{
    return static_cast<int>(status);
}

using vectors::waitFor;
using vectors::waitForEvent;

} // namespace

void tst_Service::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_Service::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

bool tst_Service::openSubMenu()
{
    m_script = vectors::attachWithMenu();
    if (!m_script)
        return false;
    m_script->proposes(vectors::selectItem);
    if (MDSV_STKSrv_SelectMenuItem(1, 1) != 0 || !waitForEvent("STK 6"))
        return false;
    m_id = events::lastId();
    events::forget();
    m_script->forgetSent();
    return true;
}

void tst_Service::attachDownloadsTheProfileAndTheMenu()
{
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(m_script->resets(), 1);
    QCOMPARE(m_script->sent(),
             (QStringList{vectors::terminalProfile, vectors::fetchSetUpMenu, vectors::setUpMenuDone}));
    QCOMPARE(events::texts(), (QStringList{"STK 0", "DEVICE 6602"}));
    QVERIFY(events::notes().isEmpty());
}

void tst_Service::deviceIsAvailableOnlyWithItsMenu()
{
    int statusOnEvent = -1;
    events::setReaction([&](const events::Event &event) {
        if (event.text != "DEVICE 6602")
            return;
        MDSVStkMainMenu menu;
        statusOnEvent = MDSV_STKSrv_GetMainMenu(&menu);
        MDSV_STKSrv_ReleaseMenus(&menu);
    });
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    sdk::shutDown();
    QCOMPARE(statusOnEvent, 0);
}

void tst_Service::cardWithoutToolkitIsAvailable_data()
{
    QTest::addColumn<QString>("answer");
    QTest::newRow("nothing to say") << "9000";
    QTest::newRow("instruction not supported") << "6D00";
    QTest::newRow("class not supported") << "6E00";
}

void tst_Service::cardWithoutToolkitIsAvailable()
{
    QFETCH(QString, answer);
    m_script = std::make_shared<Script>();
    m_script->answers(qPrintable(answer));
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6602"});
    QCOMPARE(m_script->sent(), QStringList{vectors::terminalProfile});
}

void tst_Service::subMenuRightAfterTheProfileIsOpen()
{
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::selectItem);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(events::texts(), (QStringList{"DEVICE 6602", "STK 6"}));
    m_script->forgetSent();
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::texts(), (QStringList{"DEVICE 6602", "STK 6", "STK 99"}));
    QCOMPARE(m_script->sent(), QStringList{vectors::wentBack});
}

void tst_Service::sessionOfTwoSubMenus()
{
    QVERIFY(openSubMenu());
    m_script->proposes(vectors::selectItem);
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QVERIFY(waitForEvent("STK 6"));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 0, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), (QStringList{vectors::choseThere, vectors::fetchSelectItem, vectors::endedSession}));
    // At rest again: the next choice is taken.
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([] { return events::count("STK 99") == 2; }));
}

void tst_Service::everyExchangeIsTold()
{
    QVERIFY(openSubMenu());
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QVERIFY(waitForEvent("STK 99"));
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    const QStringList expected = {
        "Device: scripted card: attached []",
        QString("Command: SET UP MENU \"Menu\", 2 items [%1]").arg(vectors::setUpMenu),
        "Response: SET UP MENU: 00 command performed successfully [810301250082028281830100]",
        "Envelope: MENU SELECTION \"News\" [D30782020181900101]",
        QString("Command: SELECT ITEM \"Where\", 2 items [%1]").arg(vectors::selectItem),
        "Response: SELECT ITEM: 00 command performed successfully, \"There\" [810302240082028281830100900112]",
        "Device: scripted card: detached []",
    };
    QStringList told = events::exchangesWithBytes();
    QCOMPARE(told.size(), expected.size());
    for (int i = 0; i < told.size(); ++i)
        QCOMPARE(told[i].remove(' '), QString(expected[i]).remove(' '));
}

void tst_Service::controlCharactersOfTheCardAreNotTold()
{
    m_script = std::make_shared<Script>();
    // 81 02 08 1B: "A" and an escape character, in UCS2
    m_script->proposes("D017 8103012500 82028182 850580 0041001B 8F05014E657773").answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::exchanges()[1], QString("Command: SET UP MENU \"A \", 1 item"));
}

void tst_Service::commandThatCannotBeShownIsAnswered_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("response");
    QTest::newRow("OPEN CHANNEL: beyond capabilities") << "D009 8103034000 82028182"
                                                       << "801400000C810303400082028281830130";
    QTest::newRow("unknown type: not understood") << "D009 8103037F00 82028182"
                                                  << "801400000C8103037F0082028281830131";
    QTest::newRow("foreign object: data not understood") << "D014 8103032400 82028182 8F051148657265 FE0100"
                                                         << "801400000C810303240082028281830132";
    QTest::newRow("no items: values missing") << "D009 8103032400 82028182"
                                              << "801400000C810303240082028281830136";
}

void tst_Service::commandThatCannotBeShownIsAnswered()
{
    QFETCH(QString, command);
    QFETCH(QString, response);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(qPrintable(command)).proposes(vectors::selectItem);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    // The card goes on, and the user sees nothing of what was answered.
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(events::texts(), QStringList{"STK 6"});
    QCOMPARE(m_script->sent().value(2), response);
    QCOMPARE(m_script->sent().size(), 4);
}

void tst_Service::unreadableCommandGetsNoResponse()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes("D004 82028182");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), (QStringList{vectors::chooseNews, "8012000006"}));
    QCOMPARE(events::notes().size(), 1);
    QVERIFY2(events::notes()[0].endsWith("; it gets no response"), qPrintable(events::notes()[0]));
}

void tst_Service::userWhoTakesTooLong()
{
    sdk::setResponseLimit(std::chrono::milliseconds(50));
    QElapsedTimer clock;
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem).answers("9000");
    clock.start();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(clock.elapsed() >= 50);
    const std::vector<events::Event> all = events::all();
    QCOMPARE(events::texts(), (QStringList{"STK 6", "STK 6 timed out", "STK 99"}));
    QCOMPARE(all[1].id, all[0].id);
    QVERIFY(all[2].id != all[0].id);
    QCOMPARE(m_script->sent().last(), QString(vectors::noResponse));
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(all[0].id, 1, 0x12), number(Status::StaleCommand));
    QCOMPARE(m_script->sent().size(), 3);
}

void tst_Service::cardThatGoesOnAfterATimeOut()
{
    sdk::setResponseLimit(std::chrono::milliseconds(50));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem).proposes(vectors::selectItem).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::texts(), (QStringList{"STK 6", "STK 6 timed out", "STK 6", "STK 6 timed out", "STK 99"}));
    QCOMPARE(m_script->sent().mid(2),
             (QStringList{vectors::noResponse, vectors::fetchSelectItem, vectors::noResponse}));
}

void tst_Service::answerBeforeTheLimitStopsTheClock()
{
    sdk::setResponseLimit(std::chrono::milliseconds(300));
    std::atomic<int> answered{0};
    events::setReaction([&](const events::Event &event) {
        if (event.text == "STK 6" && answered == 0)
            answered += MDSV_STKSrv_SelectSubMenuItem(event.id, 3, 0) == 0;
    });
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(answered.load(), 1);
    // A whole second session, which itself runs into its limit, shows that the first one's clock was stopped.
    m_script->proposes(vectors::selectItem).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([] { return events::count("STK 99") == 2; }));
    QCOMPARE(events::texts(), (QStringList{"STK 6", "STK 99", "STK 6", "STK 6 timed out", "STK 99"}));
}

void tst_Service::answerAndTimeOutAtTheSameTime()
{
    sdk::setResponseLimit(std::chrono::milliseconds(1));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    constexpr int rounds = 200;
    int accepted = 0;
    for (int round = 0; round < rounds; ++round) {
        events::forget();
        m_script->forgetSent();
        m_script->proposes(vectors::selectItem).answers("9000");
        QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
        while (!events::has("STK 6"))
            std::this_thread::yield();
        const int id = events::lastId();
        if (round % 2)
            std::this_thread::sleep_for(std::chrono::microseconds(900 + round));
        const int status = MDSV_STKSrv_SelectSubMenuItem(id, 3, 0);
        accepted += status == 0;
        QVERIFY(waitForEvent("STK 99"));
        QCOMPARE(events::count("STK 6 timed out"), status == 0 ? 0 : 1);
        QCOMPARE(m_script->sent().size(), 3);
        QCOMPARE(m_script->sent().last(), QString(status == 0 ? vectors::wentBack : vectors::noResponse));
    }
    qInfo("%d of %d answers came in time", accepted, rounds);
}

void tst_Service::busyCardGetsTheChoiceAgain()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("9300", 2).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), (QStringList{vectors::chooseNews, vectors::chooseNews, vectors::chooseNews}));
    QCOMPARE(events::exchanges().filter("Envelope: ").size(), 1);
}

void tst_Service::cardThatStaysBusyEndsTheSession()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("9300", 100);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent().size(), 6);
    QCOMPARE(events::texts(), QStringList{"STK 99"});
    QCOMPARE(events::notes().last(), QString("the session ends: the card answered 9300"));
}

void tst_Service::busyCardCanBeDetached()
{
    // The pause between two tries ends with the device; it takes 200 ms otherwise.
    qint64 fastest = 1000;
    for (int round = 0; round < 5; ++round) {
        m_script = vectors::attachWithMenu();
        QVERIFY(m_script);
        m_script->answers("9300", 100);
        QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
        QVERIFY(waitFor([this] { return !events::notes().isEmpty() && !m_script->sent().isEmpty(); }));
        QElapsedTimer clock;
        clock.start();
        sdk::detachDevice();
        while (!m_script->isDeleted() && clock.elapsed() < vectors::limit)
            std::this_thread::yield();
        fastest = std::min(fastest, clock.elapsed());
        QVERIFY(waitForEvent("DEVICE 6601"));
        QCOMPARE(events::texts(), QStringList{"DEVICE 6601"});
        QVERIFY(m_script->sent().size() < 6);
        events::forget();
    }
    QVERIFY2(fastest < 100, qPrintable(QString::number(fastest)));
}

void tst_Service::errorToAChoiceEndsTheSession_data()
{
    QTest::addColumn<QString>("answer");
    for (const char *answer : {"6A80", "6F00", "6285", "9EFF", "0000"})
        QTest::newRow(answer) << answer;
}

void tst_Service::errorToAChoiceEndsTheSession()
{
    QFETCH(QString, answer);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers(qPrintable(answer));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::notes(), QStringList{"the session ends: the card answered " + answer});
    QCOMPARE(m_script->sent().size(), 1);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([] { return events::count("STK 99") == 2; }));
}

void tst_Service::errorToAResponseEndsTheSession()
{
    QVERIFY(openSubMenu());
    m_script->answers("6F00");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 3, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent().size(), 1);
    QCOMPARE(events::notes(), QStringList{"the session ends: the card answered 6F00"});
}

void tst_Service::errorToFetchEndsTheSession_data()
{
    QTest::addColumn<QString>("answer");
    QTest::newRow("no command") << "9000";
    QTest::newRow("error") << "6F00";
    QTest::newRow("error behind data") << "D00981030324008202818262 81";
}

void tst_Service::errorToFetchEndsTheSession()
{
    QFETCH(QString, answer);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("9124").answers(qPrintable(answer));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), (QStringList{vectors::chooseNews, vectors::fetchSelectItem}));
    QCOMPARE(events::notes().size(), 1);
}

void tst_Service::moreDataIsCollected_data()
{
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QStringList>("sent");
    const QString head = "D0228103022400820281828505";
    const QString tail = "57686572658F0511486572658F06125468657265900112";
    const QStringList choice = {vectors::chooseNews, vectors::fetchSelectItem};
    QTest::newRow("61xx at once") << QStringList{"9124", "6124", head + tail + "9000"}
                                  << choice + QStringList{"00C0000024"};
    QTest::newRow("61xx behind data") << QStringList{"9124", head + "6117", tail + "9000"}
                                      << choice + QStringList{"00C0000017"};
    QTest::newRow("61xx twice") << QStringList{"9124", head + "6117", "6117", tail + "9000"}
                                << choice + QStringList{"00C0000017", "00C0000017"};
    QTest::newRow("6Cxx to FETCH") << QStringList{"9100", "6C24", head + tail + "9000"}
                                   << QStringList{vectors::chooseNews, "8012000000", vectors::fetchSelectItem};
    QTest::newRow("6Cxx to ENVELOPE") << QStringList{"6C00", "9124", head + tail + "9000"}
                                      << QStringList{vectors::chooseNews, QString(vectors::chooseNews) + "00",
                                                     vectors::fetchSelectItem};
    QTest::newRow("61xx to ENVELOPE") << QStringList{"6102", "AABB9124", head + tail + "9000"}
                                      << QStringList{vectors::chooseNews, "00C0000002", vectors::fetchSelectItem};
}

void tst_Service::moreDataIsCollected()
{
    QFETCH(QStringList, answers);
    QFETCH(QStringList, sent);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    for (const QString &answer : answers)
        m_script->answers(qPrintable(answer));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(m_script->sent(), sent);
    MDSVStkSubMenu menu;
    QCOMPARE(MDSV_STKSrv_GetSubMenu(events::lastId(), &menu), 0);
    QCOMPARE(int(menu.sItemCount), 2);
    QCOMPARE(MDSV_STKSrv_ReleaseSubMenus(&menu), 0);
}

void tst_Service::cardThatAlwaysHasMoreDataIsCutOff()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("AA61FF", 1000);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(m_script->sent().size() < 30);
}

void tst_Service::cardThatIsRefusedAtReset()
{
    m_script = std::make_shared<Script>();
    m_script->refusesReset("put one into the reader");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6603"));
    QVERIFY(waitFor([this] { return m_script->isDeleted(); }));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6603"});
    QVERIFY(m_script->sent().isEmpty());
    QCOMPARE(events::exchanges().last(), QString("Device: scripted card: no card, put one into the reader"));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoCard));
}

using Prepare = void (*)(Script &);
Q_DECLARE_METATYPE(Prepare)

void tst_Service::cardThatGoes_data()
{
    QTest::addColumn<Prepare>("prepare");
    QTest::addColumn<int>("sent");
    const auto row = [](const char *name, int sent, Prepare prepare) { QTest::newRow(name) << prepare << sent; };
    row("at the profile", 1, [](Script &card) { card.vanishes(); });
    row("at the profile, short answer", 1, [](Script &card) { card.answers("90"); });
    row("at the profile, empty answer", 1, [](Script &card) { card.answers(""); });
    row("at the profile, by an exception", 1, [](Script &card) { card.throws(); });
    row("at FETCH", 2, [](Script &card) { card.answers("911E").vanishes(); });
    row("at GET RESPONSE", 3, [](Script &card) { card.answers("911E").answers("611E").vanishes(); });
    row("at the repeated FETCH", 3, [](Script &card) { card.answers("911E").answers("6C1E").vanishes(); });
    row("at the response", 3, [](Script &card) { card.proposes(vectors::setUpMenu).vanishes(); });
}

void tst_Service::cardThatGoes()
{
    QFETCH(Prepare, prepare);
    QFETCH(int, sent);
    m_script = std::make_shared<Script>();
    prepare(*m_script);
    std::atomic<bool> isDeletedWhenTold{false};
    events::setReaction([&](const events::Event &) { isDeletedWhenTold = m_script->isDeleted(); });
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(waitFor([&] { return isDeletedWhenTold.load(); }));
    events::setReaction({});
    QCOMPARE(m_script->sent().size(), sent);
    QCOMPARE(events::texts(), QStringList{"DEVICE 6601"});
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoCard));
    // It has gone: there is nothing left to detach, and a new one can come.
    sdk::detachDevice();
    events::forget();
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
}

void tst_Service::cardThatGoesWhenTheTimeIsOver()
{
    sdk::setResponseLimit(std::chrono::milliseconds(50));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem).vanishes();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(events::texts(), (QStringList{"STK 6", "DEVICE 6601"}));
    QCOMPARE(m_script->sent().last(), QString(vectors::noResponse));
}

void tst_Service::detachWhileASubMenuIsOpen()
{
    QVERIFY(openSubMenu());
    // Whoever hears that the device is gone may open the same card again: the channel has let go of it.
    std::atomic<bool> isDeletedWhenTold{false};
    events::setReaction([&](const events::Event &) { isDeletedWhenTold = m_script->isDeleted(); });
    sdk::detachDevice();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), number(Status::NoCard));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::NoCard));
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6601"});
    QVERIFY(m_script->sent().isEmpty());
    QVERIFY(m_script->isInterrupted());
    QVERIFY(waitFor([&] { return isDeletedWhenTold.load(); }));
    events::setReaction({});

    // Another card: what the first one asked is stale for good.
    events::forget();
    const auto next = std::make_shared<Script>();
    next->proposes(vectors::selectItem);
    sdk::attachDevice(Script::channel(next));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), number(Status::StaleCommand));
}

void tst_Service::detachWithoutDeviceTellsNothing()
{
    sdk::detachDevice();
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    sdk::detachDevice();
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    const auto next = vectors::attachWithMenu();
    QVERIFY(next);
    QCOMPARE(events::exchanges().filter("detached").size(), 1);
}

void tst_Service::detachOfACardThatThinksDoesNotWait()
{
    QVERIFY(openSubMenu());
    m_script->hangs();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QVERIFY(waitFor([this] { return m_script->isHanging(); }));
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(waitFor([this] { return m_script->isDeleted(); }));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6601"});
    QCOMPARE(m_script->sent(), QStringList{vectors::choseThere});
}

void tst_Service::detachedAtOnceTellsOneEvent()
{
    for (int round = 0; round < 200; ++round) {
        events::forget();
        m_script = std::make_shared<Script>();
        m_script->proposes(vectors::setUpMenu).answers("9000");
        sdk::attachDevice(Script::channel(m_script));
        if (round % 2)
            std::this_thread::sleep_for(std::chrono::microseconds(round));
        sdk::detachDevice();
        QVERIFY(waitForEvent("DEVICE 6601"));
        QCOMPARE(events::count("DEVICE 6601"), 1);
        QCOMPARE(events::texts().last(), QString("DEVICE 6601"));
        QVERIFY(waitFor([this] { return m_script->isDeleted(); }));
    }
}

void tst_Service::attachReplacesTheDevice()
{
    QVERIFY(openSubMenu());
    const auto next = std::make_shared<Script>();
    next->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(next));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::texts(), (QStringList{"DEVICE 6601", "STK 0", "DEVICE 6602"}));
    QVERIFY(m_script->isDeleted());
    QVERIFY(!next->isDeleted());
    QVERIFY(m_script->sent().isEmpty());
}

void tst_Service::attachOfNothingIsRefused()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    sdk::attachDevice(nullptr);
    QCOMPARE(events::notes(), QStringList{"attachDevice: there is no card channel"});
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
}

void tst_Service::requestsDoNotWaitForTheCard()
{
    QVERIFY(openSubMenu());
    m_script->hangs();
    // Nothing frees the card before the end of this function: a request that waited for it would never return.
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QVERIFY(waitFor([this] { return m_script->isHanging(); }));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::SessionBusy));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, 6, 0), number(Status::StaleCommand));
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    QVERIFY(m_script->isHanging());
}

void tst_Service::shutDownForgetsEverything()
{
    QVERIFY(openSubMenu());
    sdk::shutDown();
    QVERIFY(m_script->isDeleted());
    QVERIFY(events::texts().isEmpty());
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoCard));
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), number(Status::BadArgument));
    sdk::shutDown();

    // As new: other callbacks can come, identifiers begin at 1, and the limit is the long one again.
    QCOMPARE(MDSV_STK_RegisterCallBack(events::otherStkCallback), 0);
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::otherStkCallback), 0);
    QVERIFY(events::registerBoth());
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::selectItem);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(events::lastId(), 1);
}

void tst_Service::shutDownEndsACardThatThinks()
{
    QVERIFY(openSubMenu());
    m_script->hangs();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QVERIFY(waitFor([this] { return m_script->isHanging(); }));
    sdk::shutDown();
    QVERIFY(m_script->isDeleted());
    QVERIFY(events::texts().isEmpty());
}

void tst_Service::shutDownWithinACallbackIsRefused()
{
    events::setReaction([](const events::Event &) { sdk::shutDown(); });
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    events::setReaction({});
    QVERIFY(events::notes().contains("shutDown: called from within a callback, and refused"));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
}

void tst_Service::shutDownOnTwoThreads()
{
    for (int round = 0; round < 50; ++round) {
        QVERIFY(events::registerBoth());
        m_script = std::make_shared<Script>();
        m_script->proposes(vectors::setUpMenu).hangs();
        sdk::attachDevice(Script::channel(m_script));
        std::thread other([] { sdk::shutDown(); });
        sdk::shutDown();
        other.join();
        QVERIFY(m_script->isDeleted());
    }
}

void tst_Service::listenerThatThrowsDoesNoHarm()
{
    sdk::setExchangeListener([](const sdk::Exchange &) { throw std::runtime_error("no paper"); });
    QVERIFY(openSubMenu());
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 3, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::wentBack});
}

QTEST_GUILESS_MAIN(tst_Service)
#include "tst_Service.moc"
