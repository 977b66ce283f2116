#include "Places.h"

#include <algorithm>

namespace places {

namespace {

// Not tmpfs: those that the system uses are below its own folders.
constexpr std::string_view NOT_FOR_FILES[] = {
    "autofs",     "binfmt_misc", "bpf",      "cgroup",     "cgroup2",     "configfs", "debugfs",
    "devpts",     "devtmpfs",    "efivarfs", "fuse.lxcfs", "fuse.portal", "fusectl",  "fuse.gvfsd-fuse",
    "hugetlbfs",  "mqueue",      "nsfs",     "proc",       "pstore",      "ramfs",    "rpc_pipefs",
    "securityfs", "selinuxfs",   "squashfs", "sysfs",      "tracefs",     "nfsd",     "fuse.snapfuse",
};
constexpr std::string_view SYSTEM_FOLDERS[] = {"/boot", "/dev", "/etc", "/proc", "/run",
                                               "/snap", "/sys", "/usr", "/var"};

bool IsUnder(std::string_view folder, std::string_view path) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

} // namespace

bool HoldsUserFiles(std::string_view mountPoint, std::string_view fileSystemType) {
    if (mountPoint == "/")
        return true;
    const bool ofSystem =
        std::ranges::any_of(SYSTEM_FOLDERS, [&](std::string_view folder) { return IsUnder(folder, mountPoint); });
    return (!ofSystem || IsUnder("/run/media", mountPoint)) &&
           std::ranges::find(NOT_FOR_FILES, fileSystemType) == std::end(NOT_FOR_FILES);
}

} // namespace places
