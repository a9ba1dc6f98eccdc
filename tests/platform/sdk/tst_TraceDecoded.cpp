#include "platform/sdk/Commands.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <mutex>

/// Independent eyes: what a network analyser reads in a recorded session is what this library says that it was.
class tst_TraceDecoded : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void analyserReadsWhatWasSaid();
    void analyserReadsTheTerminalProfile();

private:
    bool record();
    QString analyse(const QStringList &arguments);

    QTemporaryDir m_folder;
    QString m_analyser;
    QString m_file;
    std::vector<sdk::Exchange> m_exchanges;
};

namespace
{

/// Texts in every coding, beside the commands of every type.
const char *const session[] = {
    commands::displayText,
    // "Packed @£$" in 7 bits; 8 bits, of which the analyser reads ASCII only; Cyrillic in UCS2
    "D015 8103012180820281028D0A00D0F0785D2683000101",
    "D017 8103012180820281028D0C04506C61696E203820626974",
    "D01A 8103012180820281028D0F08041F044004380432043504420021",
    commands::getKey,
    commands::getYesNo,
    commands::getText,
    commands::getPackedText,
    commands::getUcs2Text,
    commands::getPin,
    commands::setUpCall,
    commands::playTone,
    vectors::selectItem,
    // SELECT ITEM with a title and an item in UCS2. Of the codings 81 and 82 the analyser repeats the first character
    // (tshark 4.0), so they are not here.
    "D01D 810302240082028182850580041604368F0601800417044E8F03034142",
    commands::sendSs,
    commands::sendSms,
    commands::sendUssd,
    commands::launchBrowser,
    commands::idleText,
    commands::refresh,
};

struct AnswerRow {
    const char *event;
    int (*answer)(int id);
};

const uint16_t key[] = {'q', 0};
const uint16_t digits[] = {'1', '2', '3', '4', 0};
const uint16_t yes[] = {'1', 0};

/// The first that is taken counts.
const AnswerRow answerRows[] = {
    {"STK 1", [](int id) { return MDSV_STKSrv_SendNoDataResponse(id, 1, 1); }},
    {"STK 2", [](int id) { return MDSV_STKSrv_AnswerInKey(id, 1, yes); }},
    {"STK 2", [](int id) { return MDSV_STKSrv_AnswerInKey(id, 1, key); }},
    {"STK 3", [](int id) { return MDSV_STKSrv_AnswerInput(id, 1, digits); }},
    {"STK 4", [](int id) { return MDSV_STKSrv_SendNoDataResponse(id, 4, 4); }},
    {"STK 5", [](int id) { return MDSV_STKSrv_SendNoDataResponse(id, 5, 0); }},
    {"STK 6", [](int id) { return MDSV_STKSrv_SelectSubMenuItem(id, 1, 0x12); }},
    {"STK 6", [](int id) { return MDSV_STKSrv_SelectSubMenuItem(id, 3, 0); }},
    {"STK 11", [](int id) { return MDSV_STKSrv_SendNoDataResponse(id, 11, 1); }},
    {"STK 12", [](int id) { return MDSV_STKSrv_SendNoDataResponse(id, 12, 1); }},
};

void answer(const events::Event &event)
{
    for (const AnswerRow &row : answerRows) {
        if (event.text == row.event && row.answer(event.id) == 0)
            return;
    }
}

QString toText(const std::u16string &text)
{
    return QString::fromStdU16String(text);
}

/// Columns of one APDU, as the analyser's table has them.
constexpr int columns = 6;
const QStringList fields = {
    "-T", "fields",
    "-E", "separator=/t",
    "-E", "aggregator=|",
    "-e", "_ws.col.Info",
    "-e", "etsi_cat.comp_tlv.text",
    "-e", "etsi_cat.comp_tlv.alpha_id.string",
    "-e", "etsi_cat.comp_tlv.item.string",
    "-e", "etsi_cat.comp_tlv.result",
    "-e", "_ws.malformed",
};

QString commandLine(const sdk::Exchange &exchange)
{
    const cat::Command command = cat::decodeCommand(exchange.bytes).command;
    QStringList alphas;
    for (const auto &alpha : {command.alphaId, command.callAlphaId}) {
        if (alpha)
            alphas.append(toText(*alpha));
    }
    QStringList items;
    for (const cat::Item &item : command.items)
        items.append(toText(item.text));
    return "FETCH Proactive Command " + QString::fromStdString(cat::commandName(command.details.type)) + '\t' +
           (command.text ? toText(command.text->value) : QString()) + '\t' + alphas.join('|') + '\t' + items.join('|') +
           "\t\t";
}

QString responseLine(const sdk::Exchange &exchange)
{
    const cat::Response response = *cat::decodeResponse(exchange.bytes);
    return "TERMINAL RESPONSE " + QString::fromStdString(cat::commandName(response.details.type)) + '\t' +
           (response.text ? toText(response.text->value) : QString()) + "\t\t\t0x" +
           QString("%1").arg(int(response.result), 2, 16, QChar('0')) + '\t';
}

/// What the analyser must read about a step of the session; empty for one without an APDU.
QString expectedLine(const sdk::Exchange &exchange)
{
    switch (exchange.kind) {
    case sdk::Exchange::Kind::Command:
        return commandLine(exchange);
    case sdk::Exchange::Kind::Response:
        return responseLine(exchange);
    case sdk::Exchange::Kind::Envelope:
        return "ENVELOPE Menu selection\t\t\t\t\t";
    case sdk::Exchange::Kind::Device:
    case sdk::Exchange::Kind::Note:
        break;
    }
    return QString();
}

} // namespace

void tst_TraceDecoded::initTestCase()
{
    m_analyser = QStandardPaths::findExecutable("tshark");
    if (m_analyser.isEmpty())
        QFAIL("tshark is not installed: tools/packages.txt lists it");
    QVERIFY(m_folder.isValid());
    m_file = m_folder.filePath("session.pcap");
    QVERIFY(record());
}

void tst_TraceDecoded::cleanup()
{
    events::reset();
}

/// Every command, answered at once, in one session.
bool tst_TraceDecoded::record()
{
    std::string error;
    if (!sdk::setTraceFile(QFile::encodeName(m_file).toStdString(), &error) || !events::registerBoth())
        return false;
    std::mutex mutex;
    sdk::setExchangeListener([&](const sdk::Exchange &exchange) {
        const std::lock_guard<std::mutex> lock(mutex);
        m_exchanges.push_back(exchange);
    });
    const auto script = vectors::attachWithMenu();
    if (!script)
        return false;
    for (const char *command : session)
        script->proposes(command);
    script->answers("9000");
    events::setReaction(answer);
    const bool isOver = MDSV_STKSrv_SelectMenuItem(1, 1) == 0 && vectors::waitForEvent("STK 99");
    sdk::shutDown();
    return isOver && script->isPlayedOut();
}

QString tst_TraceDecoded::analyse(const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(m_analyser, QStringList{"-n", "-r", m_file} + arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return "failed: " + process.errorString() + ' ' + QString::fromUtf8(process.readAllStandardError());
    return QString::fromUtf8(process.readAllStandardOutput());
}

void tst_TraceDecoded::analyserReadsWhatWasSaid()
{
    QStringList expected{"TERMINAL PROFILE\t\t\t\t\t"};
    for (const sdk::Exchange &exchange : m_exchanges) {
        const QString line = expectedLine(exchange);
        if (!line.isEmpty())
            expected.append(line);
    }
    QStringList lines = analyse(fields).split('\n');
    QCOMPARE(lines.takeLast(), QString());
    for (int i = 0; i < std::min(lines.size(), expected.size()); ++i) {
        QStringList cells = lines[i].remove("ETSI TS 102.221 ").split('\t');
        cells[0] = cells[0].trimmed();
        QCOMPARE(cells.size(), columns);
        QCOMPARE(cells.join('\t'), expected[i]);
    }
    QCOMPARE(lines.size(), expected.size());
    QVERIFY(lines.size() > 2 * int(std::size(session)));
}

void tst_TraceDecoded::analyserReadsTheTerminalProfile()
{
    QStringList supported;
    const QStringList lines = analyse({"-V", "-Y", "gsm_sim.apdu.ins == 0x10"}).split('\n');
    for (const QString &line : lines) {
        if (line.endsWith(": Supported"))
            supported.append(line.section(" = ", 1).remove("Proactive SIM: ").remove(": Supported"));
    }
    QCOMPARE(supported, (QStringList{
                            "Profile Download",
                            "Menu Selection",
                            "Timer expiration",
                            "Command result",
                            "UCS2 Entry",
                            "UCS2 Display",
                            "Display of Extension Text",
                            "DISPLAY TEXT",
                            "GET INKEY",
                            "GET INPUT",
                            "MORE TIME",
                            "PLAY TONE",
                            "POLL INTERVAL",
                            "POLLING OFF",
                            "REFRESH",
                            "SELECT ITEM",
                            "SEND SHORT MESSAGE",
                            "SEND SS",
                            "SEND USSD",
                            "SET UP MENU",
                            "TIMER MANAGEMENT (start, stop)",
                            "TIMER MANAGEMENT (get current value)",
                            "PROVIDE LOCAL INFORMATION (date, time, tz)",
                            "GET INKEY",
                            "SET UP IDLE MODE TEXT",
                            "DISPLAY TEXT",
                            "PROVIDE LOCAL INFORMATION (language)",
                            "LANGUAGE NOTIFICATION",
                            "LAUNCH BROWSER",
                            "DISPLAY TEXT (Variable Time out)",
                            "GET INKEY (Variable Timeout)",
                        }));
}

QTEST_GUILESS_MAIN(tst_TraceDecoded)
#include "tst_TraceDecoded.moc"
