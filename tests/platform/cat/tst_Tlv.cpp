#include "cat/Tlv.h"
#include "platform/cat/Hex.h"

#include <QtTest>

namespace
{

/// "1!:0102 5:" : the tag in hexadecimal, ! for the comprehension flag, the value; a final ? when the rest is no
/// object.
QByteArray walk(const cat::Bytes &bytes)
{
    QByteArray out;
    cat::TlvReader reader(bytes);
    while (const auto object = reader.next()) {
        out += (out.isEmpty() ? "" : " ") + QByteArray::number(static_cast<int>(object->tag), 16) +
               (object->comprehension ? "!:" : ":") + hexOf(object->value);
    }
    return out + (reader.malformed() ? " ?" : "");
}

} // namespace

class tst_Tlv : public QObject
{
    Q_OBJECT

private slots:
    void walksOverObjects_data();
    void walksOverObjects();
    void readsEveryLengthForm_data();
    void readsEveryLengthForm();
    void readsBerObjects_data();
    void readsBerObjects();
    void refusesWhatIsNoBerObject_data();
    void refusesWhatIsNoBerObject();
    void writesTheShortestLength_data();
    void writesTheShortestLength();
    void writesObjects();
    void staysAtTheFault();
};

void tst_Tlv::walksOverObjects_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QByteArray>("objects");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("with and without comprehension flag")
        << QByteArray("8103010203050141") << QByteArray("1!:010203 5:41");
    QTest::newRow("empty value") << QByteArray("8F008F00") << QByteArray("f!: f!:");
    QTest::newRow("tag of three bytes") << QByteArray("7F0123024142850143") << QByteArray("123:4142 5!:43");
    QTest::newRow("tag of three bytes with flag") << QByteArray("7F8123014185") + "0143" << QByteArray("123!:41 5!:43");
    QTest::newRow("tag of three bytes behind FF") << QByteArray("FF01230141") << QByteArray("123:41");
    QTest::newRow("tag without a length") << QByteArray("85") << QByteArray(" ?");
    QTest::newRow("value cut off") << QByteArray("85024141050341") << QByteArray("5!:4141 ?");
    QTest::newRow("tag of three bytes cut off") << QByteArray("7F01") << QByteArray(" ?");
    QTest::newRow("length cut off") << QByteArray("058201") << QByteArray(" ?");
    QTest::newRow("length without end") << QByteArray("058041") << QByteArray(" ?");
    QTest::newRow("length of four bytes") << QByteArray("05840000000141") << QByteArray(" ?");
    QTest::newRow("greatest length") << QByteArray("0583FFFFFF41") << QByteArray(" ?");
}

void tst_Tlv::walksOverObjects()
{
    QFETCH(QByteArray, hex);
    QTEST(walk(bytesOf(hex)), "objects");
}

void tst_Tlv::readsEveryLengthForm_data()
{
    QTest::addColumn<QByteArray>("length");
    QTest::addColumn<int>("size");
    QTest::newRow("one byte, least") << QByteArray("00") << 0;
    QTest::newRow("one byte, most") << QByteArray("7F") << 0x7F;
    QTest::newRow("81, longer than it needs to be") << QByteArray("8105") << 5;
    QTest::newRow("82, longer than it needs to be") << QByteArray("820005") << 5;
    QTest::newRow("83, longer than it needs to be") << QByteArray("83000005") << 5;
    QTest::newRow("83, nothing") << QByteArray("83000000") << 0;
    QTest::newRow("81, most") << QByteArray("81FF") << 0xFF;
    QTest::newRow("82") << QByteArray("820100") << 0x100;
    QTest::newRow("82, most") << QByteArray("82FFFF") << 0xFFFF;
    QTest::newRow("83") << QByteArray("83010000") << 0x10000;
}

void tst_Tlv::readsEveryLengthForm()
{
    QFETCH(QByteArray, length);
    QFETCH(int, size);
    cat::Bytes bytes = bytesOf("8D" + length);
    bytes.resize(bytes.size() + static_cast<std::size_t>(size), 0x41);
    const auto object = cat::TlvReader(bytes).next();
    QVERIFY(object);
    QCOMPARE(object->value.size, static_cast<std::size_t>(size));
    QCOMPARE(object->value.end(), bytes.data() + bytes.size());
    const auto ber = cat::readBer(bytes);
    QVERIFY(ber && ber->complete);
    QCOMPARE(ber->value.size, static_cast<std::size_t>(size));
}

void tst_Tlv::readsBerObjects_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("complete");
    QTest::newRow("exact") << QByteArray("D0024142") << QByteArray("4142") << true;
    QTest::newRow("empty") << QByteArray("D000") << QByteArray() << true;
    QTest::newRow("bytes behind it are not its own") << QByteArray("D0014142FF") << QByteArray("41") << true;
    QTest::newRow("shorter than announced") << QByteArray("D0034142") << QByteArray("4142") << false;
    QTest::newRow("nothing behind the length") << QByteArray("D07F") << QByteArray() << false;
}

void tst_Tlv::readsBerObjects()
{
    QFETCH(QByteArray, hex);
    const cat::Bytes bytes = bytesOf(hex);
    const auto object = cat::readBer(bytes);
    QVERIFY(object);
    QCOMPARE(int(object->tag), 0xD0);
    QTEST(hexOf(object->value), "value");
    QTEST(object->complete, "complete");
}

void tst_Tlv::refusesWhatIsNoBerObject_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("only a tag") << QByteArray("D0");
    QTest::newRow("length cut off") << QByteArray("D081");
    QTest::newRow("length without end") << QByteArray("D080");
    QTest::newRow("length of four bytes") << QByteArray("D08400000000");
}

void tst_Tlv::refusesWhatIsNoBerObject()
{
    QFETCH(QByteArray, hex);
    QVERIFY(!cat::readBer(bytesOf(hex)));
}

void tst_Tlv::writesTheShortestLength_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("0") << 0 << QByteArray("00");
    QTest::newRow("127") << 127 << QByteArray("7F");
    QTest::newRow("128") << 128 << QByteArray("8180");
    QTest::newRow("255") << 255 << QByteArray("81FF");
    QTest::newRow("256") << 256 << QByteArray("820100");
    QTest::newRow("65535") << 65535 << QByteArray("82FFFF");
    QTest::newRow("65536") << 65536 << QByteArray("83010000");
}

void tst_Tlv::writesTheShortestLength()
{
    QFETCH(int, length);
    cat::Bytes out;
    cat::appendLength(&out, static_cast<std::size_t>(length));
    QTEST(hexOf(out), "hex");
}

void tst_Tlv::writesObjects()
{
    cat::Bytes out;
    cat::appendObject(&out, cat::Tag::Item, true, bytesOf("0141"));
    cat::appendObject(&out, cat::Tag::HelpRequest, false, cat::ByteView());
    QCOMPARE(hexOf(out), QByteArray("8F0201411500"));
    QCOMPARE(hexOf(cat::berObject(cat::BerTag::MenuSelection, out)), QByteArray("D3068F0201411500"));
}

void tst_Tlv::staysAtTheFault()
{
    const cat::Bytes bytes = bytesOf("8502414105");
    cat::TlvReader reader(bytes);
    QVERIFY(reader.next());
    QVERIFY(!reader.malformed());
    for (int i = 0; i < 3; ++i) {
        QVERIFY(!reader.next());
        QVERIFY(reader.malformed());
        QCOMPARE(hexOf(reader.rest()), QByteArray("05"));
    }
}

QTEST_APPLESS_MAIN(tst_Tlv)
#include "tst_Tlv.moc"
