// The rows of a status window: at most 500 with the heading, of which the oldest are dropped first. The filter hides
// rows without removing them.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <QSortFilterProxyModel>
#include <QString>

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <vector>

// A level's mark in its colour.
QIcon LevelIcon(std::int32_t level, bool dark);

class StatusModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { TIME, LEVEL, MODULE, MESSAGE, COLUMNS };
    struct Row {
        std::array<QString, COLUMNS> cells;
        std::int32_t level;
    };

    explicit StatusModel(int maximumRowCount, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Appends in one step and drops what goes beyond the maximum (the heading counts).
    void append(std::vector<Row> rows);
    void clear();
    void setDark(bool dark); // the background of the rows
    const Row& row(int index) const { return rows_[std::size_t(index)]; }

private:
    QVariant LookOf(const Row& row, int column, int role) const;

    std::deque<Row> rows_;
    int maximumRowCount_;
    bool dark_ = false;
    mutable std::map<std::int32_t, QIcon> icons_; // by level, created when first shown
};

class StatusFilter : public QSortFilterProxyModel {
    Q_OBJECT
public:
    explicit StatusFilter(StatusModel& model) : model_(model) { setSourceModel(&model); }
    void setFilter(std::int32_t lowestLevel, const QString& module); // an empty module means all
    bool hides() const { return lowestLevel_ > 0 || !module_.isEmpty(); }

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    const StatusModel& model_;
    std::int32_t lowestLevel_ = 0;
    QString module_;
};
