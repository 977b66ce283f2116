// The rolling status log, and the copying and compacting of the file.
#include "Dialogs.h"
#include "Failure.h"
#include "Files.h"
#include "StoreFiles.h"
#include "basApp.h"
#include "clsDbManager.h"

#include <tuple>

using platform::IgnoreFailure;
using platform::ResumeNext;

namespace {

constexpr std::size_t LONGEST_MESSAGE = 250; // characters
constexpr std::size_t LONGEST_MODULE = 50;

bool StartsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

// The first `count` characters of a UTF-8 text.
std::string FirstCharacters(std::string_view text, std::size_t count) {
    if (text.size() <= count)
        return std::string(text);
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (StartsCharacter(text[i]) && characters++ == count)
            return std::string(text.substr(0, i));
    return std::string(text);
}

void WriteStatusFileLine(std::string_view message, std::int32_t level, std::string_view module, std::int32_t runTime) {
    if (!basApp::globals.PerformUnattendedOperations || level < LEVEL_ERROR || !basApp::hooks.writeStatusFileLine)
        return;
    basApp::hooks.writeStatusFileLine(fmt::format("{}, {}, {}, {}", basDebug::FormatRunTime(runTime),
                                                  basDebug::GetLevelName(level), module, message));
}

bool MayWrite(const std::string& path) {
    if (!basApp::FileExists(path))
        return true;
    if (basApp::globals.PerformUnattendedOperations)
        return false; // nobody is there to confirm
    return platform::CurrentDialogs().YesNo(fmt::format("The file '{}' already exists.  Overwrite?", path),
                                            basApp::TITLE);
}

} // namespace

void clsDbManager::AppendToLog(std::string_view message, std::int32_t level, std::string_view module,
                               std::int32_t runTime) {
    ResumeNext next{IgnoreFailure};
    next([&] { WriteStatusFileLine(message, level, module, runTime); });
    KeptRows.push_back(
        {FirstCharacters(message, LONGEST_MESSAGE), FirstCharacters(module, LONGEST_MODULE), level, runTime});
    if (KeptRows.size() >= LogBatch || level == LEVEL_ERROR || level >= LEVEL_FATAL)
        next([&] { StoreKeptRows(); });
}

// Adding rows and removing the oldest are one transaction: for a single row, that costs half as much as two.
void clsDbManager::StoreKeptRows() {
    const std::vector<LogRow> rows = std::exchange(KeptRows, {});
    if (rows.empty() || !StatusRecordset || !Updatable())
        return;
    Database->Execute("BEGIN");
    const bool stored = platform::Attempt(
        [&] {
            for (const LogRow& row : rows) {
                AddLogRow(row);
                RemoveSurplusRows();
            }
            Database->Execute("COMMIT");
        },
        [](const platform::Failure& failure) { store::TellNotWritable(failure.Description); });
    if (stored) {
        basApp::TellStoreNotice({}); // the lock of another program, say, has gone
    } else {
        Database->Execute("ROLLBACK");
        StatusRecordset = Database->OpenRecordset(StatusQuery); // it may hold rows that are gone
    }
}

void clsDbManager::AddLogRow(const LogRow& row) {
    StatusRecordset->AddNew();
    StatusRecordset->SetField("lngRuntime", std::int64_t{row.runTime});
    StatusRecordset->SetField("Level", std::int64_t{row.level});
    StatusRecordset->SetField("Message", row.message);
    StatusRecordset->SetField("strModule", row.module);
    StatusRecordset->Update();
}

// The row that the new one displaces, and another while there are still too many.
void clsDbManager::RemoveSurplusRows() {
    if (StatusRecordset->RecordCount() > MaxLogRecords) {
        StatusRecordset->MoveFirst();
        StatusRecordset->Delete();
    }
    if (StatusRecordset->RecordCount() > MaxLogRecords) {
        StatusRecordset->MoveLast();
        StatusRecordset->MoveFirst();
        StatusRecordset->Delete();
    }
}

std::int32_t clsDbManager::MakeCopy(const std::string& strFilename) {
    std::int32_t result = -1;
    bool closed = false;
    platform::Attempt(
        [&] {
            if (!MayWrite(strFilename))
                return;
            StoreKeptRows();
            closed = CloseDatabase();
            platform::CopyFile(store::LiveDatabase(), strFilename);
            result = ReopenDatabase();
        },
        [&](const platform::Failure& failure) {
            LogFailure(fmt::format("MakeCopy.  Could not create '{}'  Exiting abnormally.", strFilename))(failure);
            if (closed)
                platform::Attempt([this] { ReopenDatabase(); }, IgnoreFailure);
        });
    return result;
}

std::int32_t clsDbManager::CompactDatabase() {
    std::int32_t result = -1;
    platform::Attempt(
        [&] {
            const std::string target = store::CompactedDatabase();
            if (Database) {
                StatusDisplay(LEVEL_ERROR, "Cannot compact a database that is currently open.  Compact operation "
                                           "cannot complete.");
                return;
            }
            if (basApp::FileExists(target)) // left by a crash
                platform::Attempt([&] { platform::DeleteFile(target); }, IgnoreFailure);
            if (basApp::FileExists(target)) {
                StatusDisplay(LEVEL_ERROR,
                              fmt::format("Could not kill old compacted database'{}'.  Compact operation cannot "
                                          "complete.",
                                          target));
                return;
            }
            // In place: a program with another lock folder may open the file right now, and its changes would be lost
            // in a file that is then replaced.
            std::ignore = platform::Database::Compact(store::LiveDatabase()); // one in use stays as it is
            result = 1;
        },
        LogFailure("clsDbManager.CompactDatabase.  EXITING ABNORMALLY."));
    return result;
}
