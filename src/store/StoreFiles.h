// The files of the store, by their full paths in the program's directory, and what to say of them.
#pragma once

#include <string>

namespace store {

std::string LiveDatabase();      // db1.mdb
std::string CleanDatabase();     // db1_clean.mdb
std::string CompactedDatabase(); // db1-compacted.mdb
std::string ErrorReportCopy();   // debug_log.mdb

// Once, and never as a message or a box, which a log or an unattended run would have to bear.
void TellNotWritable(const std::string& reason);

} // namespace store
