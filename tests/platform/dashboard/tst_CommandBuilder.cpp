#include "dashboard/CommandBuilder.h"

#include <QTest>

using namespace dashboard;
using cat::CommandType;

class tst_CommandBuilder : public QObject
{
    Q_OBJECT

private slots:
    void everyTypeMakesACommandThatTheTerminalTakes_data();
    void everyTypeMakesACommandThatTheTerminalTakes();
    void valuesReachTheCommand();
    void valuesOfTheTerminalsOwnCommandsReachThem();
    void codingIsTheOneAskedFor_data();
    void codingIsTheOneAskedFor();
    void durationTakesTheUnitThatHoldsIt_data();
    void durationTakesTheUnitThatHoldsIt();
    void bracesAreCharacters();
    void valuesThatCannotBeAreRefused_data();
    void valuesThatCannotBeAreRefused();
    void bytesAreRead();
    void refusableCommandIsReadWithAWarning();
    void bytesThatAreNoCommandTellWhy_data();
    void bytesThatAreNoCommandTellWhy();

private:
    static CommandValues filled(CommandType type);
};

CommandValues tst_CommandBuilder::filled(CommandType type)
{
    CommandValues values;
    values.type = type;
    values.text = "Hello";
    values.items = QStringList{"One", "Two"};
    values.number = "+12345";
    values.message = "Hi";
    values.code = "*100#";
    values.url = "http://www.example.com/";
    values.events = "04 07";
    values.timer = 8;
    values.language = "fr";
    values.duration = 5;
    return values;
}

void tst_CommandBuilder::everyTypeMakesACommandThatTheTerminalTakes_data()
{
    QTest::addColumn<int>("recipe");
    for (std::size_t i = 0; i < commandRecipes().size(); ++i)
        QTest::newRow(cat::commandName(commandRecipes()[i].type).c_str()) << int(i);
}

void tst_CommandBuilder::everyTypeMakesACommandThatTheTerminalTakes()
{
    QFETCH(int, recipe);
    const CommandRecipe &made = commandRecipes()[static_cast<std::size_t>(recipe)];
    CommandValues values = filled(made.type);
    values.qualifier = made.qualifier;
    const BuiltCommand built = buildCommand(values);
    QCOMPARE(built.problem, QString());
    const cat::DecodedCommand decoded = cat::decodeCommand(built.bytes);
    QCOMPARE(QString::fromStdString(decoded.reason), QString());
    QVERIFY(decoded.command.details.type == made.type);
    QCOMPARE(decoded.command.details.qualifier, made.qualifier);
    QVERIFY2(built.words.startsWith(QString::fromStdString(cat::commandName(made.type))), qPrintable(built.words));
}

void tst_CommandBuilder::valuesReachTheCommand()
{
    CommandValues values = filled(CommandType::GetInput);
    values.qualifier = 0x04;
    values.minimum = 4;
    values.maximum = 8;
    values.defaultText = "1234";
    const cat::Command command = cat::decodeCommand(buildCommand(values).bytes).command;
    QVERIFY(command.isHidden());
    QCOMPARE(int(command.responseLength->minimum), 4);
    QCOMPARE(int(command.responseLength->maximum), 8);
    QVERIFY(command.defaultText->value == u"1234");
    QVERIFY(!command.duration); // a field that this type does not have

    values = filled(CommandType::SelectItem);
    const cat::Command menu = cat::decodeCommand(buildCommand(values).bytes).command;
    QVERIFY(menu.alphaId == u"Hello");
    QCOMPARE(menu.items.size(), std::size_t(2));
    QCOMPARE(int(menu.items[1].id), 2);
    QVERIFY(menu.items[1].text == u"Two");

    values = filled(CommandType::DisplayText);
    values.isImmediate = true;
    QVERIFY(cat::decodeCommand(buildCommand(values).bytes).command.immediateResponse);
    values = filled(CommandType::PlayTone);
    values.tone = 0x11;
    QVERIFY(cat::decodeCommand(buildCommand(values).bytes).command.tone == std::uint8_t(0x11));
    values = filled(CommandType::Refresh);
    values.files = "3F006F07 3F007F206F07";
    QVERIFY(cat::decodeCommand(buildCommand(values).bytes).command.fileList ==
            cat::Bytes({2, 0x3F, 0x00, 0x6F, 0x07, 0x3F, 0x00, 0x7F, 0x20, 0x6F, 0x07}));
}

/// Of the commands that need no user; a profile cannot raise them.
void tst_CommandBuilder::valuesOfTheTerminalsOwnCommandsReachThem()
{
    const auto made = [](CommandType type, std::uint8_t qualifier) {
        CommandValues values = filled(type);
        values.qualifier = qualifier;
        return cat::decodeCommand(buildCommand(values).bytes).command;
    };
    QCOMPARE(made(CommandType::PollInterval, 0).duration->seconds(), 5);
    QVERIFY(made(CommandType::SetUpEventList, 0).eventList == cat::Bytes({0x04, 0x07}));
    QVERIFY(made(CommandType::LanguageNotification, 1).language == "fr");
    const cat::Command start = made(CommandType::TimerManagement, 0), look = made(CommandType::TimerManagement, 2);
    QCOMPARE(int(*start.timerId), 8);
    QVERIFY(start.timerValue == std::chrono::seconds(5));
    QVERIFY(!start.duration);
    QVERIFY(look.timerId && !look.timerValue);
}

void tst_CommandBuilder::codingIsTheOneAskedFor_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("asked"); // -1: none
    QTest::addColumn<int>("coding");

    QTest::newRow("shortest") << "Hello" << -1 << 0x00;
    QTest::newRow("8 bits") << "Hello" << 0x04 << 0x04;
    QTest::newRow("UCS2") << "Hello" << 0x08 << 0x08;
    QTest::newRow("one that cannot hold it") << QString::fromUtf8("Привет") << 0x04 << 0x08;
}

void tst_CommandBuilder::codingIsTheOneAskedFor()
{
    QFETCH(QString, text);
    QFETCH(int, asked);
    CommandValues values = filled(CommandType::DisplayText);
    values.text = text;
    if (asked >= 0)
        values.coding = static_cast<cat::TextCoding>(asked);
    const cat::Command command = cat::decodeCommand(buildCommand(values).bytes).command;
    QTEST(int(command.text->coding), "coding");
    QVERIFY(command.text->value == text.toStdU16String());
}

void tst_CommandBuilder::durationTakesTheUnitThatHoldsIt_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<int>("milliseconds"); // 0: none
    QTest::newRow("none") << 0.0 << 0;
    QTest::newRow("tenths") << 2.5 << 2500;
    QTest::newRow("seconds") << 30.0 << 30000;
    QTest::newRow("most seconds") << 255.0 << 255000;
    QTest::newRow("minutes") << 600.0 << 600000;
    QTest::newRow("part of a second that is not counted") << 100.4 << 100000;
}

void tst_CommandBuilder::durationTakesTheUnitThatHoldsIt()
{
    QFETCH(double, seconds);
    CommandValues values = filled(CommandType::DisplayText);
    values.duration = seconds;
    const std::optional<cat::Duration> duration = cat::decodeCommand(buildCommand(values).bytes).command.duration;
    QTEST(duration ? int(duration->time().count()) : 0, "milliseconds");
}

void tst_CommandBuilder::bracesAreCharacters()
{
    CommandValues values = filled(CommandType::DisplayText);
    values.text = "{name} {{ }";
    QVERIFY(cat::decodeCommand(buildCommand(values).bytes).command.text->value == u"{name} {{ }");
}

void tst_CommandBuilder::valuesThatCannotBeAreRefused_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("problem");

    QTest::newRow("number") << int(CommandType::SetUpCall) << "12a"
                            << "'12a' is no number";
    QTest::newRow("long message") << int(CommandType::SendShortMessage) << QString(200, 'x') << "shorten it";
    QTest::newRow("SS code") << int(CommandType::SendSs) << "x"
                             << "'x' is no code";
    QTest::newRow("USSD code") << int(CommandType::SendUssd) << ""
                               << "such as *100#";
    QTest::newRow("files") << int(CommandType::Refresh) << "3F00 6F"
                           << "'6F' is no path";
    QTest::newRow("lengths") << int(CommandType::GetInput) << ""
                             << "longer than the longest";
    QTest::newRow("text") << int(CommandType::DisplayText) << QString(300, 'x') << "256 at most";
    QTest::newRow("events") << int(CommandType::SetUpEventList) << "4"
                            << "'4' are no events";
    QTest::newRow("no poll interval") << int(CommandType::PollInterval) << ""
                                      << "between two polls";
    QTest::newRow("no time for a timer") << int(CommandType::TimerManagement) << ""
                                         << "of a second at least";
    QTest::newRow("items") << int(CommandType::SelectItem) << ""
                           << "255 items at most";
}

void tst_CommandBuilder::valuesThatCannotBeAreRefused()
{
    QFETCH(int, type);
    QFETCH(QString, value);
    QFETCH(QString, problem);
    CommandValues values = filled(static_cast<CommandType>(type));
    if (values.type == CommandType::SetUpCall)
        values.number = value;
    values.message = value;
    values.code = value;
    values.files = value;
    values.events = value;
    values.duration = 0;
    if (values.type == CommandType::DisplayText)
        values.text = value;
    if (values.type == CommandType::SelectItem)
        values.items = QStringList(QVector<QString>(256, "x").toList());
    values.minimum = 5;
    values.maximum = 4;
    const BuiltCommand built = buildCommand(values);
    QVERIFY2(built.problem.contains(problem), qPrintable(built.problem));
    QVERIFY(built.bytes.empty());
}

void tst_CommandBuilder::bytesAreRead()
{
    const BuiltCommand read = readCommand("d00d 8103012180\n82028102 8D0204 41");
    QCOMPARE(read.problem, QString());
    QCOMPARE(read.bytes.size(), std::size_t(15));
    QCOMPARE(read.words, QString("DISPLAY TEXT \"A\""));
}

void tst_CommandBuilder::refusableCommandIsReadWithAWarning()
{
    const BuiltCommand read = readCommand("D009 8103012180 82028102");
    QCOMPARE(read.problem, QString());
    QVERIFY(!read.bytes.empty());
    QVERIFY2(read.words.startsWith("The terminal will refuse it: DISPLAY TEXT"), qPrintable(read.words));
}

void tst_CommandBuilder::bytesThatAreNoCommandTellWhy_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<QString>("problem");

    QTest::newRow("nothing") << ""
                             << "no bytes";
    QTest::newRow("blanks") << "  \n"
                            << "no bytes";
    QTest::newRow("no digit") << "D0 0G"
                              << "'G' at character 5";
    QTest::newRow("half a byte") << "D00"
                                 << "Byte 2 has only one digit";
    QTest::newRow("another tag") << "8103012180"
                                 << "Byte 1 is 81";
    QTest::newRow("no length") << "D0"
                               << "Byte 2 is no length";
    QTest::newRow("too short") << "D00A 8103012180 82028102"
                               << "9 bytes follow";
    QTest::newRow("too long") << "D009 8103012180 82028102 00"
                              << "10 bytes follow";
    QTest::newRow("no command details") << "D004 82028102"
                                        << "81 03 01 21 80";
    QTest::newRow("more than FETCH brings")
        << "D081FE 8103012180 82028102 8D81F204" + QString("41").repeated(241) << "256 at most";
}

void tst_CommandBuilder::bytesThatAreNoCommandTellWhy()
{
    QFETCH(QString, hex);
    QFETCH(QString, problem);
    const BuiltCommand read = readCommand(hex);
    QVERIFY2(read.problem.contains(problem), qPrintable(read.problem));
    QVERIFY(read.bytes.empty());
}

QTEST_GUILESS_MAIN(tst_CommandBuilder)
#include "tst_CommandBuilder.moc"
