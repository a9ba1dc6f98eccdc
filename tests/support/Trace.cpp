#include "support/Trace.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QtDebug>

namespace support
{

namespace
{
const QChar OWN(1); ///< begins the lines that the trace itself puts into the log, among the product's

const int POLL_LINES = 3; // of one look at the response flag

void put(const QString &text)
{
    qDebug("%s", (OWN + text).toUtf8().constData());
}

/// The X server about a window that has gone meanwhile, or the offscreen platform about what it cannot do.
bool isOfTheWindowSystem(const LogCapture::Line &line)
{
    return line.text.startsWith("QXcbConnection: XCB error") || line.text.startsWith("This plugin does not support ");
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

Trace::Trace(LogCapture &log) : m_log(log)
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
    put("> " + toString(call, [this](const void *pointer) { return nameOf(pointer); }));
}

void Trace::name(QObject *object, const QString &name)
{
    m_objects << Named{object, name};
}

void Trace::name(const void *function, const QString &name)
{
    m_functions.insert(function, name);
}

void Trace::nameText(const QString &text, const QString &name)
{
    m_texts.insert(text, name);
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
    put("! " + QString::fromLatin1(signal.name()) + '(' + printedArguments(signal, arguments) + ')');
    return -1;
}

void Trace::result(const QVariant &value)
{
    put("= " + value.toString());
}

/// Every pointer in the journal is a function or an object, whose first base is QObject.
QString Trace::nameOf(const void *pointer)
{
    if (m_functions.contains(pointer))
        return m_functions.value(pointer);
    for (const Named &named : m_objects) {
        if (named.object == pointer)
            return named.name;
    }
    QObject *object = static_cast<QObject *>(const_cast<void *>(pointer));
    const QString className = object->metaObject()->className();
    name(object, QString("%1 %2").arg(className).arg(++m_numbers[className]));
    return m_objects.last().name;
}

QString Trace::printed(const QString &text) const
{
    QString result = text.startsWith(OWN) ? text.mid(1) : '"' + withoutFreeLineNumber(withoutTime(text)) + '"';
    for (auto it = m_texts.constBegin(); it != m_texts.constEnd(); ++it)
        result.replace(it.key(), it.value());
    return result;
}

QStringList Trace::lines()
{
    QStringList result;
    for (const LogCapture::Line &line : m_log.lines()) {
        if (!line.elsewhere && !isOfTheWindowSystem(line))
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
