// Every call into both of the host's libraries fails in turn, on every path on which the window makes it. Whatever
// fails: no command is answered twice, nothing is left behind, and the next command and the next choice work.
#include "CommandWorld.h"

#include "core/ExtendLineEdit.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <climits>
#include <memory>

namespace journal = support::journal;

namespace
{

const char RESPONSE[] = "MDSV_STKSrv_SendNoDataResponse";
const int CMD_ID = 21;

/// What the user or the card does; the paths of every operation.
struct Path {
    const char *name;
    int type;    ///< of the command, or one of the below
    int variant; ///< clear mode of a text, input type of a key
};

enum Act { Show = 1000, Select, SelectSub, Back, Close, DeviceBack, DeviceLost, TimeOut, Withdraw };

const Path PATHS[] = {
    {"window is shown", Show, 0},
    {"choice from the main menu", Select, 0},
    {"choice from the sub-menu", SelectSub, 0},
    {"Back", Back, 0},
    {"Close", Close, 0},
    {"device is back", DeviceBack, 0},
    {"device is lost", DeviceLost, 0},
    {"session timed out", TimeOut, 0},
    {"callbacks are withdrawn", Withdraw, 0},
    {"SET UP MENU", MDSV_STKTYPE_SETUP_MENU, 0},
    {"DISPLAY TEXT", MDSV_STKTYPE_DISPLAY_TEXT, 1},
    {"DISPLAY TEXT that clears itself", MDSV_STKTYPE_DISPLAY_TEXT, 0},
    {"GET INKEY", MDSV_STKTYPE_GET_INKEY, 0},
    {"GET INKEY, yes or no", MDSV_STKTYPE_GET_INKEY, 1},
    {"GET INPUT", MDSV_STKTYPE_GET_INPUT, 0},
    {"SET UP CALL", MDSV_STKTYPE_SETUP_CALL, 0},
    {"PLAY TONE", MDSV_STKTYPE_PLAY_TONE, 0},
    {"SELECT ITEM", MDSV_STKTYPE_SELECT_ITEM, 0},
    {"REFRESH", MDSV_STKTYPE_REFRESH, 0},
    {"SEND SS", MDSV_STKTYPE_SEND_SS, 0},
    {"SEND SMS", MDSV_STKTYPE_SEND_SMS, 0},
    {"SEND USSD", MDSV_STKTYPE_SEND_USSD, 0},
    {"LAUNCH BROWSER", MDSV_STKTYPE_LAUNCH_BROWSER, 0},
    {"SET UP IDLE MODE TEXT", MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, 0},
    {"END SESSION", MDSV_STKTYPE_END_SESSION, 0},
    {"an unknown command", 13, 0},
};

/// Answers every dialog, and cancels one that comes up again.
class Answerer : public QObject
{
    Q_OBJECT

public:
    explicit Answerer(DialogWorld *world) : m_world(world), m_isPosted(false)
    {
        connect(&m_timer, SIGNAL(timeout()), this, SLOT(tick()));
        m_timer.start(5);
    }

private slots:
    void tick()
    {
        // A timer does not fire again inside its own slot: the act is posted, so that it may open dialogs.
        if (!m_isPosted)
            QMetaObject::invokeMethod(this, "act", Qt::QueuedConnection);
        m_isPosted = true;
    }

    void act()
    {
        m_isPosted = false;
        QWidget *top = QApplication::activeModalWidget();
        if (!top || top == m_world->frame())
            return;
        if (top->findChild<WsMessageBox *>()) {
            command::leave(top, "IDS_OK");
        } else if (ExtendLineEdit *field = top->findChild<ExtendLineEdit *>()) {
            if (top == m_tried)
                return command::leave(top, "IDS_STK_BTN_CANCEL");
            m_tried = top;
            QTest::keyClick(field, Qt::Key_1);
            command::leave(top, "IDS_STK_BTN_OK");
        } else {
            static_cast<QDialog *>(top)->accept();
        }
    }

private:
    DialogWorld *const m_world;
    QPointer<QWidget> m_tried;
    QTimer m_timer;
    bool m_isPosted;
};

} // namespace

class tst_FaultedCalls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void deviceService_data();
    void deviceService();
    void core_data();
    void core();

private:
    void follow(const Path &path);
    void raise(int type, int cmdId, int timeOut = 0);
    QStringList libraryCalls() const;
    QString problemAfter(const Path &path, const QString &fault);
    static int successfulResponses(const QByteArray &fault);

    std::unique_ptr<DialogWorld> m_world;
    std::unique_ptr<Answerer> m_answerer;
    QTemporaryDir m_tones;
    bool m_elsewhere;
};

void tst_FaultedCalls::initTestCase_data()
{
    command::threadRows();
}

void tst_FaultedCalls::init()
{
    QFETCH_GLOBAL(bool, elsewhere);
    m_elsewhere = elsewhere;
    QFile tone(m_tones.path() + "/plugins/STKPlugin/tone_0.wav");
    QVERIFY(QDir(m_tones.path()).mkpath("plugins/STKPlugin") && tone.open(QIODevice::WriteOnly));
    m_world.reset(new DialogWorld);
    m_answerer.reset(new Answerer(m_world.get()));
    m_world->sdk.setInput("Input?", 0, 1, 1, 20, 0, "");
    m_world->sdk.setBrowser(0, "http://www.example.com");
    m_world->core.onShowMessage([](QDialog *box) { return box->exec() == QDialog::Accepted ? 1024 : 0; });
    m_world->core.setPluginLibraryPath(m_tones.path());
    QVERIFY(m_world->show());
}

void tst_FaultedCalls::cleanup()
{
    m_answerer.reset();
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
    QVERIFY(!QWidget::keyboardGrabber());
}

void tst_FaultedCalls::raise(int type, int cmdId, int timeOut)
{
    if (m_elsewhere)
        m_world->raiseElsewhere(type, cmdId, timeOut);
    else
        m_world->sdk.raiseStk(type, cmdId, timeOut);
}

/// Returns when everything that the path brings has happened.
void tst_FaultedCalls::follow(const Path &path)
{
    DialogWorld &w = *m_world;
    QRect rect;
    switch (path.type) {
    case Show:
        w.dialog->ShowStkDlg(w.host, rect);
        break;
    case SelectSub:
        w.dialog->onSTKSelItem();
        w.table()->setCurrentCell(0, 0);
        w.select()->click();
        break;
    case Select:
        w.table()->setCurrentCell(0, 0);
        w.select()->click();
        break;
    case Back:
        w.dialog->onButtonClickBack();
        break;
    case Close:
        w.close()->click();
        break;
    case DeviceBack:
        w.sdk.raiseDevice(MDSV_DEVICE_AVAILABLE);
        break;
    case DeviceLost:
        w.sdk.raiseDevice(MDSV_DEVICE_REMOVED);
        command::fire(w.at(&DialogPeek::m_pStkTimer));
        break;
    case TimeOut:
        raise(MDSV_STKTYPE_GET_INPUT, CMD_ID, 1);
        break;
    case Withdraw:
        w.dialog->unSDKRegisterEvent();
        break;
    default:
        w.sdk.setPrompt("Text", path.variant, 30);
        w.sdk.setInKey("Key?", path.variant, 0, 0);
        raise(path.type, CMD_ID);
    }
    if (w.isWaiting())
        w.endWait();
}

/// The functions of the library that were called, each once.
QStringList tst_FaultedCalls::libraryCalls() const
{
    QStringList names = journal::names("MDSV_");
    names.removeDuplicates();
    return names;
}

/// Responses that the library took; `fault` is the function that has failed every time.
int tst_FaultedCalls::successfulResponses(const QByteArray &fault)
{
    int count = 0;
    for (const char *function : {RESPONSE, "MDSV_STKSrv_AnswerInput", "MDSV_STKSrv_AnswerInKey"})
        count += fault == function ? 0 : journal::count(function);
    return count;
}

/// What is wrong after a path on which something failed; nothing when all is well.
QString tst_FaultedCalls::problemAfter(const Path &path, const QString &fault)
{
    DialogWorld &w = *m_world;
    const int responses = successfulResponses(fault.toLatin1());
    if (responses > 1)
        return QString("%1 responses: %2").arg(responses).arg(command::requests().join(", "));
    if (QApplication::activeModalWidget() && QApplication::activeModalWidget() != w.frame())
        return "a dialog is still open";
    if (w.sdk.openMenus() != 0)
        return "a menu was not given back";
    if (path.type == Withdraw) { // after a failed withdrawal they are still there, as for the end of each test
        w.logic->RegisterSTKCB();
    }
    QRect rect;
    if (!w.frame())
        w.dialog->ShowStkDlg(w.host, rect);
    w.sdk.raiseStk(MDSV_STKTYPE_SETUP_MENU, 90);
    if (w.rows() != QStringList({"Balance", "News", "Help"}))
        return "the main menu does not come back: " + w.rows().join(", ");
    journal::clear();
    w.table()->setCurrentCell(1, 0);
    w.select()->click();
    if (journal::lines("MDSV_STKSrv_Select") != QStringList("MDSV_STKSrv_SelectMenuItem(1, 2)") || !w.endWait())
        return "the menu cannot be used";
    return QString();
}

void tst_FaultedCalls::deviceService_data()
{
    QTest::addColumn<int>("number");
    for (size_t i = 0; i < sizeof(PATHS) / sizeof(PATHS[0]); ++i)
        QTest::newRow(PATHS[i].name) << int(i);
}

/// The path is followed once to see which functions it calls; then each of them fails, with every status, once at its
/// first call and once at all of them.
void tst_FaultedCalls::deviceService()
{
    QFETCH(int, number);
    const Path &path = PATHS[number];
    DialogWorld &w = *m_world;
    w.forget();
    follow(path);
    const QStringList functions = libraryCalls();
    QCOMPARE(problemAfter(path, QString()), QString());
    for (const QString &function : functions) {
        for (int status : {1, -1, INT_MIN, INT_MAX}) {
            w.forget();
            w.sdk.answer(function.toLatin1(), status);
            follow(path);
            w.sdk.answer(function.toLatin1(), 0);
            const QString problem = problemAfter(path, function);
            QVERIFY2(problem.isEmpty(), qPrintable(QString("%1 = %2: %3").arg(function).arg(status).arg(problem)));
        }
    }
}

void tst_FaultedCalls::core_data()
{
    QTest::addColumn<QString>("fault");
    for (const char *fault : {"message returns at once", "message returns nonsense", "no sound", "no page",
                              "no main window", "no plug-in path", "no translation", "thread does not stop"})
        QTest::newRow(fault) << fault;
}

/// All paths with one fault of the core library.
void tst_FaultedCalls::core()
{
    QFETCH(QString, fault);
    support::CoreDouble &core = m_world->core;
    if (fault.startsWith("message returns")) {
        const int result = fault.endsWith("nonsense") ? INT_MIN : 0;
        core.onShowMessage([result](QDialog *) { return result; });
    } else if (fault == "no sound") {
        core.setPlayResult(false);
    } else if (fault == "no page") {
        core.setOpenUrlResult(false);
    } else if (fault == "no main window") {
        core.setMainWindow(nullptr);
    } else if (fault == "no plug-in path") {
        core.setPluginLibraryPath(QString());
    } else if (fault == "no translation") {
        core.setTranslator([](const QString &, const QString &) { return QString(); });
        m_answerer.reset(); // finds the buttons by their texts
    } else {
        core.setWaitResult(false);
    }
    for (const Path &path : PATHS) {
        const bool hasDialog = path.type >= MDSV_STKTYPE_DISPLAY_TEXT && path.type <= MDSV_STKTYPE_GET_INPUT;
        if (path.type == Show || (!m_answerer && hasDialog)) // one window is enough
            continue;
        m_world->forget();
        follow(path);
        const QString problem = problemAfter(path, QString());
        QVERIFY2(problem.isEmpty(), qPrintable(QString("%1: %2").arg(path.name, problem)));
    }
}

QTEST_MAIN(tst_FaultedCalls)
#include "tst_FaultedCalls.moc"
