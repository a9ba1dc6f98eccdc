#include "support/Journal.h"

#include <mutex>

namespace support
{

namespace
{
using Lock = std::unique_lock<std::mutex>;
std::mutex g_mutex; // of the standard library, whose locks ThreadSanitizer sees
QList<Call> g_calls;

QString printed(const QVariant &value)
{
    switch (int(value.type())) {
    case QMetaType::VoidStar:
        return value.value<void *>() ? QString("<pointer>") : QString("null");
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

QString toString(const Call &call)
{
    QStringList args;
    for (const QVariant &value : call.args)
        args << printed(value);
    return QString::fromLatin1(call.name) + '(' + args.join(", ") + ')';
}

QVariant ref(const void *pointer)
{
    return QVariant::fromValue(const_cast<void *>(pointer));
}

void journal::add(const QByteArray &name, const QVariantList &args)
{
    const Lock lock(g_mutex);
    g_calls << Call{name, args};
}

void journal::clear()
{
    const Lock lock(g_mutex);
    g_calls.clear();
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
