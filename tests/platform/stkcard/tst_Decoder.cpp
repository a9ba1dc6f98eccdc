#include "stkcard/Decoder.h"

#include "platform/cat/Hex.h"

#include <QtTest>

namespace
{

const QByteArray displayText = "D00F810301218082028102"
                               "8D0404486579";
const QByteArray terminalResponse = "810301218082028281830100";
const QByteArray menuSelection = "D30782020181900105";

stkcard::Decoded decode(const QByteArray &hex)
{
    return stkcard::decodeBytes(bytesOf(hex));
}

/// "place: reason", one for each fault.
QStringList faultsOf(const stkcard::Decoded &decoded)
{
    QStringList faults;
    for (const stkcard::Fault &fault : decoded.faults)
        faults << QString("%1: %2").arg(fault.place).arg(QString::fromStdString(fault.reason));
    return faults;
}

} // namespace

class tst_Decoder : public QObject
{
    Q_OBJECT

private slots:
    void readsDigits_data();
    void readsDigits();
    void tellsKindsApart_data();
    void tellsKindsApart();
    void objectsAreTold();
    void noteTellsWhatATerminalAnswers();
    void statusWordBehindACommandIsANote();
    void malformedBytesAreTold_data();
    void malformedBytesAreTold();
    void everyCutIsTold_data();
    void everyCutIsTold();
    void anyBytesAreAllowed();
};

void tst_Decoder::readsDigits_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected"); // digits, or a fault

    QTest::newRow("plain") << "D00981"
                           << "D00981";
    QTest::newRow("blanks") << " d0 09\t81\r\n"
                            << "D00981";
    QTest::newRow("nothing") << ""
                             << "";
    QTest::newRow("no digit") << "D0 0G"
                              << "5: this is no hexadecimal digit";
    QTest::newRow("no digit at once") << "xD"
                                      << "1: this is no hexadecimal digit";
    QTest::newRow("half a byte at the end") << "D0 0"
                                            << "4: a byte has two digits, and this one has one";
    QTest::newRow("half a byte between") << "D 0 09"
                                         << "1: a byte has two digits, and this one has one";
}

void tst_Decoder::readsDigits()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    cat::Bytes bytes;
    const auto fault = stkcard::readHex(text.toStdString(), &bytes);
    const QString found =
        fault ? QString("%1: %2").arg(fault->place).arg(QString::fromStdString(fault->reason)) : QString(hexOf(bytes));
    QCOMPARE(found, expected);
}

void tst_Decoder::tellsKindsApart_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("title");
    const auto row = [](const char *name, const QByteArray &hex, const QString &title) {
        QTest::newRow(name) << hex << title;
    };
    row("command", displayText, "proactive command DISPLAY TEXT");
    row("response", terminalResponse, "terminal response to DISPLAY TEXT");
    row("response without the flag", "010301218082028281830100", "terminal response to DISPLAY TEXT");
    row("menu selection", menuSelection, "envelope, menu selection");
    row("timer expiration", "D70C82028281A40101A503000010", "envelope, timer expiration");
    row("event",
        "D607"
        "990107"
        "82028281",
        "envelope, event download");
    row("APDU of a response", "801400000C" + terminalResponse,
        "TERMINAL RESPONSE (APDU 80140000): terminal response to DISPLAY TEXT");
    row("APDU of an envelope, Le", "A0C2000009" + menuSelection + "00",
        "ENVELOPE (APDU A0C20000): envelope, menu selection");
    row("FETCH", "8012000020", "FETCH (APDU 80120000)");
    row("TERMINAL PROFILE", "8010000002FFFF", "TERMINAL PROFILE (APDU 80100000)");
    row("STATUS", "80F2000C", "STATUS (APDU 80F2000C)");
}

void tst_Decoder::tellsKindsApart()
{
    QFETCH(QByteArray, hex);
    QFETCH(QString, title);
    const stkcard::Decoded decoded = decode(hex);
    QCOMPARE(QString::fromStdString(decoded.title), title);
    QCOMPARE(faultsOf(decoded), QStringList());
}

void tst_Decoder::objectsAreTold()
{
    const stkcard::Decoded decoded = decode(displayText);
    QCOMPARE(decoded.objects.size(), std::size_t(1));
    const cat::Explanation &command = decoded.objects[0];
    QCOMPARE(QString::fromStdString(command.tag), QString("D0"));
    QCOMPARE(command.length, std::size_t(15));
    QCOMPARE(command.parts.size(), std::size_t(3));
    QCOMPARE(QString::fromStdString(command.parts[2].value), QString("\"Hey\", 8 bits"));
    QCOMPARE(decode(terminalResponse).objects.size(), std::size_t(3));
    QCOMPARE(decode("8010000002FFFF").objects.at(0).value, std::string("FFFF"));
}

void tst_Decoder::noteTellsWhatATerminalAnswers()
{
    const stkcard::Decoded decoded = decode("D009810301770082028182");
    QCOMPARE(faultsOf(decoded), QStringList());
    QCOMPARE(decoded.notes.size(), std::size_t(1));
    QVERIFY2(QString::fromStdString(decoded.notes[0]).startsWith("a terminal answers 31"), decoded.notes[0].c_str());
    QVERIFY(decode(displayText).notes.empty());
}

void tst_Decoder::statusWordBehindACommandIsANote()
{
    const stkcard::Decoded decoded = decode(displayText + "9000");
    QCOMPARE(faultsOf(decoded), QStringList());
    QCOMPARE(decoded.notes, std::vector<std::string>{"status word 9000"});
}

void tst_Decoder::malformedBytesAreTold_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("fault");
    const auto row = [](const char *name, const QByteArray &hex, const QString &fault) {
        QTest::newRow(name) << hex << fault;
    };
    row("nothing", "", "1: there are no bytes");
    row("of no kind", "5500", "1: 55 begins no command (D0)");
    row("no length", "D0", "2: there is no readable length behind D0");
    row("form of the length", "D0850000000000", "2: there is no readable length behind D0");
    row("cut-off command", "D00F8103012180", "2: the length is more than the 5 bytes that follow");
    row("bytes behind the end", displayText + "010203", "18: 3 bytes too many");
    row("no status word behind a command", displayText + "0102", "18: 2 bytes too many");
    row("status word behind an envelope", menuSelection + "9000", "10: 2 bytes too many");
    row("cut-off object",
        "D00C81030121808202810"
        "28D0548",
        "12: the object 8D announces 5 bytes");
    row("object without a length",
        "D00A81030121808202810"
        "28D",
        "12: there is no length behind the tag 8D");
    row("long tag without a length",
        "D00C81030121808202810"
        "27F0022",
        "12: there is no length behind the tag 7F0022");
    row("length of three bytes",
        "D00E81030121808202810"
        "28D83000005",
        "12: the object 8D announces 5 bytes");
    row("form of an object's length",
        "D00B81030121808202810"
        "28D80",
        "12: the length behind the tag 8D has no form");
    row("object that is not as it should be",
        "D00F810301218082028102"
        "840101"
        "8D0100",
        "12: the duration (84) is not as it should be");
    row("missing object", "D009810301218082028102", "1: ");
    row("no command details", "D00482028102", "1: the command has no readable command details");
    row("response without a result",
        "81030121808202"
        "8281",
        "1: a terminal response needs command details");
    row("menu selection without an item", "D30482020181", "1: a menu selection needs");
    row("cut-off APDU", "8014", "3: the APDU ends here");
    row("instruction of another world", "80A4000000", "2: A4 is no instruction of the toolkit");
    row("cut-off data of an APDU", "801000000AFFFF", "5: the APDU announces 10 bytes of data, and 2 bytes follow");
    row("fault within an APDU",
        "801400000981030121808202"
        "8281",
        "6: a terminal response needs");
}

void tst_Decoder::malformedBytesAreTold()
{
    QFETCH(QByteArray, hex);
    QFETCH(QString, fault);
    const QStringList faults = faultsOf(decode(hex));
    QVERIFY2(!faults.isEmpty() && faults[0].startsWith(fault), qPrintable(faults.join('\n')));
    QCOMPARE(faults.size(), 1);
}

void tst_Decoder::everyCutIsTold_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("command") << displayText;
    QTest::newRow("response") << terminalResponse;
    QTest::newRow("envelope") << menuSelection;
    QTest::newRow("APDU") << "801400000C" + terminalResponse;
}

void tst_Decoder::everyCutIsTold()
{
    QFETCH(QByteArray, hex);
    for (int size = 0; size < hex.size() / 2; ++size) {
        const QByteArray cut = hex.left(2 * size);
        const bool isWhole = hex.startsWith("80") && (size == 4 || size == 5); // an APDU without data
        QVERIFY2(isWhole || !decode(cut).faults.empty(), cut.constData());
    }
}

void tst_Decoder::anyBytesAreAllowed()
{
    std::uint32_t seed = 1;
    for (int round = 0; round < 20000; ++round) {
        cat::Bytes bytes;
        for (int i = 0; i < round % 40; ++i) {
            seed = seed * 1664525 + 1013904223;
            bytes.push_back(static_cast<std::uint8_t>(seed >> 24));
        }
        if (!bytes.empty())
            bytes[0] = cat::Bytes{0xD0, 0xD3, 0xD7, 0x81, 0x80}[static_cast<std::size_t>(round) % 5];
        const stkcard::Decoded decoded = stkcard::decodeBytes(bytes);
        for (const stkcard::Fault &fault : decoded.faults)
            QVERIFY(fault.place >= 1 && fault.place <= bytes.size() + 1 && !fault.reason.empty());
    }
}

QTEST_GUILESS_MAIN(tst_Decoder)
#include "tst_Decoder.moc"
