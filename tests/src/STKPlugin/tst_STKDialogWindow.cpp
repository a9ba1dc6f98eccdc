// The window's controller: building the window, its layout, names and texts, showing it, and losing it.
#include "DialogWorld.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QScrollBar>

#include <memory>

using support::Call;
using support::ref;
namespace journal = support::journal;

namespace
{
const char GET_MAIN_MENU[] = "MDSV_STKSrv_GetMainMenu";
const char SET_TITLE[] = "ExtendDialog::setWindowTitle";

const QStringList ALL_POINTERS = {"m_pTableWidget", "m_pBtnBack",  "m_pExtendDlg", "m_pMainWidget",
                                  "m_pBtnSelect",   "m_pBtnClose", "m_pStkTimer",  "m_pToneTimer"};
} // namespace

typedef QPointer<QPushButton> STKDialog::*ButtonMember;
Q_DECLARE_METATYPE(ButtonMember)

/// Notes what the window is like when it appears.
class StateAtShow : public QObject
{
public:
    explicit StateAtShow(const DialogWorld &world) : m_world(world) { qApp->installEventFilter(this); }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        const QWidget *frame = m_world.frame();
        if (event->type() != QEvent::Show || object != frame)
            return false;
        size = frame->minimumSize() == frame->maximumSize() ? frame->maximumSize() : QSize();
        modality = frame->windowModality();
        focus = frame->focusWidget();
        backEnabled = m_world.back()->isEnabled();
        return false;
    }

    QSize size;
    Qt::WindowModality modality = Qt::NonModal;
    QWidget *focus = nullptr;
    bool backEnabled = true;

private:
    const DialogWorld &m_world;
};

class tst_STKDialogWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void buildingCallsTheHostInOrder();
    void buildingMakesTheWidgets();
    void buildingReadsTheMainMenu();
    void buildingWithoutAMainMenu();
    void buildingWithoutLogic();
    void buildingAgainForgetsTheEarlierWidgets();
    void buildingAgainWithoutATitle();
    void tableSettings();
    void objectNames();
    void objectNamesWithAWidgetMissing_data();
    void objectNamesWithAWidgetMissing();
    void buttonTexts();
    void buttonTextsFollowTheLanguage();
    void buttonTextsWithAButtonMissing_data();
    void buttonTextsWithAButtonMissing();
    void layoutIsAsGiven();
    void layoutOnTheScreen();
    void rowsAre17PixelsHigh();

    void showingCallsTheHostInOrder();
    void showingConnectsTheWidgets();
    void showingSetsTheFrame();
    void showingRunsInOrder();
    void showingLogsStartAndEnd();
    void showingDoesNotUseTheRectangle();
    void showingWithoutAMainMenu();
    void showingWhenOnlyTheSecondReadingFails();
    void showingWhenOnlyTheFirstReadingFails();
    void showingWithoutLogic();
    void showingWithoutAParent();
    void aSecondWindowLeavesTheFirstOpen();
    void theHostsWindowDeletedWhileTheWindowIsOpen();

private:
    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogWindow::init()
{
    m_world.reset(new DialogWorld);
}

void tst_STKDialogWindow::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

void tst_STKDialogWindow::buildingCallsTheHostInOrder()
{
    DialogWorld &w = *m_world;
    w.forget();
    QVERIFY(w.dialog->initUI(w.host));
    const QStringList expected = {
        "ExtendDialog::ExtendDialog(<pointer>, 134217728, 1)", "ExtendDialog::AddMainWidget(<pointer>)",
        "Change::tr(\"IDS_STK_BTN_BACK\", \"STKPlugin\")",     "Change::tr(\"IDS_STK_BTN_SELECT\", \"STKPlugin\")",
        "Change::tr(\"IDS_STK_BTN_CLOSE\", \"STKPlugin\")",    "MDSV_STKSrv_GetMainMenu()",
        "MDSV_STKSrv_ReleaseMenus(\"Operator\", 3)",           "ExtendDialog::setWindowTitle(\"Operator\")",
        "ExtendDialog::setWindowTitle(\"Operator\")",
    };
    QCOMPARE(journal::lines(), expected);
    QCOMPARE(journal::calls().at(0).args.at(0), ref(w.host.data()));
    QCOMPARE(journal::calls().at(1).args.at(0), ref(w.at(&DialogPeek::m_pMainWidget).data()));
    const QStringList steps = {"initUI",           "STKExtendDlg",   "Instantiate",  "SetStkUiText",
                               "setStkObjectName", "setStkUiLayout", "showMainMenu", "deleteTableItems"};
    QStringList started = logged::started(w.log);
    started.removeAll("tr");
    QCOMPARE(started, steps);
    QCOMPARE(logged::linesOf(w.log, "initUI"), QStringList({logged::start("initUI"), logged::end("initUI")}));
}

void tst_STKDialogWindow::buildingMakesTheWidgets()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.dialog->initUI(w.host));
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    QWidget *content = w.at(&DialogPeek::m_pMainWidget);
    QCOMPARE(w.frame()->parentWidget(), w.host.data());
    QVERIFY(w.frame()->isWindow());
    QVERIFY(w.frame()->windowFlags() & Qt::WindowCloseButtonHint);
    QCOMPARE(content->parentWidget(), static_cast<QWidget *>(w.frame()));
    QCOMPARE(content->metaObject()->className(), "QWidget");
    for (QWidget *widget : QList<QWidget *>{w.back(), w.select(), w.close(), w.table()})
        QCOMPARE(widget->parentWidget(), content);
    for (QTimer *timer : {w.at(&DialogPeek::m_pStkTimer), w.at(&DialogPeek::m_pToneTimer)}) {
        QCOMPARE(timer->parent(), w.dialog);
        QVERIFY(!timer->isActive());
        QVERIFY(!timer->isSingleShot());
    }
    // In the order of creation, as it is in the parent's list: Back, Select, Close, table.
    QList<QObject *> made = content->children();
    made.removeOne(content->layout());
    QCOMPARE(made, QList<QObject *>({w.back(), w.select(), w.close(), w.table()}));
    QVERIFY(!w.frame()->isVisible());
    delete w.frame();
}

void tst_STKDialogWindow::buildingReadsTheMainMenu()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.dialog->initUI(w.host));
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    QCOMPARE(w.at(&DialogPeek::m_strTitle), QString("Operator"));
    QCOMPARE(w.rows(), QStringList({"Balance", "News", "Help"}));
    QCOMPARE(w.frame()->windowTitle(), QString("Operator"));
    delete w.frame();
}

void tst_STKDialogWindow::buildingWithoutAMainMenu()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_MAIN_MENU, 2);
    w.forget();
    QVERIFY(w.dialog->initUI(w.host));
    QCOMPARE(w.menuState(), QString("STK_UNKNOWN"));
    QVERIFY(w.at(&DialogPeek::m_strTitle).isEmpty());
    QCOMPARE(w.table()->rowCount(), 0);
    QCOMPARE(journal::callsOf(SET_TITLE).size(), 1);
    QCOMPARE(journal::callsOf(SET_TITLE).first().args.first().toString(), QString());
    QVERIFY(!logged::started(w.log).contains("showMainMenu"));
    delete w.frame();
}

void tst_STKDialogWindow::buildingWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.forget();
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    QVERIFY(w.dialog->initUI(w.host));
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::names("MDSV_"), QStringList());
    QCOMPARE(w.menuState(), QString("STK_UNKNOWN"));
    delete w.frame();
}

void tst_STKDialogWindow::buildingAgainForgetsTheEarlierWidgets()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.dialog->initUI(w.host));
    const QPointer<STKExtendDlg> frame(w.frame());
    const QPointer<STKTableWidget> table(w.table());
    const QPointer<QTimer> timer(w.at(&DialogPeek::m_pStkTimer));
    const QPointer<QTimer> toneTimer(w.at(&DialogPeek::m_pToneTimer));
    QVERIFY(w.dialog->initUI(w.host));
    QVERIFY(frame && table && timer && toneTimer);
    QVERIFY(w.frame() != frame);
    QVERIFY(w.table() != table);
    QVERIFY(w.at(&DialogPeek::m_pStkTimer) != timer);
    QVERIFY(w.at(&DialogPeek::m_pToneTimer) != toneTimer);
    QCOMPARE(table->rowCount(), 3); // its rows are its own
    delete frame;
    delete w.frame();
}

void tst_STKDialogWindow::buildingAgainWithoutATitle()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.dialog->initUI(w.host));
    delete w.frame();
    w.sdk.setMainMenu("", {{1, "Balance"}});
    QVERIFY(w.dialog->initUI(w.host));
    QVERIFY(w.at(&DialogPeek::m_strTitle).isEmpty()); // the title before is not kept, unlike in showMainMenu()
    QCOMPARE(w.frame()->windowTitle(), QString());
    delete w.frame();
}

void tst_STKDialogWindow::tableSettings()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    const STKTableWidget *table = w.table();
    QCOMPARE(table->columnCount(), 1);
    QCOMPARE(table->columnWidth(0), 345);
    QVERIFY(!table->verticalHeader()->isVisible());
    QVERIFY(!table->horizontalHeader()->isVisible());
    QVERIFY(!table->horizontalScrollBar()->isVisible());
    QCOMPARE(table->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    QCOMPARE(table->editTriggers(), QAbstractItemView::EditTriggers(QAbstractItemView::NoEditTriggers));
    QVERIFY(!table->showGrid());
    QCOMPARE(table->selectionBehavior(), QAbstractItemView::SelectRows);
    QCOMPARE(table->selectionMode(), QAbstractItemView::SingleSelection);
    QVERIFY(!table->tabKeyNavigation());
}

void tst_STKDialogWindow::objectNames()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    QCOMPARE(w.frame()->objectName(), QString("STKPlugin_Stkdialog"));
    QCOMPARE(w.at(&DialogPeek::m_pMainWidget)->objectName(), QString("STKPlugin_StkWidget"));
    QCOMPARE(w.back()->objectName(), QString("STKPlugin_PushBtnBack"));
    QCOMPARE(w.select()->objectName(), QString("STKPlugin_PushBtnSelect"));
    QCOMPARE(w.close()->objectName(), QString("STKPlugin_PushBtnClose"));
    QCOMPARE(w.table()->objectName(), QString("STKPlugin_TableWidgetMenu"));
    QCOMPARE(logged::linesOf(w.log, "setStkObjectName"),
             QStringList({logged::start("setStkObjectName"), logged::end("setStkObjectName")}));
}

void tst_STKDialogWindow::objectNamesWithAWidgetMissing_data()
{
    QTest::addColumn<QString>("missing");
    for (const char *name :
         {"m_pExtendDlg", "m_pMainWidget", "m_pBtnBack", "m_pBtnSelect", "m_pBtnClose", "m_pTableWidget"})
        QTest::newRow(name) << QString(name);
}

void tst_STKDialogWindow::objectNamesWithAWidgetMissing()
{
    QFETCH(QString, missing);
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    const QPointer<STKExtendDlg> frame(w.frame());
    for (QWidget *widget : frame->findChildren<QWidget *>())
        widget->setObjectName("mine");
    frame->setObjectName("mine");
    QPointer<QWidget> content(w.at(&DialogPeek::m_pMainWidget));
    if (missing == "m_pExtendDlg")
        w.at(&DialogPeek::m_pExtendDlg) = nullptr;
    else if (missing == "m_pMainWidget")
        w.at(&DialogPeek::m_pMainWidget) = nullptr;
    else if (missing == "m_pBtnBack")
        w.at(&DialogPeek::m_pBtnBack) = nullptr;
    else if (missing == "m_pBtnSelect")
        w.at(&DialogPeek::m_pBtnSelect) = nullptr;
    else if (missing == "m_pBtnClose")
        w.at(&DialogPeek::m_pBtnClose) = nullptr;
    else
        w.at(&DialogPeek::m_pTableWidget) = nullptr;
    w.forget();
    w.dialog->setStkObjectName();
    QCOMPARE(w.log.debug(),
             QStringList({logged::start("setStkObjectName"),
                          "Some widget is null  ../../src/STKPlugin/STKDialog: setStkObjectName: <time>: "}));
    QCOMPARE(frame->objectName(), QString("mine"));
    for (const QWidget *widget : frame->findChildren<QWidget *>())
        QCOMPARE(widget->objectName(), QString("mine"));
    delete frame;
}

void tst_STKDialogWindow::buttonTexts()
{
    DialogWorld &w = *m_world;
    w.core.setTranslator([](const QString &key, const QString &group) { return group + '/' + key; });
    QVERIFY(w.show());
    QCOMPARE(w.back()->text(), QString("STKPlugin/IDS_STK_BTN_BACK"));
    QCOMPARE(w.select()->text(), QString("STKPlugin/IDS_STK_BTN_SELECT"));
    QCOMPARE(w.close()->text(), QString("STKPlugin/IDS_STK_BTN_CLOSE"));
}

void tst_STKDialogWindow::buttonTextsFollowTheLanguage()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    w.core.setTranslator([](const QString &key, const QString &) { return "fr:" + key; });
    w.forget();
    w.dialog->SetStkUiText();
    QCOMPARE(w.back()->text(), QString("fr:IDS_STK_BTN_BACK"));
    QCOMPARE(w.select()->text(), QString("fr:IDS_STK_BTN_SELECT"));
    QCOMPARE(w.close()->text(), QString("fr:IDS_STK_BTN_CLOSE"));
    QCOMPARE(journal::names(), QStringList({"Change::tr", "Change::tr", "Change::tr"})); // the title is not touched
    QCOMPARE(w.frame()->windowTitle(), QString("Operator"));
}

void tst_STKDialogWindow::buttonTextsWithAButtonMissing_data()
{
    QTest::addColumn<ButtonMember>("button");
    QTest::newRow("Back") << ButtonMember(&DialogPeek::m_pBtnBack);
    QTest::newRow("Select") << ButtonMember(&DialogPeek::m_pBtnSelect);
    QTest::newRow("Close") << ButtonMember(&DialogPeek::m_pBtnClose);
}

void tst_STKDialogWindow::buttonTextsWithAButtonMissing()
{
    QFETCH(ButtonMember, button);
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    w.at(button) = nullptr;
    w.forget();
    w.dialog->SetStkUiText();
    QCOMPARE(w.log.debug(), QStringList({logged::start("SetStkUiText"),
                                         "Widgets id NULL ../../src/STKPlugin/STKDialog: SetStkUiText: <time>: "}));
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKDialogWindow::layoutIsAsGiven()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    QVBoxLayout *column = qobject_cast<QVBoxLayout *>(w.at(&DialogPeek::m_pMainWidget)->layout());
    QVERIFY(column);
    QCOMPARE(int(column->alignment()), int(Qt::AlignHCenter | Qt::AlignVCenter));
    QCOMPARE(column->count(), 3);
    QCOMPARE(column->itemAt(0)->widget(), static_cast<QWidget *>(w.table()));
    QCOMPARE(int(column->itemAt(0)->alignment()), 0);
    QVERIFY(column->itemAt(1)->spacerItem());
    QCOMPARE(column->itemAt(1)->sizeHint().height(), 10);
    QHBoxLayout *row = qobject_cast<QHBoxLayout *>(column->itemAt(2)->layout());
    QVERIFY(row);
    QCOMPARE(int(row->alignment()), int(Qt::AlignLeft));
    QCOMPARE(row->spacing(), 20);
    QCOMPARE(row->count(), 3);
    QCOMPARE(row->itemAt(0)->widget(), static_cast<QWidget *>(w.back()));
    QCOMPARE(row->itemAt(1)->widget(), static_cast<QWidget *>(w.select()));
    QHBoxLayout *group = qobject_cast<QHBoxLayout *>(row->itemAt(2)->layout());
    QVERIFY(group);
    QCOMPARE(int(group->alignment()), int(Qt::AlignRight));
    QCOMPARE(group->count(), 2);
    QVERIFY(group->itemAt(0)->spacerItem());
    QCOMPARE(group->itemAt(0)->sizeHint().width(), 55);
    QCOMPARE(group->itemAt(1)->widget(), static_cast<QWidget *>(w.close()));
    for (QBoxLayout *layout : QList<QBoxLayout *>{column, row, group}) {
        for (int i = 0; i < layout->count(); ++i) {
            QCOMPARE(layout->stretch(i), 0);
            if (layout->itemAt(i)->widget())
                QCOMPARE(int(layout->itemAt(i)->alignment()), 0);
        }
    }
    QCOMPARE(w.table()->minimumSize(), QSize(345, 250));
    QCOMPARE(w.table()->maximumSize(), QSize(345, 250));
    QCOMPARE(logged::linesOf(w.log, "setStkUiLayout"),
             QStringList({logged::start("setStkUiLayout"), logged::end("setStkUiLayout")}));
}

void tst_STKDialogWindow::layoutOnTheScreen()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    const auto placed = [&w](QWidget *widget) { return QRect(widget->mapTo(w.frame(), QPoint(0, 0)), widget->size()); };
    const QRect table = placed(w.table());
    const QRect back = placed(w.back());
    const QRect select = placed(w.select());
    const QRect close = placed(w.close());
    QCOMPARE(table.size(), QSize(345, 250));
    QVERIFY(back.top() >= table.bottom() + 1 + 10);
    QCOMPARE(select.left() - (back.right() + 1), 20);
    QVERIFY(close.left() >= select.right() + 1 + 55);
    QCOMPARE(back.top(), close.top());
    for (const QRect &part : {table, back, select, close})
        QVERIFY(w.frame()->rect().contains(part));
}

void tst_STKDialogWindow::rowsAre17PixelsHigh()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    for (int i = 0; i < w.table()->rowCount(); ++i) {
        QCOMPARE(w.table()->rowHeight(i), 17);
        QCOMPARE(w.table()->visualItemRect(w.table()->item(i, 0)).height(), 17);
    }
}

void tst_STKDialogWindow::showingCallsTheHostInOrder()
{
    DialogWorld &w = *m_world;
    w.forget();
    QVERIFY(w.show());
    QStringList names = journal::names();
    names.removeAll("Change::tr");
    const QStringList expected = {"ExtendDialog::ExtendDialog",
                                  "ExtendDialog::AddMainWidget", // the building
                                  GET_MAIN_MENU,
                                  "MDSV_STKSrv_ReleaseMenus",
                                  SET_TITLE,
                                  SET_TITLE,
                                  GET_MAIN_MENU,
                                  "MDSV_STKSrv_ReleaseMenus",
                                  SET_TITLE, // again
                                  "CommonUtils::MoveCentre"};
    QCOMPARE(names, expected);
    QCOMPARE(journal::calls().last().args, QVariantList({ref(static_cast<QDialog *>(w.frame()))}));
    QVERIFY(takeCursors().isEmpty());
}

void tst_STKDialogWindow::showingConnectsTheWidgets()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    // The way from each widget to its slot, and that there is one.
    const QList<QPair<std::function<void()>, QString>> ways = {
        {[&w] { emit w.back()->clicked(); }, "onButtonClickBack"},
        {[&w] { emit w.select()->clicked(); }, "onButtonClickSelect"},
        {[&w] { emit w.table()->cellDoubleClicked(0, 0); }, "onCellDoubleClicked"},
        {[&w] { QMetaObject::invokeMethod(w.at(&DialogPeek::m_pStkTimer), "timeout"); }, "onSTKTimeOut"},
        {[&w] { QMetaObject::invokeMethod(w.at(&DialogPeek::m_pToneTimer), "timeout"); }, "onSTKPlayToneTimeOut"},
        {[&w] { emit w.close()->clicked(); }, "onButtonClickClose"},
    };
    for (const auto &way : ways) {
        w.log.clear();
        way.first();
        QVERIFY(w.endWait());
        QCOMPARE(logged::started(w.log).count(way.second), way.second == "onButtonClickClose" ? 2 : 1);
    }
}

void tst_STKDialogWindow::showingSetsTheFrame()
{
    DialogWorld &w = *m_world;
    w.core.setMainWindow(w.host);
    QVERIFY(w.show());
    QCOMPARE(w.frame()->size(), QSize(380, 357));
    QCOMPARE(w.frame()->minimumSize(), QSize(380, 357));
    QCOMPARE(w.frame()->maximumSize(), QSize(380, 357));
    QCOMPARE(w.frame()->windowModality(), Qt::WindowModal);
    QVERIFY(w.frame()->isVisible());
    QVERIFY(w.frame()->testAttribute(Qt::WA_DeleteOnClose));
    QCOMPARE(w.frame()->focusWidget(), static_cast<QWidget *>(w.close()));
    QVERIFY(!w.back()->isEnabled());
    QVERIFY(w.select()->isEnabled());
    QVERIFY(w.close()->isEnabled());
    QVERIFY(!w.table()->currentItem());
}

void tst_STKDialogWindow::showingRunsInOrder()
{
    DialogWorld &w = *m_world;
    StateAtShow atShow(w);
    bool visible = false;
    bool deletes = true;
    journal::setObserver([&](const Call &call) {
        if (call.name != "CommonUtils::MoveCentre")
            return;
        visible = w.frame()->isVisible();
        deletes = w.frame()->testAttribute(Qt::WA_DeleteOnClose);
    });
    const bool shown = w.show();
    journal::setObserver(nullptr);
    QVERIFY(shown);
    // What the window is like when it appears, and when the host moves it.
    QCOMPARE(atShow.size, QSize(380, 357));
    QCOMPARE(atShow.modality, Qt::WindowModal);
    QCOMPARE(atShow.focus, static_cast<QWidget *>(w.close()));
    QVERIFY(!atShow.backEnabled);
    QVERIFY(visible);
    QVERIFY(!deletes);
}

void tst_STKDialogWindow::showingLogsStartAndEnd()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    QCOMPARE(logged::linesOf(w.log, "ShowStkDlg"),
             QStringList({logged::start("ShowStkDlg"), logged::end("ShowStkDlg")}));
}

void tst_STKDialogWindow::showingDoesNotUseTheRectangle()
{
    DialogWorld &w = *m_world;
    QRect rect(-5000, -5000, 1, 1);
    QVERIFY(w.dialog->ShowStkDlg(w.host, rect));
    QCOMPARE(rect, QRect(-5000, -5000, 1, 1));
    QCOMPARE(w.frame()->size(), QSize(380, 357));
}

void tst_STKDialogWindow::showingWithoutAMainMenu()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_MAIN_MENU, 2);
    QVERIFY(w.show());
    QCOMPARE(w.menuState(), QString("STK_MAINMENU")); // showMainMenu ran with what there was: nothing
    QCOMPARE(w.table()->rowCount(), 0);
    QCOMPARE(w.frame()->windowTitle(), QString());
    QVERIFY(w.at(&DialogPeek::m_strTitle).isEmpty());
    QVERIFY(!w.back()->isEnabled());
}

void tst_STKDialogWindow::showingWhenOnlyTheSecondReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answerOnce(GET_MAIN_MENU, 0);
    w.sdk.answerOnce(GET_MAIN_MENU, 1);
    QVERIFY(w.show());
    QCOMPARE(w.table()->rowCount(), 0);
    QCOMPARE(w.frame()->windowTitle(), QString());
    QVERIFY(w.at(&DialogPeek::m_strTitle).isEmpty());
}

void tst_STKDialogWindow::showingWhenOnlyTheFirstReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answerOnce(GET_MAIN_MENU, 1);
    QVERIFY(w.show());
    QCOMPARE(w.rows(), QStringList({"Balance", "News", "Help"}));
    QCOMPARE(w.frame()->windowTitle(), QString("Operator"));
    QCOMPARE(w.at(&DialogPeek::m_strTitle), QString("Operator"));
}

void tst_STKDialogWindow::showingWithoutLogic()
{
    DialogWorld &w = *m_world;
    w.forget();
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    QVERIFY(w.show());
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QCOMPARE(journal::names("MDSV_"), QStringList());
    QVERIFY(w.frame()->isVisible());
    QVERIFY(!w.back()->isEnabled());
}

void tst_STKDialogWindow::showingWithoutAParent()
{
    DialogWorld &w = *m_world;
    QRect rect;
    QVERIFY(w.dialog->ShowStkDlg(nullptr, rect));
    QVERIFY(!w.frame()->parentWidget());
    QVERIFY(w.frame()->isVisible());
    w.dialog->onButtonClickClose();
    QVERIFY(!w.frame());
}

void tst_STKDialogWindow::aSecondWindowLeavesTheFirstOpen()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    const QPointer<STKExtendDlg> first(w.frame());
    const QPointer<QPushButton> firstClose(w.close());
    const QPointer<STKTableWidget> firstTable(w.table());
    w.dialog->onSTKSelItem();
    QVERIFY(w.show());
    const QPointer<STKExtendDlg> second(w.frame());
    QVERIFY(second && second != first);
    QVERIFY(first->isVisible());
    QVERIFY(!w.back()->isEnabled());
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));

    // The first one's widgets still reach the same slots, which speak to the second window.
    w.forget();
    emit firstClose->clicked();
    QVERIFY(!second || !second->isVisible());
    QVERIFY(first && first->isVisible());
    QCOMPARE(w.setPointers(), QStringList());
    // Only the earlier window is left; nothing but a close does anything there.
    emit firstTable->cellDoubleClicked(0, 0);
    QCOMPARE(journal::count("MDSV_STKSrv_SelectMenuItem"), 0);
    QVERIFY(first->close());
    QTRY_VERIFY(!first);
}

void tst_STKDialogWindow::theHostsWindowDeletedWhileTheWindowIsOpen()
{
    DialogWorld &w = *m_world;
    QVERIFY(w.show());
    delete w.host;
    QCOMPARE(w.setPointers(), QStringList({"m_pStkTimer", "m_pToneTimer"}));

    // Whatever comes now finds no window.
    w.dialog->SetStkUiText();
    w.dialog->setStkObjectName();
    w.dialog->onSTKSelItem();
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    w.dialog->onShowMainMenu();
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    w.dialog->onButtonClickSelect();
    w.dialog->onDeviceAvailable(false);
    QTRY_COMPARE(logged::started(w.log).count("onButtonClickClose"), 1);

    // A window over another one works again.
    QWidget other;
    QRect rect;
    QVERIFY(w.dialog->ShowStkDlg(&other, rect));
    QCOMPARE(w.rows().size(), 3);
    w.dialog->onButtonClickClose();
    QVERIFY(w.endWait());
}

QTEST_MAIN(tst_STKDialogWindow)
#include "tst_STKDialogWindow.moc"
