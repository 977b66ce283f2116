#include "Machine.h"

#include "Paths.h"

#include <algorithm>
#include <grp.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace doctor {

namespace {

const Machine* replacement = nullptr;

std::string NameOfUser(std::uint32_t user) {
    const passwd* const entry = getpwuid(user);
    return entry == nullptr ? std::to_string(user) : entry->pw_name;
}

std::string NameOfGroup(std::uint32_t group) {
    const struct group* const entry = getgrgid(group);
    return entry == nullptr ? std::to_string(group) : entry->gr_name;
}

std::vector<std::uint32_t> OwnGroups() {
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    const int count = getgroups(static_cast<int>(groups.size()), groups.data());
    groups.resize(static_cast<std::size_t>(std::max(count, 0)));
    if (std::ranges::find(groups, getegid()) == groups.end())
        groups.push_back(getegid());
    return {groups.begin(), groups.end()};
}

} // namespace

Machine ThisMachine() {
    if (replacement != nullptr)
        return *replacement;
    Machine machine;
    machine.Program = platform::ExecutablePath();
    utsname system{};
    if (uname(&system) == 0)
        machine.Release = system.release;
    machine.User = geteuid();
    machine.UserName = NameOfUser(machine.User);
    machine.Groups = OwnGroups();
    machine.GroupName = NameOfGroup;
    machine.OwnerName = NameOfUser;
    machine.Probe = [](const std::string& path) { return ProbeFile(RealDeviceCalls(), path); };
    machine.TryRange = [](const std::string& path, std::uint64_t address, std::uint32_t length) {
        return TryRange(RealDeviceCalls(), path, address, length);
    };
    machine.SelfIds = [](const std::string& path) { return ReadSelfIds(RealDeviceCalls(), path); };
    return machine;
}

void UseMachine(const Machine* machine) {
    replacement = machine;
}

} // namespace doctor
