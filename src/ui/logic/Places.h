// Which mounted places the firmware browser offers.
#pragma once

#include <string_view>

namespace places {

// Whether a mount can hold a user's files, unlike the system's own folders and pseudo file systems.
bool HoldsUserFiles(std::string_view mountPoint, std::string_view fileSystemType);

} // namespace places
