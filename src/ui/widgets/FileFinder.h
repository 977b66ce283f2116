// The firmware browser's three lists: mounted places, folders, files.
#pragma once

#include "HintedGrid.h"

#include <QComboBox>
#include <QTreeView>
#include <QTreeWidget>

class DriveListBox : public QComboBox {
    Q_OBJECT
public:
    using QComboBox::QComboBox;
    // Lists the home folder and the mounts that can hold a user's files.
    void Fill();
    // Selects the place that a folder is in.
    void ShowPlaceOf(const QString& folder);
};

// The folders below a place. An opened folder is read from the disk and sorted with a delay; it is kept in view until
// the user moves the view.
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

// The files of a folder, or a hint if there are none. The focus alone picks no file.
class FileListBox : public Hinted<QTreeWidget> {
    Q_OBJECT
public:
    enum Column { FILENAME, UPDATED, SIZE };
    explicit FileListBox(QWidget* parent);
    // The width at which a cell shows all of the text.
    int WidthFor(const QString& text) const;

protected:
    void focusInEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
};
