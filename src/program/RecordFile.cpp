#include "RecordFile.h"

#include "Files.h"
#include "Paths.h"
#include "Program.h"
#include "SettingKeys.h"
#include "bas1394.h"
#include "basUtils.h"

#include <cstdlib>
#include <filesystem>

namespace program {

namespace {

// "bus-20261125-201500.twr", with a number when several programs start in one second.
std::string NewFileIn(const std::string& folder) {
    const std::string name = "bus-" + basUtils::FormatSystemTime(platform::GetLocalTime(), "yyyymmdd-hhnnss"),
                      ending = ".twr";
    std::string file = platform::JoinPath(folder, name + ending);
    std::error_code error;
    for (int number = 2; std::filesystem::exists(file, error); ++number)
        file = platform::JoinPath(folder, fmt::format("{}-{}{}", name, number, ending));
    return file;
}

} // namespace

std::string CallersRecord() {
    const char* named = std::getenv(RECORD_VARIABLE);
    const std::string file = named == nullptr ? "" : named;
    return file.empty() || file.front() == '/' ? file : platform::JoinPath(platform::CurrentDirectory(), file);
}

std::string RecordFault(const std::string& file) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::absolute(file, error).parent_path();
    if (std::filesystem::exists(std::filesystem::symlink_status(file, error)))
        return "it exists already";
    if (!std::filesystem::is_directory(folder, error))
        return "its folder doesn't exist";
    return platform::MayWrite(folder) ? "" : "its folder can't be written";
}

void ChooseRecordFile() {
    if (!bas1394::globals.Record.File.empty())
        return;
    std::string file = globals.RecordVariable;
    if (file.empty())
        if (const std::string folder = GlobalSetting(settingKeys::RECORD_FOLDER, ""); !folder.empty())
            file = NewFileIn(folder);
    if (file.empty())
        return;
    if (const std::string fault = RecordFault(file); !fault.empty()) {
        bas1394::StatusDisplay(LEVEL_ERROR, "The bus isn't recorded: \"{}\" can't be created: {}.", file, fault);
        return;
    }
    bas1394::StatusDisplay(LEVEL_USER, "Recording the bus into \"{}\".", file);
    bas1394::ChooseRecord({file});
}

} // namespace program
