#ifndef DASHBOARD_SESSIONMODEL_H
#define DASHBOARD_SESSIONMODEL_H

#include "dashboard/ExchangeText.h"

#include <QtCore/QAbstractTableModel>
#include <QtCore/QSortFilterProxyModel>

#include <deque>

namespace dashboard
{

/// The session as a table, newest last: one row for each entry. User-interface thread.
class SessionModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { TimeColumn, DirectionColumn, TextColumn, BytesColumn, ColumnCount };

    /// So many entries are kept; the oldest go first.
    static constexpr int limit = 10000;

    using QAbstractTableModel::QAbstractTableModel;

    /// The entry of a row that is there.
    const SessionEntry &entry(int row) const { return m_entries[static_cast<std::size_t>(row)]; }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

public slots:
    void add(const dashboard::SessionEntry &entry);
    void clear();

private:
    std::deque<SessionEntry> m_entries;
};

/// The rows of a SessionModel that somebody wants to see.
class SessionFilter : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

    /// Shows entries of these kinds only; none: of every kind but APDUs, which say the same again.
    void setKinds(const QList<EntryKind> &kinds);

    /// Shows entries with this text in their words or bytes only, in upper or lower case; bytes also without blanks.
    void setSearch(const QString &text);

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override;

private:
    QList<EntryKind> m_kinds;
    QString m_search;
};

} // namespace dashboard

#endif // DASHBOARD_SESSIONMODEL_H
