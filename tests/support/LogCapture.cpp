#include "support/LogCapture.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QRegularExpression>

#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

namespace support
{

namespace
{
using Lock = std::unique_lock<std::mutex>;
std::mutex g_mutex; // of the standard library, whose locks ThreadSanitizer sees
bool g_capturing = false;
std::thread::id g_home;
std::vector<LogCapture::Line> g_lines; // a list of Qt would be shared with the readers

void take(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    const Lock lock(g_mutex);
    g_lines.push_back(LogCapture::Line{type, text, std::this_thread::get_id() != g_home});
    if (type == QtFatalMsg)
        std::fprintf(stderr, "fatal: %s\n", qPrintable(text));
}

QStringList texts(const QList<LogCapture::Line> &lines, bool debug)
{
    QStringList result;
    for (const LogCapture::Line &line : lines) {
        if ((line.type == QtDebugMsg) == debug && line.type != QtInfoMsg)
            result << withoutTime(line.text);
    }
    return result;
}
} // namespace

QString withoutTime(const QString &line)
{
    static const QRegularExpression time("\\b\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d\\b");
    return QString(line).replace(time, "<time>");
}

LogCapture::LogCapture() : m_previous(nullptr)
{
    if (g_capturing)
        qFatal("LogCapture: there is one already");
    g_capturing = true;
    g_home = std::this_thread::get_id();
    clear();
    setDebugOutput(true);
    if (!QLoggingCategory::defaultCategory()->isDebugEnabled())
        qFatal("LogCapture: debug output is switched off by QT_LOGGING_RULES; unset it");
    m_previous = qInstallMessageHandler(take);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    QLoggingCategory::setFilterRules(QString());
    g_capturing = false;
}

QList<LogCapture::Line> LogCapture::lines() const
{
    const Lock lock(g_mutex);
    QList<Line> result;
    for (const Line &line : g_lines)
        result << line;
    return result;
}

QStringList LogCapture::debug() const
{
    return texts(lines(), true);
}

QStringList LogCapture::warnings() const
{
    return texts(lines(), false);
}

void LogCapture::clear()
{
    const Lock lock(g_mutex);
    g_lines.clear();
}

void LogCapture::setDebugOutput(bool on)
{
    QLoggingCategory::setFilterRules(on ? "*.debug=true\nqt.*.debug=false" : "*.debug=false");
}

} // namespace support
