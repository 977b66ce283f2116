#include "AppIcon.h"

#include <QPainter>
#include <QPixmap>

QIcon AppIcon() {
    constexpr int SIZE = 64;
    QPixmap picture(SIZE, SIZE);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0x20, 0x5a, 0x8c), 5, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(QColor(0xe8, 0xf1, 0xf8));
    painter.drawRoundedRect(8, 34, 48, 24, 5, 5); // the board
    painter.setPen(QPen(QColor(0xd0, 0x6a, 0x1e), 6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawLine(32, 46, 32, 10); // the line that hoists
    painter.drawLine(32, 8, 22, 19);
    painter.drawLine(32, 8, 42, 19);
    return QIcon(picture);
}
