// The firmware browser's picked file: one record, which labels, buttons and loads share.

#include "Controls.h"
#include "WindowSystem.h"
#include "basApp.h"
#include "basBootloader.h"
#include "basUtils.h"
#include "frmSelectFirmware.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace {

constexpr std::int64_t HEADER_LIMIT = 512; // bytes that a click reads

} // namespace

void frmSelectFirmware::ListView1_ItemClick() {
    Pick();
    ReadPicked();
}

// The current row becomes the picked file, whose header isn't read yet. Processes no events.
void frmSelectFirmware::Pick() {
    if (loading_)
        return; // the labels show the load
    const QTreeWidgetItem* item = ListView1->currentItem();
    picked_ = {};
    picked_.folder = folder_;
    picked_.name = item == nullptr ? std::string() : item->text(0).toStdString();
    picked_.view.lblFilename = "Filename: " + picked_.name;
    if (!picked_.name.empty())
        picked_.view.lblPath = folder_;
    ShowPicked();
    if (!told_.empty() && picked_.path() != told_) {
        told_.clear();
        Status(prompt_); // the outcome of another file's load no longer applies
    }
}

// Reads the picked file's header. That processes events, in which another file can be picked: then that one is read
// too, and nothing of the earlier one is shown.
void frmSelectFirmware::ReadPicked() {
    if (loading_ || std::exchange(reading_, true))
        return; // the read in progress goes on with whatever is picked by then
    const Stay stay(*this);
    const auto read = [this] {
        const std::string status = lblStatus->text().toStdString();
        PickedFile file;
        while (file.path() != picked_.path() && basApp::FileExists(picked_.path())) {
            file = picked_;
            pgbReadFile->show();
            Status(fmt::format("Reading File '{}'...", file.name));
            platform::DoEvents();
            ReadHeader(file);
            Status(status);
        }
        if (file.path() == picked_.path()) {
            picked_ = std::move(file);
            ShowPicked();
        }
        pgbReadFile->hide();
    };
    platform::Attempt(read, ShowFailure("ListView1_ItemClick"));
    reading_ = false;
}

void frmSelectFirmware::ReadHeader(PickedFile& file) {
    const std::string path = file.path();
    file.view.lblFileCreatedOn =
        "File Last Updated: " + basUtils::FormatWinDateTime(basApp::GetFileDate64(path), "yyyy-mm-dd hh:nn:ss");
    const basUtils::ReadProgress progress = ReadingProgress();
    TwdHeader header;
    const auto read = [&] {
        ByteArray head;
        if (basUtils::ReadFileBytes(path, head, HEADER_LIMIT, &progress) != 1)
            return;
        file.head = head;
        basBootloader::ByteArrayToTwdStruct(std::move(head), header);
    };
    platform::Attempt(read, LogFailure("ListView1_ItemClick"));
    if (!basBootloader::IsTwdValid(header))
        return packageText::DescribeNoPackage(file.view);
    const std::int32_t index = basBootloader::GetDeviceIndex(hDevice_);
    packageText::Describe(file.view, header,
                          index < 0 ? nullptr : &basBootloader::globals.TargetList[std::size_t(index)], hDevice_,
                          basApp::globals.OverrideHardwareCompatibility, basApp::GetFileSize64(path));
    file.view.lblPath = "Path: " + file.folder;
}

// Texts that are too long are shortened in the middle, so that a name's end can be read; the tool tip shows all.
void frmSelectFirmware::ShowTexts() {
    const packageText::View& view = picked_.view;
    const std::pair<QLabel*, const std::string&> texts[] = {
        {lblFilename, view.lblFilename},
        {lblPath, view.lblPath},
        {lblSoftwareID, view.lblSoftwareID},
        {lblSoftwareVersion, view.lblSoftwareVersion},
        {lblSoftwareBuiltOn, view.lblSoftwareBuiltOn},
        {lblFileCreatedOn, view.lblFileCreatedOn},
        {lblSoftwareInfo, view.lblSoftwareInfo},
        {lblCompatibleHardware, view.lblCompatibleHardware},
        {lblVendorCompatibility, view.lblVendorCompatibility},
        {lblPackagesIncluded, view.lblPackagesIncluded},
    };
    for (const auto& [label, text] : texts) {
        label->setText(label->fontMetrics().elidedText(Q(text), Qt::ElideMiddle, label->width()));
        label->setToolTip(WrappedTip(text));
    }
}

void frmSelectFirmware::ShowPicked() {
    ShowTexts();
    const packageText::View& view = picked_.view;
    const std::pair<QPushButton*, const std::string&> commands[] = {
        {cmdLoadSelected, view.noImage},
        {cmdLoadConfig, view.noConfig},
        {cmdLoadImageAndConfig, view.noBoth()},
        {cmdViewConfig, view.noView},
    };
    for (const auto& [command, why] : commands) {
        command->setEnabled(why.empty());
        command->setToolTip(WrappedTip(why));
    }
    Detail(view.detail);
}

// Whether a package still begins with the bytes by which labels and buttons were set.
bool frmSelectFirmware::PickedFile::isStill(const ByteArray& bytes) const {
    return !head.empty() && bytes.size() >= head.size() && std::equal(head.begin(), head.end(), bytes.begin());
}
