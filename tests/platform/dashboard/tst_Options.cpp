#include "dashboard/Options.h"

#include "sdk/MDSVStk.h"

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
    void cardIsThatNamed_data();
    void cardIsThatNamed();
    void limits_data();
    void limits();
    void limitsOfSingleCommandsComeBehindThatOfAll();
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
    QVERIFY(line.options.card.endsWith("/share/stk-dashboard/profiles/demo.yaml"));
    QVERIFY(!line.options.pluginFile.contains(".."));
    QVERIFY(line.options.traceFile.isEmpty());
    QVERIFY(line.options.responseLimits.empty());
    QVERIFY(!line.options.unattendedLimit);
    QVERIFY(line.options.openBrowser);
    QCOMPARE(line.options.language, QString()); // as the last time
    QVERIFY(!line.options.isDark);
    QVERIFY(line.options.callbackOnUiThread);
    QVERIFY(!line.options.printSession);
    QVERIFY(!line.options.debugLog);
    QVERIFY(line.options.attachAtStart);
    QVERIFY(!line.options.openInspector);
}

void tst_Options::valuesAreTaken()
{
    const CommandLine line = parse({"--plugin", "p.so", "--profile=c.yaml", "--callback-thread", "service",
                                    "--language", "de", "--print-session", "--debug-log", "--no-device", "--trace",
                                    "t.pcap", "--no-browser", "--inspector", "--style", "dark"});
    QVERIFY2(line.run, qPrintable(line.message));
    QCOMPARE(line.options.pluginFile, QString("p.so"));
    QCOMPARE(line.options.card, QString("c.yaml"));
    QCOMPARE(line.options.language, QString("de"));
    QVERIFY(line.options.isDark == true);
    QVERIFY(!line.options.callbackOnUiThread);
    QVERIFY(line.options.printSession);
    QVERIFY(line.options.debugLog);
    QVERIFY(!line.options.attachAtStart);
    QVERIFY(line.options.openInspector);
    QCOMPARE(line.options.traceFile, QString("t.pcap"));
    QVERIFY(!line.options.openBrowser);
}

void tst_Options::cardIsThatNamed_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("environment");
    QTest::addColumn<QString>("card"); // the end of it
    QTest::addColumn<bool>("isGiven");

    QTest::newRow("nothing") << QStringList() << QByteArray() << "/profiles/demo.yaml" << false;
    QTest::newRow("profile") << QStringList{"--profile", "c.yaml"} << QByteArray() << "c.yaml" << true;
    QTest::newRow("profile by --card") << QStringList{"--card", "c.yaml"} << QByteArray() << "c.yaml" << true;
    QTest::newRow("reader") << QStringList{"--card", "pcsc:My reader"} << QByteArray() << "pcsc:My reader" << true;
    QTest::newRow("modem") << QStringList{"--card=modem:localhost:1"} << QByteArray() << "modem:localhost:1" << true;
    QTest::newRow("profile that is called like a reader")
        << QStringList{"--profile", "pcsc"} << QByteArray() << "./pcsc" << true;
    QTest::newRow("environment") << QStringList() << QByteArray("pcsc") << "pcsc" << true;
    QTest::newRow("--card goes first") << QStringList{"--card", "c.yaml"} << QByteArray("pcsc") << "c.yaml" << true;
    QTest::newRow("--profile goes first")
        << QStringList{"--profile", "c.yaml"} << QByteArray("pcsc") << "c.yaml" << true;
}

void tst_Options::cardIsThatNamed()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, environment);
    QFETCH(QString, card);
    QFETCH(bool, isGiven);
    qputenv("STK_CARD", environment);
    const CommandLine line = parse(arguments);
    qunsetenv("STK_CARD");
    QVERIFY2(line.run, qPrintable(line.message));
    QVERIFY2(line.options.card.endsWith(card), qPrintable(line.options.card));
    QCOMPARE(line.options.isCardGiven, isGiven);
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
    for (const QString option : {"response-limit", "unattended-limit"}) {
        const CommandLine line = parse({"--" + option + "=" + text});
        QCOMPARE(line.run, milliseconds > 0);
        if (!line.run)
            QVERIFY2(line.message.contains("--" + option) && line.message.contains("not '" + text + "'"),
                     qPrintable(line.message));
        else if (option == "unattended-limit")
            QCOMPARE(qlonglong(line.options.unattendedLimit->count()), milliseconds);
        else
            QCOMPARE(qlonglong(line.options.responseLimits.at(0).limit.count()), milliseconds);
    }
}

void tst_Options::limitsOfSingleCommandsComeBehindThatOfAll()
{
    const CommandLine line = parse({"--response-limit", "get-input=0.5", "--response-limit", "3", "--response-limit",
                                    "select-item=4", "--response-limit", "get-input=2"});
    QVERIFY2(line.run, qPrintable(line.message));
    const auto &limits = line.options.responseLimits;
    QCOMPARE(limits.size(), std::size_t(4));
    QVERIFY(!limits[0].stkType);
    QCOMPARE(limits[0].limit.count(), 3000LL);
    QCOMPARE(limits[1].stkType.value(), int(MDSV_STKTYPE_GET_INPUT));
    QCOMPARE(limits[1].limit.count(), 500LL);
    QCOMPARE(limits[2].stkType.value(), int(MDSV_STKTYPE_SELECT_ITEM));
    QCOMPARE(limits[3].stkType.value(), int(MDSV_STKTYPE_GET_INPUT)); // the later one is set later
    QCOMPARE(limits[3].limit.count(), 2000LL);
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
                                << "6 trace file, 7 reader or modem";
    QTest::newRow("keys of the host") << "--help"
                                      << "F8 goes on to the";
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

    QTest::newRow("unknown option") << QStringList{"--frobnicate"} << "frobnicate";
    QTest::newRow("two cards") << QStringList{"--card", "pcsc", "--profile", "c.yaml"} << "--card and --profile";
    QTest::newRow("no card") << QStringList{"--card", ""} << "--card takes pcsc, pcsc:NAME";
    QTest::newRow("missing value") << QStringList{"--plugin"} << "plugin";
    QTest::newRow("argument") << QStringList{"demo.yaml"} << "unexpected argument 'demo.yaml'";
    QTest::newRow("limit of an unknown command") << QStringList{"--response-limit", "get-lost=5"} << "'get-lost'";
    QTest::newRow("limit of a nameless command") << QStringList{"--response-limit", "=5"} << "no command ''";
    QTest::newRow("no limit for a command") << QStringList{"--response-limit", "get-input="} << "not 'get-input='";
    QTest::newRow("trace into nowhere") << QStringList{"--trace", ""} << "--trace takes the name of a file";
    QTest::newRow("thread") << QStringList{"--callback-thread", "both"} << "not 'both'";
    QTest::newRow("style") << QStringList{"--style", "blue"} << "'light' or 'dark', not 'blue'";
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
