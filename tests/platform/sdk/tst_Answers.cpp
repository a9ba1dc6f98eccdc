#include "platform/sdk/Commands.h"

#include <QTest>

using sdk::Status;

/// What the card gets for each answer, byte for byte, and which answers are not taken.
class tst_Answers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void answersWithoutData_data();
    void answersWithoutData();
    void answersWithoutDataThatDoNotFit_data();
    void answersWithoutDataThatDoNotFit();

    void texts_data();
    void texts();
    void textsThatBreakTheRules_data();
    void textsThatBreakTheRules();
    void textWithoutEndIsRefused();
    void answerOfTheOtherKindIsRefused();
    void secretsAreNotTold();

    void keyWithADurationTellsItsTime();
    void secondAnswerIsRefused_data();
    void secondAnswerIsRefused();
    void everyExchangeIsTold_data();
    void everyExchangeIsTold();

private:
    bool open(const QString &pdu, int stkType);

    std::shared_ptr<Script> m_script;
    int m_id = 0;
};

namespace
{

using commands::responses;

int number(Status status)
{
    return static_cast<int>(status);
}

/// Answers GET INPUT or GET INKEY.
int answerText(int id, int stkType, int confirmed, const QString &text)
{
    const auto answer = stkType == MDSV_STKTYPE_GET_INPUT ? MDSV_STKSrv_AnswerInput : MDSV_STKSrv_AnswerInKey;
    return answer(id, confirmed, text.utf16());
}

} // namespace

void tst_Answers::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_Answers::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

bool tst_Answers::open(const QString &pdu, int stkType)
{
    m_script = commands::open(qPrintable(pdu), stkType);
    m_id = events::lastId();
    return m_script != nullptr;
}

void tst_Answers::answersWithoutData_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("response");
    const auto row = [](const char *name, const char *command, int type, int result, const char *response) {
        QTest::newRow(name) << command << type << result << response;
    };
    row("text acknowledged", commands::displayText, 1, 1, "810303218082028281830100");
    row("text cancelled", commands::displayText, 1, 0, "810303218082028281830110");
    row("key not handled", commands::getKey, 2, 0, "81030522018202828183022000");
    row("input not handled", commands::getText, 3, 0, "81030623818202828183022000");
    row("call not set up", commands::setUpCall, 4, 4, "810307100082028281830130");
    row("call not handled", commands::setUpCall, 4, 0, "81030710008202828183022000");
    row("tone played", commands::playTone, 5, 1, "810308200082028281830100");
    row("tone not handled", commands::playTone, 5, 0, "81030820008202828183022000");
    row("menu not handled", vectors::selectItem, 6, 0, "81030224008202828183022000");
    row("browser launched", commands::launchBrowser, 11, 1, "81030D150382028281830100");
    row("browser not handled", commands::launchBrowser, 11, 0, "81030D15038202828183022000");
    row("idle text set", commands::idleText, 12, 1, "81030E280082028281830100");
    row("idle text not handled", commands::idleText, 12, 0, "81030E28008202828183022000");
}

void tst_Answers::answersWithoutData()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(int, result);
    QFETCH(QString, response);
    QVERIFY(open(command, type));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, type, result), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(responses(m_script), QStringList{response});
    QVERIFY(events::notes().isEmpty());
}

void tst_Answers::answersWithoutDataThatDoNotFit_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    QTest::newRow("text: no call") << commands::displayText << 1 << 4;
    QTest::newRow("text: unknown") << commands::displayText << 1 << 2;
    QTest::newRow("text: negative") << commands::displayText << 1 << -1;
    QTest::newRow("key: done without a key") << commands::getKey << 2 << 1;
    QTest::newRow("input: done without a text") << commands::getText << 3 << 1;
    QTest::newRow("call: done") << commands::setUpCall << 4 << 1;
    QTest::newRow("tone: no call") << commands::playTone << 5 << 4;
    QTest::newRow("browser: no call") << commands::launchBrowser << 11 << 4;
    QTest::newRow("idle text: no call") << commands::idleText << 12 << 4;
}

void tst_Answers::answersWithoutDataThatDoNotFit()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(int, result);
    QVERIFY(open(command, type));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, type, result), number(Status::BadArgument));
    QCOMPARE(events::notes().size(), 1);
    // Open for another try; and only under its own type.
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, type == 1 ? 5 : 1, 0), number(Status::WrongCommand));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, type, 0), 0);
}

void tst_Answers::texts_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("confirmed");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("response");
    const auto row = [](const char *name, const char *command, int type, int confirmed, const QString &text,
                        const QString &response) {
        QTest::newRow(name) << command << type << confirmed << text << response;
    };
    row("key", commands::getKey, 2, 1, "q", "8103052201820282818301008D020471");
    row("key of the extension table", commands::getKey, 2, 1, "€", "8103052201820282818301008D03041B65");
    row("key cancelled", commands::getKey, 2, 0, "", "810305220182028281830110");
    row("key cancelled with a text", commands::getKey, 2, 0, "too long", "810305220182028281830110");
    row("key in UCS2", commands::getUcs2Key, 2, 1, "Ж", "8103052203820282818301008D03080416");
    row("plain key in UCS2", commands::getUcs2Key, 2, 1, "q", "8103052203820282818301008D03080071");
    row("surrogate pair as a key", commands::getUcs2Key, 2, 1, "😀", "8103052203820282818301008D0508D83DDE00");
    row("yes", commands::getYesNo, 2, 1, "1", "8103052204820282818301008D020401");
    row("no", commands::getYesNo, 2, 1, "0", "8103052204820282818301008D020400");
    row("neither", commands::getYesNo, 2, 0, "", "810305220482028281830110");
    row("text", commands::getText, 3, 1, "Eve", "8103062381820282818301008D0404457665");
    row("shortest text", commands::getText, 3, 1, "Al", "8103062381820282818301008D0304416C");
    row("longest text", commands::getText, 3, 1, "Alice", "8103062381820282818301008D0604416C696365");
    row("escapes count as one", commands::getText, 3, 1, "[€~]{", "8103062381820282818301008D0B041B3C1B651B3D1B3E1B28");
    row("text cancelled", commands::getText, 3, 0, "", "810306238182028281830110");
    row("packed text", commands::getPackedText, 3, 1, "Hello", "8103062309820282818301008D0600C8329BFD06");
    row("packed text of eight", commands::getPackedText, 3, 1, "12345678",
        "8103062309820282818301008D080031D98C56B3DD70");
    row("UCS2 text", commands::getUcs2Text, 3, 1, "Привет", "8103062303820282818301008D0D08041F04400438043204350442");
    row("empty text", commands::getUcs2Text, 3, 1, "", "8103062303820282818301008D0108");
    row("longest UCS2 text", commands::getUcs2Text, 3, 1, QString(119, 'a'),
        "8103062303820282818301008D81EF08" + QString("0061").repeated(119));
    row("hidden digits", commands::getPin, 3, 1, "1*#4", "8103062304820282818301008D0504312A2334");
}

void tst_Answers::texts()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(int, confirmed);
    QFETCH(QString, text);
    QFETCH(QString, response);
    QVERIFY(open(command, type));
    m_script->answers("9000");
    QCOMPARE(answerText(m_id, type, confirmed, text), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(responses(m_script), QStringList{response});
}

void tst_Answers::textsThatBreakTheRules_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const char *command, int type, const QString &text, const char *reason) {
        QTest::newRow(name) << command << type << text << reason;
    };
    row("too short", commands::getText, 3, "A", "1 character where the card asks for 2 to 5 characters");
    row("too long", commands::getText, 3, "Alices", "6 characters where the card asks for 2 to 5 characters");
    row("not of that length", commands::getPin, 3, "123", "3 characters where the card asks for 4 characters");
    row("letters for digits", commands::getPin, 3, "12a4",
        "other characters than the digits, * # and + that the card asks for");
    row("digits of another script", commands::getPin, 3, "١٢٣٤",
        "other characters than the digits, * # and + that the card asks for");
    row("not in the alphabet", commands::getText, 3, "Жук",
        "characters outside the GSM default alphabet that the card asks for");
    row("not in the packed alphabet", commands::getPackedText, 3, "`",
        "characters outside the GSM default alphabet that the card asks for");
    row("nothing", commands::getPackedText, 3, "", "0 characters where the card asks for 1 to 20 characters");
    row("no response holds it", commands::getUcs2Text, 3, QString(120, 'a'), "too long for a terminal response");
    row("no key", commands::getKey, 2, "", "0 characters where the card asks for 1 character");
    row("two keys", commands::getKey, 2, "qq", "2 characters where the card asks for 1 character");
    row("two keys in UCS2", commands::getUcs2Key, 2, "ЖЖ", "2 characters where the card asks for 1 character");
    row("key not in the alphabet", commands::getKey, 2, "Ж",
        "characters outside the GSM default alphabet that the card asks for");
    row("no digit", commands::getDigit, 2, "q", "other characters than the digits, * # and + that the card asks for");
    row("neither yes nor no", commands::getYesNo, 2, "yes", "neither 1 for yes nor 0 for no");
    row("yes nor no at all", commands::getYesNo, 2, "", "neither 1 for yes nor 0 for no");
}

void tst_Answers::textsThatBreakTheRules()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QString, reason);
    QVERIFY(open(command, type));
    QCOMPARE(answerText(m_id, type, 1, text), number(Status::AnswerRefused));
    const QString what = type == 3 ? "answer to GET INPUT, command " : "answer to GET INKEY, command ";
    QCOMPARE(events::notes(), QStringList{what + QString::number(m_id) + ": " + reason +
                                          ": refused, the answer is not what the card asks for (8)"});
    // Nothing has gone out, and there is another try.
    m_script->answers("9000");
    QCOMPARE(answerText(m_id, type, 0, QString()), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(responses(m_script).size(), 1);
    QVERIFY(responses(m_script)[0].mid(18).startsWith("830110"));
}

void tst_Answers::textWithoutEndIsRefused()
{
    QVERIFY(open(commands::getUcs2Text, 3));
    const std::vector<uint16_t> endless(5000, 'a');
    QCOMPARE(MDSV_STKSrv_AnswerInput(m_id, 1, endless.data()), number(Status::BadArgument));
    const uint16_t text[] = {'a', 0};
    QCOMPARE(MDSV_STKSrv_AnswerInput(m_id, 2, text), number(Status::BadArgument));
    QCOMPARE(MDSV_STKSrv_AnswerInput(m_id, -1, text), number(Status::BadArgument));
    QCOMPARE(MDSV_STKSrv_AnswerInput(m_id, 1, nullptr), number(Status::BadArgument));
    QCOMPARE(events::notes().size(), 4);
    QVERIFY(m_script->sent().isEmpty());
    QCOMPARE(MDSV_STKSrv_AnswerInput(m_id, 1, text), 0);
}

void tst_Answers::answerOfTheOtherKindIsRefused()
{
    const uint16_t text[] = {'a', 'b', 0};
    QVERIFY(open(commands::getText, 3));
    QCOMPARE(MDSV_STKSrv_AnswerInKey(m_id, 1, text), number(Status::WrongCommand));
    QCOMPARE(MDSV_STKSrv_AnswerInKey(m_id, 0, text), number(Status::WrongCommand));
    QCOMPARE(MDSV_STKSrv_AnswerInput(m_id + 1, 1, text), number(Status::StaleCommand));
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 3, 0), number(Status::WrongCommand));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, 2, 0), number(Status::WrongCommand));
    QCOMPARE(MDSV_STKSrv_AnswerInput(m_id, 1, text), 0);
}

void tst_Answers::secretsAreNotTold()
{
    QVERIFY(open(commands::getPin, 3));
    QCOMPARE(answerText(m_id, 3, 1, "98765"), number(Status::AnswerRefused));
    m_script->answers("9000");
    QCOMPARE(answerText(m_id, 3, 1, "9876"), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QVERIFY(events::exchanges().filter("9876").isEmpty());
    QCOMPARE(events::exchanges().filter("Response: GET INPUT"),
             QStringList{"Response: GET INPUT: 00 command performed successfully, \"****\""});
}

void tst_Answers::keyWithADurationTellsItsTime()
{
    // In the unit of the command, and at least one of it (ETSI TS 102 223 clause 6.4.2).
    QVERIFY(open(commands::getDigit, 2));
    m_script->answers("9000");
    QTest::qWait(1200);
    QCOMPARE(answerText(m_id, 2, 1, "5"), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(responses(m_script), QStringList{"810305228082028281830100"
                                              "84020101"
                                              "8D020435"});
}

void tst_Answers::secondAnswerIsRefused_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    QTest::newRow("text") << commands::displayText << 1 << 1;
    QTest::newRow("key") << commands::getKey << 2 << 0;
    QTest::newRow("input") << commands::getText << 3 << 0;
    QTest::newRow("call") << commands::setUpCall << 4 << 4;
    QTest::newRow("tone") << commands::playTone << 5 << 1;
    QTest::newRow("browser") << commands::launchBrowser << 11 << 1;
    QTest::newRow("idle text") << commands::idleText << 12 << 1;
}

void tst_Answers::secondAnswerIsRefused()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(int, result);
    QVERIFY(open(command, type));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, type, result), 0);
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, type, result), number(Status::StaleCommand));
    QVERIFY(vectors::waitForEvent("STK 99"));
    // And the identifier that a caller has got since is not good for it, either.
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), type, result), number(Status::StaleCommand));
    QCOMPARE(answerText(m_id, 3, 1, "Al"), number(Status::StaleCommand));
    QCOMPARE(m_script->sent().size(), 1);
}

void tst_Answers::everyExchangeIsTold_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text"); // in place of the result, when it is not null
    QTest::addColumn<QString>("toldCommand");
    QTest::addColumn<QString>("toldResponse");
    const auto row = [](const char *name, const char *command, int type, int result, const QString &text,
                        const char *toldCommand, const char *toldResponse) {
        QTest::newRow(name) << command << type << result << text << toldCommand << toldResponse;
    };
    row("text", commands::displayTextFor10s, 1, 1, QString(), "DISPLAY TEXT \"Hello\", within 10 s",
        "DISPLAY TEXT: 00 command performed successfully");
    row("text that clears itself", commands::selfClearing, 1, 0, QString(),
        "DISPLAY TEXT \"Hello\", clears itself after 2.5 s, high priority",
        "DISPLAY TEXT: 10 proactive session terminated by the user");
    row("key", commands::getKey, 2, 0, "q", "GET INKEY \"Key?\", one character",
        "GET INKEY: 00 command performed successfully, \"q\"");
    row("UCS2 key", commands::getUcs2Key, 2, 0, "Ж", "GET INKEY \"Key?\", one character of any script",
        "GET INKEY: 00 command performed successfully, \"Ж\"");
    row("digit", commands::getDigit, 2, 0, "7", "GET INKEY \"Digit?\", one digit, within 90 s, with help",
        "GET INKEY: 00 command performed successfully, \"7\"");
    row("yes", commands::getYesNo, 2, 0, "1", "GET INKEY \"Sure?\", yes or no",
        "GET INKEY: 00 command performed successfully, yes");
    row("no", commands::getYesNo, 2, 0, "0", "GET INKEY \"Sure?\", yes or no",
        "GET INKEY: 00 command performed successfully, no");
    row("input", commands::getText, 3, 0, "Eve", "GET INPUT \"Name?\", 2 to 5 characters, default \"Bob\", with help",
        "GET INPUT: 00 command performed successfully, \"Eve\"");
    row("any input", commands::getUcs2Text, 3, 0, "Ж", "GET INPUT \"Name?\", characters of any script",
        "GET INPUT: 00 command performed successfully, \"Ж\"");
    row("hidden input", commands::getPin, 3, 0, "1234", "GET INPUT \"PIN?\", 4 digits, hidden",
        "GET INPUT: 00 command performed successfully, \"****\"");
    row("call", commands::setUpCall, 4, 4, QString(), "SET UP CALL +4930123, \"Call?\", \"Help line\"",
        "SET UP CALL: 30 command beyond the terminal's capabilities");
    row("tone", commands::playTone, 5, 1, QString(), "PLAY TONE called subscriber busy, 2.5 s, \"Beep\"",
        "PLAY TONE: 00 command performed successfully");
    row("tone of the terminal's choice", commands::playSomething, 5, 0, QString(), "PLAY TONE general beep",
        "PLAY TONE: 20 00 terminal currently unable to process the command, no specific cause");
    row("browser", commands::launchBrowser, 11, 1, QString(), "LAUNCH BROWSER \"http://x.org/\", \"Open?\"",
        "LAUNCH BROWSER: 00 command performed successfully");
    row("idle text", commands::idleText, 12, 1, QString(), "SET UP IDLE MODE TEXT \"Idle\"",
        "SET UP IDLE MODE TEXT: 00 command performed successfully");
}

void tst_Answers::everyExchangeIsTold()
{
    QFETCH(QString, command);
    QFETCH(int, type);
    QFETCH(int, result);
    QFETCH(QString, text);
    QFETCH(QString, toldCommand);
    QFETCH(QString, toldResponse);
    QVERIFY(open(command, type));
    m_script->answers("9000");
    QCOMPARE(text.isNull() ? MDSV_STKSrv_SendNoDataResponse(m_id, type, result) : answerText(m_id, type, 1, text), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    const QStringList told = events::exchanges().mid(4); // behind the device, the menu and the choice
    QCOMPARE(told, (QStringList{"Command: " + toldCommand, "Response: " + toldResponse}));
}

QTEST_GUILESS_MAIN(tst_Answers)
#include "tst_Answers.moc"
