// The functions of the library's interface. They check arguments, take the lock and let no exception out.
#pragma GCC visibility push(default) // the only symbols that the library exports
#include "Twl1394api.h"
#include "ReplayClock.h"
#pragma GCC visibility pop

#include "Replay.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>

using namespace replay;
using recording::Entry;
using recording::Kind;

static constexpr int32_t FAILED = -1;

static uint64_t Offset(const Twl1394Address& address) {
    return uint64_t{address.AddressHigh} << 32 | address.AddressLow;
}

static Entry Asked(Kind kind, const char* text = nullptr) {
    Entry entry;
    entry.kind = kind;
    entry.text = text == nullptr ? "" : text;
    return entry;
}

// What the record has for it, of which `take` takes the content; otherwise `failure`.
template <class Take>
static int32_t Carried(const Twl1394Client* client, const Entry& asked, int32_t failure, Take take) noexcept {
    try {
        std::unique_lock lock(globals.mutex);
        if (client == nullptr || client != globals.client || globals.replay == nullptr)
            return failure;
        const std::shared_ptr<Replay> replay = globals.replay; // the client may go meanwhile
        const std::optional<Entry> answer = replay->Carry(asked, lock);
        if (!answer)
            return failure;
        take(*answer);
        return answer->result;
    } catch (const std::exception&) {
        return failure;
    }
}

static int32_t Carried(const Twl1394Client* client, const Entry& asked) noexcept {
    return Carried(client, asked, FAILED, [](const Entry&) {});
}

uint32_t Twl1394InterfaceVersion(void) {
    return TWL1394_INTERFACE_VERSION;
}

static void OpenRecord() {
    const char* file = std::getenv(TWL1394_BUS_VARIABLE);
    globals.replay.reset();
    if (file == nullptr || *file == '\0')
        return DebugText("there is no record to replay");
    try {
        globals.replay = std::make_shared<Replay>(file);
    } catch (const std::exception& failure) {
        DebugText(failure.what());
    }
}

int32_t RegisterClient(const Twl1394Client* client) {
    {
        const std::lock_guard lock(globals.mutex);
        if (client == nullptr || globals.client != nullptr)
            return FAILED;
        globals.client = client;
        OpenRecord();
        TheClock().Run();
    }
    Carried(client, Asked(Kind::RegisterClient)); // what was posted with it
    return 1;
}

int32_t DeRegisterClient(const Twl1394Client* client) {
    {
        const std::lock_guard lock(globals.mutex);
        if (client == nullptr || client != globals.client)
            return FAILED;
        globals.client = nullptr;
        globals.replay.reset();
    }
    TheClock().Stop(); // without the lock, which the clock's thread may be waiting for
    return 1;
}

int32_t HookSystemModule(const char* name) {
    const Twl1394Client* client = globals.client;
    return name == nullptr ? FAILED : Carried(client, Asked(Kind::HookSystemModule, name));
}

int32_t SetDebugSpew(const Twl1394Client* client, int32_t) {
    return Carried(client, Asked(Kind::SetDebugSpew));
}

int32_t GetVirtualDeviceList(Twl1394VirtualDeviceList* list) {
    if (list == nullptr)
        return FAILED;
    std::memset(list, 0, sizeof *list);
    return Carried(globals.client, Asked(Kind::GetVirtualDeviceList), FAILED, [list](const Entry& entry) {
        std::size_t at = 0;
        while (list->DeviceCount < std::size(list->Name) && at < entry.text.size()) {
            const std::size_t end = std::min(entry.text.find('\n', at), entry.text.size());
            char(&name)[256] = list->Name[list->DeviceCount++];
            entry.text.copy(name, std::min(end - at, sizeof name - 1), at);
            at = end + 1;
        }
    });
}

static int32_t ChangeDriver(Kind kind, const Twl1394Client* client, const Twl1394VirtualDevice* record) {
    return record == nullptr || record->Name == nullptr ? FAILED : Carried(client, Asked(kind, record->Name));
}

int32_t AddVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t) {
    return ChangeDriver(Kind::AddVirtualDriver, client, record);
}

int32_t RemoveVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t) {
    return ChangeDriver(Kind::RemoveVirtualDriver, client, record);
}

int32_t Get1394AddressFromDeviceObject(const Twl1394Client* client, const char* device,
                                       Twl1394NodeAddressRequest* request) {
    if (device == nullptr || request == nullptr)
        return FAILED;
    return Carried(client, Asked(Kind::Get1394Address), FAILED,
                   [request](const Entry& entry) { request->NodeAddress = static_cast<uint16_t>(entry.number); });
}

int32_t GetLocalHostInformation(const Twl1394Client* client, const char* device, Twl1394HostInformation* request,
                                uint32_t) {
    if (device == nullptr || request == nullptr)
        return FAILED;
    Entry asked = Asked(Kind::GetLocalHostInformation);
    asked.number = request->Level;
    asked.address = Offset(request->CsrAddress);
    asked.size = request->CsrLength;
    return Carried(client, asked, FAILED, [request](const Entry& entry) {
        const std::size_t room = std::min<std::size_t>(request->CsrLength, sizeof request->CsrData);
        if (entry.result != 0)
            return;
        std::memset(request->CsrData, 0, room);
        std::copy_n(entry.data.begin(), std::min(room, entry.data.size()), request->CsrData);
    });
}

int32_t BusReset(const Twl1394Client* client, const char* device, uint32_t) {
    return device == nullptr ? FAILED : Carried(client, Asked(Kind::BusReset));
}

int32_t AllocateAddressRange(const Twl1394Client* client, const char* device, Twl1394AddressRange* range, uint32_t) {
    if (device == nullptr || range == nullptr)
        return FAILED;
    Entry asked = Asked(Kind::AllocateAddressRange);
    asked.address = Offset(range->RequiredOffset);
    asked.size = range->Length;
    return Carried(client, asked, FAILED, [range](const Entry& entry) { range->RangeHandle = entry.number; });
}

int32_t FreeAddressRange(const Twl1394Client* client, const char* device, uint32_t rangeHandle) {
    Entry asked = Asked(Kind::FreeAddressRange);
    asked.number = rangeHandle;
    return device == nullptr ? FAILED : Carried(client, asked);
}

static int32_t Transact(Entry asked, const Twl1394Address* address, uint32_t size, const uint8_t* data, uint8_t* room) {
    if (address == nullptr || data == nullptr || size < 4 || size > TWL1394_MAX_PAYLOAD || size % 4 != 0 ||
        asked.node > TWL1394_BROADCAST_NODE)
        return TWL1394_NO_RESPONSE;
    if (globals.client == nullptr)
        return TWL1394_SHUTTING_DOWN;
    asked.address = Offset(*address);
    asked.size = size;
    if (asked.kind == Kind::Write)
        asked.data.assign(data, data + size);
    return Carried(globals.client, asked, TWL1394_NO_RESPONSE, [&](const Entry& entry) {
        // Of a redacted record there is a digest in place of the bytes: it fills their room.
        for (std::size_t i = 0; room != nullptr && entry.result == TWL1394_SUCCESS && !entry.data.empty() && i < size;
             ++i)
            room[i] = i < entry.data.size() || entry.isDigest ? entry.data[i % entry.data.size()] : std::uint8_t{0};
    });
}

int32_t AsyncReadWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, uint8_t* data,
                         uint32_t timeoutMs) {
    Entry asked = Asked(Kind::Read);
    asked.node = nodeNumber;
    asked.timeoutMs = timeoutMs;
    return Transact(asked, address, size, data, data);
}

int32_t AsyncWriteWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, const uint8_t* data,
                          uint32_t timeoutMs) {
    Entry asked = Asked(Kind::Write);
    asked.node = nodeNumber;
    asked.timeoutMs = timeoutMs;
    return Transact(asked, address, size, data, nullptr);
}

uint32_t QueryElapsedTimeMsLongInt(const int64_t* counter) {
    const int64_t now = globals.clock == nullptr ? simulator::MonotonicNow() : globals.clock->Now();
    return counter == nullptr ? 0 : static_cast<uint32_t>((now - *counter) / 1'000'000);
}

void ReplayUseClock(const SimulatorClock* clock) {
    const std::lock_guard lock(globals.mutex);
    UseCallersClock(clock);
}
