#pragma once

#include <string>

namespace platform {

// True when this process is the first of this user with that name; the claim ends with the process.
bool ClaimSingleInstance(const std::string& name);
void ReleaseSingleInstance();

} // namespace platform
