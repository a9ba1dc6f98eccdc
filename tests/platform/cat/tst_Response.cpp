#include "cat/Command.h"
#include "platform/cat/Hex.h"

#include <QtTest>

using cat::CommandType;
using cat::Device;
using cat::Result;
using cat::TextCoding;

class tst_Response : public QObject
{
    Q_OBJECT

private slots:
    void responsesBothWays_data();
    void responsesBothWays();
    void responseLeavesOutAnItemNobodyChose();
    void responseWithOtherTagForms();
    void answersBothWays_data();
    void answersBothWays();
    void readsOtherFormsOfAnswers_data();
    void readsOtherFormsOfAnswers();
    void survivesEveryTruncation();
    void takesUcs2ForWhatTheCodingLacks_data();
    void takesUcs2ForWhatTheCodingLacks();
    void leavesOutATextThatNobodyEntered();
    void durationBothWays();
    void localInformationBothWays_data();
    void localInformationBothWays();
    void longAnswersHaveLongLengths_data();
    void longAnswersHaveLongLengths();
    void refusesResponses_data();
    void refusesResponses();
    void menuSelectionBothWays_data();
    void menuSelectionBothWays();
    void refusesMenuSelections_data();
    void refusesMenuSelections();
    void timerExpirationBothWays();
    void refusesTimerExpirations_data();
    void refusesTimerExpirations();
};

void tst_Response::responsesBothWays_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("itemId"); // 0: none
    QTest::addColumn<QByteArray>("additional");
    const auto row = [](const char *name, const char *hex, CommandType type, int result, int item, const char *more) {
        QTest::newRow(name) << QByteArray(hex) << static_cast<int>(type) << result << item << QByteArray(more);
    };
    row("item chosen", "8103012400820282818301009001FB", CommandType::SelectItem, 0x00, 251, "");
    row("item chosen, icon not shown", "810301240082028281830104900101", CommandType::SelectItem, 0x04, 1, "");
    row("help wanted", "810301248082028281830113900103", CommandType::SelectItem, 0x13, 3, "");
    row("backward", "810301240082028281830111", CommandType::SelectItem, 0x11, 0, "");
    row("ended by the user", "810301240082028281830110", CommandType::SelectItem, 0x10, 0, "");
    row("no answer", "810301240082028281830112", CommandType::SelectItem, 0x12, 0, "");
    row("menu set up", "810301250082028281830100", CommandType::SetUpMenu, 0x00, 0, "");
    row("terminal busy, with a cause", "81030125008202828183022001", CommandType::SetUpMenu, 0x20, 0, "01");
}

void tst_Response::responsesBothWays()
{
    QFETCH(QByteArray, hex);
    const std::optional<cat::Response> response = cat::decodeResponse(bytesOf(hex));
    QVERIFY(response);
    QTEST(static_cast<int>(response->details.type), "type");
    QTEST(static_cast<int>(response->result), "result");
    QTEST(int(response->itemId.value_or(0)), "itemId");
    QTEST(hexOf(response->additionalInformation), "additional");
    QVERIFY(response->source == Device::Terminal && response->destination == Device::Uicc);
    QCOMPARE(hexOf(cat::encodeResponse(*response)), hex);
}

void tst_Response::responseLeavesOutAnItemNobodyChose()
{
    cat::Response response;
    response.details = {1, CommandType::SelectItem, 0};
    response.itemId = 3;
    response.result = Result::BackwardMove;
    QCOMPARE(hexOf(cat::encodeResponse(response)), QByteArray("810301240082028281830111"));
    response.result = Result::NoResponseFromUser;
    QCOMPARE(hexOf(cat::encodeResponse(response)), QByteArray("810301240082028281830112"));
}

void tst_Response::responseWithOtherTagForms()
{
    const std::optional<cat::Response> response = cat::decodeResponse(bytesOf("0103022400 02028281 030100 100105"));
    QVERIFY(response);
    QCOMPARE(int(response->details.number), 2);
    QCOMPARE(int(response->itemId.value_or(0)), 5);
}

void tst_Response::answersBothWays_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("coding");
    const auto row = [](const char *name, const char *hex, const QString &text, TextCoding coding) {
        QTest::newRow(name) << QByteArray(hex) << text << static_cast<int>(coding);
    };
    const QString tongue = QString::fromUtf8("[€]");
    const QString smile = QString::fromUtf8("a😀");
    row("8 bit", "8103012301820282818301008D06044162436445", "AbCdE", TextCoding::Gsm8Bit);
    row("8 bit, extension table", "8103012301820282818301008D07041B3C1B651B3E", tongue, TextCoding::Gsm8Bit);
    row("packed", "8103012308820282818301008D060031D98C5603", "12345", TextCoding::Gsm7Packed);
    row("packed, extension table", "8103012309820282818301008D07001BDEA6BCF101", tongue, TextCoding::Gsm7Packed);
    row("UCS2", "8103012303820282818301008D050800410042", "AB", TextCoding::Ucs2);
    row("UCS2, surrogate pair", "8103012303820282818301008D07080061D83DDE00", smile, TextCoding::Ucs2);
    row("empty, 8 bit", "8103012300820282818301008D0104", "", TextCoding::Gsm8Bit);
    row("empty, packed", "8103012308820282818301008D0100", "", TextCoding::Gsm7Packed);
    row("empty, UCS2", "8103012303820282818301008D0108", "", TextCoding::Ucs2);
    row("yes", "8103012204820282818301008D020401", QString(QChar(1)), TextCoding::Gsm8Bit);
    row("no", "8103012204820282818301008D020400", QString(QChar(0)), TextCoding::Gsm8Bit);
    row("at sign where no question was asked", "8103012201820282818301008D020400", "@", TextCoding::Gsm8Bit);
    row("pound sign where no question was asked", "8103012301820282818301008D020401", QString::fromUtf8("£"),
        TextCoding::Gsm8Bit);
    row("an icon was not shown", "8103012200820282818301048D02042B", "+", TextCoding::Gsm8Bit);
}

void tst_Response::answersBothWays()
{
    QFETCH(QByteArray, hex);
    const std::optional<cat::Response> response = cat::decodeResponse(bytesOf(hex));
    QVERIFY(response && response->text);
    QTEST(textOf(response->text->value), "text");
    QTEST(static_cast<int>(response->text->coding), "coding");
    QCOMPARE(hexOf(cat::encodeResponse(*response)), hex);
}

void tst_Response::readsOtherFormsOfAnswers_data()
{
    QTest::addColumn<QByteArray>("text"); // the data object alone
    QTest::addColumn<QString>("value");
    QTest::newRow("no bytes at all") << QByteArray("8D00") << "";
    QTest::newRow("without comprehension flag") << QByteArray("0D020441") << "A";
    QTest::newRow("length form 81") << QByteArray("8D81020441") << "A";
    QTest::newRow("coding with a message class") << QByteArray("8D02F541") << "A";
}

void tst_Response::readsOtherFormsOfAnswers()
{
    QFETCH(QByteArray, text);
    const auto response = cat::decodeResponse(bytesOf("8103012300 82028281 830100" + text));
    QVERIFY(response && response->text);
    QTEST(textOf(response->text->value), "value");
}

void tst_Response::survivesEveryTruncation()
{
    const cat::Bytes response = bytesOf("8103012300 82028281 830100 8402010A 8D060031D98C5603 900101");
    const cat::Bytes selection = bytesOf("D309820201819001021500");
    QVERIFY(cat::decodeResponse(response) && cat::decodeMenuSelection(selection));
    for (std::size_t size = 0; size < response.size(); ++size) {
        // A copy that ends where its memory ends.
        const cat::Bytes part(response.begin(), response.begin() + static_cast<std::ptrdiff_t>(size));
        const std::optional<cat::Response> read = cat::decodeResponse(part);
        QVERIFY(!read || !read->itemId);
    }
    for (std::size_t size = 0; size < selection.size(); ++size) {
        const cat::Bytes part(selection.begin(), selection.begin() + static_cast<std::ptrdiff_t>(size));
        QVERIFY(!cat::decodeMenuSelection(part));
    }
}

void tst_Response::takesUcs2ForWhatTheCodingLacks_data()
{
    QTest::addColumn<int>("coding");
    QTest::addColumn<QByteArray>("object");
    QTest::newRow("8 bit") << static_cast<int>(TextCoding::Gsm8Bit) << QByteArray("8D03080414");
    QTest::newRow("packed") << static_cast<int>(TextCoding::Gsm7Packed) << QByteArray("8D03080414");
    QTest::newRow("UCS2") << static_cast<int>(TextCoding::Ucs2) << QByteArray("8D03080414");
}

void tst_Response::takesUcs2ForWhatTheCodingLacks()
{
    QFETCH(int, coding);
    QFETCH(QByteArray, object);
    cat::Response response;
    response.details = {1, CommandType::GetInkey, 3};
    response.text = cat::Text{u"\u0414", static_cast<TextCoding>(coding)};
    QCOMPARE(hexOf(cat::encodeResponse(response)), QByteArray("810301220382028281830100") + object);
}

void tst_Response::leavesOutATextThatNobodyEntered()
{
    cat::Response response;
    response.details = {1, CommandType::GetInput, 0};
    response.text = cat::Text{u"12", TextCoding::Gsm8Bit};
    for (const Result result : {Result::SessionTerminatedByUser, Result::BackwardMove, Result::NoResponseFromUser,
                                Result::HelpRequired, Result::TerminalUnable}) {
        response.result = result;
        const cat::Bytes bytes = cat::encodeResponse(response);
        QCOMPARE(int(bytes.size()), 12);
        QCOMPARE(int(bytes.back()), static_cast<int>(result));
    }
}

void tst_Response::durationBothWays()
{
    const QByteArray hex = "810301220082028281830100840202038D02042B";
    const std::optional<cat::Response> response = cat::decodeResponse(bytesOf(hex));
    QVERIFY(response && response->duration);
    QCOMPARE(int(response->duration->time().count()), 300);
    QCOMPARE(hexOf(cat::encodeResponse(*response)), hex);
}

/// What the terminal itself knows (ETSI TS 102 223 clause 6.8.0): its objects stand behind the result.
void tst_Response::localInformationBothWays_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("shown");
    QTest::newRow("timer") << QByteArray("810301270082028281830100A40103") << "3 - - -";
    QTest::newRow("timer and its value") << QByteArray("810301270282028281830100A40103A503103254") << "3 5025 - -";
    QTest::newRow("timer of a day") << QByteArray("810301270182028281830100A40108A503420000") << "8 86400 - -";
    QTest::newRow("timer in another state") << QByteArray("810301270182028281830124A40101") << "1 - - -";
    QTest::newRow("date") << QByteArray("810301260382028281830100A60762112260508004")
                          << "- - 2026-11-22 6:5:8 zone 40 -";
    QTest::newRow("date west of Greenwich")
        << QByteArray("810301260382028281830100A6070010103295959F") << "- - 2000-1-1 23:59:59 zone -79 -";
    QTest::newRow("date without a zone") << QByteArray("810301260382028281830100A607992113325490FF")
                                         << "- - 2099-12-31 23:45:9 zone none -";
    QTest::newRow("language") << QByteArray("810301260482028281830100AD026465") << "- - - de";
}

void tst_Response::localInformationBothWays()
{
    QFETCH(QByteArray, hex);
    const std::optional<cat::Response> response = cat::decodeResponse(bytesOf(hex));
    QVERIFY(response);
    QString date = "-";
    if (const std::optional<cat::DateTime> &time = response->dateTime)
        date = QString("%1-%2-%3 %4:%5:%6 zone %7")
                   .arg(time->year)
                   .arg(time->month)
                   .arg(time->day)
                   .arg(time->hour)
                   .arg(time->minute)
                   .arg(time->second)
                   .arg(time->zone ? QString::number(*time->zone) : "none");
    const QString timer = response->timerId ? QString::number(*response->timerId) : "-";
    const QString value = response->timerValue ? QString::number(response->timerValue->count()) : "-";
    const QString shown =
        timer + ' ' + value + ' ' + date + ' ' + QString::fromStdString(response->language.value_or("-"));
    QTEST(shown, "shown");
    QCOMPARE(hexOf(cat::encodeResponse(*response)), hex);
}

void tst_Response::longAnswersHaveLongLengths_data()
{
    QTest::addColumn<int>("characters");
    QTest::addColumn<QByteArray>("length");
    QTest::newRow("00 to 7F: the longest") << 126 << QByteArray("7F");
    QTest::newRow("81: the shortest") << 127 << QByteArray("8180");
    QTest::newRow("81: the longest") << 254 << QByteArray("81FF");
    QTest::newRow("82: the shortest") << 255 << QByteArray("820100");
}

void tst_Response::longAnswersHaveLongLengths()
{
    QFETCH(int, characters);
    QFETCH(QByteArray, length);
    cat::Response response;
    response.details = {1, CommandType::GetInput, 0};
    response.text = cat::Text{std::u16string(static_cast<std::size_t>(characters), u'7'), TextCoding::Gsm8Bit};
    const cat::Bytes bytes = cat::encodeResponse(response);
    QCOMPARE(hexOf(bytes).mid(24), "8D" + length + "04" + QByteArray("37").repeated(characters));
    QVERIFY(cat::decodeResponse(bytes)->text->value == response.text->value);
}

void tst_Response::refusesResponses_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no details") << QByteArray("82028281 830100");
    QTest::newRow("no devices") << QByteArray("8103012400 830100");
    QTest::newRow("no result") << QByteArray("8103012400 82028281");
    QTest::newRow("short details") << QByteArray("81020124 82028281 830100");
    QTest::newRow("short devices") << QByteArray("8103012400 820182 830100");
    QTest::newRow("empty result") << QByteArray("8103012400 82028281 8300");
    QTest::newRow("item identifier of two bytes") << QByteArray("8103012400 82028281 830100 90020101");
    QTest::newRow("cut off") << QByteArray("8103012400 82028281 830100 9001");
    QTest::newRow("indefinite length") << QByteArray("8103012400 82028281 830100 9080");
    QTest::newRow("length of four bytes") << QByteArray("8103012400 82028281 830100 908400000001 01");
    QTest::newRow("item identifier without a value") << QByteArray("8103012400 82028281 830100 9000");
    QTest::newRow("details without a value") << QByteArray("8100 82028281 830100");
    QTest::newRow("first details malformed") << QByteArray("8100 8103012400 82028281 830100");
    QTest::newRow("long tag cut off") << QByteArray("8103012400 82028281 830100 7F01");
    QTest::newRow("compressed text") << QByteArray("8103012300 82028281 830100 8D022441");
    QTest::newRow("duration of one byte") << QByteArray("8103012200 82028281 830100 840101");
    QTest::newRow("duration in an unknown unit") << QByteArray("8103012200 82028281 830100 84020305");
    QTest::newRow("duration of nothing") << QByteArray("8103012200 82028281 830100 84020100");
    QTest::newRow("timer 0") << QByteArray("8103012700 82028281 830100 A40100");
    QTest::newRow("timer value of two bytes") << QByteArray("8103012702 82028281 830100 A40101 A5020000");
    QTest::newRow("date of six bytes") << QByteArray("8103012603 82028281 830100 A606621122605080");
    QTest::newRow("hour 24") << QByteArray("8103012603 82028281 830100 A60762112242000000");
    QTest::newRow("day 0") << QByteArray("8103012603 82028281 830100 A60762110000000000");
    QTest::newRow("year that is no number") << QByteArray("8103012603 82028281 830100 A607A2112200000000");
    QTest::newRow("zone that is no number") << QByteArray("8103012603 82028281 830100 A607621122000000A0");
    QTest::newRow("language of three letters") << QByteArray("8103012604 82028281 830100 AD03656E67");
}

void tst_Response::refusesResponses()
{
    QFETCH(QByteArray, hex);
    QVERIFY(!cat::decodeResponse(bytesOf(hex)));
}

void tst_Response::menuSelectionBothWays_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<int>("itemId");
    QTest::addColumn<bool>("help");
    QTest::newRow("an item") << QByteArray("D30782020181900112") << 0x12 << false;
    QTest::newRow("a high identifier") << QByteArray("D307820201819001FB") << 0xFB << false;
    QTest::newRow("help") << QByteArray("D309820201819001021500") << 2 << true;
}

void tst_Response::menuSelectionBothWays()
{
    QFETCH(QByteArray, hex);
    const std::optional<cat::MenuSelection> selection = cat::decodeMenuSelection(bytesOf(hex));
    QVERIFY(selection);
    QTEST(int(selection->itemId), "itemId");
    QTEST(selection->helpRequested, "help");
    QCOMPARE(hexOf(cat::encodeMenuSelection(*selection)), hex);
}

void tst_Response::refusesMenuSelections_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("another envelope") << QByteArray("D60782020181900112");
    QTest::newRow("shorter than its length") << QByteArray("D308820201819001") + "12";
    QTest::newRow("no item") << QByteArray("D30482020181");
    QTest::newRow("no devices") << QByteArray("D303900112");
    QTest::newRow("item without a value") << QByteArray("D306820201819000");
    QTest::newRow("item of two bytes") << QByteArray("D3088202018190021213");
    QTest::newRow("last object cut off") << QByteArray("D30882020181900112") + "15";
    QTest::newRow("only a tag") << QByteArray("D3");
    QTest::newRow("indefinite length") << QByteArray("D380820201819001120000");
    QTest::newRow("length of four bytes") << QByteArray("D3840000000782020181900112");
    QTest::newRow("devices without a value") << QByteArray("D3058200900112");
    QTest::newRow("first item malformed") << QByteArray("D309820201819000900112");
}

void tst_Response::refusesMenuSelections()
{
    QFETCH(QByteArray, hex);
    QVERIFY(!cat::decodeMenuSelection(bytesOf(hex)));
}

/// ETSI TS 102 223 clause 7.4.2.
void tst_Response::timerExpirationBothWays()
{
    const QByteArray hex = "D70C82028281A40108A503103254";
    const std::optional<cat::TimerExpiration> read = cat::decodeTimerExpiration(bytesOf(hex));
    QVERIFY(read);
    QCOMPARE(int(read->timerId), 8);
    QCOMPARE(int(read->value.count()), 5025);
    QCOMPARE(hexOf(cat::encodeTimerExpiration(*read)), hex);
    QCOMPARE(hexOf(cat::encodeTimerExpiration({1, std::chrono::hours(30)})),
             QByteArray("D70C82028281A40101A503420000"));
}

void tst_Response::refusesTimerExpirations_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("another envelope") << QByteArray("D30C82028281A40108A503103254");
    QTest::newRow("cut off") << QByteArray("D70C82028281A40108A5031032");
    QTest::newRow("object cut off") << QByteArray("D70B82028281A40108A5031032");
    QTest::newRow("no devices") << QByteArray("D708A40108A503103254");
    QTest::newRow("no timer") << QByteArray("D70982028281A503103254");
    QTest::newRow("no value") << QByteArray("D70782028281A40108");
    QTest::newRow("timer 9") << QByteArray("D70C82028281A40109A503103254");
    QTest::newRow("a minute of 60 seconds") << QByteArray("D70C82028281A40108A503000006");
}

void tst_Response::refusesTimerExpirations()
{
    QFETCH(QByteArray, hex);
    QVERIFY(!cat::decodeTimerExpiration(bytesOf(hex)));
}

QTEST_APPLESS_MAIN(tst_Response)
#include "tst_Response.moc"
