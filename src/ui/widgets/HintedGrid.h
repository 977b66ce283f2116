// A grid that says what to do next in the space that its rows leave.
#pragma once

#include "Controls.h"

#include <QPainter>
#include <QTableWidget>

#include <algorithm>
#include <utility>

template <class View> class Hinted : public KeepsItsRow<View> {
public:
    using KeepsItsRow<View>::KeepsItsRow;
    void setHint(const QString& hint) {
        if (hint == std::exchange(hint_, hint))
            return;
        this->viewport()->update();
    }
    QString hint() const { return hint_; }

protected:
    void paintEvent(QPaintEvent* event) override {
        View::paintEvent(event);
        if (hint_.isEmpty())
            return;
        const int margin = this->fontMetrics().height(), last = this->model()->rowCount() - 1;
        QRect space = this->viewport()->rect().adjusted(margin, 0, -margin, 0);
        space.setTop(std::max(0, last < 0 ? 0 : this->rowViewportPosition(last) + this->rowHeight(last)));
        QPainter painter(this->viewport());
        painter.setPen(this->palette().color(QPalette::PlaceholderText));
        painter.drawText(space, Qt::AlignCenter | Qt::TextWordWrap, hint_);
    }

private:
    QString hint_;
};
