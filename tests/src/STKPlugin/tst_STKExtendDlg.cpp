// The frame of the window, and all the ways in which it closes or does not.
#include "DialogWorld.h"

#include <QtGui/QCloseEvent>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

namespace journal = support::journal;

struct FramePeek : STKExtendDlg {
    using STKExtendDlg::closeEvent;
    using STKExtendDlg::m_pStkDialog;
};

namespace
{
const char GET_MAIN_MENU[] = "MDSV_STKSrv_GetMainMenu";
const char SELECT_MAIN[] = "MDSV_STKSrv_SelectMenuItem";

const QStringList ALL_POINTERS = {"m_pTableWidget", "m_pBtnBack",  "m_pExtendDlg", "m_pMainWidget",
                                  "m_pBtnSelect",   "m_pBtnClose", "m_pStkTimer",  "m_pToneTimer"};
const QList<int> ARROW = {int(Qt::ArrowCursor)};
const QList<int> TWO_ARROWS = {int(Qt::ArrowCursor), int(Qt::ArrowCursor)};
} // namespace

/// Has the wait end right behind the frame's refusal to close.
class EndBehindRefusal : public QObject
{
public:
    explicit EndBehindRefusal(DialogWorld &world) : m_world(world) { m_world.frame()->installEventFilter(this); }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() != QEvent::Close)
            return false;
        object->removeEventFilter(this);
        object->event(event);
        m_world.thread()->RequestStop();
        return m_world.thread()->wait();
    }

private:
    DialogWorld &m_world;
};

class tst_STKExtendDlg : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void hasNoMetaObjectOfItsOwn();
    void knowsNoDialogUntilInstantiated();
    void closeEventWithoutADialogLeavesTheEvent();
    void rejectWithoutADialogDoesNothing();
    void rejectLogs();

    void theCloseButtonCloses();
    void theFramesOwnCloseCloses();
    void escapeCloses_data();
    void escapeCloses();
    void closingTwiceIsHarmless();
    void closingWithoutAWindowOnlyReads();
    void closingWithoutLogicClosesAllTheSame();
    void closingWithoutLogicAfterEnter();
    void closeAndShowAgain();
    void aClosedWindowRefreshesNothing();
    void closingWhenTheReadingFails();

    void whileWaitingTheCloseButtonIsRefused();
    void whileWaitingTheFramesCloseIsRefused();
    void whileWaitingEscapeIsRefused();
    void aWaitThatEndsBehindTheRefusalLeavesAUsableWindow();
    void afterTheWaitItCloses();

    void returnOnASelectedRowSelects_data();
    void returnOnASelectedRowSelects();
    void returnOnASelectedRowOfASubMenuSelects();
    void returnWithASelectionThatFails();
    void returnThenTheCloseButton();
    void returnThenTheCloseButtonWithASelectionThatFails();
    void returnThenEscape();
    void returnWithoutASelectionCloses();
    void returnOnAButtonPressesIt();

    void theWindowsEndWithinASelection();
    void theWindowsEndWithinAReadingForClose();

private:
    void pressOnRow(int row, Qt::Key key);

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKExtendDlg::init()
{
    m_world.reset(new DialogWorld);
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKExtendDlg::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

void tst_STKExtendDlg::pressOnRow(int row, Qt::Key key)
{
    m_world->table()->setFocus();
    m_world->table()->selectRow(row);
    QTest::keyClick(m_world->table(), key);
}

void tst_STKExtendDlg::hasNoMetaObjectOfItsOwn()
{
    QCOMPARE(m_world->frame()->metaObject()->className(), "ExtendDialog");
}

void tst_STKExtendDlg::knowsNoDialogUntilInstantiated()
{
    STKExtendDlg fresh(nullptr, Qt::WindowCloseButtonHint, 1);
    QVERIFY(!support::peek(&fresh, &FramePeek::m_pStkDialog));
    fresh.Instantiate(m_world->dialog);
    QCOMPARE(support::peek(&fresh, &FramePeek::m_pStkDialog).data(), m_world->dialog);
    QCOMPARE(support::peek(m_world->frame(), &FramePeek::m_pStkDialog).data(), m_world->dialog);
    QCOMPARE(journal::lines("ExtendDialog::ExtendDialog"),
             QStringList({"ExtendDialog::ExtendDialog(null, 134217728, 1)"}));
}

void tst_STKExtendDlg::closeEventWithoutADialogLeavesTheEvent()
{
    STKExtendDlg fresh(nullptr, Qt::WindowCloseButtonHint, 1);
    m_world->forget();
    for (bool accepted : {true, false}) {
        QCloseEvent event;
        event.setAccepted(accepted);
        (fresh.*(&FramePeek::closeEvent))(&event);
        QCOMPARE(event.isAccepted(), accepted);
    }
    QCOMPARE(m_world->log.debug(), QStringList({logged::start("closeEvent"), logged::start("closeEvent")}));
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKExtendDlg::rejectWithoutADialogDoesNothing()
{
    STKExtendDlg fresh(nullptr, Qt::WindowCloseButtonHint, 1);
    fresh.show();
    m_world->forget();
    fresh.reject();
    QVERIFY(fresh.isVisible());
    QCOMPARE(m_world->log.debug(), QStringList());
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKExtendDlg::rejectLogs()
{
    m_world->frame()->reject();
    QCOMPARE(logged::linesOf(m_world->log, "reject"),
             QStringList({"<time> : ../../src/STKPlugin/STKDialog : reject : Entered"}));
    QCOMPARE(m_world->log.debug().last(), logged::linesOf(m_world->log, "reject").last());
}

void tst_STKExtendDlg::theCloseButtonCloses()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    QTest::mouseClick(w.close(), Qt::LeftButton);
    QTRY_VERIFY(!frame);
    QCOMPARE(w.setPointers(), QStringList());
    // Once for the click, once for the close event that it causes.
    QCOMPARE(journal::count(GET_MAIN_MENU), 2);
    QCOMPARE(takeCursors(), TWO_ARROWS);
    QCOMPARE(logged::started(w.log), QStringList({"onButtonClickClose", "closeEvent", "onButtonClickClose"}));
    QCOMPARE(w.rows(), QStringList());
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
}

void tst_STKExtendDlg::theFramesOwnCloseCloses()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    QVERIFY(frame->close());
    QTRY_VERIFY(!frame);
    QCOMPARE(w.setPointers(), QStringList());
    QCOMPARE(journal::count(GET_MAIN_MENU), 1); // the close within the close is nothing to Qt
    QCOMPARE(takeCursors(), ARROW);
    QCOMPARE(logged::started(w.log), QStringList({"closeEvent", "onButtonClickClose"}));
}

void tst_STKExtendDlg::escapeCloses_data()
{
    QTest::addColumn<bool>("onTable");
    QTest::newRow("on a button") << false;
    QTest::newRow("on the table") << true;
}

void tst_STKExtendDlg::escapeCloses()
{
    QFETCH(bool, onTable);
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    QSignalSpy rejected(frame, SIGNAL(rejected()));
    QWidget *target = w.close();
    if (onTable) {
        w.table()->selectRow(1);
        target = w.table();
    }
    QTest::keyClick(target, Qt::Key_Escape);
    QTRY_VERIFY(!frame);
    QCOMPARE(rejected.count(), 0); // the dialog's own close is the only path
    QCOMPARE(w.setPointers(), QStringList());
    QCOMPARE(journal::count(GET_MAIN_MENU), 2);
    QCOMPARE(takeCursors(), TWO_ARROWS);
    QCOMPARE(journal::count(SELECT_MAIN), 0);
}

void tst_STKExtendDlg::closingTwiceIsHarmless()
{
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.forget();
    w.dialog->onButtonClickClose();
    QCOMPARE(journal::count(GET_MAIN_MENU), 1);
    QVERIFY(takeCursors().isEmpty());
}

void tst_STKExtendDlg::closingWithoutAWindowOnlyReads()
{
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.sdk.setMainMenu("New", {{5, "Five"}});
    w.forget();
    w.dialog->onButtonClickClose();
    QCOMPARE(journal::names(), QStringList({GET_MAIN_MENU, "MDSV_STKSrv_ReleaseMenus"}));
    QCOMPARE(w.at(&DialogPeek::m_stMainMenu).pItemList->size(), 1);
    QCOMPARE(w.at(&DialogPeek::m_stMainMenu).strTitle, QString("New"));
    QCOMPARE(w.at(&DialogPeek::m_strTitle), QString("Operator")); // nothing is shown
}

void tst_STKExtendDlg::closingWithoutLogicClosesAllTheSame()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.dialog->onButtonClickClose();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QTRY_VERIFY(!frame);
    QCOMPARE(journal::count(GET_MAIN_MENU), 0);
    QCOMPARE(w.setPointers(), QStringList());
    QCOMPARE(takeCursors(), TWO_ARROWS);
}

void tst_STKExtendDlg::closingWithoutLogicAfterEnter()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(1);
    w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.at(&DialogPeek::m_bEnterPressed) = true;
    QVERIFY(!w.frame()->close());
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    QVERIFY(w.frame()->isVisible());
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(journal::names("MDSV_"), QStringList());
}

void tst_STKExtendDlg::closeAndShowAgain()
{
    DialogWorld &w = *m_world;
    w.dialog->onSTKSelItem();
    for (int i = 0; i < 3; ++i) {
        const QPointer<STKExtendDlg> before(w.frame());
        QTest::mouseClick(w.close(), Qt::LeftButton);
        QVERIFY(!w.frame());
        QVERIFY(w.show());
        QTRY_VERIFY(!before);
        QCOMPARE(w.setPointers(), ALL_POINTERS);
        QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
        QCOMPARE(w.rows().size(), 3);
        QVERIFY(!w.back()->isEnabled());
    }
}

void tst_STKExtendDlg::aClosedWindowRefreshesNothing()
{
    DialogWorld &w = *m_world;
    w.dialog->onButtonClickClose();
    w.dialog->onSTKSelItem();
    QCOMPARE(w.menuState(), QString("STK_SUBMENU"));
    QCOMPARE(w.at(&DialogPeek::m_stSubMenu).pItemList->size(), 2);
    w.dialog->onSTKSetupMenu();
    QCOMPARE(w.menuState(), QString("STK_MAINMENU"));
    w.dialog->onChangeCursor();
    w.dialog->onSTKEndSession();
    w.dialog->onButtonClickSelect();
    w.dialog->onDeviceAvailable(true);
    w.dialog->onDeviceAvailable(false);
    w.dialog->onSTKTimeOut();
    QCOMPARE(w.setPointers(), QStringList());
    QCOMPARE(journal::names("ExtendDialog::setWindowTitle"), QStringList());
}

void tst_STKExtendDlg::closingWhenTheReadingFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(GET_MAIN_MENU, 9);
    const QPointer<STKExtendDlg> frame(w.frame());
    QTest::mouseClick(w.close(), Qt::LeftButton);
    QTRY_VERIFY(!frame);
    QCOMPARE(w.at(&DialogPeek::m_stMainMenu).pItemList->size(), 0);
    QCOMPARE(w.setPointers(), QStringList());
}

void tst_STKExtendDlg::whileWaitingTheCloseButtonIsRefused()
{
    DialogWorld &w = *m_world;
    w.startWait();
    w.forget();
    QTest::mouseClick(w.close(), Qt::LeftButton);
    QVERIFY(w.frame() && w.frame()->isVisible());
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    QCOMPARE(journal::count(GET_MAIN_MENU), 1);
    QCOMPARE(takeCursors(), ARROW);
    QCOMPARE(logged::started(w.log), QStringList({"onButtonClickClose", "closeEvent"}));
}

void tst_STKExtendDlg::whileWaitingTheFramesCloseIsRefused()
{
    DialogWorld &w = *m_world;
    w.startWait();
    w.at(&DialogPeek::m_bEnterPressed) = true; // the wait comes first
    w.forget();
    QVERIFY(!w.frame()->close());
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::names("MDSV_"), QStringList());
    QVERIFY(takeCursors().isEmpty());
    QVERIFY(w.at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(logged::started(w.log), QStringList({"closeEvent"}));
}

void tst_STKExtendDlg::whileWaitingEscapeIsRefused()
{
    DialogWorld &w = *m_world;
    w.startWait();
    w.forget();
    QTest::keyClick(w.table(), Qt::Key_Escape);
    QVERIFY(w.frame() && w.frame()->isVisible());
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    QCOMPARE(journal::count(GET_MAIN_MENU), 1);
    QCOMPARE(takeCursors(), ARROW);
}

void tst_STKExtendDlg::aWaitThatEndsBehindTheRefusalLeavesAUsableWindow()
{
    DialogWorld &w = *m_world;
    w.startWait();
    const EndBehindRefusal filter(w);
    QTest::mouseClick(w.close(), Qt::LeftButton);
    QVERIFY(!w.isWaiting());
    QVERIFY(w.frame() && w.frame()->isVisible());
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    const QPointer<STKExtendDlg> frame(w.frame());
    QTest::mouseClick(w.close(), Qt::LeftButton);
    QTRY_VERIFY(!frame);
}

void tst_STKExtendDlg::afterTheWaitItCloses()
{
    DialogWorld &w = *m_world;
    w.startWait();
    QVERIFY(!w.frame()->close());
    QVERIFY(w.endWait());
    const QPointer<STKExtendDlg> frame(w.frame());
    QVERIFY(frame->close());
    QTRY_VERIFY(!frame);
    QCOMPARE(w.setPointers(), QStringList());
}

void tst_STKExtendDlg::returnOnASelectedRowSelects_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Enter") << int(Qt::Key_Enter);
}

void tst_STKExtendDlg::returnOnASelectedRowSelects()
{
    QFETCH(int, key);
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    pressOnRow(1, Qt::Key(key));
    QVERIFY(frame && frame->isVisible());
    QCOMPARE(journal::lines("MDSV_"), QStringList({"MDSV_STKSrv_SelectMenuItem(1, 2)"})); // and no reading
    QVERIFY(w.isWaiting());
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    QCOMPARE(takeCursors(), QList<int>({int(Qt::WaitCursor)}));
    QVERIFY(!logged::started(w.log).contains("onButtonClickClose"));
}

void tst_STKExtendDlg::returnOnASelectedRowOfASubMenuSelects()
{
    DialogWorld &w = *m_world;
    w.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 17);
    w.forget();
    pressOnRow(1, Qt::Key_Return);
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::lines("MDSV_"), QStringList({"MDSV_STKSrv_SelectSubMenuItem(17, 1, 12)"}));
    QVERIFY(w.isWaiting());
}

void tst_STKExtendDlg::returnWithASelectionThatFails()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    w.sdk.answer(SELECT_MAIN, 5);
    pressOnRow(1, Qt::Key_Return);
    QCOMPARE(journal::lines("MDSV_STKSrv_Select").size(), 1);
    QVERIFY(!w.isWaiting());
    QVERIFY(frame && frame->isVisible());
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(w.rows(), QStringList({"Balance", "News", "Help"}));

    // The window is as good as before.
    QTest::mouseClick(w.close(), Qt::LeftButton);
    QTRY_VERIFY(!frame);
    QCOMPARE(w.setPointers(), QStringList());
}

void tst_STKExtendDlg::returnThenTheCloseButton()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(2);
    w.at(&DialogPeek::m_bEnterPressed) = true;
    QTest::mouseClick(w.close(), Qt::LeftButton);
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::lines("MDSV_"), QStringList({"MDSV_STKSrv_SelectMenuItem(1, 7)"}));
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(takeCursors(), QList<int>({int(Qt::ArrowCursor), int(Qt::WaitCursor)}));
}

void tst_STKExtendDlg::returnThenTheCloseButtonWithASelectionThatFails()
{
    DialogWorld &w = *m_world;
    w.sdk.answer(SELECT_MAIN, 5);
    w.table()->selectRow(2);
    w.at(&DialogPeek::m_bEnterPressed) = true;
    QTest::mouseClick(w.close(), Qt::LeftButton);
    // No wait runs and the flag is cleared by now, but the close was asked for after Enter: the pointers are kept.
    QVERIFY(!w.isWaiting());
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
    QVERIFY(w.frame() && w.frame()->isVisible());
    QCOMPARE(w.setPointers(), ALL_POINTERS);
    QCOMPARE(w.rows().size(), 3);
    QCOMPARE(journal::names("MDSV_"), QStringList({SELECT_MAIN, GET_MAIN_MENU, "MDSV_STKSrv_ReleaseMenus"}));
}

void tst_STKExtendDlg::returnThenEscape()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(0);
    w.at(&DialogPeek::m_bEnterPressed) = true;
    w.frame()->reject();
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::lines("MDSV_"), QStringList({"MDSV_STKSrv_SelectMenuItem(1, 1)"}));
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
}

void tst_STKExtendDlg::returnWithoutASelectionCloses()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    w.table()->setFocus();
    w.table()->setCurrentCell(-1, -1);
    QTest::keyClick(w.table(), Qt::Key_Return);
    QTRY_VERIFY(!frame);
    QCOMPARE(w.setPointers(), QStringList());
    QCOMPARE(journal::count(SELECT_MAIN), 0);
    QVERIFY(!w.at(&DialogPeek::m_bEnterPressed));
}

void tst_STKExtendDlg::returnOnAButtonPressesIt()
{
    DialogWorld &w = *m_world;
    w.table()->selectRow(0);
    QTest::keyClick(w.select(), Qt::Key_Return);
    QVERIFY(w.frame()->isVisible());
    QCOMPARE(journal::count(SELECT_MAIN), 1);
}

void tst_STKExtendDlg::theWindowsEndWithinASelection()
{
    DialogWorld &w = *m_world;
    const QPointer<STKExtendDlg> frame(w.frame());
    w.sdk.onCall(SELECT_MAIN, [&w] {
        w.dialog->unSDKRegisterEvent();
        STKDialog::Destroy();
        delete w.host;
    });
    w.table()->setFocus();
    w.table()->selectRow(1);
    w.at(&DialogPeek::m_bEnterPressed) = true;
    w.dialog->onButtonClickSelect();
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    QVERIFY(!frame);
    w.dialog = nullptr;
}

void tst_STKExtendDlg::theWindowsEndWithinAReadingForClose()
{
    DialogWorld &w = *m_world;
    w.sdk.onCall(GET_MAIN_MENU, [&w] { delete w.host; });
    w.dialog->onButtonClickClose();
    QCOMPARE(w.setPointers(), QStringList({"m_pStkTimer", "m_pToneTimer"}));
    w.sdk.onCall(GET_MAIN_MENU, nullptr);
}

QTEST_MAIN(tst_STKExtendDlg)
#include "tst_STKExtendDlg.moc"
