#include "Census.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QStringList>
#include <QtCore/QThread>

#include <malloc.h>
#include <unistd.h>

// Qt tells debuggers of every object through this table; its header is private, its layout stands since Qt 5.4.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace soak
{

namespace
{

const int ADD_OBJECT = 3;
const int REMOVE_OBJECT = 4;

QMutex &mutex()
{
    static QMutex instance;
    return instance;
}

/// Never deleted: objects end after it.
QSet<QObject *> &living()
{
    static auto *const instance = new QSet<QObject *>;
    return *instance;
}

void addObject(QObject *object)
{
    const QMutexLocker lock(&mutex());
    living().insert(object);
}

void removeObject(QObject *object)
{
    const QMutexLocker lock(&mutex());
    living().remove(object);
}

QStringList entriesOf(const char *folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
}

QMap<QString, int> countFiles()
{
    QMap<QString, int> counts;
    for (const QString &number : entriesOf("/proc/self/fd")) {
        char target[4096];
        const ssize_t length =
            readlink(QFile::encodeName("/proc/self/fd/" + number).constData(), target, sizeof target);
        if (length > 0)
            ++counts[QString::fromLocal8Bit(target, static_cast<int>(length)).remove(QRegularExpression("[0-9]+"))];
    }
    return counts;
}

QMap<QString, int> countThreads()
{
    QMap<QString, int> counts;
    for (const QString &number : entriesOf("/proc/self/task")) {
        QFile file("/proc/self/task/" + number + "/comm");
        if (file.open(QIODevice::ReadOnly))
            ++counts[QString::fromLocal8Bit(file.readAll()).trimmed()];
    }
    return counts;
}

} // namespace

void startCensus()
{
    qtHookData[ADD_OBJECT] = reinterpret_cast<quintptr>(&addObject);
    qtHookData[REMOVE_OBJECT] = reinterpret_cast<quintptr>(&removeObject);
}

Census takeCensus()
{
    Census census;
    census.files = countFiles();
    census.threads = countThreads();
    const QMutexLocker lock(&mutex());
    for (QObject *object : living()) {
        ++census.objects[object->metaObject()->className()];
        if (object->thread() != QThread::currentThread())
            continue;
        const int timers = QAbstractEventDispatcher::instance()->registeredTimers(object).size();
        if (timers)
            census.timers[object->metaObject()->className()] += timers;
    }
    return census;
}

int livingObjects()
{
    const QMutexLocker lock(&mutex());
    return living().size();
}

long residentKib()
{
    QFile file("/proc/self/statm");
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const long pages = QString::fromLatin1(file.readAll()).section(' ', 1, 1).toLong();
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

long heapKib()
{
    return static_cast<long>(mallinfo2().uordblks / 1024);
}

int openFiles()
{
    return entriesOf("/proc/self/fd").size() - 1; // the folder itself is open meanwhile
}

int runningThreads()
{
    return entriesOf("/proc/self/task").size();
}

QStringList growth(const QMap<QString, int> &before, const QMap<QString, int> &after)
{
    QStringList lines;
    for (auto row = after.begin(); row != after.end(); ++row) {
        const int more = row.value() - before.value(row.key());
        if (more > 0)
            lines << QString("%1 x %2").arg(more).arg(row.key());
    }
    return lines;
}

} // namespace soak
