// Every field of every record at its extremes and full of noise, through the whole window: what the card sends is shown
// as it is, up to its first zero and never past its field, and whatever it is, the window goes on.
#include "CommandWorld.h"
#include "InputWorld.h"

#include "core/ExtendLineEdit.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>

#include <climits>
#include <memory>
#include <new>

#include <sys/resource.h>

namespace journal = support::journal;

namespace
{

const int UNITS = MDSV_STK_TEXT_UNITS;
const int EXIT_CLEAN = 7;
const int MANY = 32767;

QString all(int unit)
{
    return QString(UNITS, QChar(unit));
}

/// Every unit of a range, as much as a field holds.
QString range(int first)
{
    QString text;
    for (int i = 0; i < UNITS; ++i)
        text += QChar(first + i);
    return text;
}

void noiseRows()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString("");
    QTest::newRow("255 units") << QString(UNITS - 1, 'x');
    QTest::newRow("without a terminating zero") << all('x');
    QTest::newRow("one word of wide characters") << all(0x4E2D);
    QTest::newRow("high surrogates alone") << all(0xD800);
    QTest::newRow("low surrogates alone") << all(0xDFFF);
    QTest::newRow("surrogates the wrong way round") << QString("a%1%2b").arg(QChar(0xDC00)).arg(QChar(0xD83D));
    QTest::newRow("a pair cut by the end of the field") << QString(UNITS - 1, 'x') + QChar(0xD83D);
    QTest::newRow("control characters") << range(1);
    QTest::newRow("line ends") << QString("a\r\nb\rc\nd%1e%2f").arg(QChar(0x2028)).arg(QChar(0x2029));
    QTest::newRow("tabs") << all('\t');
    QTest::newRow("direction marks") << range(0x2000) + range(0x2066);
    QTest::newRow("right-to-left overrides") << all(0x202E);
    QTest::newRow("combining marks") << all(0x0301);
    QTest::newRow("no characters") << all(0xFFFF);
    QTest::newRow("byte order marks") << all(0xFEFF);
    QTest::newRow("private use") << range(0xE000);
    QTest::newRow("formats of printf") << QString("%s%n%d%p%1%2%%");
    QTest::newRow("markup") << QString("<img src=\"file:///etc/passwd\"><b>x</b>&amp;&");
}

/// As the window is to take it: nothing past the field.
QString asTaken(const QString &text)
{
    return text.left(UNITS);
}

/// Sees what stands in each dialog and closes it.
class Reader : public QObject
{
    Q_OBJECT

public:
    Reader()
    {
        connect(&m_timer, SIGNAL(timeout()), this, SLOT(tick()));
        m_timer.start(5);
    }

    QStringList seen;
    QList<QLineEdit::EchoMode> modes;

private slots:
    void tick()
    {
        QWidget *top = QApplication::activeModalWidget();
        if (WsMessageBox *box = top ? top->findChild<WsMessageBox *>() : nullptr) {
            seen << box->text();
            command::leave(top, "IDS_OK");
        } else if (ExtendLineEdit *field = top ? top->findChild<ExtendLineEdit *>() : nullptr) {
            seen << top->findChild<QLabel *>("STKPlugin_LabelText")->text() << field->text();
            modes << field->echoMode();
            QTest::keyClick(field, Qt::Key_1);
            command::leave(top, "Escape");
        }
    }

private:
    QTimer m_timer;
};

} // namespace

class tst_FaultedRecords : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void texts_data() { noiseRows(); }
    void texts();
    void titleAndItems_data() { noiseRows(); }
    void titleAndItems();
    void counts_data();
    void counts();
    void numbers_data();
    void numbers();
    void notifyRecords();
    void noMemoryForTheMenu();

private:
    bool isUsable();

    std::unique_ptr<DialogWorld> m_world;
};

void tst_FaultedRecords::init()
{
    m_world.reset(new DialogWorld);
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_FaultedRecords::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

bool tst_FaultedRecords::isUsable()
{
    m_world->sdk.setMainMenu("Operator", {{1, "Balance"}, {2, "News"}});
    m_world->sdk.raiseStk(MDSV_STKTYPE_SETUP_MENU, 90);
    journal::clear();
    m_world->table()->setCurrentCell(1, 0);
    m_world->select()->click();
    return journal::lines("MDSV_STKSrv_Select") == QStringList("MDSV_STKSrv_SelectMenuItem(1, 2)") &&
           m_world->endWait();
}

void tst_FaultedRecords::texts()
{
    QFETCH(QString, text);
    support::SdkDouble &sdk = m_world->sdk;
    m_world->core.onShowMessage([](QDialog *) { return 0; });
    QString page;
    sdk.setPrompt(text, 1, 0);
    sdk.setInput(text, 0, 1, 0, UNITS, 0, text);
    sdk.setInKey(text, 0, 0, 0);
    sdk.setTone(0, 0, text);
    sdk.setBrowser(0, text);
    sdk.setIdleText(text);
    Reader reader;
    for (int type : {1, 3, 2, 5, 11, 12}) {
        sdk.raiseStk(type, 5);
        if (m_world->isWaiting())
            QVERIFY(m_world->endWait());
    }
    // A field of one line shows characters that would end it as blanks of some kind, and its own way with pairs.
    QCOMPARE(reader.seen.size(), 5);
    QCOMPARE(reader.seen.at(0), asTaken(text));
    QCOMPARE(reader.seen.at(1), asTaken(text));
    QCOMPARE(reader.seen.at(3), asTaken(text));
    QVERIFY(reader.seen.at(2).size() <= UNITS);
    const QList<support::Call> pages = journal::callsOf("CommonUtils::OpenUrl");
    QCOMPARE(pages.size(), text.isEmpty() ? 0 : 1);
    QCOMPARE(pages.value(0).args.value(0).toString(), asTaken(text));

    sdk.setInKey(text, 1, 0, 0);
    sdk.raiseStk(MDSV_STKTYPE_GET_INKEY, 6);
    QCOMPARE(journal::callsOf("CommonUtils::ShowMessage").value(0).args.value(3).toString(), asTaken(text));
    QVERIFY(m_world->endWait());
    QVERIFY(isUsable());
}

void tst_FaultedRecords::titleAndItems()
{
    QFETCH(QString, text);
    support::SdkDouble &sdk = m_world->sdk;
    sdk.setMainMenu(text, {{-1, text}, {32767, "x"}});
    sdk.setSubMenu(text, {{-32768, text}, {0, text}}, -1);
    sdk.raiseStk(MDSV_STKTYPE_SETUP_MENU, 5);
    QCOMPARE(m_world->rows(), QStringList({asTaken(text), "x"}));
    QCOMPARE(m_world->frame()->windowTitle(), asTaken(text));
    m_world->table()->setCurrentCell(0, 0);
    m_world->select()->click();
    QCOMPARE(journal::lines("MDSV_STKSrv_Select"),
             text.isEmpty() ? QStringList() : QStringList("MDSV_STKSrv_SelectMenuItem(1, -1)"));
    QVERIFY(!m_world->isWaiting() || m_world->endWait());
    sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 6);
    QCOMPARE(m_world->rows(), QStringList({asTaken(text), asTaken(text)}));
    QVERIFY(isUsable());
}

void tst_FaultedRecords::counts_data()
{
    QTest::addColumn<int>("items");
    QTest::addColumn<int>("count");
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("-1") << 3 << -1;
    QTest::newRow("-32768") << 3 << -32768;
    QTest::newRow("fewer than there are") << 3 << 1;
    QTest::newRow("255") << 255 << 255;
    QTest::newRow("32767") << MANY << MANY;
}

void tst_FaultedRecords::counts()
{
    QFETCH(int, items);
    QFETCH(int, count);
    m_world->log.setDebugOutput(false); // a line for each item
    QList<support::MenuItem> menu;
    for (int i = 0; i < items; ++i)
        menu << support::MenuItem{i, QString("Item %1").arg(i)};
    m_world->sdk.setMainMenu("Many", menu);
    m_world->sdk.setMainMenuCount(count);
    m_world->sdk.setSubMenu("Many", menu);
    m_world->sdk.setSubMenuCount(count);
    for (int type : {MDSV_STKTYPE_SETUP_MENU, MDSV_STKTYPE_SELECT_ITEM}) {
        m_world->sdk.raiseStk(type, 5);
        QCOMPARE(m_world->table()->rowCount(), qMax(0, count));
        if (count > 0)
            QCOMPARE(m_world->rows().last(), QString("Item %1").arg(count - 1));
    }
    QVERIFY(isUsable());
}

void tst_FaultedRecords::numbers_data()
{
    QTest::addColumn<int>("value");
    for (int value : {-32768, -1, 0, 1, 4, 255, 256, 32767, 65535, INT_MAX, INT_MIN})
        QTest::addRow("%d", value) << value;
}

/// The number stands in every field, cut to what the field holds.
void tst_FaultedRecords::numbers()
{
    QFETCH(int, value);
    support::SdkDouble &sdk = m_world->sdk;
    m_world->core.onShowMessage([](QDialog *) { return 0; });
    sdk.setInput("Input?", value, value, value, value, value, "12");
    sdk.setInKey("Key?", value, value, value);
    sdk.setPrompt("Text", value, value);
    sdk.setTone(value, value, "Tone");
    sdk.setBrowser(value, "");
    Reader reader;
    for (int type : {1, 3, 2, 5, 11}) {
        sdk.raiseStk(type, value);
        if (m_world->isWaiting())
            QVERIFY(m_world->endWait());
    }
    QCOMPARE(reader.seen.value(0), QString("Text"));
    QCOMPARE(reader.seen.value(1), QString("Input?"));
    // 0 and 1 are what the echo field may hold; anything else leaves what the window began with, which hides.
    QCOMPARE(int(reader.modes.value(0)), int(value == 1 ? QLineEdit::Normal : QLineEdit::Password));
    QVERIFY(isUsable());
}

/// Command types, flags and identifiers that no card sends.
void tst_FaultedRecords::notifyRecords()
{
    for (int number : {INT_MIN, -1, 13, 50, 98, 100, 256, 65536, INT_MAX}) {
        m_world->sdk.raiseStk(number, number);
        m_world->sdk.raiseDevice(number);
        m_world->sdk.raiseStk(MDSV_STKTYPE_SEND_SMS, number, number); // a flag that is not 1 says nothing
    }
    QCOMPARE(command::requests(), QStringList());
    QVERIFY(isUsable());
}

/// In a child whose memory ends while it copies a menu: it says so or ends by the clear error of the language, and
/// where the host catches that, the next menu is read as ever.
void tst_FaultedRecords::noMemoryForTheMenu()
{
#ifdef __SANITIZE_THREAD__
    QSKIP("ThreadSanitizer ends a process itself when it gets no memory");
#endif
    if (qgetenv("LD_PRELOAD").contains("vgpreload"))
        QSKIP("valgrind ends itself when it gets no memory");
    for (int spare = 0; spare <= 64; spare += 8) { // MB beyond what the process has
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationFilePath(), {"--short-of-memory", QString::number(spare)});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), EXIT_CLEAN);
    }
}

namespace
{

rlim_t addressSpace()
{
    QFile statm("/proc/self/statm");
    return statm.open(QIODevice::ReadOnly) ? rlim_t(statm.readAll().split(' ').first().toLongLong()) * 4096 : 0;
}

/// The library has fetched its menu already; the plug-in's copy does not fit. EXIT_CLEAN when all is well.
int readWithLittleMemory(int spareMegabytes)
{
    support::SdkDouble sdk;
    QList<support::MenuItem> menu;
    for (int i = 0; i < MANY; ++i)
        menu << support::MenuItem{i, QString(UNITS - 1, 'x')};
    sdk.setMainMenu("Many", menu);
    STKLogic *logic = STKLogic::CreateInstance();
    QList<StkItemClass> items;
    StkMenuItems record = {QString(), &items};
    rlimit before;
    getrlimit(RLIMIT_AS, &before);
    sdk.onCall("MDSV_STKSrv_GetMainMenu", [&] {
        rlimit limit = before;
        limit.rlim_cur = addressSpace() + 18u * 1024 * 1024 + rlim_t(spareMegabytes) * 1024 * 1024; // 17 MB of records
        setrlimit(RLIMIT_AS, &limit);
    });
    bool isRead = false;
    try {
        isRead = logic->GetMainMenu(&record);
    } catch (const std::bad_alloc &) {
    }
    setrlimit(RLIMIT_AS, &before);
    sdk.onCall("MDSV_STKSrv_GetMainMenu", {});
    if (isRead && items.size() != MANY)
        return 1;
    if (sdk.openMenus() != 0)
        return 2;
    sdk.setMainMenu("Few", {{1, "One"}});
    const bool isReadAgain = logic->GetMainMenu(&record) && record.strTitle == "Few" && items.size() == 1;
    STKLogic::DestroyInst();
    return isReadAgain ? EXIT_CLEAN : 3;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 3 && QByteArray(argv[1]) == "--short-of-memory") {
        QLoggingCategory::setFilterRules("*.debug=false");
        return readWithLittleMemory(QByteArray(argv[2]).toInt());
    }
    QApplication application(argc, argv);
    tst_FaultedRecords test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_FaultedRecords.moc"
