// The names of the bootloader's commands, by their codes.
#pragma once

#include <cstdint>

namespace basBootloader {

// Null for a code that no command has.
constexpr const char* NameOfCommand(std::int32_t code) {
    constexpr const char* names[] = {nullptr,
                                     "HaltBootloader",
                                     "ResetDevice",
                                     "ReadImageCRC",
                                     "DownloadStart",
                                     "DownloadBlock",
                                     "DownloadEnd",
                                     "SwitchTo1394Shell",
                                     "ReadShellCharacters",
                                     "WriteShellCharacters",
                                     "ProgramGUID",
                                     "ProgramMAC",
                                     "InitializePersistentParams",
                                     "InitializeConfigToFactoryDefaults",
                                     "SetDebugGUID",
                                     "GetDebugGUID",
                                     nullptr,
                                     "StartImage",
                                     "ReadKey",
                                     "WriteKey"};
    constexpr auto count = static_cast<std::int32_t>(sizeof names / sizeof *names);
    return code >= 0 && code < count ? names[code] : nullptr;
}

} // namespace basBootloader
