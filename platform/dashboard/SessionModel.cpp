#include "dashboard/SessionModel.h"

namespace dashboard
{

namespace
{

const char *const titles[] = {
    QT_TRANSLATE_NOOP("dashboard::SessionModel", "Time"),
    QT_TRANSLATE_NOOP("dashboard::SessionModel", "Who"),
    QT_TRANSLATE_NOOP("dashboard::SessionModel", "What"),
    QT_TRANSLATE_NOOP("dashboard::SessionModel", "Bytes"),
};

QString cellText(const SessionEntry &entry, int column)
{
    switch (column) {
    case SessionModel::TimeColumn:
        return entry.time.toString("hh:mm:ss.zzz");
    case SessionModel::DirectionColumn:
        return directionOf(entry.kind);
    case SessionModel::TextColumn:
        return readable(entry.text);
    default:
        return bytesOf(entry);
    }
}

} // namespace

int SessionModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_entries.size());
}

int SessionModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant SessionModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return QVariant();
    const SessionEntry &shown = entry(index.row());
    if (role == Qt::DisplayRole)
        return cellText(shown, index.column());
    if (role == Qt::ToolTipRole && index.column() == TextColumn) // tool tips guess markup; a card's text is none
        return "<p>" + cellText(shown, TextColumn).toHtmlEscaped() + "</p>";
    if (role == Qt::AccessibleTextRole)
        return QString(titles[index.column()]) + ": " + cellText(shown, index.column());
    return QVariant();
}

QVariant SessionModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return QVariant();
    return tr(titles[section]);
}

void SessionModel::add(const SessionEntry &entry)
{
    if (rowCount() == limit) {
        beginRemoveRows(QModelIndex(), 0, 0);
        m_entries.pop_front();
        endRemoveRows();
    }
    beginInsertRows(QModelIndex(), rowCount(), rowCount());
    m_entries.push_back(entry);
    endInsertRows();
}

void SessionModel::clear()
{
    beginResetModel();
    m_entries.clear();
    endResetModel();
}

void SessionFilter::setKinds(const QList<EntryKind> &kinds)
{
    m_kinds = kinds;
    invalidateFilter();
}

void SessionFilter::setSearch(const QString &text)
{
    m_search = text.trimmed();
    invalidateFilter();
}

bool SessionFilter::filterAcceptsRow(int row, const QModelIndex &) const
{
    const SessionEntry &entry = static_cast<const SessionModel *>(sourceModel())->entry(row);
    if (m_kinds.isEmpty() ? entry.kind == EntryKind::Apdu : !m_kinds.contains(entry.kind))
        return false;
    if (m_search.isEmpty())
        return true;
    const QString bytes = bytesOf(entry);
    const QString everything =
        directionOf(entry.kind) + '\n' + entry.text + '\n' + bytes + '\n' + QString(bytes).remove(' ');
    return everything.contains(m_search, Qt::CaseInsensitive);
}

} // namespace dashboard
