// Where the lock files of this user are.
#pragma once

#include <string>
#include <vector>

namespace platform {

// A folder of this user that nobody else can write to.
bool IsPrivateFolder(const std::string& path);

// The first of these that is a private folder or could be created as one; empty if there is none. An existing folder
// that isn't private is left as it is: another user may have created it.
std::string FirstPrivateFolder(const std::vector<std::string>& candidates);

// The same for all processes of this user on this machine, however they were started: neither HOME nor the session's
// XDG_RUNTIME_DIR decides, since they differ in a job that the system starts. Any other XDG_RUNTIME_DIR was set on
// purpose (tests, sandboxes) and is used. Empty if there is no private folder.
std::string LockFolder();

} // namespace platform
