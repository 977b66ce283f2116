// hoistline info: everything that is known of a device, without disturbing it.
#include "BusSession.h"
#include "CodePage.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "DeviceLock.h"
#include "ImageCrcs.h"
#include "NodeConfigRom.h"
#include "Table.h"
#include "TwdPackage.h"
#include "basBootloader.h"
#include "basConfigRom.h"

#include <algorithm>
#include <iterator>

namespace cli {

namespace {

struct Fact {
    const char *label, *key;
    Json value; // a text, a number, or null where it isn't known
};

std::string TextOf(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.is_null() ? "-" : value.dump();
}

Json ToJson(const std::vector<Fact>& facts) {
    Json object = Json::object();
    for (const Fact& fact : facts)
        object[fact.key] = fact.value;
    return object;
}

void Print(Call& call, const char* title, const std::vector<Fact>& facts) {
    std::vector<TableRow> rows;
    std::ranges::transform(facts, std::back_inserter(rows), [](const Fact& fact) {
        return TableRow{fmt::format("  {}", fact.label), TextOf(fact.value)};
    });
    call.Print(title);
    PrintTable(call, rows);
}

std::vector<Fact> RomFacts(const ConfigRomRecord& rom) {
    return {{"GUID", "guid", GuidText(rom.GUID)},
            {"vendor", "vendor", basConfigRom::GetConfigRomVendorText(rom)},
            {"model", "model", basConfigRom::GetConfigRomModelText(rom)},
            {"vendor ID", "vendorId", HexText(rom.NodeVendorID)},
            {"model ID", "modelId", HexText(rom.ModelId)},
            {"hardware version", "hardwareVersion", platform::Trim(basConfigRom::GetHardwareVersion(rom))}};
}

std::vector<Fact> RegisterFacts(const BootloaderTarget& target) {
    const BootloaderInfoRegisters& info = target.Info;
    const std::string maker(info.MakerID.begin(), info.MakerID.end());
    const bool bootloader = RunsBootloader(target);
    return {{"GUID", "guid", GuidText(info.GUID)},
            {"debug GUID", "debugGuid", bootloader ? Json(GuidText(target.DebugGUID)) : Json(nullptr)},
            {"maker", "maker", maker.substr(0, maker.find('\0'))},
            {"protocol", "protocol", HexText(info.ProtocolVersion)},
            {"hardware", "hardware", info.HardwareModelID},
            {"hardware version", "hardwareVersion", basBootloader::FormatVersion(info.HardwareVersion)}};
}

std::string VersionText(std::int32_t version) {
    return version == basBootloader::PRIVATE_BUILD ? "private build" : basBootloader::FormatVersion(version);
}

// Of a firmware of the device.
std::vector<Fact> FirmwareFacts(const std::optional<std::int32_t>& id, std::int32_t version,
                                const std::array<std::uint8_t, 8>& date, const std::array<std::uint8_t, 8>& time) {
    std::vector<Fact> facts;
    if (id)
        facts.push_back({"ID", "id", HexText(*id)});
    facts.push_back({"version", "version", VersionText(version)});
    facts.push_back({"date", "date", basBootloader::FormatDateTime(date, time)});
    return facts;
}

void ShowFirmware(Call& call, const BootloaderTarget& target) {
    const BootloaderInfoRegisters& info = target.Info;
    const auto show = [&call](const char* title, const char* key, const std::vector<Fact>& facts) {
        Print(call, title, facts);
        call.report.Answer[key] = ToJson(facts);
    };
    show("Application", "application",
         FirmwareFacts(info.ApplicationID, info.ApplicationVersion, info.ApplicationDate, info.ApplicationTime));
    call.report.Answer["bootloader"] = nullptr;
    if (info.BootloaderVersion != 0)
        show("Bootloader", "bootloader",
             FirmwareFacts({}, info.BootloaderVersion, info.BootloaderDate, info.BootloaderTime));
    show("Debugger", "debugger",
         FirmwareFacts(info.DebuggerID, info.DebuggerVersion, info.DebuggerDate, info.DebuggerTime));
}

// Why the device can't be asked; empty when it can.
std::string WhyNoCrcs(std::int32_t handle) {
    if (!RunsBootloader(*TargetOf(handle)))
        return "not available while the application runs; \"hoistline crc --reset\" interrupts it";
    return basBootloader::LoadedByAnother(handle) ? "not available: another program is loading the device" : "";
}

void ShowCrcs(Call& call, std::int32_t handle) {
    call.Print("CRCs");
    call.report.Answer["crcs"] = nullptr;
    if (const std::string why = WhyNoCrcs(handle); !why.empty())
        return call.Print("  " + why);
    std::vector<TableRow> rows;
    Json images = Json::array();
    for (const ImageCrc& image : AskCrcs(call, handle)) {
        rows.push_back({fmt::format("  {}", NameOfImage(image.imageType)), image.answered ? CrcText(image.crc) : "-",
                        WordOf(image)});
        images.push_back(ToJson(image));
    }
    call.report.Answer["crcs"] = images;
    PrintTable(call, rows);
}

void Info(Call& call, const std::string& device) {
    BusSession session(call);
    std::int32_t handle = 0;
    if (!session.OpenBus() || !ChooseTarget(call, device, handle))
        return;
    const BootloaderTarget target = *TargetOf(handle); // a copy: asking for CRCs gives the window system turns
    const std::vector<Fact> node = {{"node", "node", target.Device.NodeNum}, {"state", "state", ModeOf(target)}};
    const std::vector<Fact> rom = RomFacts(target.Device.ConfigRom), registers = RegisterFacts(target);
    call.report.Answer = ToJson(node);
    call.report.Answer.update({{"rom", ToJson(rom)}, {"registers", ToJson(registers)}});
    Print(call, "Device", node);
    Print(call, "Config ROM", rom);
    Print(call, "Info registers", registers);
    ShowFirmware(call, target);
    ShowCrcs(call, handle);
}

} // namespace

void AddInfo(CommandSet& set) {
    auto device = std::make_shared<std::string>();
    CLI::App* command =
        set.Add("info", "show everything that is known of a device", [device](Call& call) { Info(call, *device); });
    AddDevice(command, *device);
}

} // namespace cli
