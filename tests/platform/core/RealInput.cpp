#include "platform/core/RealInput.h"

#include <QtCore/QProcess>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

namespace realinput
{

namespace
{

const int limit = 5000; // milliseconds

/// Moves the pointer to a point of `widget`, counted from where the X server has its window: the program may not have
/// heard yet where the window manager has put it.
QStringList pointAt(QWidget *widget, const QPoint &point)
{
    const QPoint inWindow = widget->mapTo(widget->window(), point);
    return QStringList() << "mousemove"
                         << "--window" << QString::number(widget->window()->winId()) << QString::number(inWindow.x())
                         << QString::number(inWindow.y());
}

} // namespace

bool waitForKeyboard(QWidget *window)
{
    // A window manager may map a window and give it the keyboard a little later.
    return QTest::qWaitForWindowExposed(window, limit) &&
           QTest::qWaitFor([window] { return QApplication::activeWindow() == window; }, limit);
}

bool show(QWidget *window)
{
    window->show();
    return waitForKeyboard(window);
}

bool send(const QStringList &arguments)
{
    QProcess tool;
    tool.start("xdotool", arguments);
    const bool ended = QTest::qWaitFor([&tool] { return tool.state() == QProcess::NotRunning; }, limit);
    if (!ended || tool.error() != QProcess::UnknownError || tool.exitCode() != 0) {
        qWarning("xdotool %s: %s", qPrintable(arguments.join(' ')), tool.readAllStandardError().constData());
        tool.kill();
        tool.waitForFinished(limit);
        return false;
    }
    return true;
}

bool key(const QString &name)
{
    return send(QStringList() << "key" << name);
}

bool click(QWidget *widget, const QPoint &point)
{
    return send(pointAt(widget, point) << "click"
                                       << "1");
}

bool drag(QWidget *widget, const QPoint &point, const QPoint &way)
{
    const int steps = 40; // as a hand does it: many small moves
    QStringList moves;
    QPoint done;
    for (int i = 1; i <= steps; ++i) {
        const QPoint step = way * i / steps - done;
        moves << "mousemove_relative"
              << "--" << QString::number(step.x()) << QString::number(step.y());
        moves << "sleep"
              << "0.005";
        done += step;
    }
    return send(pointAt(widget, point) << "mousedown"
                                       << "1") &&
           send(moves) &&
           send(QStringList() << "mouseup"
                              << "1");
}

} // namespace realinput
