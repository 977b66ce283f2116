#include "DeviceRows.h"

#include "NodeConfigRom.h"
#include "TwdPackage.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace deviceRows {

const std::array<Column, COLUMNS> COLUMN_TABLE{{{"drv", 0.02, true},
                                                {"#", 0.02, true},
                                                {"ID", 0.20, false},
                                                {"State", 0.15, false},
                                                {"Manufacterer", 0.23, false},
                                                {"Model Name", 0.23, false},
                                                {"Firmware Version", 0.15, false}}};

namespace {

constexpr const char* LINK_NOT_ACTIVE = "<link not active>";

bool LinkActive(const Device& device) {
    return device.SelfId.LinkActive != 0;
}

bool IsLocalHost(const Device& device) {
    return device.NodeNum == bas1394::globals.LocalHostNode;
}

const BootloaderTarget* TargetOf(const Device& device) {
    const auto& list = basBootloader::globals.TargetList;
    const auto match = std::find_if(list.begin(), list.end(), [&](const BootloaderTarget& target) {
        return target.Device.Driver == device.Driver && target.Device.NodeNum == device.NodeNum;
    });
    return match == list.end() ? nullptr : &*match;
}

bool UnderDebugger(const Device& device) {
    const auto& list = basBootloader::globals.DebuggerList;
    return device.NodeNum != NO_NODE && std::any_of(list.begin(), list.end(), [&](const Device& listed) {
               return listed.NodeNum == device.NodeNum;
           });
}

std::string VersionText(std::int32_t version, const std::array<std::uint8_t, 8>& date,
                        const std::array<std::uint8_t, 8>& time) {
    return fmt::format("{} {} {}", basBootloader::FormatVersion(version), basBootloader::FormatTwdDate(date),
                       basBootloader::FormatTwdTime(time));
}

void FillFromTarget(Row& row, const BootloaderTarget& target) {
    const BootloaderInfoRegisters& info = target.Info;
    if (target.State == 1) {
        row.text[STATE] = "missing";
    } else if (target.State == 2) {
        const bool bootloader = info.BootloaderVersion != 0;
        row.text[STATE] = bootloader ? "Bootloader Running" : "App Running";
        row.text[FIRMWARE] = bootloader
                                 ? VersionText(info.BootloaderVersion, info.BootloaderDate, info.BootloaderTime)
                                 : VersionText(info.ApplicationVersion, info.ApplicationDate, info.ApplicationTime);
        row.running = true;
    } else {
        row.text[STATE] = "error";
        row.badState = target.State;
    }
}

std::string IdFromRom(const ConfigRomRecord& rom) {
    if (!rom.RawData.empty() && rom.RawData[0] == 1)
        return "1394 ID:  None - minimal Config ROM";
    return fmt::format("ID (ConfigROM):  {:06X} {:02X}{:08X}", std::uint32_t(rom.NodeVendorID), rom.ChipIDHi,
                       std::uint32_t(rom.ChipIdLow));
}

void FillPanelOfLocalNode(Panel& panel, const Device& device) {
    panel.lblNode = fmt::format("Node: {} (Local 1394 Adapter Node)", device.NodeNum);
    panel.lblGUID = "ID: None - No Config ROM on Local Node";
    panel.lblModelName = "Model Name: <unknown>";
    panel.lblManufacturer = "Manufacturer: <unknown>";
    panel.lblDeviceState = "Device State: INCOMPATIBLE";
    panel.lblHardwareVersion = "Hardware Version: <unknown>";
    panel.lblModelID = "Model ID (ConfigRom root): <unknown>";
    panel.lblBootloaderGuidInfo = "ID (InfoReg): <not applicable>";
    panel.lblBootloaderGuidGet = "ID (Bootloader): <not applicable>";
}

void FillPanelFromRom(Panel& panel, const Device& device) {
    panel.lblDriver = "Driver: " + device.Driver;
    panel.lblNode = fmt::format("Node: {}", device.NodeNum);
    if (!LinkActive(device)) {
        panel.lblGUID = LINK_NOT_ACTIVE;
        return;
    }
    const ConfigRomRecord& rom = device.ConfigRom;
    panel.lblGUID = IdFromRom(rom);
    panel.lblModelName = "Model Name: " + basConfigRom::GetConfigRomModelText(rom);
    panel.lblManufacturer = "Manufacturer: " + basConfigRom::GetConfigRomVendorText(rom);
    panel.lblHardwareVersion = "Hardware Version (from config ROM): " + basConfigRom::GetHardwareVersion(rom);
    panel.lblModelID = fmt::format("Model ID (ConfigRom root): {}", rom.ModelId);
}

void FillPanelFromTarget(Panel& panel, const BootloaderTarget& target) {
    using namespace basBootloader;
    const BootloaderInfoRegisters& info = target.Info;
    panel.targetBehindRow = true;
    panel.bootloaderRunning = info.BootloaderVersion != 0;
    panel.lblDeviceState = fmt::format("Device State: {}", target.State);
    panel.txtApplicationImageVersion = fmt::format(
        " ID=0x{:X} {} Date: {}", std::uint32_t(info.ApplicationID),
        info.ApplicationVersion == PRIVATE_BUILD ? "<private build>" : "Ver=" + FormatVersion(info.ApplicationVersion),
        FormatDateTime(info.ApplicationDate, info.ApplicationTime));
    panel.txtBootloaderVersion = fmt::format(" Ver={} Date: {}", FormatVersion(info.BootloaderVersion),
                                             FormatDateTime(info.BootloaderDate, info.BootloaderTime));
    panel.txtDebugMonitorVersion =
        fmt::format(" ID={} Ver={} Date: {}", info.DebuggerID, FormatVersion(info.DebuggerVersion),
                    FormatDateTime(info.DebuggerDate, info.DebuggerTime));
    const std::string guid = basUtils::ByteArrayToHexString(info.GUID.data(), info.GUID.size(), 4);
    panel.lblBootloaderGuidInfo = "ID (InfoReg):    " + guid;
    panel.whyNoTarget.clear();
    panel.whyNoBootloader = panel.bootloaderRunning
                                ? ""
                                : "The device runs its application.  Choose Command, Run Selected Device in Firmware "
                                  "Download Mode first.";
    panel.lblBootloaderGuidGet =
        panel.bootloaderRunning ? "ID (Bootloader): " + guid : "ID (Bootloader): <not applicable>";
    panel.lblModelID = fmt::format("Info Registers Hardware Model ID = {} / Version: {}", info.HardwareModelID,
                                   FormatVersion(info.HardwareVersion));
}

// For a row without a target.
std::string WhyNobodyCanCommand(const Device& device) {
    if (IsLocalHost(device))
        return "This row is the computer itself.  Pick a device.";
    if (!LinkActive(device))
        return "The node is switched off.  Switch it on, then choose Command, Rescan Bus.";
    if (!basBootloader::globals.DiscoveryComplete)
        return "The bus is still being read.";
    if (UnderDebugger(device))
        return "The node runs its debugger.  Restart it into its bootloader or its application.";
    return "The node gave no sign of a Tarnwell bootloader that this program knows; the status window tells more.";
}

} // namespace

Row RowOf(const Device& device) {
    const ConfigRomRecord& rom = device.ConfigRom;
    Row row;
    row.text = {device.Driver,
                std::to_string(device.NodeNum),
                rom.RawData.size() >= 2 ? basConfigRom::GetConfigRomGuidText(rom) : "<read failed>",
                "Incompatible",
                basConfigRom::GetConfigRomVendorText(rom),
                basConfigRom::GetConfigRomModelText(rom),
                "<unknown>"};
    if (IsLocalHost(device)) {
        row.text[ID] = " <unknown>";
        row.text[STATE] = "Local PC Node";
        row.text[MANUFACTURER] = row.text[MODEL] = "No Local Config ROM";
    } else if (!LinkActive(device)) {
        row.text[ID] = row.text[STATE] = row.text[MANUFACTURER] = row.text[MODEL] = LINK_NOT_ACTIVE;
    } else if (!basBootloader::globals.DiscoveryComplete) {
        row.text[STATE] = row.text[FIRMWARE] = "<scanning...>";
    } else if (const BootloaderTarget* target = TargetOf(device)) {
        FillFromTarget(row, *target);
    } else if (UnderDebugger(device)) {
        row.text[STATE] = "Debugger Running";
    }
    return row;
}

Hint HintOfBus(const std::string& whyNoBus) {
    const Hint::Link reset{"Reset Bus", "#mnuResetBus"}, rescan{"Rescan Bus", "#mnuRescanBus"},
        simulated{"Simulated Bus", "simulated-bus.html"}, troubles{"Troubleshooting", "troubleshooting.html"},
        guide{"First Steps", "first-steps.html"};
    const bas1394::Globals& bus = bas1394::globals;
    if (!whyNoBus.empty())
        return {whyNoBus + "  Without hardware the simulated bus has devices to try everything on.",
                {{"Check This Machine", CHECK_MACHINE},
                 {"Use the Simulated Bus", USE_SIMULATED_BUS},
                 rescan,
                 {"Real Devices", "real-devices.html"},
                 guide}};
    if (bus.LibraryModule == nullptr)
        return {"There is no access library: Twl1394api.so isn't beside the program, or could not be loaded.  The "
                "status window tells why.  Mend that and start the program again.",
                {troubles, simulated, guide}};
    if (bus.VirtualDeviceList.DeviceCount < 1)
        return {"There is no interface to the bus.  Check the 1394 adapter and its driver, then rescan the bus.  "
                "Without hardware a simulated bus has devices to try everything on.",
                {rescan, troubles, simulated, guide}};
    const bool somebodyElse = std::any_of(bus.DeviceTable.begin(), bus.DeviceTable.end(), [](const Device& device) {
        return device.NodeNum != NO_NODE && !IsLocalHost(device);
    });
    if (!bus.BusEnumerated || somebodyElse)
        return {};
    return {"No device answers.  Check its cable and power, then reset the bus.  Nodes of other vendors aren't listed; "
            "the status window names them.  Without hardware a simulated bus has devices to try everything on.",
            {reset, rescan, troubles, simulated, guide}};
}

std::string WordsThatFit(const std::string& text, const std::function<bool(const std::string&)>& fits) {
    constexpr const char* MORE = " ...";
    if (fits(text))
        return text;
    std::string words = text;
    for (std::size_t blank; (blank = words.rfind(' ')) != std::string::npos && blank > 0;) {
        words.resize(blank);
        if (fits(words + MORE))
            return words + MORE;
    }
    return words;
}

bool IsMemorableId(const std::string& idColumn) {
    std::string id;
    std::copy_if(idColumn.begin(), idColumn.end(), std::back_inserter(id), [](char c) { return c != ' '; });
    const bool isNumber = id.size() == 16 && id.find_first_not_of("0123456789ABCDEF") == std::string::npos;
    return isNumber && id.front() <= '9' && id.find_first_not_of('0') != std::string::npos;
}

std::int32_t ColumnWidth(std::int32_t gridWidthTwips, double share) {
    return std::int32_t(std::lround((gridWidthTwips - 100) * share));
}

Panel PanelOf(const Device& device, std::int32_t targetIndex) {
    Panel panel;
    if (device.NodeNum < 0 || device.NodeNum > LAST_NODE) {
        panel.lblNode = "The selected device has disappeared from the bus.";
        panel.whyNoTarget = panel.whyNoBootloader = "The device has gone.  Check its cable and power.";
        return panel;
    }
    if (IsLocalHost(device)) {
        FillPanelOfLocalNode(panel, device);
        panel.whyNoTarget = panel.whyNoBootloader = WhyNobodyCanCommand(device);
        return panel;
    }
    FillPanelFromRom(panel, device);
    const auto& list = basBootloader::globals.TargetList;
    if (targetIndex >= 0 && targetIndex < std::int32_t(list.size())) {
        FillPanelFromTarget(panel, list[std::size_t(targetIndex)]);
    } else {
        panel.lblDeviceState = "Device State: INCOMPATIBLE";
        panel.whyNoTarget = panel.whyNoBootloader = WhyNobodyCanCommand(device);
        panel.txtApplicationImageVersion = panel.txtDebugMonitorVersion = panel.txtBootloaderVersion = " N/A";
    }
    return panel;
}

} // namespace deviceRows
