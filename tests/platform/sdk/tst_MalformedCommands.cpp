#include "platform/sdk/Commands.h"

#include <QTest>

/// What the card is answered, and what the log says, when a command is not as it should be (ETSI TS 102 223 clause
/// 6.10).
class tst_MalformedCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void refusedCommandIsAnsweredAndTold_data();
    void refusedCommandIsAnsweredAndTold();
    void unreadableCommandIsToldAndNotAnswered_data();
    void unreadableCommandIsToldAndNotAnswered();
    void performedWithoutWhatWasLeftOut_data();
    void performedWithoutWhatWasLeftOut();
    void menuWithSomethingLeftOut();
    void otherAnswersStayAsTheyAre();

private:
    std::shared_ptr<Script> m_script;
};

namespace
{

using commands::responses;
using vectors::waitForEvent;

const char *const partialText = "D00F 8103032180 82028102 8D020441 6E00";

} // namespace

void tst_MalformedCommands::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_MalformedCommands::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

void tst_MalformedCommands::refusedCommandIsAnsweredAndTold_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QString>("response");
    QTest::addColumn<QString>("told");
    const auto row = [](const char *name, const char *command, const char *response, const char *told) {
        QTest::newRow(name) << QByteArray(command) << response << told;
    };
    row("unknown object", "D00F 8103032180 82028102 8D020441 EE00", "810303218082028281830132",
        "Command: DISPLAY TEXT: object with tag 110 must be understood, but does not belong to DISPLAY TEXT, at offset "
        "15");
    row("text is missing", "D009 8103032180 82028102", "810303218082028281830136",
        "Command: DISPLAY TEXT: text string is missing");
    row("object cut off", "D00D 8103032180 82028102 8D040441", "810303218082028281830132",
        "Command: DISPLAY TEXT: a data object is cut off or has no readable length, at offset 11");
    row("command cut off", "D030 8103032180 82028102 8D020441", "810303218082028281830132",
        "Command: DISPLAY TEXT: the command is shorter than its length says");
    row("wrong devices", "D00D 8103032180 82028182 8D020441", "810303218082028281830132",
        "Command: DISPLAY TEXT: DISPLAY TEXT does not go from device 81 to 82");
    row("icon with an empty text", "D00F 8103032180 82028102 8D00 9E020101", "810303218082028281830132",
        "Command: DISPLAY TEXT: an icon comes with an empty text");
}

void tst_MalformedCommands::refusedCommandIsAnsweredAndTold()
{
    QFETCH(QByteArray, command);
    QFETCH(QString, told);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(command).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(responses(m_script).size(), 3); // choice, FETCH, response
    QTEST(responses(m_script).last(), "response");
    QVERIFY2(events::exchanges().contains(told), qPrintable(events::exchanges().join("\n")));
    QVERIFY(!events::has("STK 1"));
}

void tst_MalformedCommands::unreadableCommandIsToldAndNotAnswered_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QString>("note");
    QTest::newRow("another tag") << QByteArray("D10D 8103032180 82028102 8D020441")
                                 << "unreadable command: not a proactive command, its tag is D1 and not D0; it gets no "
                                    "response";
    QTest::newRow("indefinite length") << QByteArray("D080 8103032180 82028102 8D020441 0000")
                                       << "unreadable command: not a proactive command, the length behind its tag D0 "
                                          "cannot be read; it gets no response";
    QTest::newRow("no details") << QByteArray("D008 82028102 8D020441")
                                << "unreadable command: command details are missing or malformed; it gets no response";
}

void tst_MalformedCommands::unreadableCommandIsToldAndNotAnswered()
{
    QFETCH(QByteArray, command);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(command);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent().size(), 2); // choice and FETCH
    QTEST(events::notes().join("\n"), "note");
}

void tst_MalformedCommands::performedWithoutWhatWasLeftOut_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("response");
    QTest::newRow("text") << QByteArray(partialText) << 1 << "810303218082028281830102";
    QTest::newRow("text that was answered at once")
        << QByteArray("D011 8103032180 82028102 8D020441 AB00 6E00") << 1 << "810303218082028281830102";
    QTest::newRow("short message") << QByteArray("D016 81030B1300 82028183 8B09010002812100F40141 6E00") << 9
                                   << "81030B130082028281830102";
    QTest::newRow("idle text") << QByteArray("D00F 81030E2800 82028182 8D020441 6E00") << 12
                               << "81030E280082028281830102";
}

void tst_MalformedCommands::performedWithoutWhatWasLeftOut()
{
    QFETCH(QByteArray, command);
    QFETCH(int, type);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(command).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent(qPrintable("STK " + QString::number(type))));
    if (type != MDSV_STKTYPE_SEND_SMS) // which the library carries out
        QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), type, STK_UI_RESPONSE_DONE), 0);
    QVERIFY(waitForEvent("STK 99"));
    QFETCH(QString, response);
    QVERIFY2(responses(m_script).contains(response), qPrintable(responses(m_script).join(' ')));
    const QStringList told = events::exchanges().filter("; left out: object with tag 110 does not belong to ");
    QCOMPARE(told.size(), 1);
    QVERIFY(told[0].startsWith("Command: "));
}

void tst_MalformedCommands::menuWithSomethingLeftOut()
{
    m_script = std::make_shared<Script>();
    m_script->proposes("D013 8103012500 82028182 850141 8F020142 6E0101").answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(responses(m_script).last(), QString("810301250082028281830102"));
    QVERIFY(events::has("STK 0"));
}

/// Only what was performed is told to be incomplete.
void tst_MalformedCommands::otherAnswersStayAsTheyAre()
{
    m_script = commands::open(partialText, 1);
    QVERIFY(m_script);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 1, STK_UI_RESPONSE_NOT_HANDLED), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(responses(m_script), QStringList("810303218082028281830110"));
}

QTEST_MAIN(tst_MalformedCommands)
#include "tst_MalformedCommands.moc"
