#include "support/Trace.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QtDebug>

namespace support
{

namespace
{
// Marks of lines that the trace itself puts into the log, to stand in their place among the product's.
const QChar CALL(1);
const QChar OWN(2);

const int POLL_LINES = 3; // of one look at the response flag

void put(QChar mark, const QString &text)
{
    qDebug("%s", (mark + text).toUtf8().constData());
}

/// Line numbers are part of the text in these functions only.
QString withoutFreeLineNumber(const QString &text)
{
    static const QRegularExpression missing("^(Arg is NULL: .* )\\d+$");
    static const QRegularExpression given(": (ShowWindow|keyPressEvent|mouseReleaseEvent) \\d+$");
    static const QRegularExpression finished("^(End of .*: onPlayingFinished: )\\d+(: )$");
    QString result = text;
    if (!given.match(text).hasMatch())
        result.replace(missing, "\\1<line>");
    return result.replace(finished, "\\1<line>\\2");
}

QString printedArguments(const QMetaMethod &method, void **arguments)
{
    QStringList values;
    for (int i = 0; i < method.parameterCount(); ++i)
        values << QVariant(method.parameterType(i), arguments[i + 1]).toString();
    return values.join(", ");
}
} // namespace

Trace::Trace(LogCapture &log) : m_log(log), m_unnamed(0)
{
    journal::setObserver([this](const Call &call) { onCall(call); });
}

Trace::~Trace()
{
    journal::setObserver(nullptr);
}

void Trace::onCall(const Call &call)
{
    if (call.name == "ExtendDialog::changeSize")
        return;
    put(CALL, QString::number(m_calls.size()));
    m_calls << call;
}

void Trace::name(const void *pointer, const QString &name)
{
    m_names.insert(pointer, name);
}

void Trace::follow(QObject *sender)
{
    const QMetaObject *meta = sender->metaObject();
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        if (meta->method(i).methodType() != QMetaMethod::Signal)
            continue;
        // As QSignalSpy does: a method of this object that exists in qt_metacall() only.
        QMetaObject::connect(sender, i, this, QObject::staticMetaObject.methodCount() + m_signals.size(),
                             Qt::DirectConnection);
        m_signals << meta->method(i);
    }
}

int Trace::qt_metacall(QMetaObject::Call call, int id, void **arguments)
{
    id = QObject::qt_metacall(call, id, arguments);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    const QMetaMethod &signal = m_signals.at(id);
    put(OWN, "! " + QString::fromLatin1(signal.name()) + '(' + printedArguments(signal, arguments) + ')');
    return -1;
}

void Trace::result(const QVariant &value)
{
    put(OWN, "= " + value.toString());
}

QString Trace::nameOf(const void *pointer)
{
    QString &name = m_names[pointer];
    if (name.isEmpty())
        name = QString("object %1").arg(++m_unnamed);
    return name;
}

QString Trace::printed(const QString &text)
{
    if (text.startsWith(CALL))
        return "> " + toString(m_calls.at(text.midRef(1).toInt()), [this](const void *p) { return nameOf(p); });
    if (text.startsWith(OWN))
        return text.mid(1);
    return '"' + withoutFreeLineNumber(withoutTime(text)) + '"';
}

QStringList Trace::lines()
{
    QStringList result;
    for (const LogCapture::Line &line : m_log.lines()) {
        if (!line.elsewhere)
            result << (line.type == QtDebugMsg ? "" : "warning ") + printed(line.text);
    }
    return result;
}

QStringList Trace::linesElsewhere()
{
    QStringList result;
    for (const LogCapture::Line &line : m_log.lines()) {
        if (!line.elsewhere)
            continue;
        result << printed(line.text);
        const int size = result.size();
        if (size >= 2 * POLL_LINES && result.mid(size - POLL_LINES) == result.mid(size - 2 * POLL_LINES, POLL_LINES))
            result.erase(result.end() - POLL_LINES, result.end());
    }
    return result;
}

void Trace::clear()
{
    m_log.clear();
}

} // namespace support
