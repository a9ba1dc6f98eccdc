#include "platform/sdk/Commands.h"

#include <QTest>

#include <atomic>
#include <future>

using sdk::Status;

/// Commands that the service answers by itself: those for the network, REFRESH, and texts that do not wait for the
/// user. Exactly one response goes out, whoever comes first.
class tst_CarriedOut : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void networkCommands_data();
    void networkCommands();
    void carriedOutOnlyWhenTheCallbackHasReturned_data();
    void carriedOutOnlyWhenTheCallbackHasReturned();
    void refusalWithinTheCallbackComesFirst_data();
    void refusalWithinTheCallbackComesFirst();
    void refusalAfterTheCallbackComesTooLate();
    void refusalsAndCarryingOutNeverAnswerTwice();
    void carriedOutWithoutACallback_data();
    void carriedOutWithoutACallback();
    void carriedOutThoughTheCallbackHangs();
    void carriedOutThoughTheDispatcherDropsTheCall();
    void callbackThatThrowsHoldsNothingUp();
    void callThatIsLateFindsNothingToDo();

    void refreshReadsTheMenuAgain_data();
    void refreshReadsTheMenuAgain();
    void refreshWithoutMenuReadsNone();
    void refreshResetsTheCard();
    void menuIsGoneWithTheReset();
    void refreshOfACardThatDoesNotComeBack();
    void refreshDataStaysReadable();

    void sustainedTextIsAnsweredAtOnce_data();
    void sustainedTextIsAnsweredAtOnce();
    void sustainedTextIsReadAndAnsweredUnderLaterIdentifiers();
    void nextTextTakesTheSustainedOnesPlace();
    void sustainedTextOfAGoneCard();

private:
    bool choose(const QString &pdu, const std::function<void(Script &)> &prepare);
    QStringList answers() const;

    std::shared_ptr<Script> m_script;
};

namespace
{

using commands::responses;
using vectors::waitFor;
using vectors::waitForEvent;

int number(Status status)
{
    return static_cast<int>(status);
}

/// Keeps calls until the test runs them, as a user-interface thread does.
class Queue
{
public:
    Queue()
    {
        sdk::setCallbackDispatcher([this](std::function<void()> call) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.push_back(std::move(call));
        });
    }

    bool isEmpty()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls.empty();
    }

    /// Runs calls until `text` has been heard.
    bool runUntil(const char *text)
    {
        return waitFor([&] {
            runAll();
            return events::has(text);
        });
    }

    void runAll()
    {
        while (const auto call = take())
            call();
    }

    std::function<void()> take()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_calls.empty())
            return {};
        auto call = std::move(m_calls.front());
        m_calls.pop_front();
        return call;
    }

private:
    std::mutex m_mutex;
    std::deque<std::function<void()>> m_calls;
};

void atRest(Script &card)
{
    card.answers("9000");
}

void addNetworkRows()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("head"); // of the response, up to its result
    QTest::newRow("REFRESH") << commands::refresh << 7 << "8103090103820282818301";
    QTest::newRow("SEND SS") << commands::sendSs << 8 << "81030A1100820282818301";
    QTest::newRow("SEND SHORT MESSAGE") << commands::sendSms << 9 << "81030B1300820282818301";
    QTest::newRow("SEND USSD") << commands::sendUssd << 10 << "81030C1200820282818301";
}

} // namespace

void tst_CarriedOut::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_CarriedOut::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

/// The user chooses, and the card comes with the command `pdu`; then it does what `prepare` tells it. The service does
/// not wait for anybody here, so that all must be ready before.
bool tst_CarriedOut::choose(const QString &pdu, const std::function<void(Script &)> &prepare)
{
    m_script = vectors::attachWithMenu();
    if (!m_script)
        return false;
    m_script->proposes(qPrintable(pdu));
    prepare(*m_script);
    return MDSV_STKSrv_SelectMenuItem(1, 1) == 0;
}

/// What the card has got behind the choice and FETCH.
QStringList tst_CarriedOut::answers() const
{
    return responses(m_script).mid(2);
}

void tst_CarriedOut::networkCommands_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("network");
    QTest::addColumn<QString>("response");
    QTest::addColumn<QString>("told");
    for (const bool network : {true, false}) {
        const auto row = [&](const char *name, const char *command, int type, const char *head, const char *told) {
            QTest::newRow(qPrintable(QString(name) + (network ? " with network" : " without network")))
                << command << type << network << head + QString(network ? "8281830100" : "828183022004") << told;
        };
        row("SEND SS", commands::sendSs, 8, "81030A11008202", "SEND SS **21#, \"Divert\"");
        row("SEND SHORT MESSAGE", commands::sendSms, 9, "81030B13008202", "SEND SHORT MESSAGE, \"Sending\"");
        row("SEND USSD", commands::sendUssd, 10, "81030C12008202", "SEND USSD \"*100#\"");
    }
}

void tst_CarriedOut::networkCommands()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(bool, network);
    QFETCH(QString, response);
    QFETCH(QString, told);
    QVERIFY(choose(command, [network](Script &card) {
        card.setNetwork(network);
        card.answers("9000");
    }));
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::texts(), (QStringList{"STK " + QString::number(type), "STK 99"}));
    QCOMPARE(answers(), QStringList{response});
    const QStringList exchanges = events::exchanges().mid(4);
    QCOMPARE(exchanges.value(0), "Command: " + told);
    const QString result = network ? "00 command performed successfully"
                                   : "20 04 terminal currently unable to process the command, no service";
    QVERIFY2(exchanges.value(1).endsWith(": " + result), qPrintable(exchanges.value(1)));
}

void tst_CarriedOut::carriedOutOnlyWhenTheCallbackHasReturned_data()
{
    addNetworkRows();
}

void tst_CarriedOut::carriedOutOnlyWhenTheCallbackHasReturned()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(QString, head);
    const QByteArray event = "STK " + QByteArray::number(type);
    for (const bool isOnServiceThread : {true, false}) {
        std::unique_ptr<Queue> queue;
        int sentWithin = -1;
        events::reset();
        m_script = vectors::attachWithMenu();
        QVERIFY(m_script);
        if (!isOnServiceThread)
            queue = std::make_unique<Queue>();
        events::setReaction([&](const events::Event &each) {
            if (each.text != event)
                return;
            QTest::qSleep(50); // time in which something wrong could go out
            sentWithin = m_script->sent().size();
        });
        m_script->proposes(qPrintable(command)).answers("9000");
        QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
        if (queue)
            QVERIFY(waitFor([&] { return !queue->isEmpty(); }) && queue->runUntil("STK 99"));
        QVERIFY(waitForEvent("STK 99"));
        QCOMPARE(sentWithin, 2); // the choice and FETCH
        QCOMPARE(answers(), QStringList{head + "00"});
        sdk::setCallbackDispatcher({});
    }
}

void tst_CarriedOut::refusalWithinTheCallbackComesFirst_data()
{
    addNetworkRows();
}

void tst_CarriedOut::refusalWithinTheCallbackComesFirst()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(QString, head);
    const QByteArray event = "STK " + QByteArray::number(type);
    for (const bool isOnServiceThread : {true, false}) {
        std::unique_ptr<Queue> queue;
        std::atomic<int> status{-1};
        events::reset();
        m_script = vectors::attachWithMenu();
        QVERIFY(m_script);
        if (!isOnServiceThread)
            queue = std::make_unique<Queue>();
        events::setReaction([&](const events::Event &each) {
            if (each.text == event)
                status = MDSV_STKSrv_SendNoDataResponse(each.id, type, 0);
        });
        m_script->proposes(qPrintable(command)).answers("9000");
        QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
        if (queue)
            QVERIFY(waitFor([&] { return !queue->isEmpty(); }) && queue->runUntil("STK 99"));
        QVERIFY(waitForEvent("STK 99"));
        QCOMPARE(status.load(), 0);
        QCOMPARE(answers(), QStringList{QString(head).replace(20, 2, "02") + "2000"});
        sdk::setCallbackDispatcher({});
    }
}

void tst_CarriedOut::refusalAfterTheCallbackComesTooLate()
{
    QVERIFY(choose(commands::sendSms, atRest));
    QVERIFY(waitForEvent("STK 99"));
    const int id = events::all()[0].id;
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, 9, 0), number(Status::StaleCommand));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 9, 0), number(Status::StaleCommand));
    QCOMPARE(events::notes().filter("answer without data").size(), 2);
}

void tst_CarriedOut::refusalsAndCarryingOutNeverAnswerTwice()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    constexpr int rounds = 100;
    int accepted = 0;
    for (int round = 0; round < rounds; ++round) {
        events::forget();
        m_script->forgetSent();
        m_script->proposes(commands::sendUssd).answers("9000");
        std::promise<int> heard;
        events::setReaction([&](const events::Event &event) {
            if (event.text != "STK 10")
                return;
            heard.set_value(event.id);
            if (round % 2)
                std::this_thread::sleep_for(std::chrono::microseconds(50));
        });
        QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
        const int status = MDSV_STKSrv_SendNoDataResponse(heard.get_future().get(), 10, 0);
        accepted += status == 0;
        QVERIFY(waitForEvent("STK 99"));
        events::setReaction({});
        QCOMPARE(answers(), QStringList{status == 0 ? "81030C1200820282818302"
                                                      "2000"
                                                    : "81030C1200820282818301"
                                                      "00"});
    }
    qInfo("%d of %d refusals came first", accepted, rounds);
}

void tst_CarriedOut::carriedOutWithoutACallback_data()
{
    addNetworkRows();
}

void tst_CarriedOut::carriedOutWithoutACallback()
{
    QFETCH(QString, command);
    QFETCH(QString, head);
    QVERIFY(choose(command, [](Script &card) {
        MDSV_STK_UnRegisterCallBack(events::stkCallback);
        card.answers("9000");
    }));
    QVERIFY(waitFor([this] { return m_script->sent().size() == 3; }));
    QCOMPARE(answers(), QStringList{head + "00"});
}

void tst_CarriedOut::carriedOutThoughTheCallbackHangs()
{
    sdk::setResponseLimit(MDSV_STKTYPE_SEND_SMS, std::chrono::milliseconds(100));
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    events::setReaction([released](const events::Event &event) {
        if (event.text == "STK 9")
            released.wait();
    });
    Queue queue;
    std::atomic<bool> isOver{false};
    std::thread userInterface([&] {
        while (!isOver)
            queue.runAll();
    });
    const bool isChosen = choose(commands::sendSms, atRest);
    const bool isAnswered = isChosen && waitFor([this] { return m_script->sent().size() == 3; });
    const bool isHanging = events::texts() == QStringList{"STK 9"};
    release.set_value();
    const bool isEnded = waitForEvent("STK 99");
    isOver = true;
    userInterface.join();
    QVERIFY(isAnswered && isHanging && isEnded);
    QCOMPARE(answers(), QStringList{"81030B1300820282818301"
                                    "00"});
    QCOMPARE(events::texts(), (QStringList{"STK 9", "STK 99"}));
}

void tst_CarriedOut::carriedOutThoughTheDispatcherDropsTheCall()
{
    sdk::setResponseLimit(MDSV_STKTYPE_SEND_SS, std::chrono::milliseconds(100));
    QVERIFY(choose(commands::sendSs, [](Script &card) {
        sdk::setCallbackDispatcher([](const std::function<void()> &) {});
        card.answers("9000");
    }));
    QVERIFY(waitFor([this] { return m_script->sent().size() == 3; }));
    QCOMPARE(answers(), QStringList{"81030A1100820282818301"
                                    "00"});
}

void tst_CarriedOut::callbackThatThrowsHoldsNothingUp()
{
    events::setReaction([](const events::Event &event) {
        if (event.text == "STK 9")
            throw std::runtime_error("no window");
    });
    QVERIFY(choose(commands::sendSms, atRest));
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(answers(), QStringList{"81030B1300820282818301"
                                    "00"});
}

void tst_CarriedOut::callThatIsLateFindsNothingToDo()
{
    Queue queue;
    m_script = std::make_shared<Script>();
    m_script->proposes(commands::sendSms);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([this] { return m_script->isPlayedOut(); }));
    std::function<void()> call;
    QVERIFY(waitFor([&] {
        while (auto next = queue.take())
            call = std::move(next);
        return call != nullptr && events::exchanges().filter("Command: SEND").size() == 1;
    }));
    sdk::detachDevice();
    call();
    sdk::shutDown();
    call();
    QVERIFY(responses(m_script).filter("81030B").isEmpty());
}

void tst_CarriedOut::refreshReadsTheMenuAgain_data()
{
    QTest::addColumn<QString>("qualifier");
    QTest::addColumn<bool>("isRead");
    QTest::newRow("initialization and full file change") << "00" << true;
    QTest::newRow("file change") << "01" << false;
    QTest::newRow("initialization and file change") << "02" << true;
    QTest::newRow("initialization") << "03" << true;
    QTest::newRow("application reset") << "05" << true;
    QTest::newRow("session reset") << "06" << true;
    QTest::newRow("steering of roaming") << "07" << false;
    QTest::newRow("unknown") << "55" << false;
}

void tst_CarriedOut::refreshReadsTheMenuAgain()
{
    QFETCH(QString, qualifier);
    QFETCH(bool, isRead);
    // With a file list, which some of the modes need.
    QVERIFY(choose("D010 81030901" + qualifier + "82028182 9205013F002FE2", atRest));
    QVERIFY(waitForEvent("STK 99"));
    const QStringList expected = isRead ? QStringList{"STK 7", "STK 0", "STK 99"} : QStringList{"STK 7", "STK 99"};
    QCOMPARE(events::texts(), expected);
    QCOMPARE(answers(), QStringList{"81030901" + qualifier + "82028281830100"});
    QCOMPARE(m_script->resets(), 1);
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
}

void tst_CarriedOut::refreshWithoutMenuReadsNone()
{
    m_script = std::make_shared<Script>();
    m_script->proposes(commands::refresh).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::texts(), (QStringList{"DEVICE 6602", "STK 7", "STK 99"}));
}

void tst_CarriedOut::refreshResetsTheCard()
{
    QVERIFY(choose(commands::refreshReset, [](Script &card) {
        // What the card says to the response counts no more.
        card.answers("9120").proposes(vectors::setUpMenu).answers("9000");
    }));
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::texts(), (QStringList{"STK 7", "STK 0", "STK 99"}));
    QCOMPARE(m_script->resets(), 2);
    QCOMPARE(m_script->sent().mid(2), (QStringList{"801400000C810309010482028281830100", vectors::terminalProfile,
                                                   vectors::fetchSetUpMenu, vectors::setUpMenuDone}));
    QCOMPARE(events::exchanges().filter("Device: ").last(), QString("Device: scripted card: reset"));
    // At rest, and as good as new.
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([] { return events::count("STK 99") == 2; }));
}

void tst_CarriedOut::menuIsGoneWithTheReset()
{
    QVERIFY(choose(commands::refreshReset, [](Script &card) { card.answers("9000", 2); }));
    QVERIFY(waitForEvent("STK 99"));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoMenu));
}

void tst_CarriedOut::refreshOfACardThatDoesNotComeBack()
{
    QVERIFY(choose(commands::refreshReset, [](Script &card) {
        card.refusesReset("it has melted");
        card.answers("9000");
    }));
    QVERIFY(waitForEvent("DEVICE 6603"));
    QCOMPARE(events::texts(), (QStringList{"STK 7", "DEVICE 6603"}));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoCard));
}

void tst_CarriedOut::refreshDataStaysReadable()
{
    // A window that hears of the command on another thread reads it later, under the identifier that it has by then.
    QVERIFY(choose(commands::refreshFiles, [](Script &card) { card.proposes(vectors::selectItem); }));
    QVERIFY(waitForEvent("STK 6"));
    const int id = events::all()[0].id;
    char buffer[MDSV_STK_REFRESH_BYTES];
    QCOMPARE(MDSV_STKSrv_GetRefreshInfo(id, buffer), 0);
    QCOMPARE(MDSV_STKSrv_GetRefreshInfo(events::lastId(), buffer), 0);
    QCOMPARE(MDSV_STKSrv_GetRefreshInfo(id - 1, buffer), number(Status::StaleCommand));
    QCOMPARE(MDSV_STKSrv_GetRefreshInfo(events::lastId() + 1, buffer), number(Status::StaleCommand));
    MDSVStkPromptData prompt;
    QCOMPARE(MDSV_STKSrv_GetPromptText(id, &prompt), number(Status::StaleCommand));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, 7, 1), number(Status::StaleCommand));
}

void tst_CarriedOut::sustainedTextIsAnsweredAtOnce_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("acknowledged later") << 1;
    QTest::newRow("cancelled later") << 0;
}

void tst_CarriedOut::sustainedTextIsAnsweredAtOnce()
{
    QFETCH(int, result);
    QVERIFY(choose(commands::sustained, atRest));
    QVERIFY(waitForEvent("STK 99"));
    const int id = events::all()[0].id;
    QCOMPARE(events::texts(), (QStringList{"STK 1", "STK 99"}));
    QCOMPARE(answers(), QStringList{"810304218082028281830100"});
    QCOMPARE(events::exchanges()[4], QString("Command: DISPLAY TEXT \"Hello\", answered at once"));

    MDSVStkPromptData prompt;
    QCOMPARE(MDSV_STKSrv_GetPromptText(id, &prompt), 0);
    QCOMPARE(QString::fromUtf16(prompt.usText), QString("Hello"));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, 1, result), 0);
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, 1, result), number(Status::StaleCommand));
    QCOMPARE(answers().size(), 1);
}

void tst_CarriedOut::sustainedTextIsReadAndAnsweredUnderLaterIdentifiers()
{
    QVERIFY(choose(commands::sustained, [](Script &card) { card.proposes(vectors::selectItem); }));
    QVERIFY(waitForEvent("STK 6"));
    const int later = events::lastId();
    m_script->forgetSent();
    MDSVStkPromptData prompt;
    QCOMPARE(MDSV_STKSrv_GetPromptText(later, &prompt), 0);
    QCOMPARE(MDSV_STKSrv_GetPromptText(later + 1, &prompt), number(Status::StaleCommand));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(later, 1, 1), 0);
    QVERIFY(m_script->sent().isEmpty());
    // The menu is still there to be answered, and the text is not any more.
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(later, 1, 1), number(Status::WrongCommand));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(later, 3, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::wentBack});
}

void tst_CarriedOut::nextTextTakesTheSustainedOnesPlace()
{
    QVERIFY(choose(commands::sustained, [](Script &card) { card.proposes(commands::displayText); }));
    QVERIFY(waitFor([] { return events::count("STK 1") == 2; }));
    const int first = events::all()[0].id;
    const int second = events::lastId();
    m_script->forgetSent();
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(first, 1, 1), number(Status::StaleCommand));
    QVERIFY(m_script->sent().isEmpty());
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(second, 1, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(responses(m_script), QStringList{"810303218082028281830110"});
}

void tst_CarriedOut::sustainedTextOfAGoneCard()
{
    QVERIFY(choose(commands::sustained, atRest));
    QVERIFY(waitForEvent("STK 99"));
    const int id = events::all()[0].id;
    sdk::detachDevice();
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, 1, 1), number(Status::NoCard));
    MDSVStkPromptData prompt;
    QCOMPARE(MDSV_STKSrv_GetPromptText(id, &prompt), number(Status::NoCard));
}

QTEST_GUILESS_MAIN(tst_CarriedOut)
#include "tst_CarriedOut.moc"
