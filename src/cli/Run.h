// A call of the program as a procedure.
#pragma once

#include "Call.h"

#include <string>
#include <vector>

namespace cli {

// `arguments` without the program's name. The window system is in place. The exit code.
int Run(const std::vector<std::string>& arguments, const Streams& streams);

} // namespace cli
