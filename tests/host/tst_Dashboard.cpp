#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <csignal>
#include <memory>
#include <sys/types.h>

class tst_Dashboard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
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

private:
    QString write(const QString &name, const QByteArray &content) const;
    void start(const QStringList &arguments);
    bool waitForLine(const QString &start);
    void sendSignal(int number) const;
    bool waitForEnd();

    QTemporaryDir m_folder;
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

void tst_Dashboard::start(const QStringList &arguments)
{
    m_output.clear();
    m_errors.clear();
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
    QVERIFY(m_output.endsWith("host: ends\n"));
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
    QTest::newRow("missing profile") << QStringList{"--profile", missing} << 4 << missing + ":";
    QTest::newRow("broken profile") << QStringList{"--profile", broken} << 4 << broken + ":";
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

QTEST_GUILESS_MAIN(tst_Dashboard)
#include "tst_Dashboard.moc"
