// The window's controller: showing the card's menus, choosing from them, and the commands that bring them.
#include "DialogWorld.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

using support::MenuItem;
using support::SdkDouble;
namespace journal = support::journal;

namespace
{
const char GET_MAIN[] = "MDSV_STKSrv_GetMainMenu";
const char RELEASE_MAIN[] = "MDSV_STKSrv_ReleaseMenus";
const char GET_SUB[] = "MDSV_STKSrv_GetSubMenu";
const char SELECT_MAIN[] = "MDSV_STKSrv_SelectMenuItem";
const char SELECT_SUB[] = "MDSV_STKSrv_SelectSubMenuItem";
const char RESPOND[] = "MDSV_STKSrv_SendNoDataResponse";

const QStringList MAIN_ROWS = {"Balance", "News", "Help"};
const QStringList SUB_ROWS = {"Sport", "Weather"};
} // namespace

class tst_STKDialogMenus : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void deletingItemsWithoutATable();
    void deletingItemsKeepsTheRows();
    void deletingItemsOfAnEmptyTable();
    void mainMenuShowsTheItemsInOrder();
    void mainMenuWithoutATableSetsTheMarkerOnly();
    void subMenuShowsTheItemsInOrder();
    void subMenuWithoutATableSetsTheMarkerOnly();
    void aShorterMenuReplacesALongerOne();
    void titles_data();
    void titles();
    void textsAreShownAsTheyAre_data();
    void textsAreShownAsTheyAre();
    void aTextThatFillsItsFieldEndsThere();

    void selectWithoutATableOnlyLogs();
    void selectSendsNothing_data();
    void selectSendsNothing();
    void selectInTheMainMenu();
    void selectInTheMainMenuThatFails();
    void selectSendsTheIdentifier_data();
    void selectSendsTheIdentifier();
    void selectInTheSubMenu();
    void selectInTheSubMenuThatFails();
    void selectInTheSubMenuSearchesTheSubMenu();
    void selectedItemMissing();
    void selectedItemWithoutLogic();
    void backSends();
    void backThatFails();
    void backDoesNotLookAtTheMenu();
    void backWithoutLogic();
    void backFailingAndTheReadingFailing();
    void doubleClickIgnoresItsArguments();

    void setUpMenuCommand_data();
    void setUpMenuCommand();
    void setUpMenuCommandWhoseReadingFails();
    void setUpMenuWithoutLogic();
    void showMainMenuSignal();
    void showMainMenuWithoutLogic();
    void selectItemCommand_data();
    void selectItemCommand();
    void selectItemWhoseReadingFails();
    void selectItemCommandWhoseReadingFails();
    void selectItemWithoutLogic();
    void sessionTimeOutBringsTheMainMenu_data();
    void sessionTimeOutBringsTheMainMenu();

private:
    void showSubMenu();

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogMenus::init()
{
    m_world.reset(new DialogWorld);
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKDialogMenus::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

/// SELECT ITEM 21 of the card.
void tst_STKDialogMenus::showSubMenu()
{
    m_world->sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21);
    m_world->forget();
}

// ---------------------------------------------------------------- showing

void tst_STKDialogMenus::deletingItemsWithoutATable()
{
    m_world->dialog->onButtonClickClose();
    m_world->forget();
    QVERIFY(!m_world->dialog->deleteTableItems());
    QCOMPARE(m_world->log.debug().first(), logged::start("deleteTableItems"));
}

void tst_STKDialogMenus::deletingItemsKeepsTheRows()
{
    QVERIFY(m_world->dialog->deleteTableItems());
    QCOMPARE(m_world->table()->rowCount(), 3);
    QCOMPARE(m_world->rows(), QStringList({"(no item)", "(no item)", "(no item)"}));
    QVERIFY(m_world->dialog->deleteTableItems()); // rows without items
    QCOMPARE(m_world->table()->rowCount(), 3);
    QCOMPARE(m_world->log.debug(), QStringList({logged::start("deleteTableItems"), logged::end("deleteTableItems"),
                                                logged::start("deleteTableItems"), logged::end("deleteTableItems")}));
}

void tst_STKDialogMenus::deletingItemsOfAnEmptyTable()
{
    m_world->table()->setRowCount(0);
    QVERIFY(m_world->dialog->deleteTableItems());
    QCOMPARE(m_world->table()->rowCount(), 0);
}

void tst_STKDialogMenus::mainMenuShowsTheItemsInOrder()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.table()->selectRow(0);
    w.log.clear();
    w.dialog->showMainMenu();
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QCOMPARE(w.rows(), MAIN_ROWS);
    QCOMPARE(w.frame()->windowTitle(), QString("Operator"));
    QVERIFY(!w.back()->isEnabled());
    QVERIFY(!w.table()->currentItem());
    QVERIFY(w.table()->selectedItems().isEmpty());
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(w.table()->rowHeight(i), 17);
        QCOMPARE(w.table()->item(i, 0)->type(), int(QTableWidgetItem::Type));
    }
    QCOMPARE(w.log.debug(),
             QStringList({logged::start("showMainMenu"), logged::start("deleteTableItems"),
                          logged::end("deleteTableItems"), "Item name = Balance, Index=1", "Item name = News, Index=2",
                          "Item name = Help, Index=7", logged::end("showMainMenu")}));
    QCOMPARE(journal::names("MDSV_"), QStringList()); // what it shows was read before
}

void tst_STKDialogMenus::mainMenuWithoutATableSetsTheMarkerOnly()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.dialog->onButtonClickClose();
    w.at(&DialogPeek::m_stMainMenu).strTitle = "Another";
    w.forget();
    w.dialog->showMainMenu();
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QCOMPARE(w.at(&DialogPeek::m_strTitle), QString("Operator"));
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKDialogMenus::subMenuShowsTheItemsInOrder()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(0);
    showSubMenu();
    w.log.clear();
    w.dialog->showSubMenu();
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    QCOMPARE(w.rows(), SUB_ROWS);
    QCOMPARE(w.frame()->windowTitle(), QString("News"));
    QCOMPARE(w.at(&DialogPeek::m_strTitle), QString("Operator"));
    QVERIFY(w.back()->isEnabled());
    QVERIFY(!w.table()->currentItem());
    QCOMPARE(w.table()->rowHeight(0), 17);
    QCOMPARE(w.table()->rowHeight(1), 17);
    QCOMPARE(w.log.debug(), QStringList({logged::start("showSubMenu"), logged::start("deleteTableItems"),
                                         logged::end("deleteTableItems"), "Item name = Sport, Index=11",
                                         "Item name = Weather, Index=12", logged::end("showSubMenu")}));
}

void tst_STKDialogMenus::subMenuWithoutATableSetsTheMarkerOnly()
{
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.forget();
    w.dialog->showSubMenu();
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKDialogMenus::aShorterMenuReplacesALongerOne()
{
    DialogWorld &w = *m_world;
    w.sdk.setMainMenu("One", {{4, "Only"}});
    w.dialog->onShowMainMenu();
    QCOMPARE(w.rows(), QStringList({"Only"}));
    w.sdk.setMainMenu("None", {});
    w.dialog->onShowMainMenu();
    QCOMPARE(w.table()->rowCount(), 0);
    QCOMPARE(w.frame()->windowTitle(), QString("None"));
}

void tst_STKDialogMenus::titles_data()
{
    QTest::addColumn<QString>("mainTitle");
    QTest::addColumn<QString>("mainShown");
    QTest::addColumn<QString>("subTitle");
    QTest::addColumn<QString>("subShown");
    QTest::addColumn<QString>("kept");
    QTest::newRow("both have one") << "Card"
                                   << "Card"
                                   << "Sub"
                                   << "Sub"
                                   << "Card";
    QTest::newRow("sub-menu has none") << "Card"
                                       << "Card"
                                       << ""
                                       << "Card"
                                       << "Card";
    QTest::newRow("main menu has none") << ""
                                        << ""
                                        << "Sub"
                                        << "Sub"
                                        << "Operator";
    QTest::newRow("neither has one") << ""
                                     << ""
                                     << ""
                                     << "Operator"
                                     << "Operator";
    QTest::newRow("markup") << "<b>Card</b>"
                            << "<b>Card</b>"
                            << "&amp;"
                            << "&amp;"
                            << "<b>Card</b>";
    QTest::newRow("a blank is a title") << " "
                                        << " "
                                        << " "
                                        << " "
                                        << " ";
    QTest::newRow("placeholder") << "Card[*]"
                                 << "Card[*]"
                                 << "%1"
                                 << "%1"
                                 << "Card[*]";
}

void tst_STKDialogMenus::titles()
{
    QFETCH(QString, mainTitle);
    QFETCH(QString, mainShown);
    QFETCH(QString, subTitle);
    QFETCH(QString, subShown);
    QFETCH(QString, kept);
    DialogWorld &w = *m_world;
    w.sdk.setMainMenu(mainTitle, {{1, "One"}});
    w.sdk.setSubMenu(subTitle, {{2, "Two"}});
    w.dialog->onShowMainMenu();
    QCOMPARE(w.frame()->windowTitle(), mainShown);
    QCOMPARE(w.at(&DialogPeek::m_strTitle), kept);
    w.dialog->onSTKSelItem();
    QCOMPARE(w.frame()->windowTitle(), subShown);
    QCOMPARE(w.at(&DialogPeek::m_strTitle), kept);
}

void tst_STKDialogMenus::textsAreShownAsTheyAre_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("markup") << "<b>x</b>";
    QTest::newRow("entity") << "&amp;";
    QTest::newRow("ampersand") << "a &b";
    QTest::newRow("picture") << "<img src='file:///x.png'>";
    QTest::newRow("percent") << "100 %s %n %d";
    QTest::newRow("not Latin") << QString::fromUtf8("Привет 中文 العربية");
    QTest::newRow("outside the base plane") << QString::fromUtf8("\xF0\x9F\x93\xB1 phone");
    QTest::newRow("blanks at the ends") << "  x  ";
    QTest::newRow("line feed") << "a\nb";
}

void tst_STKDialogMenus::textsAreShownAsTheyAre()
{
    QFETCH(QString, text);
    DialogWorld &w = *m_world;
    w.sdk.setMainMenu("T", {{1, "other"}, {9, text}});
    w.dialog->onShowMainMenu();
    QTableWidgetItem *item = w.table()->item(1, 0);
    QCOMPARE(item->text(), text);
    QCOMPARE(item->data(Qt::DisplayRole), QVariant(text));
    QVERIFY(!w.table()->cellWidget(1, 0));
    QCOMPARE(w.table()->rowHeight(1), 17);
    QVERIFY(w.log.debug().contains("Item name = " + text + ", Index=9"));

    // The text is found again as it is.
    w.table()->setCurrentCell(1, 0);
    w.forget();
    w.dialog->onButtonClickSelect();
    QCOMPARE(journal::lines(SELECT_MAIN), QStringList({"MDSV_STKSrv_SelectMenuItem(1, 9)"}));
}

void tst_STKDialogMenus::aTextThatFillsItsFieldEndsThere()
{
    DialogWorld &w = *m_world;
    w.sdk.setMainMenu(QString(300, 'T'), {{1, QString(300, 'x')}});
    w.dialog->onShowMainMenu();
    QCOMPARE(w.rows(), QStringList({QString(256, 'x')}));
    QCOMPARE(w.frame()->windowTitle(), QString(256, 'T'));
}

// ---------------------------------------------------------------- choosing

void tst_STKDialogMenus::selectWithoutATableOnlyLogs()
{
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.forget();
    w.dialog->onButtonClickSelect();
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!w.isWaiting());
    QCOMPARE(w.log.debug().first(), logged::start("onButtonClickSelect"));
}

void tst_STKDialogMenus::selectSendsNothing_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("hasLogic");
    QTest::newRow("no current row") << -1 << "STK_MAINMENU" << true;
    QTest::newRow("no current row in a sub-menu") << -1 << "STK_SUBMENU" << true;
    QTest::newRow("empty text") << 1 << "STK_MAINMENU" << true;
    QTest::newRow("empty text in a sub-menu") << 1 << "STK_SUBMENU" << true;
    QTest::newRow("no menu shown yet") << 0 << "STK_UNKNOWN" << true;
    QTest::newRow("no logic") << 0 << "STK_MAINMENU" << false;
    QTest::newRow("no logic in a sub-menu") << 0 << "STK_SUBMENU" << false;
}

void tst_STKDialogMenus::selectSendsNothing()
{
    QFETCH(int, row);
    QFETCH(QString, state);
    QFETCH(bool, hasLogic);
    DialogWorld &w = *m_world;
    w.sdk.setMainMenu("T", {{1, "One"}, {2, ""}});
    w.dialog->onShowMainMenu();
    w.table()->setCurrentCell(row, row < 0 ? -1 : 0);
    w.at(&DialogPeek::m_strMenuState) = state;
    if (!hasLogic)
        w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.forget();
    w.dialog->onButtonClickSelect();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!w.isWaiting());
    QVERIFY(takeCursors().isEmpty());
}

void tst_STKDialogMenus::selectInTheMainMenu()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(1);
    w.logic->SetResponseVar(true);
    w.forget();
    QTest::mouseClick(w.select(), Qt::LeftButton);
    QCOMPARE(journal::lines(), QStringList({"MDSV_STKSrv_SelectMenuItem(1, 2)"}));
    QVERIFY(w.isWaiting());
    QVERIFY(!w.logic->GetResponseVar());
    QCOMPARE(support::peek(w.thread(), &ThreadPeek::m_nTimeOut).load(), 20);
    QCOMPARE(takeCursors(), QList<int>({int(Qt::WaitCursor)}));
    QCOMPARE(w.rows(), MAIN_ROWS); // nothing changes until the card answers
    QCOMPARE(logged::started(w.log), QStringList({"onButtonClickSelect", "stkWaitforRespond"}));
}

void tst_STKDialogMenus::selectInTheMainMenuThatFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(SELECT_MAIN, 6);
    w.table()->selectRow(1);
    w.sdk.setMainMenu("Changed", {{3, "Three"}});
    w.forget();
    QTest::mouseClick(w.select(), Qt::LeftButton);
    QCOMPARE(journal::names("MDSV_"), QStringList({SELECT_MAIN, GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.rows(), QStringList({"Three"}));
    QCOMPARE(w.frame()->windowTitle(), QString("Changed"));
    QVERIFY(!w.isWaiting());
    QVERIFY(takeCursors().isEmpty());
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 0); // the user is told nothing
}

void tst_STKDialogMenus::selectSendsTheIdentifier_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("sent");
    QTest::newRow("first") << QStringList({"a", "b", "c"}) << 0 << 10;
    QTest::newRow("last") << QStringList({"a", "b", "c"}) << 2 << 12;
    QTest::newRow("double text, first chosen") << QStringList({"a", "b", "a"}) << 0 << 12;
    QTest::newRow("double text, second chosen") << QStringList({"a", "b", "a"}) << 2 << 12;
    QTest::newRow("all alike") << QStringList({"a", "a", "a", "a"}) << 1 << 13;
    QTest::newRow("beginnings alike, short one chosen") << QStringList({"News", "News today"}) << 0 << 10;
    QTest::newRow("beginnings alike, long one chosen") << QStringList({"News today", "News"}) << 0 << 10;
    QTest::newRow("case counts") << QStringList({"a", "A"}) << 0 << 10;
}

void tst_STKDialogMenus::selectSendsTheIdentifier()
{
    QFETCH(QStringList, texts);
    QFETCH(int, row);
    QFETCH(int, sent);
    DialogWorld &w = *m_world;
    QList<MenuItem> items;
    for (int i = 0; i < texts.size(); ++i)
        items << MenuItem{10 + i, texts.at(i)};
    w.sdk.setMainMenu("T", items);
    w.sdk.setSubMenu("T", items);
    w.dialog->onShowMainMenu();
    w.table()->selectRow(row);
    w.dialog->onButtonClickSelect();
    QCOMPARE(journal::callsOf(SELECT_MAIN).last().args, QVariantList({1, sent}));
    QVERIFY(w.endWait());

    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 5);
    w.table()->selectRow(row);
    w.dialog->onButtonClickSelect();
    QCOMPARE(journal::callsOf(SELECT_SUB).last().args, QVariantList({5, 1, sent}));
}

void tst_STKDialogMenus::selectInTheSubMenu()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.table()->selectRow(1);
    w.forget();
    QTest::mouseClick(w.select(), Qt::LeftButton);
    QCOMPARE(journal::lines(), QStringList({"MDSV_STKSrv_SelectSubMenuItem(21, 1, 12)"}));
    QVERIFY(w.isWaiting());
    QCOMPARE(support::peek(w.thread(), &ThreadPeek::m_nTimeOut).load(), 20);
    QCOMPARE(takeCursors(), QList<int>({int(Qt::WaitCursor)}));
    QCOMPARE(logged::started(w.log), QStringList({"onButtonClickSelect", "subMenuSeleted", "stkWaitforRespond"}));
    QCOMPARE(w.rows(), SUB_ROWS);
}

void tst_STKDialogMenus::selectInTheSubMenuThatFails()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.sdk.answer(SELECT_SUB, 3);
    w.table()->selectRow(0);
    w.forget();
    QTest::mouseClick(w.select(), Qt::LeftButton);
    QCOMPARE(journal::names("MDSV_"), QStringList({SELECT_SUB, GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QCOMPARE(w.rows(), MAIN_ROWS);
    QVERIFY(!w.back()->isEnabled());
    QVERIFY(!w.isWaiting());
}

void tst_STKDialogMenus::selectInTheSubMenuSearchesTheSubMenu()
{
    DialogWorld &w = *m_world;
    // "Balance" is in the main menu as 1; the row of the sub-menu has no match in its own list.
    showSubMenu();
    w.table()->item(0, 0)->setText("Balance");
    w.table()->selectRow(0);
    w.forget();
    w.dialog->onButtonClickSelect();
    QCOMPARE(journal::lines("MDSV_"), QStringList({"MDSV_STKSrv_SelectSubMenuItem(21, 1, 0)"}));
}

void tst_STKDialogMenus::selectedItemMissing()
{
    DialogWorld &w = *m_world;
    w.dialog->subMenuSeleted(nullptr);
    QCOMPARE(journal::calls().size(), 0);
    const QStringList lines = w.log.debug();
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.first(), logged::start("subMenuSeleted"));
    // Path, function, time, line.
    const QRegularExpression missing(
        "^Arg is NULL: \\.\\./\\.\\./src/STKPlugin/STKDialog: subMenuSeleted: <time> \\d+$");
    QVERIFY2(missing.match(lines.last()).hasMatch(), qPrintable(lines.last()));
}

void tst_STKDialogMenus::selectedItemWithoutLogic()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.forget();
    w.dialog->subMenuSeleted(w.table()->item(0, 0));
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!w.isWaiting());
}

void tst_STKDialogMenus::backSends()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    QTest::mouseClick(w.back(), Qt::LeftButton);
    QCOMPARE(journal::lines(), QStringList({"MDSV_STKSrv_SelectSubMenuItem(21, 3, 0)"}));
    QVERIFY(w.isWaiting());
    QCOMPARE(support::peek(w.thread(), &ThreadPeek::m_nTimeOut).load(), 20);
    QCOMPARE(w.rows(), SUB_ROWS); // nothing changes until the card answers
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    QVERIFY(w.back()->isEnabled());
}

void tst_STKDialogMenus::backThatFails()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.sdk.answer(SELECT_SUB, 3);
    QTest::mouseClick(w.back(), Qt::LeftButton);
    QCOMPARE(journal::names("MDSV_"), QStringList({SELECT_SUB, GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.rows(), MAIN_ROWS);
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QVERIFY(!w.back()->isEnabled());
    QVERIFY(!w.isWaiting());
}

void tst_STKDialogMenus::backDoesNotLookAtTheMenu()
{
    DialogWorld &w = *m_world;
    QTest::mouseClick(w.back(), Qt::LeftButton); // disabled in the main menu
    QCOMPARE(journal::calls().size(), 0);
    w.dialog->onButtonClickBack();
    QCOMPARE(journal::lines(), QStringList({"MDSV_STKSrv_SelectSubMenuItem(0, 3, 0)"}));
}

void tst_STKDialogMenus::backWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->onButtonClickBack();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!w.isWaiting());
}

void tst_STKDialogMenus::backFailingAndTheReadingFailing()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.sdk.answer(SELECT_SUB, 3);
    w.sdk.answer(GET_MAIN, 1);
    w.dialog->onButtonClickBack();
    // What the failed reading left is shown: nothing.
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QCOMPARE(w.table()->rowCount(), 0);
    QCOMPARE(w.frame()->windowTitle(), QString());
    QCOMPARE(w.at(&DialogPeek::m_strTitle), QString("Operator"));
}

void tst_STKDialogMenus::doubleClickIgnoresItsArguments()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(2);
    w.forget();
    w.dialog->onCellDoubleClicked(0, 99);
    QCOMPARE(journal::lines(), QStringList({"MDSV_STKSrv_SelectMenuItem(1, 7)"}));
    QCOMPARE(logged::started(w.log), QStringList({"onCellDoubleClicked", "onButtonClickSelect", "stkWaitforRespond"}));
}

// ---------------------------------------------------------------- commands of the card

void tst_STKDialogMenus::setUpMenuCommand_data()
{
    QTest::addColumn<bool>("elsewhere");
    QTest::newRow("on the user-interface thread") << false;
    QTest::newRow("on the library's thread") << true;
}

void tst_STKDialogMenus::setUpMenuCommand()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    showSubMenu();
    w.logic->UpdateCBReturnVal(true);
    w.sdk.setMainMenu("New", {{3, "Three"}});
    w.forget();
    if (elsewhere)
        w.raiseElsewhere(MDSV_STKTYPE_SETUP_MENU, 30);
    else
        QCOMPARE(w.sdk.raiseStk(MDSV_STKTYPE_SETUP_MENU, 30), 0);
    QCOMPARE(journal::names("MDSV_"), QStringList({GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.rows(), QStringList({"Three"}));
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QVERIFY(w.log.debug().contains("Updated vale is 1, ../../src/STKPlugin/STKLogic: UpdateCBReturnVal: <time>: "));
    QVERIFY(support::peek(w.logic, &LogicPeek::m_bRet).load());
}

void tst_STKDialogMenus::setUpMenuCommandWhoseReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_MAIN, 2);
    w.sdk.raiseStk(MDSV_STKTYPE_SETUP_MENU, 30);
    QCOMPARE(w.table()->rowCount(), 0);
    QVERIFY(support::peek(w.logic, &LogicPeek::m_bRet).load());
    QCOMPARE(journal::count(RESPOND), 0);
}

void tst_STKDialogMenus::setUpMenuWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->onSTKSetupMenu();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!logged::started(w.log, "STKLogic").contains("UpdateCBReturnVal"));
}

void tst_STKDialogMenus::showMainMenuSignal()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    emit w.logic->ShowMainMenu();
    QCOMPARE(journal::names("MDSV_"), QStringList({GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.rows(), MAIN_ROWS);
    QVERIFY(!logged::started(w.log, "STKLogic").contains("UpdateCBReturnVal"));
}

void tst_STKDialogMenus::showMainMenuWithoutLogic()
{
    DialogWorld &w = *m_world;
    showSubMenu();
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->onShowMainMenu();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QCOMPARE(w.rows(), SUB_ROWS);
    QCOMPARE(w.log.debug().size(), 2); // the start and one line that tells
    QVERIFY(w.log.debug().last().contains("onShowMainMenu"));
    QVERIFY(w.log.debug().last() != logged::end("onShowMainMenu"));
}

void tst_STKDialogMenus::selectItemCommand_data()
{
    setUpMenuCommand_data();
}

void tst_STKDialogMenus::selectItemCommand()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    if (elsewhere)
        w.raiseElsewhere(MDSV_STKTYPE_SELECT_ITEM, -3);
    else
        w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, -3);
    QCOMPARE(journal::lines("MDSV_"),
             QStringList({"MDSV_STKSrv_GetSubMenu(-3)", "MDSV_STKSrv_ReleaseSubMenus(\"News\", 2)"}));
    QCOMPARE(w.rows(), SUB_ROWS);
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    QCOMPARE(w.frame()->windowTitle(), QString("News"));
    QVERIFY(w.back()->isEnabled());
    QVERIFY(support::peek(w.logic, &LogicPeek::m_bRet).load());
}

void tst_STKDialogMenus::selectItemWhoseReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_SUB, 3);
    w.table()->selectRow(1);
    w.forget();
    w.dialog->onSTKSelItem();
    QCOMPARE(journal::names(), QStringList({GET_SUB}));
    QVERIFY(!support::peek(w.logic, &LogicPeek::m_bRet).load());
    QCOMPARE(w.rows(), MAIN_ROWS);
    QCOMPARE(w.table()->currentRow(), 1);
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QVERIFY(!w.back()->isEnabled());
}

void tst_STKDialogMenus::selectItemCommandWhoseReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_SUB, 3);
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 40);
    // The card gets its answer, and the main menu comes back.
    QCOMPARE(journal::names("MDSV_"), QStringList({GET_SUB, RESPOND, GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(journal::callsOf(RESPOND).first().args, QVariantList({40, 6, 0}));
}

void tst_STKDialogMenus::selectItemWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->onSTKSelItem();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!logged::started(w.log, "STKLogic").contains("UpdateCBReturnVal"));
}

void tst_STKDialogMenus::sessionTimeOutBringsTheMainMenu_data()
{
    setUpMenuCommand_data();
}

void tst_STKDialogMenus::sessionTimeOutBringsTheMainMenu()
{
    QFETCH(bool, elsewhere);
    DialogWorld &w = *m_world;
    showSubMenu();
    if (elsewhere)
        w.raiseElsewhere(MDSV_STKTYPE_SELECT_ITEM, 21, 1);
    else
        w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 21, 1);
    QCOMPARE(journal::names("MDSV_"), QStringList({GET_MAIN, RELEASE_MAIN}));
    QCOMPARE(w.rows(), MAIN_ROWS);
    QVERIFY(!w.back()->isEnabled());
}

QTEST_MAIN(tst_STKDialogMenus)
#include "tst_STKDialogMenus.moc"
