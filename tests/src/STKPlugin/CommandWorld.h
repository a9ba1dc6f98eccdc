#ifndef TESTS_COMMANDWORLD_H
#define TESTS_COMMANDWORLD_H

#include "DialogWorld.h"

#include "core/WsMessageBox.h"

#include <QtTest/QtTest>

/// What the tests of the command handlers share.
namespace command
{

/// Rows of a column "elsewhere": the two threads on which the library may call back.
inline void threadRows()
{
    QTest::addColumn<bool>("elsewhere");
    QTest::newRow("on the user-interface thread") << false;
    QTest::newRow("on the library's thread") << true;
}

/// A command of the card. Returns when its handler has.
inline void raise(DialogWorld &world, int type, int cmdId, bool elsewhere = false)
{
    if (elsewhere)
        world.raiseElsewhere(type, cmdId);
    else
        world.sdk.raiseStk(type, cmdId);
}

/// The verdicts that the handlers gave, in order.
inline QList<int> verdicts(const DialogWorld &world)
{
    QList<int> values;
    for (const QString &line : world.log.debug()) {
        if (line.startsWith("Updated vale is "))
            values << line.section(' ', 3, 3).section(',', 0, 0).toInt();
    }
    return values;
}

/// What was asked of the library, in order, as "GetPromptText(5)"; reading and releasing menus left out.
inline QStringList requests()
{
    QStringList lines;
    for (QString line : support::journal::lines("MDSV_STKSrv_")) {
        line.remove("MDSV_STKSrv_");
        if (!line.contains("Menu"))
            lines << line;
    }
    return lines;
}

/// A line of the window's own whose blanks are path, function and time.
inline QString line(const QString &words, const QString &function)
{
    return QString("%1../../src/STKPlugin/STKDialog: %2: <time>: ").arg(words, function);
}

/// The lines of the window's function between its start and its end.
inline QStringList linesBetween(const DialogWorld &world, const char *function)
{
    QStringList lines = logged::linesOf(world.log, function);
    lines.removeAll(logged::start(function));
    lines.removeAll(logged::end(function));
    return lines;
}

/// The plug-in is deleted, as the host does it.
inline void destroy(DialogWorld &world)
{
    world.dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    world.dialog = nullptr;
    world.logic = nullptr;
}

/// Lets a timer's time-out come now.
inline void fire(QTimer *timer)
{
    QMetaObject::invokeMethod(timer, "timeout", Qt::DirectConnection);
}

inline QPushButton *buttonOf(QWidget *frame, const QString &key)
{
    for (QPushButton *button : frame->findChildren<QPushButton *>()) {
        if (button->text().contains(key))
            return button;
    }
    return nullptr;
}

/// Ends a text or an input dialog by "IDS_OK", "IDS_CANCEL", its frame's "close button", "Escape" or "close".
inline void leave(QWidget *frame, const QString &way)
{
    if (way == "close button")
        frame->findChild<QPushButton *>("CoreDouble_CloseButton")->click();
    else if (way == "Escape")
        QTest::keyClick(frame, Qt::Key_Escape);
    else if (way == "close")
        frame->close();
    else
        buttonOf(frame, way)->click();
}

} // namespace command

#endif // TESTS_COMMANDWORLD_H
