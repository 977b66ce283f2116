#include "Survey.h"

#include "UdevRule.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include <sys/stat.h>

namespace doctor {

namespace {

namespace fs = std::filesystem;

constexpr const char* CONTROLLER_CLASS = "0x0c0010"; // PCI: serial bus, IEEE 1394, OHCI
constexpr const char* VENDOR = "0x000f1b";

// The first line of a small file; "" if there is none.
std::string FirstLine(const fs::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::vector<fs::path> Entries(const fs::path& folder) {
    std::error_code failure;
    std::vector<fs::path> entries;
    for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end; entry.increment(failure))
        entries.push_back(entry->path());
    std::ranges::sort(entries);
    return entries;
}

bool Exists(const fs::path& path) {
    std::error_code failure;
    return fs::exists(path, failure);
}

std::string NameOfLink(const fs::path& link) {
    std::error_code failure;
    return fs::read_symlink(link, failure).filename();
}

bool IsNumber(const std::string& text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool IsNodeName(const std::string& name) {
    return name.starts_with("fw") && IsNumber(name.substr(2));
}

std::vector<Controller> FindControllers(const Machine& machine) {
    std::vector<Controller> controllers;
    for (const fs::path& device : Entries(fs::path(machine.Sys) / "bus/pci/devices"))
        if (FirstLine(device / "class") == CONTROLLER_CLASS)
            controllers.push_back({device.filename(), NameOfLink(device / "driver")});
    return controllers;
}

void ReadFile(const Machine& machine, Node& node) {
    const std::string path = machine.Dev + "/" + node.Name;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return;
    node.Path = path;
    node.Group = status.st_gid;
    node.Access = fmt::format("{}:{} {:04o}", machine.OwnerName(status.st_uid), machine.GroupName(status.st_gid),
                              status.st_mode & 07777U);
    node.File = machine.Probe(path);
}

Node ReadNode(const Machine& machine, const fs::path& folder) {
    Node node;
    node.Name = folder.filename();
    node.IsLocal = FirstLine(folder / "is_local") == "1";
    node.IsTarget =
        !node.IsLocal && (FirstLine(folder / "guid").starts_with(VENDOR) || FirstLine(folder / "vendor") == VENDOR);
    std::error_code failure;
    node.Adapter = fs::weakly_canonical(folder, failure).parent_path();
    ReadFile(machine, node);
    return node;
}

// Also gives the units, "fw1.0", to their nodes.
std::vector<Node> FindNodes(const Machine& machine) {
    std::vector<Node> nodes;
    const std::vector<fs::path> entries = Entries(fs::path(machine.Sys) / "bus/firewire/devices");
    for (const fs::path& entry : entries)
        if (IsNodeName(entry.filename()))
            nodes.push_back(ReadNode(machine, entry));
    for (const fs::path& entry : entries)
        for (Node& node : nodes)
            if (const std::string driver = NameOfLink(entry / "driver");
                !driver.empty() && entry.filename().string().starts_with(node.Name + "."))
                node.Drivers.push_back(driver);
    std::ranges::sort(nodes, {}, [](const Node& node) { return std::pair(node.Name.size(), node.Name); });
    return nodes;
}

std::vector<std::uint32_t> FirstPackets(std::vector<std::uint32_t> packets) {
    constexpr std::uint32_t extended = 1U << 23;
    std::erase_if(packets, [](std::uint32_t packet) { return packet >> 30 != 2 || (packet & extended) != 0; });
    return packets;
}

} // namespace

bool HasAdapter(const Machine& machine) {
    const auto isNode = [](const fs::path& entry) { return IsNodeName(entry.filename()); };
    return !FindControllers(machine).empty() ||
           std::ranges::any_of(Entries(fs::path(machine.Sys) / "bus/firewire/devices"), isNode) ||
           std::ranges::any_of(Entries(machine.Dev), isNode); // a container may have no more than the file
}

Survey::Survey(const Machine& examined)
    : machine(examined), controllers(FindControllers(examined)),
      moduleIsLoaded(Exists(fs::path(examined.Sys) / "module/firewire_ohci")), nodes(FindNodes(examined)) {
    for (const std::string& folder : {machine.Etc, machine.Lib})
        ruleIsInstalled = ruleIsInstalled || Exists(fs::path(folder) / "udev/rules.d" / RULE_FILE);
    for (const Node* local : Locals())
        if (local->File.Error == 0) {
            const auto remote = [&](const Node& node) { return !node.IsLocal && node.Adapter == local->Adapter; };
            buses.push_back({local, FirstPackets(machine.SelfIds(local->Path)),
                             static_cast<std::size_t>(std::ranges::count_if(nodes, remote))});
        }
}

std::vector<const Node*> Survey::Locals() const {
    std::vector<const Node*> found;
    for (const Node& node : nodes)
        if (node.IsLocal && !node.Path.empty())
            found.push_back(&node);
    return found;
}

std::vector<const Node*> Survey::Targets() const {
    std::vector<const Node*> found;
    for (const Node& node : nodes)
        if (node.IsTarget && !node.Path.empty())
            found.push_back(&node);
    return found;
}

std::vector<Holder> Survey::Holders() const {
    std::vector<Holder> holders;
    for (const fs::path& process : Entries(machine.Proc)) {
        if (!IsNumber(process.filename()))
            continue;
        std::set<std::string> files; // a process may have one open several times
        for (const fs::path& link : Entries(process / "fd")) {
            std::error_code failure;
            const fs::path file = fs::read_symlink(link, failure);
            if (file.parent_path() == machine.Dev && IsNodeName(file.filename()))
                files.insert(file.filename());
        }
        for (const std::string& file : files)
            holders.push_back({fmt::format("{} ({})", FirstLine(process / "comm"), process.filename().string()), file});
    }
    return holders;
}

} // namespace doctor
