// The window in a storm: ten thousand events of every kind, as fast as threads can deliver them, while somebody closes
// and answers whatever is on top. Afterwards everything works as before.
#include "CommandWorld.h"

#include "core/ExtendLineEdit.h"
#include "support/ModalDriver.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using support::SdkDouble;
namespace journal = support::journal;

namespace
{

const int EVENTS = 10000;
const int LIMIT_MS = 240000; // under a sanitizer on a busy machine; else a few seconds

const char GET_TEXT[] = "MDSV_STKSrv_GetPromptText";
const char GET_KEY[] = "MDSV_STKSrv_GetInKeyRequest";
const char GET_INPUT[] = "MDSV_STKSrv_GetInputRequest";
const char GET_TONE[] = "MDSV_STKSrv_GetPlayTone";
const char RESPONSE[] = "MDSV_STKSrv_SendNoDataResponse";
const char ANSWER_KEY[] = "MDSV_STKSrv_AnswerInKey";
const char ANSWER_INPUT[] = "MDSV_STKSrv_AnswerInput";

const int DONE = STK_UI_RESPONSE_DONE;
const int REFUSED = STK_UI_RESPONSE_NOT_HANDLED;

const int UNKNOWN_TYPE = 13;
const int UNKNOWN_DEVICE_EVENT = 6600;

/// What one event of the storm is.
struct Event {
    enum Kind { Command, TimeOut, NullRecord, Device } kind;
    int value; ///< the command type or the device event
};

/// The mix; `isWild` has the events after which the window may be closed for the lack of a device.
std::vector<Event> mix(bool isWild)
{
    std::vector<Event> events;
    for (int type = MDSV_STKTYPE_SETUP_MENU; type <= UNKNOWN_TYPE; ++type)
        events.push_back({Event::Command, type});
    events.push_back({Event::Command, MDSV_STKTYPE_END_SESSION});
    events.push_back({Event::TimeOut, MDSV_STKTYPE_GET_INPUT});
    events.push_back({Event::NullRecord, 0});
    events.push_back({Event::Device, MDSV_DEVICE_AVAILABLE});
    events.push_back({Event::Device, UNKNOWN_DEVICE_EVENT});
    if (isWild) {
        events.push_back({Event::Device, MDSV_DEVICE_REMOVED});
        events.push_back({Event::Device, MDSV_DEVICE_UNAVAILABLE});
    }
    return events;
}

/// A sequence without order that is the same in every run.
class Dice
{
public:
    explicit Dice(unsigned seed) : m_state(seed) {}

    int roll(int sides)
    {
        m_state = m_state * 1664525u + 1013904223u;
        return int((m_state >> 16) % unsigned(sides));
    }

private:
    unsigned m_state;
};

/// Somebody who deals with whatever is on top, without thinking, also inside the loops of dialogs.
class Robot : public QObject
{
    Q_OBJECT

public:
    Robot(DialogWorld *world, bool closesTheWindow)
        : m_world(world), m_closesTheWindow(closesTheWindow), m_dice(7), m_usesTheMenu(true), m_acts(0),
          m_isActing(false)
    {
        connect(&m_timer, SIGNAL(timeout()), this, SLOT(tick()));
        m_timer.start(1);
    }

    int acts() const { return m_acts; }

    /// From now on it only closes dialogs.
    void leaveTheMenuAlone() { m_usesTheMenu = false; }

private slots:
    void tick()
    {
        // A timer does not fire again inside its own slot: the act is posted, so that it may open dialogs.
        if (m_isActing)
            return;
        m_isActing = true;
        QMetaObject::invokeMethod(this, "act", Qt::QueuedConnection);
    }

    void act()
    {
        m_isActing = false;
        ++m_acts;
        QWidget *top = QApplication::activeModalWidget();
        if (!top && !m_world->frame())
            reopen();
        else if (!top)
            return;
        else if (top == m_world->frame())
            useMenu();
        else if (top->findChild<WsMessageBox *>())
            closeText(top);
        else if (ExtendLineEdit *field = top->findChild<ExtendLineEdit *>())
            answer(top, field);
        else
            top->close();
    }

private:
    void reopen()
    {
        QRect rect;
        m_world->dialog->ShowStkDlg(m_world->host, rect);
    }

    void useMenu()
    {
        if (!m_usesTheMenu)
            return;
        static const char *const WAYS[] = {"select", "select", "double-click", "back", "return", "close"};
        const QByteArray way = WAYS[m_dice.roll(m_closesTheWindow ? 6 : 4)];
        m_world->table()->setCurrentCell(m_dice.roll(4) - 1, 0);
        if (way == "select")
            m_world->select()->click();
        else if (way == "double-click")
            QMetaObject::invokeMethod(m_world->table(), "cellDoubleClicked", Q_ARG(int, 0), Q_ARG(int, 0));
        else if (way == "return")
            QTest::keyClick(m_world->table(), Qt::Key_Return);
        else if (way == "back")
            m_world->back()->click();
        else
            m_world->close()->click();
    }

    void closeText(QWidget *frame)
    {
        static const char *const WAYS[] = {"OK", "OK", "Cancel", "close button", "Escape", "close"};
        const QString way = WAYS[m_dice.roll(6)];
        if (way == "OK" && m_world->at(&DialogPeek::m_pMsgBtnOk))
            m_world->at(&DialogPeek::m_pMsgBtnOk)->click();
        else if (way == "Cancel" && m_world->at(&DialogPeek::m_pMsgBtnCancel))
            m_world->at(&DialogPeek::m_pMsgBtnCancel)->click();
        else
            command::leave(frame, way == "close button" || way == "Escape" ? way : "close");
    }

    void answer(QWidget *frame, ExtendLineEdit *field)
    {
        static const char *const WAYS[] = {"type", "type", "IDS_STK_BTN_CANCEL", "Escape", "close"};
        const QString way = WAYS[m_dice.roll(5)];
        if (way != "type")
            return command::leave(frame, way);
        QTest::keyClick(field, Qt::Key_1);
        command::leave(frame, "IDS_STK_BTN_OK");
    }

    DialogWorld *const m_world;
    const bool m_closesTheWindow;
    Dice m_dice;
    QTimer m_timer;
    bool m_usesTheMenu;
    int m_acts;
    bool m_isActing;
};

} // namespace

class tst_StormOnDoubles : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void storm_data();
    void storm();

public slots: // not tests
    void raiseNext();
    void drained() { m_isDrained = true; }

private:
    void raise(const Event &event, int number);
    void letThreadsRaise(int threads);
    int raised(int type) const { return m_raised[type]; }
    bool theWindowIsUsable();
    static int responses(int type, int result);
    bool isDrained();
    bool calmsDown();

    std::unique_ptr<DialogWorld> m_world;
    QTemporaryDir m_tones;
    int m_readings; ///< of texts and keys
    std::vector<Event> m_mix;
    std::vector<std::thread> m_threads;
    std::atomic<int> m_raised[MDSV_STKTYPE_END_SESSION + 1]; ///< commands, by their type
    std::atomic<int> m_done;                                 ///< events that have been raised
    std::atomic<int> m_ownAnswers;                           ///< responses outside the user-interface thread
    int m_next;                                              ///< the next event of the user-interface thread
    int m_end;
    bool m_isDrained; ///< the user-interface thread has taken everything that was posted to it
};

void tst_StormOnDoubles::init()
{
    QFile tone(m_tones.path() + "/plugins/STKPlugin/tone_0.wav");
    QVERIFY(QDir(m_tones.path()).mkpath("plugins/STKPlugin") && tone.open(QIODevice::WriteOnly));
    m_world.reset(new DialogWorld);
    for (auto &count : m_raised)
        count = 0;
    m_done = 0;
    m_readings = 0;
    m_ownAnswers = 0;
    // The data change from one reading to the next: texts that clear themselves, keys that are questions.
    m_world->sdk.onCall(GET_TEXT, [this] { m_world->sdk.setPrompt("Text", ++m_readings % 3, 1); });
    m_world->sdk.onCall(GET_KEY, [this] { m_world->sdk.setInKey("Key?", ++m_readings % 4, 0, 200); });
    m_world->sdk.setInput("Input?", 0, 1, 1, 20, 0, "");
    m_world->sdk.setBrowser(0, "http://www.example.com");
    m_world->core.onShowMessage([](QDialog *box) { return box->exec() == QDialog::Accepted ? 1024 : 0; });
    m_world->core.setPluginLibraryPath(m_tones.path());
    m_world->sdk.onCall(RESPONSE, [this] {
        if (QThread::currentThread() != thread())
            ++m_ownAnswers;
    });
    QVERIFY(m_world->show());
    m_world->forget();
    m_world->log.setDebugOutput(false); // a million lines
}

void tst_StormOnDoubles::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
    QVERIFY(!QWidget::keyboardGrabber());
}

void tst_StormOnDoubles::raise(const Event &event, int number)
{
    SdkDouble &sdk = m_world->sdk;
    if (event.kind == Event::Command) {
        ++m_raised[event.value];
        sdk.raiseStk(event.value, number);
    } else if (event.kind == Event::TimeOut) {
        sdk.raiseStk(event.value, number, 1);
    } else if (event.kind == Event::NullRecord) {
        sdk.raiseNullRecord();
    } else {
        sdk.raiseDevice(event.value);
    }
    ++m_done;
}

void tst_StormOnDoubles::letThreadsRaise(int threads)
{
    for (int i = 0; i < threads; ++i) {
        m_threads.emplace_back([=] {
            Dice dice{unsigned(i)};
            for (int n = 0; n < EVENTS / threads; ++n)
                raise(m_mix[size_t(dice.roll(int(m_mix.size())))], n);
        });
    }
}

/// One event on the user-interface thread; the next one comes when its handler lets events through.
void tst_StormOnDoubles::raiseNext()
{
    if (m_next >= m_end)
        return;
    Dice dice{unsigned(m_next++)};
    dice.roll(2);
    QMetaObject::invokeMethod(this, "raiseNext", Qt::QueuedConnection);
    raise(m_mix[size_t(dice.roll(int(m_mix.size())))], m_next);
}

int tst_StormOnDoubles::responses(int type, int result)
{
    int count = 0;
    for (const support::Call &call : journal::callsOf(RESPONSE))
        count += call.args.at(1) == type && call.args.at(2) == result;
    return count;
}

/// Whether everything that was raised has been taken from the queue.
bool tst_StormOnDoubles::isDrained()
{
    m_isDrained = false;
    if (!QTest::qWaitFor([this] { return m_done == EVENTS; }, LIMIT_MS))
        return false;
    QMetaObject::invokeMethod(this, "drained", Qt::QueuedConnection); // behind all of them
    return QTest::qWaitFor([this] { return m_isDrained; }, LIMIT_MS);
}

/// Whether it has all been dealt with: no dialog is open but the window, and nothing waits.
bool tst_StormOnDoubles::calmsDown()
{
    return QTest::qWaitFor(
        [this] {
            if (!m_world->frame() || QApplication::activeModalWidget() != m_world->frame())
                return false;
            // Deliberate: a device that was lost closes the window a moment later, also one that was opened since.
            if (m_world->at(&DialogPeek::m_strTimerType) == "STK_DEVICE_TIMER")
                return false;
            if (m_world->isWaiting())
                m_world->logic->SetResponseVar(true);
            return !m_world->isWaiting();
        },
        LIMIT_MS);
}

void tst_StormOnDoubles::storm_data()
{
    QTest::addColumn<int>("threads");
    QTest::addColumn<int>("here"); // events on the user-interface thread
    QTest::addColumn<bool>("wild");
    QTest::addColumn<int>("only");
    const int ALL = -1;
    QTest::newRow("one thread") << 1 << 0 << false << ALL;
    QTest::newRow("four threads") << 4 << 0 << false << ALL;
    QTest::newRow("user-interface thread") << 0 << EVENTS << false << ALL;
    QTest::newRow("four threads, devices come and go") << 4 << 0 << true << ALL;
    QTest::newRow("user-interface thread, devices come and go") << 0 << EVENTS << true << ALL;
    // Nothing but dialogs, of which nobody can close one before the next comes: they must not fill the stack.
    QTest::newRow("texts") << 1 << 0 << false << int(MDSV_STKTYPE_DISPLAY_TEXT);
    QTest::newRow("texts on the user-interface thread") << 0 << EVENTS << false << int(MDSV_STKTYPE_DISPLAY_TEXT);
    QTest::newRow("keys") << 1 << 0 << false << int(MDSV_STKTYPE_GET_INKEY);
    QTest::newRow("inputs") << 1 << 0 << false << int(MDSV_STKTYPE_GET_INPUT);
}

void tst_StormOnDoubles::storm()
{
    QFETCH(int, threads);
    QFETCH(int, here);
    QFETCH(bool, wild);
    QFETCH(int, only);
    m_mix = mix(wild);
    if (only >= 0)
        m_mix = {{Event::Command, only}};
    m_next = 0;
    m_end = here;
    int acts = 0;
    {
        Robot robot(m_world.get(), wild);
        letThreadsRaise(threads);
        for (int i = 0; here && i < 64; ++i) // the queue is never empty
            QMetaObject::invokeMethod(this, "raiseNext", Qt::QueuedConnection);
        const bool isOver = isDrained();
        for (std::thread &each : m_threads)
            each.join();
        m_threads.clear();
        QVERIFY(isOver);
        robot.leaveTheMenuAlone();
        for (int i = 0; i < 3; ++i) { // a dialog may have been put off to the end
            QVERIFY(calmsDown());
            QCoreApplication::processEvents();
        }
        acts = robot.acts();
    }
    QCOMPARE(int(m_done), EVENTS);
    QVERIFY(acts > 0);

    // What needs nobody is answered once each; what somebody must answer at most once.
    QCOMPARE(responses(MDSV_STKTYPE_SETUP_CALL, STK_UI_RESPONSE_NO_CALL), raised(MDSV_STKTYPE_SETUP_CALL));
    QCOMPARE(responses(MDSV_STKTYPE_LAUNCH_BROWSER, DONE), raised(MDSV_STKTYPE_LAUNCH_BROWSER));
    QCOMPARE(responses(MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, DONE), raised(MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT));
    QCOMPARE(responses(MDSV_STKTYPE_PLAY_TONE, DONE), journal::count(GET_TONE));
    QVERIFY(wild || journal::count(GET_TONE) == raised(MDSV_STKTYPE_PLAY_TONE));
    QVERIFY(journal::count(GET_TEXT) <= raised(MDSV_STKTYPE_DISPLAY_TEXT) + 1);
    QVERIFY(responses(MDSV_STKTYPE_DISPLAY_TEXT, DONE) <= journal::count(GET_TEXT));
    QVERIFY(journal::count(ANSWER_KEY) <= journal::count(GET_KEY));
    QVERIFY(journal::count(ANSWER_INPUT) <= journal::count(GET_INPUT));
    if (!wild) { // every handler had what it needs: nothing but a cancelled text was refused
        QCOMPARE(int(m_ownAnswers), 0);
        QVERIFY(responses(MDSV_STKTYPE_DISPLAY_TEXT, DONE) + responses(MDSV_STKTYPE_DISPLAY_TEXT, REFUSED) <=
                journal::count(GET_TEXT));
    }
    QVERIFY(theWindowIsUsable());
}

/// Opens a text, which is closed, and chooses from the menu.
bool tst_StormOnDoubles::theWindowIsUsable()
{
    journal::clear();
    support::ModalDriver driver;
    driver.on("ExtendDialog", [this](QWidget *frame) { command::leave(frame, "IDS_OK"); });
    m_world->sdk.onCall(GET_TEXT, {});
    m_world->sdk.setPrompt("After the storm", 1, 0);
    m_world->sdk.raiseStk(MDSV_STKTYPE_DISPLAY_TEXT, 77);
    if (!driver.isDone() || command::requests() != QStringList{"GetPromptText(77)", "SendNoDataResponse(77, 1, 1)"})
        return false;

    m_world->sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 78);
    m_world->table()->setCurrentCell(1, 0);
    m_world->select()->click();
    const bool isSent = journal::lines("MDSV_STKSrv_SelectSub").contains("MDSV_STKSrv_SelectSubMenuItem(78, 1, 12)");
    return isSent && m_world->isWaiting() && m_world->endWait();
}

QTEST_MAIN(tst_StormOnDoubles)
#include "tst_StormOnDoubles.moc"
