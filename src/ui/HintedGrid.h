// A grid that says what to do next in the space that its rows leave.
#pragma once

#include "Controls.h"

#include <QPainter>
#include <QTableWidget>

#include <algorithm>

class HintedGrid : public KeepsItsRow<QTableWidget> {
public:
    using KeepsItsRow::KeepsItsRow;
    void setHint(const QString& hint) {
        hint_ = hint;
        viewport()->update();
    }
    QString hint() const { return hint_; }

protected:
    void paintEvent(QPaintEvent* event) override {
        QTableWidget::paintEvent(event);
        if (hint_.isEmpty())
            return;
        const int margin = fontMetrics().height();
        QRect space = viewport()->rect().adjusted(margin, 0, -margin, 0);
        space.setTop(
            std::max(0, rowCount() == 0 ? 0 : rowViewportPosition(rowCount() - 1) + rowHeight(rowCount() - 1)));
        QPainter painter(viewport());
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(space, Qt::AlignCenter | Qt::TextWordWrap, hint_);
    }

private:
    QString hint_;
};
