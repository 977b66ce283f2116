#include "PackageText.h"

#include "basApp.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <fmt/format.h>

#include <limits>

namespace packageText {

namespace {

std::string DecimalAndHex(std::int32_t value) {
    return fmt::format("{} (0x{:X})", value, static_cast<std::uint32_t>(value));
}

std::string Verdict(const char* what, std::int32_t id, std::int32_t wanted) {
    return fmt::format("{} {} is {}compatible with the device", what, DecimalAndHex(id), id == wanted ? "" : "NOT ");
}

std::string VersionText(std::int32_t version) {
    const char* remark = version == basBootloader::PRIVATE_BUILD ? " - private build"
                         : version == 0                          ? " - missing information"
                                                                 : "";
    return "Version: " + DecimalAndHex(version) + remark;
}

std::string Included(const TwdHeader& header) {
    if (!basBootloader::IsTwdValid(header))
        return "Package included: None - invalid image";
    std::string text = "Packages included:";
    text += header.Image1.Length > 0 ? "  Image1" : "";
    text += header.Image2.Length > 0 ? "  Image2 (not used)" : "";
    text += header.Cne.Length > 0 ? "  CNE" : "";
    return text;
}

// Why the package can't be loaded; empty when it can.
std::string Fault(const TwdHeader& header, std::int64_t fileSize) {
    if (const NamedSection* outside = basBootloader::FirstOutside(header, fileSize))
        return fmt::format("The package's {} reaches outside the file: it is damaged and can't be loaded.",
                           outside->name);
    if (const NamedSection* outside = basBootloader::FirstOutside(header, READ_LIMIT))
        return fmt::format("The package's {} lies beyond the first {} bytes, which is all that is read of a file.",
                           outside->name, READ_LIMIT);
    return {};
}

// Why the target can't take a load of this package; empty when it can.
std::string Misfit(const TwdHeader& header, const BootloaderTarget& target, bool overrideHardware) {
    const std::int16_t node = target.Device.NodeNum;
    if (node < 0 || node > LAST_NODE)
        return "The device is not on the bus: it was unplugged, switched off or restarted.";
    if (target.Info.BootloaderVersion == 0)
        return "The device runs its application.  Close this window, then choose Command, Run Selected Device in "
               "Firmware Download Mode.";
    if (header.HardwareID != target.Info.HardwareModelID && !overrideHardware)
        return fmt::format("The package is for hardware model {}, the device is model {}.  If it fits all "
                           "the same, see Preferences.",
                           header.HardwareID, target.Info.HardwareModelID);
    return {};
}

} // namespace

void Describe(View& view, const TwdHeader& header, const BootloaderTarget* target, std::int32_t handle,
              bool overrideHardware, std::int64_t fileSize) {
    using namespace basBootloader;
    view.lblSoftwareInfo = "Info Text: " + header.InfoText.substr(0, header.InfoText.find('\0')); // NULs aren't shown
    view.lblSoftwareID = "Software ID: " + DecimalAndHex(header.SoftwareID);
    view.lblSoftwareBuiltOn =
        fmt::format("Build date: {} {} / {}(local)", FormatTwdDate(header.ImageDate), FormatTwdTime(header.ImageTime),
                    FormatLocalTime(header.ImageDate, header.ImageTime));
    view.lblSoftwareVersion = VersionText(header.SoftwareVersion);
    if (target == nullptr) {
        view.lblCompatibleHardware =
            fmt::format("ERROR: Failed to get GUID from device Handle: 0x{:X}", static_cast<std::uint32_t>(handle));
        view.noImage = view.noConfig = view.noView = "There is no device to load into.";
        return;
    }
    view.lblCompatibleHardware = Verdict("version", header.HardwareID, target->Info.HardwareModelID);
    view.lblVendorCompatibility =
        header.VendorID == 0
            ? "vendor ID 0 (0x0): the package names no vendor"
            : Verdict("vendor ID", header.VendorID, basUtils::ByteArrayToLong(target->DebugGUID, 0, 2, true));
    view.lblPackagesIncluded = Included(header);
    view.detail = Fault(header, fileSize);
    if (view.detail.empty())
        view.detail = Misfit(header, *target, overrideHardware);
    const std::string noCne = header.Cne.Length > 0 ? "" : "The package holds no configuration data.";
    view.noImage = header.Image1.Length > 0 ? view.detail : "The package holds no image.";
    view.noConfig = noCne.empty() ? view.detail : noCne;
    view.noView = noCne;
}

void DescribeNoPackage(View& view) {
    view.detail = "The file isn't a package, or it can't be read.";
    view.noImage = view.noConfig = view.noView = view.detail;
}

std::string LastUpdated(platform::FileTime lastWrite) {
    platform::SystemTime utc, local;
    if (platform::FileTimeToSystemTime(lastWrite, utc) && basApp::SystemTimeToLocal(utc, local) == 1)
        return basUtils::FormatSystemTime(local, "yyyy-mm-dd hh:nn:ss") + " (local)";
    return basUtils::FormatWinDateTime(lastWrite, "yyyy-mm-dd hh:nn:ss utc");
}

std::string SizeText(std::int64_t bytes) {
    if (bytes < 0)
        return "error";
    if (bytes > std::numeric_limits<std::uint32_t>::max())
        return "overflow";
    return fmt::format("{} kB", bytes / 1024);
}

} // namespace packageText
