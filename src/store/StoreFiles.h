// The files of the store, by their full paths in the program's directory.
#pragma once

#include <string>

namespace store {

std::string LiveDatabase();      // db1.mdb
std::string CleanDatabase();     // db1_clean.mdb
std::string CompactedDatabase(); // db1-compacted.mdb
std::string ErrorReportCopy();   // debug_log.mdb

} // namespace store
