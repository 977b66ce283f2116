// The firmware browser's three lists: mounted places, folders, files.
#pragma once

#include "HintedGrid.h"

#include <QComboBox>
#include <QTreeView>
#include <QTreeWidget>

// The mounted places.
class DriveListBox : public QComboBox {
    Q_OBJECT
public:
    using QComboBox::QComboBox;
    // The user's own place, and the mounts that can hold files of a user.
    void Fill();
    // Shows the place that a folder is in.
    void ShowPlaceOf(const QString& folder);
};

// The folders below a place. A folder that was opened comes from the disk after a while, and is sorted once more
// then; it is kept in view until the user moves the view.
class DirListBox : public QTreeView {
    Q_OBJECT
public:
    explicit DirListBox(QWidget* parent);
    void setModel(QAbstractItemModel* model) override;
    void Open(const QModelIndex& folder);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void KeepInView();
    bool following_ = false;
};

// The files of a folder; says what to do where there is none. The focus alone picks no file.
class FileListBox : public Hinted<QTreeWidget> {
    Q_OBJECT
public:
    enum Column { FILENAME, UPDATED, SIZE };
    explicit FileListBox(QWidget* parent);
    // Wide enough for that text in a cell.
    int WidthFor(const QString& text) const;

protected:
    void focusInEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
};
