// A list or grid with a hint about what to do next below its rows.
#pragma once

#include "Controls.h"

#include <QPaintEvent>
#include <QPainter>
#include <QString>
#include <QWidget>

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
        const int margin = this->fontMetrics().height();
        const QModelIndex last = this->model()->index(this->model()->rowCount() - 1, 0);
        QRect space = this->viewport()->rect().adjusted(margin, 0, -margin, 0);
        space.setTop(std::max(0, this->visualRect(last).bottom() + 1));
        QPainter painter(this->viewport());
        painter.setPen(this->palette().color(QPalette::PlaceholderText));
        painter.drawText(space, Qt::AlignCenter | Qt::TextWordWrap, hint_);
    }

private:
    QString hint_;
};
