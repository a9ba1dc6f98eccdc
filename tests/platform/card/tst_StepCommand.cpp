#include "card/StepCommand.h"
#include "card/Template.h"
#include "platform/cat/Hex.h"

#include <QtTest>

#include <algorithm>

Q_DECLARE_METATYPE(cat::TextCoding)

using cat::TextCoding;

class tst_StepCommand : public QObject
{
    Q_OBJECT

private slots:
    void fillsInAnswers();
    void cutsAnswersToFit_data();
    void cutsAnswersToFit();
    void cutsAnswersToOneShortMessage();
    void leavesShortAnswersWhole();
    void fallsBackFromACoding();
    void choosesTheShortestCoding_data();
    void choosesTheShortestCoding();
};

void tst_StepCommand::fillsInAnswers()
{
    const card::Values values{{"x", u"Я"}};
    card::Step step;
    step.command.details.type = cat::CommandType::SetUpCall;
    step.command.address = cat::Address{0x81, "1"};
    step.command.alphaId = u"a{x}";
    step.command.callAlphaId = u"b{x}";
    const cat::Command call = card::raised(step, values, 7);
    QCOMPARE(int(call.details.number), 7);
    QCOMPARE(textOf(*call.alphaId) + textOf(*call.callAlphaId), QString::fromUtf8("aЯbЯ"));

    card::Menu menu;
    menu.title = u"t{x}";
    menu.entries.resize(1);
    menu.entries[0].text = u"i{x}";
    card::Step open;
    open.menu = std::make_shared<const card::Menu>(menu);
    const cat::Command select = card::raised(open, values, 8);
    QCOMPARE(textOf(*select.alphaId) + textOf(select.items.at(0).text), QString::fromUtf8("tЯiЯ"));
}

void tst_StepCommand::cutsAnswersToFit_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("two");
    QTest::addColumn<bool>("cut");
    QTest::newRow("all that packed text holds") << "{one}" << QString(272, 'a') << "" << false;
    QTest::newRow("one more") << "{one}" << QString(274, 'a') << "" << true;
    QTest::newRow("the same twice") << "{one}, {one}" << QString(255, 'a') << "" << true;
    QTest::newRow("a long and a short one") << "{one}, {two}" << QString(300, 'a') << "bb" << true;
    QTest::newRow("another script") << "Hello {one}!" << QString(255, QChar(0x416)) << "" << true;
    QTest::newRow("surrogate pairs") << "Hello {one}!" << QString::fromUtf8("😀").repeated(127) << "" << true;
    QTest::newRow("one letter of another script") << QString(200, 'a') + "{one}" << QString(QChar(0x416)) << "" << true;
    QTest::newRow("text with no room") << QString(272, 'a') + "{one}"
                                       << "abc"
                                       << "" << true;
}

void tst_StepCommand::cutsAnswersToFit()
{
    QFETCH(QString, text);
    QFETCH(QString, one);
    QFETCH(QString, two);
    QFETCH(bool, cut);
    const card::Values values{{"one", one.toStdU16String()}, {"two", two.toStdU16String()}};
    const cat::Bytes bytes = cat::encodeCommand(card::raised(card::displayStep(text.toStdU16String()), values, 1));
    QVERIFY2(bytes.size() <= 255, qPrintable(QString::number(bytes.size())));
    const cat::DecodedCommand decoded = cat::decodeCommand(bytes);
    QVERIFY2(decoded.result == cat::Result::Performed, decoded.reason.c_str());
    // Every answer is cut to the same length, and one unit more would be too much.
    const std::u16string wanted = text.toStdU16String();
    const std::size_t longest = std::max(values.at("one").size(), values.at("two").size());
    std::size_t length = longest;
    while (length > 0 && card::expanded(wanted, values, length) != decoded.command.text->value)
        --length;
    QCOMPARE(textOf(card::expanded(wanted, values, length)), textOf(decoded.command.text->value));
    const std::u16string longer = card::expanded(wanted, values, length + 1);
    QVERIFY(length == longest || cat::encodeCommand(card::raised(card::displayStep(longer), {}, 1)).size() > 255);
    QCOMPARE(length < longest, cut);
}

void tst_StepCommand::cutsAnswersToOneShortMessage()
{
    card::Step step;
    step.command.details.type = cat::CommandType::SendShortMessage;
    step.command.destination = cat::Device::Network;
    step.message = card::ShortMessage{{0x81, "12"}, u"note {x}"};
    const auto tpduFor = [&step](const std::u16string &value) {
        return hexOf(*card::raised(step, {{"x", value}}, 1).tpdu);
    };
    QCOMPARE(tpduFor(std::u16string(155, u'a')).size(), 2 * (8 + 140));
    QCOMPARE(tpduFor(std::u16string(156, u'a')), tpduFor(std::u16string(155, u'a')));
    QCOMPARE(tpduFor(std::u16string(65, u'Я')).size(), 2 * (8 + 140));
    QCOMPARE(tpduFor(std::u16string(255, u'Я')), tpduFor(std::u16string(65, u'Я')));
}

void tst_StepCommand::leavesShortAnswersWhole()
{
    const card::Values values{{"one", u"Tromsø"}, {"two", std::u16string(200, u'b')}};
    const cat::Command command = card::raised(card::displayStep(u"{one}: {two}"), values, 1);
    QCOMPARE(textOf(command.text->value), QString::fromUtf8("Tromsø: ") + QString(200, 'b'));
}

void tst_StepCommand::fallsBackFromACoding()
{
    card::Step step = card::displayStep(u"Hello {x}");
    step.coding = TextCoding::Gsm8Bit;
    QVERIFY(card::raised(step, {{"x", u"Bob"}}, 1).text->coding == TextCoding::Gsm8Bit);
    QVERIFY(card::raised(step, {{"x", u"Боб"}}, 1).text->coding == TextCoding::Ucs2);
    step.coding = TextCoding::Ucs2;
    QVERIFY(card::raised(step, {{"x", u"Bob"}}, 1).text->coding == TextCoding::Ucs2);
}

void tst_StepCommand::choosesTheShortestCoding_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<TextCoding>("coding");
    QTest::newRow("letters") << "abc" << TextCoding::Gsm7Packed;
    QTest::newRow("extension table") << QString::fromUtf8("€[~]") << TextCoding::Gsm7Packed;
    QTest::newRow("another script") << QString::fromUtf8("abcЯ") << TextCoding::Ucs2;
    QTest::newRow("seven septets and room for an eighth") << "abcdefg" << TextCoding::Gsm7Packed;
    // The last septet of these is all zeros and cannot be told from spare bits.
    QTest::newRow("@ as the eighth septet") << "abcdefg@" << TextCoding::Gsm8Bit;
    QTest::newRow("@ as the ninth septet") << "abcdefgh@" << TextCoding::Gsm7Packed;
}

void tst_StepCommand::choosesTheShortestCoding()
{
    QFETCH(QString, text);
    QFETCH(TextCoding, coding);
    QVERIFY(card::shortestCoding(text.toStdU16String()) == coding);
}

QTEST_APPLESS_MAIN(tst_StepCommand)
#include "tst_StepCommand.moc"
