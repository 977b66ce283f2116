#include "FakeKernel.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <utility>

#include <linux/firewire-cdev.h>
#include <sys/socket.h>
#include <unistd.h>

namespace testing_support {

namespace {

constexpr std::uint64_t TOPOLOGY_MAP = 0xFFFFF0001000;
constexpr std::uint32_t LOCAL_BUS = 0xFFC0;

const std::uint8_t* Pointer(std::uint64_t address) {
    return reinterpret_cast<const std::uint8_t*>(static_cast<std::uintptr_t>(address));
}

template <typename Record> Bytes Append(const Record& record, std::size_t dataStart, const Bytes& data) {
    Bytes bytes(std::max(sizeof record, dataStart + data.size()), 0);
    std::memcpy(bytes.data(), &record, sizeof record);
    std::copy(data.begin(), data.end(), bytes.begin() + static_cast<std::ptrdiff_t>(dataStart));
    return bytes;
}

} // namespace

FakeKernel::~FakeKernel() {
    for (const auto& [descriptor, open] : descriptors_)
        ::close(open.ourEnd);
}

void FakeKernel::Add(const std::string& file, FakeDevice device) {
    const std::lock_guard lock(mutex_);
    device.generation = Generation(device.card);
    devices_[file] = device;
    PutFile(file);
}

void FakeKernel::SetErrors(const std::string& file, int openError, int controlError) {
    const std::lock_guard lock(mutex_);
    devices_.at(file).openError = openError;
    devices_.at(file).controlError = controlError;
}

std::uint32_t FakeKernel::NumberOf(const std::string& file) const {
    const std::lock_guard lock(mutex_);
    return devices_.at(file).number;
}

bool FakeKernel::HasDevice(const std::string& file) const {
    const std::lock_guard lock(mutex_);
    return devices_.contains(file);
}

void FakeKernel::Chmod(const std::string& file) {
    const auto path = std::filesystem::path(folder_.file(file));
    std::filesystem::permissions(path, std::filesystem::perms::owner_read);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

void FakeKernel::Remove(const std::string& file) {
    const std::lock_guard lock(mutex_);
    for (auto& [descriptor, open] : descriptors_)
        if (open.file == file && open.ourEnd >= 0) {
            ::close(open.ourEnd);
            open.ourEnd = -1;
        }
    devices_.erase(file);
    RemoveFile(file);
}

void FakeKernel::Reset(std::uint32_t card, const std::map<std::string, std::uint32_t>& numbers) {
    const std::lock_guard lock(mutex_);
    Generation(card);
    generations_[card] = (generations_[card] + 1) % 256;
    for (const auto& [file, number] : numbers) {
        devices_.at(file).number = number;
        devices_.at(file).generation = generations_[card];
    }
    for (const bool local : {true, false})
        for (const auto& [file, number] : numbers)
            if (devices_.at(file).local == local)
                TellOfReset(file);
}

void FakeKernel::Reset(std::uint32_t card) {
    const std::lock_guard lock(mutex_);
    std::map<std::string, std::uint32_t> numbers;
    for (const auto& [file, device] : devices_)
        if (device.card == card && device.generation == Generation(card))
            numbers[file] = device.number;
    Reset(card, numbers);
}

void FakeKernel::Update(const std::string& file, std::uint32_t number) {
    const std::lock_guard lock(mutex_);
    FakeDevice& device = devices_.at(file);
    device.number = number;
    device.generation = Generation(device.card);
    TellOfReset(file);
}

void FakeKernel::TellOfReset(const std::string& file) {
    fw_cdev_event_bus_reset event{};
    event.type = FW_CDEV_EVENT_BUS_RESET; // the rest is out of date by the time it is read
    SendRecord(file, Append(event, sizeof event, {}));
}

void FakeKernel::SendRequest(const std::string& file, std::uint32_t tcode, std::uint64_t address, std::uint32_t length,
                             const Bytes& data, std::uint32_t card) {
    fw_cdev_event_request2 event{};
    event.closure = closures.empty() ? 0 : closures.back();
    event.type = FW_CDEV_EVENT_REQUEST2;
    event.tcode = tcode;
    event.offset = address;
    event.card = card;
    event.handle = ++lastHandle_;
    event.length = length;
    SendRecord(file, Append(event, offsetof(fw_cdev_event_request2, data), data));
}

void FakeKernel::SendRecord(const std::string& file, const Bytes& record) {
    const std::lock_guard lock(mutex_);
    for (const auto& [descriptor, open] : descriptors_)
        if (open.file == file)
            Queue(descriptor, record.data(), record.size());
}

void FakeKernel::Queue(int descriptor, const void* record, std::size_t size) {
    const int ourEnd = descriptors_.at(descriptor).ourEnd;
    if (ourEnd >= 0 && ::send(ourEnd, record, size, MSG_DONTWAIT | MSG_NOSIGNAL) < 0)
        std::abort(); // more than a socket holds
}

void FakeKernel::AnswerOpen(std::uint32_t rcode, const Bytes& data) {
    const std::lock_guard lock(mutex_);
    for (const OpenTransaction& transaction : std::exchange(open_, {}))
        if (descriptors_.contains(transaction.descriptor))
            Respond(transaction.descriptor, transaction.closure, {rcode, data});
}

bool FakeKernel::WaitUntilIdle() {
    std::unique_lock lock(mutex_);
    return polling_.wait_for(lock, std::chrono::seconds(10), [this] {
        std::vector<pollfd> copy = polled_;
        return !copy.empty() && ::poll(copy.data(), copy.size(), 0) == 0;
    });
}

void FakeKernel::Settle() {
    {
        const std::lock_guard lock(mutex_);
        if (inControl_ > 0 || descriptors_.empty())
            return;
    }
    if (!WaitUntilIdle())
        std::abort();
}

bool FakeKernel::WaitForOpen() {
    std::unique_lock lock(mutex_);
    return polling_.wait_for(lock, std::chrono::seconds(10), [this] { return !open_.empty(); });
}

int FakeKernel::Poll(pollfd* descriptors, std::size_t count) {
    {
        const std::lock_guard lock(mutex_);
        ++polls;
        polled_.assign(descriptors, descriptors + count);
        polling_.notify_all();
    }
    const int result = KernelCalls::Poll(descriptors, count);
    const std::lock_guard lock(mutex_);
    polled_.clear();
    for (std::size_t i = 0; i < count; ++i) {
        char byte = 0; // a closed socket is readable, a device file that has gone isn't
        if ((descriptors[i].revents & POLLHUP) != 0 &&
            ::recv(descriptors[i].fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0)
            descriptors[i].revents = POLLHUP | POLLERR;
    }
    return result;
}

int FakeKernel::Open(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const std::string file = std::filesystem::path(path).filename();
    const auto found = devices_.find(file);
    if (found == devices_.end())
        return -ENODEV;
    if (found->second.openError != 0)
        return -found->second.openError;
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) < 0)
        return -errno;
    descriptors_[ends[0]] = {file, ends[1]};
    return ends[0];
}

void FakeKernel::Close(int descriptor) {
    if (closing)
        closing();
    const std::lock_guard lock(mutex_);
    if (descriptors_.at(descriptor).ourEnd >= 0)
        ::close(descriptors_.at(descriptor).ourEnd);
    descriptors_.erase(descriptor);
    for (std::size_t range = 0; range < ranges_.size(); ++range)
        if (ranges_[range].descriptor == descriptor)
            Deallocate(range);
    std::erase_if(open_, [=](const OpenTransaction& transaction) { return transaction.descriptor == descriptor; });
    ::close(descriptor);
}

int FakeKernel::Read(int descriptor, void* buffer, std::size_t size) {
    const int result = readError != 0 ? -readError : KernelCalls::Read(descriptor, buffer, size);
    return result == 0 ? -ENODEV : result;
}

int FakeKernel::Control(int descriptor, unsigned long request, void* argument) {
    const std::lock_guard lock(mutex_);
    const auto device = devices_.find(descriptors_.at(descriptor).file);
    if (device == devices_.end())
        return -ENODEV;
    switch (request) {
    case FW_CDEV_IOC_GET_INFO:
        return GetInfo(device->second, argument);
    case FW_CDEV_IOC_SEND_REQUEST:
        return Send(descriptor, device->first, argument);
    case FW_CDEV_IOC_GET_SPEED:
        return speed;
    case FW_CDEV_IOC_ALLOCATE:
        return Allocate(descriptor, argument);
    case FW_CDEV_IOC_DEALLOCATE:
        Deallocate(static_cast<fw_cdev_deallocate*>(argument)->handle);
        return 0;
    case FW_CDEV_IOC_SEND_RESPONSE: {
        const auto& response = *static_cast<fw_cdev_send_response*>(argument);
        responses.push_back(
            {response.rcode, response.handle, Bytes(Pointer(response.data), Pointer(response.data) + response.length)});
        return 0;
    }
    case FW_CDEV_IOC_INITIATE_BUS_RESET:
        if (initiateReset)
            initiateReset(device->second.card);
        return 0;
    default:
        return -ENOTTY;
    }
}

int FakeKernel::Allocate(int descriptor, void* argument) {
    auto& range = *static_cast<fw_cdev_allocate*>(argument);
    if (const int error = allocate ? allocate(range.offset, range.region_end) : 0; error != 0)
        return -error;
    range.handle = static_cast<std::uint32_t>(closures.size());
    closures.push_back(range.closure);
    ranges_.push_back({descriptor, range.offset});
    return 0;
}

void FakeKernel::Deallocate(std::size_t range) {
    if (std::exchange(closures.at(range), 0) != 0 && deallocate)
        deallocate(ranges_.at(range).address);
}

std::uint32_t FakeKernel::LocalNumber(std::uint32_t card) const {
    for (const auto& [file, device] : devices_)
        if (device.local && device.card == card)
            return device.number;
    return 63;
}

int FakeKernel::GetInfo(const FakeDevice& device, void* argument) {
    auto& info = *static_cast<fw_cdev_get_info*>(argument);
    info.version = version;
    info.card = device.card;
    const std::uint32_t rom[] = {0x04040000, 0x31333934, 0, device.vendor << 8, 0};
    if (info.rom != 0)
        std::memcpy(reinterpret_cast<void*>(info.rom), rom, sizeof rom);
    auto& state = *reinterpret_cast<fw_cdev_event_bus_reset*>(info.bus_reset);
    state.node_id = LOCAL_BUS | device.number;
    state.local_node_id = LOCAL_BUS | LocalNumber(device.card);
    state.generation = device.generation;
    return 0;
}

int FakeKernel::Send(int descriptor, const std::string& file, void* argument) {
    const auto& send = *static_cast<fw_cdev_send_request*>(argument);
    const FakeDevice& device = devices_.at(file);
    if (device.controlError != 0)
        return -device.controlError;
    const bool isWrite = send.tcode == TCODE_WRITE_QUADLET_REQUEST || send.tcode == TCODE_WRITE_BLOCK_REQUEST;
    SentRequest request{file, send.tcode, send.generation, send.offset, send.length, {}};
    if (isWrite)
        request.data.assign(Pointer(send.data), Pointer(send.data) + send.length);
    if (send.generation != Generation(device.card) || device.generation != send.generation) {
        Respond(descriptor, send.closure, {RCODE_GENERATION, {}});
        return 0;
    }
    if (device.local && send.offset == TOPOLOGY_MAP) {
        Bytes map = topology;
        map.resize(send.length);
        map[7] = static_cast<std::uint8_t>(send.generation);
        Respond(descriptor, send.closure, {RCODE_COMPLETE, map});
        if (topologyRead)
            topologyRead();
        return 0;
    }
    sent.push_back(request);
    ++inControl_;
    const std::optional<Reply> reply =
        answer ? answer(request) : Reply{RCODE_COMPLETE, Bytes(isWrite ? 0 : send.length, 0)};
    if (reply)
        Respond(descriptor, send.closure, *reply);
    else
        open_.push_back({descriptor, send.closure});
    if (reply && reply->rcode == RCODE_GENERATION && refused)
        refused();
    --inControl_;
    polling_.notify_all();
    return 0;
}

void FakeKernel::Respond(int descriptor, std::uint64_t closure, const Reply& reply) {
    fw_cdev_event_response event{};
    event.closure = closure;
    event.type = FW_CDEV_EVENT_RESPONSE;
    event.rcode = reply.rcode;
    event.length = static_cast<std::uint32_t>(reply.data.size());
    const Bytes record = Append(event, offsetof(fw_cdev_event_response, data), reply.data);
    Queue(descriptor, record.data(), record.size());
}

} // namespace testing_support
