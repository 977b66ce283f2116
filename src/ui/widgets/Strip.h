// A line across a window that is a button as well. Text that doesn't fit is shortened, and is the tool tip.
#pragma once

#include "Controls.h"

#include <QPaintEvent>
#include <QPushButton>
#include <QStyleOptionButton>
#include <QStylePainter>

class Strip : public QPushButton {
public:
    explicit Strip(QWidget* parent) : QPushButton(parent) {
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed); // a long path must not widen the window
    }
    void setWarning(bool warns) { // drawn so that nobody overlooks it
        QFont bold = font();
        bold.setBold(warns);
        setFont(bold);
    }
    // `what`: what a click does.
    void setLine(const QString& line, const QString& what) {
        setText(QString(line).replace('&', "&&"));
        setToolTip(WrappedTip((line + ".  " + what).toStdString()));
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QStyleOptionButton option;
        initStyleOption(&option);
        const int margin = 2 * style()->pixelMetric(QStyle::PM_ButtonMargin, &option, this);
        option.text = fontMetrics().elidedText(text(), Qt::ElideMiddle, width() - margin);
        QStylePainter(this).drawControl(QStyle::CE_PushButton, option);
    }
};
