// The program's one database file: settings and the rolling status log. Its operations go on past
// failures without a word: without a database every setting is its default and no log is stored.
#pragma once

#include "Database.h"
#include "basDebug.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

class clsDbManager {
public:
    // Opens db1.mdb (made from db1_clean.mdb when missing).
    clsDbManager();
    // Closes and compacts.
    ~clsDbManager();
    clsDbManager(const clsDbManager&) = delete;
    clsDbManager& operator=(const clsDbManager&) = delete;

    std::int32_t SetDefaultDownloadBehavior(std::int16_t downloadType);
    std::int16_t GetDefaultDownloadBehavior();
    // The stored value, or the default when there is none or it is empty.
    std::string GetSetting(const std::string& appName, const std::string& section, const std::string& key,
                           const std::string& defaultValue = {});
    // Always "". An empty value over an existing row leaves the old one.
    std::string SaveSetting(const std::string& appName, const std::string& section, const std::string& key,
                            const std::string& value);
    // 1 when a row went, else -1.
    std::int32_t RemoveSetting(const std::string& appName, const std::string& section, const std::string& key);
    // `runTime` in whole milliseconds, -1 where no clock is at hand.
    void AppendToLog(std::string_view message, std::int32_t level, std::string_view module, std::int32_t runTime);
    // Opens a mail to the support address with a copy of the file (ErrorReport.cpp). Everything that
    // goes wrong is told here, by a message box, the log, or both. 1 or -1; -1 in an unattended run.
    std::int32_t SendErrorReport();
    // Copies the file, closed for that time. 1 or -1.
    std::int32_t MakeCopy(const std::string& strFilename);

    // The statements that make the two empty tables of db1_clean.mdb.
    static const char* Schema();

private:
    // Opens the file of the program's directory again after a copy. 1.
    std::int32_t ReopenDatabase();
    // Shrinks the closed file in place, unless another program has it open. 1 or -1.
    std::int32_t CompactDatabase();
    // Failure 3000 with the message of the engine; both members stay empty then.
    void OpenDatabase(const std::string& path);
    // False when there was nothing to close.
    bool CloseDatabase();
    bool Updatable() const;
    std::unique_ptr<platform::Recordset> OpenSetting(const std::string& appName, const std::string& section,
                                                     const std::string& key);
    void StoreLogRow(std::string_view message, std::int32_t level, std::string_view module, std::int32_t runTime);
    void AddLogRow(std::string_view message, std::int32_t level, std::string_view module, std::int32_t runTime);
    void RemoveSurplusRows();
    // As stored, or else as the user gives it when asked; may stay empty.
    std::string SupportAddress();
    // While frmMain doesn't exist straight into the log, whatever the level.
    void StatusDisplay(std::int32_t level, const std::string& message);
    void LogOpening();

    std::unique_ptr<platform::Database> Database;
    std::unique_ptr<platform::Recordset> StatusRecordset; // on tblStatus
    std::string StatusQuery = "SELECT * FROM tblStatus";
    std::int32_t MaxLogRecords = 2000;
};
