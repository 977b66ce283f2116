// Checks that the files the program depends on exist and have the expected dates. The results are only
// logged.
#include "StartUp.h"

#include "Modules.h"
#include "Paths.h"
#include "basApp.h"
#include "basUtils.h"

namespace basApp {

namespace {

constexpr std::int32_t DIRECTORY_BUFFER_SIZE = 255;

// In the order of checking. On this platform the bus drivers belong to the kernel: there is no file to
// test.
std::vector<Dependency> Dependencies() {
    Dependency library{platform::ModuleFileName("Twl1394api.dll"), {}, false, true, true};
    library.ExpectedDate.Year = 2003;
    library.ExpectedDate.Month = 7;
    library.ExpectedDate.Day = 24;
    const Dependency database{"db1.mdb", {}, false, true, false};
    return {library, database};
}

// The length of the system directory's name. This platform has no such directory.
std::int32_t GetWindowsDirectoryA(std::string& directory) {
    directory.clear();
    return 0;
}

std::string JoinedTo(const std::string& directory, const std::string& fileName) {
    const std::size_t start = fileName.find_first_not_of("\\/");
    return platform::JoinPath(directory, start == std::string::npos ? std::string() : fileName.substr(start));
}

// False, with a message, when the dependency's directory can't be determined.
bool DependencyPath(const Dependency& dependency, std::string& path) {
    path = dependency.FileName;
    if (dependency.InWindowsDirectory) {
        std::string directory;
        const std::int32_t length = GetWindowsDirectoryA(directory);
        if (length < 1 || length > DIRECTORY_BUFFER_SIZE) {
            StatusDisplay(LEVEL_ERROR, "Failed to get the Windows directory name in the startup routine, code {}!",
                          length);
            return false;
        }
        path = JoinedTo(directory, dependency.FileName);
    }
    if (dependency.InApplicationDirectory)
        path = JoinedTo(platform::ProgramDirectory(), dependency.FileName);
    return true;
}

struct DateComparison {
    bool matches = true;
    std::string expected; // the tested fields, as in "Year=2002 mon=10 day=25"
};

DateComparison CompareDates(const platform::SystemTime& expected, const platform::SystemTime& actual) {
    struct Field {
        const char* label;
        std::uint16_t expected, actual;
    };
    const Field fields[] = {
        {"Year=", expected.Year, actual.Year},     {" mon=", expected.Month, actual.Month},
        {" day=", expected.Day, actual.Day},       {" hr=", expected.Hour, actual.Hour},
        {" min=", expected.Minute, actual.Minute}, {" sec=", expected.Second, actual.Second},
    };
    DateComparison comparison;
    for (const Field& field : fields) {
        if (field.expected == 0)
            continue;
        comparison.matches = comparison.matches && field.expected == field.actual;
        comparison.expected += fmt::format("{}{}", field.label, field.expected);
    }
    return comparison;
}

std::string DateText(const platform::SystemTime& date) {
    return fmt::format("{}-{}-{}  {}:{:02}:{:02}", date.Year, date.Month, date.Day, date.Hour, date.Minute,
                       date.Second);
}

bool IsNewer(const platform::SystemTime& actual, const platform::SystemTime& expected) {
    constexpr const char* SORTABLE = "yyyymmddhhnnss";
    return basUtils::FormatSystemTime(expected, SORTABLE) < basUtils::FormatSystemTime(actual, SORTABLE);
}

} // namespace

std::int32_t VerifySupportingFile(const Dependency& dependency) {
    std::string path;
    if (!DependencyPath(dependency, path))
        return -1;
    std::int32_t result = 0;
    if (!FileExists(path)) {
        StatusDisplay(LEVEL_USER, "ERROR: the file \"{}\" does not exist!", path);
        result = -1;
    }
    platform::SystemTime date; // UTC
    if (!platform::FileTimeToSystemTime(GetFileDate64(path), date)) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to convert driver date to a readable format!  FileTimeToSystemTime result = {}", 0);
        return result;
    }
    const DateComparison comparison = CompareDates(dependency.ExpectedDate, date);
    StatusDisplay(LEVEL_WATCH, "{} is dated {}.", path, DateText(date));
    if (comparison.matches || (dependency.NewerIsAcceptable && IsNewer(date, dependency.ExpectedDate)))
        return result;
    StatusDisplay(LEVEL_ERROR, "File Dependency Error: file \"{}\" is dated {}.", path, DateText(date));
    StatusDisplay(LEVEL_ERROR, "The expected date is {}", comparison.expected);
    return result;
}

void VerifySupportingFiles() {
    platform::Attempt(
        [] {
            for (const Dependency& dependency : Dependencies())
                VerifySupportingFile(dependency);
        },
        [](const platform::Failure& failure) {
            StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in VerifySupportingFiles", failure.Number, failure.Description);
        });
}

} // namespace basApp
