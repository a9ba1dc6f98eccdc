#include "cat/Bytes.h"

#include <QtTest>

class tst_Bytes : public QObject
{
    Q_OBJECT

private slots:
    void writesUpperCaseDigits();
    void readsDigits_data();
    void readsDigits();
    void refusesOtherText_data();
    void refusesOtherText();
    void viewCoversTheBytes();
};

void tst_Bytes::writesUpperCaseDigits()
{
    QCOMPARE(cat::toHex(cat::Bytes{}), std::string());
    QCOMPARE(cat::toHex(cat::Bytes{0x00, 0x0A, 0xD0, 0xFF}), std::string("000AD0FF"));
}

void tst_Bytes::readsDigits_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("only blanks") << QByteArray(" \t\r\n ") << QByteArray();
    QTest::newRow("lower case") << QByteArray("d0ff") << QByteArray("D0FF");
    QTest::newRow("blanks between bytes") << QByteArray(" D0 0A\n\tff ") << QByteArray("D00AFF");
}

void tst_Bytes::readsDigits()
{
    QFETCH(QByteArray, text);
    cat::Bytes bytes{0x55};
    QVERIFY(cat::fromHex(text.toStdString(), &bytes));
    QTEST(QByteArray::fromStdString(cat::toHex(bytes)), "hex");
}

void tst_Bytes::refusesOtherText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("a digit without its pair") << QByteArray("D00");
    QTest::newRow("a blank inside a byte") << QByteArray("D 0");
    QTest::newRow("no digit") << QByteArray("D00G");
    QTest::newRow("prefix") << QByteArray("0xD0");
    QTest::newRow("zero byte") << QByteArray("D0\0D0", 5);
    QTest::newRow("separator") << QByteArray("D0:00");
    QTest::newRow("just before the digits") << QByteArray("/0");
    QTest::newRow("just behind the digits") << QByteArray(":0");
    QTest::newRow("just behind F") << QByteArray("0g");
}

void tst_Bytes::refusesOtherText()
{
    QFETCH(QByteArray, text);
    cat::Bytes bytes{0x55};
    QVERIFY(!cat::fromHex(text.toStdString(), &bytes));
    QCOMPARE(bytes, cat::Bytes{0x55});
}

void tst_Bytes::viewCoversTheBytes()
{
    QVERIFY(cat::ByteView().empty());
    const cat::Bytes bytes{1, 2, 3};
    const cat::ByteView view(bytes);
    QCOMPARE(view.size, bytes.size());
    QCOMPARE(cat::Bytes(view.begin(), view.end()), bytes);
    QCOMPARE(int(view[2]), 3);
}

QTEST_APPLESS_MAIN(tst_Bytes)
#include "tst_Bytes.moc"
