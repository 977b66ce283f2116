#include "FileFinder.h"

#include "Places.h"

#include <QDir>
#include <QFileInfo>
#include <QHeaderView>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStorageInfo>

#include <algorithm>

void DriveListBox::Fill() {
    addItem("Home", QDir::homePath());
    for (const QStorageInfo& volume : QStorageInfo::mountedVolumes()) {
        const QString path = volume.rootPath();
        if (volume.isValid() && volume.isReady() && QFileInfo(path).isDir() && findData(path) < 0 &&
            places::HoldsUserFiles(path.toStdString(), volume.fileSystemType().toStdString()))
            addItem(path, path);
    }
}

void DriveListBox::ShowPlaceOf(const QString& folder) {
    const QString shown = currentData().toString();
    if (currentText() == "Home" && (folder + '/').startsWith(shown + '/'))
        return; // chosen by its name; not replaced by the mount that contains it
    if (const int place = findData(QStorageInfo(folder).rootPath()); place >= 0)
        setCurrentIndex(place);
}

DirListBox::DirListBox(QWidget* parent) : QTreeView(parent) {
    setHeaderHidden(true);
    setIndentation(fontMetrics().averageCharWidth() * 2);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(QHeaderView::ResizeToContents); // deep folders are scrolled to, not cut off
    for (QScrollBar* bar : {verticalScrollBar(), horizontalScrollBar()})
        connect(bar, &QScrollBar::actionTriggered, this, [this] { following_ = false; });
}

void DirListBox::setModel(QAbstractItemModel* model) {
    QTreeView::setModel(model);
    for (int column = 1; column < model->columnCount(); ++column)
        hideColumn(column);
    connect(model, &QAbstractItemModel::layoutChanged, this, &DirListBox::KeepInView, Qt::QueuedConnection);
    connect(model, &QAbstractItemModel::rowsInserted, this, &DirListBox::KeepInView, Qt::QueuedConnection);
    connect(horizontalScrollBar(), &QScrollBar::rangeChanged, this, &DirListBox::KeepInView, Qt::QueuedConnection);
}

void DirListBox::Open(const QModelIndex& folder) {
    following_ = true;
    setCurrentIndex(folder);
    expand(folder);
    KeepInView();
}

void DirListBox::KeepInView() {
    if (!following_)
        return;
    const QRect at = visualRect(currentIndex());
    if (!at.isValid() || at.top() < 0 || at.bottom() > viewport()->height())
        scrollTo(currentIndex(), QAbstractItemView::PositionAtCenter);
    // Horizontally that would show the middle of the widest name, where this one may have no text.
    QScrollBar* across = horizontalScrollBar();
    across->setValue(across->value() + visualRect(currentIndex()).left() - viewport()->width() / 3);
}

void DirListBox::mousePressEvent(QMouseEvent* event) {
    following_ = false;
    QTreeView::mousePressEvent(event);
}

void DirListBox::keyPressEvent(QKeyEvent* event) {
    following_ = false;
    QTreeView::keyPressEvent(event);
}

FileListBox::FileListBox(QWidget* parent) : Hinted(parent) {
    setHeaderLabels({"Filename", "Last Updated", "Size"});
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    header()->setSectionsClickable(true);
    header()->setStretchLastSection(false); // such a section never becomes narrower
    header()->setSortIndicatorShown(true);
}

int FileListBox::WidthFor(const QString& text) const {
    const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1;
    return fontMetrics().horizontalAdvance(text) + 4 * margin;
}

// The view would make its first row current, a file that nobody has picked.
void FileListBox::focusInEvent(QFocusEvent* event) {
    if (currentIndex().isValid())
        return Hinted::focusInEvent(event);
    const QSignalBlocker quiet(this);
    Hinted::focusInEvent(event);
    setCurrentItem(nullptr);
}

// Half of the width, a quarter and the rest; but the time is never cut off or pushed out of the list.
void FileListBox::resizeEvent(QResizeEvent* event) {
    Hinted::resizeEvent(event);
    const int space = viewport()->width();
    const int time = std::max(width() / 4, WidthFor("2026-12-28 20:58:38 (local)")); // the longest form
    const int name = std::min(width() / 2, space - time - WidthFor("9999 kB"));
    setColumnWidth(FILENAME, name);
    setColumnWidth(UPDATED, time);
    setColumnWidth(SIZE, space - time - name);
}
