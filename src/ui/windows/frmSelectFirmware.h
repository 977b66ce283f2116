// The firmware browser: picks a package for one target, shows what it contains and whether it fits, and loads it.
// While a browser is open the device window is disabled.
#pragma once

#include "FileFinder.h"
#include "Form.h"
#include "ImageDownload.h"
#include "Levels.h"
#include "PackageText.h"
#include "clsLayoutManager.h"

#include <QFileSystemModel>
#include <QFileSystemWatcher>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class frmSelectFirmware : public Form {
    Q_OBJECT
public:
    frmSelectFirmware();

    void Form_Load() override;

    void setFirmwareType(std::int32_t imageType);
    std::int32_t hDevice() const { return hDevice_; }
    void setHDevice(std::int32_t handle); // after setFirmwareType
    std::int16_t SlotNumber = 0;          // in the list of firmware windows

    // Opens a folder in Dir1 and lists its packages.
    void setFolder(const std::string& folder);
    // Opens the file's folder and picks the file; false when it isn't listed there.
    bool SelectFile(const std::string& path);
    bool LoadInProgress() const { return loading_; }
    // The answer to an attempt to close this window or the program during a load.
    void TellLoadInProgress();
    // To the log, and up to ERROR also to the status label.
    void StatusDisplay(const std::string& text, std::int32_t level = LEVEL_TRACE);

    QGroupBox *fraFileFinder, *fraCommandSet, *fraProperties, *fraDownloadControls, *fraStatus;
    DriveListBox* Drive1;
    DirListBox* Dir1;
    QLineEdit* txtFolder;
    FileListBox* ListView1;
    QPushButton *cmdLoadImageAndConfig, *cmdLoadSelected, *cmdLoadConfig, *cmdViewConfig, *cmdPreferences, *cmdClose;
    QLabel *lblFilename, *lblPath, *lblSoftwareID, *lblSoftwareVersion, *lblSoftwareBuiltOn, *lblFileCreatedOn,
        *lblSoftwareInfo, *lblCompatibleHardware, *lblVendorCompatibility, *lblPackagesIncluded, *lblStatus, *lblDetail;
    QProgressBar* pgbReadFile;

protected:
    void Form_Resize() override;
    void Form_Unload() override;
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void BuildControls();
    void BuildFileFinder();
    void BuildDownloadControls(int width);
    void Dir1_Change();
    void AddFilesOf(const char* pattern);
    void OpenPath(QString path);
    void ListView1_ColumnClick(int column);
    void ListView1_DblClick();
    void Status(const std::string& text);
    void Detail(const std::string& text); // below the status: phase, cause, what is wrong with a file
    // Like LogFailure, and shows the failure on the status label.
    auto ShowFailure(const char* procedure) {
        return [this, procedure](const platform::Failure& f) {
            StatusDisplay(fmt::format("Error #{}: {} in {}", f.Number, f.Description, procedure), LEVEL_ERROR);
        };
    }

    // The file that labels, buttons and loads refer to, rather than the list's current row, which may change.
    struct PickedFile {
        std::string folder, name; // the folder ends with a separator; the name is empty if none is picked
        ByteArray head;           // its first bytes as shown; empty if they couldn't be read
        packageText::View view;
        std::string path() const { return folder + name; }
        bool isStill(const ByteArray& bytes) const;
    };

    // Picking (frmSelectFirmwarePick.cpp).
    void ListView1_ItemClick();
    void Pick();
    void ReadPicked();
    void ReadHeader(PickedFile& file);
    void ShowPicked();
    void ShowTexts();

    // Loading (frmSelectFirmwareLoad.cpp).
    void cmdLoadSelected_Click();
    void cmdLoadConfig_Click();
    void cmdLoadImageAndConfig_Click();
    void cmdViewConfig_Click();
    void cmdPreferences_Click();
    template <class Load> void LoadFrame(const char* procedure, const std::string& beginning, Load load);
    [[nodiscard]] std::int32_t DownloadImage(std::int32_t imageType, const PickedFile& picked);
    [[nodiscard]] bool HasLoaded(std::int32_t code, const char* command);
    std::function<void(const std::string& text, std::int32_t level)> LogToWindow();
    void LoadTWD(const std::string& path, TwdHeader& header);
    void ShowProgress(const basBootloader::LoadProgress& progress);
    void ShowBar();
    void TrackRetries(const basBootloader::LoadProgress& progress);
    void MeetWhatWaits();
    bool IsProgressDue(const basBootloader::LoadProgress& progress);
    basUtils::ReadProgress ReadingProgress();
    void EnableCommands(bool enabled);

    std::int32_t firmwareType_ = -1; // image type
    std::int32_t hDevice_ = 0;
    bool AlwaysLoadConfig = false; // nothing else depends on it
    PickedFile picked_;
    std::string prompt_;    // the status that asks for a file
    std::string told_;      // the picked file while the status shows the outcome of a load; else empty
    std::string cause_;     // why the last load failed
    std::string note_;      // the answer to an attempt to close during a load
    std::string beginning_; // the status while blocks are sent
    basBootloader::DownloadFailure failure_;
    std::int32_t loadedType_ = 0;          // of the image that is being loaded, or was last
    basBootloader::LoadProgress progress_; // as last reported
    std::int32_t sentAgain_ = 0;           // blocks that needed more than one try
    std::string folder_;                   // shown in Dir1, with a separator at its end
    bool loading_ = false;
    bool reading_ = false;          // the picked file's header
    bool ending_ = false;           // a load has finished, and queued input is processed
    std::int64_t stepStart_ = 0;    // performance counter at the beginning of the load's step
    std::int64_t lastProgress_ = 0; // the same, when the bar was last set
    int sortColumn_ = 0;
    Qt::SortOrder sortOrder_ = Qt::AscendingOrder;
    QFileSystemModel* folders_;
    QFileSystemWatcher* watcher_;
    std::unique_ptr<clsLayoutManager> layout_;
};
