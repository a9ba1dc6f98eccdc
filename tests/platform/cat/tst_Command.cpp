#include "cat/Command.h"
#include "platform/cat/Hex.h"

#include <QtTest>

#include <cstring>
#include <memory>

using cat::CommandType;
using cat::Device;
using cat::Result;

namespace
{

/// A menu in one line: "title: 1=first 2=second"; "-" for a title that is not there.
QString show(const cat::Command &command)
{
    QString line = (command.alphaId ? textOf(*command.alphaId) : QString("-")) + ":";
    for (const cat::Item &item : command.items)
        line += QString(" %1=%2").arg(item.id).arg(textOf(item.text));
    return line;
}

/// The command's objects in their BER-TLV object.
QByteArray wrapped(const QByteArray &objects)
{
    const QByteArray hex = QByteArray(objects).replace(" ", "");
    const int size = hex.size() / 2;
    if (size > 0x7F)
        qFatal("test data too long for a length of one byte");
    return "D0" + QByteArray::number(size, 16).rightJustified(2, '0') + hex;
}

/// Decodes a copy that ends where its memory ends, so that a sanitizer sees one byte too many.
cat::DecodedCommand decodeCopy(const std::uint8_t *data, std::size_t size)
{
    const std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[size]);
    if (size > 0)
        std::memcpy(copy.get(), data, size);
    return cat::decodeCommand(cat::ByteView(copy.get(), size));
}

const QByteArray largeMenu = "D081F3810301250082028182850A4C617267654D656E75328F1DFF312043616C6C20466F727761726420556E6"
                             "36F6E646974696F6E616C8F1CF"
                             "E322043616C6C20466F7277617264204F6E205573657220427573798F1BFD332043616C6C20466F7277617264"
                             "204F6E204E6F205265706C798F"
                             "25FC342043616C6C20466F7277617264204F6E2055736572204E6F7420526561636861626C658F20FB3520426"
                             "17272696E67204F6620416C6C2"
                             "04F7574676F696E672043616C6C738F24FA362042617272696E67204F6620416C6C204F7574676F696E672049"
                             "6E742043616C6C738F13F93720"
                             "434C492050726573656E746174696F6E";
const QByteArray menuWithHelp =
    "D03B810301258082028182850C546F6F6C6B6974204D656E758F07014974656D20318F07024974656D20328F0"
    "7034974656D20338F07044974656D2034";
const QByteArray removal = "D00D81030125008202818285008F00";
const QByteArray selectItem = "D022810301240082028182850B53656C656374204974656D8F04114F6E658F041254776F";
const QByteArray selectWithAttributes =
    "D03D8103012400820281828510546F6F6C6B69742053656C65637420318F07014974656D20318F07024"
    "974656D2032D004001002B4D108000602B4000602B4";
const QByteArray selectWithNextActions =
    "D039810301240082028182850E546F6F6C6B69742053656C6563748F07014974656D20318F07024974"
    "656D20328F07034974656D20331803131026";
const QByteArray menuWithIcons =
    "D03C810301250082028182850C546F6F6C6B6974204D656E758F07014974656D20318F07024974656D20328F"
    "07034974656D20339E0201019F0401050505";
const QByteArray selectWithBase =
    "D0578103012400820281828510820C04108784908082919282938992858F1201820D04108784908082919282"
    "93899285318F1202820D0410878490808291928293899285328F1203820D041087849080829192829389928533";
const QByteArray menuInUcs2 = "D0208103012500820281828509805DE551777BB153558F0411804E008F0412804E8C";
const QByteArray selectWithPage =
    "D03081030124008202818285078104613831EB308F08018104613831EB318F08028104613831EB328F08038104613831EB33";

// Command details and device identities of the two commands, and a title and an item.
const QByteArray menuHead = "8103012500 82028182 ";
const QByteArray selectHead = "8103012400 82028182 ";
const QByteArray title = "850141 ";
const QByteArray item = "8F020142 ";

} // namespace

class tst_Command : public QObject
{
    Q_OBJECT

private slots:
    void decodes_data();
    void decodes();
    void encodes_data();
    void encodes();
    void readsDetailsAndDevices();
    void defaultItemBothWays();
    void emptyTitleIsNotNoTitle();
    void removalHasNoItems();
    void toleratesWhatItMayIgnore_data();
    void toleratesWhatItMayIgnore();
    void refuses_data();
    void refuses();
    void unreadableDetailsGetNoResponse_data();
    void unreadableDetailsGetNoResponse();
    void refusedCommandKeepsItsDetails();
    void holdsAtMost255Items();
    void survivesEveryTruncation();
    void survivesEveryCorruption();
    void survivesRandomBytes();
};

void tst_Command::decodes_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("shown");
    QTest::newRow("large menu, length form 81")
        << largeMenu
        << "LargeMenu2: 255=1 Call Forward Unconditional 254=2 Call Forward On User Busy 253=3 Call Forward On No "
           "Reply "
           "252=4 Call Forward On User Not Reachable 251=5 Barring Of All Outgoing Calls "
           "250=6 Barring Of All Outgoing Int Calls 249=7 CLI Presentation";
    QTest::newRow("menu with help") << menuWithHelp << "Toolkit Menu: 1=Item 1 2=Item 2 3=Item 3 4=Item 4";
    QTest::newRow("menu is taken away") << removal << ":";
    QTest::newRow("menu with icons") << menuWithIcons << "Toolkit Menu: 1=Item 1 2=Item 2 3=Item 3";
    QTest::newRow("menu in UCS2") << menuInUcs2 << QString::fromUtf8("工具箱单: 17=一 18=二");
    QTest::newRow("select item") << selectItem << "Select Item: 17=One 18=Two";
    QTest::newRow("select item with text attributes") << selectWithAttributes << "Toolkit Select 1: 1=Item 1 2=Item 2";
    QTest::newRow("select item with next actions")
        << selectWithNextActions << "Toolkit Select: 1=Item 1 2=Item 2 3=Item 3";
    QTest::newRow("texts with a page, coding 81")
        << selectWithPage << QString::fromUtf8("81ル0: 1=81ル1 2=81ル2 3=81ル3");
    QTest::newRow("texts with a base, coding 82")
        << selectWithBase << QString::fromUtf8("ЗДРАВСТВУЙТЕ: 1=ЗДРАВСТВУЙТЕ1 2=ЗДРАВСТВУЙТЕ2 3=ЗДРАВСТВУЙТЕ3");
}

void tst_Command::decodes()
{
    QFETCH(QByteArray, hex);
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(hex));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QVERIFY(decoded.detailsKnown);
    QVERIFY(decoded.reason.empty());
    QTEST(show(decoded.command), "shown");
}

void tst_Command::encodes_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("large menu, length form 81") << largeMenu;
    QTest::newRow("menu with help") << menuWithHelp;
    QTest::newRow("menu is taken away") << removal;
    QTest::newRow("menu in UCS2") << menuInUcs2;
    QTest::newRow("select item") << selectItem;
    QTest::newRow("texts with a page, coding 81") << selectWithPage;
}

void tst_Command::encodes()
{
    QFETCH(QByteArray, hex);
    QCOMPARE(hexOf(cat::encodeCommand(cat::decodeCommand(bytesOf(hex)).command)), hex);
}

void tst_Command::readsDetailsAndDevices()
{
    const cat::Command command = cat::decodeCommand(bytesOf(menuWithHelp)).command;
    QCOMPARE(int(command.details.number), 1);
    QVERIFY(command.details.type == CommandType::SetUpMenu);
    QCOMPARE(int(command.details.qualifier), 0x80);
    QVERIFY(command.helpAvailable());
    QVERIFY(command.source == Device::Uicc);
    QVERIFY(command.destination == Device::Terminal);
    QVERIFY(!cat::decodeCommand(bytesOf(selectItem)).command.helpAvailable());
}

void tst_Command::defaultItemBothWays()
{
    const cat::DecodedCommand decoded =
        cat::decodeCommand(bytesOf(wrapped(selectHead + title + item + "8F020243 900102")));
    QVERIFY(decoded.result == Result::Performed);
    QVERIFY(decoded.command.defaultItem);
    QCOMPARE(int(*decoded.command.defaultItem), 2);
    QCOMPARE(hexOf(cat::encodeCommand(decoded.command)),
             wrapped(selectHead + title + item + "8F020243 900102").toUpper());
    QVERIFY(!cat::decodeCommand(bytesOf(selectItem)).command.defaultItem);
}

void tst_Command::emptyTitleIsNotNoTitle()
{
    const cat::Command without = cat::decodeCommand(bytesOf(wrapped(selectHead + item))).command;
    QVERIFY(!without.alphaId);
    const cat::Command empty = cat::decodeCommand(bytesOf(wrapped(selectHead + "8500" + item))).command;
    QVERIFY(empty.alphaId && empty.alphaId->empty());
    QVERIFY(cat::encodeCommand(without) != cat::encodeCommand(empty));
}

void tst_Command::removalHasNoItems()
{
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(removal));
    QVERIFY(decoded.result == Result::Performed);
    QVERIFY(decoded.command.items.empty());
}

void tst_Command::toleratesWhatItMayIgnore_data()
{
    QTest::addColumn<QByteArray>("hex");
    const QByteArray good = menuHead + title + item;
    QTest::newRow("tags without comprehension flag") << wrapped("0103012500 02028182 050141 0F020142");
    QTest::newRow("unknown object without flag") << wrapped(good + "6E0101");
    QTest::newRow("unknown object in front") << wrapped("6E0101" + good);
    QTest::newRow("unknown object with a tag of three bytes") << wrapped(good + "7F01230101");
    QTest::newRow("object of another command without flag") << wrapped(good + "100101");
    QTest::newRow("repeated title: the first counts") << wrapped(good + "850143");
    QTest::newRow("repeated details: the first count") << wrapped(good + "8103022400");
    QTest::newRow("objects in another order") << wrapped(item + title + menuHead);
    QTest::newRow("bytes behind the command") << wrapped(good) + "FFFFFF";
    QTest::newRow("length form longer than needed") << "D08110" + QByteArray(good).replace(" ", "");
}

void tst_Command::toleratesWhatItMayIgnore()
{
    QFETCH(QByteArray, hex);
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(hex));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QCOMPARE(show(decoded.command), QString("A: 1=B"));
    QVERIFY(decoded.command.details.type == CommandType::SetUpMenu);
    QCOMPARE(int(decoded.command.details.number), 1);
    QVERIFY(!decoded.command.defaultItem);
}

void tst_Command::refuses_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("reason"); // a part of it
    const auto row = [](const char *name, const QByteArray &hex, Result result, const char *reason) {
        QTest::newRow(name) << hex << static_cast<int>(result) << reason;
    };
    const QByteArray good = menuHead + title + item;
    row("unknown object with flag", wrapped(good + "EE0101"), Result::DataNotUnderstood, "tag 110");
    row("unknown object of three bytes with flag", wrapped(good + "7F81230101"), Result::DataNotUnderstood, "tag 291");
    row("default item in a main menu", wrapped(good + "900101"), Result::DataNotUnderstood, "tag 16");
    row("menu without items", "D00B8103012500820281828500", Result::ValuesMissing, "item is missing");
    row("menu without a title", wrapped(menuHead + item), Result::ValuesMissing, "alpha identifier is missing");
    row("menu without devices", wrapped("8103012500" + title + item), Result::ValuesMissing, "device identities");
    row("select item without items", wrapped(selectHead + title), Result::ValuesMissing, "item is missing");
    row("two empty items", "D00F81030125008202818285008F008F00", Result::DataNotUnderstood, "empty item");
    row("an empty item among others", wrapped(good + "8F00"), Result::DataNotUnderstood, "empty item");
    row("empty item in select item", wrapped(selectHead + "8F00"), Result::DataNotUnderstood, "item is empty");
    row("item with the identifier 0", wrapped(menuHead + title + "8F020042"), Result::DataNotUnderstood, "item 0042");
    row("item text contradicts its coding", wrapped(menuHead + title + "8F03018105"), Result::DataNotUnderstood,
        "item");
    row("title contradicts its coding", wrapped(menuHead + "850181" + item), Result::DataNotUnderstood, "alpha");
    row("default item without a value", wrapped(selectHead + item + "9000"), Result::DataNotUnderstood, "identifier");
    row("default item of two bytes", wrapped(selectHead + item + "90020101"), Result::DataNotUnderstood, "identifier");
    row("devices of one byte", wrapped("8103012500 820181" + title + item), Result::DataNotUnderstood, "device");
    row("from the terminal", wrapped("8103012500 82028281" + title + item), Result::DataNotUnderstood, "82 to 81");
    row("from the terminal to itself", wrapped("8103012500 82028282" + title + item), Result::DataNotUnderstood,
        "82 to 82");
    row("to the display", wrapped("8103012500 82028102" + title + item), Result::DataNotUnderstood, "81 to 02");
    row("last object cut off", wrapped(good + "8F0501"), Result::DataNotUnderstood, "cut off");
    row("shorter than its length", "D020" + QByteArray(good).replace(" ", ""), Result::DataNotUnderstood, "shorter");
    row("a command without a row", wrapped("8103013300 82028182"), Result::BeyondCapabilities, "GET READER STATUS");
    // Commands that need no user (ETSI TS 102 223 clauses 6.6.5, 6.6.15, 6.6.16, 6.6.21 and 6.6.25).
    row("poll interval without a duration", wrapped("8103010300 82028182"), Result::ValuesMissing, "duration");
    row("poll interval of nothing", wrapped("8103010300 82028182 84020100"), Result::DataNotUnderstood, "duration");
    row("no event list", wrapped("8103010500 82028182"), Result::ValuesMissing, "event list");
    row("no timer", wrapped("8103012700 82028182 A503000010"), Result::ValuesMissing, "timer identifier");
    row("timer 0", wrapped("8103012701 82028182 A40100"), Result::DataNotUnderstood, "timer identifier 00");
    row("timer 9", wrapped("8103012701 82028182 A40109"), Result::DataNotUnderstood, "timer identifier 09");
    row("timer started without a value", wrapped("8103012700 82028182 A40101"), Result::ValuesMissing, "timer value");
    row("timer started for nothing", wrapped("8103012700 82028182 A40101 A503000000"), Result::DataNotUnderstood,
        "no seconds");
    row("timer for more than a day", wrapped("8103012700 82028182 A40101 A503420010"), Result::DataNotUnderstood,
        "timer value 420010");
    row("timer with no number for a value", wrapped("8103012700 82028182 A40101 A50300000A"), Result::DataNotUnderstood,
        "timer value 00000A");
    row("no action on a timer", wrapped("8103012703 82028182 A40101"), Result::DataNotUnderstood, "qualifier");
    row("language of one letter", wrapped("8103013501 82028182 AD0165"), Result::DataNotUnderstood, "language 65");
    row("a type nobody knows", wrapped("8103017F00 82028182"), Result::TypeNotUnderstood, "COMMAND 7F");
}

void tst_Command::refuses()
{
    QFETCH(QByteArray, hex);
    QFETCH(QString, reason);
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(hex));
    QTEST(static_cast<int>(decoded.result), "result");
    QVERIFY(decoded.detailsKnown);
    QVERIFY2(QString::fromStdString(decoded.reason).contains(reason), decoded.reason.c_str());
    QVERIFY(decoded.command.items.empty());
}

void tst_Command::unreadableDetailsGetNoResponse_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("only a tag") << QByteArray("D0");
    QTest::newRow("empty command") << QByteArray("D000");
    QTest::newRow("another BER-TLV object") << QByteArray("D1") + menuWithHelp.mid(2);
    QTest::newRow("details missing") << wrapped("82028182" + title + item);
    QTest::newRow("details of two bytes") << wrapped("81020125 82028182" + title + item);
    QTest::newRow("details of four bytes") << wrapped("810401250000 82028182" + title + item);
    QTest::newRow("details cut off") << QByteArray("D0098103");
    QTest::newRow("details behind an unreadable object") << wrapped("0580 8103012500");
}

void tst_Command::unreadableDetailsGetNoResponse()
{
    QFETCH(QByteArray, hex);
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(hex));
    QVERIFY(!decoded.detailsKnown);
    QVERIFY(decoded.result != Result::Performed);
    QVERIFY(!decoded.reason.empty());
}

void tst_Command::refusedCommandKeepsItsDetails()
{
    const cat::Command command = cat::decodeCommand(bytesOf(wrapped("8103072180 82028102"))).command;
    QCOMPARE(int(command.details.number), 7);
    QVERIFY(command.details.type == CommandType::DisplayText);
    QCOMPARE(int(command.details.qualifier), 0x80);
    QVERIFY(command.destination == Device::Display);
}

void tst_Command::holdsAtMost255Items()
{
    cat::Command command;
    command.details.type = CommandType::SelectItem;
    for (int id = 1; id <= 255; ++id)
        command.items.push_back({static_cast<std::uint8_t>(id), u"x"});
    const cat::Bytes full = cat::encodeCommand(command);
    QCOMPARE(int(full[1]), 0x82); // length form 82
    QCOMPARE(cat::decodeCommand(full).command.items.size(), std::size_t(255));
    command.items.push_back({1, u"x"});
    QVERIFY(cat::decodeCommand(cat::encodeCommand(command)).result == Result::DataNotUnderstood);
}

void tst_Command::survivesEveryTruncation()
{
    for (const QByteArray &hex :
         {largeMenu, selectWithAttributes, menuWithIcons, selectWithBase, menuInUcs2, removal}) {
        const cat::Bytes pdu = bytesOf(hex);
        for (std::size_t size = 0; size < pdu.size(); ++size) {
            const cat::DecodedCommand decoded = decodeCopy(pdu.data(), size);
            QVERIFY(decoded.result != Result::Performed);
            QVERIFY(!decoded.reason.empty());
        }
        QVERIFY(decodeCopy(pdu.data(), pdu.size()).result == Result::Performed);
    }
}

void tst_Command::survivesEveryCorruption()
{
    for (const QByteArray &hex : {selectWithAttributes, menuWithIcons, selectWithBase, menuInUcs2, removal}) {
        cat::Bytes pdu = bytesOf(hex);
        for (std::uint8_t &byte : pdu) {
            const std::uint8_t good = byte;
            for (int value = 0; value < 256; ++value) {
                byte = static_cast<std::uint8_t>(value);
                const cat::DecodedCommand decoded = decodeCopy(pdu.data(), pdu.size());
                QCOMPARE(decoded.reason.empty(), decoded.result == Result::Performed);
                QVERIFY(decoded.detailsKnown || decoded.result != Result::Performed);
            }
            byte = good;
        }
    }
}

void tst_Command::survivesRandomBytes()
{
    constexpr std::uint8_t types[] = {0x01, 0x10, 0x11, 0x12, 0x13, 0x15, 0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x28};
    quint32 state = 20240229; // a fixed seed: the same bytes every time
    for (int round = 0; round < 20000; ++round) {
        cat::Bytes pdu{0xD0, 0x7F, 0x81, 0x03, 0x01, types[static_cast<std::size_t>(round) % std::size(types)], 0x00};
        const int size = round % 100;
        for (int i = 0; i < size; ++i) {
            state = state * 1664525 + 1013904223;
            pdu.push_back(static_cast<std::uint8_t>(state >> 24));
        }
        QVERIFY(decodeCopy(pdu.data(), pdu.size()).detailsKnown);
        cat::decodeResponse(pdu);
        pdu[0] = 0xD3;
        cat::decodeMenuSelection(pdu);
    }
}

QTEST_APPLESS_MAIN(tst_Command)
#include "tst_Command.moc"
