// What the firmware browser shows of a file and lets the user do with it, worked out from header
// and target without a widget.
#pragma once

#include "BootloaderRecords.h"
#include "Clock.h"
#include "TwdPackage.h"

#include <cstdint>
#include <string>

namespace packageText {

// The labels and the available commands. The defaults apply until a file is picked.
struct View {
    std::string lblFilename = "Filename: <none selected>";
    std::string lblSoftwareID = "Software ID: <unknown>";
    std::string lblSoftwareVersion = "Version: <unknown>";
    std::string lblSoftwareBuiltOn = "Build date: <not applicable>";
    std::string lblFileCreatedOn = "File Last Updated: <none selected>";
    std::string lblSoftwareInfo = "Software Info: <unknown>";
    std::string lblPath, lblCompatibleHardware, lblVendorCompatibility;
    std::string lblPackagesIncluded = "Package included: <no image selected>";
    // Why a command isn't available; empty if it is.
    std::string noImage = "Pick a package first.", noConfig = noImage, noView = noImage;
    const std::string& noBoth() const { return noImage.empty() ? noConfig : noImage; }
    std::string detail; // the line below the status: why nothing of the file can be loaded
};

// The package's part of the view. `target` is null when the handle has none; `fileSize` in bytes.
// A package with a section outside the file, or outside what the browser reads, can't be loaded.
void Describe(View& view, const TwdHeader& header, const BootloaderTarget* target, std::int32_t handle,
              bool overrideHardware, std::int64_t fileSize);

// The view of a file that isn't a package or can't be read.
void DescribeNoPackage(View& view);

// The browser reads at most this many bytes of a package.
inline constexpr std::int64_t READ_LIMIT = 10'000'000;

// The file list: "2026-11-24 15:30:00 (local)" or "... utc", "123 kB", "overflow" from 4 GB on.
std::string LastUpdated(platform::FileTime lastWrite);
std::string SizeText(std::int64_t bytes);

} // namespace packageText
