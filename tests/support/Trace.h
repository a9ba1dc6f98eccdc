#ifndef SUPPORT_TRACE_H
#define SUPPORT_TRACE_H

#include "support/Journal.h"
#include "support/LogCapture.h"

#include <QtCore/QHash>
#include <QtCore/QMetaMethod>
#include <QtCore/QObject>
#include <QtCore/QPointer>

namespace support
{

/// What the product did, in one order: its log lines as they are, in quotes; ">" its calls into the host's two
/// libraries; "!" the signals that it emitted; "=" what it returned.
///
/// Times become <time>, and line numbers become <line> where only the words before them are fixed. Objects are called
/// by the name that they were given, or by their class and a number, in the order in which calls name them. Left out
/// are the host's own relaying of a box's size, which depends on the screen's fonts, and what the window system
/// complains about.
class Trace : public QObject
{
public:
    /// `log` is where the lines come from; the journal's observer is taken while this exists.
    explicit Trace(LogCapture &log);
    ~Trace() override;

    /// A name for an object as long as it lives, or for a function.
    void name(QObject *object, const QString &name);
    void name(const void *function, const QString &name);

    /// A text that differs from run to run, such as the path of a temporary folder.
    void nameText(const QString &text, const QString &name);

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
    struct Named {
        QPointer<QObject> object;
        QString name;
    };

    QString printed(const QString &text) const;
    QString nameOf(const void *pointer);
    void onCall(const Call &call);

    LogCapture &m_log;
    QHash<const void *, QString> m_functions;
    QHash<QString, QString> m_texts;
    QList<Named> m_objects;
    QHash<QString, int> m_numbers; ///< of the objects of each class that were named
    QList<QMetaMethod> m_signals;
};

} // namespace support

#endif // SUPPORT_TRACE_H
