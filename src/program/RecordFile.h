// Where a start of the program records the bus.
#pragma once

#include <string>

namespace program {

inline constexpr const char* RECORD_VARIABLE = "HOISTLINE_RECORD"; // a file, as --record takes it

std::string CallersRecord(); // what it names, with a whole path; "" without it
// Why there can be no new file of that name, as "it exists already"; empty if there can.
std::string RecordFault(const std::string& file);
// Unless the caller has chosen a file: the one that the variable names, else a new one in the folder of the setting.
// One that can't be made is reported, and nothing is recorded.
void ChooseRecordFile();

} // namespace program
