#include "card/StepCommand.h"
#include "platform/card/ProfileFile.h"
#include "platform/cat/Hex.h"

#include <QtTest>

namespace
{

/// A profile whose one item has these steps, the first of them in line 6, column 11.
QByteArray withSteps(const QByteArray &steps)
{
    QByteArray yaml = "name: X\nmenu:\n  items:\n    - text: a\n      steps:\n";
    for (const QByteArray &step : steps.split('\n'))
        yaml += "        - " + step + "\n";
    return yaml;
}

} // namespace

class tst_ProfileSteps : public QObject
{
    Q_OBJECT

private slots:
    void raises_data();
    void raises();
    void readsWhatIsNotInTheCommand();
    void readsConditions();
    void answersAreKnownWhereTheyAreGiven_data();
    void answersAreKnownWhereTheyAreGiven();
    void limitsAreAllowed_data();
    void limitsAreAllowed();
    void refuses_data();
    void refuses();
    void refusesNumbersAndTimes_data();
    void refusesNumbersAndTimes();
    void readsNetworkAndStart();
    void refusesAtTheTop_data();
    void refusesAtTheTop();
    void stepsCannotGrowWithoutEnd();

private:
    card::Step step(const QByteArray &yaml) const;

    ProfileFile m_file;
};

card::Step tst_ProfileSteps::step(const QByteArray &yaml) const
{
    return m_file.load(withSteps(yaml)).mainMenu.entries.at(0).steps.at(0);
}

void tst_ProfileSteps::raises_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::addColumn<QByteArray>("bytes"); // of the command, without the head of the BER-TLV object
    const auto row = [](const char *name, const QByteArray &step, const QByteArray &bytes) {
        QTest::newRow(name) << step << QByteArray(bytes).replace(" ", "");
    };
    row("text alone", "display: Hi", "8103012180 82028102 8D0300C834");
    row("text as a key", "display: {text: Hi}", "8103012180 82028102 8D0300C834");
    row("8 bit", "display: {text: Hi, coding: 8bit}", "8103012180 82028102 8D03044869");
    row("packed", "display: {text: Hi, coding: packed}", "8103012180 82028102 8D0300C834");
    row("UCS2", "display: {text: Hi, coding: ucs2}", "8103012180 82028102 8D050800480069");
    row("UCS2 because of a letter", "display: Я", "8103012180 82028102 8D0308042F");
    row("brace", "display: \"{{}\"", "8103012180 82028102 8D0500 1BD42605");
    row("empty text", "display: \"\"", "8103012180 82028102 8D00");
    row("cleared by the terminal", "display: {text: Hi, clear: auto}", "8103012100 82028102 8D0300C834");
    row("cleared by the user", "display: {text: Hi, clear: user}", "8103012180 82028102 8D0300C834");
    row("high priority", "display: {text: Hi, high-priority: true}", "8103012181 82028102 8D0300C834");
    row("priority not high", "display: {text: Hi, high-priority: false}", "8103012180 82028102 8D0300C834");
    row("immediate response", "display: {text: Hi, immediate-response: true}", "8103012180 82028102 8D0300C834 AB00");
    row("seconds", "display: {text: Hi, duration: 5s}", "8103012180 82028102 8D0300C834 84020105");
    row("tenths", "display: {text: Hi, duration: 300ms}", "8103012180 82028102 8D0300C834 84020203");
    row("minutes", "display: {text: Hi, duration: 2min}", "8103012180 82028102 8D0300C834 84020002");
    row("key", "key: Hi", "8103012201 82028182 8D0300C834");
    row("digit key", "key: {prompt: Hi, digits: true}", "8103012200 82028182 8D0300C834");
    row("UCS2 key", "key: {prompt: Hi, ucs2: true}", "8103012203 82028182 8D0300C834");
    row("key with help", "key: {prompt: Hi, help: true}", "8103012281 82028182 8D0300C834");
    row("key in time", "key: {prompt: Hi, duration: 10s}", "8103012201 82028182 8D0300C834 8402010A");
    row("yes or no", "yes-no: Hi", "8103012204 82028182 8D0300C834");
    row("yes or no with help", "yes-no: {prompt: Hi, help: true, duration: 1s}",
        "8103012284 82028182 8D0300C834 84020101");
    row("input", "input: Hi", "8103012301 82028182 8D0300C834 910200FF");
    row("input of some length", "input: {prompt: Hi, min: 1, max: 20}", "8103012301 82028182 8D0300C834 91020114");
    row("input of some length the other way round", "input: {max: 20, min: 1, prompt: Hi}",
        "8103012301 82028182 8D0300C834 91020114");
    row("hidden digits", "input: {prompt: Hi, digits: true, hidden: true, min: 4, max: 4}",
        "8103012304 82028182 8D0300C834 91020404");
    row("UCS2 input", "input: {prompt: Hi, ucs2: true}", "8103012303 82028182 8D0300C834 910200FF");
    row("packed input", "input: {prompt: Hi, packed: true, help: true}", "8103012389 82028182 8D0300C834 910200FF");
    row("default text", "input: {prompt: Hi, default-text: Hi}", "8103012301 82028182 8D0300C834 910200FF 170300C834");
    row("menu", "menu: {title: T, default: 2, items: [{text: a}, {text: b}]}",
        "8103012400 82028182 850154 8F020161 8F020262 900102");
    row("tone alone", "tone: 3", "8103012000 82028103 8E0103");
    row("tone", "tone: {tone: 17, duration: 2s, text: Hi}", "8103012000 82028103 85024869 8E0111 84020102");
    row("no tone", "tone: {}", "8103012000 82028103");
    row("call alone", "call: \"+4912\"", "8103011000 82028183 8603919421");
    row("call", "call: {number: 123p, confirm: Hi, text: Ho}", "8103011000 82028183 85024869 86038121C3 8502486F");
    row("call with the others on hold", "call: {number: \"12\", others: hold}", "8103011002 82028183 86028121");
    row("call instead of the others", "call: {number: \"12\", others: disconnect, redial: true, duration: 9s}",
        "8103011005 82028183 86028121 84020109");
    row("call and refuse", "call: {number: \"12\", others: refuse}", "8103011000 82028183 86028121");
    row("short message", "sms: {number: \"+4912\", message: Hi, text: Ho}",
        "8103011300 82028183 8502486F 8B0B 0100 04919421 0000 02C834");
    row("short message in UCS2", "sms: {number: \"123\", message: Я}",
        "8103011300 82028183 8B0B 0100 038121F3 0008 02042F");
    row("TPDU", "sms: {tpdu: 0100 0291 21, centre: \"+12\"}", "8103011300 82028183 86029121 8B050100029121");
    row("SS", "ss: {code: \"*21#\", text: Hi}", "8103011100 82028183 85024869 8903912AB1");
    row("USSD", "ussd: {code: \"*1#\", text: Hi}", "8103011200 82028183 85024869 8A04F0AAD808");
    row("USSD of 8 bits", "ussd: {code: \"*1#\", coding: 8bit}", "8103011200 82028183 8A04442A3123");
    row("browser", "browser: {url: \"http://x\", text: Hi}", "8103011500 82028182 3108687474703A2F2F78 05024869");
    row("browser in the same", "browser: {url: \"\", mode: same}", "8103011502 82028182 3100");
    row("browser again", "browser: {url: \"\", mode: restart}", "8103011503 82028182 3100");
    row("browser if closed", "browser: {url: \"\", mode: if-closed}", "8103011500 82028182 3100");
    row("refresh 0", "refresh: init-full-file-change", "8103010100 82028182");
    row("refresh 1", "refresh: {mode: file-change, files: [3F002FE2, 3F007F206F07]}",
        "8103010101 82028182 920B02 3F002FE2 3F007F206F07");
    row("refresh 2", "refresh: {mode: init-file-change, files: [3F002FE2]}", "8103010102 82028182 9205013F002FE2");
    row("refresh 3", "refresh: {mode: init, text: Hi}", "8103010103 82028182 85024869");
    row("refresh 4", "refresh: reset", "8103010104 82028182");
    row("refresh 5", "refresh: application-reset", "8103010105 82028182");
    row("refresh 6", "refresh: session-reset", "8103010106 82028182");
    row("idle text", "idle-text: Hi", "8103012800 82028182 8D0300C834");
    row("idle text taken away", "idle-text: {text: \"\"}", "8103012800 82028182 8D00");
}

void tst_ProfileSteps::raises()
{
    QFETCH(QByteArray, step);
    const cat::Command command = card::raised(this->step(step), {}, 1);
    const QByteArray bytes = hexOf(cat::encodeCommand(command));
    QTEST(bytes.mid(4), "bytes");
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(bytes));
    QVERIFY2(decoded.result == cat::Result::Performed, decoded.reason.c_str());
}

void tst_ProfileSteps::readsWhatIsNotInTheCommand()
{
    const card::Step key = step("key: {prompt: Hi, as: letter, help-text: Press it}");
    QCOMPARE(QString::fromStdString(key.as), QString("letter"));
    QCOMPARE(textOf(key.helpText), QString("Press it"));
    QVERIFY(!key.endOnNo && key.when.empty() && key.raw.empty() && !key.menu && !key.message);
    QVERIFY(step("yes-no: {prompt: Hi, on-no: end}").endOnNo);
    QVERIFY(!step("yes-no: {prompt: Hi, on-no: next}").endOnNo);
    QVERIFY(!step("yes-no: Hi").endOnNo);
    QCOMPARE(textOf(step("ussd: {code: \"*1#\", on-failure: Oh}").onFailure), QString("Oh"));
    QCOMPARE(textOf(step("ss: {code: \"*1#\", on-failure: Oh}").onFailure), QString("Oh"));
    QCOMPARE(textOf(step("sms: {number: \"1\", message: a, on-failure: Oh}").onFailure), QString("Oh"));
    QCOMPARE(textOf(step("call: {number: \"1\", on-failure: Oh}").onFailure), QString("Oh"));
    QCOMPARE(hexOf(step("command: d009 8103012300 82028182").raw), QByteArray("D009810301230082028182"));
    const card::Step menu = step("menu: {as: colour, items: [{text: Red, value: r, help-text: Like fire}, {text: b}]}");
    QCOMPARE(QString::fromStdString(menu.as), QString("colour"));
    QCOMPARE(textOf(menu.menu->entries.at(0).value.value_or(u"none")), QString("r"));
    QCOMPARE(textOf(menu.menu->entries.at(0).helpText), QString("Like fire"));
    QVERIFY(!menu.menu->entries.at(1).value);
}

void tst_ProfileSteps::readsConditions()
{
    const card::Profile profile = m_file.load(withSteps("yes-no: {prompt: Hi, as: sure}\n"
                                                        "input: {prompt: Hi, as: amount}\n"
                                                        "{display: Hi, when: {sure: yes, amount: 5}}"));
    const std::vector<card::Condition> &when = profile.mainMenu.entries.at(0).steps.at(2).when;
    QCOMPARE(when.size(), std::size_t(2));
    QCOMPARE(QString::fromStdString(when[0].name) + '=' + textOf(when[0].value), QString("sure=yes"));
    QCOMPARE(QString::fromStdString(when[1].name) + '=' + textOf(when[1].value), QString("amount=5"));
}

void tst_ProfileSteps::answersAreKnownWhereTheyAreGiven_data()
{
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<bool>("known");
    const auto row = [](const char *name, const QByteArray &steps, bool known) {
        QTest::newRow(name) << steps << known;
    };
    row("in the next step", "input: {prompt: a, as: x}\ndisplay: \"{x}\"", true);
    row("in the step itself", "input: {prompt: \"{x}\", as: x}", false);
    row("before it is given", "display: \"{x}\"\ninput: {prompt: a, as: x}", false);
    row("another name", "input: {prompt: a, as: x}\ndisplay: \"{X}\"", false);
    row("in a menu behind", "input: {prompt: a, as: x}\nmenu: {title: \"{x}\", items: [{text: \"{x}\"}]}", true);
    row("in the items of a menu behind",
        "input: {prompt: a, as: x}\nmenu: {items: [{text: a, steps: [display: \"{x}\"]}]}", true);
    row("deeper",
        "input: {prompt: a, as: x}\nmenu: {items: [{text: a, menu: {items: [{text: b, steps: [display: \"{x}\"]}]}}]}",
        true);
    row("behind the menu that gave it in one item",
        "menu: {items: [{text: a, steps: [input: {prompt: a, as: x}]}]}\ndisplay: \"{x}\"", false);
    row("behind the menu whose choice it is", "menu: {as: x, items: [{text: a}]}\ndisplay: \"{x}\"", true);
    row("in the items of the menu whose choice it is", "menu: {items: [{text: a, steps: [display: \"{x}\"]}], as: x}",
        true);
    row("in the title of the menu whose choice it is", "menu: {title: \"{x}\", items: [{text: a}], as: x}", false);
    row("in the texts of the menu whose choice it is", "menu: {as: x, items: [{text: \"{x}\"}]}", false);
    row("in an item of another menu",
        "menu: {items: [{text: a, menu: {as: x, items: [{text: b}]}}, {text: c, steps: [display: \"{x}\"]}]}", false);
    row("in a condition", "input: {prompt: a, as: x}\n{display: a, when: {x: 1}}", true);
    row("in a condition too early", "{input: {prompt: a, as: x}, when: {x: 1}}", false);
    for (const char *use :
         {"key: \"{x}\"", "yes-no: \"{x}\"", "input: \"{x}\"", "input: {prompt: a, default-text: \"{x}\"}",
          "tone: {text: \"{x}\"}", "call: {number: 1, confirm: \"{x}\"}", "call: {number: 1, text: \"{x}\"}",
          "sms: {number: 1, message: \"{x}\"}", "sms: {number: 1, message: a, text: \"{x}\"}",
          "ss: {code: 1, text: \"{x}\"}", "ss: {code: 1, on-failure: \"{x}\"}", "ussd: \"*1*{x}#\"",
          "ussd: {code: 1, text: \"{x}\"}", "browser: {url: a, text: \"{x}\"}", "refresh: {mode: init, text: \"{x}\"}",
          "idle-text: \"{x}\"", "key: {prompt: a, help-text: \"{x}\"}"}) {
        row(qPrintable(QString("with x: ") + use), QByteArray("input: {prompt: a, as: x}\n") + use, true);
        row(qPrintable(QString("without x: ") + use), use, false);
    }
}

void tst_ProfileSteps::answersAreKnownWhereTheyAreGiven()
{
    QFETCH(QByteArray, steps);
    QFETCH(bool, known);
    const QString complaint = m_file.complaint(withSteps(steps));
    if (known)
        QCOMPARE(complaint, QString("accepted"));
    else
        QVERIFY2(complaint.contains("no step before this one has an answer named"), qPrintable(complaint));
}

void tst_ProfileSteps::limitsAreAllowed_data()
{
    QTest::addColumn<QByteArray>("step");
    const auto row = [](const char *name, const QByteArray &step) { QTest::newRow(name) << step; };
    row("longest text of 8 bits", "display: {coding: 8bit, text: " + QByteArray(240, 'a') + "}");
    row("longest packed text", "display: " + QByteArray(274, 'a'));
    row("longest duration", "tone: {duration: 255min}");
    row("longest duration in tenths", "tone: {duration: 25500ms}");
    row("shortest duration", "tone: {duration: 100ms}");
    row("tone 0", "tone: 0");
    row("tone 255", "tone: 255");
    row("no input at all", "input: {prompt: a, min: 0, max: 0}");
    row("largest input", "input: {prompt: a, min: 255, max: 255}");
    row("default text as long as max", "input: {prompt: a, max: 3, default-text: abc}");
    row("default text in digits", "input: {prompt: a, digits: true, default-text: \"0*#+9\"}");
    row("longest number", "call: \"+" + QByteArray(40, '7') + "\"");
    row("longest number of a message", "sms: {number: \"" + QByteArray(20, '7') + "\", message: a}");
    row("longest message", "sms: {number: \"1\", message: " + QByteArray(160, 'a') + "}");
    row("longest message in UCS2", "sms: {number: \"1\", message: " + QByteArray("Я").repeated(70) + "}");
    row("longest name of an answer", "input: {prompt: a, as: A-long_name2}");
}

void tst_ProfileSteps::limitsAreAllowed()
{
    QFETCH(QByteArray, step);
    QCOMPARE(m_file.complaint(withSteps(step)), QString("accepted"));
}

void tst_ProfileSteps::refuses_data()
{
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QString>("complaint"); // how it begins
    const auto row = [](const char *name, const QByteArray &steps, const char *complaint) {
        QTest::newRow(name) << steps << QString::fromUtf8(complaint);
    };
    row("step that is a word", "display", "6:11: a step must be a map of keys and values, not a single value");
    row("step without an action", "{}", "6:11: a step needs an action");
    row("step with a condition only", "input: {prompt: a, as: x}\nwhen: {x: 1}", "7:11: a step needs an action");
    row("two actions", "{display: a, idle-text: b}", "6:24: a step has one action, and \"idle-text\" is the second");
    row("action twice", "{display: a, display: b}", "6:24: key \"display\" is given twice in a step");
    row("unknown action", "dispaly: a", "6:11: unknown key \"dispaly\" in a step; did you mean \"display\"?");
    row("action without a value", "tone:", "6:11: key \"tone\" has no value");
    row("action that is a list", "display: [a]",
        "6:20: the action display must be a map of keys and values, not a list");
    row("text for an action that has no main key", "sms: a",
        "6:16: the action sms must be a map of keys and values, not a single value");
    row("unknown key of an action", "display: {text: a, claer: user}",
        "6:30: unknown key \"claer\" in the action display; did you mean \"clear\"? Known keys: text, coding, clear");
    row("missing key", "key: {digits: true}", "6:16: the action key needs the key \"prompt\"");
    row("key twice", "key: {prompt: a, prompt: b}", "6:28: key \"prompt\" is given twice in the action key");
    row("text is a list", "display: {text: [a]}", "6:27: a text expected, not a list");
    row("control character", "display: \"a\\tb\"", "6:20: the text has a control character");
    row("text too long", "display: {coding: 8bit, text: " + QByteArray(241, 'a') + "}",
        "6:20: the command takes 257 bytes on the card, and FETCH brings at most 256; use shorter texts");
    row("texts too long together", "tone: {text: " + QByteArray(239, 'a') + ", duration: 1s, tone: 1}",
        "6:17: the command takes");
    row("alpha text too long", "tone: {text: " + QByteArray(241, 'a') + "}", "6:24: the text takes 241 bytes");
    row("brace without an end", "display: \"a {b\"", "6:20: a brace has no end; write {{ for a brace itself");
    row("empty braces", "display: \"{}\"", "6:20: \"\" between braces is no name of an answer");
    row("words in braces", "display: \"{a b}\"", "6:20: \"a b\" between braces is no name of an answer");
    row("unknown answer", "display: \"{amount}\"", "6:20: no step before this one has an answer named \"amount\"");
    row("unknown coding", "display: {text: a, coding: utf8}", "6:38: packed, 8bit or ucs2 expected, not \"utf8\"");
    row("coding that does not hold the text", "display: {text: Я, coding: packed}",
        "6:38: the text has characters that this coding cannot express");
    row("unknown way to clear", "display: {text: a, clear: never}", "6:37: auto or user expected, not \"never\"");
    row("truth that is none", "display: {text: a, high-priority: 2}", "6:45: true or false expected, not \"2\"");
    row("digits and UCS2", "key: {prompt: a, digits: true, ucs2: true}", "6:16: digits and ucs2 exclude each other");
    row("digits and UCS2 in an input", "input: {prompt: a, digits: true, ucs2: true}", "6:18: digits and ucs2");
    row("packed and UCS2", "input: {prompt: a, packed: true, ucs2: true}", "6:18: packed and ucs2 exclude each other");
    row("min larger than max", "input: {prompt: a, min: 5, max: 4}", "6:18: min is larger than max");
    row("default text too long", "input: {prompt: a, max: 2, default-text: abc}",
        "6:52: the default text is longer than max allows");
    row("default text of letters", "input: {prompt: a, digits: true, default-text: 1a}",
        "6:58: the default text has more than digits, *, # and +");
    row("name with a blank", "input: {prompt: a, as: a b}", "6:34: a name of letters, digits, - and _ expected");
    row("name that begins with a digit", "input: {prompt: a, as: 2a}", "6:34: a name of letters");
    row("name of the choice with a blank", "menu: {items: [{text: a}], as: a b}", "6:42: a name of letters");
    row("unknown way to go on", "yes-no: {prompt: a, on-no: stop}", "6:38: end or next expected, not \"stop\"");
    row("condition that is a word", "{display: a, when: yes}", "6:30: answers and their values expected");
    row("condition without an answer", "{display: a, when: {}}", "6:30: answers and their values expected");
    row("condition on an unknown answer", "{display: a, when: {x: 1}}",
        "6:31: no step before this one has an answer named \"x\"");
    row("condition on neither yes nor no", "yes-no: {prompt: a, as: x}\n{display: a, when: {x: true}}",
        "7:34: yes or no expected, not \"true\"");
    row("number with letters", "call: 12ab", "6:17: a number of at most 40 digits");
    row("number without digits", "call: \"+\"", "6:17: a number of at most 40 digits");
    row("number too long", "call: \"" + QByteArray(41, '1') + "\"", "6:17: a number of at most 40 digits");
    row("duration without redialling", "call: {number: 1, duration: 5s}", "6:39: duration says how long to redial");
    row("unknown treatment of others", "call: {number: 1, others: drop}",
        "6:37: refuse, hold or disconnect expected, not \"drop\"");
    row("short message without a message", "sms: {number: 1}", "6:16: the action sms needs the key \"message\"");
    row("short message to nobody", "sms: {message: a}", "6:16: the action sms needs the key \"number\"");
    row("short message of nothing", "sms: {text: a}", "6:16: a short message needs either number and message, or tpdu");
    row("short message twice", "sms: {number: 1, message: a, tpdu: \"01\"}", "6:16: a short message needs either");
    row("short message too long", "sms: {number: 1, message: " + QByteArray(161, 'a') + "}",
        "6:37: the text is longer than one short message");
    row("short message too long in UCS2", "sms: {number: 1, message: " + QByteArray("Я").repeated(71) + "}",
        "6:37: the text is longer than one short message");
    row("short message to a long number", "sms: {message: a, number: " + QByteArray(21, '1') + "}",
        "6:37: a short message goes to a number of at most 20 digits");
    row("TPDU of other letters", "sms: {tpdu: xy}", "6:23: hexadecimal digits of an SMS-SUBMIT expected");
    row("SS code of letters", "ss: abc", "6:15: a code of digits, * and # expected, not \"abc\"");
    row("SS code empty", "ss: \"\"", "6:15: a code of digits");
    row("USSD code empty", "ussd: \"\"", "6:17: the USSD code is empty");
    row("URL with a blank", "browser: a b", "6:20: a URL without blanks and of ASCII characters expected");
    row("URL with other letters", "browser: http://я", "6:20: a URL without blanks");
    row("unknown way to browse", "browser: {url: a, mode: new}",
        "6:35: if-closed, same or restart expected, not \"new\"");
    row("unknown refresh", "refresh: all",
        "6:20: init-full-file-change, file-change, init-file-change, init, reset, "
        "application-reset or session-reset expected, not \"all\"");
    row("refresh of no files", "refresh: file-change", "6:20: this mode needs the key \"files\"");
    row("refresh of an empty list", "refresh: {mode: file-change, files: []}",
        "6:47: a list of 1 to 255 paths expected, not 0 of them");
    row("refresh of half a file", "refresh: {mode: file-change, files: [3F007F]}", "6:48: a file identifier has two");
    row("refresh of a word", "refresh: {mode: file-change, files: [all]}", "6:48: a path of file identifiers");
    row("command without details", "command: D004 82028102", "6:20: the command has no readable command details");
    row("choice from the main menu has no step before it", "menu: {items: [{text: a, steps: []}]}",
        "6:43: a list of at least one step expected, not an empty list");
    row("steps and menu", "menu: {items: [{text: a, steps: [tone: 1], menu: {items: [{text: b}]}}]}",
        "6:60: an item has one of menu, command and steps");
}

void tst_ProfileSteps::refuses()
{
    QFETCH(QByteArray, steps);
    QFETCH(QString, complaint);
    const QString actual = m_file.complaint(withSteps(steps));
    QVERIFY2(actual.startsWith(complaint), qPrintable(actual));
}

void tst_ProfileSteps::refusesNumbersAndTimes_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("complaint");
    for (const char *value : {"-1", "256", "x", "1.5", "99999999999999999999"}) {
        for (const char *key : {"tone: {tone: ", "input: {prompt: a, min: ", "input: {prompt: a, max: "})
            QTest::newRow(qPrintable(QString(key) + value))
                << QByteArray(key) << QByteArray(value) << "a whole number from 0 to 255 expected";
    }
    for (const char *value :
         {"0s", "256s", "50ms", "150ms", "25600ms", "0ms", "256min", "-1s", "5", "s", "1h", "1.5s"}) {
        for (const char *key : {"tone: {duration: ", "display: {text: a, duration: ", "yes-no: {prompt: a, duration: "})
            QTest::newRow(qPrintable(QString(key) + value))
                << QByteArray(key) << QByteArray(value) << "a time of 1 to 255 min, 1 to 255 s or 100 to 25500 ms";
    }
}

void tst_ProfileSteps::refusesNumbersAndTimes()
{
    QFETCH(QByteArray, step);
    QFETCH(QByteArray, value);
    QFETCH(QString, complaint);
    const QString actual = m_file.complaint(withSteps(step + value + "}"));
    QVERIFY2(actual.startsWith(QString("6:%1: %2").arg(11 + step.size()).arg(complaint)), qPrintable(actual));
    QVERIFY2(actual.contains('"' + value + '"'), qPrintable(actual));
}

void tst_ProfileSteps::readsNetworkAndStart()
{
    QVERIFY(m_file.load("name: X\n").network);
    QVERIFY(m_file.load("name: X\nnetwork: true\n").network);
    QVERIFY(!m_file.load("name: X\nnetwork: false\n").network);
    const card::Profile profile = m_file.load("name: X\nat-start:\n  - idle-text: a\n  - display: b\n");
    QCOMPARE(profile.atStart.size(), std::size_t(2));
    QVERIFY(profile.atStart[0].type() == cat::CommandType::SetUpIdleModeText);
    QVERIFY(profile.atStart[1].type() == cat::CommandType::DisplayText);
}

void tst_ProfileSteps::refusesAtTheTop_data()
{
    QTest::addColumn<QByteArray>("yaml");
    QTest::addColumn<QString>("complaint");
    const auto row = [](const char *name, const QByteArray &yaml, const char *complaint) {
        QTest::newRow(name) << yaml << QString(complaint);
    };
    row("network is a word", "name: X\nnetwork: good\n", "2:10: true or false expected, not \"good\"");
    row("no steps for the start", "name: X\nat-start: []\n", "2:11: a list of at least one step expected");
    row("start that is a map", "name: X\nat-start: {display: a}\n",
        "2:11: a list of at least one step expected, not a map");
    row("refresh at the start", "name: X\nat-start: [refresh: init]\n", "2:21: a refresh at the start would start");
    row("refresh in a menu at the start",
        "name: X\nat-start:\n  - menu: {items: [{text: a, steps: [refresh: init]}]}\n", "3:47: a refresh at the start");
    row("answers of the start are gone later",
        "name: X\nat-start: [input: {prompt: a, as: x}]\nmenu: {items: [{text: \"{x}\"}]}\n",
        "3:23: no step before this");
    row("name for the choice from the main menu", "name: X\nmenu: {items: [{text: a}], as: x}\n",
        "2:32: the choice from the main menu has no name");
    row("brace in a title", "name: X\nmenu: {title: \"{\", items: [{text: a}]}\n", "2:15: a brace has no end");
    row("help text too long", "name: X\nmenu: {items: [{text: a, help-text: " + QByteArray(275, 'a') + "}]}\n",
        "2:37: the text takes 257 bytes on the card");
}

void tst_ProfileSteps::refusesAtTheTop()
{
    QFETCH(QByteArray, yaml);
    QFETCH(QString, complaint);
    const QString actual = m_file.complaint(yaml);
    QVERIFY2(actual.startsWith(complaint), qPrintable(actual));
}

void tst_ProfileSteps::stepsCannotGrowWithoutEnd()
{
    QByteArray yaml = "name: X\nmenu:\n  items:\n    - {text: a, steps: &s0 [tone: 1, tone: 2]}\n";
    for (int i = 1; i < 15; ++i) {
        const QByteArray alias = "steps: *s" + QByteArray::number(i - 1);
        yaml += "    - {text: a, steps: &s" + QByteArray::number(i) + " [menu: {items: [{text: a, " + alias +
                "}, {text: b, " + alias + "}]}]}\n";
    }
    const QString complaint = m_file.complaint(yaml);
    QVERIFY2(complaint.contains("the profile has more than 10000 items and steps"), qPrintable(complaint));
}

QTEST_APPLESS_MAIN(tst_ProfileSteps)
#include "tst_ProfileSteps.moc"
