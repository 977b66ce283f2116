// The database file's life, and the settings.
#include "clsDbManager.h"

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"
#include "Paths.h"
#include "SettingKeys.h"
#include "StoreFiles.h"
#include "basApp.h"
#include "basUtils.h"

#include <cmath>
#include <limits>

using platform::IgnoreFailure;
using platform::ResumeNext;

namespace store {

std::string LiveDatabase() {
    return platform::JoinPath(platform::ProgramDirectory(), "db1.mdb");
}
std::string CleanDatabase() {
    return platform::JoinPath(platform::ProgramDirectory(), "db1_clean.mdb");
}
std::string CompactedDatabase() {
    return platform::JoinPath(platform::ProgramDirectory(), "db1-compacted.mdb");
}
std::string ErrorReportCopy() {
    return platform::JoinPath(platform::ProgramDirectory(), "debug_log.mdb");
}

void TellNotWritable(const std::string& reason) {
    basApp::TellStoreNotice(fmt::format("The database file '{}' cannot be written: {}.  Settings and log are not "
                                        "stored.",
                                        LiveDatabase(), reason));
}

} // namespace store

namespace {

constexpr const char* CLASS_NAME = "clsDbManager";
// In the current directory, which holds the local data.
constexpr const char* LIVE_DATABASE_HERE = ".\\db1.mdb";
constexpr const char* CLEAN_DATABASE_HERE = ".\\db1_clean.mdb";

void ProvideDatabaseFile() {
    if (basApp::FileExists(store::LiveDatabase()))
        return;
    if (basApp::FileExists(store::CleanDatabase())) {
        platform::Database::CreateFrom(CLEAN_DATABASE_HERE, LIVE_DATABASE_HERE);
        return;
    }
    basApp::MessageBoxOrStatusFile("The database file (db1.mdb or alternatively db1_clean.mdb) cannot be found.  "
                                   "This could have negative effects on the application.",
                                   "Database not found");
}

bool MayNotBeWritten(const std::string& path) {
    return basApp::FileExists(path) && !platform::MayWrite(path);
}

// A file that exists but doesn't open, or one that didn't fit on a full disk, would otherwise lose
// settings silently.
void TellUnusableDatabase(const platform::Failure& failure) {
    if (MayNotBeWritten(LIVE_DATABASE_HERE))
        return store::TellNotWritable(failure.Description);
    if (!basApp::FileExists(std::string(LIVE_DATABASE_HERE)) && !basApp::FileExists(std::string(CLEAN_DATABASE_HERE)))
        return;
    basApp::MessageBoxOrStatusFile(
        fmt::format("The database file '{}' cannot be used: {}.  It was left untouched.  The application runs with "
                    "default settings and stores neither settings nor a log.",
                    store::LiveDatabase(), failure.Description),
        "Database not usable");
}

// The three values go into the query text unchanged, so one that could end its quotes or the text is refused.
std::string SettingQuery(const std::string& appName, const std::string& section, const std::string& key) {
    constexpr std::string_view QUERY_BREAKERS("'\0", 2);
    for (const std::string* value : {&appName, &section, &key})
        if (value->find_first_of(QUERY_BREAKERS) != std::string::npos)
            platform::Raise(platform::DATABASE_ERROR, "Syntax error in query expression", CLASS_NAME);
    return fmt::format("SELECT * FROM tblSettings WHERE ((strAppName = '{}') AND (strSection = '{}') AND "
                       "(strKeyName = '{}'))",
                       appName, section, key);
}

} // namespace

clsDbManager::clsDbManager() {
    ResumeNext next{IgnoreFailure};
    platform::Attempt(
        [this] {
            ProvideDatabaseFile();
            OpenDatabase(LIVE_DATABASE_HERE);
        },
        TellUnusableDatabase);
    next([this] { LogOpening(); });
    next([this] {
        StatusDisplay(LEVEL_USER,
                      fmt::format("App={} ver {}.{}.{}, EXE={}", basApp::TITLE, basApp::VERSION_MAJOR,
                                  basApp::VERSION_MINOR, basApp::VERSION_REVISION, platform::ExecutablePath()));
    });
}

clsDbManager::~clsDbManager() {
    ResumeNext next{IgnoreFailure};
    next([this] { StatusDisplay(LEVEL_TRACE, "Closing database..."); });
    next([this] { StoreKeptRows(); });
    // A file that never opened may be worth rescuing, so it isn't touched. One that can't be written can't be shrunk
    // either, and has been reported.
    const bool mayShrink = Updatable();
    if (CloseDatabase() && mayShrink)
        next([this] { CompactDatabase(); });
}

// Small pages: a log row changes two of them, and pages are written whole.
const char* clsDbManager::Schema() {
    return "PRAGMA page_size = 1024;"
           "CREATE TABLE tblSettings (strAppName TEXT, strSection TEXT, strKeyName TEXT, strValue TEXT);"
           "CREATE TABLE tblStatus (lngRuntime INTEGER, Level INTEGER, Message TEXT, strModule TEXT);";
}

void clsDbManager::OpenDatabase(const std::string& path) {
    auto database = std::make_unique<platform::Database>(path);
    StatusRecordset = database->OpenRecordset(StatusQuery);
    Database = std::move(database);
    if (!Updatable())
        store::TellNotWritable(Database->WhyNotUpdatable());
}

bool clsDbManager::CloseDatabase() {
    if (!Database)
        return false;
    StatusRecordset.reset(); // first: it uses the database
    Database.reset();
    return true;
}

std::int32_t clsDbManager::ReopenDatabase() {
    OpenDatabase(store::LiveDatabase());
    LogOpening();
    return 1;
}

bool clsDbManager::Updatable() const {
    return Database && Database->Updatable();
}

void clsDbManager::StatusDisplay(std::int32_t level, const std::string& message) {
    if (!basApp::CurrentFrontEnd().IsOpen())
        AppendToLog(message, level, CLASS_NAME, -1);
    else if (basDebug::Wanted(level))
        basDebug::StatusDisplay(message, level, CLASS_NAME);
}

void clsDbManager::LogOpening() {
    StatusDisplay(LEVEL_USER, "Database initialized and status log opened on " +
                                  basUtils::FormatSystemTime(platform::GetLocalTime(), "yyyy-mm-dd hh:nn:ss") + ".");
}

std::unique_ptr<platform::Recordset> clsDbManager::OpenSetting(const std::string& appName, const std::string& section,
                                                               const std::string& key) {
    const std::string query = SettingQuery(appName, section, key);
    if (!Database)
        platform::Raise(platform::DATABASE_ERROR, "The database is not open", CLASS_NAME);
    return Database->OpenRecordset(query);
}

std::string clsDbManager::GetSetting(const std::string& appName, const std::string& section, const std::string& key,
                                     const std::string& defaultValue) {
    std::string result;
    platform::Attempt(
        [&] {
            const auto rows = OpenSetting(appName, section, key);
            if (!rows->AtEnd())
                result = rows->Text("strValue");
        },
        IgnoreFailure);
    return result.empty() ? defaultValue : result;
}

std::string clsDbManager::SaveSetting(const std::string& appName, const std::string& section, const std::string& key,
                                      const std::string& value) {
    platform::Attempt(
        [&] {
            if (!Updatable())
                return;
            const auto rows = OpenSetting(appName, section, key);
            if (rows->AtEnd())
                rows->AddNew();
            else
                rows->Edit();
            rows->SetField("strAppName", appName);
            rows->SetField("strSection", section);
            rows->SetField("strKeyName", key);
            if (!value.empty())
                rows->SetField("strValue", value);
            rows->Update();
        },
        IgnoreFailure);
    return {};
}

std::int32_t clsDbManager::RemoveSetting(const std::string& appName, const std::string& section,
                                         const std::string& key) {
    std::int32_t result = -1;
    platform::Attempt(
        [&] {
            if (!Updatable())
                return;
            const auto rows = OpenSetting(appName, section, key);
            if (rows->AtEnd())
                return;
            rows->Delete();
            result = 1;
        },
        IgnoreFailure);
    return result;
}

std::int32_t clsDbManager::SetDefaultDownloadBehavior(std::int16_t downloadType) {
    SaveSetting(basApp::TITLE, settingKeys::SELECT_FIRMWARE_SECTION, settingKeys::DEFAULT_LOAD_BEHAVIOR,
                std::to_string(downloadType));
    return 0;
}

std::int16_t clsDbManager::GetDefaultDownloadBehavior() {
    using Limits = std::numeric_limits<std::int16_t>;
    const double stored = std::nearbyint(platform::LeadingNumber(
        GetSetting(basApp::TITLE, settingKeys::SELECT_FIRMWARE_SECTION, settingKeys::DEFAULT_LOAD_BEHAVIOR, "0")));
    const bool fits = stored >= Limits::min() && stored <= Limits::max();
    return fits ? static_cast<std::int16_t>(stored) : std::int16_t{0};
}
