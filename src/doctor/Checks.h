// What stands between the program and the devices on a real bus: one procedure for each check.
#pragma once

#include "Survey.h"

namespace doctor {

enum class Health { Good, Bad, Unknown }; // Unknown: an earlier check has to be good first, or the system doesn't say

const char* WordOf(Health health); // "good"

struct Finding {
    Health Verdict;
    std::string Found;        // one sentence
    std::string Command = {}; // that mends it; "" if none does
};

std::string TextOf(const Finding& finding); // what was found, and the command that mends it

// What fails while a check is bad.
enum class Harm { Bus, Devices, Transfers };

struct Row : Finding {
    std::string Name; // "local-permission"
    Harm IfBad;
};

// MachineChecks.cpp
Finding CheckKernel(const Survey& survey);
Finding CheckController(const Survey& survey);
Finding CheckDriver(const Survey& survey);
Finding CheckDeviceFiles(const Survey& survey);
Finding CheckLocalPermission(const Survey& survey);
Finding CheckRemotePermission(const Survey& survey); // of devices of our vendor
// BusChecks.cpp
Finding CheckNodes(const Survey& survey);
Finding CheckPower(const Survey& survey);
Finding CheckRoms(const Survey& survey);
Finding CheckAddressRange(const Survey& survey);
Finding CheckSpeed(const Survey& survey);

// All of them, causes before effects.
std::vector<Row> Examine(const Machine& machine);

} // namespace doctor
