#include "STKDialog.h"

#include "STKInputDlg.h"
#include "STKLog.h"
#include "STKThread.h"

#include "core/Change.h"
#include "core/CommonUtils.h"
#include "core/WsMessageBox.h"
#include "core/WsSound.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QTimer>

#include <QApplication>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QVBoxLayout>

#define STK_SOURCE "STKDialog"

namespace
{

const char GROUP_PLUGIN[] = "STKPlugin";
const char GROUP_FRAME[] = "XFramePlugin";

const int WIDGET_TYPE_WINDOW = 1;
const int WIDGET_TYPE_MESSAGE = 4;

const int TABLE_WIDTH = 345;
const int TABLE_HEIGHT = 250;
const int ROW_HEIGHT = 17;
const int FRAME_WIDTH = 380;
const int FRAME_HEIGHT = 357;

const int RESPONSE_TIMEOUT_S = 20;
const int DEVICE_TIMER_MS = 100;
const int STOP_TIMEOUT_S = 5;
const int STOP_POLL_MS = 100;
const int INPUT_TIMEOUT_S = 10;
const int MSG_TICK_MS = 1000;
const int MSG_DEFAULT_S = 3;
const int MS_PER_SECOND = 1000;

const int INPUT_TYPE_YES_NO = 1;
const int TONE_SUBSTITUTE = 8;

const int MAX_DIALOGS = 20; // each one runs its event loop inside that of the one before

// Line numbers that are part of the text of their log lines.
const int RELEASE_NO_DIALOG_LINE = 2035;
const int RELEASE_NO_TABLE_LINE = 2036;
const int RELEASE_NO_BACK_LINE = 2037;
const int KEY_NO_EVENT_LINE = 2089;
const int KEY_NO_DIALOG_LINE = 2090;
const int KEY_NO_TABLE_LINE = 2101;

const QLatin1String MENU_UNKNOWN("STK_UNKNOWN");
const QLatin1String MENU_MAIN("STK_MAINMENU");
const QLatin1String MENU_SUB("STK_SUBMENU");

const char TEXT_COUNT[] = "STKPlugin_TextCount";

const QLatin1String TIMER_DEVICE("STK_DEVICE_TIMER");
const QLatin1String TIMER_MSGBOX("STK_MSGBOX_TIMER");

const QLatin1String CLEAR_MODE_AUTO("STK_CLR_MODE_AUTO");
const QLatin1String TYPE_OK("STK_TYPE_OK");

const QLatin1String ACTION_SELECT("SUBMENU_ACTION_SELECT_ITEM");
const QLatin1String ACTION_BACK("SUBMENU_ACTION_RETURN_BACK_ITEM");

QString frameText(const char *key)
{
    return Change::tr(QString::fromLatin1(key), QString::fromLatin1(GROUP_FRAME));
}

/// Cursors are only ever pushed, never popped: deliberate, the one pushed last is the one that is seen.
void pushCursor(Qt::CursorShape shape)
{
    QApplication::setOverrideCursor(QCursor(shape));
}

/// The wave file of a tone: "tone_" and its number, without leading zeros.
QString toneFile(int nTone)
{
    return CommonUtils::GetPluginLibraryPath() + QLatin1String("/plugins/STKPlugin/tone_") + QString::number(nTone) +
           QLatin1String(".wav");
}

QString textOfRow(const QTableWidgetItem *item)
{
    return item->data(Qt::DisplayRole).toString();
}

/// Identifier of the item with this text: the last one where several have it, 0 where none has.
int findItemId(const StkMenuItems &menu, const QString &text)
{
    int nItemId = 0;
    for (int i = 0; i < menu.pItemList->size(); ++i) {
        if (menu.pItemList->at(i).strItemText == text)
            nItemId = menu.pItemList->at(i).nItemId;
    }
    return nItemId;
}

void initMenu(StkMenuItems *menu)
{
    menu->strTitle = QString::fromLatin1("");
    menu->pItemList = new QList<StkItemClass>;
}

void freeMenu(StkMenuItems *menu)
{
    if (menu->pItemList) {
        menu->pItemList->clear();
        delete menu->pItemList;
        menu->pItemList = 0;
    }
}

} // namespace

// ---------------------------------------------------------------- STKTableWidget

STKTableWidget::STKTableWidget(QWidget *parent) : QTableWidget(parent)
{
    STK_LOG_TIMED("%s: %s: %s Entered");
}

void STKTableWidget::Instantiate(STKDialog *dialog)
{
    m_pStkDialog = dialog;
}

void STKTableWidget::keyPressEvent(QKeyEvent *event)
{
    STK_LOG_TIMED("%s: %s: %s Start ");
    if (!event) {
        STK_LOG_NULL(KEY_NO_EVENT_LINE);
        return;
    }
    if (!m_pStkDialog) {
        STK_LOG_NULL(KEY_NO_DIALOG_LINE);
        return;
    }
    if (m_pStkDialog->isWaiting()) {
        event->ignore();
        return;
    }
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        if (!m_pStkDialog->m_pTableWidget) {
            STK_LOG_NULL(KEY_NO_TABLE_LINE);
            return;
        }
        // Selects nothing by itself: the key travels on to the frame, and the close that it asks for becomes a Select.
        if (!m_pStkDialog->m_pTableWidget->selectedItems().isEmpty())
            m_pStkDialog->m_bEnterPressed = true;
    }
    QAbstractItemView::keyPressEvent(event);
    STK_LOG_TIMED("%s: %s: %s End ");
}

void STKTableWidget::mousePressEvent(QMouseEvent *event)
{
    if (m_pStkDialog && m_pStkDialog->isWaiting()) {
        event->ignore();
        return;
    }
    QAbstractItemView::mousePressEvent(event);
}

void STKTableWidget::mouseReleaseEvent(QMouseEvent *event)
{
    STK_LOG_TIMED("%s: %s: %s Start");
    QAbstractItemView::mouseReleaseEvent(event);
    if (!indexAt(event->pos()).isValid()) {
        if (!m_pStkDialog) {
            STK_LOG_NULL(RELEASE_NO_DIALOG_LINE);
            return;
        }
        if (!m_pStkDialog->m_pTableWidget) {
            STK_LOG_NULL(RELEASE_NO_TABLE_LINE);
            return;
        }
        if (!m_pStkDialog->m_pBtnBack) {
            STK_LOG_NULL(RELEASE_NO_BACK_LINE);
            return;
        }
        m_pStkDialog->m_pTableWidget->setCurrentCell(-1, -1);
        if (m_pStkDialog->m_strMenuState == MENU_MAIN)
            m_pStkDialog->m_pBtnBack->setEnabled(false);
    }
    STK_LOG_TIMED("%s: %s: %s End ");
}

// ---------------------------------------------------------------- STKExtendDlg

STKExtendDlg::STKExtendDlg(QWidget *parent, Qt::WindowFlags flags, int widgetType)
    : ExtendDialog(parent, flags, widgetType)
{
    STK_LOG_START();
    STK_LOG_END();
}

void STKExtendDlg::Instantiate(STKDialog *dialog)
{
    STK_LOG_START();
    m_pStkDialog = dialog;
    STK_LOG_END();
}

void STKExtendDlg::reject()
{
    if (m_pStkDialog) {
        m_pStkDialog->onButtonClickClose();
        STK_LOG("%s : %s : %s : Entered", StkLog::now().constData(), STK_LOG_PATH, __func__);
    }
}

void STKExtendDlg::closeEvent(QCloseEvent *event)
{
    STK_LOG_START();
    const QPointer<STKDialog> dialog(m_pStkDialog);
    if (!dialog)
        return;
    if (dialog->isWaiting()) {
        event->ignore();
        return;
    }
    if (dialog->m_bEnterPressed) {
        event->ignore();
        dialog->onButtonClickSelect();
        if (dialog)
            dialog->m_bEnterPressed = false;
        return;
    }
    dialog->onButtonClickClose();
    STK_LOG_END();
}

// ---------------------------------------------------------------- STKDialog: life

STKDialog *STKDialog::m_pStkDialogInstance = 0;
WsSound *STKDialog::m_pWsSoundSTK = 0;
QDialog *STKDialog::m_pMsgDialog = 0;

STKDialog::STKDialog()
    : QObject(0), m_pStkThread(0), m_bEnterPressed(false), m_strMenuState(MENU_UNKNOWN), m_pStkLogic(0), m_stMainMenu(),
      m_stSubMenu(), m_pStkTimer(0), m_pStkInputDlg(0), m_pToneTimer(0), m_pMsgTimer(0), m_nMsgTimeOut(0),
      m_nMsgTick(0), m_nMsgRemain(0), m_nText(0), m_nQuestion(0), m_nDialogs(0), m_pDeferred(0)
{
    STK_LOG_START();
    m_pStkLogic = STKLogic::CreateInstance();
    m_pStkThread = new STKThread;
    m_pStkInputDlg = STKInputDlg::StkInputDlgInstance();
    if (m_pStkLogic) {
        m_pStkLogic->RegisterSTKCB();
        connectLogic();
    }
    if (m_pStkThread)
        connect(m_pStkThread, SIGNAL(ChangeCursor()), this, SLOT(onChangeCursor()));
    m_strTitle = QString::fromLatin1("");
    initMenu(&m_stMainMenu);
    initMenu(&m_stSubMenu);
    STK_LOG_END();
}

void STKDialog::connectLogic()
{
    static const struct {
        const char *pSignal;
        const char *pSlot;
    } CONNECTIONS[] = {
        {SIGNAL(DevAvailable(bool)), SLOT(onDeviceAvailable(bool))},
        {SIGNAL(STKSetupMenu()), SLOT(onSTKSetupMenu())},
        {SIGNAL(STKDisplayText()), SLOT(onSTKDisplayText())},
        {SIGNAL(STKGetInkey()), SLOT(onSTKGetInkey())},
        {SIGNAL(STKGetInput()), SLOT(onSTKGetInput())},
        {SIGNAL(STKSetupCall()), SLOT(onSTKSetupCall())},
        {SIGNAL(STKPlayTone()), SLOT(onSTKPlayTone())},
        {SIGNAL(STKSelItem()), SLOT(onSTKSelItem())},
        {SIGNAL(STKRefresh()), SLOT(onSTKRefresh())},
        {SIGNAL(STKSendSS()), SLOT(onSTKSendSS())},
        {SIGNAL(STKSendSMS()), SLOT(onSTKSendSMS())},
        {SIGNAL(STKSendUSSD()), SLOT(onSTKSendUSSD())},
        {SIGNAL(STKLaunchBrowser()), SLOT(onSTKLaunchBrowser())},
        {SIGNAL(STKSetupIdleModeText()), SLOT(onSTKSetupIdleModeText())},
        {SIGNAL(STKEndSession()), SLOT(onSTKEndSession())},
        {SIGNAL(ShowMainMenu()), SLOT(onShowMainMenu())},
        {SIGNAL(CloseInputDlg()), SLOT(onCloseInputDlg())},
    };
    for (const auto &row : CONNECTIONS)
        connect(m_pStkLogic, row.pSignal, this, row.pSlot);
}

STKDialog::~STKDialog()
{
    STK_LOG_START();
    // What comes now comes too late; waiting for the thread below delivers events.
    if (m_pStkLogic)
        disconnect(m_pStkLogic, 0, this, 0);
    if (m_pStkThread)
        disconnect(m_pStkThread, 0, this, 0);
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    if (m_pStkThread && m_pStkThread->isRunning()) {
        m_pStkThread->RequestStop();
        m_pStkThread->SetTimeOut(0); // ends a run that has yet to begin, which forgets the request
        CommonUtils::WaitForThreadToStop(m_pStkThread, STOP_TIMEOUT_S);
        // Whatever the host's wait said: a running thread must not be deleted.
        do
            m_pStkThread->RequestStop();
        while (!m_pStkThread->wait(STOP_POLL_MS));
        delete m_pStkThread;
        m_pStkThread = 0;
    }
    // A thread that is not running is deliberately left undeleted.
    STKLogic::DestroyInst();
    m_pStkLogic = 0;
    STKInputDlg::DestroyInstance();
    m_pStkInputDlg = 0;

    // The frame owns the widgets.
    m_pExtendDlg = 0;
    m_pMainWidget = 0;
    m_pBtnBack = 0;
    m_pBtnSelect = 0;
    m_pBtnClose = 0;
    m_pTableWidget = 0;
    freeMenu(&m_stMainMenu);
    freeMenu(&m_stSubMenu);
    if (m_pToneTimer) {
        delete m_pToneTimer;
        m_pToneTimer = 0;
    }
    if (m_pWsSoundSTK) {
        delete m_pWsSoundSTK;
        m_pWsSoundSTK = 0;
    }
    STK_LOG_END();
}

STKDialog *STKDialog::Instance()
{
    STK_LOG_START();
    if (!m_pStkDialogInstance)
        m_pStkDialogInstance = new STKDialog;
    STK_LOG_END();
    return m_pStkDialogInstance;
}

void STKDialog::Destroy()
{
    STK_LOG_START();
    if (m_pStkDialogInstance) {
        delete m_pStkDialogInstance;
        m_pStkDialogInstance = 0;
    }
    STK_LOG_END();
}

void STKDialog::unSDKRegisterEvent()
{
    STK_LOG("%s: %s called", STK_LOG_PATH, __func__);
    if (m_pStkLogic)
        m_pStkLogic->UnresgisterSTKCB();
    STK_LOG("%s: %s exit", STK_LOG_PATH, __func__);
}

// ---------------------------------------------------------------- STKDialog: the window

bool STKDialog::initUI(QWidget *parent)
{
    STK_LOG_START();
    forgetWidgets();
    createWidgets(parent);
    if (!areWidgetsCreated()) {
        STK_LOG_TIMED("%s: %s: %s: Memory Allocation Failed");
        return false;
    }
    m_pTableWidget->Instantiate(this);
    m_pExtendDlg->AddMainWidget(m_pMainWidget);
    SetStkUiText();
    setStkObjectName();
    setStkUiLayout();
    setUpTable();
    if (m_pStkLogic && m_pStkLogic->GetMainMenu(&m_stMainMenu)) {
        m_strMenuState = MENU_MAIN;
        m_strTitle = m_stMainMenu.strTitle;
        showMainMenu();
    }
    m_pExtendDlg->setWindowTitle(m_strTitle);
    STK_LOG_END();
    return true;
}

void STKDialog::createWidgets(QWidget *parent)
{
    m_pExtendDlg = new STKExtendDlg(parent, Qt::WindowCloseButtonHint, WIDGET_TYPE_WINDOW);
    m_pExtendDlg->Instantiate(this);
    m_pMainWidget = new QWidget(m_pExtendDlg);
    m_pBtnBack = new QPushButton(m_pMainWidget);
    m_pBtnSelect = new QPushButton(m_pMainWidget);
    m_pBtnClose = new QPushButton(m_pMainWidget);
    m_pTableWidget = new STKTableWidget(m_pMainWidget);
    m_pStkTimer = new QTimer(this);
    m_pToneTimer = new QTimer(this);
}

bool STKDialog::areWidgetsCreated() const
{
    return m_pMainWidget && m_pBtnBack && m_pBtnSelect && m_pBtnClose && m_pTableWidget && m_pStkTimer && m_pToneTimer;
}

void STKDialog::setUpTable()
{
    m_pTableWidget->setColumnCount(1);
    m_pTableWidget->verticalHeader()->setVisible(false);
    m_pTableWidget->horizontalHeader()->setVisible(false);
    m_pTableWidget->horizontalScrollBar()->setVisible(false);
    m_pTableWidget->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pTableWidget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pTableWidget->setShowGrid(false);
    m_pTableWidget->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_pTableWidget->setColumnWidth(0, TABLE_WIDTH);
    m_pTableWidget->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pTableWidget->setTabKeyNavigation(false);
    // Without this the header's own minimum would make the rows taller.
    m_pTableWidget->verticalHeader()->setMinimumSectionSize(ROW_HEIGHT);
}

void STKDialog::setStkUiLayout()
{
    STK_LOG_START();
    QVBoxLayout *pVertical = new QVBoxLayout;
    QHBoxLayout *pButtonRow = new QHBoxLayout;
    QHBoxLayout *pCloseGroup = new QHBoxLayout;
    if (!pVertical || !pButtonRow || !pCloseGroup) {
        STK_LOG_LINE("Memory Allocation Failed %s: %s: %s: ");
        return;
    }
    if (m_pTableWidget)
        m_pTableWidget->setFixedSize(TABLE_WIDTH, TABLE_HEIGHT);

    pButtonRow->addWidget(m_pBtnBack);
    pButtonRow->addWidget(m_pBtnSelect);
    pButtonRow->setAlignment(Qt::AlignLeft);
    pButtonRow->setSpacing(20);

    pCloseGroup->addWidget(m_pBtnClose);
    pCloseGroup->insertSpacing(0, 55);
    pCloseGroup->setAlignment(Qt::AlignRight);
    pButtonRow->addLayout(pCloseGroup);

    pVertical->addWidget(m_pTableWidget);
    pVertical->addLayout(pButtonRow);
    pVertical->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    pVertical->insertSpacing(1, 10);
    if (m_pMainWidget)
        m_pMainWidget->setLayout(pVertical);
    STK_LOG_END();
}

void STKDialog::setStkObjectName()
{
    STK_LOG_START();
    if (!m_pExtendDlg || !m_pMainWidget || !m_pBtnBack || !m_pBtnSelect || !m_pBtnClose || !m_pTableWidget) {
        STK_LOG_LINE("Some widget is null  %s: %s: %s: ");
        return;
    }
    m_pExtendDlg->setObjectName(QLatin1String("STKPlugin_Stkdialog"));
    m_pMainWidget->setObjectName(QLatin1String("STKPlugin_StkWidget"));
    m_pBtnBack->setObjectName(QLatin1String("STKPlugin_PushBtnBack"));
    m_pBtnSelect->setObjectName(QLatin1String("STKPlugin_PushBtnSelect"));
    m_pBtnClose->setObjectName(QLatin1String("STKPlugin_PushBtnClose"));
    m_pTableWidget->setObjectName(QLatin1String("STKPlugin_TableWidgetMenu"));
    STK_LOG_END();
}

void STKDialog::SetStkUiText()
{
    STK_LOG_START();
    if (!m_pBtnBack || !m_pBtnSelect || !m_pBtnClose) {
        STK_LOG_LINE("Widgets id NULL %s: %s: %s: ");
        return;
    }
    m_pBtnBack->setText(tr(QString::fromLatin1("IDS_STK_BTN_BACK")));
    m_pBtnSelect->setText(tr(QString::fromLatin1("IDS_STK_BTN_SELECT")));
    m_pBtnClose->setText(tr(QString::fromLatin1("IDS_STK_BTN_CLOSE")));
    STK_LOG_END();
}

QString STKDialog::tr(QString key) const
{
    return Change::tr(key, QString::fromLatin1(GROUP_PLUGIN));
}

bool STKDialog::ShowStkDlg(QWidget *parent, QRect & /*rect*/)
{
    STK_LOG_START();
    const bool bBuilt = initUI(parent);
    connectWidgets();
    if (m_pStkLogic) {
        m_pStkLogic->GetMainMenu(&m_stMainMenu);
        m_strTitle = m_stMainMenu.strTitle;
        showMainMenu();
    }
    if (m_pBtnClose)
        m_pBtnClose->setFocus(Qt::OtherFocusReason);
    if (m_pBtnBack)
        m_pBtnBack->setEnabled(false);
    m_pExtendDlg->setFixedSize(FRAME_WIDTH, FRAME_HEIGHT);
    m_pExtendDlg->setWindowModality(Qt::WindowModal);
    m_pExtendDlg->setVisible(true);
    CommonUtils::MoveCentre(m_pExtendDlg);
    m_pExtendDlg->setAttribute(Qt::WA_DeleteOnClose);
    STK_LOG_END();
    return bBuilt;
}

void STKDialog::connectWidgets()
{
    connect(m_pBtnBack, SIGNAL(clicked()), this, SLOT(onButtonClickBack()));
    connect(m_pBtnSelect, SIGNAL(clicked()), this, SLOT(onButtonClickSelect()));
    connect(m_pBtnClose, SIGNAL(clicked()), this, SLOT(onButtonClickClose()));
    connect(m_pTableWidget, SIGNAL(cellDoubleClicked(int, int)), this, SLOT(onCellDoubleClicked(int, int)));
    connect(m_pStkTimer, SIGNAL(timeout()), this, SLOT(onSTKTimeOut()));
    connect(m_pToneTimer, SIGNAL(timeout()), this, SLOT(onSTKPlayToneTimeOut()));
}

void STKDialog::forgetWidgets()
{
    m_pTableWidget = 0;
    m_pBtnBack = 0;
    m_pExtendDlg = 0;
    m_pMainWidget = 0;
    m_pBtnSelect = 0;
    m_pBtnClose = 0;
    m_pStkTimer = 0;
    m_pToneTimer = 0;
}

// ---------------------------------------------------------------- STKDialog: menus

bool STKDialog::deleteTableItems()
{
    STK_LOG_START();
    const int nRows = m_pTableWidget ? m_pTableWidget->rowCount() : 0;
    if (nRows > 0) {
        for (int i = 0; i < nRows; ++i)
            delete m_pTableWidget->item(i, 0);
        m_pTableWidget->clear();
    }
    STK_LOG_END();
    return m_pTableWidget;
}

void STKDialog::showMainMenu()
{
    STK_LOG_START();
    m_strMenuState = MENU_MAIN;
    if (deleteTableItems()) {
        if (!m_stMainMenu.strTitle.isEmpty())
            m_strTitle = m_stMainMenu.strTitle;
        if (m_pExtendDlg)
            m_pExtendDlg->setWindowTitle(m_stMainMenu.strTitle.isEmpty() ? QString::fromLatin1("") : m_strTitle);
        fillTable(m_stMainMenu);
    }
    if (m_pBtnBack)
        m_pBtnBack->setEnabled(false);
    STK_LOG_END();
}

void STKDialog::showSubMenu()
{
    STK_LOG_START();
    m_strMenuState = MENU_SUB;
    if (deleteTableItems()) {
        if (m_pExtendDlg)
            m_pExtendDlg->setWindowTitle(m_stSubMenu.strTitle.isEmpty() ? m_strTitle : m_stSubMenu.strTitle);
        fillTable(m_stSubMenu);
    }
    if (m_pBtnBack)
        m_pBtnBack->setEnabled(true);
    STK_LOG_END();
}

void STKDialog::fillTable(const StkMenuItems &menu)
{
    m_pTableWidget->setAccessibleName(menu.strTitle); // what screen readers say of the list
    m_pTableWidget->setRowCount(menu.pItemList->size());
    for (int i = 0; i < menu.pItemList->size(); ++i) {
        const StkItemClass &item = menu.pItemList->at(i);
        STK_LOG("Item name = %s, Index=%d", item.strItemText.toUtf8().constData(), item.nItemId);
        m_pTableWidget->setItem(i, 0, new QTableWidgetItem(item.strItemText));
        m_pTableWidget->setRowHeight(i, ROW_HEIGHT);
    }
}

/// What every failed request falls back to; a failed read shows whatever it left.
void STKDialog::readAndShowMainMenu()
{
    m_pStkLogic->GetMainMenu(&m_stMainMenu);
    showMainMenu();
}

void STKDialog::onButtonClickSelect()
{
    STK_LOG_START();
    QTableWidgetItem *pItem = m_pTableWidget ? m_pTableWidget->currentItem() : 0;
    const QString strText = pItem ? textOfRow(pItem) : QString();
    if (!strText.isEmpty() && m_strMenuState != MENU_UNKNOWN && m_pStkLogic) {
        if (m_strMenuState == MENU_MAIN) {
            const QPointer<STKDialog> self(this);
            const bool bSent = m_pStkLogic->SelectMainMenuItem(findItemId(m_stMainMenu, strText));
            if (self)
                waitOrShowMainMenu(bSent);
        } else if (m_strMenuState == MENU_SUB) {
            subMenuSeleted(pItem);
        }
    }
    STK_LOG_END();
}

void STKDialog::subMenuSeleted(QTableWidgetItem *item)
{
    STK_LOG_START();
    if (!item) {
        STK_LOG("Arg is NULL: %s: %s: %s %d", STK_LOG_PATH, __func__, StkLog::now().constData(), __LINE__);
        return;
    }
    if (m_pStkLogic)
        answerSubMenu(ACTION_SELECT, findItemId(m_stSubMenu, textOfRow(item)));
    STK_LOG_END();
}

void STKDialog::answerSubMenu(const QString &strAction, int nItemId)
{
    const QPointer<STKDialog> self(this);
    const bool bSent = m_pStkLogic->SelectSubMenuItem(strAction, nItemId);
    if (self)
        waitOrShowMainMenu(bSent);
}

/// What follows a choice: the wait for the card's next command, or the main menu when the choice was not taken. The
/// library may have delivered that command already, within the choice, and everything may have ended in its dialog.
void STKDialog::waitOrShowMainMenu(bool bSent)
{
    if (bSent)
        stkWaitforRespond(RESPONSE_TIMEOUT_S);
    else if (m_pStkLogic)
        readAndShowMainMenu();
}

void STKDialog::onButtonClickBack()
{
    STK_LOG_START();
    if (m_pStkLogic)
        answerSubMenu(ACTION_BACK, 0);
    STK_LOG_END();
}

void STKDialog::onCellDoubleClicked(int /*iRow*/, int /*iColumn*/)
{
    STK_LOG_START();
    onButtonClickSelect();
    STK_LOG_END();
}

void STKDialog::onButtonClickClose()
{
    STK_LOG_START();
    // As it is now: the frame's close event turns such a close into a Select and clears the flag.
    const bool bEnterPressed = m_bEnterPressed;
    if (m_pStkLogic && !bEnterPressed)
        m_pStkLogic->GetMainMenu(&m_stMainMenu);
    if (m_pExtendDlg) {
        pushCursor(Qt::ArrowCursor);
        const QPointer<STKDialog> self(this);
        const bool bClosed = m_pExtendDlg->close(); // comes back here through the frame's close event
        if (!self)
            return;
        // A frame that has refused stays in use, also when the wait that it refused for has just ended.
        if (bClosed && m_pStkThread && !m_pStkThread->isRunning() && !bEnterPressed)
            forgetWidgets();
    }
    STK_LOG_END();
}

void STKDialog::onSTKSetupMenu()
{
    STK_LOG_START();
    if (m_pStkLogic) {
        readAndShowMainMenu();
        m_pStkLogic->UpdateCBReturnVal(true);
    }
    STK_LOG_END();
}

void STKDialog::onShowMainMenu()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_NULL(__LINE__);
        return;
    }
    readAndShowMainMenu();
    STK_LOG_END();
}

void STKDialog::onSTKSelItem()
{
    STK_LOG_START();
    if (m_pStkLogic) {
        const bool bRead = m_pStkLogic->GetSubMenu(&m_stSubMenu);
        if (bRead)
            showSubMenu();
        m_pStkLogic->UpdateCBReturnVal(bRead);
    }
    STK_LOG_END();
}

// ---------------------------------------------------------------- STKDialog: waiting, timers, end of session

bool STKDialog::isWaiting() const
{
    return m_pStkThread && m_pStkThread->isRunning();
}

int STKDialog::stkWaitforRespond(int nSeconds)
{
    STK_LOG_START();
    if (nSeconds < 1)
        return 0;
    if (!m_pStkLogic || !m_pStkThread) {
        STK_LOG_LINE("Logic instance or thread is null %s: %s: %s: ");
        return 0;
    }
    m_pStkLogic->SetResponseVar(false);
    pushCursor(Qt::WaitCursor);
    m_pStkThread->SetTimeOut(nSeconds);
    m_pStkThread->start(QThread::InheritPriority);
    STK_LOG_END();
    return 0;
}

void STKDialog::onChangeCursor()
{
    STK_LOG_START();
    if (m_pStkLogic && !m_pStkLogic->GetResponseVar()) {
        STK_LOG_LINE("m_bRespondence value is false %s: %s: %s: ");
        if (m_pStkLogic->GetMainMenu(&m_stMainMenu))
            showMainMenu();
    }
    pushCursor(Qt::ArrowCursor);
    STK_LOG_END();
}

void STKDialog::onDeviceAvailable(bool isAvaialable)
{
    STK_LOG_START();
    if (isAvaialable) {
        if (m_pStkLogic)
            readAndShowMainMenu();
    } else if (m_pStkTimer) {
        m_strTimerType = TIMER_DEVICE;
        if (m_pStkTimer->isActive())
            m_pStkTimer->stop();
        m_pStkTimer->start(DEVICE_TIMER_MS);
    }
    STK_LOG_END();
}

void STKDialog::onSTKTimeOut()
{
    STK_LOG_START();
    if (m_pStkTimer && m_strTimerType == TIMER_DEVICE) {
        m_strTimerType = QString::fromLatin1("");
        m_pStkTimer->stop();
        const QPointer<STKDialog> self(this);
        closeInputDlg();
        if (!self)
            return;
        onButtonClickClose();
    } else if (m_pStkTimer && m_strTimerType == TIMER_MSGBOX) {
        m_strTimerType = QString::fromLatin1("");
        m_pStkTimer->stop();
        if (m_pMsgDialog) {
            m_pMsgDialog->close();
            m_pMsgDialog = 0;
        }
    }
    STK_LOG_END();
}

int STKDialog::showTimeMessageBox(QString strText)
{
    STK_LOG_START();
    const bool bOwnFrame = !m_pMsgBoxDlg;
    if (bOwnFrame)
        m_pMsgBoxDlg = new ExtendDialog(CommonUtils::GetMainWindow(), Qt::WindowCloseButtonHint, WIDGET_TYPE_MESSAGE);
    const QPointer<ExtendDialog> pFrame(m_pMsgBoxDlg);
    if (!pFrame)
        return QMessageBox::Cancel;

    // The frame counts the texts that it has shown: whoever is not the last one has been replaced.
    const int nText = pFrame->property(TEXT_COUNT).toInt() + 1;
    pFrame->setProperty(TEXT_COUNT, nText);
    const QPointer<WsMessageBox> pBox(new WsMessageBox(pFrame));
    // In a frame that is up the box is shown at once, and one that has no buttons yet would give itself one.
    pBox->setStandardButtons(QMessageBox::NoButton);
    pFrame->AddMainWidget(pBox);
    pFrame->setWindowFlags(Qt::WindowCloseButtonHint);
    pBox->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    pFrame->setWindowTitle(QString::fromLatin1(""));
    pBox->setIcon(QMessageBox::NoIcon);
    pBox->setTextFormat(Qt::PlainText); // card text is data, never markup
    pBox->setText(strText);
    pFrame->setAccessibleName(strText); // without a title there is nothing else to say of the window
    QApplication::beep();
    m_pMsgBtnOk = pBox->addButton(frameText("IDS_OK"), QMessageBox::YesRole);
    m_pMsgBtnCancel = pBox->addButton(frameText("IDS_CANCEL"), QMessageBox::RejectRole);
    // Deliberately one after the other: Cancel is the default button.
    if (m_pMsgBtnOk)
        pBox->setDefaultButton(m_pMsgBtnOk);
    if (m_pMsgBtnCancel)
        pBox->setDefaultButton(m_pMsgBtnCancel);
    connect(pBox, SIGNAL(changeSize(QSize)), pFrame, SLOT(changeSize(QSize)));
    connect(pBox, SIGNAL(buttonClicked(QAbstractButton *)), pFrame, SLOT(close()));
    pFrame->setWindowModality(Qt::WindowModal);

    const QPointer<STKDialog> self(this);
    if (bOwnFrame) {
        pFrame->exec();
    } else {
        // Qt refuses a second exec() of a frame that is executing, so this text waits for the frame in its own loop.
        QEventLoop loop;
        connect(pFrame, SIGNAL(finished(int)), &loop, SLOT(quit()));
        connect(pFrame, SIGNAL(destroyed()), &loop, SLOT(quit()));
        pFrame->setVisible(true);
        loop.exec();
    }

    int nOutcome = QMessageBox::Cancel;
    if (self) {
        resetCountDown();
        // A box destroyed from outside was not accepted. Once the count-down has run out no button was clicked and
        // the OK pointer is null: both sides are, deliberately, equal, and the text counts as accepted.
        if (pFrame && pFrame->property(TEXT_COUNT).toInt() != nText)
            nOutcome = QMessageBox::NoButton;
        else if (pBox && pBox->clickedButton() == m_pMsgBtnOk)
            nOutcome = QMessageBox::Ok;
    }
    delete pBox;
    if (bOwnFrame)
        delete pFrame;
    STK_LOG_END();
    return nOutcome;
}

void STKDialog::resetCountDown()
{
    if (m_pMsgTimer) {
        m_pMsgTimer->stop();
        m_nMsgTick = 0;
        m_nMsgRemain = m_nMsgTimeOut;
    }
}

void STKDialog::onMessageTimeOut()
{
    STK_LOG_START();
    if (!m_pMsgTimer || !m_pMsgBoxDlg) {
        STK_LOG_NULL(__LINE__);
        return;
    }
    if (!m_pMsgBtnOk) {
        m_pMsgTimer->stop();
        m_pMsgBoxDlg->close();
        return;
    }
    m_pMsgBtnOk->setText(frameText("IDS_OK") + QLatin1String(" = ") + QString::number(m_nMsgRemain));
    --m_nMsgRemain;
    ++m_nMsgTick;
    // One tick more than the display time, deliberately: the box closes on the tick that shows 0.
    if (m_nMsgTick == m_nMsgTimeOut + 1) {
        m_pMsgTimer->stop();
        m_pMsgBoxDlg->close();
        m_pMsgBtnOk = 0;
        m_nMsgTick = 0;
        m_nMsgRemain = m_nMsgTimeOut;
    }
    STK_LOG_END();
}

void STKDialog::onSTKEndSession()
{
    STK_LOG_START();
    const QPointer<STKDialog> self(this);
    closeInputDlg();
    if (!self)
        return;
    showMainMenu();
    if (m_pStkLogic)
        m_pStkLogic->UpdateCBReturnVal(true);
    STK_LOG_END();
}

void STKDialog::onCloseInputDlg()
{
    STK_LOG_START();
    closeInputDlg();
    STK_LOG_END();
}

/// The dialog answers Cancel, within which the host may end everything, as within any answer.
void STKDialog::closeInputDlg()
{
    if (m_pStkInputDlg && m_pStkInputDlg->IsDialogCreated())
        m_pStkInputDlg->CloseDlg();
}

// ---------------------------------------------------------------- STKDialog: dialogs over dialogs

/// Commands whose dialogs nobody closes would fill the stack with event loops. When there are too many, all of them are
/// ended without an answer, since the card waits for none but the last, and `pSlot` runs again when the loops have been
/// left. False: there is room for one more.
bool STKDialog::deferDialog(const char *pSlot)
{
    if (m_nDialogs < MAX_DIALOGS && !(m_nDialogs > 0 && m_pDeferred))
        return false;
    m_pDeferred = pSlot;
    ++m_nText;
    replaceQuestion();
    if (m_pMsgBoxDlg)
        m_pMsgBoxDlg->close();
    m_pStkLogic->UpdateCBReturnVal(true);
    return true;
}

void STKDialog::leaveDialog()
{
    if (--m_nDialogs == 0 && m_pDeferred) {
        QMetaObject::invokeMethod(this, m_pDeferred, Qt::QueuedConnection);
        m_pDeferred = 0;
    }
}

// ---------------------------------------------------------------- STKDialog: simple commands

void STKDialog::onSTKDisplayText()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_NULL(__LINE__);
        return;
    }
    if (deferDialog("onSTKDisplayText"))
        return;
    QString strText;
    QString strClearMode;
    int nSeconds = 0;
    const bool bRead = m_pStkLogic->GetPromptText(&strText, &strClearMode, &nSeconds);
    // A text that is up goes on counting as long as this one is not shown.
    if (!m_pMsgTimer || !m_pMsgTimer->isActive())
        m_nMsgTimeOut = nSeconds;
    if (!bRead) {
        STK_LOG_LINE("GetPromptText() failed %s: %s: %s: ");
        return; // deliberately answers nothing
    }
    createMsgTimer();
    if (strClearMode == CLEAR_MODE_AUTO) {
        m_strTimerType = TIMER_MSGBOX;
        if (!m_pStkTimer) {
            m_pStkLogic->UpdateCBReturnVal(false);
            STK_LOG_END();
            return;
        }
        if (!m_pMsgTimer) {
            STK_LOG_NULL(__LINE__);
            return;
        }
        startCountDown(nSeconds);
    } else if (m_pMsgTimer) {
        m_pMsgTimer->stop(); // the count-down of a text that this one replaces
        m_nMsgTimeOut = nSeconds;
    }

    const QPointer<STKDialog> self(this);
    const int nText = ++m_nText;
    ++m_nDialogs;
    const int nOutcome = showTimeMessageBox(strText);
    if (self)
        leaveDialog();
    if (self && nText == m_nText && nOutcome != QMessageBox::NoButton)
        answerDisplayText(nOutcome);
    STK_LOG_END();
}

void STKDialog::createMsgTimer()
{
    if (!m_pMsgTimer) {
        m_pMsgTimer = new QTimer(this);
        connect(m_pMsgTimer, SIGNAL(timeout()), this, SLOT(onMessageTimeOut()));
    }
}

void STKDialog::startCountDown(int nSeconds)
{
    if (m_pMsgTimer->isActive())
        m_pMsgTimer->stop();
    m_nMsgTimeOut = nSeconds == 0 ? MSG_DEFAULT_S : nSeconds;
    m_pMsgTimer->start(MSG_TICK_MS);
    m_nMsgRemain = m_nMsgTimeOut;
    m_nMsgTick = 0;
}

void STKDialog::answerDisplayText(int nOutcome)
{
    if (!m_pStkLogic)
        return;
    const bool bDone = nOutcome != QMessageBox::Cancel && nOutcome != QMessageBox::No;
    const QPointer<STKDialog> self(this);
    if (!m_pStkLogic->SendNoDataResponse(STK_UI_STKTYPE_DISPLAY_TEXT,
                                         bDone ? STK_UI_RESPONSE_DONE : STK_UI_RESPONSE_NOT_HANDLED))
        STK_LOG("SendNoDataResponse Failed %s: %s: %s: ", STK_LOG_PATH, "onSTKDisplayText", StkLog::now().constData());
    if (self && m_pStkLogic)
        m_pStkLogic->UpdateCBReturnVal(true);
}

void STKDialog::onSTKSetupCall()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_NULL(__LINE__);
        return;
    }
    // Deliberately the only command whose verdict follows the sending.
    const QPointer<STKDialog> self(this);
    const bool bSent = m_pStkLogic->SendNoDataResponse(STK_UI_STKTYPE_SETUP_CALL, STK_UI_RESPONSE_NO_CALL);
    if (!bSent)
        STK_LOG_LINE("SendNoDataResponse failed %s: %s: %s: ");
    if (self && m_pStkLogic)
        m_pStkLogic->UpdateCBReturnVal(bSent);
    STK_LOG_END();
}

/// The SEND commands: the service carries them out, the window has nothing to do. False without logic.
bool STKDialog::acknowledge(const char *pFunction)
{
    if (!m_pStkLogic) {
        STK_LOG("Arg is NULL: %s: %s: %s %d", StkLog::now().constData(), STK_LOG_PATH, pFunction, __LINE__);
        return false;
    }
    m_pStkLogic->UpdateCBReturnVal(true);
    return true;
}

void STKDialog::onSTKSendSS()
{
    STK_LOG_START();
    if (acknowledge(__func__))
        STK_LOG_END();
}

void STKDialog::onSTKSendSMS()
{
    STK_LOG_START();
    if (acknowledge(__func__))
        STK_LOG_END();
}

void STKDialog::onSTKSendUSSD()
{
    STK_LOG_START();
    if (acknowledge(__func__))
        STK_LOG_END();
}

void STKDialog::onSTKRefresh()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_NULL(__LINE__);
        return;
    }
    m_pStkLogic->UpdateCBReturnVal(m_pStkLogic->GetRefreshInfo());
    STK_LOG_END();
}

void STKDialog::onSTKLaunchBrowser()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_NULL(__LINE__);
        return;
    }
    MDSVLaunchBrowser request = {0, QString::fromLatin1("")};
    if (!m_pStkLogic->GetLaunchBrowser(&request)) {
        STK_LOG_LINE("GetLaunchBrowser() failed %s: %s: %s: ");
        m_pStkLogic->UpdateCBReturnVal(false);
        return;
    }
    const QPointer<STKDialog> self(this);
    if (!request.strUrl.isEmpty())
        CommonUtils::OpenUrl(request.strUrl);
    if (self)
        answerDone(STK_UI_STKTYPE_LAUNCH_BROWSER, "onSTKLaunchBrowser");
    STK_LOG_END();
}

void STKDialog::onSTKSetupIdleModeText()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_NULL(__LINE__);
        return;
    }
    QString strText = QString::fromLatin1(""); // read and, deliberately, not shown
    if (!m_pStkLogic->GetIdleModePrompt(&strText)) {
        STK_LOG_LINE("GetIdleModePrompt() failed %s: %s: %s: ");
        m_pStkLogic->UpdateCBReturnVal(false);
        return;
    }
    answerDone(STK_UI_STKTYPE_SETUP_IDLE_MODE_TEXT, "onSTKSetupIdleModeText");
    STK_LOG_END();
}

void STKDialog::answerDone(_STK_UI_EN_STKTYPE enType, const char *pFunction)
{
    if (!m_pStkLogic)
        return;
    const QPointer<STKDialog> self(this);
    if (!m_pStkLogic->SendNoDataResponse(enType, STK_UI_RESPONSE_DONE))
        STK_LOG("SendNoDataResponse() failed %s: %s: %s: ", STK_LOG_PATH, pFunction, StkLog::now().constData());
    if (self && m_pStkLogic)
        m_pStkLogic->UpdateCBReturnVal(true);
}

// ---------------------------------------------------------------- STKDialog: tones

void STKDialog::onSTKPlayTone()
{
    STK_LOG_START();
    if (!m_pStkLogic || !m_pToneTimer) {
        STK_LOG_LINE("Logic/timer instance is null %s: %s: %s: ");
        return;
    }
    MDSVPlayToneRequest request = {0, 0, QString()};
    if (!m_pStkLogic->GetPlayTone(&request)) {
        STK_LOG_LINE("GetPlayTone() failed %s: %s: %s: ");
        m_pStkLogic->UpdateCBReturnVal(false);
        return;
    }
    QString strPath = toneFile(request.nTone);
    if (!QFile::exists(strPath))
        strPath = toneFile(TONE_SUBSTITUTE);
    if (!QFile::exists(strPath)) {
        STK_LOG_LINE("Sound file does not exists %s: %s: %s: ");
        m_pStkLogic->UpdateCBReturnVal(false);
        return;
    }
    playTone(strPath);
    m_pToneTimer->start(request.nDuration * MS_PER_SECOND);

    // Deliberately sent at once, while the tone still sounds.
    const QPointer<STKDialog> self(this);
    if (!m_pStkLogic->SendNoDataResponse(STK_UI_STKTYPE_PLAY_TONE, STK_UI_RESPONSE_DONE))
        STK_LOG_LINE("SendNoDataResponse Failed of %s: %s: %s: ");
    if (self && m_pStkLogic)
        m_pStkLogic->UpdateCBReturnVal(true);
    STK_LOG_END();
}

void STKDialog::playTone(QString strFile)
{
    STK_LOG_START();
    if (strFile.isEmpty()) {
        STK_LOG_LINE("Filename is empty of %s: %s: %s: ");
        return;
    }
    stopTone();
    deletePlayer(); // one that was not playing
    m_pWsSoundSTK = new WsSound(strFile);
    if (m_pWsSoundSTK->Play())
        connect(m_pWsSoundSTK, SIGNAL(finished()), this, SLOT(onPlayingFinished()));
    else
        STK_LOG_LINE("Playing failed %s: %s: %s: ");
    STK_LOG_END();
}

void STKDialog::stopTone()
{
    STK_LOG_START();
    if (m_pWsSoundSTK && m_pWsSoundSTK->IsPlaying()) {
        m_pWsSoundSTK->Stop();
        deletePlayer();
    }
    STK_LOG_END();
}

void STKDialog::deletePlayer()
{
    delete m_pWsSoundSTK;
    m_pWsSoundSTK = 0;
}

void STKDialog::onSTKPlayToneTimeOut()
{
    STK_LOG_START();
    if (m_pToneTimer) {
        m_pToneTimer->stop();
        stopTone();
    }
    STK_LOG_END();
}

void STKDialog::onPlayingFinished()
{
    STK_LOG_START();
    if (m_pToneTimer)
        m_pToneTimer->stop();
    deletePlayer(); // inside its own signal, which the host's player allows
    STK_LOG("End of %s: %s: %d: ", STK_LOG_PATH, __func__, __LINE__);
}

// ---------------------------------------------------------------- STKDialog: input commands

QWidget *STKDialog::parentOfQuestions() const
{
    return m_pExtendDlg ? m_pExtendDlg->parentWidget() : 0;
}

void STKDialog::onSTKGetInput()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_LINE("Logic instance is NULL %s: %s: %s: ");
        return;
    }
    if (deferDialog("onSTKGetInput"))
        return;
    StkInKeyRequest request = StkInKeyRequest();
    if (!m_pStkLogic->GetInputRequest(&request)) {
        STK_LOG_LINE("GetInputRequest failed %s: %s: %s: ");
        m_pStkLogic->UpdateCBReturnVal(false);
        return;
    }
    if (m_pStkInputDlg) {
        const int nQuestion = replaceQuestion();
        m_pStkInputDlg->SetInputRequest(request);
        askInDialog(parentOfQuestions(), nQuestion);
    }
    STK_LOG_END();
}

void STKDialog::onSTKGetInkey()
{
    STK_LOG_START();
    if (!m_pStkLogic) {
        STK_LOG_LINE("Logic instance is null %s: %s: %s: ");
        return;
    }
    if (deferDialog("onSTKGetInkey"))
        return;
    QWidget *pParent = parentOfQuestions();
    StkInKeyRequest request = StkInKeyRequest();
    if (!m_pStkLogic->GetInKeyRquest(&request)) {
        STK_LOG_LINE("GetInKeyRquest faied %s: %s: %s: ");
        m_pStkLogic->UpdateCBReturnVal(false);
        return;
    }
    if (request.nInputType == INPUT_TYPE_YES_NO) {
        askYesNo(pParent, request);
    } else if (m_pStkInputDlg) {
        const int nQuestion = replaceQuestion();
        m_pStkInputDlg->SetInKeyRequest(request);
        askInDialog(pParent, nQuestion);
    }
    STK_LOG_END();
}

/// A new question ends an earlier one that is still open, unanswered: the card waits for that answer no more.
int STKDialog::replaceQuestion()
{
    const int nQuestion = ++m_nQuestion;
    if (m_pMsgDialog) {
        m_pMsgDialog->close();
        m_pMsgDialog = 0;
    }
    if (m_pStkInputDlg)
        m_pStkInputDlg->DropRequest();
    return nQuestion;
}

/// Shows the request that the input dialog has been given. When a later question came meanwhile, only that one has
/// anything to wait for.
void STKDialog::askInDialog(QWidget *pParent, int nQuestion)
{
    const QPointer<STKDialog> self(this);
    ++m_nDialogs;
    m_pStkInputDlg->ShowStkInputDlg(pParent);
    if (!self)
        return;
    leaveDialog();
    if (nQuestion == m_nQuestion && m_pStkInputDlg && m_pStkInputDlg->GetLastError() == 0)
        stkWaitforRespond(INPUT_TIMEOUT_S);
    if (m_pStkLogic)
        m_pStkLogic->UpdateCBReturnVal(true);
}

void STKDialog::askYesNo(QWidget *pParent, const StkInKeyRequest &request)
{
    if (!m_pStkTimer) {
        m_pStkLogic->UpdateCBReturnVal(false);
        return;
    }
    m_strTimerType = TIMER_MSGBOX;
    if (request.nDuration > 0) {
        if (m_pStkTimer->isActive())
            m_pStkTimer->stop();
        m_pStkTimer->start(request.nDuration); // the card's number taken as milliseconds, deliberately
    }

    const QPointer<STKDialog> self(this);
    const int nQuestion = replaceQuestion();
    ++m_nDialogs;
    const int nResult =
        CommonUtils::ShowMessage(QMessageBox::NoIcon, pParent, QString::fromLatin1(""), request.strPrompt,
                                 QString::fromLatin1("IDS_YES"), QString::fromLatin1("IDS_NO"), QString::fromLatin1(""),
                                 true, Qt::WindowCloseButtonHint, &m_pMsgDialog, QString::fromLatin1(""), true);
    if (!self)
        return;
    leaveDialog();
    if (!m_pStkLogic)
        return;
    if (nQuestion == m_nQuestion)
        answerYesNo(nResult == QMessageBox::Ok);
    else
        m_pStkLogic->UpdateCBReturnVal(true); // a later question has replaced it: nothing is left to answer
}

/// Every outcome but Yes is a No, deliberately: also a box closed by the timer or by its frame.
void STKDialog::answerYesNo(bool bYes)
{
    const QPointer<STKDialog> self(this);
    const bool bAccepted = m_pStkLogic->CallStkAnswerInKey(TYPE_OK, QString::fromLatin1(bYes ? "1" : "0"));
    if (!self || !m_pStkLogic)
        return;
    if (bAccepted)
        stkWaitforRespond(INPUT_TIMEOUT_S);
    m_pStkLogic->UpdateCBReturnVal(bAccepted);
}
