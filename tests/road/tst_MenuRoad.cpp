// From the card to the user and back: the real window on the open platform, driven by real keys and clicks.
// Every test runs twice, with the library's callbacks on its own thread and on the user-interface thread.
#include "RoadWorld.h"

#include "platform/core/RealInput.h"
#include "sdk/SdkControl.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

namespace
{
const char MAIN_MENU[] = "Road card: Alpha, Leaf, Late";
const char ALPHA_MENU[] = "Alpha menu: One, Two, <b>Three</b> & more";
const char DEEP_MENU[] = "Deep menu: Deeper, Deepest";
const char DONE[] = "00 command performed successfully";
const int LIMIT_MS = 8000;
const int MAIN_ROWS = 3;
} // namespace

#define TRY_SHOWN(expected) QTRY_COMPARE_WITH_TIMEOUT(m_world->shown(), QString(expected), LIMIT_MS)
#define TRY_IDLE() QTRY_VERIFY_WITH_TIMEOUT(!m_world->isWaiting(), LIMIT_MS)

class tst_MenuRoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void theMenuAppears();
    void theWindowBeforeTheDevice();
    void chooseAndGoBack();
    void chooseAtTheDeepestLevel();
    void goBackLevelByLevel();
    void chooseWhatHasNoMenu();
    void cardTextIsShownAsItIs();
    void doubleClickChooses();
    void clickBelowTheRowsClearsTheChoice();

    void returnOnASelectedRow_data();
    void returnOnASelectedRow();
    void returnWithoutASelectedRowCloses();
    void escapeCloses_data();
    void escapeCloses();
    void arrowsWalkThroughTheRows();
    void whileWaitingNothingCloses();

    void theUserTakesTooLong();
    void theCardTakesTooLong();
    void theDeviceGoesAndComesBack();
    void theDeviceGoesInASubMenu();
    void theDeviceGoesDuringAWait();
    void closeAndOpenAgain();
    void closeInASubMenuAndOpenAgain();
    void theHostEndsDuringAWait();
    void theDemonstrationCard();

private:
    bool choose(int row);
    bool clickRow(int row);
    bool press(const char *name);

    std::unique_ptr<RoadWorld> m_world;
};

void tst_MenuRoad::initTestCase_data()
{
    QTest::addColumn<bool>("onUiThread");
    QTest::newRow("callbacks on the library's thread") << false;
    QTest::newRow("callbacks on the user-interface thread") << true;
}

void tst_MenuRoad::init()
{
    QFETCH_GLOBAL(bool, onUiThread);
    m_world.reset(new RoadWorld(onUiThread));
    if (!QByteArray(QTest::currentTestFunction()).contains("BeforeTheDevice")) {
        QVERIFY(m_world->attach());
        QTRY_VERIFY(m_world->exchanges().contains(QString("SET UP MENU: ") + DONE));
        QVERIFY(m_world->show(MAIN_ROWS));
        TRY_SHOWN(MAIN_MENU);
        m_world->forget();
    }
}

void tst_MenuRoad::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

bool tst_MenuRoad::clickRow(int row)
{
    QTableWidget *table = m_world->table();
    return realinput::click(table->viewport(), table->visualItemRect(table->item(row, 0)).center()) &&
           QTest::qWaitFor([=] { return table->currentRow() == row; });
}

bool tst_MenuRoad::press(const char *name)
{
    QPushButton *button = m_world->button(name);
    return realinput::click(button, button->rect().center());
}

/// Clicks the row and the Select button.
bool tst_MenuRoad::choose(int row)
{
    return clickRow(row) && press("Select");
}

// ---------------------------------------------------------------- browsing

void tst_MenuRoad::theMenuAppears()
{
    QVERIFY(!m_world->button("Back")->isEnabled());
    QCOMPARE(m_world->frame()->size(), QSize(380, 357));
    QCOMPARE(m_world->table()->rowHeight(0), 17);
    // The program hears a little later where the window manager has put a window.
    const auto offTheMiddle = [this] {
        return m_world->frame()->geometry().center().x() - m_world->host->geometry().center().x();
    };
    QTRY_VERIFY2(qAbs(offTheMiddle()) < 5, qPrintable(QString("%1 pixels off the middle").arg(offTheMiddle())));
    QCOMPARE(m_world->exchanges(), QStringList()); // looking at the menu asks the card nothing
}

void tst_MenuRoad::theWindowBeforeTheDevice()
{
    QVERIFY(m_world->show(0));
    TRY_SHOWN(": ");
    QVERIFY(m_world->attach());
    TRY_SHOWN(MAIN_MENU);
    QCOMPARE(m_world->exchanges().filter("SET UP MENU"),
             QStringList({"SET UP MENU \"Road card\", 3 items", QString("SET UP MENU: ") + DONE}));
}

void tst_MenuRoad::chooseAndGoBack()
{
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    QVERIFY(m_world->button("Back")->isEnabled());
    QCOMPARE(m_world->exchanges(), QStringList({"MENU SELECTION \"Alpha\"", "SELECT ITEM \"Alpha menu\", 3 items"}));
    // Menu selection, from the keypad to the card, item 1 (ETSI TS 102 223 clause 7.2).
    QVERIFY2(m_world->bytesOf("MENU SELECTION \"Alpha\"").contains("D30782020181900101"),
             qPrintable(m_world->bytesOf("MENU SELECTION \"Alpha\"")));

    m_world->forget();
    QVERIFY(press("Back"));
    TRY_SHOWN(MAIN_MENU);
    TRY_IDLE();
    QVERIFY(!m_world->button("Back")->isEnabled());
    QCOMPARE(m_world->exchanges().size(), 1);
    QVERIFY2(m_world->exchanges().first().startsWith("SELECT ITEM: 11 "), qPrintable(m_world->exchanges().first()));
}

void tst_MenuRoad::chooseAtTheDeepestLevel()
{
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    QVERIFY(choose(0));
    TRY_SHOWN(DEEP_MENU);
    TRY_IDLE();
    m_world->forget();
    QVERIFY(choose(1));
    TRY_SHOWN(MAIN_MENU); // the end of the session
    TRY_IDLE();
    QCOMPARE(m_world->exchanges(), QStringList({QString("SELECT ITEM: ") + DONE + ", \"Deepest\""}));
    // Result 00, item 2 (ETSI TS 102 223 clause 6.8).
    const QString bytes = m_world->bytesOf(m_world->exchanges().first());
    QVERIFY2(bytes.contains("830100") && bytes.endsWith("900102"), qPrintable(bytes));
}

void tst_MenuRoad::goBackLevelByLevel()
{
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    QVERIFY(choose(0));
    TRY_SHOWN(DEEP_MENU);
    TRY_IDLE();
    QVERIFY(press("Back"));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    QVERIFY(press("Back"));
    TRY_SHOWN(MAIN_MENU);
    TRY_IDLE();
    m_world->forget();
    QVERIFY(choose(1));
    QTRY_COMPARE(m_world->exchanges(), QStringList({"MENU SELECTION \"Leaf\""}));
}

void tst_MenuRoad::chooseWhatHasNoMenu()
{
    QVERIFY(choose(1));
    QTRY_COMPARE(m_world->exchanges(), QStringList({"MENU SELECTION \"Leaf\""}));
    TRY_IDLE();
    TRY_SHOWN(MAIN_MENU);
    QVERIFY(choose(0)); // the card is ready for another one
    TRY_SHOWN(ALPHA_MENU);
}

void tst_MenuRoad::cardTextIsShownAsItIs()
{
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    m_world->forget();
    QVERIFY(choose(2));
    TRY_SHOWN(MAIN_MENU);
    QCOMPARE(m_world->exchanges(), QStringList({QString("SELECT ITEM: ") + DONE + ", \"<b>Three</b> & more\""}));
}

void tst_MenuRoad::doubleClickChooses()
{
    QTableWidget *table = m_world->table();
    const QPoint point = table->visualItemRect(table->item(0, 0)).center();
    QVERIFY(realinput::click(table->viewport(), point));
    QVERIFY(realinput::send({"click", "--repeat", "2", "--delay", "40", "1"}));
    TRY_SHOWN(ALPHA_MENU);
    QCOMPARE(m_world->exchanges().filter("MENU SELECTION").size(), 1);
}

void tst_MenuRoad::clickBelowTheRowsClearsTheChoice()
{
    QVERIFY(clickRow(1));
    QTableWidget *table = m_world->table();
    QVERIFY(realinput::click(table->viewport(), QPoint(50, table->viewport()->height() - 10)));
    QTRY_COMPARE(table->currentRow(), -1);
    QSignalSpy clicked(m_world->button("Select"), SIGNAL(clicked()));
    QVERIFY(press("Select"));
    QTRY_COMPARE(clicked.count(), 1);
    QVERIFY(!m_world->isWaiting());
    QCOMPARE(m_world->exchanges(), QStringList());
}

// ---------------------------------------------------------------- keys

void tst_MenuRoad::returnOnASelectedRow_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("Return") << "Return";
    QTest::newRow("Enter") << "KP_Enter";
}

void tst_MenuRoad::returnOnASelectedRow()
{
    QFETCH(QString, key);
    QVERIFY(clickRow(0));
    QVERIFY(realinput::key(key));
    TRY_SHOWN(ALPHA_MENU); // performed Select, and the window is open
    TRY_IDLE();
    QCOMPARE(m_world->exchanges(), QStringList({"MENU SELECTION \"Alpha\"", "SELECT ITEM \"Alpha menu\", 3 items"}));

    QVERIFY(clickRow(1));
    QVERIFY(realinput::key(key));
    TRY_SHOWN(MAIN_MENU);
    QCOMPARE(m_world->exchanges().last(), QString("SELECT ITEM: ") + DONE + ", \"Two\"");
}

void tst_MenuRoad::returnWithoutASelectedRowCloses()
{
    QTableWidget *table = m_world->table();
    QVERIFY(realinput::click(table->viewport(), QPoint(50, table->viewport()->height() - 10)));
    QTRY_COMPARE(QApplication::focusWidget(), table);
    QVERIFY(realinput::key("Return"));
    TRY_SHOWN("no window");
    QCOMPARE(m_world->exchanges(), QStringList());
}

void tst_MenuRoad::escapeCloses_data()
{
    QTest::addColumn<bool>("onRow");
    QTest::newRow("on the Close button") << false;
    QTest::newRow("on a selected row") << true;
}

void tst_MenuRoad::escapeCloses()
{
    QFETCH(bool, onRow);
    if (onRow)
        QVERIFY(clickRow(1));
    QVERIFY(realinput::key("Escape"));
    TRY_SHOWN("no window");
    QCOMPARE(m_world->exchanges(), QStringList());
}

void tst_MenuRoad::arrowsWalkThroughTheRows()
{
    QVERIFY(clickRow(0));
    QVERIFY(realinput::key("Down"));
    QTRY_COMPARE(m_world->table()->currentRow(), 1);
    QVERIFY(realinput::key("End"));
    QVERIFY(realinput::key("Up"));
    QTRY_COMPARE(m_world->table()->currentRow(), 0);
    QVERIFY(realinput::key("Down"));
    QTRY_COMPARE(m_world->table()->currentRow(), 1);
    QVERIFY(realinput::key("Return"));
    QTRY_COMPARE(m_world->exchanges(), QStringList({"MENU SELECTION \"Leaf\""}));
}

void tst_MenuRoad::whileWaitingNothingCloses()
{
    QVERIFY(choose(2)); // the card thinks for 2.5 s
    QTRY_VERIFY(m_world->isWaiting());
    QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    QSignalSpy clicked(m_world->button("Close"), SIGNAL(clicked()));
    QVERIFY(realinput::key("Escape"));
    QVERIFY(press("Close"));
    QTRY_COMPARE(clicked.count(), 1); // the key came before it
    m_world->frame()->close();
    QVERIFY(m_world->isWaiting());
    QCOMPARE(m_world->shown(), QString(MAIN_MENU));
    TRY_SHOWN("Late menu: At last");
    TRY_IDLE();
    QTRY_COMPARE(QApplication::overrideCursor()->shape(), Qt::ArrowCursor);
    QVERIFY(press("Close"));
    TRY_SHOWN("no window");
}

// ---------------------------------------------------------------- time and the device

void tst_MenuRoad::theUserTakesTooLong()
{
    sdk::setResponseLimit(std::chrono::milliseconds(700));
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    TRY_SHOWN(MAIN_MENU);
    QVERIFY(!m_world->button("Back")->isEnabled());
    QVERIFY2(m_world->exchanges().value(2).startsWith("SELECT ITEM: 12 "),
             qPrintable(m_world->exchanges().join('\n'))); // no response from user
    // The card and the window go on.
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
}

void tst_MenuRoad::theCardTakesTooLong()
{
    QVERIFY(choose(2)); // the card thinks for 2.5 s
    QTRY_VERIFY(m_world->isWaiting());
    m_world->thread()->SetTimeOut(1);
    TRY_IDLE();
    QCOMPARE(m_world->shown(), QString(MAIN_MENU));
    TRY_SHOWN("Late menu: At last"); // late, but it comes, and can be answered
    m_world->forget();
    QVERIFY(choose(0));
    TRY_SHOWN(MAIN_MENU);
    QCOMPARE(m_world->exchanges(), QStringList({QString("SELECT ITEM: ") + DONE + ", \"At last\""}));
}

void tst_MenuRoad::theDeviceGoesAndComesBack()
{
    sdk::detachDevice();
    TRY_SHOWN("no window");
    QVERIFY(m_world->show(0)); // no device, no menu
    QVERIFY(m_world->attach());
    TRY_SHOWN(MAIN_MENU);
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
}

void tst_MenuRoad::theDeviceGoesInASubMenu()
{
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    sdk::detachDevice();
    TRY_SHOWN("no window");
    QVERIFY(m_world->attach());
    QTRY_VERIFY(m_world->exchanges().contains(QString("SET UP MENU: ") + DONE));
    QVERIFY(m_world->show(MAIN_ROWS));
    TRY_SHOWN(MAIN_MENU);
    QVERIFY(!m_world->exchanges().filter(QRegularExpression("^SELECT ITEM: ")).size()); // the card had gone
}

void tst_MenuRoad::theDeviceGoesDuringAWait()
{
    QVERIFY(choose(2)); // the card thinks for 2.5 s
    QTRY_VERIFY(m_world->isWaiting());
    m_world->thread()->SetTimeOut(3);
    sdk::detachDevice();
    // The attempt to close shows in the cursor; it is refused.
    QTRY_COMPARE(QApplication::overrideCursor()->shape(), Qt::ArrowCursor);
    QVERIFY(m_world->isWaiting());
    QCOMPARE(m_world->shown(), QString(MAIN_MENU));
    TRY_IDLE();
    QVERIFY(press("Close"));
    TRY_SHOWN("no window");
}

void tst_MenuRoad::closeAndOpenAgain()
{
    for (int i = 0; i < 3; ++i) {
        QVERIFY(press("Close"));
        TRY_SHOWN("no window");
        QVERIFY(m_world->show(MAIN_ROWS));
        TRY_SHOWN(MAIN_MENU);
    }
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    QCOMPARE(m_world->exchanges().filter("SET UP MENU").size(), 0);
}

void tst_MenuRoad::closeInASubMenuAndOpenAgain()
{
    QVERIFY(choose(0));
    TRY_SHOWN(ALPHA_MENU);
    TRY_IDLE();
    QVERIFY(press("Close"));
    TRY_SHOWN("no window");
    QVERIFY(m_world->show(MAIN_ROWS));
    TRY_SHOWN(MAIN_MENU);
    // The card still has its sub-menu open, so it takes no other choice: the main menu stays, and nothing waits.
    m_world->forget();
    QVERIFY(choose(0));
    QTRY_VERIFY(m_world->exchanges().size() > 0);
    QVERIFY2(m_world->exchanges().first().contains("refused"), qPrintable(m_world->exchanges().join('\n')));
    QVERIFY(!m_world->isWaiting());
    QCOMPARE(m_world->shown(), QString(MAIN_MENU));
}

void tst_MenuRoad::theHostEndsDuringAWait()
{
    QVERIFY(choose(2));
    QTRY_VERIFY(m_world->isWaiting());
    // cleanup() ends everything as a host does, and finds nothing left behind.
}

void tst_MenuRoad::theDemonstrationCard()
{
    QVERIFY(m_world->attach("../../profiles/demo.yaml")); // in place of the other one
    TRY_SHOWN("no window");
    QTRY_VERIFY(m_world->exchanges().contains(QString("SET UP IDLE MODE TEXT: ") + DONE));
    QVERIFY(m_world->show(7));
    QVERIFY(choose(2));
    TRY_SHOWN(QString::fromUtf8("Languages: Русский, 中文, العربية, Ελληνικά, English"));
    TRY_IDLE();
    QVERIFY(choose(1));
    TRY_SHOWN(QString::fromUtf8("中文: 余额, 天气, 新闻"));
    TRY_IDLE();
    QVERIFY(press("Back"));
    TRY_SHOWN(QString::fromUtf8("Languages: Русский, 中文, العربية, Ελληνικά, English"));
}

QTEST_MAIN(tst_MenuRoad)
#include "tst_MenuRoad.moc"
