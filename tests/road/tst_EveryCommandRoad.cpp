// Every item of the profile that has every command, from the APDU out of the card to the APDU back into it, through the
// real window: what is seen, what the user does, and what the card gets, byte for byte. The card is in this process,
// where every row runs twice, with the library's callbacks on its own thread and on the user-interface thread; or it is
// somewhere else, as RoadCard.h has it, and the bytes are the same.
#include "RecordingCard.h"
#include "RoadCard.h"
#include "RoadWorld.h"
#include "Script.h"
#include "ScriptedUser.h"

#include "card/Profile.h"
#include "core/CoreControl.h"
#include "sdk/SdkControl.h"

#include <QtTest/QtTest>

#include <atomic>
#include <memory>

namespace
{

const int LIMIT_MS = 10000;
const int ROW_LIMIT_MS = 120000;

QString profilePath()
{
    return QFINDTESTDATA("../../profiles/every-command.yaml");
}

QList<RoadRow> rows()
{
    QString error;
    const QList<RoadRow> result = readRoadScript(QFINDTESTDATA("every-command.txt"), &error);
    if (!error.isEmpty())
        qFatal("%s", qPrintable(error));
    return result;
}

/// The ways to all items of the menu and of those below it.
QStringList waysThrough(const card::Menu &menu, const QString &before)
{
    QStringList ways;
    for (const card::Entry &entry : menu.entries) {
        const QString way = before + QString::fromStdU16String(entry.text);
        ways << way;
        if (entry.menu() && entry.steps.size() == 1)
            ways << waysThrough(*entry.menu(), way + " > ");
    }
    return ways;
}

/// The bytes with a ? for every digit where the expected line has one: time that has passed.
QStringList masked(QStringList lines, const QStringList &expected)
{
    for (int i = 0; i < lines.size() && i < expected.size(); ++i) {
        for (int at = 0; at < lines.at(i).size() && lines.at(i).size() == expected.at(i).size(); ++at) {
            if (expected.at(i).at(at) == '?')
                lines[i][at] = '?';
        }
    }
    return lines;
}

/// The first line that differs, in few words, since QtTest cuts off what is long; nothing where all are equal.
QString difference(const QStringList &expected, const QStringList &actual)
{
    for (int i = 0; i < qMax(expected.size(), actual.size()); ++i) {
        if (expected.value(i) != actual.value(i))
            return QString("\nline %1\n  expected %2\n  actual   %3")
                .arg(i + 1)
                .arg(expected.value(i), actual.value(i));
    }
    return QString();
}

/// Where commands and responses do not alternate; nothing where they do.
QString unevenResponses(const QStringList &exchange)
{
    QString open;
    for (const QString &line : exchange) {
        const QString details = line.mid(line.indexOf("8103"), 10);
        if (line.startsWith("card D0")) {
            if (!open.isEmpty())
                return "no response before " + line;
            open = details;
        } else if (line.startsWith("term 8014") && line != exchange.first()) {
            if (open != details)
                return "no command before " + line;
            open.clear();
        }
    }
    return open.isEmpty() ? QString() : "no response to the command " + open;
}

} // namespace

class tst_EveryCommandRoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void everyItemHasARow();
    void everyCommandHasOneResponse();
    void item_data();
    void item();

private:
    bool start();
    bool walkTo(const QStringList &path);
    void apply(const QStringList &settings);

    std::unique_ptr<RoadWorld> m_world;
    CardLog m_log;
    std::atomic<bool> m_hasNetwork{true};
    QString m_mainMenu; ///< as it is seen at first
};

void tst_EveryCommandRoad::initTestCase_data()
{
    QTest::addColumn<bool>("onUiThread");
    QTest::newRow("library's thread") << false;
    if (roadcard::takesBothThreads())
        QTest::newRow("user-interface thread") << true;
}

void tst_EveryCommandRoad::init()
{
    QFETCH_GLOBAL(bool, onUiThread);
    m_world.reset(new RoadWorld(onUiThread));
    m_hasNetwork = true;
    core::setPluginLibraryPath(STK_PLUGIN_LIBRARY_PATH);
}

void tst_EveryCommandRoad::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    core::setPluginLibraryPath(QString());
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

/// The card in the device, the window open, the main menu in it and the session at rest.
bool tst_EveryCommandRoad::start()
{
    std::string error;
    auto card = roadcard::open(QFile::encodeName(profilePath()).toStdString(), &error);
    if (!card) {
        qWarning("%s", error.c_str());
        return false;
    }
    m_log.forget();
    sdk::attachDevice(std::make_unique<RecordingCard>(std::move(card), &m_log, &m_hasNetwork));
    const auto isIdle = [this] { return m_log.isAtRest() && !m_log.lines().filter("card D0").isEmpty(); };
    const int items = static_cast<int>(card::loadProfile(profilePath().toStdString()).mainMenu.entries.size());
    if (!QTest::qWaitFor(isIdle, LIMIT_MS) || !m_world->show(items))
        return false;
    m_mainMenu = ScriptedUser(m_world.get(), {}).view();
    return true;
}

bool tst_EveryCommandRoad::walkTo(const QStringList &path)
{
    for (const QString &item : path.mid(0, path.size() - 1)) {
        ScriptedUser user(m_world.get(), {"do select " + item});
        const QString before = user.view();
        if (!QTest::qWaitFor([&] { return user.isOver() && user.view() != before && !m_world->isWaiting(); }, LIMIT_MS))
            return false;
    }
    m_log.forget();
    return true;
}

void tst_EveryCommandRoad::apply(const QStringList &settings)
{
    for (const QString &line : settings) {
        const QStringList words = line.split(' ');
        if (words.value(1) == "limit")
            sdk::setResponseLimit(std::chrono::milliseconds(words.value(2).toInt()));
        else if (line == "set no network")
            m_hasNetwork = false;
        else
            QFAIL(qPrintable("not known: " + line));
    }
}

// ---------------------------------------------------------------- the script itself

void tst_EveryCommandRoad::everyItemHasARow()
{
    QStringList ways = waysThrough(card::loadProfile(profilePath().toStdString()).mainMenu, QString());
    QStringList unknown;
    for (const RoadRow &row : rows()) {
        const QString way = row.path.join(" > ");
        if (!ways.contains(way))
            unknown << way;
    }
    for (const RoadRow &row : rows())
        ways.removeAll(row.path.join(" > "));
    QVERIFY2(ways.isEmpty(), qPrintable("items without a row: " + ways.join(", ")));
    QVERIFY2(unknown.isEmpty(), qPrintable("rows without an item: " + unknown.join(", ")));
}

/// Of what the rows expect: a proactive command is followed by one TERMINAL RESPONSE with its details, and only then by
/// the next, or by the end.
void tst_EveryCommandRoad::everyCommandHasOneResponse()
{
    for (const RoadRow &row : rows()) {
        const QString problem = unevenResponses(row.exchange);
        QVERIFY2(problem.isEmpty(), qPrintable(row.name + ": " + problem));
    }
}

// ---------------------------------------------------------------- the items

void tst_EveryCommandRoad::item_data()
{
    QTest::addColumn<QStringList>("path");
    QTest::addColumn<QStringList>("user");
    QTest::addColumn<QStringList>("exchange");
    int number = 0;
    for (const RoadRow &row : rows()) {
        if (isInShard(number++))
            QTest::newRow(qPrintable(row.name)) << row.path << row.user << row.exchange;
    }
}

void tst_EveryCommandRoad::item()
{
    QFETCH(QStringList, path);
    QFETCH(QStringList, user);
    QFETCH(QStringList, exchange);
    QVERIFY(start());
    QVERIFY(walkTo(path));
    const QStringList settings = user.filter(QRegularExpression("^set "));
    const QStringList script = user.filter(QRegularExpression("^(see|do) "));
    apply(settings);

    ScriptedUser person(m_world.get(), QStringList("do select " + path.last()) + script, m_mainMenu);
    person.teach("wait for the card", [&] { return m_log.isAtRest() && m_log.lines().size() >= exchange.size(); });
    QTRY_VERIFY_WITH_TIMEOUT(person.isOver(), ROW_LIMIT_MS);
    (void)QTest::qWaitFor([&] { return m_log.lines().size() >= exchange.size(); }, 2000); // compared below
    const QStringList seen = settings + person.record().mid(1);
    const QStringList exchanged = masked(m_log.lines(), exchange);
    const QString problem = difference(user, seen) + difference(exchange, exchanged);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

QTEST_MAIN(tst_EveryCommandRoad)
#include "tst_EveryCommandRoad.moc"
