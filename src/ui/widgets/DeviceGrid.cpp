#include "DeviceGrid.h"

#include <QStyle>
#include <QStyledItemDelegate>

#include <algorithm>
#include <utility>

namespace {

class WordsDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        const QStyle* style = option->widget->style();
        const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, option, option->widget) + 1;
        const int room = option->rect.width() - 2 * margin;
        option->text = Q(deviceRows::WordsThatFit(option->text.toStdString(), [&](const std::string& words) {
            return option->fontMetrics.horizontalAdvance(Q(words)) <= room;
        }));
    }
};

} // namespace

DeviceGrid::DeviceGrid(QWidget* parent) : KeepsItsRow(parent), lblHint(Named(new QLabel(viewport()), "lblHint")) {
    lblHint->setTextFormat(Qt::RichText);
    lblHint->setWordWrap(true);
    lblHint->setAlignment(Qt::AlignCenter);
    lblHint->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    lblHint->setContextMenuPolicy(Qt::NoContextMenu); // so that the grid's own opens
    lblHint->hide();
}

void DeviceGrid::setColumnOfWords(int column) {
    setItemDelegateForColumn(column, new WordsDelegate(this));
}

void DeviceGrid::setHint(const deviceRows::Hint& hint, std::function<void(const QString&)> follow) {
    QStringList links;
    for (const deviceRows::Hint::Link& link : hint.links)
        links << QString("<a href=\"%1\">%2</a>").arg(Q(link.target), Q(link.caption));
    const QString text = Q(hint.text).toHtmlEscaped() + "<br>" + links.join(" &nbsp; ");
    if (hint.text.empty() && lblHint->hasFocus())
        setFocus(); // rather than an arbitrary control
    lblHint->setVisible(!hint.text.empty());
    if (lblHint->text() != text) // the link that has the focus keeps it
        lblHint->setText(text);
    lblHint->disconnect(this);
    connect(lblHint, &QLabel::linkActivated, this, std::move(follow));
    PlaceHint();
}

void DeviceGrid::updateGeometries() {
    KeepsItsRow::updateGeometries();
    PlaceHint();
}

void DeviceGrid::PlaceHint() {
    const int last = rowCount() - 1, margin = fontMetrics().height();
    const int top = last < 0 ? 0 : std::max(0, rowViewportPosition(last) + rowHeight(last));
    lblHint->setGeometry(viewport()->rect().adjusted(margin, top, -margin, 0));
}
