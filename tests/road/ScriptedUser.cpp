#include "ScriptedUser.h"

#include "RoadWorld.h"

#include "core/ExtendDialog.h"
#include "core/WsSound.h"

#include <QtCore/QTextBoundaryFinder>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QTableWidget>

#include <algorithm>

namespace
{

const int INTERVAL_MS = 10;
const int SIGHT_LIMIT_MS = 12000;
const int PATIENCE_MS = 60000;
const QChar ZERO_WIDTH_SPACE(0x200b);

struct DialogPeek : STKDialog {
    using STKDialog::m_pWsSoundSTK;
};

QString plainText(const QPushButton *button)
{
    return button->text().remove('&');
}

/// In quotes, on one line; without the invisible places where the box may break a line.
QString quoted(QString text)
{
    return '"' + text.remove(ZERO_WIDTH_SPACE).replace('\n', "\\n") + '"';
}

/// The buttons with a text, from left to right; the one of the title bar has none.
QList<QPushButton *> buttonsOf(const QWidget *window)
{
    QList<QPushButton *> buttons;
    for (QPushButton *button : window->findChildren<QPushButton *>()) {
        if (button->isVisible() && !button->text().isEmpty())
            buttons << button;
    }
    std::sort(buttons.begin(), buttons.end(), [](const QWidget *left, const QWidget *right) {
        return left->mapToGlobal(QPoint()).x() < right->mapToGlobal(QPoint()).x();
    });
    return buttons;
}

QString buttonViews(const QWidget *window)
{
    QString text;
    for (const QPushButton *button : buttonsOf(window)) {
        text += " [" + plainText(button) + (button->isEnabled() ? "" : " off") + (button->isDefault() ? "*" : "") + ']';
    }
    return text;
}

QMessageBox *visibleBox(const QWidget *window)
{
    for (QMessageBox *box : window->findChildren<QMessageBox *>()) {
        if (box->isVisible())
            return box;
    }
    return nullptr;
}

QString textView(const QWidget *frame, const QMessageBox *box)
{
    QString text = "text ";
    if (box->textFormat() != Qt::PlainText)
        text += "as markup ";
    if (box->icon() != QMessageBox::NoIcon)
        text += "(i) ";
    if (!frame->windowTitle().isEmpty())
        text += quoted(frame->windowTitle()) + ": ";
    return text + quoted(box->text()) + buttonViews(frame);
}

QString inputView(const QWidget *frame, const QLineEdit *field)
{
    const QLabel *prompt = frame->findChild<QLabel *>("STKPlugin_LabelText");
    QString text = "input " + quoted(prompt->text());
    if (prompt->textFormat() != Qt::PlainText)
        text += " as markup";
    text += ' ' + quoted(field->displayText()) + " max " + QString::number(field->maxLength());
    if (field->validator())
        text += ", digits";
    if (field->echoMode() != QLineEdit::Normal)
        text += ", masked";
    if (QWidget::keyboardGrabber() != field)
        text += ", without keyboard";
    return text + buttonViews(frame);
}

Qt::Key keyOf(const QString &name)
{
    static const QHash<QString, Qt::Key> keys = {{"Escape", Qt::Key_Escape}, {"Return", Qt::Key_Return},
                                                 {"Enter", Qt::Key_Enter},   {"Tab", Qt::Key_Tab},
                                                 {"End", Qt::Key_End},       {"Backspace", Qt::Key_Backspace}};
    return keys.value(name, Qt::Key_unknown);
}

} // namespace

ScriptedUser::ScriptedUser(RoadWorld *world, const QStringList &script, const QString &mainMenu)
    : m_world(world), m_script(script), m_mainMenu(mainMenu), m_isActing(false)
{
    connect(&m_timer, &QTimer::timeout, this, &ScriptedUser::tick);
    m_clock.start();
    m_timer.start(INTERVAL_MS);
}

void ScriptedUser::teach(const QString &action, std::function<bool()> act)
{
    m_taught << qMakePair(action, act);
}

bool ScriptedUser::isOver() const
{
    return m_script.isEmpty() && !m_isActing;
}

QStringList ScriptedUser::record() const
{
    return m_record;
}

void ScriptedUser::tick()
{
    if (m_script.isEmpty() || m_isActing)
        return;
    const QString line = m_script.first();
    if (line.startsWith("see "))
        return look(line.mid(4));
    if (followTaught(line.mid(3)))
        return;
    // A timer does not fire again inside its own slot: the action is posted, so that it may open dialogs.
    m_isActing = true;
    QMetaObject::invokeMethod(this, "act", Qt::QueuedConnection, Q_ARG(QString, line));
}

/// False: this is none of them.
bool ScriptedUser::followTaught(const QString &action)
{
    for (const auto &taught : m_taught) {
        if (taught.first != action)
            continue;
        if (taught.second()) {
            m_record << m_script.takeFirst();
            m_clock.restart();
        } else if (m_clock.elapsed() > PATIENCE_MS) {
            giveUp("in vain: " + action);
        }
        return true;
    }
    return false;
}

void ScriptedUser::look(const QString &expected)
{
    const QString seen = viewFor(expected);
    if (seen == expected) {
        m_record << m_script.takeFirst();
        m_clock.restart();
    } else if (m_clock.elapsed() > SIGHT_LIMIT_MS) {
        giveUp("see " + seen);
    }
}

void ScriptedUser::giveUp(const QString &seen)
{
    m_record << seen;
    m_script.clear();
    for (int i = 0; i < 20 && QApplication::activeModalWidget(); ++i)
        QApplication::activeModalWidget()->hide();
}

void ScriptedUser::act(const QString &line)
{
    m_isActing = false;
    if (m_script.isEmpty())
        return;
    m_record << m_script.takeFirst();
    m_clock.restart();
    const QString action = line.mid(3);
    const QString word = action.section(' ', 0, 0);
    const QString rest = action.section(' ', 1);
    QWidget *modal = QApplication::activeModalWidget();
    if (word == "click" && click(rest))
        return;
    if (word == "close" && modal && modal->findChild<QPushButton *>("ExtendDialog_BtnClose"))
        return QTest::mouseClick(modal->findChild<QPushButton *>("ExtendDialog_BtnClose"), Qt::LeftButton);
    if (word == "key" && keyOf(rest) != Qt::Key_unknown && keyboardTarget())
        return press(rest);
    if (word == "type" && keyboardTarget())
        return type(rest);
    if ((word == "select" || word == "back") && m_world->table() && modal == m_world->frame())
        return word == "back" ? QTest::mouseClick(m_world->button("Back"), Qt::LeftButton) : select(rest);
    giveUp("not possible now: " + action);
}

// ---------------------------------------------------------------- what is seen

QString ScriptedUser::view() const
{
    const QWidget *window = QApplication::activeModalWidget();
    if (!window || window == m_world->frame())
        return menuView();
    if (const QMessageBox *box = visibleBox(window))
        return textView(window, box);
    if (const QLineEdit *field = window->findChild<QLineEdit *>("STKPlugin_LineEditInput"))
        return inputView(window, field);
    return QString("window %1 %2").arg(window->metaObject()->className(), quoted(window->windowTitle()));
}

QString ScriptedUser::viewFor(const QString &expected) const
{
    if (expected == "tone" || expected == "silence")
        return DialogPeek::m_pWsSoundSTK && DialogPeek::m_pWsSoundSTK->IsPlaying() ? "tone" : "silence";
    if (expected.startsWith("page ") || expected == "no page")
        return m_world->openedPage().isEmpty() ? "no page" : "page " + m_world->openedPage();
    const QString seen = view();
    return seen == m_mainMenu ? "main menu" : seen;
}

QString ScriptedUser::menuView() const
{
    const QWidget *frame = m_world->frame();
    if (!frame || !frame->isVisible())
        return "no window";
    const QTableWidget *table = m_world->table();
    QStringList texts;
    for (int i = 0; i < table->rowCount(); ++i)
        texts << (table->item(i, 0) ? table->item(i, 0)->text() : QString());
    return (m_world->isWaiting() ? "waiting: menu " : "menu ") + quoted(frame->windowTitle()) + ": " +
           texts.join(" | ") + (m_world->button("Back")->isEnabled() ? ", back" : "");
}

// ---------------------------------------------------------------- what is done

bool ScriptedUser::click(const QString &name)
{
    const QWidget *window = QApplication::activeModalWidget();
    for (QPushButton *button : window ? buttonsOf(window) : QList<QPushButton *>()) {
        const QString text = plainText(button);
        if (text == name || text.startsWith(name + " =")) {
            QTest::mouseClick(button, Qt::LeftButton);
            return true;
        }
    }
    return false;
}

/// As the window system does it: whoever has grabbed the keyboard, else the focus of the uppermost window.
QWidget *ScriptedUser::keyboardTarget() const
{
    if (QWidget::keyboardGrabber())
        return QWidget::keyboardGrabber();
    QWidget *window = QApplication::activeModalWidget();
    return window && window->focusWidget() ? window->focusWidget() : window;
}

void ScriptedUser::press(const QString &key)
{
    QTest::keyClick(keyboardTarget(), keyOf(key));
}

/// A key stroke for each character, those beyond the basic plane in one piece.
void ScriptedUser::type(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (int start = 0, end = finder.toNextBoundary(); end > 0; start = end, end = finder.toNextBoundary()) {
        QWidget *target = keyboardTarget();
        if (!target)
            return;
        QKeyEvent pressed(QEvent::KeyPress, 0, Qt::NoModifier, text.mid(start, end - start));
        QApplication::sendEvent(target, &pressed);
    }
}

void ScriptedUser::select(const QString &item)
{
    QTableWidget *table = m_world->table();
    const QList<QTableWidgetItem *> found = table->findItems(item, Qt::MatchExactly);
    if (found.isEmpty())
        return giveUp("not possible now: select " + item);
    table->setCurrentItem(found.first());
    QTest::mouseClick(m_world->button("Select"), Qt::LeftButton);
}
