// Tells what the window takes of memory, and how often the process wakes up while the window is open: at rest, and
// while it waits for the card. One line "name value unit" for each.
#include "BenchCard.h"

#include "STKPlugin/STKDialog.h"
#include "core/CoreControl.h"
#include "sdk/SdkControl.h"

#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTime>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QTableWidget>

#include <cstdio>
#include <unistd.h>

namespace
{

const int SETTLE_MS = 3000;
const int WATCH_MS = 5000;

long residentKib()
{
    QFile file("/proc/self/statm");
    return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(1).toLong() * (getpagesize() / 1024) : 0;
}

/// Each time that a thread has gone to sleep of its own accord, it was awake before.
long wakeUps()
{
    long sum = 0;
    const QDir tasks("/proc/self/task");
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task + "/status"));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : file.readAll().split('\n'))
            if (line.startsWith("voluntary_ctxt_switches:"))
                sum += line.mid(24).trimmed().toLong();
    }
    return sum;
}

void let(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Without the one with which the watch itself ends.
double wakeUpsInASecond()
{
    const long before = wakeUps();
    let(WATCH_MS);
    return double(wakeUps() - before - 1) * 1000 / WATCH_MS;
}

/// The window's waits are counted by the clock and end with its minute.
void keepClearOfMinuteEnd()
{
    while (QTime::currentTime().second() > 45)
        let(1000);
}

void tell(const char *name, double value, const char *unit)
{
    std::printf("%s %.1f %s\n", name, value, unit);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QLoggingCategory::setFilterRules("*.debug=false");
    QWidget host;
    host.resize(800, 600);
    host.show();
    core::setMainWindow(&host);
    let(SETTLE_MS);
    const long bare = residentKib();
    tell("wakeUpsHostAlone", wakeUpsInASecond(), "1/s");

    std::atomic<long> answered{0};
    STKDialog *dialog = STKDialog::Instance();
    sdk::attachDevice(std::make_unique<BenchCard>(benchcard::menu(), cat::Bytes(), &answered));
    let(SETTLE_MS);
    QRect rect = host.geometry();
    dialog->ShowStkDlg(&host, rect);
    let(SETTLE_MS);
    tell("memoryWindowOpen", double(residentKib() - bare), "KiB");
    tell("wakeUpsIdle", wakeUpsInASecond(), "1/s");

    auto *table = host.findChild<QTableWidget *>("STKPlugin_TableWidgetMenu");
    if (!table || table->rowCount() != 2) {
        std::fprintf(stderr, "stk_bench_idle: the window has no menu\n");
        return 1;
    }
    keepClearOfMinuteEnd();
    table->setCurrentCell(0, 0);
    emit table->cellDoubleClicked(0, 0);
    let(1000);
    tell("wakeUpsWaiting", wakeUpsInASecond(), "1/s");
    sdk::detachDevice();
    let(1000);
    dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    sdk::shutDown();
    return 0;
}
