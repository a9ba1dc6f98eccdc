#include "dashboard/ExchangeText.h"

#include <QTest>

using namespace dashboard;
using Kind = sdk::Exchange::Kind;

class tst_ExchangeText : public QObject
{
    Q_OBJECT

private slots:
    void lineTellsAll_data();
    void lineTellsAll();
    void partsStandAlone();
    void idleTextIsFound_data();
    void idleTextIsFound();
};

void tst_ExchangeText::lineTellsAll_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("line");

    const QByteArray none;
    QTest::newRow("command") << int(Kind::Command) << QByteArray("SELECT ITEM") << QByteArray("\xD0\x01\xfe")
                             << "card asks: SELECT ITEM | D0 01 FE";
    QTest::newRow("response") << int(Kind::Response) << QByteArray("done") << QByteArray("\x81") << "answer: done | 81";
    QTest::newRow("choice") << int(Kind::Envelope) << QByteArray("MENU SELECTION \"One\"") << QByteArray("\xD3")
                            << "envelope: MENU SELECTION \"One\" | D3";
    QTest::newRow("timer") << int(Kind::Envelope) << QByteArray("TIMER EXPIRATION, timer 1 after 300 s")
                           << QByteArray("\xD7") << "envelope: TIMER EXPIRATION, timer 1 after 300 s | D7";
    QTest::newRow("device") << int(Kind::Device) << QByteArray("gone") << none << "device: gone";
    QTest::newRow("note") << int(Kind::Note) << QByteArray("odd") << none << "note: odd";
    QTest::newRow("no known kind") << 99 << QByteArray("odd") << none << "kind 99: odd";
    QTest::newRow("no text") << int(Kind::Note) << none << none << "note: ";
    QTest::newRow("other scripts") << int(Kind::Note) << QByteArray("\xd0\x9c\xd0\xb5\xd0\xbd\xd1\x8e") << none
                                   << QString::fromUtf8("note: \xd0\x9c\xd0\xb5\xd0\xbd\xd1\x8e");
    QTest::newRow("line ends") << int(Kind::Note) << QByteArray("a\nb\r\nc") << none << "note: a\\nb\\r\\nc";
    QTest::newRow("control characters") << int(Kind::Note) << QByteArray("a\tb\x1b[1mc\x7f") << none
                                        << "note: a\\x09b\\x1b[1mc\\x7f";
    QTest::newRow("other line ends") << int(Kind::Note)
                                     << QByteArray("a\xe2\x80\xa8"
                                                   "b")
                                     << none << "note: a\\x2028b";
}

void tst_ExchangeText::lineTellsAll()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, line);
    sdk::Exchange exchange;
    exchange.kind = static_cast<Kind>(kind);
    exchange.text = text.toStdString();
    exchange.bytes.assign(bytes.begin(), bytes.end());
    QCOMPARE(toLine(describe(exchange)), line);
}

void tst_ExchangeText::partsStandAlone()
{
    const SessionEntry entry = describe({Kind::Command, "SET UP MENU", {0xD0, 0x0A}});
    QCOMPARE(directionOf(entry.kind), QString("card asks"));
    QCOMPARE(entry.text, QString("SET UP MENU"));
    QCOMPARE(spacedHex(entry.bytes), QString("D0 0A"));
    QCOMPARE(toLine(hostEntry("ready\nsteady")), QString("host: ready\\nsteady"));
}

void tst_ExchangeText::idleTextIsFound_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text"); // null: none

    const QByteArray idle("D0 0F 81 03 01 28 00 82 02 81 82 8D 04 04 48 69 21");
    QTest::newRow("text") << int(Kind::Command) << idle << "Hi!";
    QTest::newRow("empty text takes it away")
        << int(Kind::Command) << QByteArray("D0 0B 81 03 01 28 00 82 02 81 82 8D 00") << "";
    QTest::newRow("line end") << int(Kind::Command) << QByteArray("D0 0E 81 03 01 28 00 82 02 81 82 8D 03 04 48 0A")
                              << "H\\n";
    QTest::newRow("the same bytes in another direction") << int(Kind::Response) << idle << QString();
    QTest::newRow("another command") << int(Kind::Command)
                                     << QByteArray("D0 0F 81 03 01 21 80 82 02 81 02 8D 04 04 48 69 21") << QString();
    QTest::newRow("no text in it") << int(Kind::Command) << QByteArray("D0 09 81 03 01 28 00 82 02 81 82") << QString();
    QTest::newRow("cut off") << int(Kind::Command) << idle.left(30) << QString();
    QTest::newRow("nothing") << int(Kind::Command) << QByteArray() << QString();
}

void tst_ExchangeText::idleTextIsFound()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    const QByteArray raw = QByteArray::fromHex(bytes);
    const std::optional<QString> found =
        idleTextOf({static_cast<Kind>(kind), "command", cat::Bytes(raw.begin(), raw.end())});
    QCOMPARE(found.has_value(), !text.isNull());
    if (found)
        QCOMPARE(*found, text);
}

QTEST_GUILESS_MAIN(tst_ExchangeText)
#include "tst_ExchangeText.moc"
