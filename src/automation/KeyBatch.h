// A key batch: a file that lists reads and writes of persistent keys. They are carried out in one go; each operation
// that works leaves a data file, and the batch a report beside its own file.
#pragma once

#include "FileName.h"
#include "KeyBatchText.h"
#include "Verdict.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace basAutomation {

// In lists of operations element 0 is unused.

// The whole batch. 1 when it came as far as its report; -1 when the batch file is missing, can't be read or
// could be one of several. Adds a step for each operation to the verdict of the run. `mayBegin` sees the operations
// before the first is carried out, and may choose their devices; false: none is, and the result is -1.
[[nodiscard]] std::int32_t
PerformKeyBatchOperation(const platform::FileName& batchFile, basApp::RunVerdict& verdict,
                         const std::function<bool(std::vector<KeyOperation>& operations)>& mayBegin = {});
// 1; -1 when the file doesn't exist. Data files are looked for in KeyBatchDirectory. `dropped` gets the number of
// lines that aren't operations.
[[nodiscard]] std::int32_t GetKeyOperationsFromFile(const platform::FileName& batchFile,
                                                    std::vector<KeyOperation>& operations, std::int32_t& dropped);
// 1; -1 and one zero byte when no text remains.
[[nodiscard]] std::int32_t GetKeyDataFromFile(const platform::FileName& file, ByteArray& data);
// In file order, past every failure. 1 when at least one succeeded, otherwise -1.
[[nodiscard]] std::int32_t PerformKeyOperations(std::vector<KeyOperation>& operations);
// One operation; its Status and, of a read, its Data. Repeated after a bus reset.
void PerformKeyOperation(KeyOperation& operation);
// 1; -1 when an existing data file can't be replaced, or the report can't be written.
[[nodiscard]] std::int32_t DumpKeyBatchOutput(std::vector<KeyOperation>& operations,
                                              const platform::FileName& batchFile);

// For mnuExecuteKeyBatch: prepares the run of batch-operations\keybatch.html, which the
// scheduler then carries out. 1; anything else: the program has to end at once.
[[nodiscard]] std::int32_t ExecuteKeyBatchFromMenu();

} // namespace basAutomation
