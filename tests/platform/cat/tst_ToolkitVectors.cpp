#include "cat/Command.h"
#include "cat/Tlv.h"
#include "platform/cat/Hex.h"
#include "platform/cat/ToolkitRows.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

using cat::Command;
using cat::CommandType;
using cat::Response;
using cat::Result;

namespace
{

/// Takes `key` out of the row; what is left in it at the end has not been read.
QJsonValue take(QJsonObject *row, const char *key)
{
    QJsonValue value = row->take(key);
    if (value.isUndefined())
        QTest::qFail(qPrintable(QString("the row has no \"%1\"").arg(key)), __FILE__, __LINE__);
    return value;
}

cat::Bytes takeBytes(QJsonObject *row, const char *key)
{
    return bytesOf(take(row, key).toString().toLatin1());
}

/// The bytes of a response with the comprehension flag of the device identities set: both forms are valid.
QString normalised(const QString &hex)
{
    QString copy = hex;
    if (copy.mid(10, 4) == "0202")
        copy.replace(10, 2, "82");
    return copy;
}

std::vector<cat::TlvObject> objectsIn(const cat::Bytes &pdu)
{
    std::vector<cat::TlvObject> objects;
    cat::TlvReader reader(cat::readBer(pdu)->value);
    while (const std::optional<cat::TlvObject> object = reader.next())
        objects.push_back(*object);
    return objects;
}

bool sameBytes(cat::ByteView a, cat::ByteView b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

/// Alpha identifiers and items may take another coding than the card took, but no longer one.
bool isRecoded(const cat::TlvObject &ours, const cat::TlvObject &theirs)
{
    return (ours.tag == cat::Tag::AlphaIdentifier || ours.tag == cat::Tag::Item) &&
           ours.value.size <= theirs.value.size;
}

/// Empty when `ours` has the objects of `theirs` in the same order, with the same flags and the same bytes.
QString objectDifference(const cat::Bytes &ours, const cat::Bytes &theirs)
{
    const std::vector<cat::TlvObject> a = objectsIn(ours);
    const std::vector<cat::TlvObject> b = objectsIn(theirs);
    if (a.size() != b.size())
        return "another number of objects";
    for (std::size_t i = 0; i < a.size(); ++i) {
        const bool sameHead = a[i].tag == b[i].tag && a[i].comprehension == b[i].comprehension;
        if (!sameHead || !(sameBytes(a[i].value, b[i].value) || isRecoded(a[i], b[i])))
            return QString("object %1: %2 instead of %3").arg(i).arg(hexOf(a[i].value), hexOf(b[i].value));
    }
    return QString();
}

// What a user does to a command, and the response it makes.

Response performed(const Command &command)
{
    Response response;
    response.details = command.details;
    return response;
}

Response ended(const Command &command, Result result)
{
    Response response = performed(command);
    response.result = result;
    return response;
}

Response confirm(const Command &command, const QString &)
{
    Response response = performed(command);
    if (command.details.type == CommandType::GetInput)
        response.text = cat::Text{command.defaultText.value_or(cat::Text()).value, command.answerCoding()};
    return response;
}

Response enter(const Command &command, const QString &input)
{
    Response response = performed(command);
    response.text = cat::Text{input.toStdU16String(), command.answerCoding()};
    return response;
}

Response answerYes(const Command &command, const QString &)
{
    Response response = performed(command);
    response.text = cat::Text{u"\1", command.answerCoding()};
    return response;
}

Response refuseForBusyScreen(const Command &command, const QString &)
{
    Response response = ended(command, Result::TerminalUnable);
    response.additionalInformation = {0x01};
    return response;
}

/// A tone ends by itself and a text may; anything else waits in vain.
Response wait(const Command &command, const QString &)
{
    const bool endsByItself =
        command.details.type == CommandType::PlayTone ||
        (command.details.type == CommandType::DisplayText && (!command.isClearedByUser() || command.immediateResponse));
    return ended(command, endsByItself ? Result::Performed : Result::NoResponseFromUser);
}

constexpr struct {
    const char *name;
    bool hasInput;
    Response (*respond)(const Command &command, const QString &input);
} actions[] = {
    {"confirm", false, confirm},
    {"enter", true, enter},
    {"yes", false, answerYes},
    {"back", false, [](const Command &command, const QString &) { return ended(command, Result::BackwardMove); }},
    {"end session", false,
     [](const Command &command, const QString &) { return ended(command, Result::SessionTerminatedByUser); }},
    {"screen busy", false, refuseForBusyScreen},
    {"user does nothing (timeout / tone plays to its end)", false, wait},
    {"immediate response sent; user clears after 3 s", false, confirm},
};

} // namespace

/// The public conformance sequences in tests/data/toolkit.json: every command, response, envelope and session.
class tst_ToolkitVectors : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void hasEveryRow();
    void commands_data();
    void commands();
    void keepsTheBytesOfMostCommands();
    void responses_data();
    void responses();
    void envelopes_data();
    void envelopes();
    void sessions_data();
    void sessions();
    void findsADifference_data();
    void findsADifference();

private:
    void addRows(const char *section);

    QJsonObject m_file;
};

void tst_ToolkitVectors::initTestCase()
{
    QFile file(QStringLiteral(STK_TEST_DATA "/toolkit.json"));
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName() + ": " + file.errorString()));
    QJsonParseError error;
    m_file = QJsonDocument::fromJson(file.readAll(), &error).object();
    QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
}

void tst_ToolkitVectors::hasEveryRow()
{
    QCOMPARE(m_file["proactive"].toArray().size(), 310);
    QCOMPARE(m_file["terminal_responses"].toArray().size(), 62);
    QCOMPARE(m_file["menu_selection_envelopes"].toArray().size(), 5);
    QCOMPARE(m_file["sessions"].toArray().size(), 86);
    const QStringList sections{"about", "menu_selection_envelopes", "proactive", "sessions", "terminal_responses"};
    QCOMPARE(m_file.keys(), sections);
}

void tst_ToolkitVectors::addRows(const char *section)
{
    QTest::addColumn<QJsonObject>("row");
    QSet<QString> names;
    const QJsonArray rows = m_file[section].toArray();
    for (const auto &value : rows) {
        QJsonObject row = value.toObject();
        const QString name = row.take("name").toString();
        if (name.isEmpty() || names.contains(name))
            qFatal("%s: a row has no name of its own: %s", section, qPrintable(name));
        names.insert(name);
        QTest::newRow(qPrintable(name)) << row;
    }
}

void tst_ToolkitVectors::commands_data()
{
    addRows("proactive");
}

void tst_ToolkitVectors::commands()
{
    QFETCH(QJsonObject, row);
    const cat::Bytes pdu = takeBytes(&row, "pdu_hex");
    const cat::DecodedCommand decoded = cat::decodeCommand(pdu);
    if (row.contains("expected_result_code")) {
        const int code = take(&row, "expected_result_code").toString().toInt(nullptr, 16);
        QCOMPARE(static_cast<int>(decoded.result), code);
        QVERIFY(!take(&row, "refuse_reason").toString().isEmpty());
        QVERIFY(!decoded.reason.empty());
        for (const QString &key : take(&row, "expected").toObject().keys())
            QVERIFY2(toolkit::isKnownKey(key), qPrintable(key));
        QJsonObject head = toolkit::commandRow(decoded.command);
        head.remove("expected");
        const QString difference = toolkit::difference(head, row);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
        return;
    }
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    QString difference = toolkit::difference(toolkit::commandRow(decoded.command), row);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QVERIFY(decoded.command.destination == cat::destinationOf(decoded.command.details.type));

    const cat::Bytes encoded = cat::encodeCommand(decoded.command);
    const cat::DecodedCommand again = cat::decodeCommand(encoded);
    QVERIFY2(again.result == Result::Performed, again.reason.c_str());
    difference = toolkit::difference(toolkit::commandRow(again.command), row);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    difference = objectDifference(encoded, pdu);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QVERIFY(encoded.size() <= pdu.size());
}

void tst_ToolkitVectors::keepsTheBytesOfMostCommands()
{
    int kept = 0;
    const QJsonArray rows = m_file["proactive"].toArray();
    for (const auto &value : rows) {
        const QJsonObject row = value.toObject();
        const cat::Bytes pdu = bytesOf(row["pdu_hex"].toString().toLatin1());
        const cat::DecodedCommand decoded = cat::decodeCommand(pdu);
        if (decoded.result == Result::Performed && cat::encodeCommand(decoded.command) == pdu)
            ++kept;
    }
    QCOMPARE(kept, 294); // 13 come out with shorter alpha identifiers and items
}

void tst_ToolkitVectors::responses_data()
{
    addRows("terminal_responses");
}

void tst_ToolkitVectors::responses()
{
    QFETCH(QJsonObject, row);
    row["response_hex"] = normalised(row["response_hex"].toString());
    const std::optional<Response> response = cat::decodeResponse(bytesOf(row["response_hex"].toString().toLatin1()));
    QVERIFY(response);
    const QString meaning = take(&row, "meaning").toString();
    QVERIFY2(meaning.startsWith(row["result"].toString() + " "), qPrintable(meaning));
    // The row is made from what was decoded, its bytes by encoding that again.
    const QString difference = toolkit::difference(toolkit::responseRow(*response), row);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QCOMPARE(int(response->details.number), 1);
}

void tst_ToolkitVectors::envelopes_data()
{
    addRows("menu_selection_envelopes");
}

void tst_ToolkitVectors::envelopes()
{
    QFETCH(QJsonObject, row);
    const auto selection = cat::decodeMenuSelection(bytesOf(row["envelope_hex"].toString().toLatin1()));
    QVERIFY(selection);
    const QString difference = toolkit::difference(toolkit::selectionRow(*selection), row);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

void tst_ToolkitVectors::sessions_data()
{
    addRows("sessions");
}

void tst_ToolkitVectors::sessions()
{
    QFETCH(QJsonObject, row);
    const cat::DecodedCommand decoded = cat::decodeCommand(takeBytes(&row, "request_hex"));
    QVERIFY2(decoded.result == Result::Performed, decoded.reason.c_str());
    const Command &command = decoded.command;
    QCOMPARE(QString::fromStdString(cat::commandName(command.details.type)), take(&row, "command").toString());

    const QString name = take(&row, "user_action").toString();
    const auto action = std::find_if(std::begin(actions), std::end(actions),
                                     [&name](const auto &candidate) { return name == candidate.name; });
    QVERIFY2(action != std::end(actions), qPrintable("no such action: " + name));
    const Response response =
        action->respond(command, action->hasInput ? take(&row, "user_input").toString() : QString());
    QCOMPARE(static_cast<int>(response.result), take(&row, "result").toString().toInt(nullptr, 16));
    QCOMPARE(QString::fromLatin1(hexOf(cat::encodeResponse(response))),
             normalised(take(&row, "response_hex").toString()));
    if (row.contains("time_window_s")) {
        const QJsonArray window = take(&row, "time_window_s").toArray();
        QVERIFY(command.duration && window.size() == 2);
        QVERIFY(command.duration->seconds() >= window[0].toDouble());
        QVERIFY(command.duration->seconds() <= window[1].toDouble());
    }
    QVERIFY2(row.isEmpty(), qPrintable("not read: " + row.keys().join(", ")));
}

void tst_ToolkitVectors::findsADifference_data()
{
    QTest::addColumn<QJsonObject>("expected");
    QTest::addColumn<QString>("difference");
    QTest::newRow("the same") << QJsonObject{{"type", 33}} << QString();
    QTest::newRow("another value") << QJsonObject{{"type", 34}} << "type: [33] instead of [34]";
    QTest::newRow("a key that nobody reads")
        << QJsonObject{{"type", 33}, {"news", true}} << "news: nothing instead of [true]";
    QTest::newRow("a value too much") << QJsonObject() << "type: [33] instead of nothing";
}

void tst_ToolkitVectors::findsADifference()
{
    QFETCH(QJsonObject, expected);
    QTEST(toolkit::difference(QJsonObject{{"type", 33}}, expected), "difference");
}

QTEST_APPLESS_MAIN(tst_ToolkitVectors)
#include "tst_ToolkitVectors.moc"
