#ifndef STKLOGIC_H
#define STKLOGIC_H

#include "sdk/MDSVStk.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <atomic>

/// One menu item as the user interface holds it.
struct StkItemClass {
    int nItemId;         ///< the card's identifier, widened with its sign
    QString strItemText; ///< as the card gives it
};

/// A menu. Whoever owns the record owns the list; STKLogic clears and fills the list, but never makes or frees it.
struct StkMenuItems {
    QString strTitle;
    QList<StkItemClass> *pItemList;
};

/// Data of GET INPUT or GET INKEY.
struct StkInKeyRequest {
    QString strPrompt;
    int nInputType; ///< 0 to 3; 1 a yes/no question, 2 digits only
    int nOption;    ///< 0 or 1
    int nDuration;  ///< GET INKEY only: the time-out value as the card gives it, 0 for none
    int nEcho;      ///< 1 shows the typed characters, 0 hides them
    int nMinLen;    ///< in UTF-16 units
    int nMaxLen;
    QString strDefaultText;
};

/// Data of PLAY TONE.
struct MDSVPlayToneRequest {
    int nTone;     ///< tone number (ETSI TS 102 223 clause 8.16)
    int nDuration; ///< seconds
    QString strText;
};

/// Data of LAUNCH BROWSER.
struct MDSVLaunchBrowser {
    int nMode; ///< 0, 2 or 3 (ETSI TS 102 223 clause 8.6)
    QString strUrl;
};

/// The only class that talks to the device-service library: it turns each event into one signal, wraps every request,
/// and keeps what the user interface and the callback thread tell each other.
///
/// One instance for the process. The two callbacks run on whatever thread the library chooses; everything else is
/// called on the user-interface thread. Requests answer true exactly when the library returned 0; on failure they leave
/// their outputs untouched (a failed menu fetch leaves the menu empty). Output pointers must be valid.
class STKLogic : public QObject
{
    Q_OBJECT

public:
    virtual ~STKLogic();

    /// The instance, made on the first call.
    static STKLogic *CreateInstance();

    /// Deletes the instance; harmless when there is none. The callbacks must have been withdrawn before.
    static void DestroyInst();

    /// Registers both callbacks with the library. A failure is only logged.
    void RegisterSTKCB();

    /// Withdraws both callbacks. The spelling of the name is deliberate.
    void UnresgisterSTKCB();

    /// Entry of STK events; `pNotifyData` points to the library's MDSVStkNotifyData or is null. Always 0.
    static int OnSTKEventCB(int nEvent, void *pNotifyData);

    /// Emits the signal of one command type; an unknown type emits nothing.
    void stkEventSwitchCase(_MDSV_EN_STKTYPE nType);

    /// Entry of device events. Always 1.
    static int OnDeviceEventCB(int nEvent, void *pData);

    /// The user interface's verdict on the command it was given: false makes the next event answer the card by itself.
    void UpdateCBReturnVal(bool bRet);

    /// Whether an STK event has arrived since the flag was last cleared. Any thread.
    bool GetResponseVar();
    void SetResponseVar(bool bRespondence);

    /// The menu of SET UP MENU.
    bool GetMainMenu(StkMenuItems *pMenu);

    /// The menu of the present SELECT ITEM.
    bool GetSubMenu(StkMenuItems *pMenu);

    /// Sends the user's choice from the main menu; the identifier goes out as its low 16 bits.
    bool SelectMainMenuItem(int nItemId);

    /// Answers SELECT ITEM. `strAction` is "SUBMENU_ACTION_SELECT_ITEM" or "SUBMENU_ACTION_RETURN_BACK_ITEM".
    bool SelectSubMenuItem(QString strAction, int nItemId);

    /// Data of GET INPUT. A value outside its range leaves the field as the caller set it.
    bool GetInputRequest(StkInKeyRequest *pRequest);

    /// Data of GET INKEY, in the same way. The spelling of the name is deliberate.
    bool GetInKeyRquest(StkInKeyRequest *pRequest);

    /// Answer GET INPUT and GET INKEY. `strAction` is "STK_TYPE_OK", or anything else for a cancel.
    bool CallStkAnswerInput(QString strAction, QString strAnswer);
    bool CallStkAnswerInKey(QString strAction, QString strAnswer);

    /// Data of DISPLAY TEXT. `*pClearMode` is "STK_CLR_MODE_AUTO" or empty; `*pDuration` is in seconds, 0 for the
    /// window's default.
    bool GetPromptText(QString *pText, QString *pClearMode, int *pDuration);

    bool GetPlayTone(MDSVPlayToneRequest *pRequest);
    bool GetLaunchBrowser(MDSVLaunchBrowser *pRequest);
    bool GetIdleModePrompt(QString *pText);

    /// Whether the library accepted the REFRESH; its data are not used.
    bool GetRefreshInfo();

    /// Sends a terminal response without data for the present command.
    bool SendNoDataResponse(_STK_UI_EN_STKTYPE enType, _STK_UI_EN_TERMINALRESPONSE enResult);

signals:
    /// The spelling of the parameter is deliberate: hosts read it from the meta-object.
    void DevAvailable(bool isAvaillable);
    void STKSetupMenu();
    void STKDisplayText();
    void STKGetInkey();
    void STKGetInput();
    void STKSetupCall();
    void STKPlayTone();
    void STKSelItem();
    void STKRefresh();
    void STKSendSS(); ///< connected by the window, but SEND SS arrives as STKSendSMS(): nothing emits this
    void STKSendSMS();
    void STKSendUSSD();
    void STKLaunchBrowser();
    void STKSetupIdleModeText();
    void STKEndSession();
    void ShowMainMenu();
    void CloseInputDlg();

protected:
    STKLogic();

    static STKLogic *m_pStkLogicInst;

    // Written and read by the callback thread, the user-interface thread and the waiter without a lock.
    std::atomic<qint16> m_sCmdId;     ///< of the most recent command
    std::atomic<bool> m_bRet;         ///< whether the user interface handled the last command it was given
    std::atomic<bool> m_bRespondence; ///< set by every STK event

private:
    Q_DISABLE_COPY(STKLogic)
};

#endif // STKLOGIC_H
