#include "card/MenuCommand.h"
#include "card/Profile.h"
#include "platform/cat/Hex.h"

#include <QTemporaryDir>
#include <QtTest>

namespace
{

/// What an error says in one line, without the file's folder: "line:column: reason".
QString described(const card::ProfileError &error)
{
    return QString("%1:%2: %3").arg(error.line()).arg(error.column()).arg(QString::fromStdString(error.reason()));
}

QByteArray inMenu(const QByteArray &item)
{
    return "name: X\nmenu:\n  items:\n    - " + item + "\n";
}

/// Menus in menus, `depth` deep.
QByteArray nested(int depth)
{
    QByteArray yaml = "{text: end}";
    for (int i = 1; i < depth; ++i)
        yaml = "{text: more, menu: {items: [" + yaml + "]}}";
    return "name: X\nmenu: {items: [" + yaml + "]}\n";
}

QByteArray items(int count, const QByteArray &text)
{
    QByteArray yaml;
    for (int i = 0; i < count; ++i)
        yaml += "    - text: \"" + text + "\"\n";
    return "name: X\nmenu:\n  items:\n" + yaml;
}

} // namespace

class tst_Profile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }
    void cleanup();

    void demoHasThreeLevels();
    void demoHasTextsInManyScripts();
    void demoHasASlowItemAndACommand();
    void readsEveryKey();
    void numbersWhatHasNoIdentifier();
    void cardWithoutToolkit();
    void limitsAreAllowed_data();
    void limitsAreAllowed();
    void readsDelays_data();
    void readsDelays();
    void acceptsOtherFileForms_data();
    void acceptsOtherFileForms();
    void refuses_data();
    void refuses();
    void refusesTexts_data();
    void refusesTexts();
    void refusesWhatIsNoFile();
    void refusesAFileThatIsTooLarge();
    void saysWhereInOneLine();
    void survivesEveryTruncationOfTheDemo();
    void survivesEveryByteOfTheDemoChanged();

private:
    card::Profile load(const QByteArray &yaml);
    QString complaint(const QByteArray &yaml);
    std::string write(const QByteArray &yaml);

    QTemporaryDir m_dir;
};

void tst_Profile::cleanup()
{
    QFile::remove(m_dir.filePath("card.yaml"));
    QVERIFY(QDir(m_dir.path()).isEmpty());
}

std::string tst_Profile::write(const QByteArray &yaml)
{
    QFile file(m_dir.filePath("card.yaml"));
    if (!file.open(QIODevice::WriteOnly) || file.write(yaml) != yaml.size())
        qFatal("cannot write the test profile");
    return file.fileName().toStdString();
}

card::Profile tst_Profile::load(const QByteArray &yaml)
{
    return card::loadProfile(write(yaml));
}

/// What is wrong with a profile; anything but a ProfileError fails the test by escaping it.
QString tst_Profile::complaint(const QByteArray &yaml)
{
    try {
        load(yaml);
    } catch (const card::ProfileError &error) {
        return described(error);
    }
    return "accepted";
}

static const card::Entry *entryWithText(const card::Menu &menu, const QString &text)
{
    for (const card::Entry &entry : menu.entries) {
        if (textOf(entry.text) == text)
            return &entry;
    }
    return nullptr;
}

void tst_Profile::demoHasThreeLevels()
{
    const card::Profile profile = card::loadProfile(PROFILES_DIR "/demo.yaml");
    QCOMPARE(profile.name, std::string("Demo"));
    QCOMPARE(textOf(profile.mainMenu.title), QString("Aurora Mobile"));
    const card::Entry *account = entryWithText(profile.mainMenu, "My account");
    QVERIFY(account && account->menu());
    QCOMPARE(int(account->menu()->defaultItem.value_or(0)), 1);
    const card::Entry *topUp = entryWithText(*account->menu(), "Top up");
    QVERIFY(topUp && topUp->menu());
    const card::Entry *amount = entryWithText(*topUp->menu(), QString::fromUtf8("5 €"));
    QVERIFY(amount && amount->steps.empty());
}

void tst_Profile::demoHasTextsInManyScripts()
{
    const card::Profile profile = card::loadProfile(PROFILES_DIR "/demo.yaml");
    const card::Entry *languages = entryWithText(profile.mainMenu, QString::fromUtf8("Языки / Languages"));
    QVERIFY(languages && languages->menu());
    for (const char *text : {"Русский", "中文", "العربية", "Ελληνικά"}) {
        const card::Entry *language = entryWithText(*languages->menu(), QString::fromUtf8(text));
        QVERIFY2(language && language->menu(), text);
        QCOMPARE(textOf(language->menu()->title), QString::fromUtf8(text));
    }
}

void tst_Profile::demoHasASlowItemAndACommand()
{
    const card::Profile profile = card::loadProfile(PROFILES_DIR "/demo.yaml");
    const card::Entry *slow = entryWithText(profile.mainMenu, "Network search");
    QVERIFY(slow);
    QVERIFY(slow->delay > std::chrono::seconds(20));
    const card::Entry *care = entryWithText(profile.mainMenu, "Customer care");
    QVERIFY(care && care->menu());
    QCOMPARE(int(care->id), 20);
    const card::Entry *rate = entryWithText(*care->menu(), "Rate our service");
    QVERIFY(rate);
    const cat::DecodedCommand command = cat::decodeCommand(rate->steps.at(0).raw);
    QVERIFY(command.detailsKnown);
    QVERIFY(command.command.details.type == cat::CommandType::DisplayText);
}

void tst_Profile::readsEveryKey()
{
    const card::Profile profile = load("name: Test card\n"
                                       "menu:\n"
                                       "  title: Main\n"
                                       "  help: true\n"
                                       "  items:\n"
                                       "    - text: Sub\n"
                                       "      id: 7\n"
                                       "      delay: 250ms\n"
                                       "      menu: {title: Second, default: 9, items: [{text: In, id: 9}]}\n"
                                       "    - text: 12\n"
                                       "      command: d009 8103012300 82028182\n");
    QCOMPARE(profile.name, std::string("Test card"));
    QCOMPARE(textOf(profile.mainMenu.title), QString("Main"));
    QVERIFY(profile.mainMenu.helpAvailable);
    QCOMPARE(profile.mainMenu.entries.size(), std::size_t(2));
    const card::Entry &sub = profile.mainMenu.entries[0];
    QCOMPARE(int(sub.id), 7);
    QCOMPARE(qint64(sub.delay.count()), qint64(250));
    QVERIFY(sub.menu() && !sub.menu()->helpAvailable);
    QCOMPARE(int(sub.menu()->defaultItem.value_or(0)), 9);
    QCOMPARE(textOf(sub.menu()->entries.at(0).text), QString("In"));
    const card::Entry &raw = profile.mainMenu.entries[1];
    QCOMPARE(textOf(raw.text), QString("12"));
    QCOMPARE(hexOf(raw.steps.at(0).raw), QByteArray("D009810301230082028182"));
    QCOMPARE(qint64(raw.delay.count()), qint64(0));
}

void tst_Profile::numbersWhatHasNoIdentifier()
{
    const card::Profile profile =
        load("name: X\nmenu: {items: [{text: a}, {text: b, id: 1}, {text: c}, {text: d, id: 255}, {text: e}]}\n");
    QList<int> ids;
    for (const card::Entry &entry : profile.mainMenu.entries)
        ids << entry.id;
    QCOMPARE(ids, QList<int>({2, 1, 3, 255, 4}));
}

void tst_Profile::cardWithoutToolkit()
{
    QVERIFY(load("name: Silent\n").mainMenu.entries.empty());
}

void tst_Profile::limitsAreAllowed_data()
{
    QTest::addColumn<QByteArray>("yaml");
    QTest::newRow("identifiers 1 and 255")
        << QByteArray("name: X\nmenu: {items: [{text: a, id: 1}, {text: b, id: 255}]}");
    QTest::newRow("longest text") << inMenu("text: " + QByteArray(233, 'a'));
    QTest::newRow("deepest menu") << nested(16);
    QTest::newRow("many sub-menus side by side")
        << "name: X\nmenu:\n  items:\n" + QByteArray("    - {text: a, menu: {items: [{text: b}]}}\n").repeated(30);
    // 14 bytes without items, 39 items of 6 and one of 8: the 256 bytes that FETCH has room for.
    QTest::newRow("fullest command") << items(39, "aaa") + "    - text: aaaaa\n";
    QTest::newRow("longest delay") << inMenu("{text: a, delay: 600s}");
    QTest::newRow("line break in a text") << inMenu("text: \"a\\nb\"");
}

void tst_Profile::limitsAreAllowed()
{
    QFETCH(QByteArray, yaml);
    QCOMPARE(complaint(yaml), QString("accepted"));
}

void tst_Profile::readsDelays_data()
{
    QTest::addColumn<QByteArray>("delay");
    QTest::addColumn<int>("milliseconds");
    QTest::newRow("seconds") << QByteArray("30s") << 30000;
    QTest::newRow("milliseconds") << QByteArray("1500ms") << 1500;
    QTest::newRow("none") << QByteArray("0s") << 0;
    QTest::newRow("longest") << QByteArray("600000ms") << 600000;
}

void tst_Profile::readsDelays()
{
    QFETCH(QByteArray, delay);
    const card::Profile profile = load(inMenu("{text: a, delay: " + delay + "}"));
    QTEST(int(profile.mainMenu.entries.at(0).delay.count()), "milliseconds");
}

void tst_Profile::acceptsOtherFileForms_data()
{
    QTest::addColumn<QByteArray>("yaml");
    QTest::newRow("byte order mark") << "\xEF\xBB\xBF" + inMenu("text: a");
    QTest::newRow("carriage returns") << inMenu("text: a").replace("\n", "\r\n");
    QTest::newRow("no line break at the end") << QByteArray("name: X\nmenu: {items: [{text: a}]}");
    QTest::newRow("document marks") << "---\n" + inMenu("text: a") + "...\n";
    QTest::newRow("the same menu in two places")
        << QByteArray("name: X\nmenu: {items: [{text: a, menu: &m {items: [{text: b}]}}, {text: c, menu: *m}]}");
}

void tst_Profile::acceptsOtherFileForms()
{
    QFETCH(QByteArray, yaml);
    QVERIFY(!load(yaml).mainMenu.entries.empty());
}

void tst_Profile::refuses_data()
{
    QTest::addColumn<QByteArray>("yaml");
    QTest::addColumn<QString>("complaint"); // how it begins
    const auto row = [](const char *name, const QByteArray &yaml, const char *complaint) {
        QTest::newRow(name) << yaml << QString::fromUtf8(complaint);
    };
    row("empty file", "", "1:1: the file is empty; expected a map");
    row("only comments", "# nothing\n", "1:1: the file is empty");
    row("not a map", "- a\n", "1:1: a profile must be a map of keys and values, not a list");
    row("syntax error", "name: X\nmenu: [1\n", "3:1: this is not YAML");
    row("unknown anchor", "name: *x\n", "1:7: this is not YAML");
    row("tabulator as indentation", "name: X\nmenu:\n\ttitle: a\n", "3:7: this is not YAML");
    row("brackets without end", "name: X\nmenu: " + QByteArray(5000, '['), "2:");
    row("two documents", "name: X\n---\nname: Y\n", "2:1: a second document begins here");
    row("comma in front", ",name: X\n", "1:1: this is not YAML: nothing begins with this character");
    row("comma behind the map", "name: X\n, Y\n", "2:1: this is not YAML");
    row("no name", "menu: {items: [{text: a}]}\n", "1:1: a profile needs the key \"name\"");
    row("name is a list", "name: [a]\n", "1:7: a name for the card expected, not a list");
    row("unknown key", "name: X\nfoo: 1\n",
        "2:1: unknown key \"foo\" in a profile. Known keys: name, menu, at-start, network, operator");
    row("misspelt key", "name: X\nmenu:\n  titel: a\n",
        "3:3: unknown key \"titel\" in a menu; did you mean \"title\"? Known keys: title, help, default, items, as");
    row("misspelt key behind other letters", "name: X\nmenu: {title: \"Сло\", items: [{text: Языки, idd: 1}]}\n",
        "2:44: unknown key \"idd\" in an item; did you mean \"id\"?");
    row("key in a list", inMenu("[text]"), "4:7: an item must be a map of keys and values, not a list");
    row("key that is no word", "name: X\n[a]: b\n", "2:1: a key of a profile must be a word, not a list");
    row("key twice", "name: X\nname: Y\n", "2:1: key \"name\" is given twice in a profile");
    row("key without a value", "name: X\nmenu:\n", "2:1: key \"menu\" has no value");
    row("menu without items", "name: X\nmenu: {title: a}\n", "2:7: a menu needs the key \"items\"");
    row("menu is a word", "name: X\nmenu: a\n", "2:7: a menu must be a map of keys and values, not a single value");
    row("items empty", "name: X\nmenu:\n  items: []\n",
        "3:10: a list of at least one item expected, not an empty list");
    row("items of a map", "name: X\nmenu:\n  items: {a: b}\n", "3:10: a list of at least one item expected, not a map");
    row("item without a text", inMenu("id: 1"), "4:7: an item needs the key \"text\"");
    row("title is a map", "name: X\nmenu: {title: {a: b}, items: [{text: a}]}\n", "2:15: a title expected, not a map");
    row("help is no truth value", "name: X\nmenu:\n  help: maybe\n", "3:9: true or false expected, not \"maybe\"");
    row("identifier 0", inMenu("{text: a, id: 0}"), "4:21: a whole number from 1 to 255 expected, not \"0\"");
    row("identifier 256", inMenu("{text: a, id: 256}"), "4:21: a whole number from 1 to 255");
    row("identifier beyond all numbers", inMenu("{text: a, id: 99999999999999999999}"), "4:21: a whole number");
    row("identifier negative", inMenu("{text: a, id: -1}"), "4:21: a whole number from 1 to 255");
    row("identifier is a word", inMenu("{text: a, id: one}"),
        "4:21: a whole number from 1 to 255 expected, not \"one\"");
    row("identifier with a fraction", inMenu("{text: a, id: 1.5}"), "4:21: a whole number from 1 to 255");
    row("identifier twice", "name: X\nmenu:\n  items:\n    - {text: a, id: 3}\n    - {text: b, id: 3}\n",
        "5:21: identifier 3 is given to two items of the menu");
    row("default that no item has", inMenu("{text: a, menu: {default: 2, items: [{text: b}]}}"),
        "4:33: no item of the menu has the identifier 2");
    row("default in the main menu", "name: X\nmenu:\n  default: 1\n  items: [{text: a}]\n",
        "3:12: the main menu has no default item");
    row("delay without a unit", inMenu("{text: a, delay: 30}"),
        "4:24: a time such as 30s or 500ms expected, not \"30\"");
    row("delay without a number", inMenu("{text: a, delay: s}"), "4:24: a time such as 30s");
    row("delay in minutes", inMenu("{text: a, delay: 1m}"), "4:24: a time such as 30s");
    row("delay negative", inMenu("{text: a, delay: -5s}"), "4:24: the delay must be from 0s to 600s, not \"-5s\"");
    row("delay too long", inMenu("{text: a, delay: 601s}"), "4:24: the delay must be from 0s to 600s");
    row("delay that a multiplication would wrap", inMenu("{text: a, delay: 18446744073709552s}"),
        "4:24: the delay must be");
    row("delay beyond all numbers", inMenu("{text: a, delay: 9223372036854775807s}"), "4:24: the delay must be");
    row("command of other letters", inMenu("{text: a, command: D0XY}"), "4:26: hexadecimal digits");
    row("command with half a byte", inMenu("{text: a, command: D00}"), "4:26: hexadecimal digits");
    row("command empty", inMenu("{text: a, command: \"\"}"), "4:26: hexadecimal digits");
    row("command that is not proactive", inMenu("{text: a, command: D100}"),
        "4:26: a proactive command begins with D0");
    row("command longer than its length", inMenu("{text: a, command: D005 8103012100 00}"),
        "4:26: the length behind D0");
    row("command shorter than its length", inMenu("{text: a, command: D006 8103012100}"), "4:26: the length behind D0");
    row("command without details", inMenu("{text: a, command: D004 82028102}"), "4:26: the command has no readable");
    row("command too long for FETCH",
        inMenu("{text: a, command: D081FE 8103012100 8D81F6 " + QByteArray(492, '4') + "}"),
        "4:26: the command has 257 bytes; FETCH brings at most 256");
    row("menu and command", inMenu("{text: a, menu: {items: [{text: b}]}, command: D005 8103012100}"),
        "4:54: an item has one of menu, command and steps, not two of them");
    row("menu too long for FETCH", items(39, "aaa") + "    - text: aaaaaa\n", "4:5: the menu takes 257 bytes");
    row("sub-menu too long for FETCH",
        inMenu("{text: a, menu: {items: [{text: " + QByteArray(200, 'a') + "}, {text: " + QByteArray(100, 'b') +
               "}]}}"),
        "4:31: the menu takes 320 bytes");
    row("256 items", items(256, "a"), "4:5: the menu has 256 items; at most 255");
    row("menus nested too deep", nested(17), "2:");
    row("menu inside itself", "name: X\nmenu: &m {items: [{text: a, menu: *m}]}\n",
        "2:7: menus are nested more than 16");
}

void tst_Profile::refuses()
{
    QFETCH(QByteArray, yaml);
    QFETCH(QString, complaint);
    const QString actual = this->complaint(yaml);
    QVERIFY2(actual.startsWith(complaint), qPrintable(actual));
}

void tst_Profile::refusesTexts_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("complaint");
    QTest::newRow("empty") << QByteArray("\"\"") << "4:13: the text of the item is empty";
    QTest::newRow("no value") << QByteArray("~") << "4:7: key \"text\" has no value";
    QTest::newRow("a list") << QByteArray("[a]") << "4:13: the text of the item expected, not a list";
    QTest::newRow("too long") << QByteArray(241, 'a') << "4:13: the text takes 241 bytes on the card; at most 240 fit";
    QTest::newRow("too long in UCS2") << QString::fromUtf8("工具").repeated(60).toUtf8()
                                      << "4:13: the text takes 241 bytes";
    QTest::newRow("not UTF-8") << QByteArray("Gr\xFC\xDF"
                                             "e")
                               << "4:15: the file is not UTF-8 here";
    QTest::newRow("not UTF-8 behind letters of two bytes")
        << QByteArray("\xD0\xAF\xD0\xAF\xFF") << "4:15: the file is not";
    QTest::newRow("control character") << QByteArray("a\x04") + "b"
                                       << "4:14: control character in the file";
    QTest::newRow("zero byte") << QByteArray("a\0b", 3) << "4:14: control character in the file";
    QTest::newRow("control character as an escape")
        << QByteArray("\"a\\0b\"") << "4:13: the text has a control character";
}

void tst_Profile::refusesTexts()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, complaint);
    const QString actual = this->complaint(inMenu("text: " + text));
    QVERIFY2(actual.startsWith(complaint), qPrintable(actual));
}

void tst_Profile::refusesWhatIsNoFile()
{
    const std::string missing = m_dir.filePath("missing.yaml").toStdString();
    const auto complaintOf = [](const std::string &path) {
        try {
            card::loadProfile(path);
        } catch (const card::ProfileError &error) {
            return described(error);
        }
        return QString("accepted");
    };
    QCOMPARE(complaintOf(missing), QString("0:0: there is no such file"));
    QCOMPARE(complaintOf(""), QString("0:0: there is no such file"));
    QVERIFY(complaintOf(m_dir.path().toStdString()).startsWith("0:0: this is a directory"));
    QVERIFY(complaintOf("/dev/null").startsWith("0:0: this is not a regular file"));
}

void tst_Profile::refusesAFileThatIsTooLarge()
{
    QVERIFY(complaint(QByteArray(1024 * 1024 + 1, '#')).startsWith("0:0: the file has 1048577 bytes"));
}

void tst_Profile::saysWhereInOneLine()
{
    const card::ProfileError inside("card.yaml", 3, 5, "this and that");
    QCOMPARE(QString(inside.what()), QString("card.yaml:3:5: this and that"));
    QCOMPARE(inside.file(), std::string("card.yaml"));
    const card::ProfileError whole("card.yaml", 0, 0, "gone");
    QCOMPARE(QString(whole.what()), QString("card.yaml: gone"));
}

static QByteArray demo()
{
    QFile file(PROFILES_DIR "/demo.yaml");
    if (!file.open(QIODevice::ReadOnly))
        qFatal("the demo profile cannot be read");
    return file.readAll();
}

void tst_Profile::survivesEveryTruncationOfTheDemo()
{
    const QByteArray yaml = demo();
    for (int size = 0; size < yaml.size(); size += 67)
        QVERIFY(!complaint(yaml.left(size)).isEmpty());
}

void tst_Profile::survivesEveryByteOfTheDemoChanged()
{
    QByteArray yaml = demo();
    const QByteArray changes("\0\t\n:-[]{}&*\"'\x80\xFF", 15);
    for (int i = 0; i < yaml.size(); i += 31) {
        const char good = yaml[i];
        yaml[i] = changes[i / 31 % changes.size()];
        QVERIFY(!complaint(yaml).isEmpty());
        yaml[i] = good;
    }
}

QTEST_APPLESS_MAIN(tst_Profile)
#include "tst_Profile.moc"
