#ifndef SUPPORT_LOGCAPTURE_H
#define SUPPORT_LOGCAPTURE_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

namespace support
{

/// "Start of X: Y: 09:30:15:123: " to "Start of X: Y: <time>: ".
QString withoutTime(const QString &line);

/// Takes every message of qDebug() and its like, on all threads, while it exists; the previous handler comes back when
/// it goes. One at a time. Debug output is on, whatever the machine's configuration says.
class LogCapture
{
public:
    struct Line {
        QtMsgType type;
        QString text;
        bool elsewhere; ///< on another thread than the one that made the LogCapture
    };

    LogCapture();
    ~LogCapture();

    /// Everything so far, as it came.
    QList<Line> lines() const;

    /// The texts of debug lines, times replaced by withoutTime().
    QStringList debug() const;

    /// The texts of warnings and worse, times replaced.
    QStringList warnings() const;

    void clear();

    /// Switches the product's debug output off and on again, as a filter rule at run time does.
    void setDebugOutput(bool on);

private:
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    QtMessageHandler m_previous;
};

} // namespace support

#endif // SUPPORT_LOGCAPTURE_H
