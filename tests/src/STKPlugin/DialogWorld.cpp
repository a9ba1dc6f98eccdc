#include "DialogWorld.h"

#include "support/World.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

using support::journal::clear;

DialogWorld::DialogWorld() : host(new QWidget), dialog(nullptr), logic(nullptr)
{
    support::keepClearOfMinuteEnd();
    sdk.setMainMenu("Operator", {{1, "Balance"}, {2, "News"}, {7, "Help"}});
    sdk.setSubMenu("News", {{11, "Sport"}, {12, "Weather"}});
    core.setMainWindow(host);
    host->setObjectName("HostWindow");
    host->resize(640, 480);
    host->show();
    dialog = STKDialog::Instance();
    logic = STKLogic::CreateInstance();
    m_thread = thread();
}

DialogWorld::~DialogWorld()
{
    end();
}

QStringList DialogWorld::end()
{
    if (DialogPeek::m_pStkDialogInstance) {
        if (m_thread && m_thread->isRunning())
            m_thread->RequestStop();
        if (logic)
            dialog->unSDKRegisterEvent();
        STKDialog::Destroy();
    }
    dialog = nullptr;
    logic = nullptr;
    if (m_thread)
        m_thread->wait();
    delete m_thread; // the window leaves a thread that is not running undeleted
    delete host;
    QStringList problems = support::leftovers();
    problems << sdk.faults();
    for (const QString &warning : log.warnings()) {
        // Qt asks the X server about a window that has gone meanwhile: nobody's fault, and harmless.
        if (!warning.startsWith("QXcbConnection: XCB error"))
            problems << warning;
    }
    log.clear();
    return problems;
}

bool DialogWorld::show()
{
    QRect rect(1, 2, 3, 4);
    return dialog->ShowStkDlg(host, rect) && QTest::qWaitForWindowExposed(frame());
}

void DialogWorld::forget()
{
    log.clear();
    clear();
    takeCursors();
}

QStringList DialogWorld::rows() const
{
    QStringList texts;
    for (int i = 0; table() && i < table()->rowCount(); ++i)
        texts << (table()->item(i, 0) ? table()->item(i, 0)->text() : "(no item)");
    return texts;
}

QStringList DialogWorld::setPointers() const
{
    const QList<QPair<const char *, const QObject *>> members = {
        {"m_pTableWidget", at(&DialogPeek::m_pTableWidget)}, {"m_pBtnBack", at(&DialogPeek::m_pBtnBack)},
        {"m_pExtendDlg", at(&DialogPeek::m_pExtendDlg)},     {"m_pMainWidget", at(&DialogPeek::m_pMainWidget)},
        {"m_pBtnSelect", at(&DialogPeek::m_pBtnSelect)},     {"m_pBtnClose", at(&DialogPeek::m_pBtnClose)},
        {"m_pStkTimer", at(&DialogPeek::m_pStkTimer)},       {"m_pToneTimer", at(&DialogPeek::m_pToneTimer)},
    };
    QStringList names;
    for (const auto &member : members) {
        if (member.second)
            names << member.first;
    }
    return names;
}

void DialogWorld::startWait(int seconds)
{
    dialog->stkWaitforRespond(seconds);
}

bool DialogWorld::endWait()
{
    logic->SetResponseVar(true);
    const bool ended = thread()->wait(5000);
    QCoreApplication::sendPostedEvents(dialog, QEvent::MetaCall);
    return ended;
}

void DialogWorld::raiseElsewhere(int type, int cmdId, int timeOut)
{
    sdk.raiseStk(type, cmdId, timeOut, support::SdkDouble::Elsewhere);
    QCoreApplication::sendPostedEvents(dialog, QEvent::MetaCall);
}

namespace logged
{

namespace
{
QString line(const char *format, const char *function, const char *unit)
{
    return QString(format).arg(unit, function);
}
} // namespace

QString start(const char *function, const char *unit)
{
    return line("Start of ../../src/STKPlugin/%1: %2: <time>: ", function, unit);
}

QString end(const char *function, const char *unit)
{
    return line("End of ../../src/STKPlugin/%1: %2: <time>: ", function, unit);
}

QStringList linesOf(const support::LogCapture &log, const char *function, const char *unit)
{
    const QRegularExpression place(QString("STKPlugin/%1:? ?:? %2\\b").arg(unit, function));
    return log.debug().filter(place);
}

QStringList started(const support::LogCapture &log, const char *unit)
{
    const QRegularExpression place("^Start of \\.\\./\\.\\./src/STKPlugin/(\\w+): (~?\\w+): ");
    QStringList functions;
    for (const QString &text : log.debug()) {
        const QRegularExpressionMatch match = place.match(text);
        if (!match.hasMatch())
            continue;
        if (!unit)
            functions << match.captured(1) + "::" + match.captured(2);
        else if (match.captured(1) == QLatin1String(unit))
            functions << match.captured(2);
    }
    return functions;
}

} // namespace logged

QList<int> takeCursors()
{
    QList<int> shapes;
    while (QApplication::overrideCursor()) {
        shapes.prepend(int(QApplication::overrideCursor()->shape()));
        QApplication::restoreOverrideCursor();
    }
    return shapes;
}
