// What comes while something is open: the end of the device, the end of the session, the next command. From the card to
// the user and back, with the library's callbacks on both threads; whatever comes, no command is answered twice.
#include "RecordingCard.h"
#include "RoadWorld.h"
#include "ScriptedUser.h"

#include "core/CoreControl.h"
#include "sdk/SdkControl.h"

#include <QtTest/QtTest>

#include <atomic>
#include <memory>

namespace
{

const int LIMIT_MS = 10000;
const int SCRIPT_LIMIT_MS = 60000;
const QString SET_UP_MENU = "25:00";

/// Something that can be open: what is seen of it, what the user does with what an interruption leaves of it, and how
/// it goes when nothing interrupts it.
struct Kind {
    const char *item;
    const char *type; ///< of the command, in hexadecimal
    const char *view;
    QStringList left;
    QStringList finish;
    bool isAnsweredAtOnce;
};

const QList<Kind> &kinds()
{
    static const QStringList ok = {"do click OK"};
    static const QStringList yes = {"do click Yes"};
    static const QList<Kind> all = {
        {"Text", "21", "see text \"Hello\" [OK] [Cancel*]", ok, ok, false},
        {"Timed text", "21", "see text \"Hello\" [OK] [Cancel*]", ok, ok, false},
        {"Key", "22", "see input \"Key?\" \"\" max 1 [OK off*] [Cancel]", {}, QStringList("do type k") + ok, false},
        {"Digits",
         "23",
         "see input \"Code?\" \"\" max 4, digits [OK off*] [Cancel]",
         {},
         QStringList("do type 12") + ok,
         false},
        {"Hidden",
         "23",
         "see input \"PIN?\" \"\" max 4, digits, masked [OK off*] [Cancel]",
         {},
         QStringList("do type 1234") + ok,
         false},
        {"Question", "22", "see text \"Sure?\" [Yes*] [No]", yes, yes, false},
        {"Timed ask", "22", "see text \"Sure?\" [Yes*] [No]", yes, yes, false},
        {"Tone", "20", "see tone", {}, {"see silence"}, true},
        {"Menu", "24", "see menu \"More\": One, back", {}, {"do select One"}, false},
    };
    return all;
}

QStringList opened(const Kind &kind)
{
    return {QString("do select ") + kind.item, kind.view};
}

/// What the card has raised and what it got for it, a type and a result for each: "23:10", or "23:-" for nothing. A
/// response that is not to the last command is "stray".
QStringList answers(const QStringList &exchange)
{
    QStringList found;
    QString open;
    for (const QString &line : exchange) {
        const QString details = line.mid(line.indexOf("8103") + 4, 6);
        if (line.startsWith("card D0")) {
            open = details;
            found << details.mid(2, 2) + ":-";
        } else if (line.startsWith("term 8014")) {
            const QString result = line.mid(line.indexOf("8301", line.indexOf("8103") + 10) + 4, 2);
            if (open == details)
                found.last() = details.mid(2, 2) + ":" + result;
            else
                found << "stray " + details + ":" + result;
            open.clear();
        }
    }
    return found;
}

} // namespace

class tst_InterruptedRoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void theDeviceGoes_data();
    void theDeviceGoes();
    void theSessionEnds_data();
    void theSessionEnds();
    void oneOverAnother_data();
    void oneOverAnother();
    void aTextOfAnotherCard_data();
    void aTextOfAnotherCard();
    void closedByTheFrameThreeTimes_data();
    void closedByTheFrameThreeTimes();

private:
    bool plug(const QString &profile);
    bool openWindow();
    void follow(const QStringList &script, const QStringList &expected);
    QStringList answered() const { return answers(m_log.lines()); }

    std::unique_ptr<RoadWorld> m_world;
    CardLog m_log;
    std::atomic<bool> m_hasNetwork{true};
    QString m_mainMenu;
    int m_ends = 0; ///< of sessions, that the window has heard of and the script has not waited for
};

void tst_InterruptedRoad::initTestCase_data()
{
    QTest::addColumn<bool>("onUiThread");
    if (isInShard(0))
        QTest::newRow("library's thread") << false;
    if (isInShard(1))
        QTest::newRow("user-interface thread") << true;
}

void tst_InterruptedRoad::init()
{
    QFETCH_GLOBAL(bool, onUiThread);
    m_world.reset(new RoadWorld(onUiThread));
    core::setPluginLibraryPath(STK_PLUGIN_LIBRARY_PATH);
    m_log.forget();
    // Connected behind the window's own slot: it has run when this counts.
    connect(STKLogic::CreateInstance(), &STKLogic::STKEndSession, this, [this] { ++m_ends; });
    QVERIFY(plug("interrupted.yaml"));
    QTRY_COMPARE_WITH_TIMEOUT(answered(), QStringList(SET_UP_MENU), LIMIT_MS);
    QTRY_VERIFY_WITH_TIMEOUT(m_log.isAtRest(), LIMIT_MS);
    QVERIFY(m_world->show(18));
    m_mainMenu = ScriptedUser(m_world.get(), {}).view();
    m_log.forget();
    m_ends = 0;
}

void tst_InterruptedRoad::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    core::setPluginLibraryPath(QString());
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

bool tst_InterruptedRoad::plug(const QString &profile)
{
    std::string error;
    auto card = sdk::openVirtualCard(QFile::encodeName(QFINDTESTDATA(profile)).toStdString(), &error);
    if (!card) {
        qWarning("%s", error.c_str());
        return false;
    }
    sdk::attachDevice(std::make_unique<RecordingCard>(std::move(card), &m_log, &m_hasNetwork));
    return true;
}

/// False: the card is not ready yet.
bool tst_InterruptedRoad::openWindow()
{
    if (answered().isEmpty() || answered().last() != SET_UP_MENU || !m_log.isAtRest())
        return false;
    QRect rect = m_world->host->geometry();
    return m_world->dialog->ShowStkDlg(m_world->host, rect);
}

/// The user follows the script; `expected` is what the card has raised and got when he is through.
void tst_InterruptedRoad::follow(const QStringList &script, const QStringList &expected)
{
    ScriptedUser person(m_world.get(), script, m_mainMenu);
    // The window refuses to close while it waits, which it does for up to a tenth of a second behind a command.
    person.teach("unplug", [this] {
        if (m_world->isWaiting())
            return false;
        sdk::detachDevice();
        return true;
    });
    person.teach("plug", [this] { return plug("interrupted.yaml"); });
    person.teach("plug another", [this] { return !m_world->isWaiting() && plug("welcome.yaml"); });
    // Hidden is enough: it is deleted only when the event loop in which it was closed goes on, maybe below a dialog's.
    person.teach("lose the window", [this] { return !m_world->frame() || !m_world->frame()->isVisible(); });
    person.teach("open", [this] { return openWindow(); });
    QElapsedTimer clock;
    clock.start();
    person.teach("let four seconds pass", [&clock] { return clock.hasExpired(4000); });
    person.teach("wait for the end", [this] { return m_ends > 0 && m_ends--; });
    QTRY_VERIFY_WITH_TIMEOUT(person.isOver(), SCRIPT_LIMIT_MS);
    (void)QTest::qWaitFor([&] { return answered() == expected; }, 2000); // compared below
    QVERIFY2(person.record() == script, qPrintable(person.record().join('\n')));
    QCOMPARE(answered(), expected);
}

// ---------------------------------------------------------------- ends from outside

void tst_InterruptedRoad::theDeviceGoes_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    for (const Kind &kind : kinds()) {
        const QStringList gone = {"do unplug", "do lose the window"};
        const QStringList back = {"see no window", "do plug", "do open", "see main menu"};
        const QString first = QString(kind.type) + (kind.isAnsweredAtOnce ? ":00" : ":-");
        QTest::newRow(kind.item) << opened(kind) + gone + kind.left + back + opened(kind) + kind.finish +
                                        QStringList("see main menu")
                                 << QStringList({first, SET_UP_MENU, QString(kind.type) + ":00"});
    }
}

void tst_InterruptedRoad::theDeviceGoes()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    follow(script, expected);
}

void tst_InterruptedRoad::theSessionEnds_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    for (const Kind &kind : kinds()) {
        if (QString("Timed ask") == kind.item)
            continue; // ended by the window before the card is told anything
        // A timed text clears itself in its own time, a second after the card has been told that nobody answers.
        const bool isTimed = QString("Timed text") == kind.item;
        QTest::newRow(kind.item) << opened(kind) + QStringList("do wait for the end") +
                                        (isTimed ? QStringList() : kind.left) + QStringList("see main menu")
                                 << QStringList(QString(kind.type) + (kind.isAnsweredAtOnce ? ":00" : ":12"));
    }
}

void tst_InterruptedRoad::theSessionEnds()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    sdk::setResponseLimit(std::chrono::milliseconds(900));
    sdk::setUnattendedLimit(std::chrono::milliseconds(0));
    follow(script, expected);
}

// ---------------------------------------------------------------- one over another

void tst_InterruptedRoad::oneOverAnother_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    const QString second = "see text \"Second\" [OK] [Cancel*]";
    const QString first = "see text \"First\" [OK] [Cancel*]";
    const QString digits = "see input \"Code?\" \"\" max 4, digits [OK off*] [Cancel]";
    const QString menu = "see main menu";
    const auto row = [](const char *name, const QStringList &script, const QStringList &expected) {
        const QString item = QString(name).section(',', 0, 0);
        QTest::newRow(name) << QStringList("do select " + item) + script << expected;
    };
    row("Text on text, OK", {second, "do click OK", menu}, {"21:00", "21:00"});
    row("Text on text, Cancel", {second, "do click Cancel", menu}, {"21:00", "21:10"});
    row("Text on text, close", {second, "do close", menu}, {"21:00", "21:10"});
    row("Timed on text, nothing", {"see text \"Second\" [OK = 2] [Cancel*]", menu}, {"21:00", "21:00"});
    row("Timed on text, Cancel", {second, "do click Cancel", menu}, {"21:00", "21:10"});
    row("Text on timed, OK", {second, "do click OK", menu}, {"21:00", "21:00"});
    row("Text on timed, OK after the first one's time",
        {second, "do let four seconds pass", second, "do click OK", menu}, {"21:00", "21:00"});
    row("Text on timed, Cancel", {second, "do click Cancel", menu}, {"21:00", "21:10"});
    row("Timed on timed, nothing", {"see text \"Second\" [OK = 2] [Cancel*]", menu}, {"21:00", "21:00"});
    row("Timed on timed, OK", {second, "do click OK", menu}, {"21:00", "21:00"});
    row("Three texts, nothing", {"see text \"Third\" [OK = 2] [Cancel*]", menu}, {"21:00", "21:00", "21:00"});
    row("Digits on text, OK", {digits, "do type 12", "do click OK", first, "do click OK", menu}, {"21:00", "23:00"});
    row("Digits on text, Cancel", {digits, "do click Cancel", first, "do click Cancel", menu}, {"21:00", "23:10"});
    row("Digits on text, unplugged", {digits, "do unplug", "do lose the window", first, "do click OK"},
        {"21:00", "23:-"});
    row("Key on timed, OK",
        {"see input \"Key?\" \"\" max 1 [OK off*] [Cancel]", "do type k", "do click OK", "do click OK", menu},
        {"21:00", "22:00"});
    row("Question on text, Yes", {"see text \"Sure?\" [Yes*] [No]", "do click Yes", first, "do click OK", menu},
        {"21:00", "22:00"});
    row("Tone on text, OK", {"see tone", first, "do click OK", "see silence", menu}, {"21:00", "20:00"});
}

void tst_InterruptedRoad::oneOverAnother()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    follow(script, expected);
}

void tst_InterruptedRoad::aTextOfAnotherCard_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    for (const Kind &kind : kinds()) {
        const bool isText = QString("21") == kind.type; // the new one replaces it
        const QStringList welcome = {"do plug another", "see text \"Welcome\" [OK] [Cancel*]", "do lose the window",
                                     "do click OK"};
        const QString first = QString(kind.type) + (kind.isAnsweredAtOnce ? ":00" : ":-");
        QTest::newRow(kind.item) << opened(kind) + welcome + (isText ? QStringList() : kind.left) +
                                        QStringList("see no window")
                                 << QStringList({first, SET_UP_MENU, "21:00"});
    }
}

/// What the first card has left open must not answer the second one's command.
void tst_InterruptedRoad::aTextOfAnotherCard()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    follow(script, expected);
}

void tst_InterruptedRoad::closedByTheFrameThreeTimes_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("expected");
    for (const Kind &kind : kinds()) {
        if (!QString(kind.view).startsWith("see input"))
            continue;
        const QStringList once = opened(kind) + QStringList({"do close", "do wait for the end", "see main menu"});
        const QString type = kind.type;
        QTest::newRow(kind.item) << once + once + once << QStringList({type + ":10", type + ":12", type + ":10"});
    }
}

/// Deliberate: the second close in a row says nothing, and the card hears in the end that nobody answers.
void tst_InterruptedRoad::closedByTheFrameThreeTimes()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, expected);
    sdk::setResponseLimit(std::chrono::milliseconds(2500));
    follow(script, expected);
}

QTEST_MAIN(tst_InterruptedRoad)
#include "tst_InterruptedRoad.moc"
