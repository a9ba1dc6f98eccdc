#include "dashboard/GlobalKeys.h"

#include <QApplication>
#include <QKeyEvent>

namespace dashboard
{

namespace
{

struct Row {
    int key;
    void (GlobalKeys::*signal)();
};

const Row rows[] = {
    {Qt::Key_F8, &GlobalKeys::languageAsked},
    {Qt::Key_F9, &GlobalKeys::deviceAsked},
    {Qt::Key_F12, &GlobalKeys::inspectorAsked},
};

} // namespace

GlobalKeys::GlobalKeys()
{
    qApp->installEventFilter(this);
}

/// The events of widgets only: the window system's window has had the same one before.
bool GlobalKeys::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() != QEvent::KeyPress || !object->isWidgetType())
        return false;
    const auto *press = static_cast<QKeyEvent *>(event);
    if (press->modifiers() != Qt::NoModifier)
        return false;
    for (const Row &row : rows) {
        if (press->key() != row.key)
            continue;
        if (!press->isAutoRepeat())
            emit(this->*row.signal)();
        return true;
    }
    return false;
}

} // namespace dashboard
