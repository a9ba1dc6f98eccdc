#include "platform/sdk/Commands.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using std::chrono::milliseconds;

/// The public conformance sessions, from the command that the card sends to the response that it gets.
class tst_PublicSessions : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void sessions_data();
    void sessions();

private:
    std::shared_ptr<Script> m_script;
};

namespace
{

struct Command {
    const char *name;
    int type;
};

constexpr Command commandTypes[] = {
    {"DISPLAY TEXT", 1},
    {"GET INKEY", 2},
    {"GET INPUT", 3},
    {"PLAY TONE", 5},
};

/// The window's default text, which the user confirms as it stands.
QString defaultText(int id)
{
    MDSVStkInputData data;
    return MDSV_STKSrv_GetInputRequest(id, &data) == 0 ? QString::fromUtf16(data.usDefaultText) : QString();
}

int confirm(int id, int type, const QString &)
{
    return type == 3 ? MDSV_STKSrv_AnswerInput(id, 1, defaultText(id).utf16())
                     : MDSV_STKSrv_SendNoDataResponse(id, type, 1);
}

int enter(int id, int type, const QString &input)
{
    return type == 2 ? MDSV_STKSrv_AnswerInKey(id, 1, input.utf16()) : MDSV_STKSrv_AnswerInput(id, 1, input.utf16());
}

int answerYes(int id, int, const QString &)
{
    return MDSV_STKSrv_AnswerInKey(id, 1, QString("1").utf16());
}

int cancel(int id, int type, const QString &)
{
    return MDSV_STKSrv_SendNoDataResponse(id, type, 0);
}

int doNothing(int, int, const QString &)
{
    return 0;
}

/// What a user does; without a function it cannot be said in the C interface.
struct Action {
    const char *name;
    int (*act)(int id, int type, const QString &input);
};

constexpr Action actions[] = {
    {"confirm", confirm},
    {"enter", enter},
    {"yes", answerYes},
    {"end session", cancel},
    {"immediate response sent; user clears after 3 s", doNothing},
    {"user does nothing (timeout / tone plays to its end)", doNothing},
    {"back", nullptr},
    {"screen busy", nullptr},
};

/// The same command at the same end: a tone that plays to its end is confirmed by the window, and a user who breaks it
/// off cannot be told from one who lets it play.
bool isSayable(const QJsonObject &row)
{
    const QString action = row["user_action"].toString();
    for (const Action &each : actions) {
        if (action == each.name)
            return each.act && !(row["command"] == "PLAY TONE" && action == "end session");
    }
    qFatal("no such action: %s", qPrintable(action));
}

} // namespace

void tst_PublicSessions::init()
{
    events::reset();
    QVERIFY(events::registerBoth());
}

void tst_PublicSessions::cleanup()
{
    sdk::shutDown();
    m_script.reset();
    events::reset();
}

void tst_PublicSessions::sessions_data()
{
    QFile file(STK_TEST_DATA "/toolkit.json");
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.errorString()));
    QTest::addColumn<QJsonObject>("row");
    int unsayable = 0;
    const QJsonArray rows = QJsonDocument::fromJson(file.readAll()).object()["sessions"].toArray();
    for (const QJsonValue &value : rows) {
        const QJsonObject row = value.toObject();
        if (isSayable(row))
            QTest::newRow(qPrintable(row["name"].toString())) << row;
        else
            ++unsayable;
    }
    QCOMPARE(rows.size(), 86);
    QCOMPARE(unsayable, 5); // three ways back, a busy screen, a tone broken off: the codec's tests have them
}

void tst_PublicSessions::sessions()
{
    QFETCH(QJsonObject, row);
    const QString command = row["command"].toString();
    const auto type = std::find_if(std::begin(commandTypes), std::end(commandTypes),
                                   [&](const Command &each) { return command == each.name; });
    QVERIFY(type != std::end(commandTypes));
    const auto action = std::find_if(std::begin(actions), std::end(actions),
                                     [&](const Action &each) { return row["user_action"] == each.name; });
    // Texts that clear themselves and tones are ended by the window, which says that it is done.
    const bool isDone =
        action->act == doNothing && row["result"] == "00" && !row["user_action"].toString().startsWith('i');
    sdk::setResponseLimit(milliseconds(row["result"] == "12" ? 50 : 60000));

    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(qPrintable(row["request_hex"].toString())).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(vectors::waitForEvent(qPrintable("STK " + QString::number(type->type))));
    const int id = events::all()[0].id;
    QCOMPARE((isDone ? confirm : action->act)(id, type->type, row["user_input"].toString()), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QString expected = row["response_hex"].toString();
    if (expected.mid(10, 4) == "0202")
        expected.replace(10, 2, "82"); // the flag of the device identities may be there or not
    QCOMPARE(commands::responses(m_script).mid(2), QStringList{expected});
}

QTEST_GUILESS_MAIN(tst_PublicSessions)
#include "tst_PublicSessions.moc"
