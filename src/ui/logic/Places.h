// Which mounted places the firmware browser offers.
#pragma once

#include <string_view>

namespace places {

// Whether a mount can hold a user's files: not the system's own folders, nor what only looks like a file system.
bool HoldsUserFiles(std::string_view mountPoint, std::string_view fileSystemType);

} // namespace places
