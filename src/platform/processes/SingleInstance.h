#pragma once

#include <string>

namespace platform {

// True if this is the only process of this user with that claim, which lasts until the process ends or releases it.
[[nodiscard]] bool ClaimSingleInstance(const std::string& name);
void ReleaseSingleInstance();

} // namespace platform
