// The list of devices: a grid with a hint and links below its rows that say what to do next.
#pragma once

#include "Controls.h"
#include "DeviceRows.h"

#include <QLabel>
#include <QTableWidget>

#include <functional>

class DeviceGrid : public KeepsItsRow<QTableWidget> {
public:
    explicit DeviceGrid(QWidget* parent);
    // `follow` receives a link's target. A hint without a text is hidden.
    void setHint(const deviceRows::Hint& hint, std::function<void(const QString& target)> follow);
    // The column whose text is shortened word by word where there is too little room.
    void setColumnOfWords(int column);

    QLabel* lblHint; // Tab goes from link to link

protected:
    void updateGeometries() override;

private:
    void PlaceHint();
};
