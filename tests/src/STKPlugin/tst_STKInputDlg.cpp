// The input dialog: its request, how it is built and shown, and what its field lets in.
#include "InputWorld.h"

#include <QtCore/QMetaMethod>
#include <QtGui/QCloseEvent>
#include <QtGui/QRegExpValidator>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>

#include <memory>

using support::ref;
namespace journal = support::journal;

namespace
{
const char UNIT[] = "STKInputDlg";

QStringList startAnd(const char *function, const QString &line)
{
    return {logged::start(function, UNIT), line};
}

QString withPlace(const char *words, const char *function)
{
    return QString("%1../../src/STKPlugin/STKInputDlg: %2: <time>: ").arg(words, function);
}

/// Notes what is selected in the field when its frame appears, which is before the window system gives it the keyboard.
class SelectionAtShow : public QObject
{
public:
    explicit SelectionAtShow(const InputWorld &world) : m_world(world) { qApp->installEventFilter(this); }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::Show && object == m_world.frame())
            text = m_world.field()->selectedText();
        return false;
    }

    QString text;

private:
    const InputWorld &m_world;
};
} // namespace

class tst_STKInputDlg : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void membersStartAsGiven();
    void thereIsOneInstance();
    void destructionTakesTheLogicWithIt();
    void destroyWithoutAnInstance();
    void metaObjectIsAsGiven();
    void frameHasNoMetaObjectOfItsOwn();
    void frameWithoutADialog();
    void trAsksTheHostWithKeyAndGroup();

    void storingAnInput();
    void storingAKey();
    void storingAKeyKeepsTheDefaultText();
    void storingAKeyStartsTheTimerOnlyWhileAFrameIsUp_data();
    void storingAKeyStartsTheTimerOnlyWhileAFrameIsUp();
    void storingDoesNotTouchTheResult();

    void showingCallsTheHostInOrder();
    void showingRunsTheStepsInOrder();
    void showingSetsTheFrame();
    void showingSelectsTheDefaultText();
    void defaultTextStaysSelectedWhenTheKeyboardGoesAndComes();
    void selectionIsTheUsersOwnOnceHeDoesSomething_data();
    void selectionIsTheUsersOwnOnceHeDoesSomething();
    void pastedTextIsNotSelected();
    void showingWithoutAParent();
    void showingAgainMakesEverythingAfresh();
    void widgetsBelongToTheFrame();
    void layoutIsAsGiven();
    void layoutOnTheScreen();
    void objectNames();
    void stepsWithAWidgetMissing_data();
    void stepsWithAWidgetMissing();

    void settingsFollowTheRequest_data();
    void settingsFollowTheRequest();
    void settingsActivateTheFrame();
    void settingsTakeTheValidatorAway();
    void promptIsShownAsItIs_data();
    void promptIsShownAsItIs();
    void validator_data();
    void validator();
    void defaultTextIsCutAndNotValidated_data();
    void defaultTextIsCutAndNotValidated();
    void typedCharactersMayBeHidden();
    void okNeedsAnEditAndTheMinimum_data();
    void okNeedsAnEditAndTheMinimum();
    void lengthIsCountedInUnits();
    void programmaticTextDoesNotEnableOk();
    void keyRequestTakesOneCharacter();
    void keyRequestStartsWithTheLastDefaultText();
    void editWithoutAnOkButtonLogs();

private:
    void build(const StkInKeyRequest &request);
    void dropFrame();

    std::unique_ptr<InputWorld> m_world;
};

void tst_STKInputDlg::init()
{
    m_world.reset(new InputWorld);
}

void tst_STKInputDlg::cleanup()
{
    const QStringList problems = m_world->end();
    m_world.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
    QVERIFY(!LogicPeek::m_pStkLogicInst);
}

/// Builds the frame for a GET INPUT and shows it without a loop of its own.
void tst_STKInputDlg::build(const StkInKeyRequest &request)
{
    m_world->dialog->SetInputRequest(request);
    QVERIFY((m_world->dialog->*(&InputPeek::initUI))(m_world->host));
    m_world->frame()->show();
    m_world->field()->setFocus();
}

void tst_STKInputDlg::dropFrame()
{
    delete m_world->frame();
    (m_world->dialog->*(&InputPeek::AssignNULL))();
}

// ---------------------------------------------------------------- life

void tst_STKInputDlg::membersStartAsGiven()
{
    InputWorld &w = *m_world;
    QVERIFY(!w.dialog->parent());
    QCOMPARE(w.setPointers(), QStringList());
    QCOMPARE(w.at(&InputPeek::m_pStkLogic), LogicPeek::m_pStkLogicInst);
    QVERIFY(w.at(&InputPeek::m_pStkLogic));
    QVERIFY(w.at(&InputPeek::m_stInKeyRequest).strPrompt.isEmpty());
    QCOMPARE(w.at(&InputPeek::m_stInKeyRequest).nDuration, 0);
    QCOMPARE(w.dialog->GetLastError(), -1);
    QCOMPARE(w.at(&InputPeek::m_nRequestType), 3);
    QVERIFY(!w.dialog->GetBtnClicked());
    QVERIFY(!w.dialog->IsDialogCreated());
}

void tst_STKInputDlg::thereIsOneInstance()
{
    QCOMPARE(STKInputDlg::StkInputDlgInstance(), m_world->dialog);
    QCOMPARE(InputPeek::m_pStkInputDlgInstance, m_world->dialog);
}

void tst_STKInputDlg::destructionTakesTheLogicWithIt()
{
    const QPointer<STKInputDlg> dialog(m_world->dialog);
    QVERIFY((dialog.data()->*(&InputPeek::initUI))(m_world->host));
    const QPointer<QTimer> timer(m_world->timer());
    const QPointer<STKInputExtendDlg> frame(m_world->frame());
    STKInputDlg::DestroyInstance();
    QVERIFY(!dialog);
    QVERIFY(!timer);
    QVERIFY(frame); // its parent's
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
    QVERIFY(!LogicPeek::m_pStkLogicInst);
    delete frame;
}

void tst_STKInputDlg::destroyWithoutAnInstance()
{
    STKInputDlg::DestroyInstance();
    STKInputDlg::DestroyInstance();
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
    m_world->dialog = STKInputDlg::StkInputDlgInstance();
    QCOMPARE(m_world->dialog->GetLastError(), -1);
}

void tst_STKInputDlg::metaObjectIsAsGiven()
{
    const QMetaObject &meta = STKInputDlg::staticMetaObject;
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QStringList found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Private);
        found << method.methodSignature();
    }
    QCOMPARE(found,
             QStringList({"onButtonClickOk()", "onButtonClickCancel()", "onTextEdited(QString)", "onTimerTimeOut()"}));
    QCOMPARE(meta.method(meta.indexOfSlot("onTextEdited(QString)")).parameterNames(), QList<QByteArray>({"strText"}));
}

void tst_STKInputDlg::frameHasNoMetaObjectOfItsOwn()
{
    STKInputExtendDlg frame(m_world->host, Qt::WindowCloseButtonHint, 1);
    QCOMPARE(frame.metaObject()->className(), "ExtendDialog");
    QVERIFY(!support::peek(&frame, &InputFramePeek::m_pStkInputDlg));
    frame.Instantiate(m_world->dialog);
    QCOMPARE(support::peek(&frame, &InputFramePeek::m_pStkInputDlg).data(), m_world->dialog);
}

void tst_STKInputDlg::frameWithoutADialog()
{
    STKInputExtendDlg frame(m_world->host, Qt::WindowCloseButtonHint, 1);
    frame.show();
    m_world->forget();
    frame.reject();
    QVERIFY(frame.isVisible());
    for (bool accepted : {true, false}) {
        QCloseEvent event;
        event.setAccepted(accepted);
        (frame.*(&InputFramePeek::closeEvent))(&event);
        QCOMPARE(event.isAccepted(), accepted);
    }
    QCOMPARE(journal::calls().size(), 0);
    QVERIFY(!m_world->dialog->GetBtnClicked());
}

void tst_STKInputDlg::trAsksTheHostWithKeyAndGroup()
{
    m_world->forget();
    QString (STKInputDlg::*translate)(QString) const = &InputPeek::tr;
    QCOMPARE((m_world->dialog->*translate)("KEY"), QString("tr:STKPlugin:KEY"));
    QCOMPARE(journal::lines(), QStringList({"Change::tr(\"KEY\", \"STKPlugin\")"}));
}

// ---------------------------------------------------------------- the request

void tst_STKInputDlg::storingAnInput()
{
    InputWorld &w = *m_world;
    const StkInKeyRequest request = {"Prompt", 3, 1, 30, 0, 4, 8, "default"};
    w.at(&InputPeek::m_nRequestType) = 2;
    w.dialog->SetInputRequest(request);
    const StkInKeyRequest &stored = w.at(&InputPeek::m_stInKeyRequest);
    QCOMPARE(stored.strPrompt, QString("Prompt"));
    QCOMPARE(stored.nInputType, 3);
    QCOMPARE(stored.nOption, 1);
    QCOMPARE(stored.nDuration, 30);
    QCOMPARE(stored.nEcho, 0);
    QCOMPARE(stored.nMinLen, 4);
    QCOMPARE(stored.nMaxLen, 8);
    QCOMPARE(stored.strDefaultText, QString("default"));
    QCOMPARE(w.at(&InputPeek::m_nRequestType), 3);
    QVERIFY(w.dialog->findChildren<QTimer *>().isEmpty());
}

void tst_STKInputDlg::storingAKey()
{
    InputWorld &w = *m_world;
    const StkInKeyRequest before = {"Old", 0, 0, 17, 0, 4, 8, "kept"};
    w.dialog->SetInputRequest(before);
    const StkInKeyRequest request = {"Key?", 2, 1, 5, 0, 3, 9, "ignored"};
    w.dialog->SetInKeyRequest(request);
    const StkInKeyRequest &stored = w.at(&InputPeek::m_stInKeyRequest);
    QCOMPARE(stored.strPrompt, QString("Key?"));
    QCOMPARE(stored.nInputType, 2);
    QCOMPARE(stored.nOption, 1);
    QCOMPARE(stored.nEcho, 1);
    QCOMPARE(stored.nMinLen, 1);
    QCOMPARE(stored.nMaxLen, 1);
    QCOMPARE(stored.nDuration, 17);
    QCOMPARE(stored.strDefaultText, QString("kept"));
    QCOMPARE(w.at(&InputPeek::m_nRequestType), 2);
}

void tst_STKInputDlg::storingAKeyKeepsTheDefaultText()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.strDefaultText = "first";
    w.dialog->SetInKeyRequest(request);
    QVERIFY(w.at(&InputPeek::m_stInKeyRequest).strDefaultText.isEmpty()); // there was no GET INPUT yet
    w.dialog->SetInputRequest(request);
    request.strDefaultText = "second";
    w.dialog->SetInKeyRequest(request);
    QCOMPARE(w.at(&InputPeek::m_stInKeyRequest).strDefaultText, QString("first"));
}

void tst_STKInputDlg::storingAKeyStartsTheTimerOnlyWhileAFrameIsUp_data()
{
    QTest::addColumn<int>("duration");
    QTest::addColumn<bool>("isUp");
    QTest::addColumn<bool>("starts");
    QTest::newRow("before the frame") << 5 << false << false;
    QTest::newRow("no duration") << 0 << true << false;
    QTest::newRow("negative") << -1 << true << false;
    QTest::newRow("while the frame is up") << 5 << true << true;
    QTest::newRow("shortest") << 1 << true << true;
}

void tst_STKInputDlg::storingAKeyStartsTheTimerOnlyWhileAFrameIsUp()
{
    QFETCH(int, duration);
    QFETCH(bool, isUp);
    QFETCH(bool, starts);
    InputWorld &w = *m_world;
    if (isUp)
        build(inputRequest());
    StkInKeyRequest request = inputRequest();
    request.nDuration = duration;
    w.dialog->SetInKeyRequest(request);
    QCOMPARE(w.timer() && w.timer()->isActive(), starts);
    if (starts) {
        QCOMPARE(w.timer()->interval(), 1000);
        w.timer()->stop();
    }
    dropFrame();
}

void tst_STKInputDlg::storingDoesNotTouchTheResult()
{
    InputWorld &w = *m_world;
    w.at(&InputPeek::m_nLastError) = 0;
    w.dialog->SetBtnClicked(true);
    w.dialog->SetInputRequest(inputRequest());
    w.dialog->SetInKeyRequest(inputRequest());
    QCOMPARE(w.dialog->GetLastError(), 0);
    QVERIFY(w.dialog->GetBtnClicked());
}

// ---------------------------------------------------------------- the frame

void tst_STKInputDlg::showingCallsTheHostInOrder()
{
    InputWorld &w = *m_world;
    w.dialog->SetInputRequest(inputRequest());
    w.forget();
    QStringList lines;
    QVariant parent;
    QVERIFY(w.show([&] {
        lines = journal::lines();
        parent = journal::calls().first().args.first();
        w.cancel()->click();
    }));
    QCOMPARE(lines, QStringList({"ExtendDialog::ExtendDialog(<pointer>, 134217728, 1)",
                                 "ExtendLineEdit::ExtendLineEdit(<pointer>)", "ExtendDialog::AddMainWidget(<pointer>)",
                                 "ExtendDialog::setWindowTitle(\"\")", "Change::tr(\"IDS_STK_BTN_OK\", \"STKPlugin\")",
                                 "Change::tr(\"IDS_STK_BTN_CANCEL\", \"STKPlugin\")"}));
    QCOMPARE(parent, ref(w.host.data()));
}

void tst_STKInputDlg::showingRunsTheStepsInOrder()
{
    InputWorld &w = *m_world;
    w.dialog->SetInputRequest(inputRequest());
    w.forget();
    QStringList started;
    QVERIFY(w.show([&] {
        started = logged::started(w.log, UNIT);
        w.cancel()->click();
    }));
    started.removeAll("tr");
    const QStringList expected = {"ShowStkInputDlg",
                                  "AssignNULL",
                                  "initUI",
                                  "STKInputExtendDlg",
                                  "Instantiate",
                                  "SetStkInputUiText",
                                  "setStkInputUiLayout",
                                  "setStkInputObjectName",
                                  "setInitSetting",
                                  "setInitSetting"};
    QVERIFY2(started == expected, qPrintable(started.join(' ')));
    QCOMPARE(w.log.debug().last(), logged::end("ShowStkInputDlg", UNIT));
    QCOMPARE(w.log.debug().first(), logged::start("ShowStkInputDlg", UNIT));
}

void tst_STKInputDlg::showingSetsTheFrame()
{
    InputWorld &w = *m_world;
    w.dialog->SetInputRequest(inputRequest());
    QPointer<QDialog> frame;
    QSize size, least, most;
    Qt::WindowModality modality = Qt::NonModal;
    QWidget *focus = nullptr, *grabber = nullptr, *field = nullptr;
    bool created = false, active = false;
    QStringList texts, pointers;
    QVERIFY(w.show([&] {
        frame = w.frame();
        size = frame->size();
        least = frame->minimumSize();
        most = frame->maximumSize();
        modality = frame->windowModality();
        focus = frame->focusWidget();
        grabber = QWidget::keyboardGrabber();
        field = w.field();
        created = w.dialog->IsDialogCreated();
        active = QApplication::activeModalWidget() == frame;
        texts << w.ok()->text() << w.cancel()->text() << frame->windowTitle();
        pointers = w.setPointers();
        w.cancel()->click();
    }));
    QCOMPARE(size, QSize(261, 170));
    QCOMPARE(least, QSize(261, 170));
    QCOMPARE(most, QSize(261, 170));
    QCOMPARE(modality, Qt::WindowModal);
    QVERIFY(active);
    QVERIFY(created);
    QVERIFY(field);
    QCOMPARE(focus, field);
    QCOMPARE(grabber, field);
    QCOMPARE(texts, QStringList({"tr:STKPlugin:IDS_STK_BTN_OK", "tr:STKPlugin:IDS_STK_BTN_CANCEL", ""}));
    QCOMPARE(pointers, QStringList({"m_pInputExtendDlg", "m_pMainWidget", "m_pBtnOk", "m_pBtnCancel", "m_pLabelText",
                                    "m_pLineEditInput", "m_pInputTimer"}));
    QVERIFY(!frame); // it has deleted itself
    QCOMPARE(w.setPointers(), QStringList());
    QVERIFY(!w.dialog->IsDialogCreated());
    QVERIFY(!QWidget::keyboardGrabber());
}

void tst_STKInputDlg::showingSelectsTheDefaultText()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.strDefaultText = "Home";
    w.dialog->SetInputRequest(request);
    const SelectionAtShow atShow(w);
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QCOMPARE(atShow.text, QString("Home"));
}

/// A window manager may give the keyboard to the host's window and back while a frame comes up.
void tst_STKInputDlg::defaultTextStaysSelectedWhenTheKeyboardGoesAndComes()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.strDefaultText = "Home";
    w.dialog->SetInputRequest(request);
    QString whileAway = "?";
    QString afterwards;
    QVERIFY(w.show([&] {
        QTRY_VERIFY(w.field()->hasFocus());
        QEvent activated(QEvent::WindowActivate);
        QApplication::sendEvent(w.field(), &activated);
        QApplication::setActiveWindow(w.host);
        QCoreApplication::processEvents();
        whileAway = w.field()->selectedText();
        QApplication::setActiveWindow(w.frame());
        afterwards = w.field()->selectedText();
        w.cancel()->click();
    }));
    QCOMPARE(whileAway, QString()); // or this test has not met what it is about
    QCOMPARE(afterwards, QString("Home"));
}

void tst_STKInputDlg::selectionIsTheUsersOwnOnceHeDoesSomething_data()
{
    QTest::addColumn<bool>("byMouse");
    QTest::newRow("a key") << false;
    QTest::newRow("a click") << true;
}

void tst_STKInputDlg::selectionIsTheUsersOwnOnceHeDoesSomething()
{
    QFETCH(bool, byMouse);
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.strDefaultText = "Home";
    w.dialog->SetInputRequest(request);
    QString afterwards = "?";
    QVERIFY(w.show([&] {
        QTRY_VERIFY(w.field()->hasFocus());
        if (byMouse)
            QTest::mouseClick(w.field(), Qt::LeftButton);
        else
            QTest::keyClick(w.field(), Qt::Key_End);
        QApplication::setActiveWindow(w.host);
        QApplication::setActiveWindow(w.frame());
        afterwards = w.field()->selectedText();
        w.cancel()->click();
    }));
    QCOMPARE(afterwards, QString());
}

void tst_STKInputDlg::pastedTextIsNotSelected()
{
    InputWorld &w = *m_world;
    w.dialog->SetInputRequest(inputRequest());
    QString afterwards = "?";
    QVERIFY(w.show([&] {
        QTRY_VERIFY(w.field()->hasFocus());
        w.field()->insert("Home");
        QApplication::setActiveWindow(w.host);
        QApplication::setActiveWindow(w.frame());
        afterwards = w.field()->selectedText();
        w.cancel()->click();
    }));
    QCOMPARE(afterwards, QString());
}

void tst_STKInputDlg::showingWithoutAParent()
{
    InputWorld &w = *m_world;
    delete w.host;
    w.dialog->SetInputRequest(inputRequest());
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QCOMPARE(w.answers(), QStringList({"AnswerInput(0, 0, \"\")"}));
}

void tst_STKInputDlg::showingAgainMakesEverythingAfresh()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.nInputType = 2;
    w.dialog->SetInputRequest(request);
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QVERIFY(w.show([&] { w.cancel()->click(); }));
    QCOMPARE(journal::count("ExtendDialog::ExtendDialog"), 2);
    QCOMPARE(journal::count("ExtendDialog::~ExtendDialog"), 2);
    // A timer for every request, two validators for every digits-only one; they stay until the end.
    QCOMPARE(w.dialog->findChildren<QTimer *>().size(), 2);
    QCOMPARE(w.dialog->findChildren<QRegExpValidator *>().size(), 4);
}

void tst_STKInputDlg::widgetsBelongToTheFrame()
{
    InputWorld &w = *m_world;
    build(inputRequest());
    for (QWidget *widget :
         QList<QWidget *>{w.at(&InputPeek::m_pMainWidget), w.ok(), w.cancel(), w.label(), w.field()}) {
        QVERIFY(w.frame()->isAncestorOf(widget));
        QVERIFY(widget->isVisible());
    }
    QCOMPARE(w.timer()->parent(), w.dialog);
    QVERIFY(!w.timer()->isActive());
    dropFrame();
}

void tst_STKInputDlg::layoutIsAsGiven()
{
    InputWorld &w = *m_world;
    build(inputRequest());
    QVBoxLayout *column = qobject_cast<QVBoxLayout *>(w.at(&InputPeek::m_pMainWidget)->layout());
    QVERIFY(column);
    QCOMPARE(column->count(), 4);
    QCOMPARE(column->itemAt(0)->widget(), static_cast<QWidget *>(w.label()));
    QVERIFY(column->itemAt(1)->spacerItem());
    QCOMPARE(column->itemAt(1)->sizeHint().height(), 35);
    QCOMPARE(column->itemAt(2)->widget(), static_cast<QWidget *>(w.field()));
    QHBoxLayout *row = qobject_cast<QHBoxLayout *>(column->itemAt(3)->layout());
    QVERIFY(row);
    QCOMPARE(row->count(), 2);
    QCOMPARE(row->itemAt(0)->widget(), static_cast<QWidget *>(w.ok()));
    QCOMPARE(row->itemAt(1)->widget(), static_cast<QWidget *>(w.cancel()));
    QCOMPARE(int(row->alignment()), int(Qt::AlignRight));
    QCOMPARE(row->spacing(), 35);
    for (int i = 0; i < 4; ++i)
        QCOMPARE(column->stretch(i), 0);
    for (QLayoutItem *item : {column->itemAt(0), column->itemAt(2), row->itemAt(0), row->itemAt(1)})
        QCOMPARE(int(item->alignment()), 0);
    QCOMPARE(QList<int>({row->stretch(0), row->stretch(1)}), QList<int>({0, 0}));
    QCOMPARE(w.field()->minimumSize(), QSize(240, 22));
    QCOMPARE(w.field()->maximumSize(), QSize(240, 22));
    QCOMPARE(w.label()->minimumWidth(), 240);
    QCOMPARE(w.label()->maximumWidth(), 240);
    QVERIFY(w.label()->wordWrap());
    dropFrame();
}

void tst_STKInputDlg::layoutOnTheScreen()
{
    InputWorld &w = *m_world;
    w.dialog->SetInputRequest(inputRequest());
    QList<QRect> parts;
    QRect whole;
    QVERIFY(w.show([&] {
        for (QWidget *widget : QList<QWidget *>{w.label(), w.field(), w.ok(), w.cancel()})
            parts << QRect(widget->mapTo(w.frame(), QPoint(0, 0)), widget->size());
        whole = w.frame()->rect();
        w.cancel()->click();
    }));
    QCOMPARE(parts.size(), 4);
    QVERIFY(parts.at(1).top() - parts.at(0).bottom() > 35);
    QCOMPARE(parts.at(1).size(), QSize(240, 22));
    QVERIFY(parts.at(2).top() > parts.at(1).bottom());
    QCOMPARE(parts.at(3).left() - (parts.at(2).right() + 1), 35);
    for (const QRect &part : parts)
        QVERIFY2(whole.contains(part), qPrintable(QString("%1 at %2").arg(part.width()).arg(part.left())));
}

void tst_STKInputDlg::objectNames()
{
    InputWorld &w = *m_world;
    build(inputRequest());
    QCOMPARE(w.frame()->objectName(), QString("STKPlugin _StkInputDlg"));
    QCOMPARE(w.at(&InputPeek::m_pMainWidget)->objectName(), QString("STKPlugin _StkInputWidget"));
    QCOMPARE(w.ok()->objectName(), QString("STKPlugin _PushBtnOk"));
    QCOMPARE(w.cancel()->objectName(), QString("STKPlugin _PushBtnCancel"));
    QCOMPARE(w.label()->objectName(), QString("STKPlugin_LabelText"));
    QCOMPARE(w.field()->objectName(), QString("STKPlugin_LineEditInput"));
    dropFrame();
}

void tst_STKInputDlg::stepsWithAWidgetMissing_data()
{
    QTest::addColumn<QString>("missing");
    for (const char *name :
         {"m_pInputExtendDlg", "m_pMainWidget", "m_pBtnOk", "m_pBtnCancel", "m_pLabelText", "m_pLineEditInput"})
        QTest::newRow(name) << QString(name);
}

void tst_STKInputDlg::stepsWithAWidgetMissing()
{
    QFETCH(QString, missing);
    InputWorld &w = *m_world;
    build(inputRequest());
    const QPointer<QWidget> frame(w.frame());
    frame->setObjectName("mine");
    frame->setWindowTitle("mine");
    if (missing == "m_pInputExtendDlg")
        w.at(&InputPeek::m_pInputExtendDlg) = nullptr;
    else if (missing == "m_pMainWidget")
        w.at(&InputPeek::m_pMainWidget) = nullptr;
    else if (missing == "m_pBtnOk")
        w.at(&InputPeek::m_pBtnOk) = nullptr;
    else if (missing == "m_pBtnCancel")
        w.at(&InputPeek::m_pBtnCancel) = nullptr;
    else if (missing == "m_pLabelText")
        w.at(&InputPeek::m_pLabelText) = nullptr;
    else
        w.at(&InputPeek::m_pLineEditInput) = nullptr;

    w.forget();
    (w.dialog->*(&InputPeek::setStkInputObjectName))();
    QCOMPARE(w.log.debug(), startAnd("setStkInputObjectName", withPlace("Memory is null  ", "setStkInputObjectName")));
    QCOMPARE(frame->objectName(), QString("mine"));

    if (QStringList({"m_pInputExtendDlg", "m_pBtnOk", "m_pBtnCancel"}).contains(missing)) {
        w.forget();
        (w.dialog->*(&InputPeek::SetStkInputUiText))();
        QCOMPARE(w.log.debug(),
                 startAnd("SetStkInputUiText", withPlace("UI widget is null  of ", "SetStkInputUiText")));
        QCOMPARE(journal::calls().size(), 0);
        QCOMPARE(frame->windowTitle(), QString("mine"));
    }
    if (QStringList({"m_pLabelText", "m_pLineEditInput", "m_pBtnOk"}).contains(missing)) {
        w.forget();
        (w.dialog->*(&InputPeek::setInitSetting))();
        QCOMPARE(w.log.debug().size(), 2);
        QVERIFY(w.log.debug().last().startsWith("Arg is NULL: "));
        QVERIFY(w.log.debug().last().contains("setInitSetting"));
    }
    delete frame;
    (w.dialog->*(&InputPeek::AssignNULL))();
}

// ---------------------------------------------------------------- the settings

void tst_STKInputDlg::settingsFollowTheRequest_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("echo");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<bool>("digits");
    QTest::addColumn<bool>("hidden");
    QTest::newRow("characters") << 0 << 1 << 20 << false << false;
    QTest::newRow("yes or no") << 1 << 1 << 1 << false << false;
    QTest::newRow("digits") << 2 << 1 << 8 << true << false;
    QTest::newRow("any character") << 3 << 1 << 255 << false << false;
    QTest::newRow("hidden") << 2 << 0 << 8 << true << true;
    QTest::newRow("any echo but 0") << 0 << 7 << 20 << false << false;
    QTest::newRow("nothing may be typed") << 0 << 1 << 0 << false << false;
    QTest::newRow("unknown type") << 9 << 1 << 20 << false << false;
}

void tst_STKInputDlg::settingsFollowTheRequest()
{
    QFETCH(int, type);
    QFETCH(int, echo);
    QFETCH(int, maximum);
    QFETCH(bool, digits);
    QFETCH(bool, hidden);
    InputWorld &w = *m_world;
    const StkInKeyRequest request = {"Prompt", type, 1, 0, echo, 0, maximum, ""};
    build(request);
    QCOMPARE(w.label()->text(), QString("Prompt"));
    QCOMPARE(w.field()->maxLength(), maximum);
    QCOMPARE(w.field()->echoMode(), hidden ? QLineEdit::Password : QLineEdit::Normal);
    QCOMPARE(w.field()->validator() != nullptr, digits);
    if (digits) {
        const QRegExpValidator *validator = qobject_cast<const QRegExpValidator *>(w.field()->validator());
        QVERIFY(validator);
        QCOMPARE(validator->regExp(), QRegExp("[0-9*+#]*", Qt::CaseSensitive, QRegExp::RegExp));
        QCOMPARE(validator->parent(), w.dialog);
    }
    QVERIFY(!w.ok()->isEnabled());
    QVERIFY(w.cancel()->isEnabled());
    dropFrame();
}

void tst_STKInputDlg::settingsActivateTheFrame()
{
    InputWorld &w = *m_world;
    build(inputRequest());
    QVERIFY(QTest::qWaitForWindowExposed(w.frame()));
    w.host->activateWindow();
    QTRY_VERIFY(w.host->isActiveWindow());
    (w.dialog->*(&InputPeek::setInitSetting))();
    QTRY_VERIFY(w.frame()->isActiveWindow());
    dropFrame();
}

void tst_STKInputDlg::settingsTakeTheValidatorAway()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.nInputType = 2;
    build(request);
    QVERIFY(w.field()->validator());
    w.at(&InputPeek::m_stInKeyRequest).nInputType = 0;
    (w.dialog->*(&InputPeek::setInitSetting))();
    QVERIFY(!w.field()->validator());
    dropFrame();
}

void tst_STKInputDlg::promptIsShownAsItIs_data()
{
    QTest::addColumn<QString>("prompt");
    QTest::newRow("markup") << "<b>x</b>";
    QTest::newRow("entity") << "&amp;";
    QTest::newRow("ampersand") << "a &b";
    QTest::newRow("link") << "<a href='http://example.org'>here</a>";
    QTest::newRow("empty") << "";
    QTest::newRow("not Latin") << QString::fromUtf8("Введите имя");
}

void tst_STKInputDlg::promptIsShownAsItIs()
{
    QFETCH(QString, prompt);
    StkInKeyRequest request = inputRequest();
    request.strPrompt = prompt;
    build(request);
    QCOMPARE(m_world->label()->text(), prompt);
    QCOMPARE(m_world->label()->textFormat(), Qt::PlainText);
    QVERIFY(!m_world->label()->buddy()); // else an ampersand would be taken for a shortcut
    dropFrame();
}

void tst_STKInputDlg::validator_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("taken");
    QTest::newRow("digits") << 2 << "0123456789*+#"
                            << "0123456789*+#";
    QTest::newRow("letters among digits") << 2 << "1a2B3 -.4,"
                                          << "1234";
    QTest::newRow("digits without the validator") << 0 << "1a2B"
                                                  << "1a2B";
    QTest::newRow("yes/no has none") << 1 << "xY1"
                                     << "xY1";
}

void tst_STKInputDlg::validator()
{
    QFETCH(int, type);
    QFETCH(QString, typed);
    QFETCH(QString, taken);
    StkInKeyRequest request = inputRequest();
    request.nInputType = type;
    build(request);
    QTest::keyClicks(m_world->field(), typed);
    QCOMPARE(m_world->field()->text(), taken);
    QCOMPARE(m_world->ok()->isEnabled(), true);
    dropFrame();
}

void tst_STKInputDlg::defaultTextIsCutAndNotValidated_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("short enough") << 0 << 5 << "abcde"
                                  << "abcde";
    QTest::newRow("too long") << 0 << 5 << "abcdef"
                              << "abcde";
    QTest::newRow("letters where digits are wanted") << 2 << 8 << "ab12"
                                                     << "ab12";
    QTest::newRow("empty") << 0 << 5 << ""
                           << "";
    QTest::newRow("markup") << 0 << 20 << "<b>x</b>"
                            << "<b>x</b>";
}

void tst_STKInputDlg::defaultTextIsCutAndNotValidated()
{
    QFETCH(int, type);
    QFETCH(int, maximum);
    QFETCH(QString, text);
    QFETCH(QString, shown);
    StkInKeyRequest request = inputRequest();
    request.nInputType = type;
    request.nMaxLen = maximum;
    request.strDefaultText = text;
    build(request);
    QCOMPARE(m_world->field()->text(), shown);
    QVERIFY(!m_world->ok()->isEnabled()); // also where the text would do as an answer
    dropFrame();
}

void tst_STKInputDlg::typedCharactersMayBeHidden()
{
    StkInKeyRequest request = inputRequest();
    request.nEcho = 0;
    build(request);
    QTest::keyClicks(m_world->field(), "secret");
    QCOMPARE(m_world->field()->text(), QString("secret"));
    QCOMPARE(m_world->field()->displayText().size(), 6);
    QVERIFY(!m_world->field()->displayText().contains('e'));
    dropFrame();
}

void tst_STKInputDlg::okNeedsAnEditAndTheMinimum_data()
{
    QTest::addColumn<int>("minimum");
    QTest::addColumn<QString>("defaultText");
    QTest::addColumn<QString>("keys"); // '<' is Backspace
    QTest::addColumn<bool>("enabled");
    QTest::newRow("no edit") << 0 << ""
                             << "" << false;
    QTest::newRow("no edit of a long default") << 2 << "abcdef"
                                               << "" << false;
    QTest::newRow("minimum 0, one character") << 0 << ""
                                              << "a" << true;
    QTest::newRow("minimum 0, empty again") << 0 << ""
                                            << "a<" << true;
    QTest::newRow("below the minimum") << 3 << ""
                                       << "ab" << false;
    QTest::newRow("at the minimum") << 3 << ""
                                    << "abc" << true;
    QTest::newRow("below it again") << 3 << ""
                                    << "abc<" << false;
    QTest::newRow("default text and one more") << 3 << "abc"
                                               << "d" << true;
    QTest::newRow("default text, one less") << 3 << "abc"
                                            << "<" << false;
    QTest::newRow("minimum 1, empty again") << 1 << ""
                                            << "a<" << false;
}

void tst_STKInputDlg::okNeedsAnEditAndTheMinimum()
{
    QFETCH(int, minimum);
    QFETCH(QString, defaultText);
    QFETCH(QString, keys);
    QFETCH(bool, enabled);
    StkInKeyRequest request = inputRequest();
    request.nMinLen = minimum;
    request.strDefaultText = defaultText;
    build(request);
    for (const QChar key : keys) {
        if (key == '<')
            QTest::keyClick(m_world->field(), Qt::Key_Backspace);
        else
            QTest::keyClick(m_world->field(), key.toLatin1());
    }
    QCOMPARE(m_world->ok()->isEnabled(), enabled);
    dropFrame();
}

void tst_STKInputDlg::lengthIsCountedInUnits()
{
    StkInKeyRequest request = inputRequest();
    request.nMinLen = 2;
    build(request);
    const QString telephone = QString::fromUtf8("\xF0\x9F\x93\xB1"); // one character, two units
    emit m_world->field()->textEdited(telephone);
    QVERIFY(m_world->ok()->isEnabled());
    emit m_world->field()->textEdited("x");
    QVERIFY(!m_world->ok()->isEnabled());
    dropFrame();
}

void tst_STKInputDlg::programmaticTextDoesNotEnableOk()
{
    build(inputRequest());
    m_world->field()->setText("long enough");
    QVERIFY(!m_world->ok()->isEnabled());
    QVERIFY(!logged::started(m_world->log, UNIT).contains("onTextEdited"));
    dropFrame();
}

void tst_STKInputDlg::keyRequestTakesOneCharacter()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.nMinLen = 0;
    request.nEcho = 0;
    w.dialog->SetInKeyRequest(request);
    bool before = true, after = false, hidden = true;
    QString text;
    QVERIFY(w.show([&] {
        before = w.ok()->isEnabled();
        hidden = w.field()->echoMode() != QLineEdit::Normal;
        QTest::keyClicks(w.field(), "xyz");
        text = w.field()->text();
        after = w.ok()->isEnabled();
        w.ok()->click();
    }));
    QVERIFY(!before);
    QVERIFY(!hidden);
    QCOMPARE(text, QString("x"));
    QVERIFY(after);
    QCOMPARE(w.answers(), QStringList({"AnswerInKey(0, 1, \"x\")"}));
}

void tst_STKInputDlg::keyRequestStartsWithTheLastDefaultText()
{
    InputWorld &w = *m_world;
    StkInKeyRequest request = inputRequest();
    request.strDefaultText = "abc";
    w.dialog->SetInputRequest(request);
    request.strDefaultText = "xyz";
    w.dialog->SetInKeyRequest(request);
    QString text;
    QVERIFY(w.show([&] {
        text = w.field()->text();
        w.cancel()->click();
    }));
    QCOMPARE(text, QString("a"));
}

void tst_STKInputDlg::editWithoutAnOkButtonLogs()
{
    InputWorld &w = *m_world;
    w.forget();
    QVERIFY(QMetaObject::invokeMethod(w.dialog, "onTextEdited", Q_ARG(QString, "text")));
    QCOMPARE(w.log.debug(), startAnd("onTextEdited", withPlace("Memory is null ", "onTextEdited")));
}

QTEST_MAIN(tst_STKInputDlg)
#include "tst_STKInputDlg.moc"
