// A modem that loses patience or goes while something is open in the window: it gives the command up, replaces it,
// hangs up, falls silent, talks garbage. From the card in the modem to the user and back; no command is answered twice,
// and what was given up is not answered at all.
#include "RoadWorld.h"
#include "ScriptedUser.h"

#include "core/CoreControl.h"
#include "sdk/ModemChannel.h"
#include "sdk/SdkControl.h"
#include "support/ModemDouble.h"

#include <QtTest/QtTest>

#include <algorithm>
#include <atomic>
#include <memory>

namespace
{

using std::chrono::milliseconds;

const int LIMIT_MS = 20000;
const int SCRIPT_LIMIT_MS = 60000;
const int ITEMS = 18; ///< of the profile

/// DISPLAY TEXT "Next", for the user to clear.
const cat::Bytes NEXT = {0xD0, 0x10, 0x81, 0x03, 0x01, 0x21, 0x80, 0x82, 0x02,
                         0x81, 0x02, 0x8D, 0x05, 0x04, 'N',  'e',  'x',  't'};

/// Something that can be open: what is seen of it, what the user does with what is left of it when it is over, and how
/// he answers it otherwise.
struct Kind {
    const char *item;
    const char *type; ///< of the command, in hexadecimal
    const char *view;
    QStringList left;
    QStringList finish;
};

const QList<Kind> &kinds()
{
    static const QStringList ok = {"do click OK"};
    static const QStringList yes = {"do click Yes"};
    static const QList<Kind> all = {
        {"Text", "21", "see text \"Hello\" [OK] [Cancel*]", ok, ok},
        {"Timed text", "21", "see text \"Hello\" [OK] [Cancel*]", ok, ok},
        {"Key", "22", "see input \"Key?\" \"\" max 1 [OK off*] [Cancel]", {}, QStringList("do type k") + ok},
        {"Digits",
         "23",
         "see input \"Code?\" \"\" max 4, digits [OK off*] [Cancel]",
         {},
         QStringList("do type 12") + ok},
        {"Hidden",
         "23",
         "see input \"PIN?\" \"\" max 4, digits, masked [OK off*] [Cancel]",
         {},
         QStringList("do type 1234") + ok},
        {"Question", "22", "see text \"Sure?\" [Yes*] [No]", yes, yes},
        {"Menu", "24", "see menu \"More\": One, back", {}, {"do select One"}},
    };
    return all;
}

QStringList opened(const Kind &kind)
{
    return {QString("do select ") + kind.item, kind.view};
}

/// Opened once more, and answered.
QStringList again(const Kind &kind)
{
    return QStringList("do wait for the card") + opened(kind) + kind.finish + QStringList("see main menu");
}

/// "23:00" for a terminal response to GET INPUT that tells success.
QString answerIn(const std::string &command)
{
    cat::Bytes data;
    const std::size_t start = command.find('=') + 1;
    if (!cat::fromHex(command.substr(start), &data))
        return "no hexadecimal number";
    const std::optional<cat::Response> response = cat::decodeResponse(data);
    return response ? QString("%1:%2")
                          .arg(static_cast<int>(response->details.type), 2, 16, QChar('0'))
                          .arg(static_cast<int>(response->result), 2, 16, QChar('0'))
                    : QString("no response");
}

} // namespace

class tst_ModemRoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void commandIsGivenUp_data();
    void commandIsGivenUp();
    void commandIsReplaced_data();
    void commandIsReplaced();
    void modemGoes_data();
    void modemGoes();
    void modemTalksGarbage_data();
    void modemTalksGarbage();

private:
    bool attach();
    bool isAtRest() const;
    void teach(ScriptedUser *person);
    void follow(const QStringList &script, const QStringList &expected);
    QStringList answered() const;

    std::unique_ptr<ModemDouble> m_modem;
    std::unique_ptr<RoadWorld> m_world;
    QStringList m_devices; ///< "gone" and "available", as the window has heard it
    std::atomic<sdk::Turn> m_turn{sdk::Turn::NoCard};
    QString m_mainMenu;
    int m_ends = 0; ///< of sessions, that the window has heard of and the script has not waited for
};

void tst_ModemRoad::initTestCase_data()
{
    QTest::addColumn<bool>("onUiThread");
    if (isInShard(0))
        QTest::newRow("library's thread") << false;
    if (isInShard(1))
        QTest::newRow("user-interface thread") << true;
}

void tst_ModemRoad::init()
{
    QFETCH_GLOBAL(bool, onUiThread);
    const std::string profile = QFile::encodeName(QFINDTESTDATA("interrupted.yaml")).toStdString();
    ModemDouble::Habits habits;
    habits.wantsQuotes = false;
    m_modem = std::make_unique<ModemDouble>(ModemPeer::Way::Terminal, card::loadProfile(profile), habits);
    m_world.reset(new RoadWorld(onUiThread));
    core::setPluginLibraryPath(STK_PLUGIN_LIBRARY_PATH);
    // Connected behind the window's own slots: they have run when these do.
    connect(STKLogic::CreateInstance(), &STKLogic::STKEndSession, this, [this] { ++m_ends; });
    connect(STKLogic::CreateInstance(), &STKLogic::DevAvailable, this,
            [this](bool isThere) { m_devices << (isThere ? "available" : "gone"); });
    m_turn = sdk::Turn::NoCard;
    sdk::setTurnListener([this](sdk::Turn turn) { m_turn = turn; });
    QVERIFY(attach());
    QTRY_VERIFY_WITH_TIMEOUT(isAtRest(), LIMIT_MS);
    QVERIFY(m_world->show(ITEMS));
    m_mainMenu = ScriptedUser(m_world.get(), {}).view();
    m_modem->peer().forget();
    m_devices.clear();
    m_ends = 0;
}

void tst_ModemRoad::cleanup()
{
    const QStringList problems = m_world->end();
    sdk::setTurnListener({});
    m_world.reset();
    m_modem.reset();
    core::setPluginLibraryPath(QString());
    sdk::setModemTimes(sdk::ModemTimes());
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

bool tst_ModemRoad::attach()
{
    sdk::ModemTimes times;
    times.quiet = milliseconds(20);
    times.alive = milliseconds(200);
    times.answer = milliseconds(2500);
    times.retry = milliseconds(50);
    sdk::setModemTimes(times);
    std::string error;
    auto channel = sdk::openCard("modem:" + m_modem->address(), &error);
    if (!channel) {
        qWarning("%s", error.c_str());
        return false;
    }
    sdk::attachDevice(std::move(channel));
    return true;
}

bool tst_ModemRoad::isAtRest() const
{
    return sdk::menuTitle() && m_turn == sdk::Turn::Rest;
}

/// What the modem was told for its card, a type and a result for each.
QStringList tst_ModemRoad::answered() const
{
    QStringList found;
    for (const std::string &command : m_modem->peer().commands()) {
        if (command.find("AT+CUSATT=") == 0)
            found << answerIn(command);
    }
    return found;
}

void tst_ModemRoad::teach(ScriptedUser *person)
{
    person->teach("give up", [this] { return m_modem->giveUp(); });
    person->teach("replace", [this] { return m_modem->giveUp(NEXT); });
    // The window refuses to close while it waits, which it does for up to a tenth of a second behind a command.
    person->teach("hang up", [this] { return !m_world->isWaiting() && (m_modem->unplug(), true); });
    person->teach("fall silent", [this] { return !m_world->isWaiting() && (m_modem->fallSilent(), true); });
    person->teach("talk garbage", [this] { return m_modem->babble(3000), true; });
    person->teach("be back", [this] { return m_modem->restore(), true; });
    // Hidden is enough: it is deleted only when the event loop in which it was closed goes on, maybe below a dialog's.
    person->teach("lose the window", [this] { return !m_world->frame() || !m_world->frame()->isVisible(); });
    person->teach("wait for the end", [this] { return m_ends > 0 && m_ends--; });
    person->teach("wait for the card", [this] { return isAtRest(); });
    person->teach("open", [this] {
        QRect rect = m_world->host->geometry();
        return isAtRest() && m_world->dialog->ShowStkDlg(m_world->host, rect);
    });
}

/// The user follows the script; `expected` is what the card has got when he is through.
void tst_ModemRoad::follow(const QStringList &script, const QStringList &expected)
{
    ScriptedUser person(m_world.get(), script, m_mainMenu);
    teach(&person);
    QTRY_VERIFY_WITH_TIMEOUT(person.isOver(), SCRIPT_LIMIT_MS);
    (void)QTest::qWaitFor([&] { return answered() == expected && isAtRest(); }, 2000); // compared below
    QVERIFY2(person.record() == script, qPrintable(person.record().join('\n')));
    QCOMPARE(answered(), expected);
    const ModemDouble::Count count = m_modem->count();
    QCOMPARE(count.refused + count.late + count.open, 0);
    QCOMPARE(count.answered + count.lost + count.givenUp, count.handedOver);
}

// ---------------------------------------------------------------- the modem loses patience

void tst_ModemRoad::commandIsGivenUp_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    for (const Kind &kind : kinds()) {
        const QStringList end = {"do give up", "do wait for the end"};
        QTest::newRow(kind.item) << opened(kind) + end + kind.left + QStringList("see main menu") + again(kind)
                                 << QStringList(QString(kind.type) + ":00");
    }
}

void tst_ModemRoad::commandIsGivenUp()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    QFETCH_GLOBAL(bool, onUiThread);
    const Kind &kind = *std::find_if(kinds().begin(), kinds().end(),
                                     [](const Kind &one) { return QString(one.item) == QTest::currentDataTag(); });
    // Deliberate in the window: what it could not do counts against the next command where that comes on another
    // thread. A Yes that comes too late has the next question refused unseen, and only that one.
    if (QString("Question") == kind.item && !onUiThread) {
        script = script.mid(0, script.size() - again(kind).size()) +
                 QStringList({"do wait for the card", opened(kind).first(), "do wait for the end", "see main menu"}) +
                 again(kind);
        expected.prepend("22:20");
    }
    follow(script, expected);
    QCOMPARE(m_modem->count().givenUp, 1);
    QCOMPARE(m_devices, QStringList());
}

void tst_ModemRoad::commandIsReplaced_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    const QStringList next = {"do replace", "see text \"Next\" [OK] [Cancel*]", "do click OK"};
    for (const Kind &kind : kinds()) {
        const bool isText = QString("21") == kind.type; // the new one takes its frame
        QTest::newRow(kind.item) << opened(kind) + next + (isText ? QStringList() : kind.left) +
                                        QStringList("see main menu") + again(kind)
                                 << QStringList({"21:00", QString(kind.type) + ":00"});
    }
}

void tst_ModemRoad::commandIsReplaced()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    follow(script, expected);
    QCOMPARE(m_modem->count().givenUp, 1);
    QCOMPARE(m_devices, QStringList());
}

// ---------------------------------------------------------------- the modem fails

void tst_ModemRoad::modemGoes_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    for (const char *const fault : {"hang up", "fall silent"}) {
        for (const Kind &kind : kinds()) {
            const QStringList gone = {QString("do ") + fault, "do lose the window"};
            const QStringList back = {"see no window", "do be back", "do open", "see main menu"};
            QTest::newRow(qPrintable(QString("%1, %2").arg(kind.item, fault)))
                << opened(kind) + gone + kind.left + back + again(kind)
                << QStringList({"25:00", QString(kind.type) + ":00"});
        }
    }
}

void tst_ModemRoad::modemGoes()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    follow(script, expected);
    QCOMPARE(m_modem->count().lost, 1);
    QCOMPARE(m_devices, QStringList({"gone", "available"}));
}

void tst_ModemRoad::modemTalksGarbage_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    for (const Kind &kind : kinds())
        QTest::newRow(kind.item) << opened(kind) + QStringList("do talk garbage") + kind.finish +
                                        QStringList("see main menu") + again(kind)
                                 << QStringList({QString(kind.type) + ":00", QString(kind.type) + ":00"});
}

void tst_ModemRoad::modemTalksGarbage()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    follow(script, expected);
    QCOMPARE(m_modem->count().lost + m_modem->count().givenUp, 0);
    QCOMPARE(m_devices, QStringList());
}

QTEST_MAIN(tst_ModemRoad)
#include "tst_ModemRoad.moc"
