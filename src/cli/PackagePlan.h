// Which images of a package a command is about.
#pragma once

#include "Call.h"
#include "TwdPackage.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

struct PackageChoice {
    std::string file;
    std::string only;         // "application", "config"; "" for both
    std::string as;           // "bootloader", "debugger"; "" for application and configuration
    bool overrideCrc = false; // a CRC that isn't CRC-32 is only a warning
};

struct PlannedImage {
    std::int32_t imageType;
    TwdSection section;
    std::uint32_t computedCrc; // CRC-32; a device may use another one
    std::string crcFault;      // empty when the package's is the same
};

struct PackagePlan {
    TwdHeader package;
    std::vector<PlannedImage> images; // at least one, in the order of a load
};

void AddPackageChoice(CLI::App* command, PackageChoice& choice);
// Reads and checks the package. False: the call has ended, since the package can't be used for what was chosen.
[[nodiscard]] bool ReadPackage(Call& call, const PackageChoice& choice, PackagePlan& plan);
// False: the call has ended, since the package is for other hardware than the device of `handle`.
[[nodiscard]] bool FitsHardware(Call& call, const PackageChoice& choice, const PackagePlan& plan, std::int32_t handle);
// The package and its images, for the record.
Json ToJson(const PackageChoice& choice, const PackagePlan& plan);

} // namespace cli
