#include "card/ShortMessageTpdu.h"
#include "platform/cat/Hex.h"

#include <QtTest>

class tst_ShortMessageTpdu : public QObject
{
    Q_OBJECT

private slots:
    void readsNumbers_data();
    void readsNumbers();
    void makesTpdus_data();
    void makesTpdus();
};

void tst_ShortMessageTpdu::readsNumbers_data()
{
    QTest::addColumn<QByteArray>("number");
    QTest::addColumn<QByteArray>("address"); // type of number, then the digits; empty: refused
    QTest::newRow("national") << QByteArray("0123456789*#") << QByteArray("81 0123456789*#");
    QTest::newRow("international") << QByteArray("+49") << QByteArray("91 49");
    QTest::newRow("with a pause") << QByteArray("12p3") << QByteArray("81 12c3");
    QTest::newRow("longest") << QByteArray(40, '1') << "81 " + QByteArray(40, '1');
    QTest::newRow("too long") << QByteArray(41, '1') << QByteArray();
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("only a plus") << QByteArray("+") << QByteArray();
    QTest::newRow("two pluses") << QByteArray("++1") << QByteArray();
    QTest::newRow("plus inside") << QByteArray("1+1") << QByteArray();
    QTest::newRow("blank") << QByteArray("1 2") << QByteArray();
    QTest::newRow("letters") << QByteArray("12c") << QByteArray();
}

void tst_ShortMessageTpdu::readsNumbers()
{
    QFETCH(QByteArray, number);
    const std::optional<cat::Address> address = card::addressOf(number.toStdString());
    const QByteArray said =
        address ? QByteArray::number(address->tonNpi, 16) + ' ' + address->digits.c_str() : QByteArray();
    QTEST(said, "address");
}

void tst_ShortMessageTpdu::makesTpdus_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("tpdu"); // empty: refused
    QTest::newRow("empty") << "" << QByteArray("01000391 21F3 00 00 00");
    QTest::newRow("letters") << "hello" << QByteArray("01000391 21F3 00 00 05 E8329BFD06");
    QTest::newRow("extension table") << QString::fromUtf8("€") << QByteArray("01000391 21F3 00 00 02 9B32");
    QTest::newRow("another script") << QString::fromUtf8("Яя") << QByteArray("01000391 21F3 00 08 04 042F044F");
    QTest::newRow("surrogate pair") << QString::fromUtf8("😀") << QByteArray("01000391 21F3 00 08 04 D83DDE00");
    QTest::newRow("too long") << QString(161, 'a') << QByteArray();
    QTest::newRow("too long with characters of two septets")
        << QString(158, 'a') + QString::fromUtf8("€a") << QByteArray();
    QTest::newRow("too long in another script") << QString(71, QChar(0x42F)) << QByteArray();
}

void tst_ShortMessageTpdu::makesTpdus()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, tpdu);
    const std::optional<cat::Bytes> made = card::submitTpdu({0x91, "123"}, text.toStdU16String());
    QCOMPARE(made ? hexOf(*made) : QByteArray(), tpdu.replace(" ", ""));
}

QTEST_APPLESS_MAIN(tst_ShortMessageTpdu)
#include "tst_ShortMessageTpdu.moc"
