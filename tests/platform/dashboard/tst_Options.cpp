#include "dashboard/Options.h"

#include <QTest>

using namespace dashboard;

namespace
{

CommandLine parse(const QStringList &arguments)
{
    return parseCommandLine(QStringList("stk-dashboard") + arguments, {"en", "de"});
}

} // namespace

class tst_Options : public QObject
{
    Q_OBJECT

private slots:
    void nothingGivenMeansTheDefaults();
    void valuesAreTaken();
    void limits_data();
    void limits();
    void helpAndVersionEndWithSuccess_data();
    void helpAndVersionEndWithSuccess();
    void mistakesAreUsageErrors_data();
    void mistakesAreUsageErrors();
};

void tst_Options::nothingGivenMeansTheDefaults()
{
    const CommandLine line = parse({});
    QVERIFY(line.run);
    QVERIFY(line.message.isEmpty());
    QVERIFY(line.options.pluginFile.endsWith("/lib/plugins/STKPlugin/libSTKPlugin.so"));
    QVERIFY(line.options.profileFile.endsWith("/share/stk-dashboard/profiles/demo.yaml"));
    QVERIFY(!line.options.pluginFile.contains(".."));
    QCOMPARE(line.options.responseLimit.count(), 60000LL);
    QCOMPARE(line.options.language, QString("en"));
    QVERIFY(line.options.callbackOnUiThread);
    QVERIFY(!line.options.printSession);
    QVERIFY(!line.options.debugLog);
    QVERIFY(line.options.attachAtStart);
}

void tst_Options::valuesAreTaken()
{
    const CommandLine line = parse({"--plugin", "p.so", "--profile=c.yaml", "--callback-thread", "service",
                                    "--language", "de", "--print-session", "--debug-log", "--no-device"});
    QVERIFY2(line.run, qPrintable(line.message));
    QCOMPARE(line.options.pluginFile, QString("p.so"));
    QCOMPARE(line.options.profileFile, QString("c.yaml"));
    QCOMPARE(line.options.language, QString("de"));
    QVERIFY(!line.options.callbackOnUiThread);
    QVERIFY(line.options.printSession);
    QVERIFY(line.options.debugLog);
    QVERIFY(!line.options.attachAtStart);
}

void tst_Options::limits_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qlonglong>("milliseconds");

    QTest::newRow("seconds") << "5" << 5000LL;
    QTest::newRow("parts of a second") << "0.25" << 250LL;
    QTest::newRow("shortest") << "0.001" << 1LL;
    QTest::newRow("longest") << "86400" << 86400000LL;
    QTest::newRow("nothing") << "0" << -1LL;
    QTest::newRow("negative") << "-1" << -1LL;
    QTest::newRow("too long") << "86401" << -1LL;
    QTest::newRow("word") << "soon" << -1LL;
    QTest::newRow("empty") << "" << -1LL;
    QTest::newRow("not a number") << "nan" << -1LL;
    QTest::newRow("infinite") << "inf" << -1LL;
}

void tst_Options::limits()
{
    QFETCH(QString, text);
    QFETCH(qlonglong, milliseconds);
    const CommandLine line = parse({"--response-limit=" + text});
    QCOMPARE(line.run, milliseconds > 0);
    if (line.run)
        QCOMPARE(qlonglong(line.options.responseLimit.count()), milliseconds);
    else
        QVERIFY2(line.message.contains("not '" + text + "'"), qPrintable(line.message));
}

void tst_Options::helpAndVersionEndWithSuccess_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("text");

    QTest::newRow("--help") << "--help"
                            << "--callback-thread <ui|service>";
    QTest::newRow("-h") << "-h"
                        << "SIGUSR1";
    QTest::newRow("exit codes") << "--help"
                                << "Exit codes";
    QTest::newRow("--version") << "--version"
                               << "stk-dashboard " STK_VERSION;
}

void tst_Options::helpAndVersionEndWithSuccess()
{
    QFETCH(QString, option);
    QFETCH(QString, text);
    const CommandLine line = parse({option});
    QVERIFY(!line.run);
    QCOMPARE(line.exitCode, int(ExitSuccess));
    QVERIFY2(line.message.contains(text), qPrintable(line.message));
}

void tst_Options::mistakesAreUsageErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");

    QTest::newRow("unknown option") << QStringList{"--card"} << "card";
    QTest::newRow("missing value") << QStringList{"--plugin"} << "plugin";
    QTest::newRow("argument") << QStringList{"demo.yaml"} << "unexpected argument 'demo.yaml'";
    QTest::newRow("thread") << QStringList{"--callback-thread", "both"} << "not 'both'";
    QTest::newRow("language") << QStringList{"--language", "xx"} << "one of en, de, not 'xx'";
}

void tst_Options::mistakesAreUsageErrors()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    const CommandLine line = parse(arguments);
    QVERIFY(!line.run);
    QCOMPARE(line.exitCode, int(ExitUsage));
    QVERIFY2(line.message.contains(reason), qPrintable(line.message));
    QVERIFY(line.message.endsWith("; --help lists the options\n"));
    QCOMPARE(line.message.count('\n'), 1);
}

QTEST_GUILESS_MAIN(tst_Options)
#include "tst_Options.moc"
