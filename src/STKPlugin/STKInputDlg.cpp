#include "STKInputDlg.h"

#include "STKLog.h"

#include "core/Change.h"
#include "core/CommonUtils.h"

#include <QtCore/QRegExp>
#include <QtCore/QTimer>

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QRegExpValidator>
#include <QVBoxLayout>

#define STK_SOURCE "STKInputDlg"

namespace
{

const int WIDGET_TYPE_WINDOW = 1;
const int FRAME_WIDTH = 261;
const int FRAME_HEIGHT = 170;
const int FIELD_WIDTH = 240;
const int FIELD_HEIGHT = 22;
const int GAP = 35;
const int TIMER_MS = 1000;

const int INPUT_TYPE_DIGITS = 2;
const int ERROR_NONE = 0;
const int ERROR_REFUSED = -1;

const QLatin1String TYPE_OK("STK_TYPE_OK");
const QLatin1String TYPE_CANCEL("STK_TYPE_CANCEL");

/// Keeps a field's text selected until the user does something, so that the first key replaces it. QLineEdit forgets
/// its selection when its window gets the keyboard and loses it again at once, as happens while windows come and go.
class SelectionKeeper : public QObject
{
public:
    explicit SelectionKeeper(QLineEdit *pField) : QObject(pField), m_pField(pField)
    {
        m_pField->selectAll();
        m_pField->installEventFilter(this);
    }

    virtual bool eventFilter(QObject * /*watched*/, QEvent *pEvent)
    {
        if (pEvent->type() == QEvent::KeyPress || pEvent->type() == QEvent::MouseButtonPress)
            m_pField->removeEventFilter(this);
        else if (pEvent->type() == QEvent::FocusIn && !m_pField->isModified())
            m_pField->selectAll();
        return false;
    }

private:
    QLineEdit *m_pField;
};

} // namespace

// ---------------------------------------------------------------- STKInputExtendDlg

STKInputExtendDlg::STKInputExtendDlg(QWidget *parent, Qt::WindowFlags flags, int widgetType)
    : ExtendDialog(parent, flags, widgetType)
{
    STK_LOG_START();
    STK_LOG_END();
}

STKInputExtendDlg::~STKInputExtendDlg() {}

void STKInputExtendDlg::Instantiate(STKInputDlg *dialog)
{
    STK_LOG_START();
    m_pStkInputDlg = dialog;
    STK_LOG_END();
}

void STKInputExtendDlg::reject()
{
    STK_LOG_START();
    if (m_pStkInputDlg)
        m_pStkInputDlg->CloseDlg();
    STK_LOG_END();
}

void STKInputExtendDlg::closeEvent(QCloseEvent * /*event*/)
{
    STK_LOG_START();
    const QPointer<STKInputDlg> dialog(m_pStkInputDlg);
    if (!dialog)
        return;
    if (dialog->GetBtnClicked()) {
        dialog->SetBtnClicked(false);
        if (dialog->m_pInputExtendDlg)
            dialog->m_pInputExtendDlg->close(); // nothing while this close is under way
    } else {
        dialog->CloseDlg(); // deliberately leaves the flag set: the next frame closed this way sends no answer
    }
    if (dialog)
        dialog->AssignNULL();
    STK_LOG_END();
}

// ---------------------------------------------------------------- STKInputDlg: life

STKInputDlg *STKInputDlg::m_pStkInputDlgInstance = 0;

STKInputDlg::STKInputDlg()
    : QObject(0), m_pStkLogic(0), m_pInputTimer(0), m_stInKeyRequest(), m_nLastError(ERROR_REFUSED),
      m_nRequestType(STK_UI_STKTYPE_GET_INPUT), m_bBtnClicked(false)
{
    STK_LOG_START();
    m_pStkLogic = STKLogic::CreateInstance();
    m_stInKeyRequest.strPrompt = QString::fromLatin1("");
    STK_LOG_END();
}

STKInputDlg::~STKInputDlg()
{
    STK_LOG_START();
    STKLogic::DestroyInst();
    m_pStkLogic = 0;
    AssignNULL();
    STK_LOG_END();
}

STKInputDlg *STKInputDlg::StkInputDlgInstance()
{
    STK_LOG_START();
    if (!m_pStkInputDlgInstance)
        m_pStkInputDlgInstance = new STKInputDlg;
    STK_LOG_END();
    return m_pStkInputDlgInstance;
}

void STKInputDlg::DestroyInstance()
{
    STK_LOG_START();
    if (m_pStkInputDlgInstance) {
        delete m_pStkInputDlgInstance;
        m_pStkInputDlgInstance = 0;
    }
    STK_LOG_END();
}

// ---------------------------------------------------------------- STKInputDlg: the request

void STKInputDlg::SetInputRequest(StkInKeyRequest stRequest)
{
    STK_LOG_START();
    m_stInKeyRequest = stRequest;
    m_nRequestType = STK_UI_STKTYPE_GET_INPUT;
    STK_LOG_END();
}

void STKInputDlg::SetInKeyRequest(StkInKeyRequest stRequest)
{
    STK_LOG_START();
    m_stInKeyRequest.nEcho = 1;
    m_stInKeyRequest.nMinLen = 1;
    m_stInKeyRequest.nMaxLen = 1;
    m_stInKeyRequest.nInputType = stRequest.nInputType;
    m_stInKeyRequest.nOption = stRequest.nOption;
    m_stInKeyRequest.strPrompt = stRequest.strPrompt;
    m_nRequestType = STK_UI_STKTYPE_GET_INKEY;
    // The timer exists only while a frame is up: a request that is stored before it is shown has no time-out of its
    // own, deliberately.
    if (stRequest.nDuration > 0 && m_pInputTimer)
        m_pInputTimer->start(TIMER_MS);
    STK_LOG_END();
}

int STKInputDlg::GetLastError()
{
    STK_LOG_START();
    STK_LOG_END();
    return m_nLastError;
}

bool STKInputDlg::IsDialogCreated()
{
    STK_LOG_START();
    STK_LOG_END();
    return m_pInputExtendDlg;
}

void STKInputDlg::DropRequest()
{
    const QPointer<STKInputExtendDlg> pFrame(m_pInputExtendDlg);
    if (!pFrame)
        return;
    STK_LOG_START();
    if (m_pLineEditInput)
        m_pLineEditInput->releaseKeyboard();
    AssignNULL();
    pFrame->hide(); // not closed: a close would answer
    STK_LOG_END();
}

void STKInputDlg::SetBtnClicked(bool bClicked)
{
    STK_LOG_START();
    m_bBtnClicked = bClicked;
    STK_LOG_END();
}

bool STKInputDlg::GetBtnClicked()
{
    STK_LOG_START();
    STK_LOG_END();
    return m_bBtnClicked;
}

// ---------------------------------------------------------------- STKInputDlg: the frame

void STKInputDlg::ShowStkInputDlg(QWidget *parent)
{
    STK_LOG_START();
    const QPointer<STKInputExtendDlg> pEarlier(m_pInputExtendDlg);
    AssignNULL();
    if (!initUI(parent)) {
        STK_LOG_LINE("inintialization of UI is failed %s: %s: %s: ");
        return;
    }
    // The card waits no more for an earlier request's answer. Hidden, not closed: a close would answer the new one.
    if (pEarlier)
        pEarlier->hide();
    setInitSetting();
    if (m_pLineEditInput) {
        m_pLineEditInput->setFocus(Qt::OtherFocusReason);
        // Qt selects the default text when the frame is shown, but not when the window system is quicker than that.
        new SelectionKeeper(m_pLineEditInput);
        m_pLineEditInput->grabKeyboard();
    }
    if (m_pInputExtendDlg) {
        m_pInputExtendDlg->setFixedSize(FRAME_WIDTH, FRAME_HEIGHT);
        m_pInputExtendDlg->setWindowModality(Qt::WindowModal);
        m_pInputExtendDlg->setAttribute(Qt::WA_DeleteOnClose);
        m_pInputExtendDlg->exec();
    }
    STK_LOG_END();
}

bool STKInputDlg::initUI(QWidget *parent)
{
    STK_LOG_START();
    createWidgets(parent);
    if (!m_pMainWidget || !m_pBtnOk || !m_pBtnCancel || !m_pLabelText || !m_pLineEditInput || !m_pInputTimer) {
        STK_LOG_TIMED("%s: %s: %s: Memory Allocation Failed");
        return false;
    }
    m_pInputExtendDlg->Instantiate(this);
    m_pInputExtendDlg->AddMainWidget(m_pMainWidget);
    SetStkInputUiText();
    m_pLineEditInput->setFixedSize(FIELD_WIDTH, FIELD_HEIGHT);
    m_pLabelText->setFixedWidth(FIELD_WIDTH);
    m_pLabelText->setWordWrap(true);
    setStkInputUiLayout();
    m_pBtnOk->setDefault(true); // Return in the field confirms; the frame's own default would close, that is cancel
    setStkInputObjectName();
    setInitSetting();
    connectWidgets();
    STK_LOG_END();
    return true;
}

void STKInputDlg::createWidgets(QWidget *parent)
{
    m_pInputExtendDlg = new STKInputExtendDlg(parent, Qt::WindowCloseButtonHint, WIDGET_TYPE_WINDOW);
    m_pMainWidget = new QWidget(m_pInputExtendDlg);
    m_pBtnOk = new QPushButton(m_pInputExtendDlg);
    m_pBtnCancel = new QPushButton(m_pInputExtendDlg);
    m_pLabelText = new QLabel(m_pInputExtendDlg);
    m_pLineEditInput = new ExtendLineEdit(m_pInputExtendDlg);
    m_pInputTimer = new QTimer(this);
}

void STKInputDlg::connectWidgets()
{
    connect(m_pBtnOk, SIGNAL(clicked()), this, SLOT(onButtonClickOk()));
    connect(m_pBtnCancel, SIGNAL(clicked()), this, SLOT(onButtonClickCancel()));
    connect(m_pLineEditInput, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(m_pInputTimer, SIGNAL(timeout()), this, SLOT(onTimerTimeOut()));
}

void STKInputDlg::SetStkInputUiText()
{
    STK_LOG_START();
    if (!m_pInputExtendDlg || !m_pBtnOk || !m_pBtnCancel) {
        STK_LOG_LINE("UI widget is null  of %s: %s: %s: ");
        return;
    }
    m_pInputExtendDlg->setWindowTitle(QString::fromLatin1(""));
    m_pBtnOk->setText(tr(QString::fromLatin1("IDS_STK_BTN_OK")));
    m_pBtnCancel->setText(tr(QString::fromLatin1("IDS_STK_BTN_CANCEL")));
    STK_LOG_END();
}

QString STKInputDlg::tr(QString key) const
{
    return Change::tr(key, QString::fromLatin1("STKPlugin"));
}

void STKInputDlg::setStkInputUiLayout()
{
    STK_LOG_START();
    QVBoxLayout *pVertical = new QVBoxLayout;
    QHBoxLayout *pButtonRow = new QHBoxLayout;
    if (!pVertical || !pButtonRow) {
        STK_LOG_LINE("Memory allocation failed %s: %s: %s: ");
        return;
    }
    pVertical->addWidget(m_pLabelText);
    pVertical->addWidget(m_pLineEditInput);
    pVertical->insertSpacing(1, GAP);

    pButtonRow->addWidget(m_pBtnOk);
    pButtonRow->addWidget(m_pBtnCancel);
    pButtonRow->setAlignment(Qt::AlignRight);
    pButtonRow->setSpacing(GAP);
    pVertical->addLayout(pButtonRow);
    if (m_pMainWidget)
        m_pMainWidget->setLayout(pVertical);
    STK_LOG_END();
}

void STKInputDlg::setStkInputObjectName()
{
    STK_LOG_START();
    if (!m_pInputExtendDlg || !m_pMainWidget || !m_pBtnOk || !m_pBtnCancel || !m_pLabelText || !m_pLineEditInput) {
        STK_LOG_LINE("Memory is null  %s: %s: %s: ");
        return;
    }
    // The blank in the first four is deliberate: style sheets of hosts name them so.
    m_pInputExtendDlg->setObjectName(QLatin1String("STKPlugin _StkInputDlg"));
    m_pMainWidget->setObjectName(QLatin1String("STKPlugin _StkInputWidget"));
    m_pBtnOk->setObjectName(QLatin1String("STKPlugin _PushBtnOk"));
    m_pBtnCancel->setObjectName(QLatin1String("STKPlugin _PushBtnCancel"));
    m_pLabelText->setObjectName(QLatin1String("STKPlugin_LabelText"));
    m_pLineEditInput->setObjectName(QLatin1String("STKPlugin_LineEditInput"));
    STK_LOG_END();
}

void STKInputDlg::setInitSetting()
{
    STK_LOG_START();
    if (!m_pLabelText || !m_pLineEditInput || !m_pBtnOk) {
        STK_LOG("Arg is NULL: %s: %s: %s", StkLog::now().constData(), STK_LOG_PATH, __func__);
        return;
    }
    m_pLabelText->setTextFormat(Qt::PlainText); // card text is data, never markup
    m_pLabelText->setText(m_stInKeyRequest.strPrompt);
    m_pLineEditInput->setAccessibleName(m_stInKeyRequest.strPrompt); // what screen readers say of the field
    m_pLineEditInput->setMaxLength(m_stInKeyRequest.nMaxLen);
    m_pLineEditInput->activateWindow();
    m_pLineEditInput->setEchoMode(m_stInKeyRequest.nEcho ? QLineEdit::Normal : QLineEdit::Password);
    if (m_stInKeyRequest.nInputType == INPUT_TYPE_DIGITS)
        m_pLineEditInput->setValidator(
            new QRegExpValidator(QRegExp(QLatin1String("[0-9*+#]*"), Qt::CaseSensitive, QRegExp::RegExp), this));
    else
        m_pLineEditInput->setValidator(0);
    m_pLineEditInput->setText(m_stInKeyRequest.strDefaultText);
    m_pBtnOk->setEnabled(false);
    STK_LOG_END();
}

void STKInputDlg::AssignNULL()
{
    STK_LOG_START();
    m_pInputExtendDlg = 0;
    m_pMainWidget = 0;
    m_pBtnOk = 0;
    m_pBtnCancel = 0;
    m_pLabelText = 0;
    m_pLineEditInput = 0;
    m_pInputTimer = 0;
    STK_LOG_END();
}

// ---------------------------------------------------------------- STKInputDlg: the answer

void STKInputDlg::onTextEdited(QString strText)
{
    STK_LOG_START();
    if (!m_pBtnOk) {
        STK_LOG_LINE("Memory is null %s: %s: %s: ");
        return;
    }
    m_pBtnOk->setEnabled(strText.length() >= m_stInKeyRequest.nMinLen);
    STK_LOG_END();
}

bool STKInputDlg::sendAnswer(const QString &strAction, const QString &strAnswer)
{
    if (m_nRequestType == STK_UI_STKTYPE_GET_INKEY)
        return m_pStkLogic->CallStkAnswerInKey(strAction, strAnswer);
    return m_pStkLogic->CallStkAnswerInput(strAction, strAnswer);
}

void STKInputDlg::onButtonClickOk()
{
    STK_LOG_START();
    SetBtnClicked(true);
    if (!m_pStkLogic || !m_pLineEditInput || !m_pInputExtendDlg) {
        STK_LOG_LINE("Logic Instance/Widget is NULL %s: %s: %s: ");
        return;
    }
    const QPointer<STKInputDlg> self(this);
    const bool bAccepted = sendAnswer(TYPE_OK, m_pLineEditInput->text());
    if (!self)
        return;
    m_nLastError = bAccepted ? ERROR_NONE : ERROR_REFUSED;
    if (m_pInputExtendDlg) {
        if (bAccepted)
            m_pInputExtendDlg->close();
        else
            showRefused();
    }
    STK_LOG_END();
}

/// The card did not take the answer: the frame stays for another try.
void STKInputDlg::showRefused()
{
    const QPointer<ExtendLineEdit> pField(m_pLineEditInput);
    // One after the other: among the arguments the compiler would choose the order.
    const QString strTitle = tr(QString::fromLatin1("IDS_STK_MSG_PROMPT"));
    const QString strText = tr(QString::fromLatin1("IDS_STK_MSG_INPUTFAILED"));
    CommonUtils::ShowMessage(QMessageBox::Information, m_pInputExtendDlg, strTitle, strText,
                             QString::fromLatin1("IDS_OK"), QString(), QString(), true, Qt::WindowCloseButtonHint, 0,
                             QString::fromLatin1(""), true);
    // From the OK button, which an empty field disables, the focus would move to Cancel, and Return with it.
    if (pField)
        pField->setFocus(Qt::OtherFocusReason);
}

void STKInputDlg::onButtonClickCancel()
{
    STK_LOG_START();
    SetBtnClicked(true);
    if (!m_pStkLogic || !m_pInputExtendDlg) {
        STK_LOG_LINE("Logic Instance/ widget is NULL %s: %s: %s: ");
        return;
    }
    const QPointer<STKInputDlg> self(this);
    const bool bAccepted = sendAnswer(TYPE_CANCEL, QString::fromLatin1(""));
    if (!self)
        return;
    m_nLastError = bAccepted ? ERROR_NONE : ERROR_REFUSED;
    if (m_pInputExtendDlg)
        m_pInputExtendDlg->close();
    STK_LOG_END();
}

void STKInputDlg::onTimerTimeOut()
{
    STK_LOG_START();
    if (m_pInputTimer) {
        m_pInputTimer->stop();
        onButtonClickCancel();
    }
    STK_LOG_END();
}

void STKInputDlg::CloseDlg()
{
    STK_LOG_START();
    onButtonClickCancel();
    STK_LOG_END();
}
