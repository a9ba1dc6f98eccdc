#ifndef TESTS_DIALOGWORLD_H
#define TESTS_DIALOGWORLD_H

#include "support/CoreDouble.h"
#include "support/LogCapture.h"
#include "support/Peek.h"
#include "support/SdkDouble.h"

#include "STKPlugin/STKDialog.h"
#include "STKPlugin/STKInputDlg.h"
#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKThread.h"

#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

/// The protected members of the window's classes.
struct DialogPeek : STKDialog {
    using STKDialog::m_bEnterPressed;
    using STKDialog::m_nMsgRemain;
    using STKDialog::m_nMsgTick;
    using STKDialog::m_nMsgTimeOut;
    using STKDialog::m_pBtnBack;
    using STKDialog::m_pBtnClose;
    using STKDialog::m_pBtnSelect;
    using STKDialog::m_pExtendDlg;
    using STKDialog::m_pMainWidget;
    using STKDialog::m_pMsgBoxDlg;
    using STKDialog::m_pMsgBtnCancel;
    using STKDialog::m_pMsgBtnOk;
    using STKDialog::m_pMsgDialog;
    using STKDialog::m_pMsgTimer;
    using STKDialog::m_pStkDialogInstance;
    using STKDialog::m_pStkInputDlg;
    using STKDialog::m_pStkLogic;
    using STKDialog::m_pStkThread;
    using STKDialog::m_pStkTimer;
    using STKDialog::m_pTableWidget;
    using STKDialog::m_pToneTimer;
    using STKDialog::m_pWsSoundSTK;
    using STKDialog::m_stMainMenu;
    using STKDialog::m_strMenuState;
    using STKDialog::m_strTimerType;
    using STKDialog::m_strTitle;
    using STKDialog::m_stSubMenu;
};

struct LogicPeek : STKLogic {
    using QObject::receivers;
    using STKLogic::m_bRet;
    using STKLogic::m_pStkLogicInst;
};

struct ThreadPeek : STKThread {
    using QObject::receivers;
    using STKThread::m_bStop;
    using STKThread::m_nTimeOut;
};

/// The STK window on doubles of both of the host's libraries, over a host window that is shown. The card's main menu
/// is "Operator" with Balance (1), News (2) and Help (7), its sub-menu "News" with Sport (11) and Weather (12).
class DialogWorld
{
public:
    DialogWorld();
    ~DialogWorld();

    /// Ends everything in the host's order and tells what was left behind or went wrong; `cleanup()` compares it with
    /// an empty list.
    QStringList end();

    /// Shows the window over the host's; true when ShowStkDlg said so and the frame is on the screen.
    bool show();

    /// Makes everything that was recorded so far forgotten.
    void forget();

    template <class Member>
    Member &at(Member STKDialog::*member) const
    {
        return dialog->*member;
    }

    /// The same for a static member.
    template <class Member>
    Member &at(Member *member) const
    {
        return *member;
    }

    STKExtendDlg *frame() const { return at(&DialogPeek::m_pExtendDlg); }
    STKTableWidget *table() const { return at(&DialogPeek::m_pTableWidget); }
    QPushButton *back() const { return at(&DialogPeek::m_pBtnBack); }
    QPushButton *select() const { return at(&DialogPeek::m_pBtnSelect); }
    QPushButton *close() const { return at(&DialogPeek::m_pBtnClose); }
    STKThread *thread() const { return at(&DialogPeek::m_pStkThread); }
    QString menuState() const { return at(&DialogPeek::m_strMenuState); }

    /// The texts of the table's rows.
    QStringList rows() const;

    /// The names of the widget and timer members that are set now.
    QStringList setPointers() const;

    bool isWaiting() const { return thread() && thread()->isRunning(); }

    /// Starts a wait as after a choice.
    void startWait(int seconds = 20);

    /// The card's next command has come: the wait ends, and its signal is delivered. False when it does not end.
    bool endWait();

    /// A callback on a thread of the library's own; its signals are delivered before this returns.
    void raiseElsewhere(int type, int cmdId, int timeOut = 0);

    support::SdkDouble sdk;
    support::CoreDouble core;
    support::LogCapture log;
    QPointer<QWidget> host;
    STKDialog *dialog;
    STKLogic *logic;

private:
    QPointer<STKThread> m_thread;
};

/// What the log holds, times replaced by "<time>".
namespace logged
{
QString start(const char *function, const char *unit = "STKDialog");
QString end(const char *function, const char *unit = "STKDialog");

/// The lines of one function of a unit.
QStringList linesOf(const support::LogCapture &log, const char *function, const char *unit = "STKDialog");

/// The functions of a unit that began, in order; all units with null, then as "STKDialog::initUI".
QStringList started(const support::LogCapture &log, const char *unit = "STKDialog");
} // namespace logged

/// Takes all override cursors away and gives their shapes, the one pushed first at the front.
QList<int> takeCursors();

#endif // TESTS_DIALOGWORLD_H
