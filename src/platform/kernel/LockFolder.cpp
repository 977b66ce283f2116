#include "LockFolder.h"

#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace platform {

namespace {

constexpr mode_t WRITABLE_BY_OTHERS = S_IWGRP | S_IWOTH;

// The home folder according to the system's user database.
std::string HomeOfUser() {
    passwd entry{};
    passwd* found = nullptr;
    char texts[16384];
    if (getpwuid_r(getuid(), &entry, texts, sizeof texts, &found) != 0 || found == nullptr)
        return {};
    return found->pw_dir;
}

bool MakePrivateFolder(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    mkdir(path.c_str(), 0700);
    return IsPrivateFolder(path);
}

} // namespace

bool IsPrivateFolder(const std::string& path) {
    struct stat facts {};
    return lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == geteuid() &&
           (facts.st_mode & WRITABLE_BY_OTHERS) == 0 && access(path.c_str(), W_OK | X_OK) == 0;
}

std::string FirstPrivateFolder(const std::vector<std::string>& candidates) {
    for (const std::string& candidate : candidates)
        if (MakePrivateFolder(candidate))
            return candidate;
    return {};
}

std::string LockFolder() {
    const std::string user = std::to_string(getuid());
    const char* named = std::getenv("XDG_RUNTIME_DIR");
    if (named != nullptr && named != "/run/user/" + user && IsPrivateFolder(named))
        return named;
    std::vector<std::string> candidates;
    if (const std::string home = HomeOfUser(); home.starts_with('/') && home != "/")
        candidates.push_back(home + "/.local/state/HoistlineApp");
    candidates.push_back("/dev/shm/hoistline-" + user); // an account without a home
    candidates.push_back("/tmp/hoistline-" + user);
    return FirstPrivateFolder(candidates);
}

} // namespace platform
