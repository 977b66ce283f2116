#include "frmSelectFirmware.h"

#include "CodePage.h"
#include "Controls.h"
#include "Dialogs.h"
#include "Guarded.h"
#include "MDIForm1.h"
#include "Paths.h"
#include "UserSettings.h"
#include "WindowSettings.h"
#include "WindowSystem.h"
#include "Windows.h"
#include "basApp.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QDragEnterEvent>
#include <QHeaderView>
#include <QLineEdit>
#include <QMimeData>
#include <QStorageInfo>

#include <fmt/format.h>

#include <utility>

namespace {

constexpr const char* MODULE = "frmSelectFirmware";

enum Column { FILENAME, UPDATED, SIZE };
constexpr int SORT_KEY = Qt::UserRole; // what a column is sorted by, where its text isn't

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

frmSelectFirmware::frmSelectFirmware()
    : Form("frmSelectFirmware", "Select Firmware Image"), folders_(new QFileSystemModel(this)),
      watcher_(new QFileSystemWatcher(this)) {
    BuildControls();
    setAcceptDrops(true);
}

void frmSelectFirmware::BuildControls() {
    const int gap = 6, line = fontMetrics().height() + 8;
    const int width = std::max(920, fontMetrics().averageCharWidth() * 126), side = 6 * line + 40;
    const int finderHeight = 7 * line + 6 * 10 + 2 * gap;
    fraFileFinder = Named(new QGroupBox("File Finder", this), "fraFileFinder");
    fraFileFinder->setGeometry(gap, gap, width - side - gap, finderHeight);
    BuildFileFinder();

    fraCommandSet = Named(new QGroupBox("Command Set", this), "fraCommandSet");
    fraCommandSet->setGeometry(width - side + gap, gap, side, finderHeight);
    int top = line;
    const auto button = [&](const char* name, const char* caption, void (frmSelectFirmware::*click)()) {
        auto* made = Named(new QPushButton(caption, fraCommandSet), name);
        made->setGeometry(gap, top, side - 2 * gap, line + 4);
        top += line + 10;
        connect(made, &QPushButton::clicked, this, click);
        return made;
    };
    cmdLoadImageAndConfig =
        button("cmdLoadImageAndConfig", "Load Image &And Config", &frmSelectFirmware::cmdLoadImageAndConfig_Click);
    cmdLoadSelected = button("cmdLoadSelected", "&Load Image Only", &frmSelectFirmware::cmdLoadSelected_Click);
    cmdLoadConfig = button("cmdLoadConfig", "Loa&d Config Only", &frmSelectFirmware::cmdLoadConfig_Click);
    cmdViewConfig = button("cmdViewConfig", "&View Config", &frmSelectFirmware::cmdViewConfig_Click);
    cmdPreferences = button("cmdPreferences", "&Preferences", &frmSelectFirmware::cmdPreferences_Click);
    cmdClose = button("cmdClose", "&Close Window", &frmSelectFirmware::Unload);
    for (QPushButton* load : {cmdLoadImageAndConfig, cmdLoadSelected, cmdLoadConfig, cmdViewConfig})
        load->setEnabled(false);

    fraProperties = Named(new QGroupBox("Firmware Image Properties", this), "fraProperties");
    fraProperties->setGeometry(gap, fraFileFinder->geometry().bottom() + gap, width, line * 6 + 2 * gap);
    const int half = width / 2;
    const auto label = [&](const char* name, int column, int row) {
        auto* made = Named(new QLabel(fraProperties), name);
        made->setGeometry(gap + column * half, line * (row + 1) - 4, half - 2 * gap, line);
        MakeCopyable(made);
        return made;
    };
    lblFilename = label("lblFilename", 0, 0);
    lblPath = label("lblPath", 0, 1);
    lblSoftwareID = label("lblSoftwareID", 0, 2);
    lblSoftwareVersion = label("lblSoftwareVersion", 0, 3);
    lblSoftwareInfo = label("lblSoftwareInfo", 0, 4);
    lblSoftwareBuiltOn = label("lblSoftwareBuiltOn", 1, 0);
    lblFileCreatedOn = label("lblFileCreatedOn", 1, 1);
    lblCompatibleHardware = label("lblCompatibleHardware", 1, 2);
    lblVendorCompatibility = label("lblVendorCompatibility", 1, 3);
    lblPackagesIncluded = label("lblPackagesIncluded", 1, 4);

    fraDownloadControls = Named(new QGroupBox("Download Controls", this), "fraDownloadControls");
    fraDownloadControls->setGeometry(gap, fraProperties->geometry().bottom() + gap, width, line * 4 + 2 * gap);
    fraStatus = Named(new QGroupBox("Status", fraDownloadControls), "fraStatus");
    fraStatus->setGeometry(gap, line - 4, width - 2 * gap, line * 3 + gap);
    lblStatus = Named(new QLabel(fraStatus), "lblStatus");
    lblStatus->setGeometry(gap, line - 6, width - 4 * gap, line + 4);
    MakeCopyable(lblStatus);
    pgbReadFile = Named(new QProgressBar(fraStatus), "pgbReadFile");
    pgbReadFile->setGeometry(gap, 2 * line - 2, width - 4 * gap, line - 2);
    pgbReadFile->hide();
}

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
    Dir1->setHeaderHidden(true);
    for (int column = 1; column < folders_->columnCount(); ++column)
        Dir1->hideColumn(column);
    ListView1 = Named(new KeepsItsRow<QTreeWidget>(fraFileFinder), "ListView1");
    ListView1->setGeometry(width / 4 + 2 * gap, line, width - width / 4 - 3 * gap, height - line - gap);
    ListView1->setHeaderLabels({"Filename", "Last Updated", "Size"});
    ListView1->setRootIsDecorated(false);
    ListView1->setUniformRowHeights(true);
    ListView1->header()->setSectionsClickable(true);
    ListView1->header()->setSortIndicatorShown(true);
    MakeCopyable(ListView1);

    connect(Drive1, &QComboBox::activated, this, [this] { setFolder(Drive1->currentData().toString().toStdString()); });
    connect(Dir1, &QTreeView::clicked, this,
            [this](const QModelIndex& index) { setFolder(folders_->filePath(index).toStdString()); });
    connect(Dir1, &QTreeView::activated, this,
            [this](const QModelIndex& index) { setFolder(folders_->filePath(index).toStdString()); });
    // The folders come from the disk after a while, and are sorted once more then.
    const auto showCurrent = [this] { Dir1->scrollTo(Dir1->currentIndex(), QAbstractItemView::PositionAtCenter); };
    connect(folders_, &QFileSystemModel::directoryLoaded, this, showCurrent);
    connect(folders_, &QFileSystemModel::layoutChanged, Dir1, showCurrent, Qt::QueuedConnection);
    connect(ListView1->header(), &QHeaderView::sectionClicked, this, &frmSelectFirmware::ListView1_ColumnClick);
    // Reading gives turns, and the view isn't through with its own change of row yet.
    const auto pick = [this] {
        Pick();
        QMetaObject::invokeMethod(this, &frmSelectFirmware::ReadPicked, Qt::QueuedConnection);
    };
    connect(ListView1, &QTreeWidget::currentItemChanged, this, [pick](QTreeWidgetItem* item) {
        if (item == nullptr)
            return;
        item->setSelected(true); // also when the list only got the focus: the buttons work on it
        pick();
    });
    // The row that is current already: its file may be another one by now.
    connect(ListView1, &QTreeWidget::itemClicked, this, pick);
    connect(ListView1, &QTreeWidget::itemDoubleClicked, this, &frmSelectFirmware::ListView1_DblClick);
    connect(watcher_, &QFileSystemWatcher::directoryChanged, this, &frmSelectFirmware::Dir1_Change);
}

void frmSelectFirmware::Form_Load() {
    windows::EnableMainWindow(false);
    setFirmwareType(-1);
    hDevice_ = 0;
    AlwaysLoadConfig = windowSettings::Get(MODULE, "AlwaysLoadConfig", "0") == "1";
    ShowPicked();
    fitClient(fraProperties->geometry().right() + 7, fraDownloadControls->geometry().bottom() + 7);
    layout_ = std::make_unique<clsLayoutManager>();
    Guarded(MODULE, "Form_Load", [this] {
        layout_->SetLayoutForm(this);
        layout_->VerifyFormPosition(this);
    });
    FillDrives();
    std::string folder = platform::GetUserSetting("Global", "DefaultFirmwarePath", platform::CurrentDirectory());
    if (!basApp::DirectoryExists(folder))
        folder = platform::CurrentDirectory();
    setFolder(folder);
    if (const int drive = Drive1->findData(QStorageInfo(Q(folder_)).rootPath()); drive >= 0)
        Drive1->setCurrentIndex(drive);
}

// The mounted places, and the user's own.
void frmSelectFirmware::FillDrives() {
    Drive1->addItem("Home", QDir::homePath());
    for (const QStorageInfo& volume : QStorageInfo::mountedVolumes()) {
        const bool ofUse = volume.isValid() && volume.isReady() && volume.bytesTotal() > 0;
        if (ofUse && Drive1->findData(volume.rootPath()) < 0)
            Drive1->addItem(volume.rootPath(), volume.rootPath());
    }
}

void frmSelectFirmware::Form_Unload() {
    basBootloader::CloseBootloaderDevice(hDevice_);
    platform::SaveUserSetting("Global", "DefaultFirmwarePath", folder_);
    layout_.reset(); // saves the layout
    platform::DoEvents();
    windows::EnableMainWindow(true);
    auto& list = windows::globals.firmwareWindows;
    std::replace(list.begin(), list.end(), static_cast<Form*>(this), static_cast<Form*>(nullptr));
}

// A target in the middle of a load would be left without an image.
void frmSelectFirmware::closeEvent(QCloseEvent* event) {
    if (!loading_)
        return Form::closeEvent(event);
    event->ignore();
    platform::CurrentDialogs().MessageBox("A load is under way.  Wait until it has ended.",
                                          windowTitle().toStdString());
}

void frmSelectFirmware::Form_Resize() {
    if (!layout_)
        return;
    layout_->ResizeForm();
    const int width = ListView1->width();
    ListView1->setColumnWidth(FILENAME, width / 2);
    ListView1->setColumnWidth(UPDATED, width / 4);
}

void frmSelectFirmware::Status(const std::string& text) {
    lblStatus->setText(Q(text));
    lblStatus->setToolTip(lblStatus->text());
    lblStatus->repaint();
}

void frmSelectFirmware::setFirmwareType(std::int32_t imageType) {
    firmwareType_ = imageType;
    std::string caption = fmt::format("Select Firmware Image (PROGRAM ERROR: type {} unknown!)", imageType);
    if (imageType == -1)
        caption = "Select Firmware Image (PROGRAM ERROR - INVALID TYPE)";
    else if (imageType >= basBootloader::IMAGE_APPLICATION && imageType <= basBootloader::IMAGE_BOOTLOADER)
        caption = fmt::format("Select {} Image...", basBootloader::FirmwareImageTypeLookup(imageType));
    setWindowTitle(Q(caption));
}

void frmSelectFirmware::setHDevice(std::int32_t handle) {
    using namespace basBootloader;
    Guard("hDevice_PropertyLet", [&] {
        if (hDevice_ > 0 && hDevice_ != handle) {
            if (CloseBootloaderDevice(hDevice_) != SUCCESS)
                basDebug::Display(MODULE, LEVEL_ERROR,
                                  "Failed to close bootloader device handle {} (0x{:X}) in property set hDevice",
                                  hDevice_, std::uint32_t(hDevice_));
            const Device device = GetNodeNum(handle);
            if (OpenBootloaderDevice(device) < 1) {
                basDebug::Display(MODULE, LEVEL_ERROR,
                                  "Failed to open bootloader for device handle {} (0x{:X}) in property set hDevice",
                                  handle, std::uint32_t(handle));
                handle = 0;
            }
        }
        hDevice_ = handle;
        if (handle < 1)
            basDebug::Display(MODULE, LEVEL_WARNING, "frmSelectFirmware given an invalid device handle: {}", handle);
        const std::int32_t index = GetDeviceIndex(handle);
        if (index < 0) {
            Status(fmt::format("PROGRAM ERROR: Invalid Device Handle: 0x{:X}", std::uint32_t(handle)));
            return;
        }
        const BootloaderTarget& target = basBootloader::globals.TargetList[std::size_t(index)];
        const std::string guid = basUtils::ByteArrayToHexString(target.DebugGUID);
        Status(fmt::format("Select new image for Device '{}', H/W model ID={}", guid, target.Info.HardwareModelID));
        const bool known = firmwareType_ >= IMAGE_APPLICATION && firmwareType_ <= IMAGE_BOOTLOADER;
        setWindowTitle(Q(known
                             ? fmt::format("Select new {} Image for device {}', h/w model ID={}",
                                           FirmwareImageTypeLookup(firmwareType_), guid, target.Info.HardwareModelID)
                             : fmt::format("TWD File Browser - Cannot Load - Invalid Image Type: {}", firmwareType_)));
    });
    if (ListView1->currentItem() != nullptr)
        ListView1_ItemClick();
}

void frmSelectFirmware::setFolder(const std::string& folder) {
    const std::string before = std::exchange(folder_, folder.ends_with('/') ? folder : folder + '/');
    if (folder_ != before) { // a file of the same name elsewhere is another file
        const QSignalBlocker quiet(ListView1);
        ListView1->setCurrentItem(nullptr);
    }
    const QModelIndex index = folders_->index(Q(folder_));
    Dir1->setCurrentIndex(index);
    Dir1->expand(index);
    Dir1->scrollTo(index);
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
        platform::SaveUserSetting("Global", "Last_Path", folder_);
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
        item->setToolTip(UPDATED, item->text(UPDATED));
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
        const QSignalBlocker quiet(ListView1); // it is picked below, also when it was current already
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
    const std::string path = event->mimeData()->urls().first().toLocalFile().toStdString();
    if (!SelectFile(path))
        Status(fmt::format("'{}' is not a package file (*.twd, *.bin)", path));
}

void frmSelectFirmware::ListView1_ColumnClick(int column) {
    Guard("ListView1_ColumnClick", [&] {
        if (column == sortColumn_)
            sortOrder_ = sortOrder_ == Qt::AscendingOrder ? Qt::DescendingOrder : Qt::AscendingOrder;
        sortColumn_ = column;
        ListView1->sortItems(sortColumn_, sortOrder_);
        ListView1->header()->setSortIndicator(sortColumn_, sortOrder_);
    });
}
