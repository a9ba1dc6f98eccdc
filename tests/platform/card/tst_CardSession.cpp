#include "platform/card/ProfileFile.h"
#include "platform/card/Terminal.h"
#include "platform/cat/Hex.h"

#include <QtTest>

using cat::Result;

class tst_CardSession : public QObject
{
    Q_OBJECT

private slots:
    void carriesStepsOutOneAfterTheOther();
    void usesAnswersInLaterTexts();
    void usesTheChoiceFromAMenu();
    void goesOnBehindAMenu();
    void answersEndWithTheSession();
    void leavesOutWhatDoesNotApply_data();
    void leavesOutWhatDoesNotApply();
    void noEndsTheSession();
    void goesBackToTheLastQuestion();
    void goesBackOutOfAnItemToItsMenu();
    void goesBackPastWhatIsDoneOnce();
    void goingBackAsksAnew();
    void endsOnResults_data();
    void endsOnResults();
    void failureOfTheNetwork_data();
    void failureOfTheNetwork();
    void failureEndsWhatNeedsNoNetwork_data();
    void failureEndsWhatNeedsNoNetwork();
    void helpIsShownAndTheQuestionAskedAgain();
    void helpForItemsOfAMenu();
    void helpForItemsOfTheMainMenu();
    void helpCanEndTheSession();
    void refusesAnswersThatDoNotFit_data();
    void refusesAnswersThatDoNotFit();
    void acceptsAnswersAtTheLimits_data();
    void acceptsAnswersAtTheLimits();
    void missingAnswersStayOpen();
    void beginsWithTheStepsForTheStart();
    void beginsAgainAfterATerminalProfile();
    void startWithoutAMenu();
    void rawCommandsStandInTheMiddle();
    void delayIsThatOfTheChoice();
    void choiceOpensAStepsMenuAgain();

private:
    /// A terminal whose card has these steps behind its item 1, and nothing behind item 2; item 1 has been chosen.
    Terminal chosen(const QByteArray &steps, const QByteArray &top = QByteArray());

    ProfileFile m_file;
};

Terminal tst_CardSession::chosen(const QByteArray &steps, const QByteArray &top)
{
    QByteArray yaml = "name: X\n" + top + "menu:\n  title: Main\n  items:\n    - text: a\n      steps:\n";
    for (const QByteArray &step : steps.split('\n'))
        yaml += "        - " + step + "\n";
    yaml += "    - text: b\n";
    Terminal terminal(m_file.load(yaml));
    terminal.start();
    terminal.select(1);
    return terminal;
}

void tst_CardSession::carriesStepsOutOneAfterTheOther()
{
    Terminal terminal = chosen("display: One\ntone: {tone: 1, text: Two}\nidle-text: Three\nrefresh: init");
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT One"));
    const int number = terminal.command().details.number;
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("PLAY TONE Two"));
    QCOMPARE(int(terminal.command().details.number), number + 1);
    terminal.respond(Result::PerformedPartially);
    QCOMPARE(terminal.shown(), QString("SET UP IDLE MODE TEXT Three"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("REFRESH"));
    terminal.respond(Result::Performed);
    QVERIFY(!terminal.isOpen());
    QCOMPARE(terminal.status(), QByteArray("9000"));
    terminal.select(2);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::usesAnswersInLaterTexts()
{
    Terminal terminal = chosen("input: {prompt: Name, as: name, ucs2: true}\nkey: {prompt: Key, as: key}\n"
                               "yes-no: {prompt: \"{name}?\", as: sure, on-no: next}\n"
                               "display: \"{name} {key} {sure} {{name}\"");
    terminal.respondText(QString::fromUtf8("Юля"), cat::TextCoding::Ucs2);
    QCOMPARE(terminal.shown(), QString("GET INKEY Key"));
    terminal.respondText("k");
    QCOMPARE(terminal.shown(), QString::fromUtf8("GET INKEY Юля?"));
    terminal.respondYesNo(false);
    QCOMPARE(terminal.shown(), QString::fromUtf8("DISPLAY TEXT Юля k no {name}"));
}

void tst_CardSession::usesTheChoiceFromAMenu()
{
    const QByteArray steps = "menu: {title: T, as: choice, items: [{text: One}, {text: Two, value: 2}, "
                             "{text: Three, steps: [display: \"in {choice}\"]}]}\ndisplay: \"{choice}.\"";
    Terminal terminal = chosen(steps);
    terminal.respondItem(1);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT One."));
    terminal.respond(Result::BackwardMove);
    terminal.respondItem(2);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT 2."));
    terminal.respond(Result::BackwardMove);
    terminal.respondItem(3);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT in Three"));
}

void tst_CardSession::goesOnBehindAMenu()
{
    Terminal terminal = chosen("menu: {title: T, items: [{text: a, steps: [display: In a]}, {text: b}, "
                               "{text: c, menu: {title: U, items: [{text: d}]}}]}\ndisplay: Behind");
    terminal.respondItem(1);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT In a"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Behind"));
    terminal.respond(Result::BackwardMove);
    QCOMPARE(terminal.shown(), QString("SELECT ITEM T"));
    terminal.respondItem(2);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Behind"));
    terminal.respond(Result::BackwardMove);
    terminal.respondItem(3);
    QCOMPARE(terminal.shown(), QString("SELECT ITEM U"));
    terminal.respondItem(1);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Behind"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::answersEndWithTheSession()
{
    Terminal terminal = chosen("yes-no: {prompt: P, as: sure}\n{input: {prompt: P, as: x}, when: {sure: yes}}\n"
                               "display: \"[{x}]\"");
    terminal.respondYesNo(true);
    terminal.respondText("secret");
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT [secret]"));
    terminal.respond(Result::SessionTerminatedByUser);
    terminal.select(1);
    terminal.respondYesNo(false);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT []"));
}

void tst_CardSession::leavesOutWhatDoesNotApply_data()
{
    QTest::addColumn<bool>("sure");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("shown");
    QTest::newRow("the first") << true << "5"
                               << "DISPLAY TEXT yes 5";
    QTest::newRow("the second") << false << "5"
                                << "DISPLAY TEXT no";
    QTest::newRow("half of the first") << true << "6"
                                       << "DISPLAY TEXT Behind";
}

void tst_CardSession::leavesOutWhatDoesNotApply()
{
    QFETCH(bool, sure);
    QFETCH(QString, answer);
    Terminal terminal = chosen("yes-no: {prompt: P, as: sure, on-no: next}\ninput: {prompt: P, as: x}\n"
                               "{display: yes 5, when: {sure: yes, x: 5}}\n{when: {sure: no}, display: no}\n"
                               "display: Behind");
    terminal.respondYesNo(sure);
    terminal.respondText(answer);
    QTEST(terminal.shown(), "shown");
}

void tst_CardSession::noEndsTheSession()
{
    const QByteArray steps = "yes-no: {prompt: P, on-no: end}\ndisplay: Behind";
    Terminal terminal = chosen(steps);
    terminal.respondYesNo(false);
    QCOMPARE(terminal.status(), QByteArray("9000"));
    terminal.select(1);
    terminal.respondYesNo(true);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Behind"));
}

void tst_CardSession::goesBackToTheLastQuestion()
{
    Terminal terminal = chosen("input: One\nkey: Two\nyes-no: Three\ndisplay: Four\ndisplay: Five");
    terminal.respondText("a");
    terminal.respondText("a");
    terminal.respondYesNo(true);
    terminal.respond(Result::Performed);
    for (const char *step :
         {"DISPLAY TEXT Five", "DISPLAY TEXT Four", "GET INKEY Three", "GET INKEY Two", "GET INPUT One"}) {
        QCOMPARE(terminal.shown(), QString(step));
        terminal.respond(Result::BackwardMove);
    }
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::goesBackOutOfAnItemToItsMenu()
{
    Terminal terminal = chosen("menu: {title: T, items: [{text: a, steps: [display: One, display: Two]}]}");
    terminal.respondItem(1);
    terminal.respond(Result::Performed);
    terminal.respond(Result::BackwardMove);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT One"));
    terminal.respond(Result::BackwardMove);
    QCOMPARE(terminal.shown(), QString("SELECT ITEM T"));
    terminal.respond(Result::BackwardMove);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::goesBackPastWhatIsDoneOnce()
{
    Terminal terminal =
        chosen("display: One\nsms: {number: 1, message: a}\ntone: 1\nussd: \"*1#\"\nss: \"1\"\ncall: \"1\"\n"
               "browser: \"\"\nidle-text: a\nrefresh: init\ncommand: D009 8103010200 82028182\n"
               "display: Two");
    for (int i = 0; i < 10; ++i)
        terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Two"));
    terminal.respond(Result::BackwardMove);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT One"));
}

void tst_CardSession::goingBackAsksAnew()
{
    Terminal terminal = chosen("yes-no: {prompt: P, as: sure, on-no: next}\n{display: Sure, when: {sure: yes}}\n"
                               "display: \"{sure}\"");
    terminal.respondYesNo(true);
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT yes"));
    terminal.respond(Result::BackwardMove);
    terminal.respond(Result::BackwardMove);
    terminal.respondYesNo(false);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT no"));
    terminal.respond(Result::BackwardMove); // the step that was left out does not count
    QCOMPARE(terminal.shown(), QString("GET INKEY P"));
}

void tst_CardSession::endsOnResults_data()
{
    QTest::addColumn<int>("result");
    for (const int result : {0x10, 0x12, 0x13, 0x14, 0x20, 0x21, 0x30, 0x32, 0x7E})
        QTest::newRow(qPrintable(QString::number(result, 16))) << result;
}

void tst_CardSession::endsOnResults()
{
    QFETCH(int, result);
    for (const char *step : {"display: a", "key: a", "yes-no: a", "input: a", "menu: {items: [{text: a}]}", "tone: 1",
                             "browser: \"\"", "refresh: init", "idle-text: a"}) {
        Terminal terminal = chosen(QByteArray(step) + "\ndisplay: Behind");
        QVERIFY(terminal.isOpen());
        terminal.respond(static_cast<Result>(result));
        QVERIFY2(terminal.status() == "9000", step);
        terminal.select(1);
        QVERIFY2(terminal.isOpen(), step);
    }
}

void tst_CardSession::failureOfTheNetwork_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("shown"); // empty: the session has ended
    for (const char *head :
         {"ussd: {code: \"*1#\"", "ss: {code: \"1\"", "sms: {number: 1, message: a", "call: {number: 1"}) {
        const auto row = [head](int result, const char *end, const char *shown) {
            QTest::newRow(qPrintable(QString("%1%2 %3").arg(head, end).arg(result, 2, 16)))
                << QByteArray(head) + end << result << QString(shown);
        };
        for (const int result : {0x20, 0x21, 0x30, 0x34, 0x35, 0x37, 0x7E}) {
            row(result, "}", "DISPLAY TEXT Behind");
            row(result, ", on-failure: No network}", "DISPLAY TEXT No network");
        }
        for (const int result : {0x10, 0x12, 0x14, 0x22, 0x23}) {
            row(result, "}", "");
            row(result, ", on-failure: No network}", "");
        }
        row(0x00, ", on-failure: No network}", "DISPLAY TEXT Behind");
        row(0x06, ", on-failure: No network}", "DISPLAY TEXT Behind");
    }
}

void tst_CardSession::failureOfTheNetwork()
{
    QFETCH(QByteArray, step);
    QFETCH(int, result);
    QFETCH(QString, shown);
    Terminal terminal = chosen(step + "\ndisplay: Behind");
    terminal.respond(static_cast<Result>(result));
    QCOMPARE(terminal.shown(), shown);
    if (!terminal.isOpen())
        return;
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::failureEndsWhatNeedsNoNetwork_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("a raw text") << QByteArray("D009 8103012100 82028102");
    QTest::newRow("a command without a name") << QByteArray("D009 8103017F00 82028182");
}

void tst_CardSession::failureEndsWhatNeedsNoNetwork()
{
    QFETCH(QByteArray, command);
    Terminal terminal = chosen("command: " + command + "\ndisplay: Behind");
    terminal.respond(Result::TerminalUnable);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::helpIsShownAndTheQuestionAskedAgain()
{
    for (const char *head : {"key: {prompt: Ask", "input: {prompt: Ask", "yes-no: {prompt: Ask"}) {
        Terminal terminal = chosen(QByteArray("input: {prompt: P, as: x}\n") + head + ", help-text: \"Help {x}\"}");
        terminal.respondText("me");
        const QString question = terminal.shown();
        terminal.respond(Result::HelpRequired);
        QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Help me"));
        terminal.respond(Result::Performed);
        QCOMPARE(terminal.shown(), question);
        terminal.respond(Result::HelpRequired);
        terminal.respond(Result::BackwardMove);
        QCOMPARE(terminal.shown(), question);
        terminal.respond(Result::HelpRequired);
        terminal.respond(Result::SessionTerminatedByUser);
        QCOMPARE(terminal.status(), QByteArray("9000"));
    }
}

void tst_CardSession::helpForItemsOfAMenu()
{
    Terminal terminal = chosen("menu: {title: T, help: true, items: [{text: a, help-text: Help a}, {text: b}]}");
    QVERIFY(terminal.command().helpAvailable());
    terminal.respondItem(1, Result::HelpRequired);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Help a"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("SELECT ITEM T"));
    terminal.respondItem(2, Result::HelpRequired);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::helpForItemsOfTheMainMenu()
{
    Terminal terminal(
        m_file.load("name: X\nmenu: {items: [{text: a, help-text: Help a, steps: [tone: 1]}, {text: b}]}\n"));
    terminal.start();
    terminal.select(1, true);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Help a"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.status(), QByteArray("9000"));
    terminal.select(2, true);
    QCOMPARE(terminal.status(), QByteArray("9000"));
    terminal.select(9, true);
    QCOMPARE(terminal.status(), QByteArray("6A80"));
    terminal.select(1);
    QCOMPARE(terminal.shown(), QString("PLAY TONE"));
}

void tst_CardSession::helpCanEndTheSession()
{
    Terminal terminal = chosen("input: {prompt: P, help: true}\ndisplay: Behind");
    terminal.respond(Result::HelpRequired);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::refusesAnswersThatDoNotFit_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::addColumn<QString>("answer");
    QTest::newRow("too short") << QByteArray("input: {prompt: P, min: 2}") << "a";
    QTest::newRow("too long") << QByteArray("input: {prompt: P, max: 2}") << "abc";
    QTest::newRow("letters for digits") << QByteArray("input: {prompt: P, digits: true}") << "1a";
    QTest::newRow("no key") << QByteArray("key: P") << "";
    QTest::newRow("two keys") << QByteArray("key: P") << "ab";
    QTest::newRow("letter for a digit") << QByteArray("key: {prompt: P, digits: true}") << "a";
    QTest::newRow("neither yes nor no") << QByteArray("yes-no: P") << "y";
    QTest::newRow("yes twice") << QByteArray("yes-no: P") << "\x01\x01";
}

void tst_CardSession::refusesAnswersThatDoNotFit()
{
    QFETCH(QByteArray, step);
    QFETCH(QString, answer);
    Terminal terminal = chosen(step + "\ndisplay: Behind");
    const QByteArray open = terminal.bytes();
    terminal.respondText(answer);
    QCOMPARE(terminal.status(), QByteArray("6A80"));
    QCOMPARE(terminal.bytes(), open);
    terminal.respond(Result::SessionTerminatedByUser);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::acceptsAnswersAtTheLimits_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::addColumn<QString>("answer");
    QTest::newRow("nothing") << QByteArray("input: P") << "";
    QTest::newRow("no limit") << QByteArray("input: P") << QString(236, 'a');
    QTest::newRow("shortest") << QByteArray("input: {prompt: P, min: 2}") << "ab";
    QTest::newRow("longest") << QByteArray("input: {prompt: P, max: 2}") << "ab";
    QTest::newRow("all digits") << QByteArray("input: {prompt: P, digits: true}") << "0123456789*#+";
    QTest::newRow("pair that counts once")
        << QByteArray("input: {prompt: P, ucs2: true, max: 1}") << QString::fromUtf8("😀");
    QTest::newRow("pair that counts twice")
        << QByteArray("input: {prompt: P, ucs2: true, min: 2}") << QString::fromUtf8("😀");
    QTest::newRow("key") << QByteArray("key: P") << "a";
    QTest::newRow("digit key") << QByteArray("key: {prompt: P, digits: true}") << "#";
}

void tst_CardSession::acceptsAnswersAtTheLimits()
{
    QFETCH(QByteArray, step);
    QFETCH(QString, answer);
    Terminal terminal = chosen(step + "\ndisplay: Behind");
    terminal.respondText(answer, cat::TextCoding::Ucs2 /* or shorter */);
    if (terminal.status() == "6700") // too long for one response in UCS2
        terminal.respondText(answer);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Behind"));
}

void tst_CardSession::missingAnswersStayOpen()
{
    for (const char *step : {"key: P", "input: P", "yes-no: P", "menu: {items: [{text: a}]}"}) {
        Terminal terminal = chosen(step);
        terminal.respond(Result::Performed);
        QVERIFY2(terminal.status() == "6A80" && terminal.isOpen(), step);
        terminal.respondItem(77); // neither a text nor an item of the menu
        QVERIFY2(terminal.status() == "6A80" && terminal.isOpen(), step);
        terminal.select(1);
        QVERIFY2(terminal.status() == "9300" && terminal.isOpen(), step);
        terminal.respond(Result::BackwardMove);
        QVERIFY2(terminal.status() == "9000", step);
    }
}

void tst_CardSession::beginsWithTheStepsForTheStart()
{
    Terminal terminal(m_file.load("name: X\nat-start: [idle-text: Idle, display: Welcome]\n"
                                  "menu: {title: Main, items: [{text: a}]}\n"));
    terminal.start();
    QCOMPARE(terminal.shown(), QString("SET UP IDLE MODE TEXT Idle"));
    terminal.select(1);
    QCOMPARE(terminal.status(), QByteArray("9300"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Welcome"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.status(), QByteArray("9000"));
    terminal.select(1);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::beginsAgainAfterATerminalProfile()
{
    Terminal terminal =
        chosen("input: {prompt: P, as: x}\nrefresh: init\ndisplay: Behind", "at-start: [idle-text: Idle]\n");
    QCOMPARE(terminal.shown(), QString("SET UP IDLE MODE TEXT Idle")); // the choice came too early
    terminal.respond(Result::Performed);
    terminal.select(1);
    terminal.respondText("a");
    QCOMPARE(terminal.shown(), QString("REFRESH"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Behind"));
    terminal.start();
    QCOMPARE(terminal.shown(), QString("SET UP IDLE MODE TEXT Idle"));
    QCOMPARE(int(terminal.command().details.number), 2);
    terminal.respond(Result::Performed);
    terminal.select(1);
    QCOMPARE(terminal.shown(), QString("GET INPUT P"));
}

void tst_CardSession::startWithoutAMenu()
{
    Terminal terminal(m_file.load("name: X\nat-start: [display: Welcome]\n"));
    terminal.start();
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Welcome"));
    QCOMPARE(int(terminal.command().details.number), 1);
    terminal.respond(Result::TerminalUnable);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_CardSession::rawCommandsStandInTheMiddle()
{
    Terminal terminal = chosen("display: One\ncommand: D00D 8103332400 82028182 8F020161\ndisplay: Two");
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.bytes(), QByteArray("D00D8103332400820281828F020161"));
    terminal.respondItem(9); // what it asks is not known to the card
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT Two"));
    terminal.respond(Result::BackwardMove);
    QCOMPARE(terminal.bytes(), QByteArray("D00D8103332400820281828F020161"));
}

void tst_CardSession::delayIsThatOfTheChoice()
{
    Terminal terminal = chosen("menu: {items: [{text: a, delay: 3s, steps: [display: One, display: Two]}]}");
    QCOMPARE(qint64(terminal.delay().count()), qint64(0));
    terminal.respondItem(1);
    QCOMPARE(qint64(terminal.delay().count()), qint64(3000));
    terminal.respond(Result::Performed);
    QCOMPARE(qint64(terminal.delay().count()), qint64(0));
}

void tst_CardSession::choiceOpensAStepsMenuAgain()
{
    Terminal terminal = chosen("menu: {title: T, items: [{text: a}]}\nmenu: {title: U, items: [{text: b}]}");
    terminal.respondItem(1);
    QCOMPARE(terminal.shown(), QString("SELECT ITEM U"));
    terminal.respond(Result::BackwardMove);
    QCOMPARE(terminal.shown(), QString("SELECT ITEM T"));
    terminal.respondItem(1);
    terminal.respondItem(1);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

QTEST_APPLESS_MAIN(tst_CardSession)
#include "tst_CardSession.moc"
