// identity: programs a device's GUID and MAC address.
#include "BusSession.h"
#include "CodePage.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "DeviceMode.h"
#include "OneTarget.h"
#include "bas1394.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace cli {

namespace {

constexpr std::size_t GUID_BYTES = 8, MAC_BYTES = 6;
constexpr const char* CALLER = "identity"; // in front of messages

struct IdentityOptions {
    std::optional<std::string> guid, mac; // as typed
    std::string device;
    bool initialize = false, dryRun = false;
};

// --- The values ---

// Pairs of hexadecimal digits with at most one blank, "-" or ":" between two of them. False for anything else.
bool TakeBytes(std::string_view text, ByteArray& bytes) {
    while (!text.empty()) {
        std::uint8_t byte = 0;
        const char* const end = text.data() + std::min<std::size_t>(text.size(), 2);
        if (std::from_chars(text.data(), end, byte, 16).ptr != text.data() + 2)
            return false;
        bytes.push_back(byte);
        text.remove_prefix(2);
        if (text.size() > 1 && std::string_view(" -:").find(text.front()) != std::string_view::npos)
            text.remove_prefix(1);
    }
    return true;
}

bool AreAll(const ByteArray& bytes, std::uint8_t value) {
    return std::ranges::all_of(bytes, [value](std::uint8_t byte) { return byte == value; });
}

// Why the value isn't programmed; empty for a good one.
std::string FaultOf(const std::string& typed, std::size_t count, ByteArray& bytes) {
    if (!TakeBytes(platform::Trim(typed), bytes))
        return "it isn't a row of bytes of two hexadecimal digits each";
    if (bytes.size() != count)
        return fmt::format("it has {} bytes in place of {}", bytes.size(), count);
    if (AreAll(bytes, 0x00) || AreAll(bytes, 0xFF))
        return "a value of zeros or ones only belongs to no device";
    if (count == MAC_BYTES && (bytes.front() & 1) != 0)
        return "it is a multicast address";
    return {};
}

// An option that isn't given leaves the bytes empty.
bool Decode(Call& call, const char* kind, const std::optional<std::string>& typed, std::size_t count,
            ByteArray& bytes) {
    const std::string fault = typed ? FaultOf(*typed, count, bytes) : "";
    return fault.empty() ||
           call.End(Verdict::Refused, fmt::format("The {} \"{}\" isn't programmed: {}.", kind, *typed, fault));
}

std::string Digits(const ByteArray& bytes) {
    return basUtils::ByteArrayToHexString(bytes.data(), bytes.size(), static_cast<std::int32_t>(bytes.size()));
}

std::string MacText(const ByteArray& mac) {
    return fmt::format("{:02X}", fmt::join(mac, "-"));
}

// --- Other nodes with the same GUID ---

bool HasGuid(const std::array<std::uint8_t, 8>& found, const ByteArray& guid) {
    return std::ranges::equal(found, guid);
}

// The node that has the GUID, in its ROM or its registers, other than the device itself; NO_NODE without one.
std::int16_t HolderOf(const ByteArray& guid, std::int32_t handle) {
    for (const BootloaderTarget& target : basBootloader::globals.TargetList)
        if (IsPresent(target) && target.Handle != handle && HasGuid(target.Info.GUID, guid))
            return target.Device.NodeNum;
    const std::int16_t own = basBootloader::GetNodeNum(handle).NodeNum;
    for (const auto* nodes : {&bas1394::globals.DeviceTable, &bas1394::globals.HiddenNodes})
        for (const Device& node : *nodes)
            if (node.NodeNum != NO_NODE && node.NodeNum != own && HasGuid(node.ConfigRom.GUID, guid))
                return node.NodeNum;
    return NO_NODE;
}

bool IsFree(Call& call, const ByteArray& guid, std::int32_t handle) {
    const std::int16_t holder = guid.empty() ? NO_NODE : HolderOf(guid, handle);
    return holder == NO_NODE || call.End(Verdict::Refused, fmt::format("The GUID {} isn't programmed: node #{} has it.",
                                                                       Digits(guid), holder));
}

// --- The work ---

class Programming {
public:
    Programming(Call& call, std::int32_t handle, const IdentityOptions& options, ByteArray guid, ByteArray mac)
        : call_(call), handle_(handle), options_(options), guid_(std::move(guid)), mac_(std::move(mac)),
          oldGuid_(GuidText(TargetOf(handle)->Info.GUID)) {}

    void ShowPlan();
    void Run();

private:
    void WriteAll();
    bool Initialize();
    bool WriteGuid();
    bool WriteMac();
    // Whether the step may begin; an end of the call is noted as its outcome.
    bool MayBegin(const char* operation);
    bool IsOnBus();
    std::int32_t ReadRegisters(BootloaderInfoRegisters& info);
    // As the registers have it now.
    bool ReadGuid(std::string& guid);
    bool EndStep(const char* operation, const std::string& fault, std::int64_t start);

    Call& call_;
    std::int32_t handle_;
    const IdentityOptions& options_;
    const ByteArray guid_, mac_;
    const std::string oldGuid_;
};

void Programming::ShowPlan() {
    Json answer{{"guid", nullptr}, {"mac", nullptr}, {"initialize", options_.initialize}, {"dryRun", options_.dryRun}};
    if (options_.initialize)
        call_.Print("The persistent parameters are initialized: keys get their factory values.");
    if (!guid_.empty()) {
        call_.Print(fmt::format("GUID  {} -> {}", oldGuid_, Digits(guid_)));
        answer["guid"] = {{"old", oldGuid_}, {"new", Digits(guid_)}, {"readBack", nullptr}};
    }
    if (!mac_.empty()) {
        call_.Print(fmt::format("MAC   (can't be read) -> {}", MacText(mac_)));
        answer["mac"] = {{"new", MacText(mac_)}};
    }
    call_.report.Answer = std::move(answer);
}

void Programming::Run() {
    InBootloader(call_, handle_, true, [this] { WriteAll(); });
}

// The order of the production line. The first that fails ends it.
void Programming::WriteAll() {
    if ((!options_.initialize || Initialize()) && (guid_.empty() || WriteGuid()) && !mac_.empty())
        WriteMac();
}

bool Programming::MayBegin(const char* operation) {
    if (!call_.MustEnd())
        return true;
    NoteStep(call_, handle_, operation, call_.report.Concluded(), "It wasn't begun.");
    return false;
}

bool Programming::EndStep(const char* operation, const std::string& fault, std::int64_t start) {
    NoteStep(call_, handle_, operation, fault.empty() ? Verdict::Done : Verdict::Failed, fault, start);
    return fault.empty() || call_.End(Verdict::Failed, fault);
}

bool Programming::Initialize() {
    if (!MayBegin("parameters"))
        return false;
    const std::int64_t start = platform::QueryPerformanceCounter();
    const std::int32_t code =
        basAutomation::OnKnownBus(CALLER, [&] { return basBootloader::InitializePersistentParams(handle_); });
    return EndStep("parameters",
                   code == basBootloader::SUCCESS
                       ? ""
                       : fmt::format("The device doesn't confirm that its persistent parameters are initialized "
                                     "(code {}).  Nothing else was written.",
                                     code),
                   start);
}

// After a bus reset the device has another record if the discovery met its new GUID.
bool Programming::IsOnBus() {
    std::array<std::uint8_t, 8> guid{};
    std::ranges::copy(guid_, guid.begin());
    for (const std::int32_t handle : {handle_, basBootloader::GetDeviceHandleFromGuid(guid)})
        if (const BootloaderTarget* target = TargetOf(handle); target != nullptr && IsPresent(*target)) {
            handle_ = handle;
            return true;
        }
    return false;
}

std::int32_t Programming::ReadRegisters(BootloaderInfoRegisters& info) {
    if (!IsOnBus())
        return basBootloader::FAILED;
    return basBootloader::ReadInfoRegisters(Device(TargetOf(handle_)->Device), info);
}

bool Programming::ReadGuid(std::string& guid) {
    constexpr int MOST_ATTEMPTS = 3;                // the device may be off the bus at the first
    constexpr std::int64_t TIME_TO_RETURN = 10'000; // ms
    BootloaderInfoRegisters info;
    std::int32_t code = basBootloader::FAILED;
    for (int attempt = 0; attempt < MOST_ATTEMPTS && code != basBootloader::SUCCESS; ++attempt)
        if (attempt == 0 || (SettleBus(call_) && call_.Wait([this] { return IsOnBus(); }, TIME_TO_RETURN)))
            code = basAutomation::OnKnownBus(CALLER, [&] { return ReadRegisters(info); });
    if (code != basBootloader::SUCCESS)
        return false;
    const auto index = static_cast<std::size_t>(basBootloader::GetDeviceIndex(handle_));
    basBootloader::globals.TargetList[index].Info = info; // by which it keeps its handle at the next discovery
    guid = GuidText(info.GUID);
    return true;
}

// The registers decide, not the answer to the command: either can get lost.
bool Programming::WriteGuid() {
    if (!MayBegin("guid"))
        return false;
    const std::int64_t start = platform::QueryPerformanceCounter();
    const std::int32_t code =
        basAutomation::OnKnownBus(CALLER, [&] { return basAutomation::WriteGuidBytes(handle_, guid_); });
    std::string now, fault;
    if (!ReadGuid(now))
        fault = fmt::format("The GUID can't be read back (code {}): whether the device has it isn't known.", code);
    else if (now != Digits(guid_))
        fault = fmt::format("The device has the GUID {} (code {}).", now, code);
    else if (now == oldGuid_ && code != basBootloader::SUCCESS)
        fault = fmt::format("The device, which has that GUID already, doesn't confirm it (code {}).", code);
    if (!now.empty())
        call_.report.Answer["guid"]["readBack"] = now;
    if (fault.empty())
        call_.Print(fmt::format("The device has the GUID {}.", now));
    return EndStep("guid", fault, start);
}

bool Programming::WriteMac() {
    if (!MayBegin("mac"))
        return false;
    const std::int64_t start = platform::QueryPerformanceCounter();
    const std::int32_t code =
        basAutomation::OnKnownBus(CALLER, [&] { return basAutomation::WriteMacBytes(handle_, mac_); });
    const bool done = code == basBootloader::SUCCESS;
    if (done)
        call_.Print("The device confirms the MAC address.  It can't be read back.");
    return EndStep("mac",
                   done ? ""
                        : fmt::format("The device doesn't confirm the MAC address (code {}), and it can't be read "
                                      "back: whether the device has it isn't known.",
                                      code),
                   start);
}

void Identity(Call& call, const IdentityOptions& options) {
    call.showsVerdict = true;
    if (!options.guid && !options.mac) {
        call.End(Verdict::Usage, "Give --guid, --mac or both.  See \"hoistline identity --help\".");
        return;
    }
    ByteArray guid, mac;
    if (!Decode(call, "GUID", options.guid, GUID_BYTES, guid) ||
        !Decode(call, "MAC address", options.mac, MAC_BYTES, mac))
        return;
    BusSession session(call);
    std::int32_t handle = 0;
    if (!session.OpenBus() || !ChooseTarget(call, options.device, handle) || !IsFree(call, guid, handle))
        return;
    Programming programming(call, handle, options, std::move(guid), std::move(mac));
    programming.ShowPlan();
    if (!options.dryRun)
        programming.Run();
}

} // namespace

void AddIdentity(CommandSet& set) {
    auto options = std::make_shared<IdentityOptions>();
    CLI::App* command =
        set.Add("identity", "program a device's GUID and MAC address, interrupting a running application",
                [options](Call& call) { Identity(call, *options); });
    command
        ->add_option("--guid", options->guid,
                     "program this GUID: 8 bytes in hexadecimal, with blanks, \"-\" or \":\" between them")
        ->type_name("BYTES");
    CLI::Option* mac = command
                           ->add_option("--mac", options->mac,
                                        "program this MAC address: 6 bytes in the same way; it can't be read back")
                           ->type_name("BYTES");
    command
        ->add_flag("--initialize", options->initialize,
                   "first initialize the persistent parameters, as for a new device: keys get their factory values")
        ->needs(mac); // the parameters hold it
    command->add_flag("--dry-run", options->dryRun, "only check and show what would be written");
    AddDevice(command, options->device);
}

} // namespace cli
