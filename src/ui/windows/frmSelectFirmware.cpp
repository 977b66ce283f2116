#include "frmSelectFirmware.h"

#include "Controls.h"
#include "MDIForm1.h"
#include "Paths.h"
#include "SettingKeys.h"
#include "UserSettings.h"
#include "WindowSystem.h"
#include "Windows.h"
#include "basApp.h"
#include "basBootloader.h"
#include "basUtils.h"
#include "frmSelectFirmwarePreferences.h"

#include <QCloseEvent>

#include <fmt/format.h>

#include <algorithm>

namespace {

constexpr const char* MODULE = "frmSelectFirmware";
constexpr const char* DEFAULT_FOLDER_KEY = "DefaultFirmwarePath"; // per user

} // namespace

frmSelectFirmware::frmSelectFirmware()
    : Form("frmSelectFirmware", "Select Firmware Image"), folders_(new QFileSystemModel(this)),
      watcher_(new QFileSystemWatcher(this)) {
    BuildControls();
    setAcceptDrops(true);
}

void frmSelectFirmware::BuildControls() {
    const int gap = 6, line = fontMetrics().height() + 8;
    const int width = std::max(920, fontMetrics().averageCharWidth() * 112);
    const int side = std::max(6 * line + 40, fontMetrics().horizontalAdvance("Load Image And Config") + 2 * line);
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

    BuildDownloadControls(width);
}

// The status and the detail below it have room for two lines each; the bar is below both.
void frmSelectFirmware::BuildDownloadControls(int width) {
    const int gap = 6, line = fontMetrics().height() + 8, twoLines = 2 * fontMetrics().height() + 4;
    const int first = line - 2, barTop = first + 2 * twoLines, frameHeight = barTop + line + gap - 2;
    fraDownloadControls = Named(new QGroupBox("Download Controls", this), "fraDownloadControls");
    fraDownloadControls->setGeometry(gap, fraProperties->geometry().bottom() + gap, width, frameHeight + line + gap);
    fraStatus = Named(new QGroupBox("Status", fraDownloadControls), "fraStatus");
    fraStatus->setGeometry(gap, line - 4, width - 2 * gap, frameHeight);
    const auto label = [&](const char* name, int top) {
        auto* made = Named(new QLabel(fraStatus), name);
        made->setGeometry(gap, top, width - 4 * gap, twoLines);
        made->setWordWrap(true);
        made->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        MakeCopyable(made);
        return made;
    };
    lblStatus = label("lblStatus", first);
    lblDetail = label("lblDetail", first + twoLines);
    pgbReadFile = Named(new QProgressBar(fraStatus), "pgbReadFile");
    pgbReadFile->setGeometry(gap, barTop, width - 4 * gap, line - 2);
    pgbReadFile->hide();
}

void frmSelectFirmware::Form_Load() {
    windows::EnableMainWindow(false);
    setFirmwareType(-1);
    hDevice_ = 0;
    AlwaysLoadConfig = frmSelectFirmwarePreferences::AlwaysLoadConfig();
    ShowPicked();
    fitClient(fraProperties->geometry().right() + 7, fraDownloadControls->geometry().bottom() + 7);
    layout_ = std::make_unique<clsLayoutManager>();
    const auto restore = [this] {
        layout_->SetLayoutForm(this);
        layout_->VerifyFormPosition(this);
    };
    platform::Attempt(restore, LogFailure("Form_Load"));
    Drive1->Fill();
    std::string folder =
        platform::GetUserSetting(settingKeys::GLOBAL_SECTION, DEFAULT_FOLDER_KEY, platform::CurrentDirectory());
    if (!basApp::DirectoryExists(folder))
        folder = platform::CurrentDirectory();
    setFolder(folder);
    ListView1->setFocus();
}

void frmSelectFirmware::Form_Unload() {
    basBootloader::CloseBootloaderDevice(hDevice_);
    platform::SaveUserSetting(settingKeys::GLOBAL_SECTION, DEFAULT_FOLDER_KEY, folder_);
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
    TellLoadInProgress();
}

void frmSelectFirmware::Form_Resize() {
    if (!layout_)
        return;
    layout_->ResizeForm();
    ShowTexts();
}

void frmSelectFirmware::Status(const std::string& text) {
    lblStatus->setText(Q(text));
    lblStatus->setToolTip(WrappedTip(text));
    lblStatus->repaint();
}

void frmSelectFirmware::Detail(const std::string& text) {
    lblDetail->setText(Q(text));
    lblDetail->setToolTip(WrappedTip(text));
    lblDetail->repaint();
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
    const auto set = [&] {
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
        prompt_ = fmt::format("Select new image for Device '{}', H/W model ID={}", guid, target.Info.HardwareModelID);
        Status(prompt_);
        const bool known = firmwareType_ >= IMAGE_APPLICATION && firmwareType_ <= IMAGE_BOOTLOADER;
        setWindowTitle(Q(known
                             ? fmt::format("Select new {} Image for device {}', h/w model ID={}",
                                           FirmwareImageTypeLookup(firmwareType_), guid, target.Info.HardwareModelID)
                             : fmt::format("TWD File Browser - Cannot Load - Invalid Image Type: {}", firmwareType_)));
    };
    platform::Attempt(set, ShowFailure("hDevice_PropertyLet"));
    if (ListView1->currentItem() != nullptr)
        ListView1_ItemClick();
}
