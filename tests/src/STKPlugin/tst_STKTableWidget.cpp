// The list of the window: keys and clicks, refused while the window waits for the card.
#include "DialogWorld.h"

#include <QtCore/QMetaMethod>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

#include <memory>

namespace journal = support::journal;

struct TablePeek : STKTableWidget {
    using STKTableWidget::keyPressEvent;
    using STKTableWidget::m_pStkDialog;
    using STKTableWidget::mousePressEvent;
    using STKTableWidget::mouseReleaseEvent;
};

namespace
{
QString timed(const char *function, const char *rest)
{
    return QString("<time>: ../../src/STKPlugin/STKDialog: %1%2").arg(function, rest);
}

QString nullLine(const char *function, int line)
{
    return QString("Arg is NULL: <time>: ../../src/STKPlugin/STKDialog: %1 %2").arg(function).arg(line);
}

/// A point of the list below its rows.
QPoint emptySpace(const STKTableWidget *table)
{
    return table->viewport()->rect().bottomLeft() + QPoint(20, -5);
}

QPoint rowPoint(const STKTableWidget *table, int row)
{
    return table->visualItemRect(table->item(row, 0)).center();
}

/// A left button's press or release at `point`, handed to the handler itself.
QMouseEvent mouse(QEvent::Type type, const QPoint &point)
{
    return QMouseEvent(type, point, Qt::LeftButton, type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton,
                       Qt::NoModifier);
}
} // namespace

class tst_STKTableWidget : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void metaObjectIsPlain();
    void constructionLogsAndKnowsNoDialog();

    void keyWithoutAnEvent();
    void keyWithoutADialog();
    void returnWithoutATable_data();
    void returnWithoutATable();
    void keysWhileWaitingAreIgnored_data();
    void keysWhileWaitingAreIgnored();
    void returnOnASelectedRowIsRemembered_data();
    void returnOnASelectedRowIsRemembered();
    void returnWithoutASelectionIsNot_data();
    void returnWithoutASelectionIsNot();
    void returnOnACurrentRowThatIsNotSelectedIsNot();
    void otherKeysTravelOn_data();
    void otherKeysTravelOn();
    void arrowsMoveTheSelection();
    void keysMoveTheCurrentRow_data();
    void keysMoveTheCurrentRow();
    void keyLogsStartAndEnd();
    void backspaceHasNoMeaning();
    void tabLeavesTheTable();

    void pressChoosesTheRow();
    void pressWhileWaitingIsIgnored();
    void pressWithoutADialog();
    void pressLogsNothing();
    void releaseReachesTheListAlsoWhileWaiting_data();
    void releaseReachesTheListAlsoWhileWaiting();
    void releaseOnARowKeepsTheChoice();
    void releaseOnEmptySpaceClearsTheChoice_data();
    void releaseOnEmptySpaceClearsTheChoice();
    void releaseOnEmptySpaceWhileWaitingClearsTheChoice();
    void releaseOnEmptySpaceWithAnObjectMissing();
    void doubleClickPerformsSelect();
    void doubleClickOnAnotherRowWhileWaitingSendsNothing();

private:
    STKTableWidget *table() const { return m_world->table(); }
    void press(const QPoint &point);

    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKTableWidget::init()
{
    m_world.reset(new DialogWorld);
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKTableWidget::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

void tst_STKTableWidget::press(const QPoint &point)
{
    QTest::mousePress(table()->viewport(), Qt::LeftButton, Qt::NoModifier, point);
}

void tst_STKTableWidget::metaObjectIsPlain()
{
    const QMetaObject &meta = STKTableWidget::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("STKTableWidget"));
    QCOMPARE(meta.superClass(), &QTableWidget::staticMetaObject);
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

void tst_STKTableWidget::constructionLogsAndKnowsNoDialog()
{
    const std::unique_ptr<STKTableWidget> fresh(new STKTableWidget(nullptr));
    QCOMPARE(m_world->log.debug(), QStringList({timed("STKTableWidget", " Entered")}));
    QVERIFY(!support::peek(fresh.get(), &TablePeek::m_pStkDialog));
    QCOMPARE(support::peek(table(), &TablePeek::m_pStkDialog).data(), m_world->dialog);
    fresh->Instantiate(m_world->dialog);
    QCOMPARE(support::peek(fresh.get(), &TablePeek::m_pStkDialog).data(), m_world->dialog);
    QVERIFY(!fresh->parent());
}

void tst_STKTableWidget::keyWithoutAnEvent()
{
    (table()->*(&TablePeek::keyPressEvent))(nullptr);
    QCOMPARE(m_world->log.debug(), QStringList({timed("keyPressEvent", " Start "), nullLine("keyPressEvent", 2089)}));
}

void tst_STKTableWidget::keyWithoutADialog()
{
    table()->Instantiate(nullptr);
    table()->selectRow(1);
    m_world->forget();
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
    (table()->*(&TablePeek::keyPressEvent))(&key);
    QCOMPARE(m_world->log.debug(), QStringList({timed("keyPressEvent", " Start "), nullLine("keyPressEvent", 2090)}));
    QCOMPARE(table()->currentRow(), 1); // dropped
}

void tst_STKTableWidget::returnWithoutATable_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Enter") << int(Qt::Key_Enter);
}

void tst_STKTableWidget::returnWithoutATable()
{
    QFETCH(int, key);
    STKTableWidget *kept = table();
    kept->selectRow(0);
    m_world->at(&DialogPeek::m_pTableWidget) = nullptr;
    m_world->forget();
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    (kept->*(&TablePeek::keyPressEvent))(&event);
    QCOMPARE(m_world->log.debug(), QStringList({timed("keyPressEvent", " Start "), nullLine("keyPressEvent", 2101)}));
    QVERIFY(!m_world->at(&DialogPeek::m_bEnterPressed));
}

void tst_STKTableWidget::keysWhileWaitingAreIgnored_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Enter") << int(Qt::Key_Enter);
    QTest::newRow("Down") << int(Qt::Key_Down);
    QTest::newRow("Up") << int(Qt::Key_Up);
    QTest::newRow("End") << int(Qt::Key_End);
}

void tst_STKTableWidget::keysWhileWaitingAreIgnored()
{
    QFETCH(int, key);
    table()->selectRow(1);
    m_world->startWait();
    m_world->forget();
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    (table()->*(&TablePeek::keyPressEvent))(&event);
    QVERIFY(!event.isAccepted());
    QVERIFY(!m_world->at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(table()->currentRow(), 1);
    QCOMPARE(logged::linesOf(m_world->log, "keyPressEvent"), QStringList({timed("keyPressEvent", " Start ")}));

    // The real way, too: whatever the key reaches, the window stays and nothing is sent.
    QTest::keyClick(table(), Qt::Key(key));
    QVERIFY(m_world->frame()->isVisible());
    QCOMPARE(table()->currentRow(), 1);
    QVERIFY(!m_world->at(&DialogPeek::m_bEnterPressed));
    QCOMPARE(journal::count("MDSV_STKSrv_SelectMenuItem"), 0);
}

void tst_STKTableWidget::returnOnASelectedRowIsRemembered_data()
{
    returnWithoutATable_data();
}

void tst_STKTableWidget::returnOnASelectedRowIsRemembered()
{
    QFETCH(int, key);
    table()->selectRow(1);
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    (table()->*(&TablePeek::keyPressEvent))(&event);
    QVERIFY(m_world->at(&DialogPeek::m_bEnterPressed));
    QVERIFY(!event.isAccepted()); // on to the frame, which asks itself to close
    QCOMPARE(journal::names("MDSV_"), QStringList());
    QVERIFY(!m_world->isWaiting());
}

void tst_STKTableWidget::returnWithoutASelectionIsNot_data()
{
    returnWithoutATable_data();
}

void tst_STKTableWidget::returnWithoutASelectionIsNot()
{
    QFETCH(int, key);
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    (table()->*(&TablePeek::keyPressEvent))(&event);
    QVERIFY(!m_world->at(&DialogPeek::m_bEnterPressed));
    QVERIFY(!event.isAccepted());
}

void tst_STKTableWidget::returnOnACurrentRowThatIsNotSelectedIsNot()
{
    table()->setCurrentCell(2, 0, QItemSelectionModel::NoUpdate);
    QCOMPARE(table()->currentRow(), 2);
    QKeyEvent event(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    (table()->*(&TablePeek::keyPressEvent))(&event);
    QVERIFY(!m_world->at(&DialogPeek::m_bEnterPressed));
}

void tst_STKTableWidget::otherKeysTravelOn_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Escape") << int(Qt::Key_Escape);
    QTest::newRow("F5") << int(Qt::Key_F5);
}

void tst_STKTableWidget::otherKeysTravelOn()
{
    QFETCH(int, key);
    table()->selectRow(0);
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    (table()->*(&TablePeek::keyPressEvent))(&event);
    QVERIFY(!event.isAccepted());
    QVERIFY(!m_world->at(&DialogPeek::m_bEnterPressed));
}

void tst_STKTableWidget::arrowsMoveTheSelection()
{
    table()->setFocus();
    table()->selectRow(0);
    for (int row : {1, 2, 2}) {
        QTest::keyClick(table(), Qt::Key_Down);
        QCOMPARE(table()->currentRow(), row);
        QCOMPARE(table()->selectedItems(), QList<QTableWidgetItem *>({table()->item(row, 0)}));
    }
    for (int row : {1, 0, 0}) {
        QTest::keyClick(table(), Qt::Key_Up);
        QCOMPARE(table()->currentRow(), row);
        QCOMPARE(table()->selectedItems(), QList<QTableWidgetItem *>({table()->item(row, 0)}));
    }
}

void tst_STKTableWidget::keysMoveTheCurrentRow_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("row");
    QTest::newRow("End") << int(Qt::Key_End) << 39;
    QTest::newRow("Home") << int(Qt::Key_Home) << 0;
}

void tst_STKTableWidget::keysMoveTheCurrentRow()
{
    QFETCH(int, key);
    QFETCH(int, row);
    QList<support::MenuItem> items;
    for (int i = 0; i < 40; ++i)
        items << support::MenuItem{i + 1, QString("Item %1").arg(i + 1)};
    m_world->sdk.setMainMenu("Long", items);
    m_world->dialog->onShowMainMenu();
    table()->selectRow(20);
    QTest::keyClick(table(), Qt::Key(key), Qt::ControlModifier);
    QCOMPARE(table()->currentRow(), row);
    table()->selectRow(20);
    QTest::keyClick(table(), Qt::Key_PageDown);
    QVERIFY(table()->currentRow() > 21);
    table()->selectRow(20);
    QTest::keyClick(table(), Qt::Key_PageUp);
    QVERIFY(table()->currentRow() < 19);
}

void tst_STKTableWidget::keyLogsStartAndEnd()
{
    table()->selectRow(0);
    m_world->forget();
    QTest::keyClick(table(), Qt::Key_Down);
    QCOMPARE(m_world->log.debug(), QStringList({timed("keyPressEvent", " Start "), timed("keyPressEvent", " End ")}));
}

void tst_STKTableWidget::backspaceHasNoMeaning()
{
    m_world->dialog->onSTKSelItem();
    table()->selectRow(1);
    m_world->forget();
    QTest::keyClick(table(), Qt::Key_Backspace);
    QCOMPARE(journal::calls().size(), 0);
    QCOMPARE(m_world->menuState(), QString("STK_SUBMENU"));
    QCOMPARE(table()->currentRow(), 1);
}

void tst_STKTableWidget::tabLeavesTheTable()
{
    table()->setFocus();
    table()->selectRow(0);
    QTest::keyClick(table(), Qt::Key_Tab);
    QCOMPARE(table()->currentRow(), 0);
    QVERIFY(m_world->frame()->focusWidget() != table());
}

void tst_STKTableWidget::pressChoosesTheRow()
{
    press(rowPoint(table(), 2));
    QCOMPARE(table()->currentRow(), 2);
    QCOMPARE(table()->selectedItems(), QList<QTableWidgetItem *>({table()->item(2, 0)}));
}

void tst_STKTableWidget::pressWhileWaitingIsIgnored()
{
    table()->selectRow(0);
    m_world->startWait();
    QMouseEvent event = mouse(QEvent::MouseButtonPress, rowPoint(table(), 2));
    (table()->*(&TablePeek::mousePressEvent))(&event);
    QVERIFY(!event.isAccepted());
    press(rowPoint(table(), 2));
    QCOMPARE(table()->currentRow(), 0);
    QVERIFY(table()->item(0, 0)->isSelected());
}

void tst_STKTableWidget::pressWithoutADialog()
{
    m_world->startWait();
    table()->Instantiate(nullptr); // then it cannot be busy
    press(rowPoint(table(), 2));
    QCOMPARE(table()->currentRow(), 2);
}

void tst_STKTableWidget::pressLogsNothing()
{
    press(rowPoint(table(), 1));
    QCOMPARE(m_world->log.debug(), QStringList());
    m_world->startWait();
    m_world->log.clear();
    QMouseEvent event = mouse(QEvent::MouseButtonPress, rowPoint(table(), 2));
    (table()->*(&TablePeek::mousePressEvent))(&event);
    QVERIFY(!logged::linesOf(m_world->log, "mousePressEvent").size());
}

void tst_STKTableWidget::releaseReachesTheListAlsoWhileWaiting_data()
{
    QTest::addColumn<bool>("waits");
    QTest::newRow("idle") << false;
    QTest::newRow("waiting") << true;
}

void tst_STKTableWidget::releaseReachesTheListAlsoWhileWaiting()
{
    QFETCH(bool, waits);
    QSignalSpy clicked(table(), SIGNAL(cellClicked(int, int)));
    press(rowPoint(table(), 1));
    if (waits)
        m_world->startWait();
    QTest::mouseRelease(table()->viewport(), Qt::LeftButton, Qt::NoModifier, rowPoint(table(), 1));
    QCOMPARE(clicked.count(), 1);
    QCOMPARE(clicked.value(0), QVariantList({1, 0}));
}

void tst_STKTableWidget::releaseOnARowKeepsTheChoice()
{
    m_world->back()->setEnabled(true);
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, rowPoint(table(), 1));
    QCOMPARE(table()->currentRow(), 1);
    QVERIFY(table()->item(1, 0)->isSelected());
    QVERIFY(m_world->back()->isEnabled());
    QCOMPARE(m_world->log.debug(),
             QStringList({timed("mouseReleaseEvent", " Start"), timed("mouseReleaseEvent", " End ")}));
}

void tst_STKTableWidget::releaseOnEmptySpaceClearsTheChoice_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("backStays");
    QTest::newRow("main menu") << "STK_MAINMENU" << false;
    QTest::newRow("sub-menu") << "STK_SUBMENU" << true;
    QTest::newRow("unknown") << "STK_UNKNOWN" << true;
}

void tst_STKTableWidget::releaseOnEmptySpaceClearsTheChoice()
{
    QFETCH(QString, state);
    QFETCH(bool, backStays);
    table()->selectRow(1);
    m_world->at(&DialogPeek::m_strMenuState) = state;
    m_world->back()->setEnabled(true);
    m_world->forget();
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, emptySpace(table()));
    QCOMPARE(table()->currentRow(), -1);
    QCOMPARE(table()->currentColumn(), -1);
    QVERIFY(!table()->currentItem());
    QVERIFY(table()->selectedItems().isEmpty());
    QCOMPARE(m_world->back()->isEnabled(), backStays);
    QCOMPARE(m_world->log.debug(),
             QStringList({timed("mouseReleaseEvent", " Start"), timed("mouseReleaseEvent", " End ")}));
    QCOMPARE(journal::calls().size(), 0);
}

void tst_STKTableWidget::releaseOnEmptySpaceWhileWaitingClearsTheChoice()
{
    table()->selectRow(1);
    m_world->startWait();
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, emptySpace(table()));
    QVERIFY(m_world->isWaiting());
    QVERIFY(!table()->currentItem());
    QVERIFY(table()->selectedItems().isEmpty());
}

void tst_STKTableWidget::releaseOnEmptySpaceWithAnObjectMissing()
{
    const QPointer<STKTableWidget> kept(table());
    QMouseEvent event = mouse(QEvent::MouseButtonRelease, emptySpace(kept));
    const auto release = [&] {
        kept->selectRow(1);
        m_world->forget();
        (kept->*(&TablePeek::mouseReleaseEvent))(&event);
        return m_world->log.debug();
    };
    const QString start = timed("mouseReleaseEvent", " Start");

    const QPointer<QPushButton> back(m_world->back());
    m_world->at(&DialogPeek::m_pBtnBack) = nullptr;
    QCOMPARE(release(), QStringList({start, nullLine("mouseReleaseEvent", 2037)}));
    QCOMPARE(kept->currentRow(), 1);
    m_world->at(&DialogPeek::m_pTableWidget) = nullptr;
    QCOMPARE(release(), QStringList({start, nullLine("mouseReleaseEvent", 2036)}));
    kept->Instantiate(nullptr);
    QCOMPARE(release(), QStringList({start, nullLine("mouseReleaseEvent", 2035)}));
    QCOMPARE(kept->currentRow(), 1);
    m_world->at(&DialogPeek::m_pBtnBack) = back;
    m_world->at(&DialogPeek::m_pTableWidget) = kept;
}

void tst_STKTableWidget::doubleClickPerformsSelect()
{
    const QPoint point = rowPoint(table(), 1);
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, point);
    QTest::mouseDClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, point);
    QCOMPARE(journal::lines("MDSV_STKSrv_Select"), QStringList({"MDSV_STKSrv_SelectMenuItem(1, 2)"}));
    QVERIFY(m_world->isWaiting());
}

void tst_STKTableWidget::doubleClickOnAnotherRowWhileWaitingSendsNothing()
{
    const QPoint point = rowPoint(table(), 1);
    m_world->startWait();
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, point);
    QTest::mouseDClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, point);
    QCOMPARE(journal::names("MDSV_STKSrv_Select"), QStringList());
}

QTEST_MAIN(tst_STKTableWidget)
#include "tst_STKTableWidget.moc"
