#include "core/ExtendDialog.h"

#include "core/CoreControl.h"
#include "platform/core/RealInput.h"

#include <QtTest/QtTest>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>
#include <QtWidgets/QVBoxLayout>

/// ExtendDialog on a real screen: keys and clicks come from outside, through the window manager.
class tst_ExtendDialogWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void returnInATableCloses_data();
    void returnInATableCloses();
    void returnOnAFocusedButtonPressesIt();
    void returnAfterTheFocusLeftAButtonCloses();
    void escapeRejectsAndDoesNotClose();
    void tabStaysInTheContent();
    void clickOnTheCloseButtonCloses();
    void titleBarMovesTheWindow();
    void clickOnTheTitleBarMovesNothing();
    void contentDoesNotMoveTheWindow();
    void blocksItsParentWhileItRuns();
    void isMirroredInArabic();
    void sheetFindsANameThatCameLate();

private:
    class Frame;
    Frame *m_frame = nullptr;
};

class tst_ExtendDialogWindow::Frame : public ExtendDialog
{
public:
    explicit Frame(QWidget *parent) : ExtendDialog(parent, Qt::WindowCloseButtonHint, 1)
    {
        QWidget *content = new QWidget(this);
        back = new QPushButton("Back", content);
        select = new QPushButton("Select", content);
        table = new QTableWidget(3, 1, content);
        table->setTabKeyNavigation(false);
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        QVBoxLayout *column = new QVBoxLayout(content);
        column->addWidget(table);
        column->addWidget(back);
        column->addWidget(select);
        AddMainWidget(content);
        setWindowTitle("Services");
        setFixedSize(380, 357);
        connect(back, &QPushButton::clicked, this, [this] { ++backs; });
        connect(select, &QPushButton::clicked, this, [this] { ++selects; });
    }

    void reject() override { ++rejects; }

    QWidget *bar() const { return findChild<QWidget *>("ExtendDialog_TitleBar"); }

    QPushButton *back = nullptr;
    QPushButton *select = nullptr;
    QTableWidget *table = nullptr;
    int backs = 0;
    int selects = 0;
    int closes = 0;
    int rejects = 0;

protected:
    void closeEvent(QCloseEvent *event) override
    {
        ++closes;
        event->ignore(); // stays open, so that more than the wanted keys would show
    }
};

void tst_ExtendDialogWindow::init()
{
    m_frame = new Frame(nullptr);
    m_frame->move(300, 200);
}

void tst_ExtendDialogWindow::cleanup()
{
    core::setLanguage("en");
    delete m_frame;
    m_frame = nullptr;
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_ExtendDialogWindow::returnInATableCloses_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("withRow");
    QTest::newRow("Return, no row") << "Return" << false;
    QTest::newRow("Return, a row") << "Return" << true;
    QTest::newRow("Enter of the number pad") << "KP_Enter" << false;
}

void tst_ExtendDialogWindow::returnInATableCloses()
{
    QFETCH(QString, key);
    QFETCH(bool, withRow);
    m_frame->table->setFocus();
    if (withRow) {
        m_frame->table->setCurrentCell(1, 0);
    }
    QVERIFY(realinput::show(m_frame));
    QVERIFY(realinput::key(key));
    QTRY_COMPARE(m_frame->closes, 1);
    QCOMPARE(m_frame->backs + m_frame->selects + m_frame->rejects, 0);
}

void tst_ExtendDialogWindow::returnOnAFocusedButtonPressesIt()
{
    m_frame->back->setFocus();
    QVERIFY(realinput::show(m_frame));
    QVERIFY(realinput::key("Return"));
    QTRY_COMPARE(m_frame->backs, 1);
    QVERIFY(realinput::key("Tab"));
    QTRY_VERIFY(m_frame->select->hasFocus());
    QVERIFY(realinput::key("Return"));
    QTRY_COMPARE(m_frame->selects, 1);
    QCOMPARE(m_frame->backs, 1);
    QCOMPARE(m_frame->closes, 0);
}

void tst_ExtendDialogWindow::returnAfterTheFocusLeftAButtonCloses()
{
    m_frame->select->setFocus();
    QVERIFY(realinput::show(m_frame));
    QVERIFY(realinput::key("Tab"));
    QTRY_VERIFY(m_frame->table->hasFocus());
    QVERIFY(realinput::key("Return"));
    QTRY_COMPARE(m_frame->closes, 1);
    QCOMPARE(m_frame->selects, 0);
}

void tst_ExtendDialogWindow::escapeRejectsAndDoesNotClose()
{
    m_frame->table->setFocus();
    QVERIFY(realinput::show(m_frame));
    QVERIFY(realinput::key("Escape"));
    QTRY_COMPARE(m_frame->rejects, 1);
    QCOMPARE(m_frame->closes, 0);
    QVERIFY(m_frame->isVisible());
}

void tst_ExtendDialogWindow::tabStaysInTheContent()
{
    m_frame->table->setFocus();
    QVERIFY(realinput::show(m_frame));
    QWidget *const order[] = {m_frame->back, m_frame->select, m_frame->table};
    for (QWidget *next : order) {
        QVERIFY(realinput::key("Tab"));
        QTRY_COMPARE(QApplication::focusWidget(), next);
    }
}

void tst_ExtendDialogWindow::clickOnTheCloseButtonCloses()
{
    QVERIFY(realinput::show(m_frame));
    QPushButton *button = m_frame->findChild<QPushButton *>("ExtendDialog_BtnClose");
    QVERIFY(realinput::click(button, button->rect().center()));
    QTRY_COMPARE(m_frame->closes, 1);
    QCOMPARE(m_frame->rejects, 0);
}

void tst_ExtendDialogWindow::titleBarMovesTheWindow()
{
    QVERIFY(realinput::show(m_frame));
    QWidget *label = m_frame->findChild<QWidget *>("ExtendDialog_Title");
    const QPoint before = m_frame->pos();
    const QPoint way(140, -90);
    QVERIFY(realinput::drag(label, label->rect().center(), way));
    // The first pixels only tell a drag from a click; the window stays behind by them.
    const int lag = QApplication::startDragDistance() + 10;
    QTRY_VERIFY2((m_frame->pos() - before - way).manhattanLength() <= lag,
                 qPrintable(QString("moved by %1, %2").arg(m_frame->x() - before.x()).arg(m_frame->y() - before.y())));
    QCOMPARE(m_frame->closes, 0);

    // The button is up again for the program too: the next click is a click.
    QVERIFY(realinput::click(m_frame->back, m_frame->back->rect().center()));
    QTRY_COMPARE(m_frame->backs, 1);
}

void tst_ExtendDialogWindow::clickOnTheTitleBarMovesNothing()
{
    QVERIFY(realinput::show(m_frame));
    const QPoint before = m_frame->pos();
    QVERIFY(realinput::click(m_frame->bar(), m_frame->bar()->rect().center()));
    QVERIFY(realinput::click(m_frame->back, m_frame->back->rect().center())); // the events in between are through
    QTRY_COMPARE(m_frame->backs, 1);
    QCOMPARE(m_frame->pos(), before);
}

void tst_ExtendDialogWindow::contentDoesNotMoveTheWindow()
{
    QVERIFY(realinput::show(m_frame));
    const QPoint before = m_frame->pos();
    QVERIFY(realinput::drag(m_frame, QPoint(5, 330), QPoint(100, 50)));
    QVERIFY(realinput::click(m_frame->back, m_frame->back->rect().center()));
    QTRY_COMPARE(m_frame->backs, 1);
    QCOMPARE(m_frame->pos(), before);
}

void tst_ExtendDialogWindow::blocksItsParentWhileItRuns()
{
    QWidget parent;
    parent.setGeometry(100, 100, 700, 550);
    QPushButton *behind = new QPushButton("Behind", &parent);
    behind->setGeometry(5, 5, 80, 25);
    int clicks = 0;
    connect(behind, &QPushButton::clicked, this, [&clicks] { ++clicks; });
    QVERIFY(realinput::show(&parent));

    ExtendDialog frame(&parent, Qt::WindowCloseButtonHint, 1);
    QLineEdit *field = new QLineEdit(&frame);
    frame.AddMainWidget(field);
    frame.setWindowModality(Qt::WindowModal);
    bool driven = false, blocked = false;
    QString typed;
    QTimer::singleShot(0, &frame, [&] {
        driven = realinput::waitForKeyboard(&frame) && realinput::click(behind, QPoint(10, 10));
        // The click may have taken the keyboard away for a moment: type until it is back.
        driven = driven && QTest::qWaitFor([&] { return realinput::key("a") && !field->text().isEmpty(); });
        blocked = clicks == 0;
        typed = field->text();
        realinput::key("Escape");
        QTimer::singleShot(5000, &frame, SLOT(reject())); // should Escape be lost
    });
    QCOMPARE(frame.exec(), int(QDialog::Rejected));
    QVERIFY(driven);
    QVERIFY(blocked);
    QVERIFY2(typed.startsWith("a"), "the frame has not got the keyboard back");

    QVERIFY(realinput::waitForKeyboard(&parent));
    QVERIFY(realinput::click(behind, QPoint(10, 10)));
    QTRY_COMPARE(clicks, 1);
}

void tst_ExtendDialogWindow::isMirroredInArabic()
{
    QVERIFY(realinput::show(m_frame));
    const QSize size = m_frame->size();
    QPushButton *closeButton = m_frame->findChild<QPushButton *>("ExtendDialog_BtnClose");
    const auto closeAt = [&] { return closeButton->mapTo(m_frame, QPoint(0, 0)).x(); };
    const int atTheRight = closeAt();
    QVERIFY(atTheRight > size.width() / 2);
    QVERIFY(core::setLanguage("ar")); // while it is open
    QTRY_VERIFY(closeAt() < 10);
    QCOMPARE(m_frame->size(), size);
    QCOMPARE(m_frame->table->layoutDirection(), Qt::RightToLeft);
    QVERIFY(realinput::click(closeButton, QPoint(5, 5)));
    QTRY_COMPARE(m_frame->closes, 1);

    Frame opened(nullptr); // after the choice
    QVERIFY(realinput::show(&opened));
    QCOMPARE(opened.layoutDirection(), Qt::RightToLeft);
    QVERIFY(core::setLanguage("en"));
    QTRY_COMPARE(closeAt(), atTheRight);
    QCOMPARE(opened.layoutDirection(), Qt::LeftToRight);
}

/// The content is in the frame before it gets its names, as the plug-in's is.
void tst_ExtendDialogWindow::sheetFindsANameThatCameLate()
{
    qApp->setStyleSheet("#late { min-height: 77px; }");
    m_frame->back->ensurePolished();
    m_frame->back->setObjectName("late");
    m_frame->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_frame));
    const int height = m_frame->back->height();
    qApp->setStyleSheet(QString());
    QVERIFY2(height >= 77, qPrintable(QString::number(height)));
}

QTEST_MAIN(tst_ExtendDialogWindow)
#include "tst_ExtendDialogWindow.moc"
