#include "cat/Command.h"
#include "cat/Objects.h"

#include <QtTest>

using cat::CommandType;
using cat::Result;

namespace
{

struct Row {
    int number;
    const char *words;
};

/// The types of ETSI TS 102 223 clause 9.4.
const Row commands[] = {
    {0x01, "REFRESH"},
    {0x02, "MORE TIME"},
    {0x03, "POLL INTERVAL"},
    {0x04, "POLLING OFF"},
    {0x05, "SET UP EVENT LIST"},
    {0x10, "SET UP CALL"},
    {0x11, "SEND SS"},
    {0x12, "SEND USSD"},
    {0x13, "SEND SHORT MESSAGE"},
    {0x14, "SEND DTMF"},
    {0x15, "LAUNCH BROWSER"},
    {0x16, "GEOGRAPHICAL LOCATION REQUEST"},
    {0x20, "PLAY TONE"},
    {0x21, "DISPLAY TEXT"},
    {0x22, "GET INKEY"},
    {0x23, "GET INPUT"},
    {0x24, "SELECT ITEM"},
    {0x25, "SET UP MENU"},
    {0x26, "PROVIDE LOCAL INFORMATION"},
    {0x27, "TIMER MANAGEMENT"},
    {0x28, "SET UP IDLE MODE TEXT"},
    {0x30, "PERFORM CARD APDU"},
    {0x31, "POWER ON CARD"},
    {0x32, "POWER OFF CARD"},
    {0x33, "GET READER STATUS"},
    {0x34, "RUN AT COMMAND"},
    {0x35, "LANGUAGE NOTIFICATION"},
    {0x40, "OPEN CHANNEL"},
    {0x41, "CLOSE CHANNEL"},
    {0x42, "RECEIVE DATA"},
    {0x43, "SEND DATA"},
    {0x44, "GET CHANNEL STATUS"},
    {0x45, "SERVICE SEARCH"},
    {0x46, "GET SERVICE INFORMATION"},
    {0x47, "DECLARE SERVICE"},
    {0x50, "SET FRAMES"},
    {0x51, "GET FRAMES STATUS"},
    {0x60, "RETRIEVE MULTIMEDIA MESSAGE"},
    {0x61, "SUBMIT MULTIMEDIA MESSAGE"},
    {0x62, "DISPLAY MULTIMEDIA MESSAGE"},
    {0x70, "ACTIVATE"},
    {0x71, "CONTACTLESS STATE CHANGED"},
    {0x72, "COMMAND CONTAINER"},
    {0x73, "ENCAPSULATED SESSION CONTROL"},
};

/// The general results of ETSI TS 102 223 clause 8.12.
const Row results[] = {
    {0x00, "command performed successfully"},
    {0x01, "command performed with partial comprehension"},
    {0x02, "command performed, with missing information"},
    {0x03, "REFRESH performed with additional files read"},
    {0x04, "command performed, but the requested icon could not be displayed"},
    {0x05, "command performed, but modified by call control"},
    {0x06, "command performed, limited service"},
    {0x07, "command performed with modification"},
    {0x08, "REFRESH performed, but the indicated application was not active"},
    {0x09, "command performed, tone not played"},
    {0x10, "proactive session terminated by the user"},
    {0x11, "backward move requested by the user"},
    {0x12, "no response from the user"},
    {0x13, "help information required by the user"},
    {0x14, "USSD or SS transaction terminated by the user"},
    {0x20, "terminal currently unable to process the command"},
    {0x21, "network currently unable to process the command"},
    {0x22, "user did not accept the command"},
    {0x23, "user cleared down the call before connection or network release"},
    {0x24, "action in contradiction with the current timer state"},
    {0x25, "interaction with call control, temporary problem"},
    {0x26, "launch browser generic error"},
    {0x27, "MMS temporary problem"},
    {0x30, "command beyond the terminal's capabilities"},
    {0x31, "command type not understood by the terminal"},
    {0x32, "command data not understood by the terminal"},
    {0x33, "command number not known by the terminal"},
    {0x34, "SS return error"},
    {0x35, "SMS RP-ERROR"},
    {0x36, "error, required values are missing"},
    {0x37, "USSD return error"},
    {0x38, "multiple card commands error"},
    {0x39, "interaction with call control, permanent problem"},
    {0x3A, "bearer independent protocol error"},
    {0x3B, "access technology unable to process the command"},
    {0x3C, "frames error"},
    {0x3D, "MMS error"},
};

/// Nothing for a number that the table lacks.
template <std::size_t count>
QString wordsOf(const Row (&rows)[count], int number)
{
    for (const Row &row : rows) {
        if (row.number == number)
            return row.words;
    }
    return QString();
}

QString numbered(const char *word, int number)
{
    return QString("%1 %2").arg(word, QString::number(number, 16).toUpper().rightJustified(2, '0'));
}

} // namespace

class tst_Names : public QObject
{
    Q_OBJECT

private slots:
    void namesCommands();
    void explainsResults();
    void explainsNoOtherResult();
    void namesTones_data();
    void namesTones();
    void namesEvents_data();
    void namesEvents();
};

void tst_Names::namesCommands()
{
    for (int number = 0; number < 256; ++number) {
        const auto type = static_cast<CommandType>(number);
        const QString name = wordsOf(commands, number);
        QCOMPARE(cat::isNamed(type), !name.isEmpty());
        QCOMPARE(QString::fromStdString(cat::commandName(type)), name.isEmpty() ? numbered("COMMAND", number) : name);
    }
}

void tst_Names::explainsResults()
{
    for (const Row &row : results)
        QCOMPARE(QString::fromStdString(cat::resultMeaning(static_cast<Result>(row.number))), QString(row.words));
}

void tst_Names::explainsNoOtherResult()
{
    for (int number = 0; number < 256; ++number) {
        if (wordsOf(results, number).isEmpty())
            QCOMPARE(QString::fromStdString(cat::resultMeaning(static_cast<Result>(number))),
                     numbered("result", number));
    }
}

void tst_Names::namesTones_data()
{
    QTest::addColumn<int>("tone");
    QTest::addColumn<QString>("name");
    QTest::newRow("first supervisory tone") << 0x01 << "dial";
    QTest::newRow("last supervisory tone") << 0x08 << "ringing";
    QTest::newRow("between the groups") << 0x09 << "tone 09";
    QTest::newRow("beep") << 0x10 << "general beep";
    QTest::newRow("acknowledgement") << 0x11 << "positive acknowledgement";
    QTest::newRow("refusal") << 0x12 << "negative acknowledgement";
    QTest::newRow("user's own ringing") << 0x13 << "ringing as chosen by the user for speech calls";
    QTest::newRow("vibration") << 0x20 << "vibration only";
    QTest::newRow("themed") << 0x30 << "happy";
    QTest::newRow("first melody") << 0x40 << "melody 1";
    QTest::newRow("last melody") << 0x47 << "melody 8";
    QTest::newRow("behind the last") << 0x48 << "tone 48";
    QTest::newRow("none") << 0x00 << "tone 00";
}

void tst_Names::namesTones()
{
    QFETCH(int, tone);
    QTEST(QString::fromStdString(cat::toneName(static_cast<std::uint8_t>(tone))), "name");
}

void tst_Names::namesEvents_data()
{
    QTest::addColumn<int>("event");
    QTest::addColumn<QString>("name");
    QTest::newRow("first") << 0x00 << "MT call";
    QTest::newRow("user activity") << 0x04 << "user activity";
    QTest::newRow("idle screen") << 0x05 << "idle screen available";
    QTest::newRow("language") << 0x07 << "language selection";
    QTest::newRow("browser") << 0x08 << "browser termination";
    QTest::newRow("last without a gap") << 0x10 << "frames information change";
    QTest::newRow("gap") << 0x11 << "event 11";
    QTest::newRow("no event") << 0xFF << "event FF";
}

void tst_Names::namesEvents()
{
    QFETCH(int, event);
    QTEST(QString::fromStdString(cat::eventName(static_cast<std::uint8_t>(event))), "name");
}

QTEST_APPLESS_MAIN(tst_Names)
#include "tst_Names.moc"
