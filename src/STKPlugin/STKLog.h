#ifndef STKLOG_H
#define STKLOG_H

#include <QtCore/QByteArray>
#include <QtCore/QTime>
#include <QtCore/QtDebug>

#if QT_VERSION >= 0x050200
#include <QtCore/QLoggingCategory>
#endif

/// The plug-in's debug lines. Their words are read by tools of the host and never change.
///
/// With debug output switched off at run time a line costs one test: none of its arguments is evaluated.
/// Each source file that logs defines `STK_SOURCE` as the name of its unit.
namespace StkLog
{

inline bool isEnabled()
{
#if QT_VERSION >= 0x050200
    static const QLoggingCategory *const category = QLoggingCategory::defaultCategory(); // it is the same at all times
    return category->isDebugEnabled();
#else
    return true;
#endif
}

/// The present time as "hh:mm:ss:zzz".
inline QByteArray now()
{
    return QTime::currentTime().toString(QLatin1String("hh:mm:ss:zzz")).toLatin1();
}

} // namespace StkLog

#define STK_LOG_PATH "../../src/STKPlugin/" STK_SOURCE

/// One line, printf-style.
#define STK_LOG(...)             \
    do {                         \
        if (StkLog::isEnabled()) \
            qDebug(__VA_ARGS__); \
    } while (false)

/// A line whose blanks are path, function and time.
#define STK_LOG_LINE(format) STK_LOG(format, STK_LOG_PATH, __func__, StkLog::now().constData())

/// A line with a value before path, function and time.
#define STK_LOG_VALUE(format, value) STK_LOG(format, value, STK_LOG_PATH, __func__, StkLog::now().constData())

/// A line whose blanks are time, path and function.
#define STK_LOG_TIMED(format) STK_LOG(format, StkLog::now().constData(), STK_LOG_PATH, __func__)

/// A missing object, named by a line number that is part of the text; time, path, function, line.
#define STK_LOG_NULL(line) \
    STK_LOG("Arg is NULL: %s: %s: %s %d", StkLog::now().constData(), STK_LOG_PATH, __func__, line)

#define STK_LOG_START() STK_LOG_LINE("Start of %s: %s: %s: ")
#define STK_LOG_END() STK_LOG_LINE("End of %s: %s: %s: ")

#endif // STKLOG_H
