// Where the lock files of this user lie.
#pragma once

#include <string>
#include <vector>

namespace platform {

// A folder that can serve: this user's, and nobody else may write into it.
bool IsPrivateFolder(const std::string& path);

// The first of these that is a private folder or could be made one; empty when none is. One that is there and isn't
// private is left as it is: another user may have put it there.
std::string FirstPrivateFolder(const std::vector<std::string>& candidates);

// The folder of all processes of this user on this machine, however they were started: neither HOME nor the session's
// XDG_RUNTIME_DIR decides, since a job that the system starts has others. An XDG_RUNTIME_DIR that isn't the session's
// is meant (tests, sandboxes). Empty when there is none.
std::string LockFolder();

} // namespace platform
