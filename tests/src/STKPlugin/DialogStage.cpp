#include "DialogStage.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSemaphore>

using support::ModalDriver;

DialogStage::DialogStage() : clock(QTime(9, 30, 15)), trace(world.log), dialog(world.dialog)
{
    // The waiter's naps are to last, as they do without this clock; a sleep would be another nap.
    clock.onNap([](int) { QSemaphore().tryAcquire(1, 100); });
    QDir(folder.path()).mkpath("plugins/STKPlugin");
    for (int tone : {3, 8})
        QFile(QString("%1/plugins/STKPlugin/tone_%2.wav").arg(folder.path()).arg(tone)).open(QIODevice::WriteOnly);
    world.core.setPluginLibraryPath(folder.path());
    world.sdk.raiseStk(13, 9); // of a type that does nothing
    begin();
}

void DialogStage::open()
{
    if (!world.show())
        problems << "problem: the window is not on the screen";
    begin();
}

void DialogStage::begin()
{
    trace.name(world.host, "host window");
    trace.name(world.thread(), "waiter");
    trace.name(reinterpret_cast<const void *>(&STKLogic::OnSTKEventCB), "OnSTKEventCB");
    trace.name(reinterpret_cast<const void *>(&STKLogic::OnDeviceEventCB), "OnDeviceEventCB");
    trace.nameText(folder.path(), "<plug-in library>");
    trace.clear();
}

void DialogStage::inFrames(const QList<std::function<void(QWidget *)>> &steps, const std::function<void()> &act)
{
    ModalDriver driver;
    for (const std::function<void(QWidget *)> &step : steps)
        driver.on("ExtendDialog", step);
    act();
    if (!driver.isDone())
        problems << "problem: a frame did not appear, or did not close";
}

QStringList DialogStage::end()
{
    for (const QString &problem : world.end()) {
        if (!problem.startsWith("This plugin does not support ")) // the offscreen platform, about itself
            problems << "problem: " + problem;
    }
    qDeleteAll(threads);
    return problems;
}

DialogScene inWindow(const QString &name, const std::function<void(DialogStage &)> &act)
{
    return {name, [=](DialogStage &s) {
                s.open();
                act(s);
                return QVariant();
            }};
}

DialogScene noWindow(const QString &name, const std::function<void(DialogStage &)> &act)
{
    return {name, [=](DialogStage &s) {
                act(s);
                return QVariant();
            }};
}
