#include "StatusModel.h"

#include "Levels.h"
#include "StatusText.h"

#include <QFont>
#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace {

QPixmap MarkPixmap(const statusText::Look& look, int size, const QColor& paper) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(QRgb(look.colour)));
    const statusText::Mark& mark = look.mark;
    const double radius = mark.radius * size / 2;
    // A triangle's centre is below that of the box around it.
    const QPointF middle(size / 2.0, size / 2.0 + (mark.degrees == -90 ? radius / 6 : 0));
    QPolygonF corners;
    for (int corner = 0; corner < mark.sides; ++corner) {
        const double angle = (mark.degrees + 360.0 * corner / mark.sides) * std::numbers::pi / 180;
        corners << middle + radius * QPointF(std::cos(angle), std::sin(angle));
    }
    if (corners.isEmpty())
        painter.drawEllipse(middle, radius, radius);
    else
        painter.drawPolygon(corners);
    if (mark.sign != 0) {
        QFont font = painter.font();
        font.setPixelSize(std::max(1, size * 3 / 4));
        font.setBold(true);
        painter.setFont(font);
        painter.setPen(paper);
        painter.drawText(QRectF(middle - QPointF(size, size), QSizeF(2 * size, 2 * size)), Qt::AlignCenter,
                         QString(QChar(QLatin1Char(mark.sign))));
    }
    return pixmap;
}

} // namespace

QIcon LevelIcon(std::int32_t level, bool dark) {
    QIcon icon;
    const statusText::Look look = statusText::LookOf(level, dark), picked{0xFFFFFF, look.mark, look.wholeRow};
    for (const int size : {12, 16, 24, 32, 48}) { // for screens with one, two and three pixels per point
        icon.addPixmap(MarkPixmap(look, size, dark ? Qt::black : Qt::white));
        icon.addPixmap(MarkPixmap(picked, size, Qt::black), QIcon::Selected); // its own colour would be lost there
    }
    return icon;
}

StatusModel::StatusModel(int maximumRowCount, QObject* parent)
    : QAbstractTableModel(parent), maximumRowCount_(maximumRowCount) {}

int StatusModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows_.size());
}

int StatusModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : COLUMNS;
}

QVariant StatusModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const Row& shown = row(index.row());
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole)
        return shown.cells[std::size_t(index.column())];
    return LookOf(shown, index.column(), role);
}

QVariant StatusModel::LookOf(const Row& row, int column, int role) const {
    if (role == Qt::DecorationRole && column == MESSAGE) { // the level's own column is just wide enough for its text
        QIcon& icon = icons_[row.level];
        if (icon.isNull())
            icon = LevelIcon(row.level, dark_);
        return icon;
    }
    if (role == Qt::ForegroundRole) {
        const statusText::Look look = statusText::LookOf(row.level, dark_);
        if (look.wholeRow || column == LEVEL)
            return QColor(QRgb(look.colour));
    }
    if (role == Qt::FontRole && row.level >= LEVEL_FATAL) {
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    return {};
}

QVariant StatusModel::headerData(int section, Qt::Orientation orientation, int role) const {
    static constexpr std::array<const char*, COLUMNS> HEADINGS{"Time", "Level", "Module", "Message"};
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

void StatusModel::clear() {
    beginResetModel();
    rows_.clear();
    endResetModel();
}

void StatusModel::setDark(bool dark) {
    dark_ = dark;
    icons_.clear();
    if (!rows_.empty())
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, COLUMNS - 1));
}

void StatusFilter::setFilter(std::int32_t lowestLevel, const QString& module) {
    lowestLevel_ = lowestLevel;
    module_ = module;
    invalidateFilter();
}

bool StatusFilter::filterAcceptsRow(int sourceRow, const QModelIndex&) const {
    const StatusModel::Row& row = model_.row(sourceRow);
    return row.level >= lowestLevel_ && (module_.isEmpty() || row.cells[StatusModel::MODULE] == module_);
}
