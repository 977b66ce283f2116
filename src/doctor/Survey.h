// What the system shows of FireWire, collected once for all checks.
#pragma once

#include "Machine.h"

#include <optional>

namespace doctor {

struct Controller {
    std::string Address; // "0000:03:00.0"
    std::string Driver;  // "" without one
};

// A node that the kernel knows.
struct Node {
    std::string Name;                 // "fw1"
    bool IsLocal = false;             // this computer's adapter
    bool IsTarget = false;            // of our devices' vendor
    std::string Adapter;              // the folder of the adapter, the same for all nodes of a bus
    std::vector<std::string> Drivers; // of the kernel, for its units
    std::string Path;                 // of the device file; "" without one
    std::string Access;               // of the file: "root:root 0600"
    std::uint32_t Group = 0;          // of the file
    FileFacts File;
};

struct Bus {
    const Node* Local;                  // its file can be opened
    std::vector<std::uint32_t> SelfIds; // first packets, one for each node; empty if they can't be read
    std::size_t RemoteNodes;            // that the kernel knows
};

struct Holder {
    std::string Process; // "HoistlineApp (1234)"
    std::string File;    // "fw0"
};

// Whether there is anything to look for: a controller, or a node that the kernel knows. Opens no device file.
bool HasAdapter(const Machine& machine);

struct Survey {
    explicit Survey(const Machine& examined);
    Survey(const Survey&) = delete;
    Survey& operator=(const Survey&) = delete;

    [[nodiscard]] std::vector<const Node*> Locals() const; // with a device file
    [[nodiscard]] std::vector<const Node*> Targets() const;
    [[nodiscard]] std::vector<Holder> Holders() const; // of device files, as far as this user may see

    const Machine& machine;
    std::vector<Controller> controllers;
    bool moduleIsLoaded = false;
    bool ruleIsInstalled = false;
    std::vector<Node> nodes; // by their number
    std::vector<Bus> buses;
};

} // namespace doctor
