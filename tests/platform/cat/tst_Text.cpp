#include "cat/Text.h"
#include "platform/cat/Hex.h"

#include <QtTest>

namespace
{

QByteArray hexOrNothing(const std::optional<cat::Bytes> &bytes)
{
    return bytes ? hexOf(*bytes) : QByteArray("nothing");
}

} // namespace

class tst_Text : public QObject
{
    Q_OBJECT

private slots:
    void gsm8BitBothWays_data();
    void gsm8BitBothWays();
    void gsm8BitDecodesWhatNobodyEncodes_data();
    void gsm8BitDecodesWhatNobodyEncodes();
    void gsm8BitReadsNothingBehindItsEnd();
    void everySeptetSurvives();
    void gsmRefusesOtherCharacters_data();
    void gsmRefusesOtherCharacters();
    void gsm7PackedBothWays_data();
    void gsm7PackedBothWays();
    void gsm7PackedSpareBitsAreNoCharacter();
    void gsm7PackedSurvivesAnyLength();
    void ucs2Decodes_data();
    void ucs2Decodes();
    void ucs2Encodes();
    void alphaDecodes_data();
    void alphaDecodes();
    void alphaRefusesContradictions_data();
    void alphaRefusesContradictions();
    void alphaTakesTheShortestCoding_data();
    void alphaTakesTheShortestCoding();
    void alphaOfLongTextsFallsBack();
    void utf8BothWays_data();
    void utf8BothWays();
    void utf8FaultsBecomeReplacements_data();
    void utf8FaultsBecomeReplacements();
    void loneSurrogatesBecomeReplacements();
};

void tst_Text::gsm8BitBothWays_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("letters") << QByteArray("546F6F6C6B6974204D656E75") << "Toolkit Menu";
    QTest::newRow("at sign is zero") << QByteArray("610062") << "a@b";
    QTest::newRow("western letters") << QByteArray("5B5C5D5E7B7C7D7E1E04050906") << QString::fromUtf8("ÄÖÑÜäöñüßèéÇù");
    QTest::newRow("Greek capitals") << QByteArray("1012131415161718191A") << QString::fromUtf8("ΔΦΓΛΩΠΨΣΘΞ");
    QTest::newRow("extension table") << QByteArray("1B0A1B141B281B291B2F1B3C1B3D1B3E1B401B65")
                                     << QString::fromUtf8("\f^{}\\[~]|€");
    QTest::newRow("extension among others") << QByteArray("35201B6521") << QString::fromUtf8("5 €!");
    QTest::newRow("line break") << QByteArray("410A420D43") << "A\nB\rC";
}

void tst_Text::gsm8BitBothWays()
{
    QFETCH(QByteArray, hex);
    QFETCH(QString, text);
    QCOMPARE(textOf(cat::decodeGsm8Bit(bytesOf(hex))), text);
    QCOMPARE(hexOrNothing(cat::encodeGsm8Bit(text.toStdU16String())), hex);
}

void tst_Text::gsm8BitDecodesWhatNobodyEncodes_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    QTest::newRow("octet that is no septet") << QByteArray("418042") << "A B";
    QTest::newRow("escape before a character without extension") << QByteArray("411B4142") << "AAB";
    QTest::newRow("escape before an escape") << QByteArray("411B1B42") << "A B";
    QTest::newRow("escape at the end") << QByteArray("411B") << "A ";
    QTest::newRow("escape before an octet that is no septet") << QByteArray("1B8041") << " A";
    QTest::newRow("padding") << QByteArray("4142FFFFFF") << "AB";
    QTest::newRow("only padding") << QByteArray("FFFF") << QString();
    QTest::newRow("padding value inside the text") << QByteArray("41FF42FF") << "A B";
}

void tst_Text::gsm8BitDecodesWhatNobodyEncodes()
{
    QFETCH(QByteArray, hex);
    QTEST(textOf(cat::decodeGsm8Bit(bytesOf(hex))), "text");
}

void tst_Text::gsm8BitReadsNothingBehindItsEnd()
{
    const std::uint8_t octets[] = {'A', 0x1B, 0x65};
    QCOMPARE(textOf(cat::decodeGsm8Bit(cat::ByteView(octets, 2))), QString("A "));
    QCOMPARE(textOf(cat::decodeGsm8Bit(cat::ByteView(octets, 3))), QString::fromUtf8("A€"));
}

void tst_Text::everySeptetSurvives()
{
    for (int septet = 0; septet < 128; ++septet) {
        if (septet == 0x1B)
            continue; // the escape is no character
        const cat::Bytes octet{static_cast<std::uint8_t>(septet)};
        const std::u16string text = cat::decodeGsm8Bit(octet);
        QCOMPARE(text.size(), std::size_t(1));
        QCOMPARE(hexOrNothing(cat::encodeGsm8Bit(text)), hexOf(octet));
    }
}

void tst_Text::gsmRefusesOtherCharacters_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("Cyrillic") << QString::fromUtf8("Да");
    QTest::newRow("small c with cedilla") << QString::fromUtf8("ç");
    QTest::newRow("grave accent") << "`";
    QTest::newRow("tabulator") << "a\tb";
    QTest::newRow("escape itself") << QString(QChar(0x1B));
    QTest::newRow("surrogate pair") << QString::fromUtf8("😀");
    QTest::newRow("no-break space") << QString(QChar(0xA0));
}

void tst_Text::gsmRefusesOtherCharacters()
{
    QFETCH(QString, text);
    QVERIFY(!cat::encodeGsm8Bit(text.toStdU16String()));
    QVERIFY(!cat::encodeGsm7Packed(text.toStdU16String()));
}

void tst_Text::gsm7PackedBothWays_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("one septet") << QByteArray("41") << "A";
    QTest::newRow("a prompt") << QByteArray("4537BD2C07D96EAAD10A") << "Enter 67*#+";
    QTest::newRow("two words in one") << QByteArray("E8329BFD4697D9EC37") << "hellohello";
    QTest::newRow("seven septets, closed by a carriage return") << QByteArray("31D98C56B3DD1A") << "1234567";
    QTest::newRow("eight septets fill seven octets") << QByteArray("31D98C56B3DD70") << "12345678";
    QTest::newRow("at sign at the end") << QByteArray("311900") << "12@";
    QTest::newRow("extension table") << QByteArray("9B32") << QString::fromUtf8("€");
}

void tst_Text::gsm7PackedBothWays()
{
    QFETCH(QByteArray, hex);
    QFETCH(QString, text);
    QCOMPARE(textOf(cat::decodeGsm7Packed(bytesOf(hex))), text);
    QCOMPARE(hexOrNothing(cat::encodeGsm7Packed(text.toStdU16String())), hex);
}

void tst_Text::gsm7PackedSpareBitsAreNoCharacter()
{
    QCOMPARE(textOf(cat::decodeGsm7Packed(bytesOf("31D98C56B3DD00"))), QString("1234567"));
    QCOMPARE(textOf(cat::decodeGsm7Packed(bytesOf("31D98C56B3DD1A"))), QString("1234567"));
    // A wanted carriage return that ends on an octet boundary is written twice.
    QCOMPARE(hexOrNothing(cat::encodeGsm7Packed(u"1234567\r")), QByteArray("31D98C56B3DD1A0D"));
}

void tst_Text::gsm7PackedSurvivesAnyLength()
{
    std::u16string text;
    for (int length = 0; length <= 160; ++length) {
        const std::optional<cat::Bytes> packed = cat::encodeGsm7Packed(text);
        QVERIFY(packed);
        QVERIFY(packed->size() <= (text.size() * 7 + 13) / 8);
        QCOMPARE(textOf(cat::decodeGsm7Packed(*packed)), textOf(text));
        text.push_back(static_cast<char16_t>(u'A' + length % 26));
    }
}

void tst_Text::ucs2Decodes_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("Chinese") << QByteArray("5DE551777BB1") << QString::fromUtf8("工具箱");
    QTest::newRow("surrogate pair") << QByteArray("D83DDE00") << QString::fromUtf8("😀");
    QTest::newRow("odd last octet") << QByteArray("004100") << "A";
    QTest::newRow("single octet") << QByteArray("41") << QString();
    QTest::newRow("padding") << QByteArray("0041FFFFFFFF") << "A";
    QTest::newRow("odd padding") << QByteArray("0041FFFFFF") << "A";
}

void tst_Text::ucs2Decodes()
{
    QFETCH(QByteArray, hex);
    QTEST(textOf(cat::decodeUcs2(bytesOf(hex))), "text");
}

void tst_Text::ucs2Encodes()
{
    QCOMPARE(hexOf(cat::encodeUcs2(u"")), QByteArray());
    QCOMPARE(hexOf(cat::encodeUcs2(u"A\u5DE5\U0001F600")), QByteArray("00415DE5D83DDE00"));
}

void tst_Text::alphaDecodes_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    const QString russian = QString::fromUtf8("ЗДРАВСТВУЙТЕ1");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("default alphabet") << QByteArray("4974656D2031") << "Item 1";
    QTest::newRow("80") << QByteArray("80041704140420041004120421042204120423041904220415") + QByteArray("0031")
                        << russian;
    QTest::newRow("81") << QByteArray("810D089794A09092A1A292A399A29531") << russian;
    QTest::newRow("82") << QByteArray("820D041087849080829192829389928531") << russian;
    QTest::newRow("81, default alphabet and page") << QByteArray("8104613831EB31") << QString::fromUtf8("81ル1");
    QTest::newRow("81 with an escape") << QByteArray("810408901B65") + QByteArray("91") << QString::fromUtf8("А€Б");
    QTest::newRow("81, escape before a page character") << QByteArray("8102081B90") << QString::fromUtf8(" А");
    QTest::newRow("80 without text") << QByteArray("80") << QString();
    QTest::newRow("80 with padding") << QByteArray("800041FFFF") << "A";
    QTest::newRow("80 with an odd octet") << QByteArray("80004100") << "A";
    QTest::newRow("80 with a surrogate pair") << QByteArray("80D83DDE00") << QString::fromUtf8("😀");
    QTest::newRow("81 with padding") << QByteArray("81010890FFFF") << QString::fromUtf8("А");
    QTest::newRow("82 with padding") << QByteArray("8201041080FF") << QString::fromUtf8("А");
    QTest::newRow("81 of no characters") << QByteArray("810008") << QString();
    QTest::newRow("padding only") << QByteArray("FFFFFF") << QString();
}

void tst_Text::alphaDecodes()
{
    QFETCH(QByteArray, hex);
    const std::optional<std::u16string> text = cat::decodeAlpha(bytesOf(hex));
    QVERIFY(text);
    QTEST(textOf(*text), "text");
}

void tst_Text::alphaRefusesContradictions_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("81 alone") << QByteArray("81");
    QTest::newRow("81 without a base") << QByteArray("8101");
    QTest::newRow("81 with fewer octets than it counts") << QByteArray("8103089091");
    QTest::newRow("82 alone") << QByteArray("82");
    QTest::newRow("82 with half a base") << QByteArray("820104");
    QTest::newRow("82 with fewer octets than it counts") << QByteArray("8202041080");
    QTest::newRow("82 beyond the last character") << QByteArray("8201FFF0FF");
}

void tst_Text::alphaRefusesContradictions()
{
    QFETCH(QByteArray, hex);
    QVERIFY(!cat::decodeAlpha(bytesOf(hex)));
}

void tst_Text::alphaTakesTheShortestCoding_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("empty") << QString() << QByteArray();
    QTest::newRow("default alphabet") << "Balance" << QByteArray("42616C616E6365");
    QTest::newRow("one page") << QString::fromUtf8("ЗДРАВСТВУЙТЕ") << QByteArray("810C089794A09092A1A292A399A295");
    QTest::newRow("default alphabet and a page") << QString::fromUtf8("81ル1") << QByteArray("8104613831EB31");
    QTest::newRow("across a page's border")
        << QString::fromUtf8("ѻѼѾ҈Ҋ") << QByteArray("8205047B808183") + QByteArray("8D8F");
    QTest::newRow("page above 8000 needs the long base")
        << QString::fromUtf8("가각갂갃간") << QByteArray("8205AC008081828384");
    QTest::newRow("first and last of a page")
        << QString(4, QChar(0x047F)).prepend(QChar(0x0400)) << QByteArray("810508") + QByteArray("80FFFFFFFF");
    QTest::newRow("as far as a base reaches")
        << QString(4, QChar(0x0441)).append(QChar(0x04C0)) << QByteArray("82050441") + QByteArray("80808080FF");
    QTest::newRow("further than a base reaches") << QString(4, QChar(0x0441)).append(QChar(0x04C1))
                                                 << QByteArray("80") + QByteArray("0441").repeated(4) + "04C1";
    QTest::newRow("far apart") << QString::fromUtf8("工具箱") << QByteArray("805DE551777BB1");
    QTest::newRow("too short for a base to pay") << QString::fromUtf8("Да") << QByteArray("8004140430");
    QTest::newRow("surrogate pairs") << QString::fromUtf8("😀😁😂") << QByteArray("80D83DDE00D83DDE01D83DDE02");
    QTest::newRow("surrogate pairs close to each other")
        << QString::fromUtf8("\xF4\x80\x80\x80").repeated(3) << QByteArray("80DBC0DC00DBC0DC00DBC0DC00");
    QTest::newRow("surrogate pair among letters") << QString::fromUtf8("abc😀") << QByteArray("80006100620063D83DDE00");
}

void tst_Text::alphaTakesTheShortestCoding()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, hex);
    QCOMPARE(hexOf(cat::encodeAlpha(text.toStdU16String())), hex);
    QCOMPARE(textOf(*cat::decodeAlpha(bytesOf(hex))), text);
}

void tst_Text::alphaOfLongTextsFallsBack()
{
    // The codings 81 and 82 count their characters in one octet.
    const std::u16string longest(255, u'\u0416');
    QCOMPARE(cat::encodeAlpha(longest).size(), std::size_t(258));
    const std::u16string longer(256, u'\u0416');
    const cat::Bytes octets = cat::encodeAlpha(longer);
    QCOMPARE(octets.size(), std::size_t(513));
    QCOMPARE(textOf(*cat::decodeAlpha(octets)), textOf(longer));
}

void tst_Text::utf8BothWays_data()
{
    QTest::addColumn<QByteArray>("utf8");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("one byte") << QByteArray("A\x7F") << QString("A") + QChar(0x7F);
    QTest::newRow("two bytes") << QByteArray("\xC2\x80\xDF\xBF") << QString(QChar(0x80)) + QChar(0x7FF);
    QTest::newRow("three bytes") << QByteArray("\xE0\xA0\x80\xEF\xBF\xBF") << QString(QChar(0x800)) + QChar(0xFFFF);
    QTest::newRow("around the surrogates")
        << QByteArray("\xED\x9F\xBF\xEE\x80\x80") << QString(QChar(0xD7FF)) + QChar(0xE000);
    QTest::newRow("four bytes") << QByteArray("\xF0\x9F\x98\x80") << QString(QChar(0xD83D)) + QChar(0xDE00);
    QTest::newRow("first and last of four bytes")
        << QByteArray("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF")
        << QString(QChar(0xD800)) + QChar(0xDC00) + QChar(0xDBFF) + QChar(0xDFFF);
}

void tst_Text::utf8BothWays()
{
    QFETCH(QByteArray, utf8);
    QFETCH(QString, text);
    QCOMPARE(textOf(cat::fromUtf8(utf8.toStdString())), text);
    QCOMPARE(QByteArray::fromStdString(cat::toUtf8(text.toStdU16String())), utf8);
    QCOMPARE(cat::wellFormedUtf8(utf8.toStdString()), std::size_t(utf8.size()));
}

void tst_Text::utf8FaultsBecomeReplacements_data()
{
    QTest::addColumn<QByteArray>("utf8");
    QTest::addColumn<QString>("text"); // ? stands for the replacement character
    QTest::newRow("lone continuation") << QByteArray("A\x80") + "B"
                                       << "A?B";
    QTest::newRow("cut off at the end") << QByteArray("A\xE4\xB8") << "A?";
    QTest::newRow("cut off by a letter") << QByteArray("A\xE4\xB8") + "B"
                                         << "A?B";
    QTest::newRow("overlong") << QByteArray("A\xC0\xAF") << "A??";
    QTest::newRow("overlong of three bytes") << QByteArray("A\xE0\x80\xAF") << "A???";
    QTest::newRow("surrogate") << QByteArray("A\xED\xA0\x80") << "A???";
    QTest::newRow("beyond the last character") << QByteArray("A\xF4\x90\x80\x80") << "A????";
    QTest::newRow("no first byte at all") << QByteArray("A\xFF\xFE") << "A??";
}

void tst_Text::utf8FaultsBecomeReplacements()
{
    QFETCH(QByteArray, utf8);
    QFETCH(QString, text);
    QCOMPARE(textOf(cat::fromUtf8(utf8.toStdString())), text.replace('?', QChar(0xFFFD)));
    QCOMPARE(cat::wellFormedUtf8(utf8.toStdString()), std::size_t(1));
}

void tst_Text::loneSurrogatesBecomeReplacements()
{
    const std::u16string text{u'A', 0xD83D, u'B', 0xDE00, 0xD83D};
    QCOMPARE(QByteArray::fromStdString(cat::toUtf8(text)), QByteArray("A\xEF\xBF\xBD") + "B\xEF\xBF\xBD\xEF\xBF\xBD");
    for (const char16_t half : {u'\xD800', u'\xDBFF', u'\xDC00', u'\xDFFF'})
        QCOMPARE(QByteArray::fromStdString(cat::toUtf8(std::u16string(1, half))), QByteArray("\xEF\xBF\xBD"));
}

QTEST_APPLESS_MAIN(tst_Text)
#include "tst_Text.moc"
