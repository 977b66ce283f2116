// The firmware browser's commands: loading, viewing, preferences.

#include "Clock.h"
#include "Controls.h"
#include "LoadText.h"
#include "Viewers.h"
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
constexpr std::uint32_t PAUSE_AFTER_LOAD = 200;         // ms
constexpr std::int64_t PROGRESS_INTERVAL = 200'000'000; // ns
constexpr std::int32_t UNIT_KILOBYTES = 128;            // in one unit of a reader's progress
constexpr std::size_t SMALLEST_PACKAGE = 98;            // anything shorter wasn't read

double MillisecondsSince(std::int64_t count) {
    return double(platform::QueryPerformanceCounter() - count) / 1e6;
}

} // namespace

void frmSelectFirmware::EnableCommands(bool enabled) {
    for (QPushButton* button : {cmdClose, cmdPreferences})
        button->setEnabled(enabled);
    if (!enabled) // picking a file sets the others again
        for (QPushButton* button : {cmdLoadConfig, cmdLoadSelected, cmdLoadImageAndConfig, cmdViewConfig})
            button->setEnabled(false);
}

// Beside the bar, rather than in a box that would hold up the load until somebody answers it. Nothing is said once the
// load has finished: the click was made while it ran.
void frmSelectFirmware::TellLoadInProgress() {
    if (ending_)
        return;
    note_ = "A load is under way.  Wait until it has ended, then close.";
    Detail(note_);
    platform::Beep();
}

void frmSelectFirmware::StatusDisplay(const std::string& text, std::int32_t level) {
    if (level <= LEVEL_ERROR)
        Status(text);
    basDebug::Display(MODULE, level, "{}", text);
}

// What the three load buttons share. After a success, for which `load` returns true, the list of devices is rebuilt.
// The picked file is copied once, since the list can be clicked while the load runs.
template <class Load>
void frmSelectFirmware::LoadFrame(const char* procedure, const std::string& beginning, Load load) {
    if (reading_ || std::exchange(loading_, true))
        return; // a double-click while a load runs, or on a file that isn't shown yet
    const Stay stay(*this);
    const PickedFile picked = picked_;
    cause_.clear();
    note_.clear();
    failure_ = {};
    EnableCommands(false);
    Status(beginning);
    const DeviceLock lock(hDevice_); // image and configuration data come from one program; a load reports its absence
    bool loaded = false;
    platform::Attempt([&] { loaded = load(picked); }, ShowFailure(procedure));
    if (loaded)
        bas1394::globals.BusResetPending = true;
    platform::Sleep(PAUSE_AFTER_LOAD);
    const Device device = GetNodeNum(hDevice_);
    MeetWhatWaits();
    if (!loaded && cause_.empty())
        cause_ = loadText::Cause(failure_, loadedType_,
                                 GetNodeNum(hDevice_).NodeNum <= LAST_NODE && device.NodeNum <= LAST_NODE,
                                 bas1394::globals.BusResetPending);
    loading_ = false;
    EnableCommands(true);
    pgbReadFile->hide();
    const QString outcome = lblStatus->text();
    ListView1_ItemClick();
    Status(outcome.toStdString());
    told_ = picked_.path();
    if (loaded)
        Detail(loadText::GOOD_CRC);
    else if (!cause_.empty())
        Detail(cause_);
    ListView1->setFocus(); // where the next package is picked
}

// Processes what was clicked while blocks were sent, now that the load has finished.
void frmSelectFirmware::MeetWhatWaits() {
    constexpr int TURNS = 3; // what a turn posts arrives in the next one
    ending_ = true;
    for (int turn = 0; turn < TURNS; ++turn)
        platform::DoEvents();
    ending_ = false;
}

bool frmSelectFirmware::HasLoaded(std::int32_t code, const char* command) {
    if (code != SUCCESS)
        StatusDisplay(fmt::format("{} failure: Download Image call failed, code {}", command, code), LEVEL_ERROR);
    return code == SUCCESS;
}

void frmSelectFirmware::cmdLoadSelected_Click() {
    if (!loading_)
        Status("Downloading new image...");
    const std::string beginning = fmt::format("Beginning download of '{}' to target...", picked_.name);
    LoadFrame("cmdLoadSelected_Click", beginning, [this](const PickedFile& picked) {
        return HasLoaded(DownloadImage(firmwareType_, picked), "cmdLoadSelected");
    });
}

void frmSelectFirmware::cmdLoadConfig_Click() {
    const std::string beginning =
        fmt::format("Beginning Configuration Download from file '{}' to target...", picked_.name);
    LoadFrame("cmdLoadConfig_Click", beginning, [&](const PickedFile& picked) {
        StatusDisplay(beginning);
        return HasLoaded(DownloadImage(IMAGE_CONFIG, picked), "cmdLoadConfig_Click_new");
    });
}

void frmSelectFirmware::cmdLoadImageAndConfig_Click() {
    if (!loading_)
        Status("Downloading new image...");
    const std::string name = picked_.name;
    const std::string beginning = fmt::format("Beginning download of '{}' to target...", name);
    LoadFrame("cmdLoadImageAndConfig_Click", beginning, [&](const PickedFile& picked) {
        std::int32_t code = DownloadImage(firmwareType_, picked);
        if (code != SUCCESS || firmwareType_ != IMAGE_APPLICATION) {
            Status(fmt::format("Failed to application image onto target from: {}'", name));
            if (code == SUCCESS)
                cause_ = "The image itself was loaded.  Configuration data goes with an application image only.";
        } else {
            code = DownloadImage(IMAGE_CONFIG, picked);
            Status(
                code == SUCCESS
                    ? fmt::format("Successfully loaded new application and CNE (configuration data) from '{}' onto "
                                  "target.",
                                  name)
                    : fmt::format("Failed to load config data onto target.  Application load OK.  From: '{}'", name));
        }
        StatusDisplay(lblStatus->text().toStdString(), LEVEL_USER);
        return HasLoaded(code, "cmdLoadImageAndConfig_Click");
    });
}

void frmSelectFirmware::ListView1_DblClick() {
    if (firmwareType_ == IMAGE_BOOTLOADER || loading_ || reading_)
        return; // a bootloader is never loaded by a slip of the mouse
    QPushButton* const actions[] = {cmdLoadImageAndConfig, cmdLoadSelected, cmdLoadConfig};
    const packageText::View& view = picked_.view;
    const std::string* const reasons[] = {&view.noBoth(), &view.noImage, &view.noConfig};
    const auto behavior = std::size_t(frmSelectFirmwarePreferences::GetDefaultDownloadBehavior());
    if (actions[behavior]->isEnabled())
        actions[behavior]->click();
    else
        Detail(*reasons[behavior]);
}

std::int32_t frmSelectFirmware::DownloadImage(std::int32_t imageType, const PickedFile& picked) {
    loadedType_ = imageType;
    // The bar shows how much of the time-out has passed; the turn repaints it.
    const CommandProgress erasing{[this](std::int32_t maximum) { pgbReadFile->setRange(0, maximum); },
                                  [this](std::int32_t value) {
                                      pgbReadFile->setValue(value);
                                      ShowBar();
                                  },
                                  [] { platform::DoEvents(); }};
    // The bar is full; only its text changes. No turn: clicks have been waiting since the first block.
    const CommandProgress checking{{}, [this](std::int32_t) { ShowBar(); }, [this] { PaintNow(window()); }};
    DownloadStyle style;
    style.hardwareIdInHex = true;
    style.dialogsWhenUnattended = true;
    style.startFailureLevel = LEVEL_WATCH;
    style.blockSizeFailureLevel = LEVEL_TRACE;
    style.blockFailure = "DownloadImage ERROR: Failed to load '{file}' onto target.";
    style.flashFailure = "DownloadImage ERROR: Failed to write data to flash on target.";
    style.load = [&](const platform::FileName& file, TwdHeader& header) {
        LoadTWD(file.Typed, header);
        if (!header.FileData.empty() && !picked.isStill(header.FileData)) {
            cause_ = fmt::format("'{}' is another file now than the one shown.  Look at it, then load it again.",
                                 picked.name);
            StatusDisplay(cause_, LEVEL_ERROR);
            header = {}; // counts as not loaded, so that nothing is erased
        }
    };
    style.show = [this](const std::string& text) { Status(text); };
    style.log = LogToWindow();
    style.progress = [this](const LoadProgress& progress) { ShowProgress(progress); };
    style.failed = [this](const DownloadFailure& failure) {
        if (failure_.stage == DownloadFailure::Stage::None)
            failure_ = failure;
    };
    style.startProgress = &erasing;
    style.endProgress = &checking;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const std::int32_t result = DownloadImageInStyle(hDevice_, imageType, picked.path(), style).Result;
    QApplication::restoreOverrideCursor();
    return result;
}

// Painting a bar after each of a thousand blocks costs a fifth of the load's time.
bool frmSelectFirmware::IsProgressDue(const LoadProgress& progress) {
    const std::int64_t now = platform::QueryPerformanceCounter();
    const bool due =
        progress.bytes == 0 || progress.bytes >= progress.length || now - lastProgress_ >= PROGRESS_INTERVAL;
    if (due)
        lastProgress_ = now;
    return due;
}

// The bar's text, by the time that has passed in the current step.
void frmSelectFirmware::ShowBar() {
    const bool failed = failure_.stage != DownloadFailure::Stage::None;
    pgbReadFile->setFormat(Q(loadText::Bar(progress_, MillisecondsSince(stepStart_), failed)));
}

// The message about a retried block gives way to the line before it as soon as the block has succeeded.
void frmSelectFirmware::TrackRetries(const LoadProgress& progress) {
    if (progress.step == LoadProgress::Step::Erasing) {
        sentAgain_ = 0;
        beginning_ = lblStatus->text().toStdString();
    }
    sentAgain_ += progress.tries == 1;
    if (progress_.tries > 0 && progress.tries == 0 && progress.step == LoadProgress::Step::Loading)
        Status(beginning_);
}

void frmSelectFirmware::ShowProgress(const LoadProgress& progress) {
    using Step = LoadProgress::Step;
    const bool stepIsNew = progress.step != progress_.step, triesAreNew = progress.tries != progress_.tries;
    TrackRetries(progress);
    progress_ = progress;
    if (progress.step == Step::Loading && !stepIsNew && !triesAreNew && !IsProgressDue(progress))
        return;
    if (stepIsNew)
        stepStart_ = platform::QueryPerformanceCounter();
    pgbReadFile->setVisible(progress.step != Step::Done);
    pgbReadFile->setUpdatesEnabled(false); // painted once, below
    if (stepIsNew && progress.step == Step::Erasing)
        pgbReadFile->setValue(pgbReadFile->minimum()); // it may still be full from an image loaded before
    if (progress.step == Step::Loading) {
        const int maximum = std::max(1, int(progress.length / 1024));
        pgbReadFile->setRange(0, maximum);
        pgbReadFile->setValue(progress.bytes < progress.length ? int(progress.bytes / 1024) : maximum);
    }
    ShowBar();
    pgbReadFile->setUpdatesEnabled(true);
    const bool failed = failure_.stage != DownloadFailure::Stage::None;
    Detail(note_.empty() ? loadText::Phase(progress, sentAgain_, failed) : note_);
    PaintNow(window()); // no turn does so between two blocks
}

basUtils::ReadProgress frmSelectFirmware::ReadingProgress() {
    return {[this](std::int32_t maximum) {
                pgbReadFile->setRange(0, std::max(1, maximum * UNIT_KILOBYTES));
                pgbReadFile->setValue(0);
            },
            [this](double value) { pgbReadFile->setValue(int(value * UNIT_KILOBYTES)); },
            [this] { pgbReadFile->repaint(); }};
}

std::function<void(const std::string&, std::int32_t)> frmSelectFirmware::LogToWindow() {
    return [this](const std::string& text, std::int32_t level) { StatusDisplay(text, level); };
}

void frmSelectFirmware::LoadTWD(const std::string& path, TwdHeader& header) {
    const basUtils::ReadProgress progress = ReadingProgress();
    ReadTwd(path, header,
            {.limit = packageText::READ_LIMIT,
             .progress = &progress,
             .begins =
                 [&] {
                     Status(fmt::format("Reading '{}'...", path.substr(path.rfind('/') + 1)));
                     pgbReadFile->show();
                 },
             .log = LogToWindow()});
    pgbReadFile->hide();
}

void frmSelectFirmware::cmdPreferences_Click() {
    frmSelectFirmwarePreferences preferences(window());
    if (preferences.Form_Load())
        preferences.exec();
    AlwaysLoadConfig = frmSelectFirmwarePreferences::AlwaysLoadConfig();
    if (ListView1->currentItem() != nullptr)
        ListView1_ItemClick();
}

void frmSelectFirmware::cmdViewConfig_Click() {
    const Stay stay(*this);
    const PickedFile picked = picked_; // a change of focus can pick another one
    const auto view = [&] {
        ListView1->setFocus();
        TwdHeader package;
        const std::string status = lblStatus->text().toStdString();
        LoadTWD(picked.path(), package);
        Status(status);
        if (package.FileData.size() < SMALLEST_PACKAGE) {
            StatusDisplay(fmt::format("ERROR: could not read file '{}'", picked.name));
            return;
        }
        const TwdSection& cne = package.Cne;
        if (cne.Length < 1 || !LiesInside(cne, std::int64_t(package.FileData.size()) - 1)) {
            StatusDisplay("View Config Error: failed to copy CNE data to local array", LEVEL_USER);
            return;
        }
        ShowCneData(
            ByteArray(package.FileData.begin() + cne.Offset, package.FileData.begin() + cne.Offset + cne.Length),
            std::uint32_t(cne.Offset), picked.name);
    };
    QApplication::setOverrideCursor(Qt::WaitCursor);
    platform::Attempt(view, [this](const platform::Failure& f) {
        StatusDisplay(fmt::format("ERROR #{}: {}.  Exiting...", f.Number, f.Description), LEVEL_ERROR);
    });
    QApplication::restoreOverrideCursor();
}
