#include "sdk/AtClient.h"

#include <QTest>

using sdk::AtAnswer;
using sdk::AtClient;
using Kind = AtAnswer::Kind;

Q_DECLARE_METATYPE(Kind)

/// What a modem says, cut into lines, answers and news.
class tst_AtClient : public QObject
{
    Q_OBJECT

private slots:
    void linesEndInAnyWay_data();
    void linesEndInAnyWay();
    void linesComeInAnyPieces();
    void tooLongLineIsNoise();
    void longLineIsKept();
    void resultCodes_data();
    void resultCodes();
    void otherLinesAreNoResult_data();
    void otherLinesAreNoResult();
    void informationIsTheCommandsOwn();
    void informationIsBounded();
    void resultWithoutCommandIsStray();
    void resultOfACallWaitsForAnother();
    void resultOfACallCountsAlone();
    void clearForgetsAll();
};

namespace
{

const AtClient::Clock::time_point START = AtClient::Clock::time_point(std::chrono::hours(1));

QStringList linesOf(const QByteArray &bytes, int piece = 1 << 20)
{
    QStringList lines;
    sdk::AtLines cutter;
    for (int at = 0; at < bytes.size(); at += piece)
        cutter.add(std::string_view(bytes.constData() + at, size_t(qMin(piece, bytes.size() - at))),
                   [&](const std::string &line) { lines << QString::fromStdString(line); });
    return lines;
}

struct Modem {
    QStringList unasked;
    AtClient client{[this](const std::string &line) { unasked << QString::fromStdString(line); }};
};

} // namespace

void tst_AtClient::linesEndInAnyWay_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("CR LF around") << QByteArray("\r\nOne\r\n\r\nTwo\r\n");
    QTest::newRow("CR") << QByteArray("One\rTwo\r");
    QTest::newRow("LF") << QByteArray("One\nTwo\n");
    QTest::newRow("LF CR") << QByteArray("One\n\rTwo\n\r");
    QTest::newRow("CR CR LF") << QByteArray("One\r\r\nTwo\r\r\n");
    QTest::newRow("blanks") << QByteArray("  One\t\r\n \r\n Two \r\n");
    QTest::newRow("NUL") << QByteArray("\0On\0e\r\0\nTwo\r", 13);
    QTest::newRow("half a line behind") << QByteArray("One\r\nTwo\r\nThr");
}

void tst_AtClient::linesEndInAnyWay()
{
    QFETCH(QByteArray, bytes);
    QCOMPARE(linesOf(bytes), QStringList({"One", "Two"}));
}

void tst_AtClient::linesComeInAnyPieces()
{
    const QByteArray bytes = "\r\n+CUSATP: D009810301250082028182\r\n\r\nOK\r\n";
    for (int piece = 1; piece < bytes.size(); ++piece)
        QCOMPARE(linesOf(bytes, piece), QStringList({"+CUSATP: D009810301250082028182", "OK"}));
}

void tst_AtClient::tooLongLineIsNoise()
{
    const int most = int(sdk::AtLines::longestLine);
    QCOMPARE(linesOf("A\r" + QByteArray(most + 1, 'x') + "\rB\r"), QStringList({"A", "B"}));
    QCOMPARE(linesOf("A\r" + QByteArray(10 * most, 'x') + "\rB\r", 100), QStringList({"A", "B"}));
}

void tst_AtClient::longLineIsKept()
{
    const QByteArray line(int(sdk::AtLines::longestLine), 'x');
    QCOMPARE(linesOf(line + "\r\n"), QStringList(line));
}

void tst_AtClient::resultCodes_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<int>("error");
    QTest::newRow("OK") << QByteArray("OK") << Kind::Done << -1;
    QTest::newRow("ERROR") << QByteArray("ERROR") << Kind::Refused << -1;
    QTest::newRow("CME") << QByteArray("+CME ERROR: 14") << Kind::Refused << 14;
    QTest::newRow("CME without blank") << QByteArray("+CME ERROR:3") << Kind::Refused << 3;
    QTest::newRow("CME in words") << QByteArray("+CME ERROR: SIM busy") << Kind::Refused << -1;
    QTest::newRow("CME with both") << QByteArray("+CME ERROR: 14 SIM busy") << Kind::Refused << -1;
    QTest::newRow("CMS") << QByteArray("+CMS ERROR: 500") << Kind::Refused << 500;
    QTest::newRow("not supported") << QByteArray("COMMAND NOT SUPPORT") << Kind::Refused << -1;
}

void tst_AtClient::resultCodes()
{
    QFETCH(QByteArray, line);
    Modem modem;
    modem.client.begin(std::string());
    modem.client.add(("\r\n" + line).toStdString(), START);
    QVERIFY(!modem.client.take(START));
    modem.client.add("\r\n", START);
    const std::optional<AtAnswer> answer = modem.client.take(START);
    QVERIFY(answer);
    QTEST(answer->kind, "kind");
    QTEST(answer->error.value_or(-1), "error");
    QVERIFY(!modem.client.take(START));
    QVERIFY(modem.unasked.isEmpty());
}

void tst_AtClient::otherLinesAreNoResult_data()
{
    QTest::addColumn<QByteArray>("line");
    for (const char *const line : {"AT+CUSATT=81", "OKAY", "ok", "NOT OK", "ERRORS", "RING", "+CREG: 1,5", "+CUSATEND",
                                   "+CUSATP: D0", "NO CARRIER 1"})
        QTest::newRow(line) << QByteArray(line);
}

void tst_AtClient::otherLinesAreNoResult()
{
    QFETCH(QByteArray, line);
    Modem modem;
    modem.client.begin("+CUSATE:");
    modem.client.add((line + "\r\n").toStdString(), START);
    QVERIFY(!modem.client.take(START + std::chrono::hours(1)));
    QCOMPARE(modem.unasked, QStringList(line));
    QVERIFY(!modem.client.due());
}

void tst_AtClient::informationIsTheCommandsOwn()
{
    Modem modem;
    modem.client.add("+CUSATR: 7\r\n", START);
    modem.client.begin("+CUSATR:");
    modem.client.add("+CUSATR: 0,\"00\"\r\n+CSQ: 1\r\n+CUSATR:1\r\nOK\r\n", START);
    const std::optional<AtAnswer> answer = modem.client.take(START);
    QVERIFY(answer);
    QCOMPARE(answer->lines, std::vector<std::string>({"0,\"00\"", "1"}));
    QCOMPARE(modem.unasked, QStringList({"+CUSATR: 7", "+CSQ: 1"}));
    // The next command has none of it.
    modem.client.begin(std::string());
    modem.client.add("+CUSATR: 0\r\nOK\r\n", START);
    QVERIFY(modem.client.take(START)->lines.empty());
    QCOMPARE(modem.unasked.last(), QString("+CUSATR: 0"));
    // Nor has it what was said to one that was given up.
    modem.client.begin("+CUSATR:");
    modem.client.add("+CUSATR: 0\r\n", START);
    modem.client.begin("+CUSATR:");
    modem.client.add("OK\r\n", START);
    QVERIFY(modem.client.take(START)->lines.empty());
}

void tst_AtClient::informationIsBounded()
{
    Modem modem;
    modem.client.begin("+X:");
    for (int i = 0; i < 1000; ++i)
        modem.client.add("+X: 1\r\n", START);
    modem.client.add("OK\r\n", START);
    QCOMPARE(modem.client.take(START)->lines.size(), size_t(16));
}

void tst_AtClient::resultWithoutCommandIsStray()
{
    Modem modem;
    modem.client.add("OK\r\nERROR\r\n", START);
    QCOMPARE(modem.client.strayResults(), 2);
    modem.client.begin(std::string());
    QVERIFY(!modem.client.take(START));
    modem.client.add("OK\r\nOK\r\n", START);
    QVERIFY(modem.client.take(START));
    QVERIFY(!modem.client.take(START));
    QCOMPARE(modem.client.strayResults(), 3);
}

void tst_AtClient::resultOfACallWaitsForAnother()
{
    Modem modem;
    modem.client.begin(std::string());
    modem.client.add("NO CARRIER\r\n", START);
    QVERIFY(!modem.client.take(START));
    QVERIFY(modem.client.due());
    const auto due = *modem.client.due();
    modem.client.add("OK\r\n", START);
    QCOMPARE(modem.client.take(START)->kind, Kind::Done);
    QVERIFY(!modem.client.take(due));
    QCOMPARE(modem.client.strayResults(), 0);
}

void tst_AtClient::resultOfACallCountsAlone()
{
    for (const char *const line : {"NO CARRIER\r", "BUSY\r", "NO ANSWER\r", "NO DIALTONE\r", "NO DIAL TONE\r"}) {
        Modem modem;
        modem.client.begin(std::string());
        modem.client.add(line, START);
        const auto due = modem.client.due();
        QVERIFY2(due && *due > START, line);
        QVERIFY(!modem.client.take(*due - std::chrono::milliseconds(1)));
        QCOMPARE(modem.client.take(*due)->kind, Kind::Refused);
        modem.client.add("OK\r\n", *due);
        QVERIFY(!modem.client.take(*due));
    }
}

void tst_AtClient::clearForgetsAll()
{
    Modem modem;
    modem.client.add("OK\r\n", START);
    modem.client.begin(std::string());
    modem.client.add("NO CARRIER\r\nHalf a", START);
    modem.client.clear();
    modem.client.add(" line\r\n", START);
    QCOMPARE(modem.unasked, QStringList("line"));
    QVERIFY(!modem.client.take(START + std::chrono::hours(1)));
    QCOMPARE(modem.client.strayResults(), 0);
}

QTEST_GUILESS_MAIN(tst_AtClient)
#include "tst_AtClient.moc"
