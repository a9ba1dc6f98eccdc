#ifndef SUPPORT_TRACE_H
#define SUPPORT_TRACE_H

#include "support/Journal.h"
#include "support/LogCapture.h"

#include <QtCore/QHash>
#include <QtCore/QMetaMethod>
#include <QtCore/QObject>

namespace support
{

/// What the product did, in one order: its log lines as they are, in quotes; ">" its calls into the host's two
/// libraries; "!" the signals that it emitted; "=" what it returned.
///
/// Times become <time>, and line numbers become <line> where only the words before them are fixed. Pointers get the
/// names that they were given, or are numbered as they appear. The host's own relaying of a box's size is left out:
/// it depends on the screen's fonts.
class Trace : public QObject
{
public:
    /// `log` is where the lines come from; the journal's observer is taken while this exists.
    explicit Trace(LogCapture &log);
    ~Trace() override;

    void name(const void *pointer, const QString &name);

    /// From now on notes every signal of the class that `sender` is.
    void follow(QObject *sender);

    void result(const QVariant &value);

    /// Everything since the last clear(); the lines of other threads are left out.
    QStringList lines();

    /// The log lines of other threads; a poll of the waiter that only repeats the one before is left out.
    QStringList linesElsewhere();

    void clear();

    int qt_metacall(QMetaObject::Call call, int id, void **arguments) override;

private:
    QString printed(const QString &text);
    QString nameOf(const void *pointer);
    void onCall(const Call &call);

    LogCapture &m_log;
    QHash<const void *, QString> m_names;
    QList<Call> m_calls;
    QList<QMetaMethod> m_signals;
    int m_unnamed; ///< pointers that were numbered
};

} // namespace support

#endif // SUPPORT_TRACE_H
