#include "core/WsMessageBox.h"

#include "core/ExtendDialog.h"
#include "platform/core/RealInput.h"

#include <QtTest/QtTest>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>

/// The message box as it is used: embedded in a frame, on a real screen, with keys from outside.
class tst_WsMessageBox : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void standsInTheFrameAsAChild_data();
    void standsInTheFrameAsAChild();
    void textIsShownAsItIs_data();
    void textIsShownAsItIs();
    void informativeTextIsShownAsItIs();
    void longTextWrapsAndTheFrameHoldsIt_data();
    void longTextWrapsAndTheFrameHoldsIt();
    void shortTextMakesASmallFrame();
    void shortTextFillsItsFrame();
    void frameGrowsWithAButtonText();
    void onlyTheLastDefaultButtonLooksDefault();
    void returnPressesTheLastDefaultButton_data();
    void returnPressesTheLastDefaultButton();
    void returnPressesTheDefaultButtonWithoutFocusOnAButton();
    void returnOnAFocusedButtonPressesIt();
    void returnWithoutADefaultButtonIsNoAnswerOfTheBox();
    void escapeClosesTheFrameAndAnswersNothing();
    void clickOnAButtonAnswers();
    void closeButtonOfTheFrameAnswersNothing();
    void secondBoxInTheSameFrame();
    void contentAfterABoxHasTheFramesDefaultButton_data();
    void contentAfterABoxHasTheFramesDefaultButton();

private:
    /// Runs the frame; `act` is called when it has the keyboard. The frame is rejected if it stays open then.
    void run(const std::function<void()> &act);

    QAbstractButton *clicked() const { return m_box->clickedButton(); }

    QWidget *m_host = nullptr;
    ExtendDialog *m_frame = nullptr;
    WsMessageBox *m_box = nullptr;
    QPushButton *m_ok = nullptr;
    QPushButton *m_cancel = nullptr;
    bool m_driven = false;
    bool m_hung = false;
};

void tst_WsMessageBox::init()
{
    m_host = new QWidget;
    m_host->setGeometry(100, 100, 900, 600);
    QVERIFY(realinput::show(m_host));
    m_frame = new ExtendDialog(m_host, Qt::WindowCloseButtonHint, 4);
    m_box = new WsMessageBox(m_frame);
    m_frame->AddMainWidget(m_box);
    m_frame->setWindowFlags(Qt::WindowCloseButtonHint);
    m_box->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    m_box->setIcon(QMessageBox::NoIcon);
    m_box->setText("Your balance is 12.50");
    m_ok = m_box->addButton("OK", QMessageBox::YesRole);
    m_cancel = m_box->addButton("Cancel", QMessageBox::RejectRole);
    m_box->setDefaultButton(m_ok);
    m_box->setDefaultButton(m_cancel);
    connect(m_box, SIGNAL(changeSize(QSize)), m_frame, SLOT(changeSize(QSize)));
    connect(m_box, SIGNAL(buttonClicked(QAbstractButton *)), m_frame, SLOT(close()));
    m_frame->setWindowModality(Qt::WindowModal);
}

void tst_WsMessageBox::cleanup()
{
    delete m_box;
    delete m_frame;
    delete m_host;
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_WsMessageBox::run(const std::function<void()> &act)
{
    m_driven = m_hung = false;
    QTimer::singleShot(0, m_frame, [this, act] {
        m_driven = realinput::waitForKeyboard(m_frame);
        if (m_driven) {
            act();
        }
        m_hung = !QTest::qWaitFor([this] { return !m_frame->isVisible(); }, 5000);
        m_frame->reject();
    });
    m_frame->exec();
    QVERIFY(m_driven);
}

void tst_WsMessageBox::standsInTheFrameAsAChild_data()
{
    QTest::addColumn<bool>("addFirst");
    QTest::newRow("added before its flags are set") << true;
    QTest::newRow("added after its flags are set") << false;
}

void tst_WsMessageBox::standsInTheFrameAsAChild()
{
    QFETCH(bool, addFirst);
    ExtendDialog frame(m_host, Qt::WindowCloseButtonHint, 4);
    WsMessageBox *box = new WsMessageBox(&frame);
    if (addFirst) {
        frame.AddMainWidget(box);
        box->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    } else {
        box->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        frame.AddMainWidget(box);
    }
    connect(box, SIGNAL(changeSize(QSize)), &frame, SLOT(changeSize(QSize)));
    box->setText(QString("A text of some length ").repeated(4));
    box->addButton("OK", QMessageBox::YesRole);
    QVERIFY(realinput::show(&frame));
    QVERIFY(!box->isWindow());
    QVERIFY(box->isVisible());
    QCOMPARE(box->parentWidget(), &frame);
    const QWidget *bar = frame.findChild<QWidget *>("ExtendDialog_TitleBar");
    QCOMPARE(box->geometry().top(), bar->geometry().bottom() + 1);
    QCOMPARE(box->geometry().left(), 1);
    QCOMPARE(frame.height(), box->geometry().bottom() + 2);
    QCOMPARE(frame.width(), box->geometry().right() + 2);
}

void tst_WsMessageBox::textIsShownAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("markup") << "<b>bold</b> &amp; <img src='x'>";
    QTest::newRow("document") << "<html><body>text</body></html>";
    QTest::newRow("lines") << "one\ntwo";
    QTest::newRow("Cyrillic") << QString::fromUtf8("Ваш баланс");
}

void tst_WsMessageBox::textIsShownAsItIs()
{
    QFETCH(QString, text);
    m_box->setText(text);
    QCOMPARE(m_box->textFormat(), Qt::PlainText);
    QVERIFY(realinput::show(m_frame));
    const QLabel *label = m_box->findChild<QLabel *>("qt_msgbox_label");
    QVERIFY(label);
    QCOMPARE(label->textFormat(), Qt::PlainText);
    QCOMPARE(label->text(), text);
}

void tst_WsMessageBox::informativeTextIsShownAsItIs()
{
    m_box->setInformativeText("<b>bold</b>");
    QVERIFY(realinput::show(m_frame));
    const QLabel *label = m_box->findChild<QLabel *>("qt_msgbox_informativelabel");
    QVERIFY(label);
    QCOMPARE(label->textFormat(), Qt::PlainText);
}

void tst_WsMessageBox::longTextWrapsAndTheFrameHoldsIt_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("words") << QString("word ").repeated(50);
    QTest::newRow("one word") << QString(250, 'W');
    QTest::newRow("one word between words") << "See " + QString(200, 'w') + " for more";
    QTest::newRow("lines") << QString("line\n").repeated(12);
    QTest::newRow("Chinese") << QString(250, QChar(0x4e2d));
    QTest::newRow("pairs of units") << QString::fromUtf8("😀").repeated(120);
}

void tst_WsMessageBox::longTextWrapsAndTheFrameHoldsIt()
{
    QFETCH(QString, text);
    m_box->setText(text);
    QVERIFY(realinput::show(m_frame));
    const QLabel *label = m_box->findChild<QLabel *>("qt_msgbox_label");
    QVERIFY(label);
    QCOMPARE(QString(label->text()).remove(QChar(0x200b)), text); // only places to break a line are added
    QVERIFY(m_frame->width() <= 640);
    QVERIFY(m_frame->rect().contains(m_box->geometry()));
    QVERIFY(label->width() >= label->minimumSizeHint().width());
    QVERIFY(label->height() >= label->heightForWidth(label->width()));
    const int textWidth =
        label->fontMetrics().boundingRect(QRect(0, 0, label->width(), 10000), Qt::TextWordWrap, label->text()).width();
    QVERIFY2(textWidth <= label->width(), qPrintable(QString("%1 > %2").arg(textWidth).arg(label->width())));
    for (const QPushButton *button : {m_ok, m_cancel}) {
        QVERIFY(m_frame->rect().contains(QRect(button->mapTo(m_frame, QPoint()), button->size())));
    }
}

void tst_WsMessageBox::shortTextMakesASmallFrame()
{
    m_box->setText("Hi");
    QVERIFY(realinput::show(m_frame));
    QVERIFY(m_frame->width() < 300);
    QVERIFY(m_frame->height() < 150);
    QVERIFY(m_frame->rect().contains(m_box->geometry()));
}

/// No gap beside the box, also when it makes its size anew.
void tst_WsMessageBox::shortTextFillsItsFrame()
{
    m_box->setText("Hi");
    delete m_cancel;
    QVERIFY(realinput::show(m_frame));
    QVERIFY(m_frame->width() >= 220);
    QCOMPARE(m_box->width(), m_frame->width() - 2);
    const int before = m_frame->height();
    m_box->setText("One\nTwo\nThree\nFour");
    QTRY_VERIFY(m_frame->height() > before);
    QCOMPARE(m_box->width(), m_frame->width() - 2);
    const int right = m_ok->mapTo(m_frame, m_ok->rect().topRight()).x();
    QVERIFY2(right > m_frame->width() - 30, qPrintable(QString::number(right)));
}

void tst_WsMessageBox::frameGrowsWithAButtonText()
{
    QVERIFY(realinput::show(m_frame));
    const int before = m_frame->width();
    QSignalSpy sizes(m_box, SIGNAL(changeSize(QSize)));
    m_ok->setText(QString("OK = 5 ").repeated(12));
    QTRY_VERIFY(m_frame->width() > before);
    QVERIFY(sizes.count() > 0);
    QCOMPARE(sizes.last().first().toSize(), m_box->size());
    QCOMPARE(m_frame->width(), m_box->width() + 2);
}

void tst_WsMessageBox::onlyTheLastDefaultButtonLooksDefault()
{
    QVERIFY(realinput::show(m_frame));
    QCOMPARE(m_box->defaultButton(), m_cancel);
    for (QPushButton *button : m_frame->findChildren<QPushButton *>()) {
        QCOMPARE(button->isDefault(), button == m_cancel);
    }
    m_box->setDefaultButton(m_ok); // also when it changes on the screen
    for (QPushButton *button : m_frame->findChildren<QPushButton *>()) {
        QCOMPARE(button->isDefault(), button == m_ok);
    }
}

void tst_WsMessageBox::returnPressesTheLastDefaultButton_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("Return") << "Return";
    QTest::newRow("Enter of the number pad") << "KP_Enter";
}

void tst_WsMessageBox::returnPressesTheLastDefaultButton()
{
    QFETCH(QString, key);
    run([key] { realinput::key(key); });
    QVERIFY(!m_hung);
    QCOMPARE(clicked(), m_cancel);
}

void tst_WsMessageBox::returnPressesTheDefaultButtonWithoutFocusOnAButton()
{
    bool onlyCancel = false;
    run([this, &onlyCancel] {
        QApplication::focusWidget()->clearFocus();
        onlyCancel = m_cancel->isDefault() && !m_ok->isDefault();
        realinput::key("Return");
    });
    QVERIFY(!m_hung);
    QVERIFY(onlyCancel);
    QCOMPARE(clicked(), m_cancel);
}

void tst_WsMessageBox::returnOnAFocusedButtonPressesIt()
{
    bool onlyOk = false;
    run([this, &onlyOk] {
        realinput::key("Tab");
        onlyOk = QTest::qWaitFor([this] { return m_ok->hasFocus(); }) && m_ok->isDefault() && !m_cancel->isDefault();
        realinput::key("Return");
    });
    QVERIFY(!m_hung);
    QVERIFY(onlyOk);
    QCOMPARE(clicked(), m_ok);
}

void tst_WsMessageBox::returnWithoutADefaultButtonIsNoAnswerOfTheBox()
{
    ExtendDialog frame(m_host, Qt::WindowCloseButtonHint, 4);
    WsMessageBox *box = new WsMessageBox(&frame);
    frame.AddMainWidget(box);
    box->setText("Nothing to answer");
    box->setStandardButtons(QMessageBox::NoButton);
    QVERIFY(realinput::show(&frame));
    QVERIFY(box->buttons().isEmpty());
    QVERIFY(realinput::key("Return"));
    QTRY_VERIFY(!frame.isVisible());
    QVERIFY(!box->clickedButton());
}

void tst_WsMessageBox::escapeClosesTheFrameAndAnswersNothing()
{
    run([] { realinput::key("Escape"); });
    QVERIFY(!m_hung);
    QVERIFY(!clicked());
}

void tst_WsMessageBox::clickOnAButtonAnswers()
{
    run([this] { realinput::click(m_ok, m_ok->rect().center()); });
    QVERIFY(!m_hung);
    QCOMPARE(clicked(), m_ok);
}

void tst_WsMessageBox::closeButtonOfTheFrameAnswersNothing()
{
    run([this] {
        QPushButton *close = m_frame->findChild<QPushButton *>("ExtendDialog_BtnClose");
        realinput::click(close, close->rect().center());
    });
    QVERIFY(!m_hung);
    QVERIFY(!clicked());
}

void tst_WsMessageBox::secondBoxInTheSameFrame()
{
    run([this] { realinput::key("Return"); });
    QCOMPARE(clicked(), m_cancel);
    delete m_box;
    m_box = new WsMessageBox(m_frame);
    m_frame->AddMainWidget(m_box);
    m_box->setText("Second");
    m_ok = m_box->addButton("OK", QMessageBox::YesRole);
    m_cancel = m_box->addButton("Cancel", QMessageBox::RejectRole);
    m_box->setDefaultButton(m_ok);
    connect(m_box, SIGNAL(buttonClicked(QAbstractButton *)), m_frame, SLOT(close()));
    run([] { realinput::key("Return"); });
    QVERIFY(!m_hung);
    QCOMPARE(clicked(), m_ok);
}

void tst_WsMessageBox::contentAfterABoxHasTheFramesDefaultButton_data()
{
    QTest::addColumn<bool>("deleteBox");
    QTest::newRow("box deleted") << true;
    QTest::newRow("box replaced") << false;
}

void tst_WsMessageBox::contentAfterABoxHasTheFramesDefaultButton()
{
    QFETCH(bool, deleteBox);
    run([] { realinput::key("Return"); });
    QCOMPARE(clicked(), m_cancel);
    if (deleteBox) {
        delete m_box;
        m_box = nullptr;
    }
    QLineEdit *field = new QLineEdit(m_frame);
    m_frame->AddMainWidget(field);
    QVERIFY(m_frame->findChild<QPushButton *>("ExtendDialog_BtnClose")->isDefault());
    run([] { realinput::key("Return"); });
    QVERIFY(!m_hung);
}

QTEST_MAIN(tst_WsMessageBox)
#include "tst_WsMessageBox.moc"
