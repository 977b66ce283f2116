// The program's only database file: settings and the rolling status log. Operations ignore failures silently: without
// a database every setting has its default and no log is stored.
#pragma once

#include "Database.h"
#include "Failure.h"
#include "basDebug.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class clsDbManager {
public:
    // Opens db1.mdb; a missing one is made from db1_clean.mdb.
    clsDbManager();
    // Closes and compacts.
    ~clsDbManager();
    clsDbManager(const clsDbManager&) = delete;
    clsDbManager& operator=(const clsDbManager&) = delete;

    std::int32_t SetDefaultDownloadBehavior(std::int16_t downloadType);
    std::int16_t GetDefaultDownloadBehavior();
    // The stored value, or the default when nothing or an empty value is stored.
    std::string GetSetting(const std::string& appName, const std::string& section, const std::string& key,
                           const std::string& defaultValue = {});
    // Always "". An empty value over an existing row leaves the old one.
    std::string SaveSetting(const std::string& appName, const std::string& section, const std::string& key,
                            const std::string& value);
    // 1 when a row was removed, else -1.
    std::int32_t RemoveSetting(const std::string& appName, const std::string& section, const std::string& key);
    // `runTime` in whole milliseconds, -1 without a clock.
    void AppendToLog(std::string_view message, std::int32_t level, std::string_view module, std::int32_t runTime);
    // From here on rows are kept and stored so many at a time, which costs a tenth; an error, the end of the object,
    // and StoreKeptRows store what is kept.
    void StoreInBatches(std::size_t rows) { LogBatch = rows; }
    void StoreKeptRows();
    // Opens a mail to the support address with a copy of the file (ErrorReport.cpp). Reports every failure itself, by
    // a message box, the log, or both. 1 or -1; -1 in an unattended run.
    std::int32_t SendErrorReport();
    // Copies the file, which is closed meanwhile. 1 or -1.
    [[nodiscard]] std::int32_t MakeCopy(const std::string& strFilename);

    // Creates the two empty tables of db1_clean.mdb.
    static const char* Schema();

private:
    // Opens the file again after a copy. Always 1.
    std::int32_t ReopenDatabase();
    // Shrinks the closed file in place, unless another program has it open. 1 or -1.
    std::int32_t CompactDatabase();
    // Failure 3000 with the engine's message; both members then stay empty.
    void OpenDatabase(const std::string& path);
    // False when nothing was open.
    bool CloseDatabase();
    bool Updatable() const;
    std::unique_ptr<platform::Recordset> OpenSetting(const std::string& appName, const std::string& section,
                                                     const std::string& key);
    struct LogRow {
        std::string message, module;
        std::int32_t level, runTime;
    };
    void AddLogRow(const LogRow& row);
    void RemoveSurplusRows();
    // The stored address, else the one that the user enters; may be empty.
    std::string SupportAddress();
    // While frmMain doesn't exist, straight into the log, whatever the level.
    void StatusDisplay(std::int32_t level, const std::string& message);
    void LogOpening();
    // Logs a failure `where`: the procedure and the rest of the message.
    auto LogFailure(std::string where) {
        return [this, where = std::move(where)](const platform::Failure& f) {
            StatusDisplay(LEVEL_ERROR, fmt::format("Error #{}: {} in {}", f.Number, f.Description, where));
        };
    }

    std::unique_ptr<platform::Database> Database;
    std::unique_ptr<platform::Recordset> StatusRecordset; // on tblStatus
    std::string StatusQuery = "SELECT * FROM tblStatus";
    std::int32_t MaxLogRecords = 2000;
    std::vector<LogRow> KeptRows; // not stored yet
    std::size_t LogBatch = 1;
};
