#include "cat/Explain.h"

#include <QtTest>

using namespace cat;

namespace
{

Bytes bytesOf(const QByteArray &hex)
{
    const QByteArray raw = QByteArray::fromHex(hex);
    return Bytes(raw.begin(), raw.end());
}

/// "tag name length: value" for each object, those inside in brackets behind theirs.
QString told(const std::vector<Explanation> &objects)
{
    QStringList lines;
    for (const Explanation &object : objects) {
        QString line = QString("%1 %2 %3: %4")
                           .arg(QString::fromStdString(object.tag), QString::fromStdString(object.name))
                           .arg(object.length)
                           .arg(QString::fromStdString(object.value));
        if (!object.parts.empty())
            line += '[' + told(object.parts) + ']';
        lines << line;
    }
    return lines.join("; ");
}

} // namespace

class tst_Explain : public QObject
{
    Q_OBJECT

private slots:
    void valueIsToldInWords_data();
    void valueIsToldInWords();
    void commandHoldsItsObjects();
    void envelopeHoldsItsObjects();
    void responseIsASequence();
    void whatIsNoObjectIsTold_data();
    void whatIsNoObjectIsTold();
    void noPrefixIsReadPastItsEnd();
    void qualifierIsToldInWords_data();
    void qualifierIsToldInWords();
    void choicesOfOneTypeAreTold();
};

void tst_Explain::valueIsToldInWords_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("words");

    const auto row = [](const char *name, const char *bytes, const char *words) {
        QTest::newRow(name) << QByteArray(bytes) << QString::fromUtf8(words);
    };
    row("details", "8103012180", "81 command details 3: DISPLAY TEXT, number 1, qualifier 80: cleared by the user");
    row("details of an unknown type", "8103017F00", "81 command details 3: COMMAND 7F, number 1, qualifier 00");
    row("details, too short", "81020121", "81 command details 2: 0121 (not as it should be)");
    row("devices", "82028102", "82 device identities 2: card to display");
    row("devices without a name", "82028155", "82 device identities 2: card to device 55");
    row("result", "830100", "83 result 1: command performed successfully");
    row("result with more", "83022004",
        "83 result 2: terminal currently unable to process the command, additional information 04");
    row("result without content", "8300", "83 result 0:  (not as it should be)");
    row("duration in seconds", "8402010A", "84 duration 2: 10 s");
    row("duration in tenths", "84020205", "84 duration 2: 5 tenths of a second");
    row("duration of nothing", "84020100", "84 duration 2: 0100 (not as it should be)");
    row("alpha identifier", "050348692F", "05 alpha identifier 3: \"Hi/\"");
    row("alpha identifier in UCS2", "85058004210422", "85 alpha identifier 5: \"С\xd0\xa2\"");
    row("address", "8604912143F5", "86 address 4: 12345, type of number 91");
    row("SS string", "8904FF2A21F3", "89 SS string 4: *2123, type of number FF");
    row("USSD string", "8A0444 2A3123", "8A USSD string 4: \"*1#\", 8 bits");
    row("text", "8D0404486921", "8D text string 4: \"Hi!\", 8 bits");
    row("packed text", "8D03 00C834", "8D text string 3: \"Hi\", packed");
    row("text in UCS2", "8D05 0804220435", "8D text string 5: \"Те\", UCS2");
    row("null text", "8D00", "8D text string 0: no text");
    row("text in no known coding", "8D02 2041", "8D text string 2: 2041 (not as it should be)");
    row("text with a line end", "8D04 04410A42", "8D text string 4: \"A B\", 8 bits");
    row("text with a line end of Unicode's", "8D07 08 004120280042", "8D text string 7: \"A B\", UCS2");
    row("tone", "8E0110", "8E tone 1: general beep");
    row("item", "8F0401486921", "8F item 4: 1: \"Hi!\"");
    row("no item", "8F00", "8F item 0: no item");
    row("chosen item", "900107", "90 item identifier 1: item 7");
    row("response length", "91020408", "91 response length 2: 4 to 8 characters");
    row("response length without end", "910200FF", "91 response length 2: 0 to any number of characters");
    row("URL", "3103687474", "31 URL 3: \"htt\"");
    row("URL of the home page", "3100", "31 URL 0: the terminal's home page");
    row("help request", "9500", "95 help request 0: yes");
    row("icon", "9E020103", "9E icon identifier 2: icon 3, beside the text");
    row("icon alone", "9E020003", "9E icon identifier 2: icon 3, in place of the text");
    row("events", "9903 040577", "99 event list 3: user activity, idle screen available, event 77");
    row("no event", "9900", "99 event list 0: no event");
    row("timer", "A40108", "A4 timer identifier 1: timer 8");
    row("no timer", "A40109", "A4 timer identifier 1: 09 (not as it should be)");
    row("timer value", "A503103254", "A5 timer value 3: 01:23:45");
    row("timer value, too short", "A5021032", "A5 timer value 2: 1032 (not as it should be)");
    row("date", "A60762112260508004",
        "A6 date-time and time zone 7: 2026-11-22 06:05:08, 40 quarters of an hour from Greenwich");
    row("date without a zone", "A607622122605080FF",
        "A6 date-time and time zone 7: 2026-12-22 06:05:08, time zone not known");
    row("date of an early month", "A607625010605080FF",
        "A6 date-time and time zone 7: 2026-05-01 06:05:08, time zone not known");
    row("date of a 13th month", "A607623122605080FF",
        "A6 date-time and time zone 7: 623122605080FF (not as it should be)");
    row("language", "AD02656E", "AD language 2: en");
    row("language of three letters", "AD03656E67", "AD language 3: 656E67 (not as it should be)");
    row("language that is no text", "AD02650A", "AD language 2: 650A (not as it should be)");
    row("bytes without words", "8B020102", "8B SMS TPDU 2: 0102");
    row("unknown tag", "6A0101", "6A unknown object 1: 01");
    row("tag of three bytes", "7F40010101", "7F4001 unknown object 1: 01");
    row("tag of three bytes with its flag", "7FC0010101", "7FC001 unknown object 1: 01");
}

void tst_Explain::valueIsToldInWords()
{
    QFETCH(QByteArray, bytes);
    QTEST(told(explain(bytesOf(bytes))), "words");
}

void tst_Explain::commandHoldsItsObjects()
{
    QCOMPARE(told(explain(bytesOf("D00D 8103012180 82028102 8D0204 41"))),
             QString("D0 proactive command 13: [81 command details 3: DISPLAY TEXT, number 1, qualifier 80: cleared by "
                     "the user; 82 device identities 2: card to display; 8D text string 2: \"A\", 8 bits]"));
}

void tst_Explain::envelopeHoldsItsObjects()
{
    QCOMPARE(told(explain(bytesOf("D307 82020181 900105"))),
             QString("D3 menu selection 7: [82 device identities 2: keypad to card; 90 item identifier 1: item 5]"));
    QCOMPARE(told(explain(bytesOf("D70C 82028281 A40101 A503000010"))),
             QString("D7 timer expiration 12: [82 device identities 2: terminal to card; A4 timer identifier 1: timer "
                     "1; A5 timer value 3: 00:00:01]"));
}

void tst_Explain::responseIsASequence()
{
    const auto objects = explain(bytesOf("8103012180 82028281 830100"));
    QCOMPARE(objects.size(), std::size_t(3));
    QCOMPARE(QString::fromStdString(objects[2].value), QString("command performed successfully"));
}

void tst_Explain::whatIsNoObjectIsTold_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("words");

    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("cut-off object") << QByteArray("830100 8D0541")
                                    << "83 result 1: command performed successfully;  no "
                                       "data object 3: 8D0541";
    QTest::newRow("cut-off command") << QByteArray("D009 830100")
                                     << "D0 proactive command 3: cut off[83 result 1: command performed successfully]";
    QTest::newRow("bytes behind a command")
        << QByteArray("D003 830100 FFFF")
        << "D0 proactive command 3: [83 result 1: command performed successfully];  no data object 2: FFFF";
    QTest::newRow("command of indefinite length")
        << QByteArray("D080 830100 0000") << " no data object 7: D0808301000000";
    QTest::newRow("object of indefinite length")
        << QByteArray("D007 830100 8D800000")
        << "D0 proactive command 7: [83 result 1: command performed successfully;  "
           "no data object 4: 8D800000]";
    QTest::newRow("command without a length") << QByteArray("D0") << " no data object 1: D0";
}

void tst_Explain::whatIsNoObjectIsTold()
{
    QFETCH(QByteArray, bytes);
    QTEST(told(explain(bytesOf(bytes))), "words");
}

/// Every prefix lies in memory of its own size, so that the sanitizers would see a read behind it.
void tst_Explain::noPrefixIsReadPastItsEnd()
{
    const Bytes whole = bytesOf("D01F 8103012300 82028182 8D060448692121 3F 91020408 170204 41 9E020103");
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        QVERIFY(size == 0 || !explain(part).empty());
    }
}

void tst_Explain::qualifierIsToldInWords_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("qualifier");
    QTest::addColumn<QString>("words");

    const auto row = [](const char *name, CommandType type, int qualifier, const char *words) {
        QTest::newRow(name) << int(type) << qualifier << QString(words);
    };
    row("mode of REFRESH", CommandType::Refresh, 4, "card reset");
    row("local information", CommandType::ProvideLocalInformation, 3, "date, time and time zone");
    row("language wanted", CommandType::ProvideLocalInformation, 4, "language");
    row("local information of later days", CommandType::ProvideLocalInformation, 0x30, "");
    row("timer started", CommandType::TimerManagement, 0, "start");
    row("timer ended", CommandType::TimerManagement, 1, "deactivate");
    row("timer looked at", CommandType::TimerManagement, 2, "get the current value");
    row("one language", CommandType::LanguageNotification, 1, "of one language");
    row("no known mode", CommandType::Refresh, 0x44, "");
    row("flags together", CommandType::GetInput, 0x84, "hidden, help available");
    row("call", CommandType::SetUpCall, 3, "putting other calls on hold, with redial");
    row("no flag", CommandType::DisplayText, 0, "");
    row("command without choices", CommandType::SendUssd, 0xFF, "");
}

void tst_Explain::qualifierIsToldInWords()
{
    QFETCH(int, type);
    QFETCH(int, qualifier);
    const CommandDetails details{1, static_cast<CommandType>(type), static_cast<std::uint8_t>(qualifier)};
    QTEST(QString::fromStdString(qualifierWords(details)), "words");
}

void tst_Explain::choicesOfOneTypeAreTold()
{
    const auto choices = qualifierChoices(CommandType::DisplayText);
    QCOMPARE(choices.size(), std::size_t(2));
    QCOMPARE(choices[1].mask, std::uint8_t(0x80));
    QVERIFY(qualifierChoices(CommandType::SendSs).empty());
}

QTEST_APPLESS_MAIN(tst_Explain)
#include "tst_Explain.moc"
