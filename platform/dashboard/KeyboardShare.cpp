#include "dashboard/KeyboardShare.h"

#include <QApplication>
#include <QEvent>
#include <QWidget>
#include <QWindow>

namespace dashboard
{

namespace
{

/// The top-level widget whose window of the window system this is.
QWidget *widgetOf(const QObject *window)
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets) {
        if (widget->windowHandle() == window)
            return widget;
    }
    return nullptr;
}

bool belongsTo(const QWidget *widget, const QWidget *window)
{
    while (widget && widget->window() != window)
        widget = widget->window()->parentWidget();
    return widget != nullptr;
}

} // namespace

KeyboardShare::KeyboardShare(QWidget *window) : m_window(window)
{
    qApp->installEventFilter(this);
}

/// The window system's window has a key before any widget does, and a shortcut is looked for before the key is sent.
bool KeyboardShare::eventFilter(QObject *object, QEvent *event)
{
    const bool isKey = event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride;
    if (!isKey || !object->isWindowType() || (!m_owner && !QWidget::keyboardGrabber()))
        return false;
    const QWidget *const widget = widgetOf(object);
    if (widget && belongsTo(widget, m_window))
        lend();
    else if (widget && m_owner && widget == m_owner->window())
        giveBack();
    return false;
}

void KeyboardShare::lend()
{
    QWidget *const grabber = QWidget::keyboardGrabber();
    if (!grabber || belongsTo(grabber, m_window))
        return;
    m_owner = grabber;
    grabber->releaseKeyboard();
}

/// From the program's other windows only: the grab of a window that is shown would take the keys of every program.
void KeyboardShare::giveBack()
{
    QWidget *const owner = m_owner;
    m_owner = nullptr;
    if (!owner->isVisible() || QWidget::keyboardGrabber())
        return;
    owner->grabKeyboard();
    owner->window()->windowHandle()->setKeyboardGrabEnabled(false);
}

} // namespace dashboard
