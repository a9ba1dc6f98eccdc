#ifndef TESTS_CORE_REALINPUT_H
#define TESTS_CORE_REALINPUT_H

#include <QtCore/QPoint>
#include <QtCore/QString>
#include <QtCore/QStringList>

QT_BEGIN_NAMESPACE
class QWidget;
QT_END_NAMESPACE

/// Keyboard and mouse from outside the program: events go through the X server and the window manager.
namespace realinput
{

/// Shows `window` and waits until it is mapped, active and has taken the keyboard. False after 5 s.
bool show(QWidget *window);

/// Waits until `window`, which somebody else has shown, is mapped, active and has taken the keyboard. False after 5 s.
bool waitForKeyboard(QWidget *window);

/// Runs xdotool with `arguments` while this program's events go on; false with a warning when it fails.
bool send(const QStringList &arguments);

/// A key stroke by its X name, such as "Return" or "Escape".
bool key(const QString &name);

/// A click with the left button at a point of `widget`.
bool click(QWidget *widget, const QPoint &point);

/// Presses the left button at a point of `widget`, moves by `way` in small steps and lets go.
bool drag(QWidget *widget, const QPoint &point, const QPoint &way);

} // namespace realinput

#endif // TESTS_CORE_REALINPUT_H
