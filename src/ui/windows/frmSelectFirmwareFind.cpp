// The firmware browser's file finder: places, folders, files, and paths that are dropped, typed or pasted.

#include "Controls.h"
#include "Dialogs.h"
#include "SettingKeys.h"
#include "UserSettings.h"
#include "basApp.h"
#include "frmSelectFirmware.h"

#include <QCompleter>
#include <QDateTime>
#include <QDir>
#include <QDragEnterEvent>
#include <QHeaderView>
#include <QMimeData>
#include <QUrl>

#include <fmt/format.h>

#include <utility>

namespace {

using enum FileListBox::Column;
constexpr const char* LAST_FOLDER_KEY = "Last_Path"; // per user
constexpr int SORT_KEY = Qt::UserRole;               // what a column is sorted by, if not by its text

class FileItem : public QTreeWidgetItem {
public:
    using QTreeWidgetItem::QTreeWidgetItem;
    bool operator<(const QTreeWidgetItem& other) const override {
        const int column = treeWidget()->sortColumn();
        if (column == FILENAME)
            return text(FILENAME).localeAwareCompare(other.text(FILENAME)) < 0;
        return data(column, SORT_KEY).toLongLong() < other.data(column, SORT_KEY).toLongLong();
    }
};

platform::FileTime LastWriteTime(const QFileInfo& file) {
    return platform::FileTimeFromUnix(file.lastModified().toMSecsSinceEpoch() * 1'000'000);
}

} // namespace

void frmSelectFirmware::BuildFileFinder() {
    const int gap = 6, line = fontMetrics().height() + 8;
    const int width = fraFileFinder->width(), height = fraFileFinder->height();
    Drive1 = Named(new DriveListBox(fraFileFinder), "Drive1");
    Drive1->setGeometry(gap, line, width / 4, line);
    Dir1 = Named(new DirListBox(fraFileFinder), "Dir1");
    Dir1->setGeometry(gap, 2 * line + gap, width / 4, height - 2 * line - 2 * gap);
    folders_->setFilter(QDir::Dirs | QDir::NoDotAndDotDot);
    folders_->setRootPath("/");
    Dir1->setModel(folders_);
    const int left = width / 4 + 2 * gap, right = width - gap;
    auto* lblFolder = Named(new QLabel("F&older:", fraFileFinder), "lblFolder");
    const int captionWidth = lblFolder->sizeHint().width() + gap;
    lblFolder->setGeometry(left, line, captionWidth, line);
    txtFolder = Named(new QLineEdit(fraFileFinder), "txtFolder");
    txtFolder->setGeometry(left + captionWidth, line, right - left - captionWidth, line);
    txtFolder->setToolTip("A folder or a package, typed or pasted; Enter opens it");
    txtFolder->setCompleter(new QCompleter(folders_, txtFolder));
    lblFolder->setBuddy(txtFolder);
    ListView1 = Named(new FileListBox(fraFileFinder), "ListView1");
    ListView1->setGeometry(left, 2 * line + gap, right - left, height - 2 * line - 2 * gap);
    MakeCopyable(ListView1);

    setTabOrder(Drive1, txtFolder);
    connect(Drive1, &QComboBox::activated, this, [this] { setFolder(Drive1->currentData().toString().toStdString()); });
    const auto open = [this](const QModelIndex& index) { setFolder(folders_->filePath(index).toStdString()); };
    connect(Dir1, &QTreeView::clicked, this, open);
    connect(Dir1, &QTreeView::activated, this, open);
    connect(txtFolder, &QLineEdit::returnPressed, this, [this] { OpenPath(txtFolder->text()); });
    connect(ListView1->header(), &QHeaderView::sectionClicked, this, &frmSelectFirmware::ListView1_ColumnClick);
    // Reading processes events, and the view hasn't finished its own change of row yet.
    const auto pick = [this] {
        Pick();
        QMetaObject::invokeMethod(this, &frmSelectFirmware::ReadPicked, Qt::QueuedConnection);
    };
    connect(ListView1, &QTreeWidget::currentItemChanged, this, [pick](QTreeWidgetItem* item) {
        if (item == nullptr)
            return;
        item->setSelected(true); // even if it only became the current one: the buttons work on it
        pick();
    });
    // The row that is already current: its file may have changed.
    connect(ListView1, &QTreeWidget::itemClicked, this, pick);
    connect(ListView1, &QTreeWidget::itemDoubleClicked, this, &frmSelectFirmware::ListView1_DblClick);
    connect(watcher_, &QFileSystemWatcher::directoryChanged, this, &frmSelectFirmware::Dir1_Change);
}

void frmSelectFirmware::setFolder(const std::string& folder) {
    const std::string before = std::exchange(folder_, folder.ends_with('/') ? folder : folder + '/');
    if (folder_ != before) { // a file of the same name elsewhere is another file
        const QSignalBlocker quiet(ListView1);
        ListView1->setCurrentItem(nullptr);
    }
    Dir1->Open(folders_->index(Q(folder_)));
    Drive1->ShowPlaceOf(Q(folder_));
    txtFolder->setText(QDir::cleanPath(Q(folder_)));
    if (!watcher_->directories().isEmpty())
        watcher_->removePaths(watcher_->directories());
    watcher_->addPath(Q(folder_));
    Dir1_Change();
}

// Fills the list; a file that was picked and is still there stays picked.
void frmSelectFirmware::Dir1_Change() {
    const QString picked = ListView1->currentItem() == nullptr ? QString() : ListView1->currentItem()->text(FILENAME);
    const QSignalBlocker quiet(ListView1); // a change of folder touches neither labels nor buttons
    const auto fill = [this] {
        ListView1->clear();
        AddFilesOf("*.twd");
        AddFilesOf("*.bin");
        ListView1->sortItems(sortColumn_, sortOrder_);
        ListView1->header()->setSortIndicator(sortColumn_, sortOrder_);
        ListView1->setHint(
            ListView1->topLevelItemCount() > 0 ? ""
            : QFileInfo(Q(folder_)).isReadable()
                ? "No package (*.twd, *.bin) in this folder.\nChoose another folder, type or paste a path above,\n"
                  "or drop a package here."
                : "This folder can't be read.\nChoose another one on the left.");
        platform::SaveUserSetting(settingKeys::GLOBAL_SECTION, LAST_FOLDER_KEY, folder_);
    };
    platform::Attempt(fill, [this](const platform::Failure& f) {
        StatusDisplay(fmt::format("Error #{}: {}", f.Number, f.Description), LEVEL_ERROR);
    });
    const QList<QTreeWidgetItem*> again = ListView1->findItems(picked, Qt::MatchExactly, FILENAME);
    if (!picked.isEmpty() && !again.isEmpty())
        ListView1->setCurrentItem(again.first());
}

void frmSelectFirmware::AddFilesOf(const char* pattern) {
    QList<QTreeWidgetItem*> items;
    for (const QFileInfo& file : QDir(Q(folder_)).entryInfoList({pattern}, QDir::Files)) {
        auto* item = new FileItem;
        item->setText(FILENAME, file.fileName());
        item->setText(UPDATED, Q(packageText::LastUpdated(LastWriteTime(file))));
        item->setText(SIZE, Q(packageText::SizeText(file.size())));
        item->setData(UPDATED, SORT_KEY, file.lastModified().toMSecsSinceEpoch());
        item->setData(SIZE, SORT_KEY, file.size());
        for (const int column : {FILENAME, UPDATED})
            item->setToolTip(column, item->text(column));
        items << item;
    }
    ListView1->addTopLevelItems(items);
}

bool frmSelectFirmware::SelectFile(const std::string& path) {
    const QFileInfo file(Q(path));
    setFolder(file.absolutePath().toStdString());
    const QList<QTreeWidgetItem*> found = ListView1->findItems(file.fileName(), Qt::MatchExactly, FILENAME);
    if (found.isEmpty())
        return false;
    {
        const QSignalBlocker quiet(ListView1); // it is picked below, even if it was already current
        ListView1->setCurrentItem(found.first());
    }
    ListView1_ItemClick();
    return true;
}

void frmSelectFirmware::dragEnterEvent(QDragEnterEvent* event) {
    if (!loading_ && event->mimeData()->hasUrls() && event->mimeData()->urls().first().isLocalFile())
        event->acceptProposedAction();
}

void frmSelectFirmware::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    OpenPath(event->mimeData()->urls().first().toLocalFile());
}

// A folder or a package as a user gives it: typed, pasted from a file manager or a shell, dropped.
void frmSelectFirmware::OpenPath(QString path) {
    if (loading_)
        return;
    path = path.trimmed();
    for (const QChar quote : {'"', '\''})
        if (path.size() > 1 && path.startsWith(quote) && path.endsWith(quote))
            path = path.sliced(1, path.size() - 2);
    if (const QUrl url(path); url.isLocalFile())
        path = url.toLocalFile();
    if (path == "~" || path.startsWith("~/"))
        path.replace(0, 1, QDir::homePath());
    const QFileInfo given(QDir(Q(folder_)), path);
    const std::string name = given.absoluteFilePath().toStdString();
    if (!path.isEmpty() && given.isDir()) {
        setFolder(name);
        Detail(picked_.view.detail); // without the message about an earlier invalid path
    } else if (!given.isFile() || !SelectFile(name)) {
        return Detail(fmt::format("'{}' is neither a folder nor a package file (*.twd, *.bin).", path.toStdString()));
    }
    ListView1->setFocus();
}

void frmSelectFirmware::ListView1_ColumnClick(int column) {
    const auto sort = [&] {
        if (column == sortColumn_)
            sortOrder_ = sortOrder_ == Qt::AscendingOrder ? Qt::DescendingOrder : Qt::AscendingOrder;
        sortColumn_ = column;
        ListView1->sortItems(sortColumn_, sortOrder_);
        ListView1->header()->setSortIndicator(sortColumn_, sortOrder_);
    };
    platform::Attempt(sort, ShowFailure("ListView1_ColumnClick"));
}
