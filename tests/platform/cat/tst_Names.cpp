#include "cat/Command.h"

#include <QtTest>

using cat::CommandType;
using cat::Result;

class tst_Names : public QObject
{
    Q_OBJECT

private slots:
    void namesCommands();
    void explainsResults();
    void namesTones_data();
    void namesTones();
};

void tst_Names::namesCommands()
{
    QCOMPARE(cat::commandName(CommandType::SelectItem), std::string("SELECT ITEM"));
    QCOMPARE(cat::commandName(CommandType::SetUpMenu), std::string("SET UP MENU"));
    QCOMPARE(cat::commandName(CommandType::SetUpIdleModeText), std::string("SET UP IDLE MODE TEXT"));
    QCOMPARE(cat::commandName(static_cast<CommandType>(0x7F)), std::string("COMMAND 7F"));
}

void tst_Names::explainsResults()
{
    QCOMPARE(cat::resultMeaning(Result::Performed), std::string("command performed successfully"));
    QCOMPARE(cat::resultMeaning(Result::BackwardMove), std::string("backward move requested by the user"));
    QCOMPARE(cat::resultMeaning(static_cast<Result>(0x7E)), std::string("result 7E"));
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

QTEST_APPLESS_MAIN(tst_Names)
#include "tst_Names.moc"
