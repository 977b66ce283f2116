// Each check on machines that are made up in a temporary folder, fault by fault.
#include "Checks.h"
#include "TestFolder.h"
#include "UdevRule.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <map>
#include <span>

namespace {

using namespace doctor;

constexpr std::uint32_t ON = 0x807F8000, OFF = 0x803F8000; // self-ID packets of node 0

struct Case {
    const char* name; // of the check
    Health verdict;
    std::string found;   // a part of it
    std::string command; // the same
    std::function<void()> fault;
};

// One adapter, fw0, and a target, fw1; everything is well.
class Checks : public testing::Test {
protected:
    Checks() {
        for (std::string* path : {&machine.Sys, &machine.Dev, &machine.Proc, &machine.Etc, &machine.Lib})
            *path = folder.path() + *path;
        machine.Release = "6.1.0-18-amd64";
        machine.User = 1000;
        machine.UserName = "pat";
        machine.Groups = {50, 60};
        machine.GroupName = [this](std::uint32_t group) {
            return group == 50 ? "users" : group == 60 ? "dialout" : fileGroup;
        };
        machine.OwnerName = [](std::uint32_t) { return std::string("root"); };
        machine.Probe = [this](const std::string& path) { return files[path.substr(machine.Dev.size() + 1)]; };
        machine.TryRange = [this](const std::string&, std::uint64_t, std::uint32_t) { return rangeError; };
        machine.SelfIds = [this](const std::string&) { return selfIds; };
        AddController("0000:03:00.0", "firewire_ohci");
        Put("sys/module/firewire_ohci/refcnt", "1");
        AddNode("fw0", "1", "0x0011223344556677");
        AddNode("fw1", "0", "0x000f1b0000000001");
        chmod(Path("dev/fw1").c_str(), 0600);
    }
    std::string Path(const std::string& name) const { return folder.file(name); }
    void Put(const std::string& name, const std::string& line) const { folder.Put(name, line + "\n"); }
    void Remove(const std::string& name) const { std::filesystem::remove_all(Path(name)); }
    void Link(const std::string& name, const std::string& target) const {
        std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
        Remove(name);
        std::filesystem::create_symlink(target, Path(name));
    }
    void AddController(const std::string& address, const std::string& driver) const {
        Put("sys/bus/pci/devices/" + address + "/class", "0x0c0010");
        if (!driver.empty())
            Link("sys/bus/pci/devices/" + address + "/driver", "../../drivers/" + driver);
    }
    // As in sysfs: a link to the folder below that of the adapter.
    void AddNode(const std::string& name, const std::string& isLocal, const std::string& guid,
                 const std::string& adapter = "0000:03:00.0") {
        const std::string node = "sys/devices/" + adapter + "/" + name;
        Put(node + "/is_local", isLocal);
        Put(node + "/guid", guid);
        Link("sys/bus/firewire/devices/" + name, Path(node));
        Put("dev/" + name, "");
        files[name] = {0, 5, 2};
    }
    void RemoveNode(const std::string& name) {
        Remove("sys/bus/firewire/devices/" + name);
        Remove("dev/" + name);
    }
    Row Find(const std::string& name) const {
        for (const Row& row : Examine(machine))
            if (row.Name == name)
                return row;
        ADD_FAILURE() << "no check " << name;
        return {};
    }

    // One after the other: each fault comes on top of those before.
    void Run(std::span<const Case> cases) const {
        for (const Case& c : cases) {
            c.fault();
            const Row row = Find(c.name);
            EXPECT_EQ(row.Verdict, c.verdict) << c.found;
            EXPECT_NE(row.Found.find(c.found), std::string::npos) << row.Found;
            EXPECT_NE(row.Command.find(c.command), std::string::npos) << row.Command;
            EXPECT_EQ(row.Command.empty(), c.command.empty()) << row.Command;
        }
    }

    TestFolder folder;
    Machine machine;
    std::string fileGroup = "root";
    std::map<std::string, FileFacts> files;
    std::vector<std::uint32_t> selfIds = {ON, ON | 1U << 24};
    int rangeError = 0;
};

TEST_F(Checks, AreAllGoodOnAMachineThatWorks) {
    for (const Row& row : Examine(machine)) {
        EXPECT_EQ(row.Verdict, Health::Good) << row.Name << ": " << row.Found;
        EXPECT_EQ(row.Command, "") << row.Name;
    }
}

TEST_F(Checks, AreBadOnlyInTheCauseOnAMachineWithoutAnything) {
    machine.Sys = machine.Dev = machine.Proc = Path("none");
    std::string verdicts;
    for (const Row& row : Examine(machine))
        verdicts += "gb?"[static_cast<int>(row.Verdict)];
    EXPECT_EQ(verdicts, "gb?????????");
}

TEST_F(Checks, TellWhatKeepsTheAdapterFromWorking) {
    const std::string controller = "sys/bus/pci/devices/0000:03:00.0/";
    const auto withoutNodes = [this] { RemoveNode("fw0"), RemoveNode("fw1"); };
    const Case cases[] = {
        {"driver", Health::Good, "firewire_ohci; 0000:04:00.0 has no driver", "",
         [&] { AddController("0000:04:00.0", ""); }},
        {"device-files", Health::Bad, "The kernel has fw1, but there is no", "udevadm trigger",
         [&] { Remove("dev/fw1"); }},
        {"device-files", Health::Bad, "its start has failed", "modprobe -r firewire_ohci", withoutNodes},
        {"local-permission", Health::Unknown, "no device file", "", [] {}},
        {"driver", Health::Bad, "belongs to the driver vfio-pci", "/devices/0000:03:00.0/driver/unbind",
         [&] { Link(controller + "driver", "../../drivers/vfio-pci"); }},
        {"device-files", Health::Unknown, "no controller with a driver", "", [] {}},
        {"driver", Health::Bad, "although firewire_ohci is loaded", "echo 0000:03:00.0 > ",
         [&] { Remove(controller + "driver"); }},
        {"driver", Health::Bad, "isn't loaded", "sudo modprobe firewire_ohci",
         [&] { Remove("sys/module/firewire_ohci"); }},
        {"controller", Health::Bad, "no IEEE 1394 controller", "", [&] { Remove("sys/bus/pci"); }},
        {"driver", Health::Unknown, "no controller", "", [] {}},
        {"kernel", Health::Bad, "2.6.35-rc1 is too old", "", [&] { machine.Release = "2.6.35-rc1"; }},
        {"kernel", Health::Good, "3.0", "", [&] { machine.Release = "3.0"; }},
        {"kernel", Health::Unknown, "isn't known", "", [&] { machine.Release = ""; }},
    };
    Run(cases);
}

TEST_F(Checks, TellWhoMayNotOpenAFile) {
    const auto deny = [this](const std::string& name) { files["fw0"].Error = 0, files[name].Error = EACCES; };
    const Case cases[] = {
        {"local-permission", Health::Bad, "pat has the groups users, dialout; the udev rule 70-hoistline.rules isn't",
         "sudo hoistline doctor --install-rule", [&] { deny("fw0"); }},
        {"nodes", Health::Unknown, "no adapter that can be opened", "", [] {}},
        {"remote-permission", Health::Good, "fw1 can be opened", "", [] {}},
        {"remote-permission", Health::Bad, "/dev/fw1 is root:root 0600", "sudo hoistline doctor --install-rule",
         [&] { deny("fw1"); }},
        {"local-permission", Health::Good, "fw0 can be opened", "", [] {}},
        {"remote-permission", Health::Bad, "rules is installed", "udevadm trigger",
         [&] { Put("usr/lib/udev/rules.d/70-hoistline.rules", ""); }},
        {"remote-permission", Health::Bad, "root:plugdev", "sudo usermod -aG plugdev pat",
         [&] { fileGroup = "plugdev"; }},
        {"remote-permission", Health::Bad, "plugdev; the", "sudo chmod 0660",
         [&] { machine.Groups.push_back(folder.Status("dev/fw1").st_gid); }},
        {"remote-permission", Health::Bad, "a container has to be given the device", "",
         [&] { files["fw1"].Error = EPERM; }},
        {"remote-permission", Health::Bad, "No such device", "", [&] { files["fw1"].Error = ENODEV; }},
        {"remote-permission", Health::Unknown, "no device file of a node of vendor", "",
         [&] { Put("sys/devices/0000:03:00.0/fw1/guid", "0x0800460000000001"); }},
        {"remote-permission", Health::Bad, "No such device", "",
         [&] { Put("sys/devices/0000:03:00.0/fw1/vendor", "0x000f1b"); }},
    };
    Run(cases);
}

TEST_F(Checks, TellWhatIsWrongOnTheBus) {
    const Case cases[] = {
        {"kernel", Health::Bad, "interface has version 3", "", [&] { files["fw0"].Version = 3; }},
        {"speed", Health::Bad, "fw1 has S200, where a block has at most 1024 bytes", "",
         [&] { files["fw1"].Speed = 1; }},
        {"speed", Health::Unknown, "", "", [&] { files["fw1"].Speed = -1; }},
        {"power", Health::Bad, "node 2 on the bus of fw0", "", [&] { selfIds.push_back(OFF | 2U << 24); }},
        {"roms", Health::Good, "each node that is on", "", [] {}},
        {"roms", Health::Bad, "1 of the 2 other nodes", "hoistline --bus kernel bus-reset",
         [&] { selfIds.push_back(ON | 3U << 24); }},
        {"roms", Health::Bad, "1 of the 2 other nodes", "bus-reset", // whose devices are on another bus
         [&] { AddNode("fw2", "0", "0x000f1b0000000002", "0000:04:00.0"); }},
        {"nodes", Health::Good, "computer: 3; of vendor 000F1B: 2", "", [] {}},
        {"nodes", Health::Bad, "3 nodes are on the bus, none known", "", [&] { RemoveNode("fw1"), RemoveNode("fw2"); }},
        {"nodes", Health::Bad, "Only this computer", "",
         [&] {
             selfIds = {ON, ON | 1U << 23};
         }}, // two packets of it
        {"power", Health::Unknown, "can't be read", "", [&] { selfIds.clear(); }},
        {"nodes", Health::Bad, "Only this computer", "", [] {}},
        {"address-range", Health::Bad, "can't be had: Invalid argument", "", [&] { rangeError = EINVAL; }},
        {"address-range", Health::Bad, "a process of another user", "", [&] { rangeError = EBUSY; }},
        {"address-range", Health::Bad, "candidates: HoistlineApp (41) with fw0.", "",
         [&] {
             Put("proc/41/comm", "HoistlineApp");
             Link("proc/41/fd/3", machine.Dev + "/fw0");
             Link("proc/41/fd/4", machine.Dev + "/fw0");
             Link("proc/41/fd/5", machine.Dev + "/null");
             Link("proc/self/fd/3", machine.Dev + "/fw0");
         }},
        {"address-range", Health::Bad, "with fw0, the kernel's driver firewire_sbp2 at fw10.",
         "modprobe -r firewire_sbp2",
         [&] {
             AddNode("fw1", "0", "0x0800460000000001");
             AddNode("fw10", "0", "0x0800460000000002");
             Link("sys/bus/firewire/devices/fw10.0/driver", "../drivers/firewire_sbp2");
         }},
    };
    Run(cases);
}

} // namespace
