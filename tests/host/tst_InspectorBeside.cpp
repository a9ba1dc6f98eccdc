#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>

#include <csignal>
#include <sys/types.h>

/// The inspector while a window of the plug-in is up: the program as a child process, driven through the X server.
class tst_InspectorBeside : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void inspectorIsUsableBesideEveryWindow_data();
    void inspectorIsUsableBesideEveryWindow();
    void inspectorOpensByOption();
    void closedDashboardEndsTheProgram();

private:
    QString write(const QString &name, const QByteArray &content) const;
    void start(const QStringList &arguments);
    bool waitForLine(const QString &start);
    bool waitForWindow(const QByteArray &title);
    bool waitForOtherWindow();
    bool end();
    static QByteArray xdotool(const QStringList &arguments);
    static void chooseItem(const QByteArray &window);
    static void clickCross(const QByteArray &window);
    static QByteArray activeWindow() { return xdotool({"getactivewindow"}); }
    static QByteArray titleOfActive() { return xdotool({"getactivewindow", "getwindowname"}); }

    QTemporaryDir m_folder;
    int m_tests = 0;
    QString m_settings; ///< the program's: none at the beginning of each test
    QProcess m_program;
    QString m_output;
};

QByteArray tst_InspectorBeside::xdotool(const QStringList &arguments)
{
    QProcess tool;
    tool.start("xdotool", arguments);
    return tool.waitForFinished() ? tool.readAllStandardOutput().trimmed() : QByteArray();
}

/// The first row of the SIM Toolkit window.
void tst_InspectorBeside::chooseItem(const QByteArray &window)
{
    xdotool({"mousemove", "--window", window, "150", "55", "click", "1"});
    xdotool({"key", "Return"});
}

/// The close button of the frame that the window manager draws.
void tst_InspectorBeside::clickCross(const QByteArray &window)
{
    QProcess look;
    look.start("xwininfo", {"-id", window});
    look.waitForFinished();
    const QString told = QString::fromLatin1(look.readAllStandardOutput());
    const auto number = [&told](const char *name) {
        return QRegularExpression(QString(name) + ": *(-?[0-9]+)").match(told).captured(1).toInt();
    };
    const int x = number("Absolute upper-left X") + number("Width") - 11;
    const int y = number("Absolute upper-left Y") - 10;
    xdotool({"mousemove", QString::number(x), QString::number(y), "click", "1"});
}

QString tst_InspectorBeside::write(const QString &name, const QByteArray &content) const
{
    QFile file(m_folder.filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? file.fileName() : QString();
}

void tst_InspectorBeside::initTestCase()
{
    connect(&m_program, &QProcess::readyReadStandardOutput,
            [this] { m_output += QString::fromUtf8(m_program.readAllStandardOutput()); });
}

void tst_InspectorBeside::init()
{
    m_settings = m_folder.filePath(QString("settings-%1").arg(++m_tests));
}

void tst_InspectorBeside::start(const QStringList &arguments)
{
    m_output.clear();
    QProcessEnvironment environment = m_program.processEnvironment();
    if (environment.isEmpty())
        environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_CONFIG_HOME", m_settings);
    m_program.setProcessEnvironment(environment);
    m_program.start(DASHBOARD, arguments + QStringList{"--print-session", "--no-browser"});
    QVERIFY2(m_program.waitForStarted(), qPrintable(m_program.errorString()));
}

bool tst_InspectorBeside::end()
{
    ::kill(static_cast<pid_t>(m_program.processId()), SIGTERM);
    return QTest::qWaitFor([this] { return m_program.state() == QProcess::NotRunning; }, 20000) &&
           m_program.exitStatus() == QProcess::NormalExit && m_program.exitCode() == 0;
}

void tst_InspectorBeside::cleanup()
{
    if (m_program.state() == QProcess::NotRunning)
        return;
    m_program.kill();
    m_program.waitForFinished();
    qWarning("the program had to be killed; it said:\n%s", qPrintable(m_output));
}

bool tst_InspectorBeside::waitForLine(const QString &start)
{
    return QTest::qWaitFor([&] { return ("\n" + m_output).contains("\n" + start); }, 20000);
}

bool tst_InspectorBeside::waitForWindow(const QByteArray &title)
{
    return QTest::qWaitFor([&] { return titleOfActive() == title; }, 20000);
}

/// One of the plug-in's.
bool tst_InspectorBeside::waitForOtherWindow()
{
    return QTest::qWaitFor(
        [] {
            const QByteArray title = titleOfActive();
            return title != "Dashboard" && title != "Card" && !activeWindow().isEmpty();
        },
        20000);
}

void tst_InspectorBeside::inspectorIsUsableBesideEveryWindow_data()
{
    QTest::addColumn<QByteArray>("step");    // none: the menu itself is what is open
    QTest::addColumn<QStringList>("answer"); // keys
    QTest::addColumn<QString>("line");

    const auto row = [](const char *name, const char *step, const QStringList &answer, const char *line) {
        QTest::newRow(name) << QByteArray(step) << answer << QString(line);
    };
    row("menu", "", {}, "envelope: MENU SELECTION \"Item\"");
    row("text", "display: Hello", {"Tab", "space"}, "answer: DISPLAY TEXT: ");
    row("input, which grabs the keyboard", "input: {prompt: Code, min: 2, max: 4, digits: true}", {"1", "2", "Return"},
        "answer: GET INPUT: 00 command performed successfully, \"12\"");
    row("key", "key: {prompt: One}", {"a", "Return"}, "answer: GET INKEY: 00 command performed successfully, \"a\"");
    row("yes or no", "yes-no: Sure?", {"Return"}, "answer: GET INKEY: 00 command performed successfully, yes");
}

/// Types a file's name into a dialog of the inspector, then answers the card.
void tst_InspectorBeside::inspectorIsUsableBesideEveryWindow()
{
    QFETCH(QByteArray, step);
    QFETCH(QStringList, answer);
    QFETCH(QString, line);
    const QString saved = m_folder.filePath("session.txt");
    QFile::remove(saved);
    const QByteArray steps = step.isEmpty() ? QByteArray() : "      steps:\n        - " + step + "\n";
    start({"--profile", write("card.yaml", "name: Card\nmenu:\n  title: Card\n  items:\n    - text: Item\n" + steps)});
    QVERIFY(waitForLine("answer: SET UP MENU"));
    QVERIFY(waitForWindow("Dashboard"));
    xdotool({"key", "alt+s"});
    QVERIFY(waitForWindow("Card"));
    if (!step.isEmpty()) {
        chooseItem(activeWindow());
        QVERIFY(waitForOtherWindow());
    }
    const QByteArray window = activeWindow();
    xdotool({"key", "F12"});
    QVERIFY(waitForWindow("SIM Toolkit inspector"));
    xdotool({"key", "ctrl+s"});
    QVERIFY(waitForWindow("Save the session"));
    xdotool({"type", "--delay", "5", saved});
    // A list of completions that comes late takes the first Return for itself. One too many goes to the inspector.
    const auto isSaved = [&saved] { return QFile::exists(saved); };
    for (int i = 0; i < 10 && !isSaved(); ++i) {
        if (titleOfActive() == "Save the session")
            xdotool({"key", "Return"});
        Q_UNUSED(QTest::qWaitFor(isSaved, 2000));
    }
    QVERIFY2(isSaved(), qPrintable(QDir(m_folder.path()).entryList().join(' ')));
    QVERIFY2(!m_output.contains(line), "what was typed in the inspector went to the card");

    // The dialog gives the focus back when it closes, after its file is there.
    const auto isGone = [] { return xdotool({"search", "--onlyvisible", "--name", "^Save the session$"}).isEmpty(); };
    QVERIFY(QTest::qWaitFor(isGone, 20000));
    const auto hasFocus = [&window] {
        xdotool({"windowactivate", "--sync", window});
        return xdotool({"getwindowfocus", "-f"}) == window;
    };
    QVERIFY(QTest::qWaitFor(hasFocus, 20000));
    if (step.isEmpty())
        chooseItem(window);
    else
        xdotool(QStringList("key") + answer);
    QVERIFY2(waitForLine(line), qPrintable(m_output));
    QVERIFY(end());
}

void tst_InspectorBeside::inspectorOpensByOption()
{
    start({"--profile", PROFILE, "--inspector"});
    QVERIFY(waitForLine("answer: SET UP IDLE MODE TEXT"));
    QTRY_VERIFY_WITH_TIMEOUT(!xdotool({"search", "--onlyvisible", "--name", "^SIM Toolkit inspector$"}).isEmpty(),
                             20000);
    QVERIFY(end());
}

/// The inspector keeps no program alive.
void tst_InspectorBeside::closedDashboardEndsTheProgram()
{
    start({"--profile", PROFILE, "--inspector"});
    QVERIFY(waitForLine("answer: SET UP IDLE MODE TEXT"));
    QByteArray dashboard;
    QTRY_VERIFY_WITH_TIMEOUT(!(dashboard = xdotool({"search", "--onlyvisible", "--name", "^Dashboard$"})).isEmpty(),
                             20000);
    xdotool({"windowactivate", "--sync", dashboard});
    clickCross(dashboard);
    QVERIFY(QTest::qWaitFor([this] { return m_program.state() == QProcess::NotRunning; }, 20000));
    QCOMPARE(m_program.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_InspectorBeside)
#include "tst_InspectorBeside.moc"
