#include "dashboard/InspectorWindow.h"

#include "dashboard/CardPanel.h"
#include "dashboard/Session.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>
#include <QTreeWidget>
#include <QWindow>
#include <QtCore/QFile>

#include <memory>

using namespace dashboard;

namespace
{

/// What a user works with; the parts that such a control is made of are none.
bool isControl(const QWidget *widget)
{
    const bool isOne = qobject_cast<const QAbstractButton *>(widget) || qobject_cast<const QComboBox *>(widget) ||
                       qobject_cast<const QAbstractSpinBox *>(widget) || qobject_cast<const QLineEdit *>(widget) ||
                       qobject_cast<const QPlainTextEdit *>(widget) || qobject_cast<const QTableView *>(widget) ||
                       qobject_cast<const QTreeWidget *>(widget);
    return isOne && (widget->focusPolicy() & Qt::TabFocus) &&
           !qobject_cast<const QAbstractSpinBox *>(widget->parentWidget());
}

} // namespace

class tst_InspectorWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void tableFollowsTheSession();
    void scrolledUpTableStays();
    void searchAndKindNarrowTheTable();
    void chosenLineIsDecoded();
    void longLineIsReadWhole_data();
    void longLineIsReadWhole();
    void clearedTableHasNoDetails();
    void copiesTheChosenLinesAsHex();
    void copyWithoutBytesTellsWhatToDo();
    void savesTheSession();
    void failedSaveTellsWhy();
    void saveDialogLeavesTheFileItsKind_data();
    void saveDialogLeavesTheFileItsKind();
    void keyboardIsSharedWithAGrabber();
    void grabOfAWindowThatIsGoneIsForgotten();
    void grabOfAHiddenFieldIsForgotten();
    void windowThatIsNoWidgetTakesNoGrab();
    void formRaisesItsCommand();
    void formAsksForWhatTheTypeHas();
    void choicesReachTheCommand_data();
    void choicesReachTheCommand();
    void qualifierAndItsChoicesAgree();
    void bytesByHandAreRaised();
    void uselessBytesAreNotRaised();
    void raisingWithoutACardTellsWhatToDo();
    void cardGoesInAndOut();
    void cardThatCannotBeInsertedTellsWhy();
    void brokenProfileChangesNothing();
    void otherProfileTakesItsPlace();
    void cardMenuOffersWhatThereIs();
    void cardMenuMarksTheCard_data();
    void cardMenuMarksTheCard();
    void cardMenuTellsWhyThereIsNothing();
    void profileIsAskedFor();
    void chosenCardIsTold();
    void faultsAreForVirtualCards();
    void turnIsShown();
    void faultsAreTold();
    void threadAndLimitAreSet();
    void limitOfWhatNobodyEndsIsSet();
    void looksAreAskedFor();
    void everyControlHasAnAccessibleName();
    void tabReachesEveryControl();

private:
    bool attach();
    QStringList cardMenu() const;
    void pick(const QString &text) const;
    bool hasEntry(const QString &start) const;
    template <typename Widget>
    Widget *find(const char *name) const
    {
        Widget *widget = m_window->findChild<Widget *>(name);
        if (!widget)
            qFatal("the window has no %s", name);
        return widget;
    }
    void add(EntryKind kind, const QString &text, const QByteArray &hex = {}, const QByteArray &answer = {});
    void fill(int count);

    QTemporaryDir m_folder;
    std::unique_ptr<SessionModel> m_model;
    Options m_options;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<InspectorWindow> m_window;
};

void tst_InspectorWindow::add(EntryKind kind, const QString &text, const QByteArray &hex, const QByteArray &answer)
{
    const QByteArray bytes = QByteArray::fromHex(hex);
    const QByteArray rest = QByteArray::fromHex(answer);
    m_model->add({kind, QDateTime::currentDateTime(), text, cat::Bytes(bytes.begin(), bytes.end()),
                  cat::Bytes(rest.begin(), rest.end())});
}

void tst_InspectorWindow::fill(int count)
{
    for (int i = 0; i < count; ++i)
        add(EntryKind::Host, QString("line %1").arg(i));
}

/// What the card menu has when it opens, without its lines.
QStringList tst_InspectorWindow::cardMenu() const
{
    auto *menu = find<QMenu>("cardMenu");
    emit menu->aboutToShow();
    QStringList texts;
    for (const QAction *action : menu->actions()) {
        if (!action->isSeparator())
            texts << action->text();
    }
    return texts;
}

void tst_InspectorWindow::pick(const QString &text) const
{
    for (QAction *action : find<QMenu>("cardMenu")->actions()) {
        if (action->text() == text)
            return action->trigger();
    }
    qFatal("the card menu has no %s", qPrintable(text));
}

void tst_InspectorWindow::init()
{
    m_model = std::make_unique<SessionModel>();
    m_options.card = m_folder.filePath("card.yaml");
    QFile file(m_options.card);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("name: Test\nmenu:\n  title: Test menu\n  items:\n    - text: One\n");
    file.close();
    m_session = std::make_unique<Session>(m_options);
    connect(m_session.get(), &Session::entryAdded, m_model.get(), &SessionModel::add);
    m_window = std::make_unique<InspectorWindow>(*m_model, *m_session);
    m_window->open();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

void tst_InspectorWindow::cleanup()
{
    m_window.reset();
    m_session.reset();
    m_model.reset();
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
    QVERIFY(!QWidget::keyboardGrabber());
}

void tst_InspectorWindow::tableFollowsTheSession()
{
    fill(100);
    const QScrollBar *const bar = find<QTableView>("sessionTable")->verticalScrollBar();
    QTRY_VERIFY(bar->maximum() > 0);
    QTRY_COMPARE(bar->value(), bar->maximum());
}

void tst_InspectorWindow::scrolledUpTableStays()
{
    fill(100);
    QScrollBar *const bar = find<QTableView>("sessionTable")->verticalScrollBar();
    QTRY_VERIFY(bar->maximum() > 0 && bar->value() == bar->maximum());
    bar->setValue(3);
    fill(5);
    QCoreApplication::processEvents();
    QCOMPARE(bar->value(), 3);
    bar->setValue(bar->maximum());
    fill(5);
    QTRY_COMPARE(bar->value(), bar->maximum());
}

void tst_InspectorWindow::searchAndKindNarrowTheTable()
{
    add(EntryKind::Command, "SET UP MENU");
    add(EntryKind::Response, "SET UP MENU: 00");
    add(EntryKind::Apdu, "FETCH");
    const QAbstractItemModel *const rows = find<QTableView>("sessionTable")->model();
    QCOMPARE(rows->rowCount(), 2);
    auto *kind = find<QComboBox>("kindComboBox");
    kind->setFocus();
    QTest::keyClick(kind, Qt::Key_Down);
    QCOMPARE(rows->rowCount(), 3);
    QTest::keyClicks(kind, "Answers");
    QCOMPARE(rows->rowCount(), 1);
    QTest::keyClick(kind, Qt::Key_Home);
    QTest::keyClick(m_window.get(), Qt::Key_F, Qt::ControlModifier);
    QTRY_VERIFY(find<QLineEdit>("searchLineEdit")->hasFocus());
    QTest::keyClicks(find<QLineEdit>("searchLineEdit"), "00");
    QCOMPARE(rows->rowCount(), 1);
}

void tst_InspectorWindow::chosenLineIsDecoded()
{
    add(EntryKind::Command, "DISPLAY TEXT", "D00D 8103012180 82028102 8D0204 41");
    find<QTableView>("sessionTable")->selectRow(0);
    auto *tree = find<QTreeWidget>("detailsTree");
    QCOMPARE(tree->topLevelItemCount(), 1);
    const QTreeWidgetItem *const top = tree->topLevelItem(0);
    QCOMPARE(top->text(0), QString("D0"));
    QCOMPARE(top->childCount(), 3);
    QVERIFY(top->isExpanded());
    QCOMPARE(top->child(2)->text(0), QString("8D"));
    QCOMPARE(top->child(2)->text(1), QString("text string"));
    QCOMPARE(top->child(2)->text(2), QString("2"));
    QCOMPARE(top->child(2)->text(3), QString("\"A\", 8 bits"));
    QVERIFY(find<QLineEdit>("bytesLineEdit")->text().startsWith("D0 0D 81 03"));
    QVERIFY(find<QLineEdit>("bytesLineEdit")->isReadOnly());
}

void tst_InspectorWindow::longLineIsReadWhole_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("words") << QString("the card does not answer ").repeated(30);
    QTest::newRow("one word") << QString(1000, 'W');
    QTest::newRow("what looks like markup") << QString("<b>no reader</b> ").repeated(30);
}

/// The table cuts it off; the field below has all of it, to the last character, however far one must scroll.
void tst_InspectorWindow::longLineIsReadWhole()
{
    QFETCH(QString, text);
    add(EntryKind::Note, text);
    auto *field = find<QPlainTextEdit>("lineTextEdit");
    find<QLineEdit>("searchLineEdit")->setFocus();
    find<QTableView>("sessionTable")->setFocus();
    QCOMPARE(field->toPlainText(), QString()); // the focus alone chooses none
    const int width = m_window->width();
    find<QTableView>("sessionTable")->selectRow(0);
    QCOMPARE(field->toPlainText(), text);
    QVERIFY(field->isReadOnly());
    QCOMPARE(m_window->width(), width);
    QCOMPARE(field->horizontalScrollBar()->maximum(), 0);
    field->verticalScrollBar()->setValue(field->verticalScrollBar()->maximum());
    QTextCursor end(field->document());
    end.movePosition(QTextCursor::End);
    QVERIFY(field->viewport()->rect().contains(field->cursorRect(end)));
    QVERIFY(find<QLineEdit>("bytesLineEdit")->placeholderText().contains("no bytes"));
}

void tst_InspectorWindow::clearedTableHasNoDetails()
{
    add(EntryKind::Command, "DISPLAY TEXT", "D000");
    find<QTableView>("sessionTable")->selectRow(0);
    QVERIFY(!find<QLineEdit>("bytesLineEdit")->text().isEmpty());
    QTest::mouseClick(find<QPushButton>("clearButton"), Qt::LeftButton);
    QCOMPARE(m_model->rowCount(), 0);
    QCOMPARE(find<QTreeWidget>("detailsTree")->topLevelItemCount(), 0);
    QCOMPARE(find<QLineEdit>("bytesLineEdit")->text(), QString());
    QCOMPARE(find<QPlainTextEdit>("lineTextEdit")->toPlainText(), QString());
}

void tst_InspectorWindow::copiesTheChosenLinesAsHex()
{
    add(EntryKind::Command, "one", "D001");
    add(EntryKind::Host, "without bytes");
    add(EntryKind::Response, "two", "8103");
    auto *table = find<QTableView>("sessionTable");
    table->setFocus();
    table->selectAll();
    QTest::keyClick(table, Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QString("D0 01\n81 03"));
    QVERIFY2(m_window->report().contains("2 lines"), qPrintable(m_window->report()));
    table->clearSelection();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier,
                      table->visualRect(table->model()->index(2, 0)).center());
    QTest::mouseClick(find<QPushButton>("copyButton"), Qt::LeftButton);
    QCOMPARE(QApplication::clipboard()->text(), QString("81 03"));
}

void tst_InspectorWindow::copyWithoutBytesTellsWhatToDo()
{
    add(EntryKind::Host, "without bytes");
    QApplication::clipboard()->setText("as it was");
    m_window->copyHex();
    QCOMPARE(QApplication::clipboard()->text(), QString("as it was"));
    QVERIFY2(m_window->report().contains("choose a line"), qPrintable(m_window->report()));
}

/// All of it, whatever the table shows.
void tst_InspectorWindow::savesTheSession()
{
    add(EntryKind::Host, "ready");
    add(EntryKind::Apdu, "FETCH", "8012", "9000");
    const QString name = m_folder.filePath("session.txt");
    m_window->save(name);
    QFile file(name);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll().count('\n'), 2);
    QVERIFY2(m_window->report().contains(name), qPrintable(m_window->report()));
}

void tst_InspectorWindow::failedSaveTellsWhy()
{
    const QString name = m_folder.filePath("missing/session.pcap");
    m_window->save(name);
    QVERIFY2(m_window->report().contains(name), qPrintable(m_window->report()));
    QCOMPARE(find<QLabel>("reportLabel")->text(), m_window->report());
}

void tst_InspectorWindow::saveDialogLeavesTheFileItsKind_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("file");
    QTest::newRow("capture") << 0 << "named.pcap";
    QTest::newRow("text") << 1 << "named.txt";
}

void tst_InspectorWindow::saveDialogLeavesTheFileItsKind()
{
    QFETCH(int, kind);
    QFETCH(QString, file);
    QTest::keyClick(m_window.get(), Qt::Key_S, Qt::ControlModifier);
    QTRY_VERIFY(m_window->findChild<QFileDialog *>("saveDialog"));
    auto *dialog = m_window->findChild<QFileDialog *>("saveDialog");
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    dialog->setDirectory(m_folder.path());
    auto *kinds = dialog->findChild<QComboBox *>("fileTypeCombo");
    for (int i = 0; i < kind; ++i)
        QTest::keyClick(kinds, Qt::Key_Down);
    auto *name = dialog->findChild<QLineEdit *>("fileNameEdit");
    name->setText(m_folder.filePath("named"));
    QTest::keyClick(name, Qt::Key_Return);
    QTRY_VERIFY(QFile::exists(m_folder.filePath(file)));
    QTRY_VERIFY(!m_window->findChild<QFileDialog *>("saveDialog"));
}

/// A modal dialog's field has grabbed the keyboard, as the plug-in's does. Keys as the window system brings them.
void tst_InspectorWindow::keyboardIsSharedWithAGrabber()
{
    QWidget other;
    QDialog dialog(&other);
    auto *field = new QLineEdit(&dialog);
    field->grabKeyboard();
    other.show();
    dialog.setWindowModality(Qt::WindowModal);
    dialog.open();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    auto *search = find<QLineEdit>("searchLineEdit");
    m_window->open();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    search->setFocus();
    QTest::keyClick(m_window->windowHandle(), Qt::Key_A);
    QCOMPARE(search->text(), QString("a"));
    QCOMPARE(field->text(), QString());
    QVERIFY(!QWidget::keyboardGrabber());

    dialog.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QTest::keyClick(dialog.windowHandle(), Qt::Key_B);
    QCOMPARE(field->text(), QString("b"));
    QCOMPARE(QWidget::keyboardGrabber(), field);
    field->releaseKeyboard();
}

void tst_InspectorWindow::grabOfAWindowThatIsGoneIsForgotten()
{
    auto dialog = std::make_unique<QDialog>();
    auto *field = new QLineEdit(dialog.get());
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
    field->grabKeyboard();
    auto *search = find<QLineEdit>("searchLineEdit");
    m_window->open();
    search->setFocus();
    QTest::keyClick(m_window->windowHandle(), Qt::Key_A);
    QVERIFY(!QWidget::keyboardGrabber());
    dialog.reset();
    QTest::keyClick(m_window->windowHandle(), Qt::Key_B);
    QCOMPARE(search->text(), QString("ab"));
}

void tst_InspectorWindow::grabOfAHiddenFieldIsForgotten()
{
    QDialog dialog;
    auto *field = new QLineEdit(&dialog);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    field->grabKeyboard();
    m_window->open();
    QTest::keyClick(m_window->windowHandle(), Qt::Key_A);
    QVERIFY(!QWidget::keyboardGrabber());
    field->hide();
    QTest::keyClick(dialog.windowHandle(), Qt::Key_B);
    QVERIFY(!QWidget::keyboardGrabber());
    field->show();
    QTest::keyClick(dialog.windowHandle(), Qt::Key_C);
    QVERIFY(!QWidget::keyboardGrabber());
}

void tst_InspectorWindow::windowThatIsNoWidgetTakesNoGrab()
{
    QDialog dialog;
    QLineEdit field(&dialog);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    field.grabKeyboard();
    QWindow other;
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    QTest::keyClick(&other, Qt::Key_A);
    QCOMPARE(QWidget::keyboardGrabber(), &field);
    field.releaseKeyboard();
}

bool tst_InspectorWindow::attach()
{
    QString error;
    return m_session->attach(&error) && QTest::qWaitFor([this] { return !m_session->menuTitle().isEmpty(); });
}

bool tst_InspectorWindow::hasEntry(const QString &start) const
{
    return QTest::qWaitFor([&] {
        for (int row = 0; row < m_model->rowCount(); ++row) {
            if (toLine(m_model->entry(row)).startsWith(start))
                return true;
        }
        return false;
    });
}

void tst_InspectorWindow::formRaisesItsCommand()
{
    QVERIFY(attach());
    find<QLineEdit>("textLineEdit")->setText("From the form");
    QTest::mouseClick(find<QPushButton>("raiseButton"), Qt::LeftButton);
    QVERIFY(hasEntry("host: has the card raise DISPLAY TEXT"));
    QVERIFY(hasEntry("card asks: DISPLAY TEXT \"From the form\""));
}

void tst_InspectorWindow::formAsksForWhatTheTypeHas()
{
    auto *type = find<QComboBox>("typeComboBox");
    type->setCurrentText("GET INPUT");
    QVERIFY(find<QSpinBox>("minimumSpinBox")->isVisible());
    QVERIFY(!find<QLineEdit>("urlLineEdit")->isVisible());
    type->setCurrentText("LAUNCH BROWSER");
    QVERIFY(!find<QSpinBox>("minimumSpinBox")->isVisible());
    QVERIFY(find<QLineEdit>("urlLineEdit")->isVisible());
    QVERIFY(find<QLabel>("commandWordsLabel")->text().startsWith("LAUNCH BROWSER"));
}

void tst_InspectorWindow::choicesReachTheCommand_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("box");
    QTest::addColumn<int>("choice");
    QTest::addColumn<QString>("bytes");
    QTest::newRow("shortest coding") << "DISPLAY TEXT" << QByteArray("codingComboBox") << -1 << "8D 03 00 C8 34";
    QTest::newRow("8 bits") << "DISPLAY TEXT" << QByteArray("codingComboBox") << 0x04 << "8D 03 04 48 69";
    QTest::newRow("UCS2") << "DISPLAY TEXT" << QByteArray("codingComboBox") << 0x08 << "8D 05 08 00 48 00 69";
    QTest::newRow("tone") << "PLAY TONE" << QByteArray("toneComboBox") << 0x11 << "8E 01 11";
}

void tst_InspectorWindow::choicesReachTheCommand()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, box);
    QFETCH(int, choice);
    QFETCH(QString, bytes);
    find<QComboBox>("typeComboBox")->setCurrentText(type);
    find<QLineEdit>("textLineEdit")->setText("Hi");
    auto *choices = find<QComboBox>(box.constData());
    choices->setCurrentIndex(choices->findData(choice));
    const QString built = find<QPlainTextEdit>("commandBytesEdit")->toPlainText();
    QVERIFY2(built.contains(bytes), qPrintable(built));
}

void tst_InspectorWindow::qualifierAndItsChoicesAgree()
{
    find<QComboBox>("typeComboBox")->setCurrentText("DISPLAY TEXT");
    auto *qualifier = find<QSpinBox>("qualifierSpinBox");
    const QList<QCheckBox *> boxes = m_window->findChildren<QCheckBox *>("qualifierCheckBox");
    QCOMPARE(boxes.size(), 2);
    QCOMPARE(qualifier->value(), 0x80);
    QVERIFY(!boxes.at(0)->isChecked() && boxes.at(1)->isChecked());
    boxes.at(0)->click();
    QCOMPARE(qualifier->value(), 0x81);
    qualifier->setValue(0x01);
    QVERIFY(boxes.at(0)->isChecked() && !boxes.at(1)->isChecked());
    QVERIFY(find<QPlainTextEdit>("commandBytesEdit")->toPlainText().contains("81 03 01 21 01"));

    find<QComboBox>("typeComboBox")->setCurrentText("REFRESH");
    auto *mode = find<QComboBox>("modeComboBox");
    QVERIFY(mode->isVisible());
    mode->setFocus();
    QTest::keyClicks(mode, "card");
    QCOMPARE(qualifier->value(), 4);
}

void tst_InspectorWindow::bytesByHandAreRaised()
{
    QVERIFY(attach());
    find<QPlainTextEdit>("commandBytesEdit")->setPlainText("D00D 8103012180 82028102 8D0204 41");
    QCOMPARE(find<QLabel>("commandWordsLabel")->text(), QString("DISPLAY TEXT \"A\""));
    QTest::mouseClick(find<QPushButton>("raiseButton"), Qt::LeftButton);
    QVERIFY(hasEntry("card asks: DISPLAY TEXT \"A\" | D0 0D"));
}

void tst_InspectorWindow::uselessBytesAreNotRaised()
{
    find<QPlainTextEdit>("commandBytesEdit")->setPlainText("D0 0G");
    QVERIFY(find<QLabel>("commandWordsLabel")->text().contains("'G' at character 5"));
    QVERIFY(!find<QPushButton>("raiseButton")->isEnabled());
    find<QLineEdit>("textLineEdit")->setText("Form again");
    QVERIFY(find<QPushButton>("raiseButton")->isEnabled());
}

void tst_InspectorWindow::raisingWithoutACardTellsWhatToDo()
{
    QTest::mouseClick(find<QPushButton>("raiseButton"), Qt::LeftButton);
    QVERIFY2(m_window->report().contains("attach the device"), qPrintable(m_window->report()));
}

void tst_InspectorWindow::cardGoesInAndOut()
{
    auto *button = find<QPushButton>("insertButton");
    QCOMPARE(button->text(), QString("&Insert card"));
    button->click();
    QVERIFY(m_session->isAttached());
    QCOMPARE(button->text(), QString("Remo&ve card"));
    button->click();
    QVERIFY(!m_session->isAttached());
}

void tst_InspectorWindow::cardThatCannotBeInsertedTellsWhy()
{
    QVERIFY(QFile::remove(m_options.card));
    find<QPushButton>("insertButton")->click();
    QVERIFY2(m_window->report().startsWith("The card cannot be inserted. " + m_options.card),
             qPrintable(m_window->report()));
    QVERIFY(!m_session->isAttached());
}

void tst_InspectorWindow::brokenProfileChangesNothing()
{
    QVERIFY(attach());
    m_window->cardPanel()->useCard(m_folder.filePath("missing.yaml"));
    QVERIFY2(m_window->report().contains("missing.yaml"), qPrintable(m_window->report()));
    QVERIFY(m_session->isAttached());
    QCOMPARE(find<QLineEdit>("cardLineEdit")->text(), m_options.card);
}

void tst_InspectorWindow::otherProfileTakesItsPlace()
{
    QVERIFY(attach());
    const QString other = m_folder.filePath("other.yaml");
    QFile file(other);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("name: Other\nmenu:\n  title: Other menu\n  items:\n    - text: One\n");
    file.close();
    m_window->cardPanel()->useCard(other);
    QTRY_COMPARE(m_session->menuTitle(), QString("Other menu"));
    QCOMPARE(find<QLineEdit>("cardLineEdit")->text(), other);
    QVERIFY(hasEntry("host: detaches the device"));
}

void tst_InspectorWindow::cardMenuOffersWhatThereIs()
{
    CardPlaces places{{"One & only", "Two"}, QString(), {"/dev/ttyUSB0"}};
    m_window->cardPanel()->setFinder([&places] { return places; });
    QCOMPARE(cardMenu(), QStringList({"&Profile ...", "Reader One && only", "Reader Two", "Modem /dev/ttyUSB0"}));
    places = {{"Three"}, QString(), {"/dev/ttyACM1", "/dev/ttyACM2"}};
    QCOMPARE(cardMenu(), QStringList({"&Profile ...", "Reader Three", "Modem /dev/ttyACM1", "Modem /dev/ttyACM2"}));
}

void tst_InspectorWindow::cardMenuMarksTheCard_data()
{
    QTest::addColumn<QString>("card");
    QTest::addColumn<QStringList>("marked");
    QTest::newRow("profile") << "card.yaml" << QStringList();
    QTest::newRow("whole name") << "pcsc:Reader 00 01" << QStringList{"Reader Reader 00 01"};
    QTest::newRow("part of the name") << "pcsc:00 00" << QStringList{"Reader Reader 00 00"};
    QTest::newRow("modem") << "modem:/dev/ttyUSB0" << QStringList{"Modem /dev/ttyUSB0"};
    QTest::newRow("profile that begins like a reader") << "pcscd" << QStringList();
}

void tst_InspectorWindow::cardMenuMarksTheCard()
{
    QFETCH(QString, card);
    QFETCH(QStringList, marked);
    m_window.reset();
    m_session.reset();
    m_options.card = card;
    m_session = std::make_unique<Session>(m_options);
    m_window = std::make_unique<InspectorWindow>(*m_model, *m_session);
    m_window->cardPanel()->setFinder([] {
        return CardPlaces{{"Reader 00 00", "Reader 00 01"}, QString(), {"/dev/ttyUSB0"}};
    });
    cardMenu();
    QStringList found;
    for (const QAction *action : find<QMenu>("cardMenu")->actions()) {
        if (action->isChecked())
            found << action->text();
    }
    QCOMPARE(found, marked);
}

void tst_InspectorWindow::cardMenuTellsWhyThereIsNothing()
{
    m_window->cardPanel()->setFinder([] { return CardPlaces{{}, "the service does not run: start it", {}}; });
    QCOMPARE(cardMenu(), QStringList({"&Profile ...", "No reader: why?", "No modem: why?"}));
    pick("No reader: why?");
    QCOMPARE(m_window->report(), QString("No reader: the service does not run: start it"));
    pick("No modem: why?");
    QVERIFY2(m_window->report().startsWith("No modem: "), qPrintable(m_window->report()));
}

void tst_InspectorWindow::profileIsAskedFor()
{
    cardMenu();
    pick("&Profile ...");
    auto *dialog = m_window->findChild<QFileDialog *>("profileDialog");
    QVERIFY(dialog);
    dialog->close();
    QTRY_VERIFY(!m_window->findChild<QFileDialog *>("profileDialog"));
}

void tst_InspectorWindow::chosenCardIsTold()
{
    QSignalSpy chosen(m_window->cardPanel(), &CardPanel::cardChosen);
    m_window->cardPanel()->setFinder([] { return CardPlaces{{"Nobody has this reader"}, QString(), {}}; });
    QVERIFY(attach());
    cardMenu();
    pick("Reader Nobody has this reader");
    QVERIFY2(m_window->report().startsWith("The card stays as it is. "), qPrintable(m_window->report()));
    QVERIFY(m_session->isAttached());
    QCOMPARE(m_session->card(), m_options.card);
    QCOMPARE(chosen.count(), 0);
    m_window->cardPanel()->useCard(m_options.card);
    QCOMPARE(m_window->report(), QString("The device has the card of card.yaml."));
    QCOMPARE(chosen.count(), 1);
    QCOMPARE(chosen.at(0).at(0).toString(), m_options.card);
}

void tst_InspectorWindow::faultsAreForVirtualCards()
{
    QVERIFY(find<QCheckBox>("hangCheckBox")->isEnabled());
    QVERIFY(find<QPushButton>("failButton")->isEnabled());
    m_window.reset();
    m_session.reset();
    m_options.card = "pcsc";
    m_session = std::make_unique<Session>(m_options);
    m_window = std::make_unique<InspectorWindow>(*m_model, *m_session);
    m_window->open();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    for (const char *name : {"hangCheckBox", "failButton"}) {
        QVERIFY(!find<QAbstractButton>(name)->isEnabled());
        QVERIFY(find<QAbstractButton>(name)->toolTip().contains("virtual card"));
    }
    QTest::mouseClick(find<QPushButton>("raiseButton"), Qt::LeftButton);
    QVERIFY2(m_window->report().contains("in a reader or a modem"), qPrintable(m_window->report()));
}

void tst_InspectorWindow::turnIsShown()
{
    auto *label = find<QLabel>("turnLabel");
    QCOMPARE(label->text(), QString("Session: no device"));
    QVERIFY(attach());
    QTRY_COMPARE(label->text(), QString("Session: at rest"));
    QAccessibleInterface *const said = QAccessible::queryAccessibleInterface(label);
    QCOMPARE(said->text(QAccessible::Name), QString("Session: at rest"));
    QVERIFY(label->isVisible());
    find<QPushButton>("insertButton")->click();
    QCOMPARE(label->text(), QString("Session: no device"));
}

void tst_InspectorWindow::faultsAreTold()
{
    find<QCheckBox>("hangCheckBox")->click();
    QVERIFY(hasEntry("host: lets the card hang"));
    find<QCheckBox>("hangCheckBox")->click();
    QVERIFY(hasEntry("host: lets the card answer again"));
    find<QPushButton>("failButton")->click();
    QVERIFY(hasEntry("host: lets the next call fail"));
    QVERIFY(!m_window->report().isEmpty());
}

void tst_InspectorWindow::threadAndLimitAreSet()
{
    auto *thread = find<QComboBox>("threadComboBox");
    QVERIFY(m_session->isCallbackOnUiThread());
    thread->setFocus();
    QTest::keyClick(thread, Qt::Key_Down);
    QVERIFY(!m_session->isCallbackOnUiThread());

    find<QComboBox>("limitComboBox")->setCurrentText("display-text");
    find<QDoubleSpinBox>("limitSpinBox")->setValue(0.1);
    find<QPushButton>("limitButton")->click();
    QVERIFY(attach());
    find<QPushButton>("raiseButton")->click();
    QVERIFY(hasEntry("answer: DISPLAY TEXT: 12"));
}

void tst_InspectorWindow::limitOfWhatNobodyEndsIsSet()
{
    find<QComboBox>("limitComboBox")->setCurrentText("Nobody ends it");
    find<QDoubleSpinBox>("limitSpinBox")->setValue(0.1);
    find<QPushButton>("limitButton")->click();
    QVERIFY2(m_window->report().startsWith("Time limit of \"Nobody ends it\": 0.1 s"), qPrintable(m_window->report()));
    QVERIFY(attach());
    find<QSpinBox>("qualifierSpinBox")->setValue(0x00); // a text that clears itself
    find<QDoubleSpinBox>("durationSpinBox")->setValue(0.1);
    find<QPushButton>("raiseButton")->click();
    QVERIFY(hasEntry("answer: DISPLAY TEXT"));
}

void tst_InspectorWindow::looksAreAskedFor()
{
    QSignalSpy language(m_window->cardPanel(), &CardPanel::languageChosen);
    QSignalSpy style(m_window->cardPanel(), &CardPanel::styleChosen);
    auto *languages = find<QComboBox>("languageComboBox");
    languages->setFocus();
    QTest::keyClick(languages, Qt::Key_Down);
    QCOMPARE(language.count(), 1);
    QCOMPARE(language.at(0).at(0).toString(), languages->itemData(1).toString());
    m_window->cardPanel()->showLanguage("en");
    QCOMPARE(languages->currentIndex(), 0);
    auto *styles = find<QComboBox>("styleComboBox");
    styles->setFocus();
    QTest::keyClick(styles, Qt::Key_Down);
    QCOMPARE(style.count(), 1);
    QCOMPARE(style.at(0).at(0).toBool(), true);
}

/// As screen readers get it: through the accessibility interfaces.
void tst_InspectorWindow::everyControlHasAnAccessibleName()
{
    int controls = 0;
    for (QWidget *widget : m_window->findChildren<QWidget *>()) {
        if (!isControl(widget))
            continue;
        QAccessibleInterface *const control = QAccessible::queryAccessibleInterface(widget);
        QVERIFY(control);
        QVERIFY2(!control->text(QAccessible::Name).isEmpty(),
                 qPrintable(widget->objectName() + ' ' + widget->metaObject()->className()));
        ++controls;
    }
    QVERIFY2(controls > 30, qPrintable(QString::number(controls)));
}

void tst_InspectorWindow::tabReachesEveryControl()
{
    auto *tabs = find<QTabWidget>("toolsTabs");
    for (int tab = 0; tab < tabs->count(); ++tab) {
        tabs->setCurrentIndex(tab);
        find<QTableView>("sessionTable")->setFocus();
        QSet<QWidget *> reached;
        for (int i = 0; i < 60; ++i) {
            QTest::keyClick(m_window->windowHandle(), Qt::Key_Tab);
            reached << QApplication::focusWidget();
        }
        for (QWidget *widget : m_window->findChildren<QWidget *>()) {
            if (isControl(widget) && widget->isVisible() && widget->isEnabled())
                QVERIFY2(reached.contains(widget), qPrintable(widget->objectName()));
        }
    }
}

QTEST_MAIN(tst_InspectorWindow)
#include "tst_InspectorWindow.moc"
