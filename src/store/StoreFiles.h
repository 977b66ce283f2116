// The store's files, by their full paths in the program's directory.
#pragma once

#include <string>

namespace store {

std::string LiveDatabase();      // db1.mdb
std::string CleanDatabase();     // db1_clean.mdb
std::string CompactedDatabase(); // db1-compacted.mdb
std::string ErrorReportCopy();   // debug_log.mdb

// Once, as a notice: a message would go to the log, and a box to the status file of an unattended run.
void TellNotWritable(const std::string& reason);

} // namespace store
