#include "platform/cat/Wrap.h"

#include <QtTest>

using cat::Bytes;
using cat::Command;
using cat::CommandType;
using cat::Device;
using cat::Result;
using cat::TextCoding;

/// What data objects hold: texts in their codings, lengths in their forms, durations, digits.
class tst_Values : public QObject
{
    Q_OBJECT

private slots:
    void textsBothWays_data();
    void textsBothWays();
    void packedTextOfEveryLength_data();
    void packedTextOfEveryLength();
    void readsOtherCodingSchemes_data();
    void readsOtherCodingSchemes();
    void takesUcs2ForWhatTheCodingLacks_data();
    void takesUcs2ForWhatTheCodingLacks();
    void alphaIdentifiersDecode_data();
    void alphaIdentifiersDecode();
    void ussdBothWays_data();
    void ussdBothWays();
    void lengthForms_data();
    void lengthForms();
    void outerLengthFormsOfTheCard_data();
    void outerLengthFormsOfTheCard();
    void durations_data();
    void durations();
    void addressesBothWays_data();
    void addressesBothWays();
    void leavesOutCharactersThatAreNoDigits();
};

void tst_Values::textsBothWays_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("coding");
    const auto row = [](const char *name, const char *value, const char *text, TextCoding coding) {
        QTest::newRow(name) << QByteArray(value) << QString::fromUtf8(text) << static_cast<int>(coding);
    };
    row("8 bit", "0441", "A", TextCoding::Gsm8Bit);
    row("packed", "0031D98C5603", "12345", TextCoding::Gsm7Packed);
    row("UCS2", "0804100042", "АB", TextCoding::Ucs2);
    row("UCS2, surrogate pairs", "08D83DDE000041D83CDF0D", "😀A🌍", TextCoding::Ucs2);
    // Each character of the extension table (3GPP TS 23.038 clause 6.2.1.1).
    row("extension, 8 bit", "041B0A1B141B281B291B2F1B3C1B3D1B3E1B401B65", "\f^{}\\[~]|€", TextCoding::Gsm8Bit);
    row("extension, UCS2", "08000C005E007B007D005C005B007E005D007C20AC", "\f^{}\\[~]|€", TextCoding::Ucs2);
    row("form feed, packed", "001B05", "\f", TextCoding::Gsm7Packed);
    row("caret, packed", "001B0A", "^", TextCoding::Gsm7Packed);
    row("left brace, packed", "001B14", "{", TextCoding::Gsm7Packed);
    row("right brace, packed", "009B14", "}", TextCoding::Gsm7Packed);
    row("backslash, packed", "009B17", "\\", TextCoding::Gsm7Packed);
    row("left bracket, packed", "001B1E", "[", TextCoding::Gsm7Packed);
    row("tilde, packed", "009B1E", "~", TextCoding::Gsm7Packed);
    row("right bracket, packed", "001B1F", "]", TextCoding::Gsm7Packed);
    row("bar, packed", "001B20", "|", TextCoding::Gsm7Packed);
    row("euro, packed", "009B32", "€", TextCoding::Gsm7Packed);
    row("extension among others, packed", "001BDEA6BCF101", "[€]", TextCoding::Gsm7Packed);
}

void tst_Values::textsBothWays()
{
    QFETCH(QByteArray, value);
    const cat::DecodedCommand decoded = decode(textHead + object("8D", value));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QTEST(textOf(decoded.command.text->value), "text");
    QTEST(static_cast<int>(decoded.command.text->coding), "coding");
    QCOMPARE(objectIn(cat::encodeCommand(decoded.command), cat::Tag::TextString), value);
}

void tst_Values::packedTextOfEveryLength_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("octets");
    QTest::addColumn<QString>("read"); // what a reader makes of it
    const auto row = [](const char *name, const char *text, const char *octets) {
        QTest::newRow(name) << text << QByteArray(octets) << text;
    };
    row("1 modulo 8", "1", "31");
    row("2 modulo 8", "12", "3119");
    row("3 modulo 8", "123", "31D90C");
    row("4 modulo 8", "1234", "31D98C06");
    row("5 modulo 8", "12345", "31D98C5603");
    row("6 modulo 8", "123456", "31D98C56B301");
    row("7 modulo 8: spare bits are a carriage return", "1234567", "31D98C56B3DD1A");
    row("0 modulo 8", "12345678", "31D98C56B3DD70");
    row("9", "123456789", "31D98C56B3DD7039");
    row("15", "123456789012345", "31D98C56B3DD7039584C36A3D51A");
    row("16", "1234567890123456", "31D98C56B3DD7039584C36A3D56C");
    row("at sign before the border", "123456@", "31D98C56B3011A");
    // Seven zero bits at the end of an octet are the at sign by the letter and padding by the habit of older cards.
    QTest::newRow("at sign on the border is lost") << "1234567@" << QByteArray("31D98C56B3DD00") << "1234567";
    QTest::newRow("carriage return on the border is doubled")
        << "1234567\r" << QByteArray("31D98C56B3DD1A0D") << "1234567\r\r";
}

void tst_Values::packedTextOfEveryLength()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, octets);
    Command command;
    command.details.type = CommandType::DisplayText;
    command.destination = Device::Display;
    command.text = cat::Text{text.toStdU16String(), TextCoding::Gsm7Packed};
    const Bytes encoded = cat::encodeCommand(command);
    QCOMPARE(objectIn(encoded, cat::Tag::TextString), "00" + octets);
    QTEST(textOf(cat::decodeCommand(encoded).command.text->value), "read");
}

void tst_Values::readsOtherCodingSchemes_data()
{
    QTest::addColumn<QByteArray>("objects");
    QTest::addColumn<int>("coding");
    const auto row = [](const char *name, const QByteArray &objects, TextCoding coding) {
        QTest::newRow(name) << objects << static_cast<int>(coding);
    };
    row("general group with a class, packed", textHead + "8D021041", TextCoding::Gsm7Packed);
    row("general group with a class, 8 bit", textHead + "8D021541", TextCoding::Gsm8Bit);
    row("general group with a class, UCS2", textHead + "8D03180041", TextCoding::Ucs2);
    row("reserved alphabet", textHead + "8D020C41", TextCoding::Gsm7Packed);
    row("automatic deletion, UCS2", textHead + "8D03480041", TextCoding::Ucs2);
    row("class group, packed", textHead + "8D02F041", TextCoding::Gsm7Packed);
    row("class group, 8 bit", textHead + "8D02F441", TextCoding::Gsm8Bit);
    row("reserved group", textHead + "8D028441", TextCoding::Gsm7Packed);
    row("message waiting, packed", textHead + "8D02C041", TextCoding::Gsm7Packed);
    row("message waiting, UCS2", textHead + "8D03E00041", TextCoding::Ucs2);
    row("nothing behind 8 bit", textHead + "8D0104", TextCoding::Gsm8Bit);
    row("nothing behind UCS2", textHead + "8D0108", TextCoding::Ucs2);
    row("no text at all", textHead + "8D00", TextCoding::Gsm8Bit);
}

void tst_Values::readsOtherCodingSchemes()
{
    QFETCH(QByteArray, objects);
    const cat::DecodedCommand decoded = decode(objects);
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QTEST(static_cast<int>(decoded.command.text->coding), "coding");
    const bool none = objects.endsWith("8D00") || objects.contains("8D01");
    QCOMPARE(textOf(decoded.command.text->value), QString(none ? "" : "A"));
    if (none)
        QCOMPARE(objectIn(cat::encodeCommand(decoded.command), cat::Tag::TextString), QByteArray());
}

void tst_Values::takesUcs2ForWhatTheCodingLacks_data()
{
    QTest::addColumn<int>("coding");
    QTest::newRow("8 bit") << static_cast<int>(TextCoding::Gsm8Bit);
    QTest::newRow("packed") << static_cast<int>(TextCoding::Gsm7Packed);
    QTest::newRow("UCS2") << static_cast<int>(TextCoding::Ucs2);
}

void tst_Values::takesUcs2ForWhatTheCodingLacks()
{
    QFETCH(int, coding);
    Command command;
    command.details.type = CommandType::GetInput;
    command.text = cat::Text{u"A\u0414", static_cast<TextCoding>(coding)};
    command.defaultText = cat::Text{u"\u0414", static_cast<TextCoding>(coding)};
    const Bytes encoded = cat::encodeCommand(command);
    QCOMPARE(objectIn(encoded, cat::Tag::TextString), QByteArray("0800410414"));
    QCOMPARE(objectIn(encoded, cat::Tag::DefaultText), QByteArray("080414"));
    command.details.type = CommandType::SendUssd;
    command.ussd = command.text;
    QCOMPARE(objectIn(cat::encodeCommand(command), cat::Tag::UssdString), QByteArray("4800410414"));
}

void tst_Values::alphaIdentifiersDecode_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const char *value, const char *text) {
        QTest::newRow(name) << QByteArray(value) << QString::fromUtf8(text);
    };
    row("null", "", "");
    row("extension in the default alphabet", "411B6542", "A€B");
    row("extension in coding 80", "80005B20AC005D", "[€]");
    row("surrogate pairs in coding 80", "80D83DDE000041D83CDF0D", "😀A🌍");
    row("extension in coding 81", "810508901B651B3C", "А€[");
    row("extension in coding 82", "82050410801B651B3C", "А€[");
}

void tst_Values::alphaIdentifiersDecode()
{
    QFETCH(QByteArray, value);
    const cat::DecodedCommand decoded = decode(toneHead + object("85", value));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QTEST(textOf(*decoded.command.alphaId), "text");
    const Command again = cat::decodeCommand(cat::encodeCommand(decoded.command)).command;
    QTEST(textOf(*again.alphaId), "text");
    QVERIFY(objectIn(cat::encodeCommand(again), cat::Tag::AlphaIdentifier).size() <= value.size());
}

void tst_Values::ussdBothWays_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("encoded");
    const auto row = [](const char *name, const char *value, const char *text, const char *encoded) {
        QTest::newRow(name) << QByteArray(value) << QString::fromUtf8(text) << QByteArray(encoded);
    };
    row("packed without a class", "F0AA180CA6BAD96AB4992C36B201", "*100*7654321#6", "F0AA180CA6BAD96AB4992C36B201");
    row("packed, language unspecified", "0FAA180C3602", "*100#", "F0AA180C3602");
    row("packed, German", "00AA180C3602", "*100#", "F0AA180C3602");
    row("packed, reserved group", "B0AA180C3602", "*100#", "F0AA180C3602");
    row("packed, seven characters", "F0AA180CA6AA8D1A", "*100*5#", "F0AA180CA6AA8D1A");
    row("8 bit", "442A31303023", "*100#", "442A31303023");
    row("8 bit with a class", "F52A31303023", "*100#", "442A31303023");
    row("8 bit with a class in the general group", "552A31303023", "*100#", "442A31303023");
    row("UCS2", "4804170414", "ЗД", "4804170414");
    row("UCS2, surrogate pair", "48D83DDE00", "😀", "48D83DDE00");
    row("no characters", "F0", "", "F0");
}

void tst_Values::ussdBothWays()
{
    QFETCH(QByteArray, value);
    QFETCH(QByteArray, encoded);
    const cat::DecodedCommand decoded = decode(ussdHead + object("8A", value));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QTEST(textOf(decoded.command.ussd->value), "text");
    QCOMPARE(objectIn(cat::encodeCommand(decoded.command), cat::Tag::UssdString), encoded);
}

void tst_Values::lengthForms_data()
{
    QTest::addColumn<int>("characters");
    QTest::addColumn<QByteArray>("outer");
    QTest::addColumn<QByteArray>("inner");
    // Details and devices take 9 bytes; tag, length and coding of the text 3, 4 or 5.
    QTest::newRow("both 00 to 7F") << 1 << QByteArray("0D") << QByteArray("02");
    QTest::newRow("outer 7F") << 115 << QByteArray("7F") << QByteArray("74");
    QTest::newRow("outer 81 80") << 116 << QByteArray("8180") << QByteArray("75");
    QTest::newRow("inner 7F") << 126 << QByteArray("818A") << QByteArray("7F");
    QTest::newRow("inner 81 80") << 127 << QByteArray("818C") << QByteArray("8180");
    QTest::newRow("outer 81 FF") << 242 << QByteArray("81FF") << QByteArray("81F3");
    QTest::newRow("outer 82") << 243 << QByteArray("820100") << QByteArray("81F4");
    QTest::newRow("inner 81 FF") << 254 << QByteArray("82010B") << QByteArray("81FF");
    QTest::newRow("inner 82") << 255 << QByteArray("82010D") << QByteArray("820100");
}

void tst_Values::lengthForms()
{
    QFETCH(int, characters);
    QFETCH(QByteArray, outer);
    QFETCH(QByteArray, inner);
    const QByteArray pdu =
        "D0" + outer + "810301218082028102" + "8D" + inner + "04" + QByteArray("41").repeated(characters);
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(pdu));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QCOMPARE(textOf(decoded.command.text->value), QString(characters, 'A'));
    QCOMPARE(hexOf(cat::encodeCommand(decoded.command)), pdu);
}

void tst_Values::outerLengthFormsOfTheCard_data()
{
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<bool>("good");
    QTest::newRow("shortest") << QByteArray("D00D8103012180820281028D020441") << true;
    QTest::newRow("outer 81") << QByteArray("D0810D8103012180820281028D020441") << true;
    QTest::newRow("outer 82") << QByteArray("D082000D8103012180820281028D020441") << true;
    QTest::newRow("outer 83") << QByteArray("D08300000D8103012180820281028D020441") << true;
    QTest::newRow("inner 81") << QByteArray("D00E8103012180820281028D81020441") << true;
    QTest::newRow("inner 82") << QByteArray("D00F8103012180820281028D8200020441") << true;
    QTest::newRow("details in form 81") << QByteArray("D00E818103012180820281028D020441") << true;
    QTest::newRow("indefinite outer length") << QByteArray("D0808103012180820281028D020441") << false;
    QTest::newRow("indefinite inner length") << QByteArray("D00D8103012180820281028D800441") << false;
    QTest::newRow("form 84") << QByteArray("D0840000000D8103012180820281028D020441") << false;
    QTest::newRow("length without its digits") << QByteArray("D082") << false;
}

void tst_Values::outerLengthFormsOfTheCard()
{
    QFETCH(QByteArray, pdu);
    QFETCH(bool, good);
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(pdu));
    QCOMPARE(decoded.result == Result::Performed, good);
    QCOMPARE(decoded.command.text.has_value(), good);
}

void tst_Values::durations_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("milliseconds");
    QTest::addColumn<int>("seconds");
    QTest::newRow("one tenth") << QByteArray("0201") << 100 << 1;
    QTest::newRow("ten tenths") << QByteArray("020A") << 1000 << 1;
    QTest::newRow("eleven tenths") << QByteArray("020B") << 1100 << 2;
    QTest::newRow("most tenths") << QByteArray("02FF") << 25500 << 26;
    QTest::newRow("a second") << QByteArray("0101") << 1000 << 1;
    QTest::newRow("most seconds") << QByteArray("01FF") << 255000 << 255;
    QTest::newRow("a minute") << QByteArray("0001") << 60000 << 60;
    QTest::newRow("most minutes") << QByteArray("00FF") << 15300000 << 15300;
}

void tst_Values::durations()
{
    QFETCH(QByteArray, value);
    const Command command = decode(keyHead + "8D020441 8402" + value).command;
    QTEST(int(command.duration->time().count()), "milliseconds");
    QTEST(command.duration->seconds(), "seconds");
    QCOMPARE(objectIn(cat::encodeCommand(command), cat::Tag::Duration), value);
}

void tst_Values::addressesBothWays_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("tonNpi");
    QTest::addColumn<QString>("digits");
    QTest::newRow("an even number of digits") << QByteArray("912143") << 0x91 << "1234";
    QTest::newRow("an odd number of digits") << QByteArray("8121F3") << 0x81 << "123";
    QTest::newRow("star and hash") << QByteArray("FFBA13FB") << 0xFF << "*#31#";
    QTest::newRow("pause, wild card and expansion") << QByteArray("911CDEF2") << 0x91 << "c1ed2";
}

void tst_Values::addressesBothWays()
{
    QFETCH(QByteArray, value);
    const Command call = decode(callHead + object("86", value)).command;
    QTEST(int(call.address->tonNpi), "tonNpi");
    QTEST(QString::fromStdString(call.address->digits), "digits");
    QCOMPARE(objectIn(cat::encodeCommand(call), cat::Tag::Address), value);
    const Command ss = decode("8103011100 82028183" + object("89", value)).command;
    QTEST(QString::fromStdString(ss.ss->digits), "digits");
    QCOMPARE(objectIn(cat::encodeCommand(ss), cat::Tag::SsString), value);
}

void tst_Values::leavesOutCharactersThatAreNoDigits()
{
    Command command;
    command.details.type = CommandType::SetUpCall;
    command.address = cat::Address{0x91, "+49 (30) 1f"};
    QCOMPARE(objectIn(cat::encodeCommand(command), cat::Tag::Address), QByteArray("919403F1"));
}

QTEST_APPLESS_MAIN(tst_Values)
#include "tst_Values.moc"
