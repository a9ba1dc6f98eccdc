#include "core/ExtendDialog.h"

#include <QtTest/QtTest>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

/// The frame by itself; keys, clicks and moves from a real screen are in tst_ExtendDialogWindow.
class tst_ExtendDialog : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void staysADialogWindow_data();
    void staysADialogWindow();
    void setWindowFlagsKeepsItADialogWindow_data();
    void setWindowFlagsKeepsItADialogWindow();
    void partsHaveNamesForStyleSheets();
    void closeButtonIsTheDefaultButton();
    void crossIsSharpOnAFineScreen_data();
    void crossIsSharpOnAFineScreen();
    void borderIsWholeAtEveryScale_data();
    void borderIsWholeAtEveryScale();
    void titleIsShownAsItIs_data();
    void titleIsShownAsItIs();
    void longTitleIsCutAndFoundInTheToolTip();
    void titleFollowsASettingThroughTheBaseClass();
    void contentStandsBelowTheTitleBar();
    void contentOfAnotherParentMovesIn();
    void newContentTakesTheOldOnesPlace();
    void sameContentAgainChangesNothing();
    void earlierContentCanReturn();
    void contentDeletedByItsMakerLeavesAnEmptyFrame();
    void noContentIsLegal();
    void changeSizeHoldsContentOfThatSize_data();
    void changeSizeHoldsContentOfThatSize();
    void changeSizeWithoutASizeIsIgnored();
    void fixedFrameHoldsItsContent_data();
    void fixedFrameHoldsItsContent();
    void firstTextFieldGetsTheFocus();
    void askedForFocusIsKept();
    void closeButtonAsksToClose();
    void refusedCloseLeavesTheFrameOpen();
    void plainCloseRejects();
    void runsAgainAfterItHasClosed();
    void deletedWhileItRuns();
};

namespace
{

class RefusingDialog : public ExtendDialog
{
public:
    RefusingDialog() : ExtendDialog(nullptr, Qt::WindowCloseButtonHint, 1) {}

    bool refuse = true;
    int closes = 0;
    int rejects = 0;

    void reject() override
    {
        ++rejects;
        ExtendDialog::reject();
    }

protected:
    void closeEvent(QCloseEvent *event) override
    {
        ++closes;
        event->setAccepted(!refuse);
    }
};

QPushButton *closeButton(const QWidget &frame)
{
    return frame.findChild<QPushButton *>("ExtendDialog_BtnClose");
}

QLabel *title(const QWidget &frame)
{
    return frame.findChild<QLabel *>("ExtendDialog_Title");
}

QWidget *titleBar(const QWidget &frame)
{
    return frame.findChild<QWidget *>("ExtendDialog_TitleBar");
}

/// Whether every square of 2 x 2 dots has one colour, as in a picture for a coarser screen that was made larger.
bool isDoubled(const QImage &picture)
{
    for (int y = 0; y + 1 < picture.height(); y += 2) {
        for (int x = 0; x + 1 < picture.width(); x += 2) {
            const QRgb dot = picture.pixel(x, y);
            if (picture.pixel(x + 1, y) != dot || picture.pixel(x, y + 1) != dot || picture.pixel(x + 1, y + 1) != dot)
                return false;
        }
    }
    return true;
}

/// A question, a field and two buttons, spaced as an input dialog is.
QWidget *inputForm(QWidget *parent)
{
    QWidget *form = new QWidget(parent);
    QVBoxLayout *column = new QVBoxLayout(form);
    column->addWidget(new QLabel("Enter the account number:", form));
    column->insertSpacing(1, 35);
    column->addWidget(new QLineEdit(form));
    QHBoxLayout *row = new QHBoxLayout;
    row->addWidget(new QPushButton("OK", form));
    row->addWidget(new QPushButton("Cancel", form));
    column->addLayout(row);
    return form;
}

/// A list of 345 by 250 and a row of buttons, spaced as the menu window is.
QWidget *menuForm(QWidget *parent)
{
    QWidget *form = new QWidget(parent);
    QVBoxLayout *column = new QVBoxLayout(form);
    QFrame *list = new QFrame(form);
    list->setFixedSize(345, 250);
    column->addWidget(list);
    column->insertSpacing(1, 10);
    column->addWidget(new QPushButton("Close", form));
    return form;
}

} // namespace

void tst_ExtendDialog::cleanup()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_ExtendDialog::staysADialogWindow_data()
{
    QTest::addColumn<int>("flags");
    QTest::newRow("no flags") << 0;
    QTest::newRow("close hint only") << int(Qt::WindowCloseButtonHint);
    QTest::newRow("on top only") << int(Qt::WindowStaysOnTopHint);
    QTest::newRow("child type") << int(Qt::SubWindow);
    QTest::newRow("dialog") << int(Qt::Dialog | Qt::WindowCloseButtonHint);
}

void tst_ExtendDialog::staysADialogWindow()
{
    QFETCH(int, flags);
    QWidget parent;
    ExtendDialog frame(&parent, Qt::WindowFlags(flags), 1);
    QVERIFY(frame.isWindow());
    QCOMPARE(frame.windowType(), Qt::Dialog);
    QCOMPARE(frame.parentWidget(), &parent);
    QVERIFY(frame.windowFlags() & Qt::FramelessWindowHint);
}

void tst_ExtendDialog::setWindowFlagsKeepsItADialogWindow_data()
{
    staysADialogWindow_data();
}

void tst_ExtendDialog::setWindowFlagsKeepsItADialogWindow()
{
    QFETCH(int, flags);
    QWidget parent;
    ExtendDialog frame(&parent, Qt::WindowCloseButtonHint, 4);
    frame.setWindowFlags(Qt::WindowFlags(flags));
    QVERIFY(frame.isWindow());
    QCOMPARE(frame.windowType(), Qt::Dialog);
    QCOMPARE(frame.parentWidget(), &parent);
    QVERIFY(frame.windowFlags() & Qt::FramelessWindowHint);
    QCOMPARE(bool(frame.windowFlags() & Qt::WindowStaysOnTopHint), bool(flags & Qt::WindowStaysOnTopHint));
}

void tst_ExtendDialog::partsHaveNamesForStyleSheets()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QVERIFY(titleBar(frame));
    QVERIFY(title(frame));
    QVERIFY(closeButton(frame));
    QVERIFY(!closeButton(frame)->accessibleName().isEmpty());
}

void tst_ExtendDialog::closeButtonIsTheDefaultButton()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    frame.AddMainWidget(inputForm(&frame));
    frame.show();
    QVERIFY(closeButton(frame)->isDefault());
    for (QPushButton *button : frame.findChildren<QPushButton *>()) {
        QCOMPARE(button->isDefault(), button == closeButton(frame));
    }
    QVERIFY(!(closeButton(frame)->focusPolicy() & Qt::TabFocus));
}

void tst_ExtendDialog::crossIsSharpOnAFineScreen_data()
{
    QTest::addColumn<QString>("sheet");
    QTest::newRow("own look") << QString();
    QTest::newRow("style sheet") << QString("#ExtendDialog_BtnClose { background: transparent; border: none; }");
}

void tst_ExtendDialog::crossIsSharpOnAFineScreen()
{
    QFETCH(QString, sheet);
    ExtendDialog frame(nullptr, Qt::WindowCloseButtonHint, 1);
    frame.setStyleSheet(sheet);
    frame.show();
    QPushButton *button = closeButton(frame);
    QImage picture(button->size() * 2, QImage::Format_RGB32);
    picture.setDevicePixelRatio(2);
    picture.fill(Qt::black);
    button->render(&picture, QPoint(), QRegion(), QWidget::RenderFlags());
    QCOMPARE(picture.pixelColor(button->width(), button->height()), QColor(Qt::white)); // the middle of the cross
    QVERIFY(!isDoubled(picture));
}

void tst_ExtendDialog::borderIsWholeAtEveryScale_data()
{
    QTest::addColumn<qreal>("scale");
    QTest::addColumn<int>("width");
    for (const int percent : {100, 125, 150, 200}) {
        for (const int width : {300, 301, 302, 303})
            QTest::addRow("%d %%, %d wide", percent, width) << percent / 100.0 << width;
    }
}

void tst_ExtendDialog::borderIsWholeAtEveryScale()
{
    QFETCH(qreal, scale);
    QFETCH(int, width);
    ExtendDialog frame(nullptr, Qt::WindowCloseButtonHint, 1);
    QWidget *content = new QWidget(&frame);
    content->setAutoFillBackground(true);
    content->setPalette(Qt::white);
    frame.AddMainWidget(content);
    frame.resize(width, width);
    frame.show();
    const int dots = qCeil(width * scale - 0.5); // those whose middle is within the window
    QImage picture(dots, dots, QImage::Format_RGB32);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::red);
    frame.render(&picture);
    const QRgb colour = picture.pixel(0, dots / 2);
    QVERIFY(colour != QColor(Qt::red).rgb() && colour != picture.pixel(dots / 2, dots / 2));
    QCOMPARE(picture.pixel(dots - 1, dots / 2), colour);
    QCOMPARE(picture.pixel(dots / 2, dots - 1), colour);
    QCOMPARE(picture.pixel(dots / 2, 0), colour);
}

void tst_ExtendDialog::titleIsShownAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("plain") << "Services"
                           << "Services";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("markup") << "<b>Bank</b>"
                            << "<b>Bank</b>";
    QTest::newRow("ampersand") << "News & &more"
                               << "News & &more";
    QTest::newRow("Cyrillic") << QString::fromUtf8("Услуги") << QString::fromUtf8("Услуги");
    QTest::newRow("line end") << "Bank\nservices"
                              << "Bank services";
}

void tst_ExtendDialog::titleIsShownAsItIs()
{
    QFETCH(QString, text);
    QFETCH(QString, shown);
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    frame.setFixedSize(380, 357);
    frame.show();
    frame.setWindowTitle(text);
    QCOMPARE(frame.windowTitle(), text);
    QCOMPARE(title(frame)->text(), shown);
    QCOMPARE(title(frame)->textFormat(), Qt::PlainText);
    QVERIFY(title(frame)->buddy() == nullptr); // without one an ampersand is no shortcut
    QCOMPARE(title(frame)->toolTip(), QString());
}

void tst_ExtendDialog::longTitleIsCutAndFoundInTheToolTip()
{
    const QString text = "<i>services</i> & " + QString(240, 'x');
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    frame.setWindowTitle(text);
    frame.setFixedSize(380, 357);
    frame.show();
    QVERIFY(title(frame)->text().endsWith(QChar(0x2026)));
    QVERIFY(title(frame)->fontMetrics().horizontalAdvance(title(frame)->text()) <= title(frame)->width());
    QVERIFY(closeButton(frame)->geometry().right() < frame.width());
    const QString tip = title(frame)->toolTip();
    QVERIFY(tip.contains("&lt;i&gt;services&lt;/i&gt; &amp; " + QString(240, 'x')));

    frame.setWindowTitle("short");
    QCOMPARE(title(frame)->text(), QString("short"));
    QCOMPARE(title(frame)->toolTip(), QString());
}

void tst_ExtendDialog::titleFollowsASettingThroughTheBaseClass()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    frame.setFixedSize(380, 357);
    frame.show();
    QWidget *base = &frame;
    base->setWindowTitle("Services");
    QCOMPARE(title(frame)->text(), QString("Services"));
}

void tst_ExtendDialog::contentStandsBelowTheTitleBar()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QWidget *content = new QWidget(&frame);
    frame.AddMainWidget(content);
    frame.resize(300, 200);
    frame.show();
    QCOMPARE(content->parentWidget(), &frame);
    QVERIFY(content->isVisible());
    const int barBottom = titleBar(frame)->geometry().bottom();
    QVERIFY(barBottom <= 28);
    QCOMPARE(content->geometry(), QRect(QPoint(1, barBottom + 1), QPoint(298, 198)));
}

void tst_ExtendDialog::contentOfAnotherParentMovesIn()
{
    QWidget elsewhere;
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QWidget *content = new QWidget(&elsewhere);
    frame.AddMainWidget(content);
    frame.show();
    QCOMPARE(content->parentWidget(), &frame);
    QVERIFY(!content->isWindow());
    QVERIFY(content->isVisible());
}

void tst_ExtendDialog::newContentTakesTheOldOnesPlace()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QPointer<QWidget> first = new QWidget(&frame);
    QWidget *second = new QWidget(&frame);
    frame.AddMainWidget(first);
    frame.resize(300, 200);
    frame.show();
    const QRect place = first->geometry();
    frame.AddMainWidget(second);
    QCoreApplication::processEvents();
    QVERIFY(!first.isNull());
    QVERIFY(!first->isVisible());
    QVERIFY(second->isVisible());
    QCOMPARE(second->geometry(), place);
    delete second;
    QVERIFY(!first.isNull());
}

void tst_ExtendDialog::sameContentAgainChangesNothing()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QWidget *content = new QWidget(&frame);
    frame.AddMainWidget(content);
    frame.resize(300, 200);
    frame.show();
    const QRect place = content->geometry();
    frame.AddMainWidget(content);
    QCoreApplication::processEvents();
    QVERIFY(content->isVisible());
    QCOMPARE(content->geometry(), place);
}

void tst_ExtendDialog::earlierContentCanReturn()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QWidget *first = new QWidget(&frame);
    QWidget *second = new QWidget(&frame);
    frame.AddMainWidget(first);
    frame.resize(300, 200);
    frame.show();
    frame.AddMainWidget(second);
    frame.AddMainWidget(first);
    QVERIFY(first->isVisible());
    QVERIFY(!second->isVisible());
}

void tst_ExtendDialog::contentDeletedByItsMakerLeavesAnEmptyFrame()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QWidget *content = inputForm(&frame);
    frame.AddMainWidget(content);
    frame.show();
    delete content;
    frame.AddMainWidget(nullptr);
    frame.changeSize(QSize(200, 100));
    QTest::keyClick(&frame, Qt::Key_Return);
    QVERIFY(!frame.isVisible());
}

void tst_ExtendDialog::noContentIsLegal()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    frame.AddMainWidget(nullptr);
    frame.resize(300, 200);
    frame.show();
    QCOMPARE(titleBar(frame)->geometry().topLeft(), QPoint(1, 1));
    QWidget *content = new QWidget(&frame);
    frame.AddMainWidget(content);
    frame.AddMainWidget(nullptr);
    QVERIFY(!content->isVisible());
}

void tst_ExtendDialog::changeSizeHoldsContentOfThatSize_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QSize>("size");
    QTest::newRow("window") << 1 << QSize(400, 300);
    QTest::newRow("message") << 4 << QSize(500, 102);
}

void tst_ExtendDialog::changeSizeHoldsContentOfThatSize()
{
    QFETCH(int, type);
    QFETCH(QSize, size);
    ExtendDialog frame(nullptr, Qt::WindowFlags(), type);
    QWidget *content = new QWidget(&frame);
    frame.AddMainWidget(content);
    QVERIFY(QMetaObject::invokeMethod(&frame, "changeSize", Q_ARG(QSize, size)));
    frame.show();
    QCOMPARE(content->size(), size);

    // Content that grew stands in the way of nothing when it becomes small again.
    content->setFixedSize(900, 700);
    frame.changeSize(content->size());
    QCOMPARE(content->size(), QSize(900, 700));
    content->setFixedSize(size);
    frame.changeSize(size);
    QCoreApplication::processEvents();
    QCOMPARE(frame.width(), size.width() + 2);
}

void tst_ExtendDialog::changeSizeWithoutASizeIsIgnored()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    frame.resize(300, 200);
    frame.changeSize(QSize());
    QCOMPARE(frame.size(), QSize(300, 200));
}

void tst_ExtendDialog::fixedFrameHoldsItsContent_data()
{
    QTest::addColumn<bool>("menu");
    QTest::addColumn<QSize>("size");
    QTest::newRow("menu window") << true << QSize(380, 357);
    QTest::newRow("input dialog") << false << QSize(261, 170);
}

void tst_ExtendDialog::fixedFrameHoldsItsContent()
{
    QFETCH(bool, menu);
    QFETCH(QSize, size);
    ExtendDialog frame(nullptr, Qt::WindowCloseButtonHint, 1);
    QWidget *form = menu ? menuForm(&frame) : inputForm(&frame);
    frame.AddMainWidget(form);
    frame.setFixedSize(size);
    frame.show();
    QCOMPARE(frame.size(), size);
    QVERIFY(frame.rect().contains(form->geometry()));
    QVERIFY2(form->height() >= form->minimumSizeHint().height(),
             qPrintable(QString("%1 < %2").arg(form->height()).arg(form->minimumSizeHint().height())));
    for (QWidget *child : form->findChildren<QWidget *>()) {
        QVERIFY2(form->rect().contains(child->geometry()), child->metaObject()->className());
        QVERIFY2(child->height() >= child->minimumSizeHint().height(), child->metaObject()->className());
    }
}

void tst_ExtendDialog::firstTextFieldGetsTheFocus()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QWidget *form = new QWidget(&frame);
    QVBoxLayout *column = new QVBoxLayout(form);
    column->addWidget(new QPushButton("First in the order of the keyboard", form));
    QLineEdit *disabled = new QLineEdit(form);
    disabled->setEnabled(false);
    QLineEdit *field = new QLineEdit(form);
    column->addWidget(disabled);
    column->addWidget(field);
    frame.AddMainWidget(form);
    frame.show();
    QCOMPARE(frame.focusWidget(), field);
}

void tst_ExtendDialog::askedForFocusIsKept()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QWidget *form = inputForm(&frame);
    frame.AddMainWidget(form);
    QPushButton *cancel = form->findChildren<QPushButton *>().last();
    cancel->setFocus(Qt::OtherFocusReason);
    frame.show();
    QCOMPARE(frame.focusWidget(), cancel);
}

void tst_ExtendDialog::closeButtonAsksToClose()
{
    RefusingDialog frame;
    frame.refuse = false;
    frame.show();
    closeButton(frame)->click();
    QCOMPARE(frame.closes, 1);
    QCOMPARE(frame.rejects, 0); // only close(): what else happens is for the close event to say
    QVERIFY(!frame.isVisible());
}

void tst_ExtendDialog::refusedCloseLeavesTheFrameOpen()
{
    RefusingDialog frame;
    frame.show();
    closeButton(frame)->click();
    QCOMPARE(frame.closes, 1);
    QVERIFY(frame.isVisible());
    QTest::keyClick(&frame, Qt::Key_Enter, Qt::KeypadModifier);
    QCOMPARE(frame.closes, 2);
    QVERIFY(frame.isVisible());
}

void tst_ExtendDialog::plainCloseRejects()
{
    ExtendDialog frame(nullptr, Qt::WindowFlags(), 1);
    QSignalSpy rejected(&frame, SIGNAL(rejected()));
    frame.show();
    closeButton(frame)->click();
    QVERIFY(!frame.isVisible());
    QCOMPARE(rejected.count(), 1);
}

void tst_ExtendDialog::runsAgainAfterItHasClosed()
{
    ExtendDialog frame(nullptr, Qt::WindowCloseButtonHint, 4);
    frame.AddMainWidget(inputForm(&frame));
    for (int round = 0; round < 3; ++round) {
        bool wasModal = false;
        QTimer::singleShot(0, &frame, [&] {
            wasModal = QApplication::activeModalWidget() == &frame;
            closeButton(frame)->click();
        });
        QCOMPARE(frame.exec(), int(QDialog::Rejected));
        QVERIFY(wasModal);
    }
}

void tst_ExtendDialog::deletedWhileItRuns()
{
    QWidget *parent = new QWidget;
    ExtendDialog *frame = new ExtendDialog(parent, Qt::WindowCloseButtonHint, 4);
    frame->AddMainWidget(inputForm(frame));
    QTimer::singleShot(0, parent, [parent] { delete parent; });
    QCOMPARE(frame->exec(), int(QDialog::Rejected));
}

QTEST_MAIN(tst_ExtendDialog)
#include "tst_ExtendDialog.moc"
