#include "Script.h"

#include <QtCore/QFile>
#include <QtCore/QSet>

namespace
{

bool isUserLine(const QString &word)
{
    return word == "see" || word == "do" || word == "set";
}

bool isCardLine(const QString &word)
{
    return word == "term" || word == "card" || word == "reset";
}

RoadRow rowOf(const QString &name, int line)
{
    RoadRow row;
    row.name = name;
    row.path = name.left(name.lastIndexOf(": ")).split(" > ");
    row.line = line;
    return row;
}

/// What is wrong with the line, or nothing.
QString addLine(const QString &line, RoadRow *row)
{
    const QString word = line.section(' ', 0, 0);
    const QString rest = line.mid(word.size()).trimmed();
    if (!row)
        return "a line before the first row";
    if (isUserLine(word))
        row->user << word + ' ' + rest;
    else if (isCardLine(word))
        row->exchange << (rest.isEmpty() ? word : word + ' ' + rest);
    else
        return "'" + word + "' is none of see, do, set, term, card, reset";
    return QString();
}

} // namespace

QList<RoadRow> readRoadScript(const QString &file, QString *error)
{
    QFile source(file);
    if (!source.open(QIODevice::ReadOnly)) {
        *error = file + ": " + source.errorString();
        return {};
    }
    QList<RoadRow> rows;
    QSet<QString> names;
    const QStringList lines = QString::fromUtf8(source.readAll()).split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        QString problem;
        if (line.startsWith("== ")) {
            rows << rowOf(line.mid(3), i + 1);
            problem = names.contains(rows.last().name) ? "a second row of this name" : "";
            names << rows.last().name;
        } else if (!line.isEmpty() && !line.startsWith('#')) {
            problem = addLine(line, rows.isEmpty() ? nullptr : &rows.last());
        }
        if (!problem.isEmpty()) {
            *error = QString("%1:%2: %3").arg(file).arg(i + 1).arg(problem);
            return {};
        }
    }
    if (rows.isEmpty())
        *error = file + ": no rows";
    return rows;
}
