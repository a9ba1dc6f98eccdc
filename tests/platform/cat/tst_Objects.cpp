#include "platform/cat/Wrap.h"

#include <QtTest>

#include <cstring>
#include <memory>

using cat::Bytes;
using cat::Command;
using cat::CommandType;
using cat::Device;
using cat::Result;
using cat::TextCoding;

namespace
{

/// A command with every data object that it may have. Mandatory ones stand in front.
struct FullCommand {
    const char *name;
    Device destination;
    const char *needed; ///< behind details and devices
    const char *optional;
};

const FullCommand fullCommands[] = {
    {"DISPLAY TEXT", Device::Display, "8103012180 82028102 8D020441", "9E020101 AB00 8402010A D004001000B4 E80101"},
    {"GET INKEY", Device::Terminal, "8103012200 82028182 8D020441", "1E020101 8402010A D004001000B4 E80101"},
    {"GET INPUT", Device::Terminal, "8103012300 82028182 8D020441 91020008",
     "17020442 1E020101 D004001000B4 E80101 84020105"},
    {"PLAY TONE", Device::Earpiece, "8103012000 82028103", "850141 8E0111 84020105 1E020101 D004001000B4 E80101"},
    {"SEND SHORT MESSAGE", Device::Network, "8103011301 82028183 8B09010002911040F00120",
     "850141 86029121 1E020101 D004001000B4 E80101"},
    {"SEND SS", Device::Network, "8103011100 82028183 890491BA13FB", "850141 9E020101 D004001000B4 E80101"},
    {"SEND USSD", Device::Network, "8103011200 82028183 8A06F0AA180C3602", "850141 9E020101 D004001000B4 E80101"},
    {"SET UP CALL", Device::Network, "8103011001 82028183 8604912143F5",
     "8701A0 88028050 84020105 9E020101 850142 9E020102 D0020001 D0020002 E80101"},
    {"REFRESH", Device::Terminal, "8103010103 82028182",
     "9205013F002FE2 AF05A000000087 850141 9E020101 D004001000B4 E80101 F203001122"},
    {"SET UP IDLE MODE TEXT", Device::Terminal, "8103012800 82028182 8D020441", "9E020101 D004001000B4 E80101"},
    {"LAUNCH BROWSER", Device::Terminal, "8103011503 82028182 310161",
     "300101 320103 33023F00 33022FE2 0D020450 050141 1E020101 D004001000B4 E80101 4703026162 0D020451"},
    {"SET UP MENU", Device::Terminal, "8103012500 82028182 850141 8F020142",
     "180113 9E020101 9F020105 D004001000B4 D104000600B4"},
    {"SELECT ITEM", Device::Terminal, "8103012400 82028182 8F020142",
     "850141 180113 900101 9E020101 9F020105 D004001000B4 D104000600B4 E80101"},
    {"MORE TIME", Device::Terminal, "8103010200 82028182", ""},
    {"POLL INTERVAL", Device::Terminal, "8103010300 82028182 8402011E", ""},
    {"POLLING OFF", Device::Terminal, "8103010400 82028182", ""},
    {"SET UP EVENT LIST", Device::Terminal, "8103010500 82028182 99020405", ""},
    {"PROVIDE LOCAL INFORMATION", Device::Terminal, "8103012602 82028182", "AF05A000000087"},
    {"TIMER MANAGEMENT", Device::Terminal, "8103012701 82028182 A40108", "A503103254"},
    {"LANGUAGE NOTIFICATION", Device::Terminal, "8103013501 82028182", "AD026465"},
};

/// The tags of those objects as they are written: as the command's clause has them, those that are only kept behind
/// all others.
const char *const writtenTags[] = {
    "01 02 0D 1E 2B 04 50 68",
    "01 02 0D 1E 04 50 68",
    "01 02 0D 11 17 1E 50 04 68",
    "01 02 05 0E 04 1E 50 68",
    "01 02 05 06 0B 1E 50 68",
    "01 02 05 09 1E 50 68",
    "01 02 05 0A 1E 50 68",
    "01 02 06 08 04 1E 05 1E 50 50 07 68",
    "01 02 12 05 1E 50 2F 68 72",
    "01 02 0D 1E 50 68",
    "01 02 31 05 1E 50 30 32 33 33 0D 68 47 0D",
    "01 02 05 0F 18 1E 1F 50 51",
    "01 02 05 0F 18 10 1E 1F 50 51 68",
    "01 02",
    "01 02 04",
    "01 02",
    "01 02 19",
    "01 02 2F",
    "01 02 24 25",
    "01 02 2D",
};
static_assert(std::size(writtenTags) == std::size(fullCommands), "one row for each command");

QByteArray objectsOf(const FullCommand &command)
{
    return (QByteArray(command.needed) + " " + command.optional).trimmed();
}

/// Decodes a copy that ends where its memory ends, so that a sanitizer sees one byte too many.
cat::DecodedCommand decodeCopy(const Bytes &pdu, std::size_t size)
{
    const std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[size]);
    if (size > 0)
        std::memcpy(copy.get(), pdu.data(), size);
    return cat::decodeCommand(cat::ByteView(copy.get(), size));
}

/// The tags of a command's objects, without their flags.
QByteArray tagsOf(const Bytes &encoded)
{
    Bytes tags;
    cat::TlvReader reader(cat::readBer(encoded)->value);
    while (const std::optional<cat::TlvObject> next = reader.next())
        tags.push_back(static_cast<std::uint8_t>(next->tag));
    return hexOf(tags);
}

void addFullCommands()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < int(std::size(fullCommands)); ++i)
        QTest::newRow(fullCommands[i].name) << i;
}

} // namespace

/// The data objects of every command, beyond what the public sequences have.
class tst_Objects : public QObject
{
    Q_OBJECT

private slots:
    void everyObjectBothWays_data() { addFullCommands(); }
    void everyObjectBothWays();
    void writesObjectsInTheOrderOfTheClause_data() { addFullCommands(); }
    void writesObjectsInTheOrderOfTheClause();
    void commandsHaveTheirDevice_data() { addFullCommands(); }
    void commandsHaveTheirDevice();
    void neededObjectsAreMissed_data() { addFullCommands(); }
    void neededObjectsAreMissed();
    void comprehensionFlagsDoNotMatter_data() { addFullCommands(); }
    void comprehensionFlagsDoNotMatter();
    void survivesTruncationAndCorruption_data() { addFullCommands(); }
    void survivesTruncationAndCorruption();
    void refusesMalformedObjects_data();
    void refusesMalformedObjects();
    void iconsExplainThemselvesByOneBit_data();
    void iconsExplainThemselvesByOneBit();
    void inputCarriesEverything();
    void flagsOfTheQualifier_data();
    void flagsOfTheQualifier();
    void tonesBothWays_data();
    void tonesBothWays();
    void callObjectsAreToldApartByTheirPlace_data();
    void callObjectsAreToldApartByTheirPlace();
    void leavesOutObjectsOfOtherCommands();
    void onlyAMenuIsWrittenWithAnEmptyItem_data();
    void onlyAMenuIsWrittenWithAnEmptyItem();
    void emptyObjectsGoByTheirFlag_data() { addFullCommands(); }
    void emptyObjectsGoByTheirFlag();
    void ofRepeatedObjectsTheFirstCounts_data() { addFullCommands(); }
    void ofRepeatedObjectsTheFirstCounts();
    void unknownObjectsGoByTheirFlag_data() { addFullCommands(); }
    void unknownObjectsGoByTheirFlag();
    void whatIsLeftOutLeavesNothingBehind();
};

void tst_Objects::everyObjectBothWays()
{
    QFETCH(int, index);
    const cat::DecodedCommand decoded = decode(objectsOf(fullCommands[index]));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    const Bytes encoded = cat::encodeCommand(decoded.command);
    const cat::DecodedCommand again = cat::decodeCommand(encoded);
    QVERIFY2(again.result == Result::Performed, again.reason.c_str());
    QCOMPARE(hexOf(cat::encodeCommand(again.command)), hexOf(encoded));
    // The order is the clause's, which may differ from the order above: the objects are the same.
    const auto sorted = [](cat::ByteView objects) {
        QStringList list;
        cat::TlvReader reader(objects);
        while (const std::optional<cat::TlvObject> next = reader.next())
            list << QString("%1 %2 %3").arg(int(next->tag)).arg(next->comprehension).arg(QString(hexOf(next->value)));
        list.sort();
        return list;
    };
    const Bytes original = wrapped(objectsOf(fullCommands[index]));
    QCOMPARE(sorted(cat::readBer(encoded)->value), sorted(cat::readBer(original)->value));
}

void tst_Objects::writesObjectsInTheOrderOfTheClause()
{
    QFETCH(int, index);
    const Bytes encoded = cat::encodeCommand(decode(objectsOf(fullCommands[index])).command);
    QCOMPARE(tagsOf(encoded), QByteArray(writtenTags[index]).replace(' ', ""));
}

void tst_Objects::commandsHaveTheirDevice()
{
    QFETCH(int, index);
    const FullCommand &full = fullCommands[index];
    const CommandType type = decode(full.needed).command.details.type;
    QCOMPARE(cat::commandName(type), std::string(full.name));
    QVERIFY(cat::destinationOf(type) == full.destination);
    QVERIFY(cat::destinationOf(CommandType::OpenChannel) == Device::Terminal);

    QByteArray objects = full.needed;
    for (const char *devices : {"8101", "8102", "8103", "8182", "8183", "8282", "8381"}) {
        objects.replace(15, 4, devices);
        const bool right = hexOf(Bytes{0x81, static_cast<std::uint8_t>(full.destination)}) == devices;
        QCOMPARE(decode(objects).result == Result::Performed, right);
        QCOMPARE(decode(objects).result == Result::DataNotUnderstood, !right);
    }
}

void tst_Objects::neededObjectsAreMissed()
{
    QFETCH(int, index);
    const QList<QByteArray> needed = QByteArray(fullCommands[index].needed).split(' ');
    QVERIFY(decode(needed.join(' ')).result == Result::Performed);
    for (int i = 1; i < needed.size(); ++i) {
        QList<QByteArray> rest = needed;
        rest.removeAt(i);
        const cat::DecodedCommand decoded = decode(rest.join(' ') + fullCommands[index].optional);
        QVERIFY2(decoded.result == Result::ValuesMissing, needed[i].constData());
        QVERIFY(QString::fromStdString(decoded.reason).endsWith(" is missing"));
    }
    const QList<QByteArray> optional = QByteArray(fullCommands[index].optional).split(' ');
    for (int i = 0; i < optional.size(); ++i) {
        QList<QByteArray> rest = needed + optional;
        rest.removeAt(needed.size() + i);
        QVERIFY2(decode(rest.join(' ')).result == Result::Performed, optional[i].constData());
    }
}

void tst_Objects::comprehensionFlagsDoNotMatter()
{
    QFETCH(int, index);
    QByteArray without;
    QByteArray with;
    for (const QByteArray &hex : objectsOf(fullCommands[index]).split(' ')) {
        const int tag = hex.left(2).toInt(nullptr, 16);
        without += QByteArray::number(tag & 0x7F, 16).rightJustified(2, '0') + hex.mid(2);
        with += QByteArray::number(tag | 0x80, 16) + hex.mid(2);
    }
    Command a = decode(without).command;
    Command b = decode(with).command;
    QVERIFY2(decode(without).result == Result::Performed, decode(without).reason.c_str());
    QVERIFY2(decode(with).result == Result::Performed, decode(with).reason.c_str());
    a.otherObjects.clear(); // kept as they came, flags and all
    b.otherObjects.clear();
    QCOMPARE(hexOf(cat::encodeCommand(a)), hexOf(cat::encodeCommand(b)));
}

void tst_Objects::survivesTruncationAndCorruption()
{
    QFETCH(int, index);
    const Bytes good = wrapped(objectsOf(fullCommands[index]));
    for (std::size_t size = 0; size < good.size(); ++size) {
        const cat::DecodedCommand decoded = decodeCopy(good, size);
        QVERIFY(decoded.result != Result::Performed);
        QVERIFY(!decoded.reason.empty());
    }
    for (std::size_t place = 0; place < good.size(); ++place) {
        Bytes bad = good;
        for (int value = 0; value < 256; ++value) {
            bad[place] = static_cast<std::uint8_t>(value);
            const cat::DecodedCommand decoded = decodeCopy(bad, bad.size());
            QCOMPARE(decoded.reason.empty(), decoded.result == Result::Performed);
            if (decoded.result == Result::Performed) {
                const Bytes encoded = cat::encodeCommand(decoded.command);
                QVERIFY(cat::decodeCommand(encoded).result == Result::Performed);
            }
        }
    }
}

void tst_Objects::refusesMalformedObjects_data()
{
    QTest::addColumn<QByteArray>("objects");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("reason"); // a part of it
    const auto row = [](const char *name, const QByteArray &objects, const char *reason,
                        Result result = Result::DataNotUnderstood) {
        QTest::newRow(name) << objects << static_cast<int>(result) << reason;
    };
    const QByteArray text = "8D020441";
    row("text in a compressed coding", textHead + "8D022441", "text string 2441 is malformed");
    row("icon with an empty text", textHead + "8D00 9E020101", "icon");
    row("icon with an empty key prompt", keyHead + "8D00 9E020101", "icon");
    row("icon with an empty input prompt", inputHead + "8D00 91020008 9E020101", "icon");
    row("icon with an empty idle text", "8103012800 82028182 8D00 9E020101", "icon");
    row("icon with a text of no characters", textHead + "8D0104 9E020101", "icon");
    row("icon with an empty alpha identifier", toneHead + "8500 9E020101", "icon");
    row("SMS icon with an empty alpha identifier", "8103011301 82028183 8500 8B09010002911040F00120 9E020101", "icon");
    row("SS icon with an empty alpha identifier", "8103011100 82028183 8500 890491BA13FB 9E020101", "icon");
    row("USSD icon with an empty alpha identifier", ussdHead + "8500 8A06F0AA180C3602 9E020101", "icon");
    row("browser icon with an empty alpha identifier", "8103011503 82028182 310161 0500 1E020101", "icon");
    row("REFRESH icon with an empty alpha identifier", "8103010104 82028182 8500 9E020101", "icon");
    row("call icon with an empty alpha identifier", callHead + "850141 86029121 8500 9E020101 9E020101", "icon");
    row("icon of one byte", textHead + text + "9E0101", "icon identifier 01");
    row("icon of three bytes", textHead + text + "9E03000101", "icon identifier 000101");
    row("immediate response with a value", textHead + text + "AB0100", "immediate response 00");
    row("duration of one byte", keyHead + text + "840101", "duration 01");
    row("duration in an unknown unit", keyHead + text + "84020301", "duration 0301");
    row("duration of nothing", keyHead + text + "84020100", "duration 0100");
    row("response length of one byte", inputHead + text + "910105", "response length 05");
    row("shortest response longer than the longest", inputHead + text + "91020504", "longer");
    row("response length is missing", inputHead + text, "response length is missing", Result::ValuesMissing);
    row("default text in a key prompt, with flag", keyHead + text + "97020441", "tag 23");
    row("tone of two bytes", toneHead + "8E020111", "tone 0111");
    row("tone without a value", toneHead + "8E00", "tone");
    row("alpha identifier contradicts its coding", toneHead + "850181", "alpha identifier 81");
    row("URL is missing", "8103011500 82028182 850141", "URL is missing", Result::ValuesMissing);
    row("address without a value", callHead + "8600", "address  is malformed");
    row("address without digits", callHead + "860191", "no digits");
    row("address of fillers only", callHead + "860291FF", "no digits");
    row("call alpha identifier contradicts its coding", callHead + "86029121 850181", "alpha identifier");
    row("SS string without digits", "8103011100 82028183 890191", "SS string is empty");
    row("SS string without a value", "8103011100 82028183 8900", "SS string");
    row("USSD string without a value", ussdHead + "8A00", "USSD string");
    row("USSD string in a compressed coding", ussdHead + "8A026041", "USSD string");
    row("USSD string in a compressed coding with a class", ussdHead + "8A027041", "USSD string");
    row("USSD string with a language in front", ussdHead + "8A021041", "USSD string");
    row("USSD string with a user data header", ussdHead + "8A029441", "USSD string");
    row("USSD string of another protocol", ussdHead + "8A02E041", "USSD string");
    row("empty SMS TPDU", "8103011300 82028183 8B00", "TPDU");
    row("duration without a value", keyHead + text + "8400", "duration  is malformed, at offset");
    row("response length without a value", inputHead + text + "9100", "response length  is malformed");
    row("icon without a value", textHead + text + "9E00", "icon identifier  is malformed");
    row("devices without a value", "8103012180 8200" + text, "device identities  is malformed");
    row("devices of three bytes", "8103012180 8203810200" + text, "device identities 810200");
    row("devices that nobody knows", "8103012180 8202FFEE" + text, "from device FF to EE");
    row("default text in a compressed coding, with flag", inputHead + text + "91020008 97022441", "default text 2441");
    row("text in a compressed coding, without flag", textHead + "0D022441", "text string 2441");
    row("devices of one byte, without flag", "8103012180 020181" + text, "device identities 81");
    row("menu icon with an empty title", "8103012500 82028182 8500 8F020142 9E020101", "icon");
    row("choice icon with an empty title", "8103012400 82028182 8500 8F020142 9E020101", "icon");
    row("alpha identifier that counts more than it has", toneHead + "850481030041", "alpha identifier 81030041");
    row("alpha identifier beyond the last character", toneHead + "85058201FFFF81", "alpha identifier 8201FFFF81");
    row("changed files without a list", "8103010101 82028182", "file list is missing", Result::ValuesMissing);
    row("initialization and changed files without a list", "8103010102 82028182", "file list is missing",
        Result::ValuesMissing);
}

void tst_Objects::refusesMalformedObjects()
{
    QFETCH(QByteArray, objects);
    QFETCH(QString, reason);
    const cat::DecodedCommand decoded = decode(objects);
    QVERIFY2(QString::fromStdString(decoded.reason).contains(reason), decoded.reason.c_str());
    QTEST(static_cast<int>(decoded.result), "result");
    QVERIFY(decoded.detailsKnown);
}

void tst_Objects::iconsExplainThemselvesByOneBit_data()
{
    QTest::addColumn<QByteArray>("icon");
    QTest::addColumn<bool>("selfExplanatory");
    QTest::newRow("no bit") << QByteArray("9E020007") << true;
    QTest::newRow("the bit") << QByteArray("9E020107") << false;
    QTest::newRow("reserved bits") << QByteArray("9E02FE07") << true;
    QTest::newRow("all bits") << QByteArray("9E02FF07") << false;
}

void tst_Objects::iconsExplainThemselvesByOneBit()
{
    QFETCH(QByteArray, icon);
    const cat::DecodedCommand decoded = decode(textHead + "8D020441" + icon);
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QTEST(decoded.command.icon->selfExplanatory, "selfExplanatory");
    QCOMPARE(int(decoded.command.icon->id), 7);
}

void tst_Objects::inputCarriesEverything()
{
    const QByteArray objects = "810301238F820281828D0504506173739102040817050431323334";
    const Command command = decode(objects).command;
    QCOMPARE(textOf(command.text->value), QString("Pass"));
    QCOMPARE(textOf(command.defaultText->value), QString("1234"));
    QCOMPARE(int(command.responseLength->minimum), 4);
    QCOMPARE(int(command.responseLength->maximum), 8);
    QVERIFY(command.isHidden() && command.isPacked() && command.helpAvailable() && command.isUcs2());
    QCOMPARE(hexOf(cat::encodeCommand(command)), hexOf(wrapped(objects)));

    const QByteArray select = "810301248082028182850141 8F020142 8F020243 900102";
    const Command choice = decode(select).command;
    QCOMPARE(int(*choice.defaultItem), 2);
    QCOMPARE(hexOf(cat::encodeCommand(choice)), hexOf(wrapped(select)));
}

void tst_Objects::flagsOfTheQualifier_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("qualifier");
    QTest::addColumn<QString>("flags");
    const auto row = [](const char *name, CommandType type, int qualifier, const char *flags) {
        QTest::newRow(name) << static_cast<int>(type) << qualifier << flags;
    };
    row("text, normal", CommandType::DisplayText, 0x00, "8bit");
    row("text, high priority", CommandType::DisplayText, 0x01, "high 8bit");
    row("text, cleared by the user", CommandType::DisplayText, 0x80, "help user 8bit");
    row("key, digit", CommandType::GetInkey, 0x00, "digits 8bit");
    row("key, character", CommandType::GetInkey, 0x01, "8bit");
    row("key, any character", CommandType::GetInkey, 0x03, "ucs2 UCS2");
    row("key, digit with the alphabet set", CommandType::GetInkey, 0x02, "digits 8bit");
    row("key, yes or no", CommandType::GetInkey, 0x04, "yesno 8bit");
    row("key, yes or no with the other bits set", CommandType::GetInkey, 0x07, "yesno 8bit");
    row("key, immediate digit", CommandType::GetInkey, 0x08, "digits immediate 8bit");
    row("key, help", CommandType::GetInkey, 0x80, "help digits 8bit");
    row("input, digits", CommandType::GetInput, 0x00, "digits 8bit");
    row("input, text", CommandType::GetInput, 0x01, "8bit");
    row("input, any character", CommandType::GetInput, 0x03, "ucs2 UCS2");
    row("input, hidden", CommandType::GetInput, 0x04, "digits hidden 8bit");
    row("input, packed", CommandType::GetInput, 0x08, "digits packed 7bit");
    row("input, packed text", CommandType::GetInput, 0x09, "packed 7bit");
    row("input, any character packed", CommandType::GetInput, 0x0B, "ucs2 packed UCS2");
    row("input, everything", CommandType::GetInput, 0x8F, "help ucs2 hidden packed UCS2");
    row("message, to be packed", CommandType::SendShortMessage, 0x01, "packing 8bit");
    row("tone, vibrating", CommandType::PlayTone, 0x01, "vibrating 8bit");
    row("menu, soft keys", CommandType::SetUpMenu, 0x01, "softkeys 8bit");
    row("menu, help", CommandType::SetUpMenu, 0x80, "help 8bit");
    row("choice, soft keys", CommandType::SelectItem, 0x04, "softkeys 8bit");
    row("choice, data values", CommandType::SelectItem, 0x01, "8bit");
    row("refresh, file change", CommandType::Refresh, 0x01, "8bit");
    row("call, all bits", CommandType::SetUpCall, 0x0F, "8bit");
}

void tst_Objects::flagsOfTheQualifier()
{
    QFETCH(int, type);
    QFETCH(int, qualifier);
    Command command;
    command.details = {1, static_cast<CommandType>(type), static_cast<std::uint8_t>(qualifier)};
    QStringList flags;
    const auto add = [&flags](bool set, const char *name) {
        if (set)
            flags << name;
    };
    add(command.helpAvailable(), "help");
    add(command.isHighPriority(), "high");
    add(command.isClearedByUser(), "user");
    add(command.isYesNo(), "yesno");
    add(command.isDigitsOnly(), "digits");
    add(command.isUcs2(), "ucs2");
    add(command.isImmediateDigit(), "immediate");
    add(command.isHidden(), "hidden");
    add(command.isPacked(), "packed");
    add(command.isPackingRequired(), "packing");
    add(command.isVibrating(), "vibrating");
    add(command.isSoftKeyPreferred(), "softkeys");
    add(command.answerCoding() == TextCoding::Gsm8Bit, "8bit");
    add(command.answerCoding() == TextCoding::Gsm7Packed, "7bit");
    add(command.answerCoding() == TextCoding::Ucs2, "UCS2");
    QTEST(flags.join(" "), "flags");
}

void tst_Objects::tonesBothWays_data()
{
    QTest::addColumn<int>("tone");
    for (const int tone : {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x20,
                           0x30, 0x31, 0x32, 0x33, 0x34, 0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0xFF})
        QTest::newRow(cat::toneName(static_cast<std::uint8_t>(tone)).c_str()) << tone;
}

void tst_Objects::tonesBothWays()
{
    QFETCH(int, tone);
    const QByteArray hex = QByteArray::number(tone, 16).rightJustified(2, '0').toUpper();
    const cat::DecodedCommand decoded = decode(toneHead + "8E01" + hex + "84020205");
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QCOMPARE(int(*decoded.command.tone), tone);
    QCOMPARE(objectIn(cat::encodeCommand(decoded.command), cat::Tag::Tone), hex);
}

void tst_Objects::callObjectsAreToldApartByTheirPlace_data()
{
    QTest::addColumn<QByteArray>("objects");
    QTest::addColumn<QString>("alphas");
    QTest::addColumn<QString>("icons");
    const QByteArray address = "86029121 ";
    QTest::newRow("neither") << address << "-/-"
                             << "-/-";
    QTest::newRow("confirmation only") << "850141 " + address << "A/-"
                                       << "-/-";
    QTest::newRow("call only") << address + "850142"
                               << "-/B"
                               << "-/-";
    QTest::newRow("both") << "850141 " + address + "850142"
                          << "A/B"
                          << "-/-";
    QTest::newRow("both behind the address") << address + "850141 850142"
                                             << "A/B"
                                             << "-/-";
    QTest::newRow("both before the address") << "850141 850142" + address << "A/B"
                                             << "-/-";
    QTest::newRow("a third does not count") << "850141 " + address + "850142 850143"
                                            << "A/B"
                                            << "-/-";
    QTest::newRow("icon of the confirmation") << "850141 " + address + "9E020101 850142"
                                              << "A/B"
                                              << "1/-";
    QTest::newRow("icon of the call") << "850141 " + address + "850142 9E020102"
                                      << "A/B"
                                      << "-/2";
    QTest::newRow("both icons") << "850141 " + address + "9E020101 850142 9E020102"
                                << "A/B"
                                << "1/2";
    QTest::newRow("null texts") << "8500 " + address + "8500"
                                << "/"
                                << "-/-";
}

void tst_Objects::callObjectsAreToldApartByTheirPlace()
{
    QFETCH(QByteArray, objects);
    const cat::DecodedCommand decoded = decode(callHead + objects);
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    const auto alpha = [](const std::optional<std::u16string> &text) { return text ? textOf(*text) : QString("-"); };
    const auto icon = [](const std::optional<cat::Icon> &i) { return i ? QString::number(i->id) : QString("-"); };
    for (const Command &command : {decoded.command, cat::decodeCommand(cat::encodeCommand(decoded.command)).command}) {
        QTEST(alpha(command.alphaId) + "/" + alpha(command.callAlphaId), "alphas");
        QTEST(icon(command.icon) + "/" + icon(command.callIcon), "icons");
    }
}

void tst_Objects::leavesOutObjectsOfOtherCommands()
{
    Command command = decode(inputHead + "8D020441 91020008 17020442").command;
    command.tone = 0x11;
    command.url = "http://example.org";
    command.details.type = CommandType::GetInkey;
    QCOMPARE(hexOf(cat::encodeCommand(command)), hexOf(wrapped("8103012200 82028182 8D020441")));
    command.details.type = CommandType::OpenChannel;
    QCOMPARE(hexOf(cat::encodeCommand(command)), hexOf(wrapped("8103014000 82028182")));
}

void tst_Objects::onlyAMenuIsWrittenWithAnEmptyItem_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("tags");
    QTest::newRow("SET UP MENU") << static_cast<int>(CommandType::SetUpMenu) << QByteArray("01020F");
    QTest::newRow("SELECT ITEM") << static_cast<int>(CommandType::SelectItem) << QByteArray("0102");
}

void tst_Objects::onlyAMenuIsWrittenWithAnEmptyItem()
{
    QFETCH(int, type);
    Command command;
    command.details.type = static_cast<CommandType>(type);
    QTEST(tagsOf(cat::encodeCommand(command)), "tags");
}

/// An object without a value is refused when it must be understood, is left out when it need not be, or is good.
void tst_Objects::emptyObjectsGoByTheirFlag()
{
    QFETCH(int, index);
    const QList<QByteArray> needed = QByteArray(fullCommands[index].needed).split(' ');
    QList<QByteArray> all = needed + QByteArray(fullCommands[index].optional).split(' ');
    all.removeAll(QByteArray());           // of a command that has nothing optional
    for (int i = 1; i < all.size(); ++i) { // nobody can answer a command without details
        const int tag = all[i].left(2).toInt(nullptr, 16);
        QList<QByteArray> objects = needed;
        objects.removeAt(i < needed.size() ? i : needed.size());
        const cat::DecodedCommand flagged = decode(objects.join(' ') + QByteArray::number(tag | 0x80, 16) + "00");
        const cat::DecodedCommand plain =
            decode(objects.join(' ') + QByteArray::number(tag & 0x7F, 16).rightJustified(2, '0') + "00");
        QVERIFY2(!flagged.command.isPartial(), all[i].constData());
        const bool isLeftOut = flagged.result != Result::Performed && i >= needed.size();
        QCOMPARE(plain.command.isPartial(), isLeftOut);
        QCOMPARE(plain.result == Result::Performed, flagged.result == Result::Performed || isLeftOut);
        if (isLeftOut) // told in the same words
            QCOMPARE(plain.command.leftOut, flagged.reason);
        else
            QCOMPARE(plain.reason, flagged.reason);
    }
}

void tst_Objects::ofRepeatedObjectsTheFirstCounts()
{
    QFETCH(int, index);
    const QByteArray needed = fullCommands[index].needed;
    int count = 0;
    for (const QByteArray &object : objectsOf(fullCommands[index]).split(' ')) {
        const QByteArray once = needed.contains(object) ? needed : needed + ' ' + object;
        const Bytes expected = cat::encodeCommand(decode(once).command);
        if (cat::encodeCommand(decode(once + object).command) != expected)
            continue; // more than one of these counts
        const cat::DecodedCommand twice = decode(once + object.left(2) + "00");
        QVERIFY2(twice.result == Result::Performed, twice.reason.c_str());
        QVERIFY(!twice.command.isPartial());
        QCOMPARE(hexOf(cat::encodeCommand(twice.command)), hexOf(expected));
        ++count;
    }
    QVERIFY(count >= 2); // details and devices at least
}

void tst_Objects::unknownObjectsGoByTheirFlag()
{
    QFETCH(int, index);
    const QByteArray objects = fullCommands[index].needed;
    const Bytes expected = cat::encodeCommand(decode(objects).command);
    for (const char *unknown : {"6E0101", "6E00", "7F01230101", "0000"}) {
        for (const QByteArray &hex : {objects + unknown, unknown + objects}) {
            const cat::DecodedCommand decoded = decode(hex);
            QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
            QVERIFY2(QString::fromStdString(decoded.command.leftOut).contains("does not belong to"), unknown);
            QCOMPARE(hexOf(cat::encodeCommand(decoded.command)), hexOf(expected));
        }
    }
    for (const char *unknown : {"EE0101", "EE00", "7F81230101", "8000"}) {
        for (const QByteArray &hex : {objects + unknown, unknown + objects}) {
            QVERIFY2(decode(hex).result == Result::DataNotUnderstood, unknown);
            QVERIFY2(decode(hex).detailsKnown, unknown);
        }
    }
}

void tst_Objects::whatIsLeftOutLeavesNothingBehind()
{
    const Command text = decode(textHead + "8D020441 2B0100 1E0101 040103").command;
    QVERIFY(text.isPartial());
    QVERIFY(text.text && !text.immediateResponse && !text.icon && !text.duration);
    const Command input = decode(inputHead + "8D020441 91020008 17022441").command;
    QVERIFY(input.isPartial());
    QVERIFY(input.text && !input.defaultText);
    const Command tone = decode(toneHead + "050181 0E020111").command;
    QVERIFY(tone.isPartial());
    QVERIFY(!tone.alphaId && !tone.tone);
}

QTEST_APPLESS_MAIN(tst_Objects)
#include "tst_Objects.moc"
