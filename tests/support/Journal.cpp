#include "support/Journal.h"

#include <mutex>

namespace support
{

namespace
{
using Lock = std::unique_lock<std::mutex>;
std::mutex g_mutex; // of the standard library, whose locks ThreadSanitizer sees
QList<Call> g_calls;
std::function<void(const Call &)> g_observer;

QString printed(const QVariant &value, const std::function<QString(const void *)> &nameOf)
{
    switch (int(value.type())) {
    case QMetaType::VoidStar:
        if (const void *pointer = value.value<void *>())
            return nameOf ? nameOf(pointer) : QString("<pointer>");
        return "null";
    case QMetaType::QString:
        return '"' + value.toString() + '"';
    default:
        return value.toString();
    }
}
} // namespace

bool operator==(const Call &left, const Call &right)
{
    return left.name == right.name && left.args == right.args;
}

QString toString(const Call &call, const std::function<QString(const void *)> &nameOf)
{
    QStringList args;
    for (const QVariant &value : call.args)
        args << printed(value, nameOf);
    return QString::fromLatin1(call.name) + '(' + args.join(", ") + ')';
}

QVariant ref(const void *pointer)
{
    return QVariant::fromValue(const_cast<void *>(pointer));
}

void journal::add(const QByteArray &name, const QVariantList &args)
{
    const Call call{name, args};
    Lock lock(g_mutex);
    g_calls << call;
    const std::function<void(const Call &)> observer = g_observer;
    lock.unlock();
    if (observer)
        observer(call);
}

void journal::clear()
{
    const Lock lock(g_mutex);
    g_calls.clear();
}

void journal::setObserver(std::function<void(const Call &)> observer)
{
    const Lock lock(g_mutex);
    g_observer = observer;
}

QList<Call> journal::calls()
{
    const Lock lock(g_mutex);
    return g_calls;
}

QList<Call> journal::callsOf(const QByteArray &name)
{
    QList<Call> found;
    for (const Call &call : calls()) {
        if (call.name == name)
            found << call;
    }
    return found;
}

int journal::count(const QByteArray &name)
{
    return callsOf(name).size();
}

QStringList journal::lines(const QByteArray &prefix)
{
    QStringList result;
    for (const Call &call : calls()) {
        if (call.name.startsWith(prefix))
            result << toString(call);
    }
    return result;
}

QStringList journal::names(const QByteArray &prefix)
{
    QStringList result;
    for (const Call &call : calls()) {
        if (call.name.startsWith(prefix))
            result << QString::fromLatin1(call.name);
    }
    return result;
}

} // namespace support
