// The list of devices: a grid that says what to do next in the space that its rows leave, with links that lead there.
#pragma once

#include "Controls.h"
#include "DeviceRows.h"

#include <QLabel>
#include <QTableWidget>

#include <functional>

class DeviceGrid : public KeepsItsRow<QTableWidget> {
public:
    explicit DeviceGrid(QWidget* parent);
    // `follow` is given a link's target. A hint without a text goes away.
    void setHint(const deviceRows::Hint& hint, std::function<void(const QString& target)> follow);
    // The column in which what there is no room for goes word by word.
    void setColumnOfWords(int column);

    QLabel* lblHint; // Tab goes from link to link

protected:
    void updateGeometries() override;

private:
    void PlaceHint();
};
