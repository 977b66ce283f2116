#include "SimulatedDevices.h"

#include <cerrno>
#include <utility>

#include <linux/firewire-constants.h>

namespace testing_support {

namespace {

constexpr std::int64_t MILLISECOND = 1'000'000;
constexpr const char* DEVICE = "1394_VIRTUAL_DEVICE";
constexpr const char* ADAPTER = "fw0";
constexpr std::uint64_t ANNOUNCEMENTS = 0xFFFFC8029000;

Twl1394Address Address(std::uint64_t offset) {
    return {static_cast<std::uint16_t>(offset >> 32), 0, static_cast<std::uint32_t>(offset)};
}

std::uint32_t RcodeOf(std::int32_t result) {
    switch (result) {
    case TWL1394_SUCCESS:
        return RCODE_COMPLETE;
    case TWL1394_NODE_DID_NOT_RESPOND:
        return RCODE_NO_ACK;
    case TWL1394_BUS_RESET:
        return RCODE_GENERATION;
    case TWL1394_ADDRESS_ERROR:
        return RCODE_ADDRESS_ERROR;
    default:
        return RCODE_SEND_ERROR;
    }
}

} // namespace

SimulatedDevices::SimulatedDevices(platform::testing::VirtualClock& clock)
    : clock_(clock), client_{this,
                             [](void* self, std::uint32_t number) {
                                 static_cast<SimulatedDevices*>(self)->TakeNotice(number);
                             },
                             [](void*, const char*) {}} {
    now = [this] { return clock_.Now(); };
    answer = [this](const SentRequest& request) { return Answer(request); };
    refused = [this] { RenumberIfStale(); }; // the kernel finds out a moment later
    allocate = [this](std::uint64_t address, std::uint64_t end) { return AllocateOnHost(address, end); };
    deallocate = [this](std::uint64_t address) { FreeAddressRange(&client_, DEVICE, rangeHandles_.at(address)); };
    initiateReset = [this](std::uint32_t) { BusReset(&client_, DEVICE, 0); };
    RegisterClient(&client_);
    PutAdapterBack();
}

SimulatedDevices::~SimulatedDevices() {
    *alive_ = false;
    DeRegisterClient(&client_);
}

void SimulatedDevices::PutAdapterBack() {
    pulled_ = false;
    present_ = PresentNodes();
    ReadTopology();
    Add(ADAPTER, {.number = HostNumber(), .local = true});
    for (const auto& [file, number] : present_) {
        Add(file, {.number = number});
        known_.insert(file);
    }
}

void SimulatedDevices::PullAdapter() {
    pulled_ = true;
    for (const std::string& file : known_)
        Remove(file);
    known_.clear();
    Remove(ADAPTER);
}

// Later: the simulated bus calls with its lock held.
void SimulatedDevices::TakeNotice(std::uint32_t number) {
    const auto later = [&](auto call) {
        clock_.CallAt(clock_.Now(), [call, alive = alive_] {
            if (*alive)
                call();
        });
    };
    if (number == TWL1394_NOTICE_INCOMING_DATA)
        later([this] { FakeKernel::SendRequest(ADAPTER, TCODE_WRITE_BLOCK_REQUEST, ANNOUNCEMENTS, 8, Bytes(8, 1)); });
    if (number != TWL1394_NOTICE_BUS_RESET || std::exchange(stale_, true))
        return;
    later([this] {
        RenumberIfStale();
        Settle();
    });
}

std::uint32_t SimulatedDevices::HostNumber() const {
    Twl1394NodeAddressRequest request{1, 0};
    Get1394AddressFromDeviceObject(&client_, DEVICE, &request);
    return request.NodeAddress & 0x3F;
}

// The register: its self-IDs are those of the simulated bus, its header has big-endian quadlets.
void SimulatedDevices::ReadTopology() {
    Twl1394HostInformation request{0, 6, 4096, Address(0xFFFFF0001000), 1024, {}};
    GetLocalHostInformation(&client_, DEVICE, &request, 0);
    const std::uint8_t* map = request.CsrData;
    topology = {map[1], map[0], map[3], map[2], map[7], map[6], map[5], map[4], map[9], map[8], map[11], map[10]};
    topology.insert(topology.end(), map + topology.size(), map + sizeof request.CsrData);
}

SimulatedDevices::Numbers SimulatedDevices::PresentNodes() {
    constexpr std::uint64_t guidInRom = 0xFFFFF000040C;
    Numbers numbers;
    const std::uint32_t host = HostNumber();
    std::uint8_t guid[8];
    for (std::uint32_t node = 0; node < TWL1394_BROADCAST_NODE; ++node) {
        const Twl1394Address at = Address(guidInRom);
        if (node == host || AsyncReadWrapper(node, &at, sizeof guid, guid, 0) != TWL1394_SUCCESS)
            continue; // the kernel makes no file for a node whose ROM it can't read
        const std::string key(guid, guid + sizeof guid);
        numbers[files_.try_emplace(key, "fw" + std::to_string(files_.size() + 1)).first->second] = node;
    }
    return numbers;
}

void SimulatedDevices::RenumberIfStale() {
    if (!stale_)
        return;
    while (std::exchange(stale_, false)) {
        present_ = PresentNodes();
        ReadTopology();
    }
    if (pulled_)
        return;
    std::erase_if(known_, [this](const std::string& file) { return !present_.contains(file); });
    Numbers told{{ADAPTER, HostNumber()}};
    for (const auto& [file, number] : present_) {
        if (known_.contains(file))
            told[file] = number;
        else
            clock_.CallAt(clock_.Now() + fileDelayMs * MILLISECOND, [this, name = file, alive = alive_] {
                if (*alive)
                    Appear(name);
            });
    }
    Reset(0, told);
}

void SimulatedDevices::Appear(const std::string& file) {
    const auto found = present_.find(file);
    if (pulled_ || found == present_.end() || !known_.insert(file).second)
        return;
    if (HasDevice(file))
        Update(file, found->second);
    else
        Add(file, {.number = found->second});
    Settle();
}

std::optional<Reply> SimulatedDevices::Answer(const SentRequest& request) {
    if (stale_)
        return Reply{RCODE_GENERATION, {}};
    const Twl1394Address at = Address(request.address);
    const std::uint32_t node = NumberOf(request.file);
    Bytes data(request.length);
    const std::int32_t result = request.data.empty()
                                    ? AsyncReadWrapper(node, &at, request.length, data.data(), 0)
                                    : AsyncWriteWrapper(node, &at, request.length, request.data.data(), 0);
    if (result == TWL1394_TIMED_OUT)
        return std::nullopt;
    const bool hasData = result == TWL1394_SUCCESS && request.data.empty();
    return Reply{RcodeOf(result), hasData ? data : Bytes()};
}

int SimulatedDevices::AllocateOnHost(std::uint64_t address, std::uint64_t end) {
    Twl1394AddressRange range{};
    range.RequiredOffset = Address(address);
    range.Length = static_cast<std::uint32_t>(end - address);
    if (AllocateAddressRange(&client_, DEVICE, &range, 0) != 0)
        return EBUSY;
    rangeHandles_[address] = range.RangeHandle;
    return 0;
}

} // namespace testing_support
