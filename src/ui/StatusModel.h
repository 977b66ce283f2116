// The rows of a status window: at most 500 with the heading, the oldest go first.
#pragma once

#include <QAbstractTableModel>
#include <QString>

#include <array>
#include <deque>
#include <vector>

class StatusModel : public QAbstractTableModel {
    Q_OBJECT
public:
    using Row = std::array<QString, 4>; // Time, Level, Module, Message

    explicit StatusModel(int maximumRowCount, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Appends in one step and drops what goes beyond the maximum (the heading counts).
    void append(std::vector<Row> rows);

private:
    std::deque<Row> rows_;
    int maximumRowCount_;
};
