#include "InputWorld.h"

#include "support/ModalDriver.h"
#include "support/World.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

InputWorld::InputWorld() : host(new QWidget), dialog(nullptr)
{
    host->resize(640, 480);
    host->show();
    dialog = STKInputDlg::StkInputDlgInstance();
}

InputWorld::~InputWorld()
{
    end();
}

QStringList InputWorld::end()
{
    STKInputDlg::DestroyInstance();
    STKLogic::DestroyInst();
    dialog = nullptr;
    delete host;
    QStringList problems = support::leftovers();
    problems << sdk.faults();
    for (const QString &warning : log.warnings()) {
        if (!warning.startsWith("QXcbConnection: XCB error")) // see DialogWorld::end()
            problems << warning;
    }
    if (QWidget::keyboardGrabber())
        problems << "the keyboard is still grabbed";
    log.clear();
    return problems;
}

void InputWorld::forget()
{
    log.clear();
    support::journal::clear();
}

QStringList InputWorld::setPointers() const
{
    const QList<QPair<const char *, const QObject *>> members = {
        {"m_pInputExtendDlg", at(&InputPeek::m_pInputExtendDlg)},
        {"m_pMainWidget", at(&InputPeek::m_pMainWidget)},
        {"m_pBtnOk", at(&InputPeek::m_pBtnOk)},
        {"m_pBtnCancel", at(&InputPeek::m_pBtnCancel)},
        {"m_pLabelText", at(&InputPeek::m_pLabelText)},
        {"m_pLineEditInput", at(&InputPeek::m_pLineEditInput)},
        {"m_pInputTimer", at(&InputPeek::m_pInputTimer)},
    };
    QStringList names;
    for (const auto &member : members) {
        if (member.second)
            names << member.first;
    }
    return names;
}

bool InputWorld::show(const QList<std::function<void()>> &acts)
{
    support::ModalDriver driver;
    for (const std::function<void()> &act : acts)
        driver.on("ExtendDialog", [act](QWidget *) { act(); });
    dialog->ShowStkInputDlg(host);
    return driver.isDone();
}

QStringList InputWorld::answers() const
{
    return support::journal::lines("MDSV_STKSrv_Answer").replaceInStrings("MDSV_STKSrv_", "");
}

StkInKeyRequest inputRequest()
{
    const StkInKeyRequest request = {"Your name?", 0, 0, 0, 1, 1, 20, ""};
    return request;
}
