#include "DeviceProbe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <fcntl.h>
#include <linux/firewire-cdev.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace doctor {

namespace {

constexpr std::uint32_t CLIENT_VERSION = 5; // from 6 on the kernel sends other kinds of events
constexpr std::uint64_t TOPOLOGY_MAP = 0xFFFFF0001000;
constexpr std::uint32_t TOPOLOGY_MAP_SIZE = 1024;
constexpr int ANSWER_TIMEOUT = 100; // ms; the adapter answers by itself, so it comes at once
constexpr int MOST_EVENTS = 5;      // of others, before the answer

class OpenFile {
public:
    OpenFile(const DeviceCalls& calls, const std::string& path) : calls_(calls), descriptor_(calls.Open(path)) {}
    ~OpenFile() {
        if (descriptor_ >= 0)
            calls_.Close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    [[nodiscard]] int Error() const { return descriptor_ < 0 ? -descriptor_ : 0; }
    [[nodiscard]] int Descriptor() const { return descriptor_; }
    [[nodiscard]] int Control(unsigned long request, void* argument) const {
        return calls_.Control(descriptor_, request, argument);
    }

private:
    const DeviceCalls& calls_;
    int descriptor_;
};

int GetInfo(const OpenFile& file, std::uint32_t& version, std::uint32_t& generation) {
    fw_cdev_event_bus_reset state{};
    fw_cdev_get_info info{};
    info.version = CLIENT_VERSION;
    info.bus_reset = reinterpret_cast<std::uintptr_t>(&state);
    const int result = file.Control(FW_CDEV_IOC_GET_INFO, &info);
    version = info.version;
    generation = state.generation;
    return result;
}

int AskForMap(const OpenFile& file) {
    std::uint32_t version = 0, generation = 0;
    if (const int result = GetInfo(file, version, generation); result < 0)
        return result;
    fw_cdev_send_request send{};
    send.tcode = TCODE_READ_BLOCK_REQUEST;
    send.length = TOPOLOGY_MAP_SIZE;
    send.offset = TOPOLOGY_MAP;
    send.generation = generation;
    return file.Control(FW_CDEV_IOC_SEND_REQUEST, &send);
}

std::uint32_t Quadlet(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// Of the map in its big-endian quadlets: length and CRC, generation, numbers of nodes and of packets, the packets.
std::vector<std::uint32_t> PacketsOf(const std::uint8_t* map, std::size_t size) {
    constexpr std::size_t header = 12;
    std::vector<std::uint32_t> packets;
    if (size < header)
        return packets;
    const std::size_t count = std::min<std::size_t>(Quadlet(map + 8) & 0xFFFF, (size - header) / 4);
    for (std::size_t i = 0; i < count; ++i)
        packets.push_back(Quadlet(map + header + 4 * i));
    return packets;
}

// False: the record isn't the answer, or the answer isn't good.
bool TakeAnswer(const OpenFile& file, std::vector<std::uint32_t>& packets) {
    constexpr std::size_t data = offsetof(fw_cdev_event_response, data);
    alignas(std::uint64_t) std::array<std::uint8_t, 8192> record{};
    const ssize_t size = read(file.Descriptor(), record.data(), record.size());
    fw_cdev_event_response response{};
    if (size < static_cast<ssize_t>(data))
        return false;
    std::memcpy(&response, record.data(), data);
    if (response.type != FW_CDEV_EVENT_RESPONSE || response.rcode != RCODE_COMPLETE)
        return false;
    packets =
        PacketsOf(record.data() + data, std::min<std::size_t>(response.length, static_cast<std::size_t>(size) - data));
    return true;
}

} // namespace

DeviceCalls RealDeviceCalls() {
    return {[](const std::string& path) {
                const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
                return descriptor < 0 ? -errno : descriptor;
            },
            [](int descriptor, unsigned long request, void* argument) {
                const int result = ioctl(descriptor, request, argument);
                return result < 0 ? -errno : result;
            },
            [](int descriptor) { close(descriptor); }};
}

FileFacts ProbeFile(const DeviceCalls& calls, const std::string& path) {
    FileFacts facts;
    const OpenFile file(calls, path);
    facts.Error = file.Error();
    if (facts.Error != 0)
        return facts;
    std::uint32_t generation = 0;
    if (const int result = GetInfo(file, facts.Version, generation); result < 0)
        facts.Error = -result;
    facts.Speed = std::max(file.Control(FW_CDEV_IOC_GET_SPEED, nullptr), -1);
    return facts;
}

int TryRange(const DeviceCalls& calls, const std::string& path, std::uint64_t address, std::uint32_t length) {
    const OpenFile file(calls, path);
    if (file.Error() != 0)
        return file.Error();
    std::uint32_t version = 0, generation = 0;
    fw_cdev_allocate allocate{};
    allocate.offset = address;
    allocate.length = length;
    allocate.region_end = address + length;
    int result = GetInfo(file, version, generation); // without a version, the kernel overlooks the end of the region
    if (result >= 0)
        result = file.Control(FW_CDEV_IOC_ALLOCATE, &allocate);
    return result < 0 ? -result : 0; // closing the file frees it
}

std::vector<std::uint32_t> ReadSelfIds(const DeviceCalls& calls, const std::string& path) {
    std::vector<std::uint32_t> packets;
    const OpenFile file(calls, path);
    if (file.Error() != 0 || AskForMap(file) < 0)
        return packets;
    for (int i = 0; i < MOST_EVENTS; ++i) {
        pollfd events{file.Descriptor(), POLLIN, 0};
        if (poll(&events, 1, ANSWER_TIMEOUT) != 1 || (events.revents & POLLIN) == 0 || TakeAnswer(file, packets))
            break;
    }
    return packets;
}

} // namespace doctor
