#include "platform/sdk/Commands.h"

#include "sdk/Commands.h"

#include <QElapsedTimer>
#include <QTest>

using sdk::Status;
using std::chrono::milliseconds;

/// What ends a command that nobody answers: its time, or the loss of the card.
class tst_Limits : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void limitsAtFirst_data();
    void limitsAtFirst();
    void limitsAreSetForAllOrForOne();
    void limitsAreHeldInBounds();
    void timeOfTheCardCounts_data();
    void timeOfTheCardCounts();

    void commandRunsOut_data();
    void commandRunsOut();
    void runsOutWithoutACallback_data();
    void runsOutWithoutACallback();
    void runsOutWhenTheDispatcherIsStuck();
    void onlyTheTypeThatWasMeantRunsOut();
    void shutDownForgetsTheLimits();

    void cardGoesWhileOpen_data();
    void cardGoesWhileOpen();
    void detachedWhileOpen_data();
    void detachedWhileOpen();
    void cardGoesAtTheResponse_data();
    void cardGoesAtTheResponse();

private:
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

cat::Command decoded(const QString &pdu)
{
    cat::Bytes bytes;
    cat::fromHex(qPrintable(pdu), &bytes);
    return cat::decodeCommand(bytes).command;
}

/// The one response with a ? where the expected one has it: the last digit of the time that has passed.
QStringList withTimeHidden(QStringList actual, const QString &expected)
{
    if (actual.size() == 1 && actual[0].size() == expected.size() && expected.endsWith('?'))
        actual[0].replace(expected.size() - 1, 1, '?');
    return actual;
}

/// Every command that waits for a caller, and what the card gets when none answers; those that end by themselves are
/// `withShort`.
void addOpenRows(bool withShort)
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("response");
    const auto row = [](const char *name, const char *command, int type, const char *response) {
        QTest::newRow(name) << command << type << response;
    };
    row("text", commands::displayText, 1, "810303218082028281830112");
    if (withShort)
        row("text with a time of its own", commands::displayTextShort, 1, "810303218082028281830112");
    row("text that clears itself", "D011 8103032100820281028D060448656C6C6F", 1, "810303210082028281830112");
    row("key", commands::getKey, 2, "810305220182028281830112");
    if (withShort)
        row("digit with a time of its own", commands::getDigitShort, 2, "8103052200820282818301128402020?");
    row("yes or no", commands::getYesNo, 2, "810305220482028281830112");
    row("input", commands::getText, 3, "810306238182028281830112");
    row("call", commands::setUpCall, 4, "810307100082028281830112");
    row("tone", commands::playSomething, 5, "810308200082028281830112");
    row("menu", vectors::selectItem, 6, "810302240082028281830112");
    row("browser", commands::launchBrowser, 11, "81030D150382028281830112");
    row("idle text", commands::idleText, 12, "81030E280082028281830112");
}

} // namespace

void tst_Limits::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_Limits::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

void tst_Limits::limitsAtFirst_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("seconds");
    QTest::newRow("text") << commands::displayText << 60;
    QTest::newRow("key") << commands::getKey << 60;
    QTest::newRow("input") << commands::getText << 120;
    QTest::newRow("call") << commands::setUpCall << 60;
    QTest::newRow("tone") << commands::playSomething << 60;
    QTest::newRow("menu") << vectors::selectItem << 60;
    QTest::newRow("browser") << commands::launchBrowser << 60;
    QTest::newRow("idle text") << commands::idleText << 60;
    QTest::newRow("short message") << commands::sendSms << 60;
    QTest::newRow("refresh") << commands::refresh << 60;
}

void tst_Limits::limitsAtFirst()
{
    QFETCH(QString, command);
    QFETCH(int, seconds);
    QVERIFY(sdk::Limits().of(decoded(command)) == std::chrono::seconds(seconds));
}

void tst_Limits::limitsAreSetForAllOrForOne()
{
    sdk::Limits limits;
    limits.setAll(milliseconds(7));
    QVERIFY(limits.of(decoded(commands::displayText)) == milliseconds(7));
    QVERIFY(limits.of(decoded(commands::getText)) == milliseconds(7));
    limits.set(MDSV_STKTYPE_GET_INPUT, milliseconds(9));
    QVERIFY(limits.of(decoded(commands::displayText)) == milliseconds(7));
    QVERIFY(limits.of(decoded(commands::getText)) == milliseconds(9));
    limits.set(99, milliseconds(1));
    limits.set(-1, milliseconds(1));
    QVERIFY(limits.of(decoded(commands::displayText)) == milliseconds(7));
}

void tst_Limits::limitsAreHeldInBounds()
{
    sdk::Limits limits;
    limits.setAll(milliseconds(-5));
    QVERIFY(limits.of(decoded(commands::displayText)) == milliseconds(0));
    limits.set(MDSV_STKTYPE_DISPLAY_TEXT, milliseconds::max());
    limits.setGrace(milliseconds::max());
    // What is added to the present moment must not run over.
    QVERIFY(limits.of(decoded(commands::displayText)) <= std::chrono::hours(24 * 365));
    QVERIFY(limits.of(decoded(commands::selfClearing)) <= std::chrono::hours(24 * 366));
}

void tst_Limits::timeOfTheCardCounts_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("time"); // with a limit of 1000 and a grace of 200000
    QTest::newRow("text that the user clears: the card's") << commands::displayTextFor10s << 10000;
    QTest::newRow("key: the card's") << commands::getDigit << 90000;
    QTest::newRow("text that clears itself: its own, and the grace") << commands::selfClearing << 202500;
    QTest::newRow("yes or no: its own, and the grace") << commands::getYesNoFor10s << 210000;
    QTest::newRow("yes or no without a time: the limit") << commands::getYesNo << 1000;
    QTest::newRow("tone: its own, and the limit") << commands::playTone << 3500;
    QTest::newRow("call: redialling is not for the user") << "D011 810307100082028183 86029194 8402010A" << 1000;
}

void tst_Limits::timeOfTheCardCounts()
{
    QFETCH(QString, command);
    QFETCH(int, time);
    sdk::Limits limits;
    limits.setAll(milliseconds(1000));
    limits.setGrace(milliseconds(200000));
    QCOMPARE(static_cast<int>(limits.of(decoded(command)).count()), time);
}

void tst_Limits::commandRunsOut_data()
{
    addOpenRows(true);
}

void tst_Limits::commandRunsOut()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(QString, response);
    sdk::setResponseLimit(milliseconds(60));
    sdk::setUnattendedLimit(milliseconds(60));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(qPrintable(command)).answers("9000");
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(clock.elapsed() >= 60);
    const QString event = "STK " + QString::number(type);
    QCOMPARE(events::texts(), (QStringList{event, event + " timed out", "STK 99"}));
    QCOMPARE(events::all()[0].id, events::all()[1].id);
    QCOMPARE(withTimeHidden(responses(m_script).mid(2), response), QStringList{response});
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::all()[0].id, type, 0), number(Status::StaleCommand));
}

void tst_Limits::runsOutWithoutACallback_data()
{
    addOpenRows(true);
}

void tst_Limits::runsOutWithoutACallback()
{
    QFETCH(QString, command);
    QFETCH(QString, response);
    sdk::setResponseLimit(milliseconds(30));
    sdk::setUnattendedLimit(milliseconds(30));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    m_script->proposes(qPrintable(command)).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([this] { return m_script->sent().size() == 3; }));
    QCOMPARE(withTimeHidden(responses(m_script).mid(2), response), QStringList{response});
    QVERIFY(events::texts().isEmpty());
}

void tst_Limits::runsOutWhenTheDispatcherIsStuck()
{
    sdk::setResponseLimit(milliseconds(30));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    sdk::setCallbackDispatcher([](const std::function<void()> &) {});
    m_script->proposes(commands::getText).proposes(commands::displayText).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitFor([this] { return m_script->sent().size() == 5; }));
    QCOMPARE(responses(m_script)[2], QString("810306238182028281830112"));
    QCOMPARE(responses(m_script)[4], QString("810303218082028281830112"));
}

void tst_Limits::onlyTheTypeThatWasMeantRunsOut()
{
    sdk::setResponseLimit(MDSV_STKTYPE_GET_INPUT, milliseconds(30));
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(commands::getText).proposes(commands::displayText);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 1"));
    QTest::qWait(100);
    QCOMPARE(events::texts(), (QStringList{"STK 3", "STK 3 timed out", "STK 1"}));
}

void tst_Limits::shutDownForgetsTheLimits()
{
    sdk::setResponseLimit(milliseconds(20));
    sdk::setUnattendedLimit(milliseconds(0));
    sdk::shutDown();
    QVERIFY(events::registerBoth());
    m_script = commands::open(commands::selfClearing, 1);
    QVERIFY(m_script);
    QTest::qWait(150);
    QCOMPARE(events::texts(), QStringList{"STK 1"});
}

void tst_Limits::cardGoesWhileOpen_data()
{
    addOpenRows(false);
}

void tst_Limits::cardGoesWhileOpen()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    sdk::setUnattendedLimit(milliseconds(60000));
    m_script = commands::open(qPrintable(command), type);
    QVERIFY(m_script);
    const int id = events::lastId();
    m_script->vanishes();
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, type, 0), 0);
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, type, 0), number(Status::NoCard));
    QVERIFY(!events::has("STK 99"));
    QCOMPARE(m_script->sent().size(), 1);
}

void tst_Limits::detachedWhileOpen_data()
{
    addOpenRows(false);
}

void tst_Limits::detachedWhileOpen()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    m_script = commands::open(qPrintable(command), type);
    QVERIFY(m_script);
    const int id = events::lastId();
    sdk::detachDevice();
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(id, type, 0), number(Status::NoCard));
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(m_script->sent().isEmpty());
    QVERIFY(!events::has("STK 99"));
}

void tst_Limits::cardGoesAtTheResponse_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::newRow("REFRESH") << commands::refresh << 7;
    QTest::newRow("REFRESH, card reset") << commands::refreshReset << 7;
    QTest::newRow("SEND SS") << commands::sendSs << 8;
    QTest::newRow("SEND SHORT MESSAGE") << commands::sendSms << 9;
    QTest::newRow("SEND USSD") << commands::sendUssd << 10;
    QTest::newRow("sustained text") << commands::sustained << 1;
}

void tst_Limits::cardGoesAtTheResponse()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(qPrintable(command)).vanishes();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(events::texts(), (QStringList{"STK " + QString::number(type), "DEVICE 6601"}));
    QCOMPARE(m_script->sent().size(), 3);
    QCOMPARE(m_script->resets(), 1);
}

QTEST_GUILESS_MAIN(tst_Limits)
#include "tst_Limits.moc"
