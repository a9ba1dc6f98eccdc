#ifndef STKDIALOG_H
#define STKDIALOG_H

#include "STKLogic.h"

#include "core/ExtendDialog.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <QDialog>
#include <QPushButton>
#include <QTableWidget>

class STKDialog;
class STKInputDlg;
class STKThread;
class WsSound;

QT_BEGIN_NAMESPACE
class QTimer;
QT_END_NAMESPACE

/// The list of the window: one column, one row for each menu item. Refuses keys and clicks while the window waits for
/// the card, turns Return or Enter on a selected row into a Select, and drops the choice on a click below the rows.
class STKTableWidget : public QTableWidget
{
    Q_OBJECT

public:
    explicit STKTableWidget(QWidget *parent);

    /// Makes `dialog` known, which stays its own owner.
    void Instantiate(STKDialog *dialog);

protected:
    virtual void keyPressEvent(QKeyEvent *event);
    virtual void mousePressEvent(QMouseEvent *event);
    virtual void mouseReleaseEvent(QMouseEvent *event);

    QPointer<STKDialog> m_pStkDialog;

private:
    Q_DISABLE_COPY(STKTableWidget)
};

/// The visible frame of the window. Deliberately without a meta-object of its own.
class STKExtendDlg : public ExtendDialog
{
public:
    STKExtendDlg(QWidget *parent, Qt::WindowFlags flags, int widgetType);

    /// Makes `dialog` known, which stays its own owner.
    void Instantiate(STKDialog *dialog);

    /// Escape: closes like the Close button. The base's reject() is deliberately not called.
    virtual void reject();

protected:
    /// Refuses while the window waits for the card; performs Select after Return or Enter on a selected row.
    virtual void closeEvent(QCloseEvent *event);

    QPointer<STKDialog> m_pStkDialog;

private:
    Q_DISABLE_COPY(STKExtendDlg)
};

/// Controller of the SIM Toolkit window: builds and steers the frame with its table and buttons, and answers every
/// proactive command.
///
/// One instance for the process, on the user-interface thread, from the plug-in's construction to its destruction; the
/// frame lives from ShowStkDlg() until it is closed and belongs to its parent window.
class STKDialog : public QObject
{
    Q_OBJECT

public:
    virtual ~STKDialog();

    /// The instance, made on the first call: registers the callbacks and connects every signal of STKLogic.
    static STKDialog *Instance();

    /// Deletes the instance; harmless when there is none. An open frame stays, without function.
    static void Destroy();

    /// Builds the frame and its content. False when something could not be made.
    bool initUI(QWidget *parent);

    /// Builds and shows a fresh window over `parent`, also while one is open. `rect` is not used. True when it was
    /// built.
    bool ShowStkDlg(QWidget *parent, QRect &rect);

    void setStkUiLayout();
    void setStkObjectName();

    /// Gives the three buttons their texts in the host's present language.
    void SetStkUiText();

    /// The host's translation of `key` in the plug-in's group. Give it a QString: a literal would choose
    /// QObject::tr(const char *), which does not translate.
    QString tr(QString key) const;

    /// Withdraws the callbacks from the device-service library.
    void unSDKRegisterEvent();

    void showMainMenu();
    void showSubMenu();

    /// Deletes the table's items; the row count stays. False when there is no table.
    bool deleteTableItems();

    /// Sends the choice of `item` of the sub-menu. The spelling of the name is deliberate.
    void subMenuSeleted(QTableWidgetItem *item);

    /// Starts the wait for the card's next command, with a wait cursor; below 1 second nothing starts. Always 0.
    int stkWaitforRespond(int nSeconds);

    /// Shows `strText` in a modal box with OK and Cancel and returns when it has closed: `QMessageBox::Ok`,
    /// `QMessageBox::Cancel`, or `QMessageBox::NoButton` when a later text took the frame over, which then has the say.
    int showTimeMessageBox(QString strText);

    /// Replaces the tone player by a new one for `strFile` and starts it.
    void playTone(QString strFile);

    /// Stops and deletes a player that is playing.
    void stopTone();

public slots:
    void onButtonClickClose();
    void onButtonClickBack();
    void onButtonClickSelect();
    void onCellDoubleClicked(int iRow, int iColumn);
    void onSTKTimeOut();
    void onSTKPlayToneTimeOut();
    void onPlayingFinished();
    /// The spelling of the parameter is deliberate: hosts read it from the meta-object.
    void onDeviceAvailable(bool isAvaialable);
    void onSTKSetupMenu();
    void onSTKDisplayText();
    void onSTKGetInkey();
    void onSTKGetInput();
    void onSTKSetupCall();
    void onSTKPlayTone();
    void onSTKSelItem();
    void onSTKRefresh();
    void onSTKSendSS();
    void onSTKSendSMS();
    void onSTKSendUSSD();
    void onSTKLaunchBrowser();
    void onSTKSetupIdleModeText();
    void onSTKEndSession();
    void onShowMainMenu();
    void onChangeCursor();
    void onCloseInputDlg();
    void onMessageTimeOut();

protected:
    friend class STKTableWidget;
    friend class STKExtendDlg;

    STKDialog();

    static STKDialog *m_pStkDialogInstance;
    static WsSound *m_pWsSoundSTK; ///< the tone player, null when there is none
    /// The host's box of a yes/no question. Static, since the host puts null here when the box closes, which may be
    /// after this object's end.
    static QDialog *m_pMsgDialog;

    // Widgets are guarded: their parents delete them.
    STKThread *m_pStkThread;
    QPointer<STKTableWidget> m_pTableWidget;
    QPointer<QPushButton> m_pBtnBack;
    bool m_bEnterPressed;   ///< Return or Enter was pressed on a selected row: the next close becomes a Select
    QString m_strMenuState; ///< "STK_UNKNOWN", "STK_MAINMENU" or "STK_SUBMENU"
    QPointer<ExtendDialog> m_pMsgBoxDlg;
    STKLogic *m_pStkLogic;
    QPointer<STKExtendDlg> m_pExtendDlg;
    QPointer<QWidget> m_pMainWidget;
    QPointer<QPushButton> m_pBtnSelect;
    QPointer<QPushButton> m_pBtnClose;
    QString m_strTitle; ///< the last title of the main menu
    StkMenuItems m_stMainMenu;
    StkMenuItems m_stSubMenu;
    QTimer *m_pStkTimer;
    STKInputDlg *m_pStkInputDlg;
    QString m_strTimerType; ///< what m_pStkTimer is armed for: "STK_DEVICE_TIMER", "STK_MSGBOX_TIMER" or nothing
    QTimer *m_pToneTimer;
    QTimer *m_pMsgTimer; ///< one tick a second while a text counts down
    int m_nMsgTimeOut;   ///< seconds that a text is displayed
    QPointer<QPushButton> m_pMsgBtnOk;
    QPointer<QPushButton> m_pMsgBtnCancel;
    int m_nMsgTick;
    int m_nMsgRemain;

private:
    Q_DISABLE_COPY(STKDialog)

    void connectLogic();
    void connectWidgets();
    void createWidgets(QWidget *parent);
    bool areWidgetsCreated() const;
    void setUpTable();
    void fillTable(const StkMenuItems &menu);
    void readAndShowMainMenu();
    void answerSubMenu(const QString &strAction, int nItemId);
    void waitOrShowMainMenu(bool bSent);
    void forgetWidgets();
    void closeInputDlg();
    void resetCountDown();
    bool isWaiting() const;
    bool deferDialog(const char *pSlot);
    void leaveDialog();
    void createMsgTimer();
    void startCountDown(int nSeconds);
    void answerDisplayText(int nOutcome);
    bool acknowledge(const char *pFunction);
    void answerDone(_STK_UI_EN_STKTYPE enType, const char *pFunction);
    void deletePlayer();
    QWidget *parentOfQuestions() const;
    int replaceQuestion();
    void askInDialog(QWidget *pParent, int nQuestion);
    void askYesNo(QWidget *pParent, const StkInKeyRequest &request);
    void answerYesNo(bool bYes);

    int m_nText;             ///< counts the texts that were shown: only the last one is answered
    int m_nQuestion;         ///< counts the questions of GET INPUT and GET INKEY: a later one has the say
    int m_nDialogs;          ///< texts and questions that are open or have yet to return
    const char *m_pDeferred; ///< the slot of a command that waits for them to return, null for none
};

#endif // STKDIALOG_H
