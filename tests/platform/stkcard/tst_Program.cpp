#include "stkcard/Program.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sstream>

namespace
{

/// What a run of the program came to.
struct Run {
    int exitCode;
    QString out;
    QString err;
};

Run run(const std::vector<std::string> &arguments, const std::string &input = {})
{
    std::istringstream in(input);
    std::ostringstream out, err;
    stkcard::Streams streams{in, out, err};
    const int exitCode = stkcard::run(arguments, streams);
    return {exitCode, QString::fromStdString(out.str()), QString::fromStdString(err.str())};
}

} // namespace

class tst_Program : public QObject
{
    Q_OBJECT

private slots:
    void helpIsOnStandardOutput_data();
    void helpIsOnStandardOutput();
    void mistakesAreUsageErrors_data();
    void mistakesAreUsageErrors();
    void optionsEndAtTwoDashes();
    void goodProfileIsSummedUp();
    void everyProfileIsChecked();
    void fileMayBeNamedLikeAnOption();
    void shippedProfilesAreGood_data();
    void shippedProfilesAreGood();
    void decodesArguments();
    void statusWordBehindACommandIsTold();
    void decodesEachLineOfStandardInput();
    void malformedInputIsTold_data();
    void malformedInputIsTold();
    void encodesAStep_data();
    void encodesAStep();
    void encodesAFile();
    void uselessStepIsTold_data();
    void uselessStepIsTold();
    void encodedStepsCanBeDecoded();
    void cardThatCannotBeServedIsTold_data();
    void cardThatCannotBeServedIsTold();
    void outputThatCannotBeWrittenIsTold();

private:
    std::string write(const QString &name, const QByteArray &content) const;

    QTemporaryDir m_folder;
};

std::string tst_Program::write(const QString &name, const QByteArray &content) const
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write the test file");
    return file.fileName().toStdString();
}

void tst_Program::helpIsOnStandardOutput_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("text");

    QTest::newRow("--help") << QStringList{"--help"} << "serve PROFILE";
    QTest::newRow("-h") << QStringList{"-h"} << "8 malformed bytes";
    QTest::newRow("--version") << QStringList{"--version"} << "stkcard 1.";
    QTest::newRow("serve") << QStringList{"serve", "--help"} << "--port PORT";
    QTest::newRow("check") << QStringList{"check", "--help"} << "Usage: stkcard check PROFILE...";
    QTest::newRow("decode") << QStringList{"decode", "00", "-h"} << "Usage: stkcard decode [HEX...]";
    QTest::newRow("encode") << QStringList{"encode", "--help"} << "'display: Hello'";
}

void tst_Program::helpIsOnStandardOutput()
{
    QFETCH(QStringList, words);
    QFETCH(QString, text);
    std::vector<std::string> arguments;
    for (const QString &word : words)
        arguments.push_back(word.toStdString());
    const Run found = run(arguments);
    QCOMPARE(found.exitCode, int(stkcard::ExitSuccess));
    QVERIFY2(found.out.contains(text), qPrintable(found.out));
    QCOMPARE(found.err, QString());
}

void tst_Program::mistakesAreUsageErrors_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("reason");

    QTest::newRow("nothing") << QStringList{} << "a command is missing";
    QTest::newRow("command") << QStringList{"server"} << "there is no command 'server'";
    QTest::newRow("no profile to serve") << QStringList{"serve"} << "serve needs PROFILE";
    QTest::newRow("two profiles to serve") << QStringList{"serve", "a", "b"} << "unexpected argument 'b'";
    QTest::newRow("nothing to check") << QStringList{"check"} << "check needs PROFILE...";
    QTest::newRow("nothing to encode") << QStringList{"encode"} << "encode needs STEP";
    QTest::newRow("option") << QStringList{"serve", "--quick", "a"} << "unknown option '--quick'";
    QTest::newRow("short option") << QStringList{"serve", "-p", "a"} << "unknown option '-p'";
    QTest::newRow("option of another command") << QStringList{"check", "--print", "a"} << "unknown option '--print'";
    QTest::newRow("value missing") << QStringList{"serve", "a", "--port"} << "--port needs a value: PORT";
    QTest::newRow("value of a flag") << QStringList{"serve", "--print=yes", "a"} << "--print takes no value";
    QTest::newRow("port") << QStringList{"serve", "--port", "0", "a"} << "whole number from 1 to 65535, not '0'";
    QTest::newRow("port, a word") << QStringList{"serve", "--port=x", "a"} << "not 'x'";
    QTest::newRow("port, more behind") << QStringList{"serve", "--port=1x", "a"} << "not '1x'";
    QTest::newRow("latency") << QStringList{"serve", "--latency=-1", "a"} << "from 0 to 60000, not '-1'";
    QTest::newRow("protocol") << QStringList{"serve", "--protocol", "t2", "a"} << "takes t0, t1 or both, not 't2'";
    QTest::newRow("host") << QStringList{"serve", "--host=", "a"} << "--host takes a name or an address";
}

void tst_Program::mistakesAreUsageErrors()
{
    QFETCH(QStringList, words);
    QFETCH(QString, reason);
    std::vector<std::string> arguments;
    for (const QString &word : words)
        arguments.push_back(word.toStdString());
    const Run found = run(arguments);
    QCOMPARE(found.exitCode, int(stkcard::ExitUsage));
    QVERIFY2(found.err.startsWith("stkcard: ") && found.err.contains(reason) && found.err.contains("--help"),
             qPrintable(found.err));
    QCOMPARE(found.out, QString());
}

void tst_Program::optionsEndAtTwoDashes()
{
    const Run found = run({"check", "--", "--help"});
    QCOMPARE(found.exitCode, int(stkcard::ExitProfile));
    QVERIFY2(found.err.startsWith("stkcard: --help: there is no such file"), qPrintable(found.err));
    QCOMPARE(found.out, QString());
}

void tst_Program::goodProfileIsSummedUp()
{
    const std::string file =
        write("good.yaml", "name: Good\noperator: Net\nnetwork: false\n"
                           "at-start:\n  - idle-text: Hello\n"
                           "menu:\n  title: Main\n  items:\n    - text: One\n"
                           "    - text: Two\n      id: 9\n      steps:\n"
                           "        - display: A\n"
                           "        - menu: {title: Sub, items: [{text: Deep, steps: [tone: 1]}]}\n");
    const Run found = run({"check", file});
    QCOMPARE(found.exitCode, int(stkcard::ExitSuccess));
    QCOMPARE(found.err, QString());
    QCOMPARE(found.out, QString::fromStdString(file) + ": good\n"
                                                       "  card \"Good\", operator \"Net\", no network\n"
                                                       "  menu \"Main\", 2 items\n"
                                                       "    1 \"One\"\n"
                                                       "    9 \"Two\": DISPLAY TEXT, SELECT ITEM\n"
                                                       "      menu \"Sub\", 1 item\n"
                                                       "        1 \"Deep\": PLAY TONE\n"
                                                       "  at the start: SET UP IDLE MODE TEXT\n");
    QVERIFY(run({"check", write("bare.yaml", "name: Bare\n")}).out.contains("\n  no menu\n"));
}

void tst_Program::everyProfileIsChecked()
{
    const std::string bad = write("bad.yaml", "name: Bad\nmenue: 1\n");
    const std::string good = write("good.yaml", "name: Good\n");
    const Run found = run({"check", bad, good});
    QCOMPARE(found.exitCode, int(stkcard::ExitProfile));
    QVERIFY2(found.err.startsWith("stkcard: " + QString::fromStdString(bad) + ":2:1: unknown key"),
             qPrintable(found.err));
    QVERIFY(found.out.startsWith(QString::fromStdString(good) + ": good\n"));
}

void tst_Program::fileMayBeNamedLikeAnOption()
{
    const Run found = run({"check", "--", "--print", "--"});
    QCOMPARE(found.exitCode, int(stkcard::ExitProfile));
    QVERIFY2(found.err.startsWith("stkcard: --print: there is no such file\nstkcard: --: there is"),
             qPrintable(found.err));
}

void tst_Program::shippedProfilesAreGood_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("demo") << "demo.yaml";
    QTest::newRow("every command") << "every-command.yaml";
}

void tst_Program::shippedProfilesAreGood()
{
    QFETCH(QString, name);
    const Run found = run({"check", PROFILES_DIR "/" + name.toStdString()});
    QCOMPARE(found.exitCode, int(stkcard::ExitSuccess));
    QVERIFY(found.out.contains("SEND SHORT MESSAGE"));
}

void tst_Program::decodesArguments()
{
    const Run found = run({"decode", "D0", "0C 810301218082028102", "8D0100"});
    QCOMPARE(found.err, QString());
    QCOMPARE(found.exitCode, int(stkcard::ExitSuccess));
    QCOMPARE(found.out, QString("proactive command DISPLAY TEXT\n"
                                "  D0 proactive command, 12 bytes\n"
                                "    81 command details, 3 bytes: DISPLAY TEXT, number 1, qualifier 80: cleared by the "
                                "user\n"
                                "    82 device identities, 2 bytes: card to display\n"
                                "    8D text string, 1 byte: \"\", packed\n"));
    const QString torn = run({"decode", "5", "5"}).err; // between arguments there is a blank
    QCOMPARE(torn, QString("stkcard: argument:1:1: a byte has two digits, and this one has one\n"));
}

void tst_Program::statusWordBehindACommandIsTold()
{
    const Run found = run({"decode", "D009 8103010200 82028182 9000"});
    QCOMPARE(found.exitCode, int(stkcard::ExitSuccess));
    QVERIFY2(found.out.endsWith("\n  status word 9000\n"), qPrintable(found.out));
}

void tst_Program::decodesEachLineOfStandardInput()
{
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"decode"}, {"decode", "-"}}) {
        const Run found = run(arguments, "81 03 01 21 80 82 02 82 81 83 01 00\r\n\n  \nzz\nD30782020181900105");
        QCOMPARE(found.exitCode, int(stkcard::ExitBytes));
        QVERIFY(found.out.contains("terminal response to DISPLAY TEXT\n"));
        QVERIFY(found.out.contains("envelope, menu selection\n"));
        QCOMPARE(found.err, QString("stkcard: standard input:4:1: this is no hexadecimal digit\n"));
    }
    QCOMPARE(run({"decode"}, "").exitCode, int(stkcard::ExitSuccess));
}

void tst_Program::malformedInputIsTold_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<QString>("complaint");

    QTest::newRow("digits") << "D0 0x"
                            << "stkcard: argument:1:5: this is no hexadecimal digit\n";
    QTest::newRow("bytes") << "55"
                           << "stkcard: argument:1: byte 1: 55 begins no command";
    QTest::newRow("nothing") << ""
                             << "stkcard: argument:1: byte 1: there are no bytes\n";
}

void tst_Program::malformedInputIsTold()
{
    QFETCH(QString, hex);
    QFETCH(QString, complaint);
    const Run found = run({"decode", hex.toStdString()});
    QCOMPARE(found.exitCode, int(stkcard::ExitBytes));
    QVERIFY2(found.err.startsWith(complaint), qPrintable(found.err));
    QCOMPARE(found.out, QString());
}

void tst_Program::encodesAStep_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<QString>("hex");

    QTest::newRow("step") << "display: {text: Hey, coding: 8bit}"
                          << "D00F8103012180820281028D0404486579\n";
    QTest::newRow("list") << "[tone: 1, tone: 2]"
                          << "D00C8103012000820281038E0101\nD00C8103022000820281038E0102\n";
    QTest::newRow("bytes") << "command: D0 09 81 03 01 25 00 82 02 81 82"
                           << "D009810301250082028182\n";
    QTest::newRow("menu") << "menu: {items: [{text: A}]}"
                          << "D00D8103012400820281828F020141\n";
}

void tst_Program::encodesAStep()
{
    QFETCH(QString, step);
    QFETCH(QString, hex);
    const Run asArgument = run({"encode", step.toStdString()});
    QCOMPARE(asArgument.err, QString());
    QCOMPARE(asArgument.out, hex);
    QCOMPARE(asArgument.exitCode, int(stkcard::ExitSuccess));
    QCOMPARE(run({"encode", "-"}, step.toStdString()).out, hex);
}

void tst_Program::encodesAFile()
{
    QCOMPARE(run({"encode", write("step.yaml", "tone: 1\n")}).out, QString("D00C8103012000820281038E0101\n"));
    const std::string bad = write("bad.yaml", "- tone: 1\n- tune: 2\n");
    const Run found = run({"encode", bad});
    QCOMPARE(found.exitCode, int(stkcard::ExitProfile));
    QVERIFY2(found.err.startsWith("stkcard: " + QString::fromStdString(bad) + ":2:3: unknown key \"tune\""),
             qPrintable(found.err));
    QCOMPARE(run({"encode", m_folder.path().toStdString()}).exitCode, int(stkcard::ExitInput));
}

void tst_Program::uselessStepIsTold_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<QString>("complaint");

    QTest::newRow("key") << "dislay: Hello"
                         << "argument:1:1: unknown key \"dislay\" in a step; did you mean \"display\"?";
    QTest::newRow("no YAML") << "display: ["
                             << "this is not YAML";
    QTest::newRow("no file") << "step.txt"
                             << "nor is there a file of that name";
    QTest::newRow("nothing") << ""
                             << "argument:1:1: there is nothing here; expected a step";
    QTest::newRow("empty list") << "[]"
                                << "argument:1:1: a list of at least one step expected";
    QTest::newRow("two documents") << "tone: 1\n---\ntone: 2"
                                   << "argument:2:1: a second document begins here";
    QTest::newRow("too long") << "display: {coding: ucs2, text: " + QString(200, 'x') + "}"
                              << "FETCH brings at most 256";
    QTest::newRow("answer of nobody") << "display: \"{amount}\""
                                      << "no step before this one has an answer named";
}

void tst_Program::uselessStepIsTold()
{
    QFETCH(QString, step);
    QFETCH(QString, complaint);
    const Run found = run({"encode", step.toStdString()});
    QCOMPARE(found.exitCode, int(stkcard::ExitProfile));
    QVERIFY2(found.err.contains(complaint), qPrintable(found.err));
    QCOMPARE(found.out, QString());
}

void tst_Program::encodedStepsCanBeDecoded()
{
    const Run encoded =
        run({"encode", "[display: A, yes-no: {prompt: B, as: b}, input: C, ussd: '*100#', refresh: {mode: "
                       "reset}, browser: 'http://a.example', idle-text: D]"});
    QCOMPARE(encoded.exitCode, int(stkcard::ExitSuccess));
    const Run decoded = run({"decode"}, encoded.out.toStdString());
    QCOMPARE(decoded.err, QString());
    QCOMPARE(decoded.exitCode, int(stkcard::ExitSuccess));
    QCOMPARE(decoded.out.count("\n  D0 proactive command"), 7);
}

void tst_Program::cardThatCannotBeServedIsTold_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("complaint");

    const QString good = PROFILES_DIR "/demo.yaml";
    QTest::newRow("no profile") << QStringList{"serve", "/nowhere.yaml"} << 4 << "/nowhere.yaml: there is no such file";
    // longer than any name may be: nobody is asked for it
    QTest::newRow("host") << QStringList{"serve", good, "--host", QString(300, 'a')} << 7 << "cannot be found";
}

void tst_Program::cardThatCannotBeServedIsTold()
{
    QFETCH(QStringList, words);
    QFETCH(int, exitCode);
    QFETCH(QString, complaint);
    std::vector<std::string> arguments;
    for (const QString &word : words)
        arguments.push_back(word.toStdString());
    const Run found = run(arguments);
    QCOMPARE(found.exitCode, exitCode);
    QVERIFY2(found.err.contains(complaint), qPrintable(found.err));
    QCOMPARE(found.out, QString());
}

void tst_Program::outputThatCannotBeWrittenIsTold()
{
    std::istringstream in;
    std::ostringstream out, err;
    out.setstate(std::ios::badbit);
    stkcard::Streams streams{in, out, err};
    QCOMPARE(stkcard::run({"--version"}, streams), int(stkcard::ExitInput));
    QVERIFY2(QString::fromStdString(err.str()).contains("cannot be written"), err.str().c_str());
}

QTEST_GUILESS_MAIN(tst_Program)
#include "tst_Program.moc"
