#include "StatusModel.h"

#include <algorithm>
#include <iterator>

StatusModel::StatusModel(int maximumRowCount, QObject* parent)
    : QAbstractTableModel(parent), maximumRowCount_(maximumRowCount) {}

int StatusModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows_.size());
}

int StatusModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 4;
}

QVariant StatusModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    return rows_[std::size_t(index.row())][std::size_t(index.column())];
}

QVariant StatusModel::headerData(int section, Qt::Orientation orientation, int role) const {
    static constexpr std::array<const char*, 4> HEADINGS{"Time", "Level", "Module", "Message"};
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
        return QString::fromLatin1(HEADINGS[std::size_t(section)]);
    if (orientation == Qt::Horizontal && role == Qt::TextAlignmentRole)
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    return {};
}

void StatusModel::append(std::vector<Row> rows) {
    const std::size_t most = std::size_t(maximumRowCount_ - 1);
    if (rows.size() > most)
        rows.erase(rows.begin(), rows.end() - std::ptrdiff_t(most));
    if (rows.empty())
        return;
    const std::size_t total = rows_.size() + rows.size();
    if (total > most) {
        const std::size_t surplus = total - most;
        beginRemoveRows({}, 0, int(surplus) - 1);
        rows_.erase(rows_.begin(), rows_.begin() + std::ptrdiff_t(surplus));
        endRemoveRows();
    }
    beginInsertRows({}, int(rows_.size()), int(rows_.size() + rows.size()) - 1);
    std::move(rows.begin(), rows.end(), std::back_inserter(rows_));
    endInsertRows();
}
