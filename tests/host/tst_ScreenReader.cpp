#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusVariant>

#include <algorithm>
#include <csignal>
#include <sys/types.h>

namespace
{

/// The desktop's own, for programs of people who do not see the screen.
constexpr const char *registry = "org.a11y.atspi.Registry";
constexpr const char *rootPath = "/org/a11y/atspi/accessible/root";
constexpr const char *accessible = "org.a11y.atspi.Accessible";

/// Bits of AT-SPI's states.
constexpr unsigned int focusable = 1u << 11;
constexpr unsigned int showing = 1u << 25;

/// One thing that a screen reader finds.
struct Thing {
    QString service;
    QString path;
    QString role;
    QString name;
    unsigned int states = 0;

    bool has(unsigned int state) const { return (states & state) == state; }
};

} // namespace

/// What a screen reader hears of the program: over AT-SPI, on a bus of the test's own.
class tst_ScreenReader : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();
    void dashboardTellsWhatItShows();
    void toolkitWindowTellsMenuAndButtons();
    void dialogTellsItsText_data();
    void dialogTellsItsText();
    void whateverTakesTheFocusHasAName_data();
    void whateverTakesTheFocusHasAName();

private:
    void start(const QByteArray &steps, const QStringList &arguments = {}, const QByteArray &head = {});
    void openToolkit();
    QList<Thing> look();
    void lookInto(const Thing &thing, int depth, QList<Thing> *things);
    Thing thing(const QDBusArgument &reference);
    QVariant call(const Thing &thing, const char *interface, const char *method, const QVariantList &arguments = {});
    bool waitFor(const QString &role, const QString &name);
    void press(const QString &role, const QString &name);
    QString heard();

    QTemporaryDir m_folder;
    QProcess m_bus;
    QDBusConnection m_reader{QString()};
    QProcess m_program;
    QString m_output;
    int m_tests = 0;
};

void tst_ScreenReader::initTestCase()
{
    m_bus.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
    QVERIFY2(m_bus.waitForStarted(), "dbus-daemon is missing: install the package dbus-daemon");
    QVERIFY(m_bus.waitForReadyRead());
    const QByteArray address = m_bus.readLine().trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    QDBusConnection session = QDBusConnection::connectToBus(QString::fromLatin1(address), "session");
    const QDBusMessage reply =
        session.call(QDBusMessage::createMethodCall("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress"));
    QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    m_reader = QDBusConnection::connectToBus(reply.arguments().value(0).toString(), "accessibility");
    QVERIFY2(m_reader.isConnected(), qPrintable(m_reader.lastError().message()));

    connect(&m_program, &QProcess::readyReadStandardOutput,
            [this] { m_output += QString::fromUtf8(m_program.readAllStandardOutput()); });
}

void tst_ScreenReader::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus("accessibility");
    QDBusConnection::disconnectFromBus("session");
    m_bus.terminate();
    QVERIFY(m_bus.waitForFinished());
}

void tst_ScreenReader::init()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    environment.insert("XDG_CONFIG_HOME", m_folder.filePath(QString("settings-%1").arg(++m_tests)));
    m_program.setProcessEnvironment(environment);
    m_output.clear();
}

void tst_ScreenReader::cleanup()
{
    if (m_program.state() == QProcess::NotRunning)
        return;
    ::kill(static_cast<pid_t>(m_program.processId()), SIGTERM);
    QVERIFY(QTest::qWaitFor([this] { return m_program.state() == QProcess::NotRunning; }, 20000));
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
}

void tst_ScreenReader::start(const QByteArray &steps, const QStringList &arguments, const QByteArray &head)
{
    const QByteArray profile = head + "name: Card\nmenu:\n  title: My bank\n  items:\n    - text: Balance\n" + steps +
                               "    - text: Transfer\n";
    QFile file(m_folder.filePath("card.yaml"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(profile) == profile.size());
    file.close();
    m_program.start(DASHBOARD, QStringList{"--profile", file.fileName(), "--print-session"} + arguments);
    QVERIFY2(m_program.waitForStarted(), qPrintable(m_program.errorString()));
    QVERIFY(QTest::qWaitFor([this] { return m_output.contains("answer: SET UP MENU"); }, 20000));
}

void tst_ScreenReader::openToolkit()
{
    QVERIFY2(waitFor("push button", "SIM Toolkit"), qPrintable(heard()));
    press("push button", "SIM Toolkit");
}

QVariant tst_ScreenReader::call(const Thing &thing, const char *interface, const char *method,
                                const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(thing.service, thing.path, interface, method);
    message.setArguments(arguments);
    const QVariant answer = m_reader.call(message, QDBus::Block, 5000).arguments().value(0);
    return answer.canConvert<QDBusVariant>() ? answer.value<QDBusVariant>().variant() : answer;
}

/// Reads "(so)": the service and the path.
Thing tst_ScreenReader::thing(const QDBusArgument &reference)
{
    Thing found;
    QDBusObjectPath path;
    reference.beginStructure();
    reference >> found.service >> path;
    reference.endStructure();
    found.path = path.path();
    found.role = call(found, accessible, "GetRoleName").toString();
    found.name = call(found, "org.freedesktop.DBus.Properties", "Get", {accessible, "Name"}).toString();
    const QVariant states = call(found, accessible, "GetState");
    if (states.canConvert<QDBusArgument>()) {
        QList<unsigned int> words;
        states.value<QDBusArgument>() >> words;
        found.states = words.value(0);
    }
    return found;
}

void tst_ScreenReader::lookInto(const Thing &parent, int depth, QList<Thing> *things)
{
    const QVariant children = depth < 20 ? call(parent, accessible, "GetChildren") : QVariant();
    if (!children.canConvert<QDBusArgument>())
        return;
    const auto list = children.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        const Thing child = thing(list);
        if (depth > 0 && !child.has(showing) && child.role != "frame" && child.role != "dialog")
            continue;
        things->append(child);
        lookInto(child, depth + 1, things);
    }
    list.endArray();
}

/// All that is to be seen now, windows first.
QList<Thing> tst_ScreenReader::look()
{
    QList<Thing> things;
    lookInto({registry, rootPath, {}, {}, 0}, 0, &things);
    return things;
}

bool tst_ScreenReader::waitFor(const QString &role, const QString &name)
{
    return QTest::qWaitFor(
        [&] {
            const QList<Thing> things = look();
            return std::any_of(things.begin(), things.end(),
                               [&](const Thing &each) { return each.role == role && each.name == name; });
        },
        20000);
}

void tst_ScreenReader::press(const QString &role, const QString &name)
{
    const QList<Thing> things = look();
    for (const Thing &each : things) {
        if (each.role == role && each.name == name)
            call(each, "org.a11y.atspi.Action", "DoAction", {0});
    }
}

/// For a test that has failed.
QString tst_ScreenReader::heard()
{
    QString text;
    const QList<Thing> things = look();
    for (const Thing &each : things) // the lists of languages would leave no room for the rest
        text += each.role == "list item"
                    ? QString()
                    : each.role + " \"" + each.name + "\" " + QString::number(each.states, 16) + '\n';
    return text;
}

void tst_ScreenReader::dashboardTellsWhatItShows()
{
    start({}, {}, "operator: Aurora\n");
    for (const char *text : {"Aurora", "\u25cf Device attached", "The card shows no text on the idle screen"})
        QVERIFY2(waitFor("label", text), qPrintable(heard()));
    QVERIFY2(waitFor("push button", "SIM Toolkit"), qPrintable(heard()));
    QVERIFY2(waitFor("filler", "Signal: 5 of 5 bars"), qPrintable(heard()));
}

void tst_ScreenReader::toolkitWindowTellsMenuAndButtons()
{
    start({});
    openToolkit();
    for (const char *text : {"Balance", "Transfer"})
        QVERIFY2(waitFor("cell", text), qPrintable(heard()));
    for (const char *text : {"Back", "Select", "Close"})
        QVERIFY2(waitFor("push button", text), qPrintable(heard()));
    QVERIFY2(waitFor("table", "My bank"), qPrintable(heard()));
}

void tst_ScreenReader::dialogTellsItsText_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::addColumn<QString>("role");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("buttons");
    const QStringList okCancel = {"OK", "Cancel"};
    QTest::newRow("text") << QByteArray("display: Hello") << QString("dialog") << QString("Hello") << okCancel;
    QTest::newRow("input") << QByteArray("input: {prompt: Code, min: 2, max: 4}") << QString("text") << QString("Code")
                           << okCancel;
    QTest::newRow("hidden input") << QByteArray("input: {prompt: PIN, min: 4, max: 4, digits: true, hidden: true}")
                                  << QString("text") << QString("PIN") << okCancel;
    QTest::newRow("key") << QByteArray("key: {prompt: One}") << QString("text") << QString("One") << okCancel;
    QTest::newRow("yes or no") << QByteArray("yes-no: Sure?") << QString("label") << QString("Sure?")
                               << QStringList{"Yes", "No"};
}

void tst_ScreenReader::dialogTellsItsText()
{
    QFETCH(QByteArray, step);
    QFETCH(QString, role);
    QFETCH(QString, name);
    QFETCH(QStringList, buttons);
    start("      steps:\n        - " + step + "\n");
    openToolkit();
    QVERIFY2(waitFor("cell", "Balance"), qPrintable(heard()));
    // The first row of the window that is active.
    QProcess::execute("xdotool", {"getactivewindow", "mousemove", "--window", "%1", "150", "55", "click", "1"});
    press("push button", "Select");
    QVERIFY2(waitFor(role, name), qPrintable(heard()));
    for (const QString &button : buttons)
        QVERIFY2(waitFor("push button", button), qPrintable(heard()));
}

void tst_ScreenReader::whateverTakesTheFocusHasAName_data()
{
    QTest::addColumn<bool>("inInspector");
    QTest::newRow("main window and toolkit") << false;
    QTest::newRow("inspector") << true;
}

void tst_ScreenReader::whateverTakesTheFocusHasAName()
{
    QFETCH(bool, inInspector);
    start({}, inInspector ? QStringList("--inspector") : QStringList());
    if (inInspector)
        QVERIFY2(waitFor("push button", "Clear the table"), qPrintable(heard()));
    else
        openToolkit();
    QVERIFY2(waitFor(inInspector ? "page tab" : "cell", inInspector ? "Card and terminal" : "Transfer"),
             qPrintable(heard()));
    int named = 0;
    const QList<Thing> things = look();
    for (const Thing &each : things) {
        if (!each.has(focusable | showing) || each.role == "filler")
            continue;
        QVERIFY2(!each.name.isEmpty(), qPrintable(each.role + " in\n" + heard()));
        ++named;
    }
    QVERIFY2(named > (inInspector ? 30 : 8), qPrintable(heard()));
}

QTEST_GUILESS_MAIN(tst_ScreenReader)
#include "tst_ScreenReader.moc"
