// A key batch: a file that lists reads and writes of persistent keys, carried out in one go, with a
// data file for each operation that worked and a report beside the batch file.
#pragma once

#include "FileName.h"
#include "KeyBatchText.h"

#include <cstdint>
#include <string>
#include <vector>

namespace basAutomation {

// In lists of operations element 0 is unused.

// The whole batch. 1 once the report was due; -1 when the batch file is missing, can't be read or
// could be one of several.
std::int32_t PerformKeyBatchOperation(const platform::FileName& batchFile);
// 1; -1 when the file doesn't exist. Data files are looked for in KeyBatchDirectory.
std::int32_t GetKeyOperationsFromFile(const platform::FileName& batchFile, std::vector<KeyOperation>& operations);
// 1; -1 and one zero byte when no text remains.
std::int32_t GetKeyDataFromFile(const platform::FileName& file, ByteArray& data);
// In file order, past every failure. 1 when at least one succeeded, otherwise -1.
std::int32_t PerformKeyOperations(std::vector<KeyOperation>& operations);
// 1; -1 when a data file in its way can't be replaced, or there is no report.
std::int32_t DumpKeyBatchOutput(std::vector<KeyOperation>& operations, const platform::FileName& batchFile);

// What mnuExecuteKeyBatch does: prepares the run of batch-operations\keybatch.html, which the
// scheduler then carries out. 1; anything else: the program has to end at once.
std::int32_t ExecuteKeyBatchFromMenu();

} // namespace basAutomation
