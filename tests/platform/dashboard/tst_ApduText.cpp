#include "dashboard/ApduText.h"

#include "dashboard/ExchangeText.h"

#include <QTest>

using namespace dashboard;

namespace
{

cat::Bytes fromHex(const QByteArray &hex)
{
    const QByteArray raw = QByteArray::fromHex(hex);
    return cat::Bytes(raw.begin(), raw.end());
}

QString names(const std::vector<cat::Explanation> &objects)
{
    QStringList all;
    for (const cat::Explanation &object : objects) {
        all << QString::fromStdString(object.name) +
                   (object.parts.empty() ? QString() : '(' + names(object.parts) + ')');
    }
    return all.join(", ");
}

} // namespace

class tst_ApduText : public QObject
{
    Q_OBJECT

private slots:
    void apduIsToldInWords_data();
    void apduIsToldInWords();
    void entryIsExplained_data();
    void entryIsExplained();
};

void tst_ApduText::apduIsToldInWords_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("words");

    const auto row = [](const char *name, const char *command, const char *answer, const char *words) {
        QTest::newRow(name) << QByteArray(command) << QByteArray(answer) << QString(words);
    };
    row("profile", "80100000020102", "9119", "TERMINAL PROFILE, 2 bytes: 9119 a command waits");
    row("fetch", "8012000002", "D0009000", "FETCH, 2 bytes: 9000 done");
    row("response", "801400000101", "9000", "TERMINAL RESPONSE, 1 byte: 9000 done");
    row("envelope", "80C2000001D3", "9300", "ENVELOPE, 1 byte: 9300 the card is busy");
    row("choice", "80C2000009D30782020181900101", "9118", "ENVELOPE MENU SELECTION, 9 bytes: 9118 a command waits");
    row("timer", "80C200000CD70A82028281A40101A50100", "9000", "ENVELOPE TIMER EXPIRATION, 12 bytes: 9000 done");
    row("envelope of another kind", "80C2000009D60782020181990104", "9000", "ENVELOPE, 9 bytes: 9000 done");
    row("status", "80F2000C00", "9000", "STATUS: 9000 done");
    row("get response", "00C0000001", "019000", "GET RESPONSE, 1 byte: 9000 done");
    row("unknown instruction", "80AA0000", "6D00", "instruction AA: 6D00 unknown instruction");
    row("unknown status", "80F2000C00", "62F1", "STATUS: 62F1");
    row("cut-off command", "8012", "6700", "cut-off command: 6700 wrong length");
    row("no answer", "80F2000C00", "90", "STATUS: no status word");
    row("length longer than the data", "801400000501", "6700", "TERMINAL RESPONSE, 1 byte: 6700 wrong length");
}

void tst_ApduText::apduIsToldInWords()
{
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, answer);
    QTEST(apduWords(fromHex(command), fromHex(answer)), "words");
}

void tst_ApduText::entryIsExplained_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("objects");

    QTest::newRow("no bytes") << int(EntryKind::Host) << QByteArray() << QByteArray() << "";
    QTest::newRow("command") << int(EntryKind::Command) << QByteArray("D0058103012100") << QByteArray()
                             << "proactive command(command details)";
    QTest::newRow("fetch") << int(EntryKind::Apdu) << QByteArray("8012000007") << QByteArray("D00581030121009000")
                           << "command, answer(proactive command(command details))";
    QTest::newRow("response") << int(EntryKind::Apdu) << QByteArray("8014000003830100") << QByteArray("9000")
                              << "command(result), answer";
    QTest::newRow("profile") << int(EntryKind::Apdu) << QByteArray("801000000101") << QByteArray("9000")
                             << "command(data), answer";
    QTest::newRow("hardly anything") << int(EntryKind::Apdu) << QByteArray("80") << QByteArray() << "command, answer";
}

void tst_ApduText::entryIsExplained()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, answer);
    const SessionEntry entry{static_cast<EntryKind>(kind), QDateTime(), QString(), fromHex(bytes), fromHex(answer)};
    QTEST(names(explainEntry(entry)), "objects");
}

QTEST_APPLESS_MAIN(tst_ApduText)
#include "tst_ApduText.moc"
