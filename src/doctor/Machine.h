// The machine that is examined: its folders, its user, and what opening a device file shows.
#pragma once

#include "DeviceProbe.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace doctor {

struct Machine {
    std::string Sys = "/sys", Dev = "/dev", Proc = "/proc", Etc = "/etc", Lib = "/usr/lib";
    std::string Program = "hoistline"; // as a command names it
    std::string Release;               // of the kernel: "6.1.0-18-amd64"
    std::uint32_t User = 0;            // in effect
    std::string UserName;
    std::vector<std::uint32_t> Groups; // of this process
    std::function<std::string(std::uint32_t group)> GroupName;
    std::function<std::string(std::uint32_t user)> OwnerName;
    std::function<FileFacts(const std::string& path)> Probe;
    std::function<int(const std::string& path, std::uint64_t address, std::uint32_t length)> TryRange;
    std::function<std::vector<std::uint32_t>(const std::string& path)> SelfIds;
};

// The one that the program runs on, unless a test has named another.
Machine ThisMachine();
void UseMachine(const Machine* machine); // null undoes it

} // namespace doctor
