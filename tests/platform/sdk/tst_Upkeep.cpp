#include "platform/sdk/Commands.h"

#include "cat/Command.h"
#include "sdk/MDSVStk.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QTest>

#include <ctime>
#include <thread>

using News = sdk::CardChannel::News;

/// What the service does for a card without any user: polling, timers, and the commands that it answers by itself.
class tst_Upkeep : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void commandNeedsNoUser_data();
    void commandNeedsNoUser();
    void commandIsToldInWords_data();
    void commandIsToldInWords();
    void languageIsTheHosts_data();
    void languageIsTheHosts();
    void languageOfTheEnvironment_data();
    void languageOfTheEnvironment();
    void dateAndTimeAreTheMachines_data();
    void dateAndTimeAreTheMachines();

    void cardAtRestIsPolled();
    void cardIsNotPolledUnasked();
    void cardInASessionIsNotPolled();
    void cardAsksForItsOwnInterval();
    void cardEndsPolling();
    void pollBringsACommand();
    void busyCardIsPolledLater();
    void pollFindsTheCardGone();
    void resetForgetsThePollingAskedFor();

    void timerGoesOff();
    void timersGoOffOneByOne();
    void timerIsLookedAtAndEnded();
    void timerIsStartedAnew();
    void timerWaitsForTheEndOfTheSession();
    void busyCardHearsOfItsTimerLater();
    void timerOpensASession();
    void timerThatTheCardRefusesIsNoted();
    void timerFindsTheCardGone();
    void timerOfADetachedCardIsNobodys();
    void timersEndWithTheCard_data();
    void timersEndWithTheCard();

private:
    bool attach();
    bool ask(const QByteArray &pdu);
    QString response(const QByteArray &pdu);

    std::shared_ptr<Script> m_script;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

const QString status = "80F2000C00";

/// TIMER MANAGEMENT: start the timer for a number of seconds below 60, end it, look at it.
QByteArray startOf(int timer, int seconds)
{
    const QByteArray value = QByteArray::number(seconds % 10) + QByteArray::number(seconds / 10);
    return "D011 8103012700 82028182 A4010" + QByteArray::number(timer) + " A5030000" + value;
}

QByteArray endOf(int timer)
{
    return "D00C 8103012701 82028182 A4010" + QByteArray::number(timer);
}

QByteArray lookAt(int timer)
{
    return "D00C 8103012702 82028182 A4010" + QByteArray::number(timer);
}

/// The envelope of the end of a timer, without its last byte, the seconds.
QString goneOff(int timer)
{
    return "80C200000ED70C82028281A4010" + QString::number(timer) + "A5030000";
}

/// One second, or two on a busy machine.
bool isGoneOff(const QString &apdu, int timer)
{
    return apdu == goneOff(timer) + "10" || apdu == goneOff(timer) + "20";
}

void setEnvironment(const char *name, const char *value)
{
    if (value)
        qputenv(name, value);
    else
        qunsetenv(name);
}

} // namespace

void tst_Upkeep::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_Upkeep::cleanup()
{
    sdk::shutDown();
    m_script.reset();
    events::reset();
    for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG", "TZ"})
        qunsetenv(name);
}

bool tst_Upkeep::attach()
{
    m_script = vectors::attachWithMenu();
    return m_script != nullptr;
}

/// The card asks for `pdu` by itself and is content with the response. False: it gets none.
bool tst_Upkeep::ask(const QByteArray &pdu)
{
    const int before = m_script->sent().size();
    m_script->proposes(pdu.constData()).answers("9000");
    return m_script->tells(News::Asks) && waitFor([&] { return m_script->sent().size() == before + 3; });
}

/// The data field of that response.
QString tst_Upkeep::response(const QByteArray &pdu)
{
    return ask(pdu) ? commands::responses(m_script).last() : QString();
}

void tst_Upkeep::commandNeedsNoUser_data()
{
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<QString>("response");
    const auto row = [](const char *name, const char *pdu, const char *response) {
        QTest::newRow(name) << QByteArray(pdu) << QString(response);
    };
    row("MORE TIME", "D009 8103010200 82028182", "810301020082028281830100");
    row("POLL INTERVAL in seconds", "D00D 8103010300 82028182 8402011E", "8103010300820282818301008402011E");
    row("POLL INTERVAL in minutes", "D00D 8103010300 82028182 84020002", "81030103008202828183010084020002");
    row("POLLING OFF", "D009 8103010400 82028182", "810301040082028281830100");
    row("no events", "D00B 8103010500 82028182 9900", "810301050082028281830100");
    row("events of the user", "D00D 8103010500 82028182 99020405", "810301050082028281830130");
    row("an event of the browser", "D00C 8103010500 82028182 990108", "810301050082028281830130");
    row("place", "D009 8103012600 82028182", "810301260082028281830130");
    row("IMEI", "D009 8103012601 82028182", "810301260182028281830130");
    row("network measurements", "D009 8103012602 82028182", "810301260282028281830130");
    row("timing advance", "D009 8103012605 82028182", "810301260582028281830130");
    row("battery", "D009 810301260A 82028182", "810301260A82028281830130");
    row("timer is started", "D011 8103012700 82028182 A40108 A503000030", "810301270082028281830100A40108");
    row("no timer to end", "D00C 8103012701 82028182 A40103", "810301270182028281830124A40103");
    row("no timer to look at", "D00C 8103012702 82028182 A40103", "810301270282028281830124A40103");
    row("a language", "D00D 8103013501 82028182 AD026465", "810301350182028281830100");
    row("no language", "D009 8103013500 82028182", "810301350082028281830100");
    // Known, and beyond a desktop.
    row("SEND DTMF", "D009 8103011400 82028183", "810301140082028281830130");
    row("GEOGRAPHICAL LOCATION REQUEST", "D009 8103011600 82028182", "810301160082028281830130");
    row("PERFORM CARD APDU", "D009 8103013000 82028111", "810301300082028281830130");
    row("POWER ON CARD", "D009 8103013100 82028111", "810301310082028281830130");
    row("POWER OFF CARD", "D009 8103013200 82028111", "810301320082028281830130");
    row("GET READER STATUS", "D009 8103013300 82028111", "810301330082028281830130");
    row("RUN AT COMMAND", "D009 8103013400 82028182", "810301340082028281830130");
    row("OPEN CHANNEL", "D009 8103014001 82028182", "810301400182028281830130");
    row("CLOSE CHANNEL", "D009 8103014100 82028121", "810301410082028281830130");
    row("RECEIVE DATA", "D009 8103014200 82028121", "810301420082028281830130");
    row("SEND DATA", "D009 8103014301 82028121", "810301430182028281830130");
    row("GET CHANNEL STATUS", "D009 8103014400 82028182", "810301440082028281830130");
    row("SERVICE SEARCH", "D009 8103014500 82028182", "810301450082028281830130");
    row("SET FRAMES", "D009 8103015000 82028182", "810301500082028281830130");
    row("DISPLAY MULTIMEDIA MESSAGE", "D009 8103016200 82028182", "810301620082028281830130");
    row("ACTIVATE", "D009 8103017000 82028182", "810301700082028281830130");
    // Not known.
    row("type 7F", "D009 8103017F00 82028182", "8103017F0082028281830131");
    row("type 00", "D009 8103010000 82028182", "810301000082028281830131");
    row("type 36", "D009 8103013600 82028182", "810301360082028281830131");
}

void tst_Upkeep::commandNeedsNoUser()
{
    QFETCH(QByteArray, pdu);
    QVERIFY(attach());
    QTEST(response(pdu), "response");
    QCOMPARE(events::texts(), QStringList());
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0); // at rest again, and nobody has noticed
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::texts(), QStringList{"STK 99"});
}

void tst_Upkeep::commandIsToldInWords_data()
{
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("response");
    const auto row = [](const char *pdu, const char *command, const char *response) {
        QTest::newRow(command) << QByteArray(pdu) << QString(command) << QString(response);
    };
    const char *const done = ": 00 command performed successfully";
    row("D009 8103010200 82028182", "MORE TIME", done);
    row("D00D 8103010300 82028182 8402011E", "POLL INTERVAL, every 30 s", done);
    row("D00D 8103010500 82028182 99020405", "SET UP EVENT LIST, user activity, idle screen available",
        ": 30 command beyond the terminal's capabilities");
    row("D00B 8103010500 82028182 9900", "SET UP EVENT LIST, no events", done);
    row("D009 8103012601 82028182", "PROVIDE LOCAL INFORMATION, IMEI",
        ": 30 command beyond the terminal's capabilities");
    row("D009 8103012677 82028182", "PROVIDE LOCAL INFORMATION, information 77",
        ": 30 command beyond the terminal's capabilities");
    row("D011 8103012700 82028182 A40108 A503000030", "TIMER MANAGEMENT, start, timer 8, 3 s", done);
    row("D00C 8103012701 82028182 A40103", "TIMER MANAGEMENT, deactivate, timer 3",
        ": 24 action in contradiction with the current timer state");
    row("D00D 8103013501 82028182 AD026465", "LANGUAGE NOTIFICATION de", done);
    row("D009 8103013500 82028182", "LANGUAGE NOTIFICATION of no language in particular", done);
}

void tst_Upkeep::commandIsToldInWords()
{
    QFETCH(QByteArray, pdu);
    QFETCH(QString, command);
    QFETCH(QString, response);
    QVERIFY(attach());
    QVERIFY(ask(pdu));
    const QStringList told = events::exchanges().mid(events::exchanges().size() - 2);
    QCOMPARE(told.first(), "Command: " + command);
    QVERIFY2(told.last().startsWith("Response: ") && told.last().endsWith(response), qPrintable(told.last()));
}

void tst_Upkeep::languageIsTheHosts_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("letters");
    QTest::newRow("two letters") << "de"
                                 << "6465";
    QTest::newRow("capital letters") << "FR"
                                     << "6672";
    QTest::newRow("locale") << "pt_BR.UTF-8"
                            << "7074";
    QTest::newRow("with a script") << "zh-Hans"
                                   << "7A68";
    QTest::newRow("three letters") << "ast_ES"
                                   << "6974"; // the environment's
    QTest::newRow("none") << ""
                          << "6974";
    QTest::newRow("no letters") << "12"
                                << "6974";
}

void tst_Upkeep::languageIsTheHosts()
{
    QFETCH(QString, language);
    QFETCH(QString, letters);
    qputenv("LANG", "it_IT.UTF-8");
    sdk::setLanguage("sv");
    sdk::setLanguage(language.toStdString());
    QVERIFY(attach());
    QCOMPARE(response("D009 8103012604 82028182"), "810301260482028281830100AD02" + letters);
    QVERIFY(events::exchanges().last().endsWith(", " + QByteArray::fromHex(letters.toLatin1())));
    // And none when the library is as new.
    sdk::shutDown();
    QVERIFY(events::registerBoth());
    events::forget();
    QVERIFY(attach());
    QCOMPARE(response("D009 8103012604 82028182"), QString("810301260482028281830100AD026974"));
}

void tst_Upkeep::languageOfTheEnvironment_data()
{
    QTest::addColumn<QByteArray>("all");
    QTest::addColumn<QByteArray>("messages");
    QTest::addColumn<QByteArray>("lang");
    QTest::addColumn<QString>("letters");
    const auto row = [](const char *name, const char *all, const char *messages, const char *lang,
                        const char *letters) {
        QTest::newRow(name) << QByteArray(all) << QByteArray(messages) << QByteArray(lang) << QString(letters);
    };
    row("nothing", nullptr, nullptr, nullptr, "656E");
    row("LANG", nullptr, nullptr, "ru_RU", "7275");
    row("LC_MESSAGES in front of LANG", nullptr, "fr_FR@euro", "ru_RU", "6672");
    row("LC_ALL in front of all", "de", "fr_FR", "ru_RU", "6465");
    row("empty ones", "", "", "ru_RU", "7275");
    row("C", "C.UTF-8", "fr_FR", "ru_RU", "656E");
    row("POSIX", "POSIX", nullptr, nullptr, "656E");
}

void tst_Upkeep::languageOfTheEnvironment()
{
    QFETCH(QByteArray, all);
    QFETCH(QByteArray, messages);
    QFETCH(QByteArray, lang);
    QFETCH(QString, letters);
    setEnvironment("LC_ALL", all.isNull() ? nullptr : all.constData());
    setEnvironment("LC_MESSAGES", messages.isNull() ? nullptr : messages.constData());
    setEnvironment("LANG", lang.isNull() ? nullptr : lang.constData());
    QVERIFY(attach());
    QCOMPARE(response("D009 8103012604 82028182"), "810301260482028281830100AD02" + letters);
}

void tst_Upkeep::dateAndTimeAreTheMachines_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<int>("quarters");
    QTest::newRow("Greenwich") << QByteArray("UTC0") << 0;
    QTest::newRow("east") << QByteArray("TST-05:45") << 23;
    QTest::newRow("west") << QByteArray("TST+03:30") << -14;
}

void tst_Upkeep::dateAndTimeAreTheMachines()
{
    QFETCH(QByteArray, zone);
    QFETCH(int, quarters);
    qputenv("TZ", zone);
    QVERIFY(attach());
    const QDateTime before = QDateTime::currentDateTimeUtc();
    cat::Bytes bytes;
    QVERIFY(cat::fromHex(response("D009 8103012603 82028182").toStdString(), &bytes));
    const std::optional<cat::Response> read = cat::decodeResponse(bytes);
    QVERIFY(read && read->dateTime && read->result == cat::Result::Performed);
    const cat::DateTime &time = *read->dateTime;
    QCOMPARE(time.zone.value_or(99), quarters);
    const QDateTime told(QDate(time.year, time.month, time.day), QTime(time.hour, time.minute, time.second), Qt::UTC);
    const qint64 late = before.secsTo(told.addSecs(-quarters * 15 * 60));
    QVERIFY2(late >= -1 && late <= 5, qPrintable(told.toString()));
}

void tst_Upkeep::cardAtRestIsPolled()
{
    m_script = std::make_shared<Script>();
    m_script->wantsPolling(std::chrono::milliseconds(50)).proposes(vectors::setUpMenu).answers("9000", 100);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    events::forget();
    m_script->forgetSent();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(waitFor([this] { return m_script->sent().size() >= 4; }));
    QVERIFY2(clock.elapsed() >= 140, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(m_script->sent().count(status), m_script->sent().size());
    QVERIFY(events::texts().isEmpty());
}

void tst_Upkeep::cardIsNotPolledUnasked()
{
    QVERIFY(attach());
    QTest::qWait(100); // nothing can be waited for
    QVERIFY(m_script->sent().isEmpty());
}

void tst_Upkeep::cardInASessionIsNotPolled()
{
    m_script = std::make_shared<Script>();
    m_script->wantsPolling(std::chrono::milliseconds(10)).proposes(vectors::selectItem);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("STK 6"));
    m_script->forgetSent();
    QTest::qWait(100); // ten times
    QVERIFY(m_script->sent().isEmpty());
    m_script->answers("9000", 100);
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitFor([this] { return m_script->sent().size() >= 3; }));
    QCOMPARE(m_script->sent().mid(0, 2), (QStringList{vectors::wentBack, status}));
}

void tst_Upkeep::cardAsksForItsOwnInterval()
{
    m_script = std::make_shared<Script>();
    m_script->wantsPolling(std::chrono::hours(1)).proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(response("D00D 8103010300 82028182 84020201"), QString("81030103008202828183010084020201"));
    m_script->forgetSent();
    m_script->answers("9000", 100);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(waitFor([this] { return m_script->sent().size() >= 3; }));
    QVERIFY2(clock.elapsed() >= 200, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(m_script->sent().count(status), m_script->sent().size());
}

void tst_Upkeep::cardEndsPolling()
{
    QVERIFY(attach());
    QVERIFY(ask("D00D 8103010300 82028182 84020201"));
    m_script->forgetSent();
    m_script->proposes("D009 8103010400 82028182").answers("9000"); // in answer to the first poll
    QVERIFY(waitFor([this] { return m_script->sent().size() == 3; }));
    QTest::qWait(300);
    QCOMPARE(commands::responses(m_script), (QStringList{status, "801200000B", "810301040082028281830100"}));
}

void tst_Upkeep::pollBringsACommand()
{
    m_script = std::make_shared<Script>();
    m_script->wantsPolling(std::chrono::milliseconds(20)).answers("9000").answers("9000");
    m_script->proposes(vectors::selectItem);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(m_script->sent(), (QStringList{vectors::terminalProfile, status, status, vectors::fetchSelectItem}));
}

void tst_Upkeep::busyCardIsPolledLater()
{
    m_script = std::make_shared<Script>();
    m_script->wantsPolling(std::chrono::milliseconds(20)).answers("9000").answers("9300", 100);
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitFor([this] { return m_script->sent().size() >= 8; }));
    QVERIFY(events::notes().isEmpty());
}

void tst_Upkeep::pollFindsTheCardGone()
{
    m_script = std::make_shared<Script>();
    m_script->wantsPolling(std::chrono::milliseconds(20)).staysWithoutCard().answers("9000").vanishes();
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6601"));
    m_script->forgetSent();
    QTest::qWait(100); // nobody is polled
    QVERIFY(m_script->sent().isEmpty());
}

void tst_Upkeep::resetForgetsThePollingAskedFor()
{
    QVERIFY(attach());
    QVERIFY(ask("D00D 8103010300 82028182 84020201"));
    m_script->forgetSent();
    m_script->proposes(commands::refreshReset).answers("9000").answers("9000");
    QVERIFY(waitFor([this] { return m_script->resets() == 2; }));
    QVERIFY(waitFor([this] { return m_script->sent().contains(vectors::terminalProfile); }));
    QTest::qWait(300);
    QCOMPARE(m_script->sent().last(), QString(vectors::terminalProfile));
}

void tst_Upkeep::timerGoesOff()
{
    QVERIFY(attach());
    QCOMPARE(response(startOf(3, 1)), QString("810301270082028281830100A40103"));
    QElapsedTimer clock;
    clock.start();
    m_script->forgetSent();
    m_script->answers("9000");
    QVERIFY(waitFor([this] { return m_script->sent().size() == 1; }));
    QVERIFY2(clock.elapsed() > 800, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(isGoneOff(m_script->sent().first(), 3), qPrintable(m_script->sent().first()));
    QVERIFY(events::exchanges().last().startsWith("Envelope: TIMER EXPIRATION, timer 3 after "));
    QVERIFY(events::texts().isEmpty());
    // It has ended with that.
    QCOMPARE(response(lookAt(3)), QString("810301270282028281830124A40103"));
}

void tst_Upkeep::timersGoOffOneByOne()
{
    QVERIFY(attach());
    for (int timer = 1; timer <= 8; ++timer)
        QVERIFY(ask(startOf(timer, 2)));
    m_script->forgetSent();
    m_script->answers("9000", 8);
    QVERIFY(waitFor([this] { return m_script->sent().size() == 8; }));
    for (int timer = 1; timer <= 8; ++timer)
        QVERIFY(m_script->sent().at(timer - 1).startsWith(goneOff(timer)));
}

void tst_Upkeep::timerIsLookedAtAndEnded()
{
    QVERIFY(attach());
    QVERIFY(ask(startOf(1, 59)));
    const QString looked = response(lookAt(1));
    QVERIFY2(looked == "810301270282028281830100A40101A503000095" ||
                 looked == "810301270282028281830100A40101A503000085",
             qPrintable(looked));
    QVERIFY2(events::exchanges().last().endsWith(" s left"), qPrintable(events::exchanges().last()));
    const QString ended = response(endOf(1));
    QVERIFY2(ended == "810301270182028281830100A40101A503000095" || ended == "810301270182028281830100A40101A503000085",
             qPrintable(ended));
    QCOMPARE(response(endOf(1)), QString("810301270182028281830124A40101"));

    QVERIFY(ask(startOf(2, 1)));
    QVERIFY(ask(endOf(2)));
    m_script->forgetSent();
    QTest::qWait(1300);
    QVERIFY(m_script->sent().isEmpty());
}

void tst_Upkeep::timerIsStartedAnew()
{
    QVERIFY(attach());
    QVERIFY(ask(startOf(1, 1)));
    QVERIFY(ask(startOf(1, 50)));
    m_script->forgetSent();
    QTest::qWait(1300);
    QVERIFY(m_script->sent().isEmpty());
}

void tst_Upkeep::timerWaitsForTheEndOfTheSession()
{
    QVERIFY(attach());
    QVERIFY(ask(startOf(1, 1)));
    m_script->proposes(vectors::selectItem);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 6"));
    m_script->forgetSent();
    QTest::qWait(1300);
    QVERIFY(m_script->sent().isEmpty());
    m_script->answers("9000").answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitFor([this] { return m_script->sent().size() == 2; }));
    QCOMPARE(m_script->sent().first(), QString(vectors::wentBack));
    QVERIFY(m_script->sent().last().startsWith(goneOff(1)));
}

void tst_Upkeep::busyCardHearsOfItsTimerLater()
{
    QVERIFY(attach());
    QVERIFY(ask(startOf(1, 1)));
    m_script->forgetSent();
    m_script->answers("9300", 2).answers("9000");
    QVERIFY(waitFor([this] { return m_script->sent().size() == 3; }));
    QCOMPARE(events::exchanges().filter("Envelope").size(), 1);
    // The time that has passed is told, and the pause is a second.
    QVERIFY(m_script->sent().at(0) != m_script->sent().at(2));
    QTest::qWait(1300);
    QCOMPARE(m_script->sent().size(), 3);
}

void tst_Upkeep::timerOpensASession()
{
    QVERIFY(attach());
    QVERIFY(ask(startOf(1, 1)));
    m_script->forgetSent();
    // In answer to the envelope it is started anew, and then there is a menu.
    m_script->proposes(startOf(1, 1).constData()).proposes(vectors::selectItem);
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(commands::responses(m_script).at(2), QString("810301270082028281830100A40101"));
    m_script->forgetSent();
    m_script->answers("9000").answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitFor([this] { return m_script->sent().size() == 2; }));
    QVERIFY(m_script->sent().last().startsWith(goneOff(1)));
}

void tst_Upkeep::timerThatTheCardRefusesIsNoted()
{
    QVERIFY(attach());
    QVERIFY(ask(startOf(2, 1)));
    m_script->answers("6F00");
    QVERIFY(waitFor([] { return !events::notes().isEmpty(); }));
    QVERIFY2(events::notes().first().startsWith("the card does not take the end of its timer: it answered 6F00"),
             qPrintable(events::notes().first()));
    // It has ended all the same.
    QCOMPARE(response(lookAt(2)), QString("810301270282028281830124A40102"));
}

void tst_Upkeep::timerFindsTheCardGone()
{
    QVERIFY(attach());
    m_script->staysWithoutCard();
    QVERIFY(ask(startOf(1, 1)));
    m_script->vanishes();
    QVERIFY(waitForEvent("DEVICE 6601"));
    m_script->forgetSent();
    QTest::qWait(1300);
    QVERIFY(m_script->sent().isEmpty());
}

/// The user takes the card away while the library is about to start its timer.
void tst_Upkeep::timerOfADetachedCardIsNobodys()
{
    QVERIFY(attach());
    std::thread user;
    sdk::setExchangeListener([this, &user](const sdk::Exchange &exchange) {
        if (exchange.kind != sdk::Exchange::Kind::Command)
            return;
        user = std::thread([] { sdk::detachDevice(); });
        while (!m_script->isInterrupted())
            std::this_thread::yield();
    });
    m_script->proposes(startOf(1, 1).constData()).answers("9000");
    const bool isGone = m_script->tells(News::Asks) && waitForEvent("DEVICE 6601");
    events::listen();
    QVERIFY(user.joinable());
    user.join();
    QVERIFY(isGone);
    QCOMPARE(m_script->sent().size(), 2); // STATUS and FETCH
}

using Act = void (*)(Script &);
Q_DECLARE_METATYPE(Act)

void tst_Upkeep::timersEndWithTheCard_data()
{
    QTest::addColumn<Act>("end");
    const auto row = [](const char *name, Act end) { QTest::newRow(name) << end; };
    row("reset", [](Script &card) {
        card.proposes(commands::refreshReset).answers("9000").answers("9000");
        card.tells(News::Asks);
    });
    row("gone and there", [](Script &card) {
        card.answers("9000");
        card.tells(News::Gone);
        card.tells(News::There);
    });
}

void tst_Upkeep::timersEndWithTheCard()
{
    QFETCH(Act, end);
    QVERIFY(attach());
    m_script->staysWithoutCard();
    QVERIFY(ask(startOf(1, 1)));
    m_script->forgetSent();
    end(*m_script);
    QVERIFY(waitFor([this] { return m_script->resets() == 2; }));
    QTest::qWait(1300);
    QCOMPARE(m_script->sent().last(), QString(vectors::terminalProfile));
}

QTEST_GUILESS_MAIN(tst_Upkeep)
#include "tst_Upkeep.moc"
