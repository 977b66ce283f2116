#include "CodePage.h"
#include "Failure.h"
#include "RomFormat.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <fmt/format.h>

#include <optional>
#include <span>

namespace basConfigRom {

namespace {

constexpr std::int32_t KEY_MODULE_VENDOR = 0x03, KEY_MODULE_HW_VERSION = 0x04, KEY_NODE_VENDOR = 0x08,
                       KEY_NODE_HW_VERSION = 0x09, KEY_UNIT_DIRECTORY = 0x11, KEY_MODEL = 0x17;
constexpr std::int32_t ROOT = 0;

struct Try {
    std::int32_t directoryType, keyValue;
};
constexpr Try MODEL_TRIES[] = {{KEY_UNIT_DIRECTORY, KEY_MODEL}, {KEY_MODULE_VENDOR, KEY_MODEL}, {ROOT, KEY_MODEL}};
constexpr Try VENDOR_TRIES[] = {{ROOT, KEY_MODULE_VENDOR}, {ROOT, KEY_NODE_VENDOR}};

bool SaysNoConfig(const std::string& text) {
    return platform::LowerCase(text).find("no config") != std::string::npos;
}

std::string FirstText(std::span<const Try> tries, const ConfigRomRecord& rom, const char* unreadable) {
    for (const Try& attempt : tries) {
        std::string text = GetConfigRomKeyText(attempt.directoryType, attempt.keyValue, rom);
        if (!SaysNoConfig(text))
            return text;
    }
    return unreadable;
}

// The directory of that type under the root, if there is one.
const ConfigRomDirectory* FindDirectory(std::int32_t directoryType, const ConfigRomRecord& rom) {
    const ConfigRomDirectory& root = rom.Directories.front();
    if (directoryType == ROOT)
        return &root;
    for (const ConfigRomEntry& entry : root.Entries)
        if (entry.KeyType == TYPE_DIRECTORY && entry.KeyValue == directoryType)
            return static_cast<std::size_t>(entry.Index) < rom.Directories.size()
                       ? &rom.Directories[static_cast<std::size_t>(entry.Index)]
                       : nullptr;
    return nullptr;
}

// The textual leaf between the immediate of that key and the next immediate.
std::optional<std::string> TextAfterKey(const ConfigRomDirectory& directory, std::int32_t keyValue) {
    std::int32_t currentKey = 0;
    for (const ConfigRomEntry& entry : directory.Entries) {
        if (entry.KeyType == TYPE_IMMEDIATE)
            currentKey = entry.KeyValue;
        if (currentKey == keyValue && entry.KeyType == TYPE_LEAF && entry.KeyValue == KEY_TEXT &&
            static_cast<std::size_t>(entry.Index) < directory.Leaves.size())
            return directory.Leaves[static_cast<std::size_t>(entry.Index)].Text;
    }
    return {};
}

} // namespace

bool ConfigRomIsMinimal(const ConfigRomRecord& rom) {
    bool minimal = false;
    platform::Attempt([&] { minimal = rom.RawData.at(0) == 1; }, LogFailure("ConfigRomIsMinimal"));
    return minimal;
}

std::string GetConfigRomKeyText(std::int32_t directoryType, std::int32_t keyValue, const ConfigRomRecord& rom) {
    if (rom.RawData.size() <= 1)
        return "No Config ROM";
    if (rom.RawData[0] == 1)
        return fmt::format("Minimal ConfigRom (ven 0x{:X})", basUtils::ByteArrayToLong(rom.RawData, 1, 3, true));
    if (rom.Directories.empty() || rom.Directories.front().Length <= 0)
        return "No root directory";
    const ConfigRomDirectory* directory = FindDirectory(directoryType, rom);
    if (directory == nullptr)
        return fmt::format("DirectoryType 0x{:X} not found", directoryType);
    return TextAfterKey(*directory, keyValue).value_or("No Config ROM Keytext");
}

std::string GetConfigRomModelText(const ConfigRomRecord& rom) {
    return FirstText(MODEL_TRIES, rom, "<UNREADABLE CONFIG ROM MODEL TEXT>");
}

std::string GetConfigRomVendorText(const ConfigRomRecord& rom) {
    return FirstText(VENDOR_TRIES, rom, "<UNREADABLE CONFIG ROM VENDOR TEXT>");
}

std::string GetConfigRomGuidText(const ConfigRomRecord& rom) {
    return basUtils::FormatHex(static_cast<std::uint32_t>(rom.NodeVendorID), "000000") +
           basUtils::FormatHex(rom.ChipIDHi, "00") + " " +
           basUtils::FormatHex(static_cast<std::uint32_t>(rom.ChipIdLow), "00000000");
}

std::string HardwareVersionText(const ConfigRomRecord& rom) {
    std::string text;
    platform::ResumeNext next(LogFailure("GetHardwareVersion"));
    for (const ConfigRomDirectory& directory : rom.Directories)
        for (const ConfigRomEntry& entry : directory.Entries)
            next([&] {
                if (entry.KeyValue == KEY_MODULE_HW_VERSION)
                    text += fmt::format(" MODULE_HW_VERSION={}", entry.Data);
                if (entry.KeyValue == KEY_NODE_HW_VERSION)
                    text += fmt::format(" NODE_HW_VERSION={}", entry.Data);
            });
    return text.empty() ? "<not found>" : text;
}

} // namespace basConfigRom
