// The firmware browser's commands: loading, viewing, preferences.

#include "Clock.h"
#include "Guarded.h"
#include "Viewers.h"
#include "WindowSettings.h"
#include "WindowSystem.h"
#include "bas1394.h"
#include "basApp.h"
#include "basBootloader.h"
#include "frmSelectFirmware.h"
#include "frmSelectFirmwarePreferences.h"

#include <QApplication>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

using namespace basBootloader;

namespace {

constexpr const char* MODULE = "frmSelectFirmware";
constexpr std::uint32_t PAUSE_AFTER_LOAD = 200; // ms
constexpr std::int32_t UNIT_KILOBYTES = 128;    // a unit of a reader's progress
constexpr std::size_t SMALLEST_PACKAGE = 98;    // what isn't even this was not read

void Log(const std::string& text, std::int32_t level) {
    if (basDebug::Wanted(level))
        basDebug::StatusDisplay(text, level, MODULE);
}

} // namespace

void frmSelectFirmware::EnableCommands(bool enabled) {
    for (QPushButton* button : {cmdClose, cmdPreferences})
        button->setEnabled(enabled);
    if (!enabled) // a click on the file sets the others again
        for (QPushButton* button : {cmdLoadConfig, cmdLoadSelected, cmdLoadImageAndConfig, cmdViewConfig})
            button->setEnabled(false);
}

// What the three load buttons share. `load` is true for a success, behind which the list of devices
// is rebuilt.
template <class Load>
void frmSelectFirmware::LoadFrame(const char* procedure, const std::string& beginning, Load load) {
    if (std::exchange(loading_, true))
        return; // a double-click while a load runs
    EnableCommands(false);
    Status(beginning);
    bool loaded = false;
    Guarded(MODULE, procedure, [&] { loaded = load(); });
    if (loaded)
        bas1394::globals.BusResetPending = true;
    platform::Sleep(PAUSE_AFTER_LOAD);
    loading_ = false;
    EnableCommands(true);
    pgbReadFile->hide();
    const QString outcome = lblStatus->text();
    ListView1_ItemClick();
    Status(outcome.toStdString());
    cmdClose->setFocus();
}

void frmSelectFirmware::cmdLoadSelected_Click() {
    const std::string beginning = fmt::format("Beginning download of '{}' to target...", SelectedName());
    LoadFrame("cmdLoadSelected_Click", beginning, [this] {
        const std::int32_t code = DownloadImage(firmwareType_);
        if (code != SUCCESS)
            Log(fmt::format("cmdLoadSelected failure: Download Image call failed, code {}", code), LEVEL_ERROR);
        return code == SUCCESS;
    });
}

void frmSelectFirmware::cmdLoadConfig_Click() {
    const std::string beginning =
        fmt::format("Beginning Configuration Download from file '{}' to target...", SelectedName());
    LoadFrame("cmdLoadConfig_Click", beginning, [&] {
        Log(beginning, LEVEL_TRACE);
        const std::int32_t code = DownloadImage(IMAGE_CONFIG);
        if (code != SUCCESS)
            Log(fmt::format("cmdLoadConfig_Click_new failure: Download Image call failed, code {}", code), LEVEL_ERROR);
        return code == SUCCESS;
    });
}

void frmSelectFirmware::cmdLoadImageAndConfig_Click() {
    const std::string name = SelectedName();
    const std::string beginning = fmt::format("Beginning download of '{}' to target...", name);
    LoadFrame("cmdLoadImageAndConfig_Click", beginning, [&] {
        std::int32_t code = DownloadImage(firmwareType_);
        if (code != SUCCESS || firmwareType_ != IMAGE_APPLICATION) {
            Status(fmt::format("Failed to application image onto target from: {}'", name));
        } else {
            code = DownloadImage(IMAGE_CONFIG);
            Status(
                code == SUCCESS
                    ? fmt::format("Successfully loaded new application and CNE (configuration data) from '{}' onto "
                                  "target.",
                                  name)
                    : fmt::format("Failed to load config data onto target.  Application load OK.  From: '{}'", name));
        }
        Log(lblStatus->text().toStdString(), LEVEL_USER);
        if (code != SUCCESS)
            Log(fmt::format("cmdLoadImageAndConfig_Click failure: Download Image call failed, code {}", code),
                LEVEL_ERROR);
        return code == SUCCESS;
    });
}

void frmSelectFirmware::ListView1_DblClick() {
    if (firmwareType_ == IMAGE_BOOTLOADER)
        return; // never by a slip of the mouse
    static constexpr void (frmSelectFirmware::*ACTIONS[])() = {&frmSelectFirmware::cmdLoadImageAndConfig_Click,
                                                               &frmSelectFirmware::cmdLoadSelected_Click,
                                                               &frmSelectFirmware::cmdLoadConfig_Click};
    const std::int32_t behavior = frmSelectFirmwarePreferences::GetDefaultDownloadBehavior();
    if (behavior >= 0 && behavior < std::int32_t(std::size(ACTIONS)))
        (this->*ACTIONS[behavior])();
}

std::int32_t frmSelectFirmware::DownloadImage(std::int32_t imageType) {
    const CommandProgress erasing{
        [this](std::int32_t) { pgbReadFile->setRange(0, 0); }, {}, [] { platform::DoEvents(); }};
    DownloadStyle style;
    style.hardwareIdInHex = true;
    style.dialogsWhenUnattended = true;
    style.startFailureLevel = LEVEL_WATCH;
    style.blockSizeFailureLevel = LEVEL_TRACE;
    style.blockFailure = "DownloadImage ERROR: Failed to load '{file}' onto target.";
    style.flashFailure = "DownloadImage ERROR: Failed to write data to flash on target.";
    style.load = [this](const std::string& file, TwdHeader& header) { LoadTWD(file, header); };
    style.show = [this](const std::string& text) { Status(text); };
    style.log = Log;
    style.progress = [this](const DownloadProgress& progress) { ShowProgress(progress); };
    style.startProgress = &erasing;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const std::int32_t result = DownloadImageInStyle(hDevice_, imageType, SelectedPath(), style);
    QApplication::restoreOverrideCursor();
    return result;
}

// The bar only ever goes on; while nothing moves it names what happens.
void frmSelectFirmware::ShowProgress(const DownloadProgress& progress) {
    using Step = DownloadProgress::Step;
    const int kilobytes = int(progress.bytes / 1024);
    pgbReadFile->setVisible(progress.step != Step::Done);
    switch (progress.step) {
    case Step::Reading:
        pgbReadFile->setFormat("reading the package");
        break;
    case Step::Erasing:
        pgbReadFile->setRange(0, 0);
        pgbReadFile->setFormat("erasing flash");
        break;
    case Step::Loading:
        if (pgbReadFile->maximum() == 0) {
            pgbReadFile->setRange(0, std::max(1, int(progress.length / 1024)));
            loadStart_ = platform::QueryPerformanceCounter();
        }
        pgbReadFile->setValue(std::min(kilobytes, pgbReadFile->maximum()));
        pgbReadFile->setFormat(QString::fromStdString(packageText::ProgressText(
            progress.bytes, progress.length, double(platform::QueryPerformanceCounter() - loadStart_) / 1e6)));
        break;
    case Step::Checking:
        pgbReadFile->setFormat("the device checks the image");
        break;
    case Step::Done:
        break;
    }
    pgbReadFile->repaint();
}

basUtils::ReadProgress frmSelectFirmware::ReadingProgress() {
    return {[this](std::int32_t maximum) {
                pgbReadFile->setRange(0, std::max(1, maximum * UNIT_KILOBYTES));
                pgbReadFile->setValue(0);
            },
            [this](double value) { pgbReadFile->setValue(int(value * UNIT_KILOBYTES)); },
            [this] { pgbReadFile->repaint(); }};
}

void frmSelectFirmware::LoadTWD(const std::string& path, TwdHeader& header) {
    const basUtils::ReadProgress progress = ReadingProgress();
    ReadTwd(path, header,
            {.limit = packageText::READ_LIMIT,
             .progress = &progress,
             .begins =
                 [this] {
                     Status(fmt::format("Reading '{}'...", SelectedName()));
                     pgbReadFile->show();
                 },
             .log = Log});
    pgbReadFile->hide();
}

void frmSelectFirmware::cmdPreferences_Click() {
    frmSelectFirmwarePreferences preferences(window());
    if (preferences.Form_Load())
        preferences.exec();
    AlwaysLoadConfig = windowSettings::Get(MODULE, "AlwaysLoadConfig", "0") == "1";
    if (ListView1->currentItem() != nullptr)
        ListView1_ItemClick();
}

void frmSelectFirmware::cmdViewConfig_Click() {
    const auto view = [this] {
        ListView1->setFocus();
        TwdHeader package;
        const std::string status = lblStatus->text().toStdString();
        LoadTWD(SelectedPath(), package);
        Status(status);
        if (package.FileData.size() < SMALLEST_PACKAGE) {
            Log(fmt::format("ERROR: could not read file '{}'", SelectedName()), LEVEL_TRACE);
            return;
        }
        const TwdSection& cne = package.Cne;
        const std::int64_t end = std::int64_t{cne.Offset} + cne.Length;
        if (cne.Offset < 0 || cne.Length < 0 || end >= std::int64_t(package.FileData.size())) {
            Log("View Config Error: failed to copy CNE data to local array", LEVEL_USER);
            return;
        }
        ShowCneData(ByteArray(package.FileData.begin() + cne.Offset, package.FileData.begin() + end),
                    std::uint32_t(cne.Offset), SelectedName());
    };
    QApplication::setOverrideCursor(Qt::WaitCursor);
    platform::Attempt(view, [](const platform::Failure& f) {
        Log(fmt::format("ERROR #{}: {}.  Exiting...", f.Number, f.Description), LEVEL_ERROR);
    });
    QApplication::restoreOverrideCursor();
}
