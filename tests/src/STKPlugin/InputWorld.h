#ifndef TESTS_INPUTWORLD_H
#define TESTS_INPUTWORLD_H

#include "DialogWorld.h"

/// The protected members of the input dialog's classes.
struct InputPeek : STKInputDlg {
    using STKInputDlg::AssignNULL;
    using STKInputDlg::initUI;
    using STKInputDlg::m_bBtnClicked;
    using STKInputDlg::m_nLastError;
    using STKInputDlg::m_nRequestType;
    using STKInputDlg::m_pBtnCancel;
    using STKInputDlg::m_pBtnOk;
    using STKInputDlg::m_pInputExtendDlg;
    using STKInputDlg::m_pInputTimer;
    using STKInputDlg::m_pLabelText;
    using STKInputDlg::m_pLineEditInput;
    using STKInputDlg::m_pMainWidget;
    using STKInputDlg::m_pStkInputDlgInstance;
    using STKInputDlg::m_pStkLogic;
    using STKInputDlg::m_stInKeyRequest;
    using STKInputDlg::setInitSetting;
    using STKInputDlg::setStkInputObjectName;
    using STKInputDlg::setStkInputUiLayout;
    using STKInputDlg::SetStkInputUiText;
    using STKInputDlg::tr;
};

struct InputFramePeek : STKInputExtendDlg {
    using STKInputExtendDlg::closeEvent;
    using STKInputExtendDlg::m_pStkInputDlg;
};

/// The input dialog on doubles of both of the host's libraries, without the window.
class InputWorld
{
public:
    InputWorld();
    ~InputWorld();

    /// Ends everything and tells what was left behind or went wrong; `cleanup()` compares it with an empty list.
    QStringList end();

    void forget();

    template <class Member>
    Member &at(Member STKInputDlg::*member) const
    {
        return dialog->*member;
    }

    STKInputExtendDlg *frame() const { return at(&InputPeek::m_pInputExtendDlg); }
    QPushButton *ok() const { return at(&InputPeek::m_pBtnOk); }
    QPushButton *cancel() const { return at(&InputPeek::m_pBtnCancel); }
    ExtendLineEdit *field() const { return at(&InputPeek::m_pLineEditInput); }
    QLabel *label() const { return at(&InputPeek::m_pLabelText); }
    QTimer *timer() const { return at(&InputPeek::m_pInputTimer); }

    /// The names of the widget and timer members that are set now.
    QStringList setPointers() const;

    /// Shows the stored request and runs the acts in turn, one in each modal window that appears; returns when the
    /// dialog has closed. False when not every act ran, or the dialog did not close by itself.
    bool show(const QList<std::function<void()>> &acts);
    bool show(std::function<void()> act) { return show(QList<std::function<void()>>{act}); }

    /// What reached the library as answers, as "AnswerInput(0, 1, "x")".
    QStringList answers() const;

    support::SdkDouble sdk;
    support::CoreDouble core;
    support::LogCapture log;
    QPointer<QWidget> host;
    STKInputDlg *dialog;
};

/// A GET INPUT for any text of up to 20 characters.
StkInKeyRequest inputRequest();

#endif // TESTS_INPUTWORLD_H
