#include "SoakUser.h"

#include "SoakCard.h"

#include <QtCore/QVariant>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>

#include <utility>

namespace soak
{

namespace
{

const int INTERVAL_MS = 1;
const int PATIENCE_MS = 300; ///< until a choice is made again, and until a window that does not close is used on

template <typename Widget>
Widget *visible(const QWidget *window)
{
    for (Widget *widget : window->findChildren<Widget *>()) {
        if (widget->isVisible())
            return widget;
    }
    return nullptr;
}

QPushButton *button(const QWidget *window, const char *name)
{
    return window->findChild<QPushButton *>(name);
}

void click(QPushButton *button)
{
    if (button)
        QTest::mouseClick(button, Qt::LeftButton);
}

} // namespace

SoakUser::SoakUser(QWidget *host, const CardTraffic *traffic, std::function<void()> open)
    : m_host(host), m_traffic(traffic), m_open(std::move(open))
{
    connect(&m_timer, &QTimer::timeout, this, &SoakUser::tick);
}

void SoakUser::start(std::function<bool()> isWindowDue)
{
    m_isWindowDue = std::move(isWindowDue);
    m_choice.start();
    m_timer.start(INTERVAL_MS);
}

void SoakUser::stop()
{
    m_timer.stop();
    m_isOpen = m_isClosing = false;
}

QWidget *SoakUser::window() const
{
    for (QWidget *frame : m_host->findChildren<QWidget *>("STKPlugin_Stkdialog")) {
        if (frame->isVisible()) // one that has closed is deleted some time later
            return frame;
    }
    return nullptr;
}

bool SoakUser::isAtRest() const
{
    return m_traffic->isAtRest() &&
           (!QApplication::activeModalWidget() || QApplication::activeModalWidget() == window());
}

QString SoakUser::view() const
{
    QStringList seen;
    for (const QWidget *widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible())
            seen << QString("%1 '%2'").arg(widget->metaObject()->className(), widget->objectName());
    }
    const QWidget *modal = QApplication::activeModalWidget();
    const QTableWidget *table = window() ? window()->findChild<QTableWidget *>("STKPlugin_TableWidgetMenu") : nullptr;
    if (table)
        seen << QString("menu '%1' with %2 rows").arg(window()->windowTitle()).arg(table->rowCount());
    return QString("%1; modal: %2 '%3'; card %4 rest%5")
        .arg(seen.join(", "), modal ? modal->metaObject()->className() : "none", modal ? modal->objectName() : "",
             m_traffic->isAtRest() ? "at" : "not at", m_traffic->isMenuOpen() ? ", menu open" : "");
}

bool SoakUser::oneIn(int number)
{
    return std::uniform_int_distribution<>(1, number)(m_random) == 1;
}

/// A timer does not fire again inside its own slot: what may open a dialog is posted.
void SoakUser::tick()
{
    if (m_isActing)
        return;
    m_isActing = true;
    QMetaObject::invokeMethod(this, "act", Qt::QueuedConnection);
}

void SoakUser::act()
{
    m_isActing = false;
    if (!m_timer.isActive())
        return;
    QWidget *modal = QApplication::activeModalWidget();
    if (modal && modal != window()) {
        if (QMessageBox *box = visible<QMessageBox>(modal))
            answerBox(modal, box);
        else if (QLineEdit *field = visible<QLineEdit>(modal))
            answerInput(modal, field);
        return;
    }
    if (!window()) {
        m_windows += m_isOpen ? 1 : 0;
        m_isClosing = false;
        m_isOpen = true;
        m_open();
    } else if (m_traffic->isMenuOpen()) {
        answerMenu();
    } else if (m_traffic->isAtRest() && !isChoicePending()) {
        m_isClosing || m_isWindowDue() ? tryToClose() : choose();
    }
}

// ---------------------------------------------------------------- the dialogs

void SoakUser::answerBox(QWidget *frame, QMessageBox *box)
{
    if (oneIn(50))
        return click(button(frame, "ExtendDialog_BtnClose"));
    if (oneIn(50))
        return QTest::keyClick(frame, Qt::Key_Escape);
    const bool isYes = !oneIn(25);
    const QList<QAbstractButton *> buttons = box->buttons();
    for (QAbstractButton *candidate : buttons) {
        if ((box->buttonRole(candidate) == QMessageBox::YesRole) == isYes || buttons.size() == 1)
            return QTest::mouseClick(candidate, Qt::LeftButton);
    }
}

QString SoakUser::anAnswer()
{
    return oneIn(20) ? QString::fromUtf8("中") : QString("1234"); // the first is refused where only letters will do
}

void SoakUser::answerInput(QWidget *frame, QLineEdit *field)
{
    if (oneIn(50))
        return click(button(frame, "ExtendDialog_BtnClose"));
    if (oneIn(50))
        return QTest::keyClick(field, Qt::Key_Escape);
    field->selectAll();
    for (const QChar &character : anAnswer())
        QTest::sendKeyEvent(QTest::Click, field, Qt::Key_unknown, QString(character), Qt::NoModifier);
    QPushButton *ok = button(frame, "STKPlugin _PushBtnOk");
    click(ok && ok->isEnabled() && !oneIn(25) ? ok : button(frame, "STKPlugin _PushBtnCancel"));
}

// ---------------------------------------------------------------- the window

void SoakUser::answerMenu()
{
    QPushButton *back = button(window(), "STKPlugin_PushBtnBack");
    const bool isNews = std::exchange(m_apdusAtLook, m_traffic->apdus()) != m_traffic->apdus();
    if (isNews || !back || !back->isEnabled())
        return; // what is seen may still be the menu of before
    if (oneIn(50))
        return click(back);
    choose();
}

/// A choice goes to the card some time later.
bool SoakUser::isChoicePending() const
{
    return m_apdusAtChoice == m_traffic->apdus() && m_choice.elapsed() < PATIENCE_MS;
}

void SoakUser::choose()
{
    if (isChoicePending())
        return;
    m_apdusAtChoice = m_traffic->apdus();
    m_choice.restart();
    QTableWidget *table = window()->findChild<QTableWidget *>("STKPlugin_TableWidgetMenu");
    if (!table || table->rowCount() == 0)
        return;
    table->setCurrentCell(std::uniform_int_distribution<>(0, table->rowCount() - 1)(m_random), 0);
    click(button(window(), "STKPlugin_PushBtnSelect"));
}

void SoakUser::closeWindow()
{
    if (window())
        click(button(window(), "STKPlugin_PushBtnClose"));
}

/// The window refuses to close while it waits for the card. Where a command was overlooked that takes long, and another
/// command ends it.
void SoakUser::tryToClose()
{
    if (!m_isClosing)
        m_attempt.restart();
    m_isClosing = m_attempt.elapsed() < PATIENCE_MS;
    if (!m_isClosing)
        return choose();
    closeWindow();
}

} // namespace soak
