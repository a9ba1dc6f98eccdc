#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QtEndian>

#include <csignal>
#include <memory>
#include <sys/types.h>

namespace
{

/// A number of the capture file's headers, as the trace writes them: the most significant byte first.
quint32 number(const QByteArray &bytes, int at)
{
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The number of packets in a capture file: behind its own header each has one with the length of what follows it, and
/// then its full length. -1: the file is not whole.
int packetsOf(const QByteArray &bytes)
{
    const int fileHeader = 24;
    const int packetHeader = 16;
    int packets = 0;
    int at = fileHeader;
    for (; at + packetHeader <= bytes.size(); ++packets) {
        const quint32 length = number(bytes, at + 8);
        if (length > 1000 || length != number(bytes, at + 12))
            return -1;
        at += packetHeader + static_cast<int>(length);
    }
    return at == bytes.size() ? packets : -1;
}

} // namespace

class tst_Dashboard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void startsAndEnds_data();
    void startsAndEnds();
    void takesThePluginOutAtTheEnd();
    void signalsMoveTheDevice();
    void refusalTellsWhy_data();
    void refusalTellsWhy();
    void brokenProfileAtTheSecondAttachIsReported();
    void refusesWithoutAScreen();
    void helpNeedsNoScreen();
    void traceIsWritten();
    void languageChangesWhileTheWindowIsOpen_data();
    void languageChangesWhileTheWindowIsOpen();
    void webPageIsOnlyToldWithoutABrowser();
    void choicesAreRemembered();
    void cardIsAsTheLastTime();
    void environmentNamesTheCard();
    void cardOfTheEnvironmentIsTheDashboardsAffair();

private:
    QString write(const QString &name, const QByteArray &content) const;
    void start(const QStringList &arguments);
    bool waitForLine(const QString &start);
    void sendSignal(int number) const;
    bool waitForEnd();
    bool press(const QStringList &keys);
    QByteArray windowTitle() const;
    bool pressWhen(const QByteArray &title, const QStringList &keys);

    QTemporaryDir m_folder;
    int m_tests = 0;
    QString m_settings; ///< the program's: none at the beginning of each test
    QProcess m_program;
    QString m_output;
    QString m_errors;
};

QString tst_Dashboard::write(const QString &name, const QByteArray &content) const
{
    QFile file(m_folder.filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? file.fileName() : QString();
}

void tst_Dashboard::initTestCase()
{
    connect(&m_program, &QProcess::readyReadStandardOutput,
            [this] { m_output += QString::fromUtf8(m_program.readAllStandardOutput()); });
    connect(&m_program, &QProcess::readyReadStandardError,
            [this] { m_errors += QString::fromUtf8(m_program.readAllStandardError()); });
}

void tst_Dashboard::init()
{
    m_settings = m_folder.filePath(QString("settings-%1").arg(++m_tests));
}

void tst_Dashboard::start(const QStringList &arguments)
{
    m_output.clear();
    m_errors.clear();
    QProcessEnvironment environment = m_program.processEnvironment();
    if (environment.isEmpty())
        environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_CONFIG_HOME", m_settings);
    m_program.setProcessEnvironment(environment);
    m_program.start(DASHBOARD, arguments);
    QVERIFY2(m_program.waitForStarted(), qPrintable(m_program.errorString()));
}

void tst_Dashboard::cleanup()
{
    m_program.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    if (m_program.state() == QProcess::NotRunning)
        return;
    m_program.kill();
    m_program.waitForFinished();
    qWarning("the program had to be killed; it said:\n%s%s", qPrintable(m_output), qPrintable(m_errors));
}

bool tst_Dashboard::waitForLine(const QString &start)
{
    return QTest::qWaitFor([&] { return ("\n" + m_output).contains("\n" + start); }, 20000);
}

void tst_Dashboard::sendSignal(int number) const
{
    ::kill(static_cast<pid_t>(m_program.processId()), number);
}

bool tst_Dashboard::waitForEnd()
{
    return QTest::qWaitFor([this] { return m_program.state() == QProcess::NotRunning; }, 20000);
}

void tst_Dashboard::startsAndEnds_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("thread");

    QTest::newRow("TERM, callbacks on the service's thread") << SIGTERM << "service";
    QTest::newRow("TERM, callbacks on the user-interface thread") << SIGTERM << "ui";
    QTest::newRow("INT") << SIGINT << "service";
    QTest::newRow("HUP") << SIGHUP << "service";
}

void tst_Dashboard::startsAndEnds()
{
    QFETCH(int, number);
    QFETCH(QString, thread);
    start({"--profile", PROFILE, "--print-session", "--callback-thread", thread});
    QVERIFY2(waitForLine("host: ready with STKPlugin 1.1"), qPrintable(m_errors));
    QVERIFY(waitForLine("card asks: SET UP MENU"));
    QVERIFY(waitForLine("answer: SET UP MENU"));
    sendSignal(number);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_program.exitCode(), 0);
    QVERIFY2(m_output.endsWith("host: ends\n"), qPrintable(m_output));
    QCOMPARE(m_errors, QString());
}

void tst_Dashboard::takesThePluginOutAtTheEnd()
{
    start({"--profile", PROFILE, "--print-session", "--debug-log"});
    QVERIFY(waitForLine("host: ready"));
    QVERIFY(waitForLine("answer: SET UP MENU"));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);
    int last = -1;
    for (const char *part : {"UnSDKRegisterEvent called", "UnSDKRegisterEvent exit", "OnDestroy", "Release"}) {
        const int place = m_errors.indexOf(part, last + 1);
        QVERIFY2(place > last, part);
        last = place;
    }
    QVERIFY2(m_errors.indexOf("UnresgisterSTKCB") > 0, "the callbacks were not withdrawn");
    QVERIFY2(m_errors.indexOf("~STKPlugin", last) > last, "the plug-in was not deleted last");
}

void tst_Dashboard::signalsMoveTheDevice()
{
    start({"--profile", PROFILE, "--print-session", "--no-device"});
    QVERIFY(waitForLine("host: ready"));
    QVERIFY(!m_output.contains("device:"));
    sendSignal(SIGUSR2);
    QVERIFY(waitForLine("answer: SET UP MENU"));
    sendSignal(SIGUSR1);
    QVERIFY(waitForLine("host: detaches the device"));
    m_output.clear();
    sendSignal(SIGUSR2);
    QVERIFY(waitForLine("answer: SET UP MENU"));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);
}

void tst_Dashboard::refusalTellsWhy_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("reason");

    const QString missing = m_folder.filePath("missing");
    const QString text = write("text.so", "no library\n");
    const QString broken = write("broken.yaml", "name: x\nmenu:\n  title: [\n");
    const QStringList profile{"--profile", PROFILE};
    QTest::newRow("unknown option") << QStringList{"--frobnicate"} << 2 << "frobnicate";
    QTest::newRow("useless value") << QStringList{"--response-limit", "soon"} << 2 << "--response-limit";
    QTest::newRow("missing plug-in") << (profile + QStringList{"--plugin", missing}) << 3 << "'" + missing + "'";
    QTest::newRow("text file as plug-in") << (profile + QStringList{"--plugin", text}) << 3 << "'" + text + "'";
    QTest::newRow("library as plug-in") << (profile + QStringList{"--plugin", LIBRARY_WITHOUT_PLUGIN}) << 3
                                        << "cannot be loaded as a plug-in";
    const QString nowhere = missing + "/trace.pcap";
    QTest::newRow("trace in a missing folder") << (profile + QStringList{"--trace", nowhere}) << 6 << nowhere + ":";
    QTest::newRow("folder as trace") << (profile + QStringList{"--trace", m_folder.path()}) << 6
                                     << m_folder.path() + ":";
    QTest::newRow("missing profile") << QStringList{"--profile", missing} << 4 << missing + ":";
    QTest::newRow("broken profile") << QStringList{"--profile", broken} << 4 << broken + ":";
    QTest::newRow("missing profile by --card") << QStringList{"--card", missing} << 4 << missing + ":";
    QTest::newRow("missing reader") << QStringList{"--card", "pcsc:Nobody has this reader"} << 7 << "PC/SC";
}

void tst_Dashboard::refusalTellsWhy()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    start(arguments + QStringList("--print-session"));
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
    QTEST(m_program.exitCode(), "exitCode");
    QVERIFY2(m_errors.startsWith("stk-dashboard: "), qPrintable(m_errors));
    QVERIFY2(m_errors.contains(reason), qPrintable(m_errors));
    QCOMPARE(m_errors.count('\n'), 1);
    QCOMPARE(m_output, QString());
}

void tst_Dashboard::brokenProfileAtTheSecondAttachIsReported()
{
    QFile good(PROFILE);
    QVERIFY(good.open(QIODevice::ReadOnly));
    const QString profile = write("changing.yaml", good.readAll());
    start({"--profile", profile, "--print-session"});
    QVERIFY(waitForLine("answer: SET UP MENU"));
    write("changing.yaml", "menu: [\n");
    sendSignal(SIGUSR1);
    QVERIFY(waitForLine("host: detaches the device")); // signals sent together may arrive on two threads
    sendSignal(SIGUSR2);
    QVERIFY(waitForLine("host: the device cannot be attached: " + profile + ":"));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_program.exitCode(), 0);
}

void tst_Dashboard::refusesWithoutAScreen()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(name);
    m_program.setProcessEnvironment(environment);
    start({"--profile", PROFILE});
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_program.exitCode(), 5);
    QVERIFY2(m_errors.contains("no screen"), qPrintable(m_errors));
}

void tst_Dashboard::helpNeedsNoScreen()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    m_program.setProcessEnvironment(environment);
    start({"--help"});
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);
    QVERIFY2(m_output.contains("--callback-thread"), qPrintable(m_output));
    QCOMPARE(m_errors, QString());
}

void tst_Dashboard::traceIsWritten()
{
    const QString trace = m_folder.filePath("session.pcap");
    start({"--profile", PROFILE, "--print-session", "--trace", trace});
    QVERIFY(waitForLine("answer: SET UP IDLE MODE TEXT"));
    const int expected = 5; // TERMINAL PROFILE, and twice FETCH and TERMINAL RESPONSE
    QTRY_VERIFY(packetsOf(readAll(trace)) >= expected);
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);

    const QByteArray bytes = readAll(trace);
    QCOMPARE(number(bytes, 0), 0xA1B2C3D4U);
    QVERIFY2(packetsOf(bytes) >= expected, "the file is not whole");
    QVERIFY2(bytes.contains("Aurora Mobile"), "the menu is not in it");
}

bool tst_Dashboard::press(const QStringList &keys)
{
    return QProcess::execute("xdotool", QStringList("key") + keys) == 0;
}

QByteArray tst_Dashboard::windowTitle() const
{
    QProcess look;
    look.start("xdotool", {"getactivewindow", "getwindowname"});
    return look.waitForFinished() ? look.readAllStandardOutput().trimmed() : QByteArray();
}

/// Presses the keys when the window with this title has the focus.
bool tst_Dashboard::pressWhen(const QByteArray &title, const QStringList &keys)
{
    return QTest::qWaitFor([&] { return windowTitle() == title; }, 20000) && press(keys);
}

void tst_Dashboard::languageChangesWhileTheWindowIsOpen_data()
{
    QTest::addColumn<QString>("thread");

    QTest::newRow("callbacks on the service's thread") << "service";
    QTest::newRow("callbacks on the user-interface thread") << "ui";
}

/// The menu's window is over the dashboard and stays there; it hears of each language.
void tst_Dashboard::languageChangesWhileTheWindowIsOpen()
{
    QFETCH(QString, thread);
    start({"--profile", PROFILE, "--print-session", "--debug-log", "--callback-thread", thread});
    QVERIFY(waitForLine("answer: SET UP IDLE MODE TEXT"));
    QVERIFY(pressWhen("Dashboard", {"alt+s"}));
    QVERIFY(waitForLine("host: opens the SIM Toolkit window"));
    for (const char *language : {"Deutsch", "Français", "Español", "Русский", "简体中文", "العربية", "English"}) {
        m_errors.clear();
        QVERIFY2(pressWhen("Aurora Mobile", {"F8"}), language);
        QVERIFY2(waitForLine(QString("host: speaks %1\n").arg(language)), language);
        QTRY_VERIFY2(m_errors.contains("End of ../../src/STKPlugin/STKDialog: SetStkUiText"), language);
    }
    QVERIFY(pressWhen("Aurora Mobile", {"F9"}));
    QVERIFY(waitForLine("host: detaches the device"));
    QTRY_COMPARE(windowTitle(), QByteArray("Dashboard"));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_program.exitCode(), 0);
}

void tst_Dashboard::webPageIsOnlyToldWithoutABrowser()
{
    const QString profile =
        write("web.yaml", "name: Web\nat-start:\n  - browser: {url: 'http://www.example.com/a?b=c'}\n");
    start({"--profile", profile, "--print-session", "--no-browser"});
    QVERIFY2(waitForLine("host: web page asked for: http://www.example.com/a?b=c\n"), qPrintable(m_output));
    QVERIFY2(waitForLine("answer: LAUNCH BROWSER: 00"), qPrintable(m_output));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);
}

void tst_Dashboard::choicesAreRemembered()
{
    start({"--profile", PROFILE, "--print-session"});
    QVERIFY(waitForLine("answer: SET UP IDLE MODE TEXT"));
    QVERIFY(pressWhen("Dashboard", {"F8"}));
    QVERIFY(waitForLine("host: speaks Deutsch"));
    QVERIFY(press({"F12"}));
    const QString settings = m_settings + "/stk-dashboard/stk-dashboard.ini";
    QVERIFY(pressWhen("SIM Toolkit inspector", {"alt+i", "alt+e", "Down"})); // the page, the style, the dark one
    QTRY_VERIFY_WITH_TIMEOUT(readAll(settings).contains("dark=true"), 20000);
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());

    start({"--profile", PROFILE, "--print-session"});
    QVERIFY(waitForLine("answer: SET UP IDLE MODE TEXT"));
    QTRY_VERIFY_WITH_TIMEOUT(
        QProcess::execute("xdotool", {"search", "--onlyvisible", "--name", "^SIM Toolkit inspector$"}) == 0, 20000);
    QVERIFY(press({"F8"}));
    QVERIFY(waitForLine("host: speaks Français")); // the one behind German
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);
}

void tst_Dashboard::cardIsAsTheLastTime()
{
    const QString last = write("last.yaml", "name: Last\nmenu: {title: Last menu, items: [{text: One}]}\n");
    QVERIFY(QDir().mkpath(m_settings + "/stk-dashboard"));
    QFile settings(m_settings + "/stk-dashboard/stk-dashboard.ini");
    QVERIFY(settings.open(QIODevice::WriteOnly));
    settings.write("[General]\ncard=" + last.toUtf8() + "\n");
    settings.close();
    start({"--print-session"});
    QVERIFY(waitForLine("host: attaches the virtual card 'Last'"));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());

    start({"--print-session", "--profile", PROFILE}); // what is said counts
    QVERIFY(waitForLine("host: attaches the virtual card 'Demo'"));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());

    QVERIFY(QFile::remove(last));
    start({"--print-session"});
    QVERIFY(waitForLine("host: attaches the virtual card 'Demo'"));
    QVERIFY(m_output.contains("\nhost: does without the card of last.yaml, which was there the last time: " + last));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);
}

void tst_Dashboard::environmentNamesTheCard()
{
    const QString named = write("named.yaml", "name: Named\nmenu: {title: Named menu, items: [{text: One}]}\n");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("STK_CARD", named);
    m_program.setProcessEnvironment(environment);
    start({"--print-session"});
    QVERIFY(waitForLine("card asks: SET UP MENU \"Named menu\""));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_output.count("SET UP MENU \"Named menu\""), 1); // one card only

    start({"--print-session", "--no-device"});
    QVERIFY(waitForLine("host: ready with"));
    sendSignal(SIGUSR2);
    QVERIFY(waitForLine("card asks: SET UP MENU \"Named menu\""));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_output.count("SET UP MENU \"Named menu\""), 1);
}

/// The device-service library would open it by itself as soon as the plug-in is loaded, and say that it cannot.
void tst_Dashboard::cardOfTheEnvironmentIsTheDashboardsAffair()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("STK_CARD", "/nowhere/card.yaml");
    m_program.setProcessEnvironment(environment);
    start({"--print-session", "--no-device"});
    QVERIFY(waitForLine("host: ready with"));
    sendSignal(SIGTERM);
    QVERIFY(waitForEnd());
    QCOMPARE(m_program.exitCode(), 0);
    const QString said = m_output + m_errors;
    QVERIFY2(!said.contains("STK_CARD"), qPrintable(said));
}

QTEST_GUILESS_MAIN(tst_Dashboard)
#include "tst_Dashboard.moc"
