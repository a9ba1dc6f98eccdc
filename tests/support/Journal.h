#ifndef SUPPORT_JOURNAL_H
#define SUPPORT_JOURNAL_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>

namespace support
{

/// One call that reached a double. Pointers stand in `args` as `void *` (see ref()), texts as QString copies.
struct Call {
    QByteArray name;
    QVariantList args;
};

bool operator==(const Call &left, const Call &right);

/// The call for people: `name(1, "text", true, null)`; a pointer that is not null is printed as `nameOf` calls it, or
/// as `<pointer>`.
QString toString(const Call &call, const std::function<QString(const void *)> &nameOf = nullptr);

/// A pointer as an argument of a Call.
QVariant ref(const void *pointer);

/// The one list of all calls to both doubles, in the order in which they came. Any thread.
namespace journal
{
void add(const QByteArray &name, const QVariantList &args = QVariantList());
void clear();

/// Runs after each call has been noted, on the calling thread; empty ends it. Set it while nothing calls.
void setObserver(std::function<void(const Call &)> observer);

QList<Call> calls();

/// Only the calls of one function.
QList<Call> callsOf(const QByteArray &name);

/// How often the function was called.
int count(const QByteArray &name);

/// All calls through toString(); with `prefix` only those whose name begins with it, such as "MDSV_".
QStringList lines(const QByteArray &prefix = QByteArray());

/// The names alone, in order.
QStringList names(const QByteArray &prefix = QByteArray());
} // namespace journal

} // namespace support

#endif // SUPPORT_JOURNAL_H
