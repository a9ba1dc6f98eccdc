#include "support/Golden.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

namespace support
{

namespace
{
const char FOLDER[] = STK_GOLDEN_FOLDER;
const char END[] = "(end of the text)";

QString headingBefore(const QStringList &lines, int index)
{
    for (int i = qMin(index, lines.size() - 1); i >= 0; --i) {
        if (lines.at(i).startsWith('['))
            return lines.at(i) + ", ";
    }
    return QString();
}

QString rewrite(const QString &path, const QStringList &lines)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(lines.join('\n').toUtf8() + '\n') < 0)
        return path + " could not be written: " + file.errorString();
    return path + " was rewritten, as STK_UPDATE_GOLDEN asks; unset it, and read the difference before it is committed";
}
} // namespace

Golden::Golden(const QString &name) : m_path(QDir(FOLDER).filePath(name)) {}

void Golden::add(const QString &line)
{
    m_lines << line.split('\n');
}

void Golden::add(const QStringList &lines)
{
    for (const QString &line : lines)
        add(line);
}

QString Golden::difference() const
{
    QStringList expected;
    QFile file(m_path);
    if (file.open(QIODevice::ReadOnly)) {
        expected = QString::fromUtf8(file.readAll()).split('\n');
        expected.removeLast(); // behind the last line's end
    }
    if (expected == m_lines)
        return QString();
    if (qgetenv("STK_UPDATE_GOLDEN") == "1")
        return rewrite(m_path, m_lines);
    if (expected.isEmpty())
        return m_path + ": " + (file.error() ? file.errorString() : QString("the file is empty"));

    int line = 0;
    while (expected.value(line) == m_lines.value(line) && line < qMin(expected.size(), m_lines.size()))
        ++line;
    return QString("%1, %2line %3\n   expected: %4\n   actual:   %5")
        .arg(m_path, headingBefore(expected, line))
        .arg(line + 1)
        .arg(expected.value(line, END), m_lines.value(line, END));
}

} // namespace support
