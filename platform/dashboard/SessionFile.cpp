#include "dashboard/SessionFile.h"

#include "sdk/Trace.h"

#include <QtCore/QFile>
#include <QtCore/QSaveFile>

namespace dashboard
{

namespace
{

bool cannotWrite(const QString &file, const QString &reason, QString *report)
{
    *report = QString("'%1' cannot be written: %2. Choose another folder or name.").arg(file, reason);
    return false;
}

bool saveText(const std::vector<SessionEntry> &entries, const QString &name, QString *report)
{
    QSaveFile file(name);
    if (!file.open(QIODevice::WriteOnly))
        return cannotWrite(name, file.errorString(), report);
    for (const SessionEntry &entry : entries)
        file.write((entry.time.toString("yyyy-MM-dd hh:mm:ss.zzz ") + toLine(entry) + '\n').toUtf8());
    if (!file.commit())
        return cannotWrite(name, file.errorString(), report);
    *report = QString("%1 lines are in '%2'.").arg(entries.size()).arg(name);
    return true;
}

sdk::TraceFile::Time timeOf(const SessionEntry &entry)
{
    return sdk::TraceFile::Time(std::chrono::milliseconds(entry.time.toMSecsSinceEpoch()));
}

bool saveCapture(const std::vector<SessionEntry> &entries, const QString &name, QString *report)
{
    std::string reason;
    const auto file = sdk::TraceFile::create(QFile::encodeName(name).toStdString(), &reason);
    int count = 0;
    for (const SessionEntry &entry : entries) {
        if (!file || entry.kind != EntryKind::Apdu)
            continue;
        if (!file->add(timeOf(entry), entry.bytes, entry.answer, &reason))
            return cannotWrite(name, QString::fromStdString(reason), report);
        ++count;
    }
    if (!file)
        return cannotWrite(name, QString::fromStdString(reason), report);
    *report = QString("%1 APDUs are in '%2'.").arg(count).arg(name);
    return true;
}

} // namespace

bool saveSession(const std::vector<SessionEntry> &entries, const QString &file, QString *report)
{
    const bool isCapture = file.endsWith(".pcap", Qt::CaseInsensitive);
    return isCapture ? saveCapture(entries, file, report) : saveText(entries, file, report);
}

} // namespace dashboard
