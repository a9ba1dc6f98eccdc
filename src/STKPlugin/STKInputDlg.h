#ifndef STKINPUTDLG_H
#define STKINPUTDLG_H

#include "STKLogic.h"

#include "core/ExtendDialog.h"
#include "core/ExtendLineEdit.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <QLabel>
#include <QPushButton>

class STKInputDlg;

QT_BEGIN_NAMESPACE
class QTimer;
QT_END_NAMESPACE

/// The visible frame of the input dialog. Deliberately without a meta-object of its own.
class STKInputExtendDlg : public ExtendDialog
{
public:
    STKInputExtendDlg(QWidget *parent, Qt::WindowFlags flags, int widgetType);
    virtual ~STKInputExtendDlg();

    /// Makes `dialog` known, which stays its own owner.
    void Instantiate(STKInputDlg *dialog);

    /// Escape: answers Cancel and closes. The base's reject() is deliberately not called.
    virtual void reject();

protected:
    /// A close that none of the dialog's handlers started answers Cancel.
    virtual void closeEvent(QCloseEvent *event);

    QPointer<STKInputDlg> m_pStkInputDlg;

private:
    Q_DISABLE_COPY(STKInputExtendDlg)
};

/// The modal dialog in which the user answers GET INPUT (a text of bounded length) or GET INKEY (one character). It
/// sends the answer itself, through STKLogic.
///
/// One instance for the process, on the user-interface thread; the frame is made afresh for every request and deleted
/// when it closes. For one request: SetInputRequest() or SetInKeyRequest(), ShowStkInputDlg(), GetLastError().
class STKInputDlg : public QObject
{
    Q_OBJECT

public:
    virtual ~STKInputDlg();

    /// The instance, made on the first call.
    static STKInputDlg *StkInputDlgInstance();

    /// Deletes the instance; harmless when there is none.
    static void DestroyInstance();

    /// The next request is a GET INPUT with all that `stRequest` says.
    void SetInputRequest(StkInKeyRequest stRequest);

    /// The next request is a GET INKEY: one visible character. Deliberately keeps the default text of the last
    /// GET INPUT.
    void SetInKeyRequest(StkInKeyRequest stRequest);

    /// Shows the request over `parent` and returns when its frame has closed.
    void ShowStkInputDlg(QWidget *parent);

    /// 0 when the card took the last answer, -1 otherwise. A new request does not reset it.
    int GetLastError();

    /// Whether a frame is up.
    bool IsDialogCreated();

    /// Answers Cancel and closes the frame.
    void CloseDlg();

    /// Takes the frame off the screen without an answer. Harmless when none is up.
    void DropRequest();

    /// Whether an OK or Cancel handler has run since the frame's close last asked. Deliberately not reset by a new
    /// request.
    void SetBtnClicked(bool bClicked);
    bool GetBtnClicked();

protected:
    friend class STKInputExtendDlg;

    STKInputDlg();

    static STKInputDlg *m_pStkInputDlgInstance;

    // Widgets are guarded: the frame and its parent delete them.
    QPointer<STKInputExtendDlg> m_pInputExtendDlg;
    STKLogic *m_pStkLogic;
    QPointer<QWidget> m_pMainWidget;
    QPointer<QPushButton> m_pBtnOk;
    QPointer<QPushButton> m_pBtnCancel;
    QPointer<QLabel> m_pLabelText;
    QPointer<ExtendLineEdit> m_pLineEditInput;
    QTimer *m_pInputTimer; ///< a child of this object, a new one for every request
    StkInKeyRequest m_stInKeyRequest;
    int m_nLastError;
    int m_nRequestType; ///< an _STK_UI_EN_STKTYPE: GET INPUT or GET INKEY
    bool m_bBtnClicked;

    bool initUI(QWidget *parent);
    void SetStkInputUiText();
    void setStkInputUiLayout();
    void setStkInputObjectName();
    void setInitSetting();
    void AssignNULL();

    /// The host's translation of `key` in the plug-in's group. Give it a QString: a literal would choose
    /// QObject::tr(const char *), which does not translate.
    QString tr(QString key) const;

private slots:
    void onButtonClickOk();
    void onButtonClickCancel();
    void onTextEdited(QString strText);
    void onTimerTimeOut();

private:
    Q_DISABLE_COPY(STKInputDlg)

    void createWidgets(QWidget *parent);
    void connectWidgets();
    bool sendAnswer(const QString &strAction, const QString &strAnswer);
    void showRefused();
};

#endif // STKINPUTDLG_H
