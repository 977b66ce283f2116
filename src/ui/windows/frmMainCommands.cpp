// The commands of the device window for the device of the grid's current row.

#include "Dialogs.h"
#include "KeyBatch.h"
#include "MDIForm1.h"
#include "Program.h"
#include "Windows.h"
#include "bas1394.h"
#include "basApp.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"
#include "frmConfigROM.h"
#include "frmMain.h"
#include "frmSelectFirmware.h"
#include "frmShell.h"

#include <fmt/format.h>

#include <tuple>

using namespace basBootloader;

namespace {

constexpr std::size_t GUID_BYTES = 8, MAC_BYTES = 6;

bool IsUsable(std::int16_t node) {
    return node >= 0 && node <= LAST_NODE;
}

// The bytes of what the user typed ("00 11 22"). Raises a failure unless there are `count` of them.
ByteArray ParseHex(const std::string& text, std::size_t count) {
    ByteArray bytes;
    if (basUtils::HexString2Ascii(text, bytes) != 1 || bytes.size() != count)
        platform::Raise(platform::INVALID_CALL,
                        fmt::format("'{}' holds {} bytes where {} are needed", text, bytes.size(), count));
    return bytes;
}

} // namespace

std::int32_t frmMain::GetSelectedBootloaderHandle() {
    const Device device = DeviceOfCurrentRow();
    const std::int32_t handle = OpenBootloaderDevice(device);
    if (handle < 1) {
        StatusDisplay(LEVEL_WARNING, InvalidNodeText());
        return 0;
    }
    const std::int32_t index = GetDeviceIndex(handle);
    if (index < 0)
        return 0;
    const BootloaderTarget& target = basBootloader::globals.TargetList[std::size_t(index)];
    return target.State == 2 && target.Info.BootloaderVersion != 0 ? handle : 0;
}

void frmMain::UpdateImage(std::int32_t imageType) {
    platform::Attempt([&] { OpenBrowser(imageType); }, LogFailure("UpdateImage"));
}

void frmMain::OpenBrowser(std::int32_t imageType) {
    StatusDisplay(LEVEL_TRACE, "Updating firmare image (type = {})", imageType);
    const Device device = DeviceOfCurrentRow();
    if (!IsUsable(device.NodeNum)) {
        StatusDisplay(LEVEL_ERROR, "UpdateImage failed: Invalid node number in Device table: {}",
                      CellText(deviceRows::NODE));
        return;
    }
    const std::int32_t handle = OpenBootloaderDevice(device);
    if (handle < 1) {
        StatusDisplay(LEVEL_ERROR, "Update Image error: failed to open device (node number {} )", device.NodeNum);
        return;
    }
    mfgDevices->setFocus();
    MDIForm1& parent = *windows::globals.parent;
    const std::int32_t slot = parent.CreateDownloadWindow();
    if (slot < 0) {
        CloseBootloaderDevice(handle);
        return;
    }
    auto* browser = static_cast<frmSelectFirmware*>(windows::globals.firmwareWindows[std::size_t(slot)]);
    browser->setFirmwareType(imageType);
    browser->setHDevice(handle);
    parent.ShowChild(browser);
}

void frmMain::mnuLaunchShell_Click() {
    const Device device = DeviceOfCurrentRow();
    if (!IsUsable(device.NodeNum)) {
        platform::CurrentDialogs().MessageBox(InvalidNodeText(), basApp::TITLE);
        return;
    }
    platform::Attempt([&] { LaunchShell(device); }, LogFailure("cmdLaunchShell"));
}

// Brings the shell window on that device forward, or opens one in the first empty slot.
void frmMain::LaunchShell(const Device& device) {
    const std::int32_t handle = OpenBootloaderDevice(device);
    auto& list = windows::globals.shellWindows;
    for (Form* form : list) {
        auto* shell = qobject_cast<frmShell*>(form);
        if (shell != nullptr && shell->CurrentHandle() == handle)
            return windows::globals.parent->BringForward(qobject_cast<QMdiSubWindow*>(shell->frame()));
    }
    const std::size_t slot = windows::EmptySlot(list);
    auto* shell = new frmShell;
    list[slot] = shell;
    windows::globals.parent->AddChild(shell);
    shell->Form_Load();
    shell->Index = std::int32_t(slot);
    shell->setCurrentHandle(handle);
    windows::globals.parent->ShowChild(shell);
    shell->txtShell->setFocus();
}

void frmMain::ResetSelectedDevice(std::int32_t mode) {
    const Device device = DeviceOfCurrentRow();
    const std::int32_t handle = OpenBootloaderDevice(device);
    if (handle < 1) {
        basApp::MessageBoxOrStatusFile(InvalidNodeText(), basApp::TITLE);
        return;
    }
    const std::int32_t index = GetDeviceIndex(handle);
    if (index < 0) {
        StatusDisplay(LEVEL_ERROR, "Reset error: could not get device index for handle {}!", handle);
        return;
    }
    if (basBootloader::globals.TargetList[std::size_t(index)].State != 2)
        return;
    const bool bootloader = basBootloader::globals.TargetList[std::size_t(index)].Info.BootloaderVersion != 0;
    const std::int32_t code = ResetDevice(handle, mode);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "{}{}",
                      bootloader ? "ResetDevice failure: basBootloader.ResetDevice call failed, code "
                                 : "cmdReset failure: ResetDevice call failed, code ",
                      code);
}

void frmMain::mnuRescanBus_Click() {
    StatusDisplay(LEVEL_WATCH, "Rescan Bus Commanded");
    bas1394::globals.BusResetPending = true;
}

void frmMain::mnuViewConfigROM_Click() {
    const std::string node = CellText(deviceRows::NODE);
    if (!basUtils::IsNumericText(node))
        return;
    auto* window = new frmConfigROM;
    windows::globals.parent->AddChild(window);
    window->Form_Load();
    window->setWindowTitle(QString::fromStdString(
        fmt::format("Config ROM for Node {}  ID={}  mfg={}  mdl={}", node, CellText(deviceRows::ID),
                    CellText(deviceRows::MANUFACTURER), CellText(deviceRows::MODEL))));
    window->setNodeNum(bas1394::IndexOfNode(std::int16_t(std::stoi(node))));
    windows::globals.parent->ShowChild(window);
}

void frmMain::mnuStartApplication_Click() {
    const std::int32_t handle = GetSelectedBootloaderHandle();
    if (handle == 0) {
        StatusDisplay(LEVEL_ERROR, InvalidNodeText());
        return;
    }
    std::int32_t crcFlag = 0;
    const std::int32_t code = StartImage(handle, IMAGE_APPLICATION, crcFlag);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_WARNING,
                      "mnuStartApplication failure: StartApplication call failed, code {} (0x{:X}), CRC flag={} "
                      "(0x{:X}).  Don't worry, this is probably because the bootloader is no longer running in "
                      "order to respond.",
                      code, std::uint32_t(code), crcFlag, std::uint32_t(crcFlag));
}

void frmMain::mnuStartDebugger_Click() {
    const std::int32_t handle = GetSelectedBootloaderHandle();
    if (handle == 0) {
        StatusDisplay(LEVEL_ERROR, InvalidNodeText());
        return;
    }
    std::int32_t crcFlag = 0;
    const std::int32_t code = StartImage(handle, IMAGE_DEBUGGER, crcFlag);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "mnuStartDebugger failure: StartApplication call failed, code {}, CRC flag={}", code,
                      crcFlag);
}

void frmMain::mnuSetBootloaderGUID_Click() {
    const auto rescan = [this] {
        StatusDisplay(LEVEL_USER, "Rescanning bus to refresh internal data structures after operation...");
        bas1394::globals.BusResetPending = true;
    };
    const auto change = [&] {
        const std::int32_t handle = GetSelectedBootloaderHandle();
        if (handle == 0)
            return rescan();
        const std::int16_t node = DeviceOfCurrentRow().NodeNum;
        ByteArray current;
        if (GetDebugGUID(handle, current) != SUCCESS) {
            StatusDisplay(LEVEL_ERROR,
                          "SetBootloaderGUID: failed to get current GUID!  Exiting without changing GUID...");
            return;
        }
        const std::string answer = platform::CurrentDialogs().InputBox(
            "Please enter a new 8-byte value for the GUID in the hex format '00 00 00 00 00 00 00 00' (without "
            "quotes).  ",
            "Input New GUID", basUtils::ByteArrayToHexString(current));
        if (answer.empty())
            return;
        ByteArray guid = ParseHex(answer, GUID_BYTES);
        const std::string text = basUtils::ByteArrayToHexString(guid);
        const bool confirmed = platform::CurrentDialogs().YesNo(
            fmt::format("Are you sure you want to set the GUID of node {} to {}?", node, text),
            fmt::format("Confirm New GUID for Node {}", node));
        basUtils::ChangeEndian(guid);
        if (confirmed) {
            const std::int32_t code = ProgramGUID(handle, guid);
            if (code == SUCCESS)
                StatusDisplay(LEVEL_USER, "Successfully set new GUID");
            else
                StatusDisplay(LEVEL_ERROR, "ERROR: failed to set new GUID, code {} (0x{:X})", code,
                              std::uint32_t(code));
        }
        rescan();
    };
    platform::Attempt(change, ShowFailure("SetBootloaderGUID.  Exiting abnormally..."));
}

void frmMain::mnuSetMACaddress_Click() {
    const auto change = [this] {
        const std::int32_t handle = GetSelectedBootloaderHandle();
        if (handle == 0)
            return;
        const std::int16_t node = DeviceOfCurrentRow().NodeNum;
        const std::string answer = platform::CurrentDialogs().InputBox(
            "Please enter a new 6-byte value for a MAC address in the hex format '00 00 00 00 00 00' (without "
            "quotes).  The current MAC is not available. (no provision for this in the bootloader protocol)",
            "Input New MAC", "00 00 00 00 00 00");
        if (answer.empty())
            return;
        const std::string text = basUtils::ByteArrayToHexString(ParseHex(answer, MAC_BYTES));
        if (!platform::CurrentDialogs().YesNo(
                fmt::format("Are you sure you want to set the MAC address of node {} to {}?", node, text),
                fmt::format("Confirm New MAC for Node {}", node)))
            return;
        ByteArray mac = ParseHex("0000" + text, GUID_BYTES);
        basUtils::ChangeEndian(mac);
        std::ignore = ProgramMAC(handle, mac); // a failure is in the log
    };
    platform::Attempt(change, ShowFailure("SetMACaddress.  Exiting abnormally..."));
}

void frmMain::mnuInitializePersistentParameters_Click() {
    const std::int32_t handle = GetSelectedBootloaderHandle();
    if (handle == 0) {
        StatusDisplay(LEVEL_ERROR, InvalidNodeText());
        return;
    }
    const std::int32_t code = InitializePersistentParams(handle);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR,
                      "mnuInitializePersistentParameters failure: InitializePersistentParams call failed, code {}",
                      code);
}

void frmMain::mnuFactoryDefaults_Click() {
    const std::int32_t handle = GetSelectedBootloaderHandle();
    if (handle == 0)
        StatusDisplay(LEVEL_ERROR, "Failed to get a handle for the selected bootloader target.");
    else if (InitializeConfigToFactoryDefaults(handle) == SUCCESS)
        StatusDisplay(LEVEL_TRACE, "Initialized bootloader config to factory defaults.");
    else
        StatusDisplay(LEVEL_ERROR, "Failed to initialize bootloader config to factory defaults.");
}

void frmMain::mnuSwitchTo1394Shell_Click() {
    const Device device = DeviceOfCurrentRow();
    const std::int32_t handle = OpenBootloaderDevice(device);
    if (handle < 1) {
        StatusDisplay(LEVEL_ERROR, InvalidNodeText());
        return;
    }
    const std::int32_t code = SwitchTo1394Shell(handle, 0, 0);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "mnuSwitchTo1394Shell failure: SwitchTo1394Shell call failed, code {}", code);
}

void frmMain::mnuExecuteKeyBatch_Click() {
    if (basAutomation::ExecuteKeyBatchFromMenu() != 1)
        windows::UnloadParentWindow();
}

void frmMain::mnuSendErrorReport_Click() {
    const std::int32_t result = program::globals.DbManager ? program::globals.DbManager->SendErrorReport() : -1;
    if (result != 1)
        StatusDisplay(LEVEL_ERROR, "Failed to send error report, code 0x{:X}", static_cast<std::uint32_t>(result));
}
