// What the client asks of the bus.
#include "KernelBus.h"
#include "TopologyMap.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <linux/firewire-cdev.h>

namespace kernel_bus {

namespace {

constexpr std::uint32_t QUADLET = 4;
constexpr std::uint32_t MAX_RANGE = 1 << 24;      // bytes: they are all kept
constexpr std::uint32_t LONGEST_WAIT = 10'000;    // ms, without a time-out: the kernel has long given up by then
constexpr std::uint32_t LOCAL_READ_TIMEOUT = 500; // ms
constexpr int LOCAL_READ_ATTEMPTS = 5;            // a bus reset may come in between

std::uint32_t TransactionCode(const Request& request) {
    const bool quadlet = request.size == QUADLET;
    if (request.isWrite)
        return quadlet ? TCODE_WRITE_QUADLET_REQUEST : TCODE_WRITE_BLOCK_REQUEST;
    return quadlet ? TCODE_READ_QUADLET_REQUEST : TCODE_READ_BLOCK_REQUEST;
}

} // namespace

std::int32_t KernelBus::Carry(const Request& request) {
    Locked locked(*this);
    if (stopping_)
        return TWL1394_SHUTTING_DOWN;
    if (adapter_ == nullptr)
        return TWL1394_NO_RESPONSE;
    if (request.node == TWL1394_BROADCAST_NODE)
        return Broadcast(request);
    std::int32_t result = 0;
    Port* const port = PortOfNode(request.node, result);
    return port == nullptr ? result : CarryOn(*port, request, locked.lock);
}

Port* KernelBus::PortOfNode(std::uint32_t node, std::int32_t& result) {
    for (const auto& port : ports_) {
        if (!IsCurrent(*port) || port->node != node)
            continue;
        // The client means the device that had this number when it last looked.
        result = TWL1394_BUS_RESET;
        return topologyIsKnown_ || port->knownNode == node ? port.get() : nullptr;
    }
    awaited_.insert(node); // a new device gets its file some 500 ms after the reset
    result = TWL1394_NODE_DID_NOT_RESPOND;
    return nullptr;
}

std::int32_t KernelBus::CarryOn(Port& port, const Request& request, std::unique_lock<std::mutex>& lock) {
    Waiting waiting;
    waiting.card = port.card;
    waiting.generation = port.generation;
    waiting.descriptor = port.descriptor;
    if (!request.isWrite)
        waiting.data = {request.read, request.size};
    const std::uint64_t closure = transactions_.Begin(waiting);
    if (const int error = Send(port, request, closure); error < 0) {
        transactions_.Forget(closure);
        ReportRefusal(port, request, error);
        return ResultOfError(error);
    }
    return transactions_.Wait(lock, closure, request.timeoutMs == 0 ? LONGEST_WAIT : request.timeoutMs);
}

int KernelBus::Send(Port& port, const Request& request, std::uint64_t closure) {
    fw_cdev_send_request send{};
    send.tcode = TransactionCode(request);
    send.length = request.size;
    send.offset = request.address;
    send.closure = closure;
    send.data = reinterpret_cast<std::uintptr_t>(request.written);
    send.generation = port.generation;
    const int result = calls_.Control(port.descriptor, FW_CDEV_IOC_SEND_REQUEST, &send);
    if (result < 0)
        return result;
    ++port.owedAnswers;
    return 0;
}

void KernelBus::ReportRefusal(Port& port, const Request& request, int error) {
    std::string text = std::to_string(request.size) + " bytes to or from node " + std::to_string(port.node) +
                       " are refused: " + std::generic_category().message(-error);
    if (error == -EIO) { // the payload exceeds what the speed allows
        const int speed = calls_.Control(port.descriptor, FW_CDEV_IOC_GET_SPEED, nullptr);
        if (speed >= 0)
            text += "; at its speed, S" + std::to_string(100 << speed) + ", a block has at most " +
                    std::to_string(512 << speed) + " bytes";
    }
    Report(DEBUG_WARNING, text);
}

// The kernel broadcasts to none of the addresses that a target has, so each node gets the write for itself. Nobody
// waits for the answers: as on the bus, nothing acknowledges a broadcast.
std::int32_t KernelBus::Broadcast(const Request& request) {
    bool refused = false, sent = false;
    for (const auto& port : ports_) {
        if (!IsCurrent(*port) || port->isLocal)
            continue;
        const int error = Send(*port, request, transactions_.NextClosure());
        if (error < 0)
            ReportRefusal(*port, request, error);
        (error < 0 ? refused : sent) = true;
    }
    return refused && !sent ? TWL1394_NO_RESPONSE : TWL1394_SUCCESS;
}

int KernelBus::ReadLocalOn(std::uint64_t address, std::span<std::uint8_t> data, std::unique_lock<std::mutex>& lock) {
    Request request;
    request.address = address;
    request.size = static_cast<std::uint32_t>(data.size());
    request.read = data.data();
    request.timeoutMs = LOCAL_READ_TIMEOUT;
    std::int32_t result = TWL1394_BUS_RESET;
    for (int i = 0; i < LOCAL_READ_ATTEMPTS && result == TWL1394_BUS_RESET; ++i) {
        if (adapter_ == nullptr || stopping_)
            return ENODEV;
        if (i > 0)
            RefreshCard(adapter_->card);
        const Port* const adapter = adapter_;
        const std::uint32_t generation = adapter->generation;
        result = CarryOn(*adapter_, request, lock);
        // The answer may have come before a reset, and been taken after it.
        if (result == TWL1394_SUCCESS && (adapter_ != adapter || adapter->generation != generation))
            result = TWL1394_BUS_RESET;
    }
    return result == TWL1394_SUCCESS ? 0 : EIO;
}

int KernelBus::ReadLocal(std::uint64_t address, std::span<std::uint8_t> data) {
    Locked locked(*this);
    return ReadLocalOn(address, data, locked.lock);
}

int KernelBus::ReadTopologyMap(Bytes& map) {
    Locked locked(*this);
    std::array<std::uint8_t, TOPOLOGY_MAP_SIZE> content{};
    if (const int failure = ReadLocalOn(TOPOLOGY_MAP, content, locked.lock); failure != 0)
        return failure;
    map = ConvertTopologyMap(content);
    if (map.empty())
        return EPROTO;
    NoteTopologyRead();
    return 0;
}

void KernelBus::NoteTopologyRead() {
    for (const auto& port : ports_)
        port->knownNode = IsCurrent(*port) ? std::optional(port->node) : std::nullopt;
    topologyIsKnown_ = true;
}

int KernelBus::ResetBus() {
    const Locked locked(*this);
    if (adapter_ == nullptr)
        return ENODEV;
    fw_cdev_initiate_bus_reset reset{FW_CDEV_SHORT_RESET};
    const int result = calls_.Control(adapter_->descriptor, FW_CDEV_IOC_INITIATE_BUS_RESET, &reset);
    return result < 0 ? -result : 0;
}

int KernelBus::AllocateRange(std::uint64_t address, std::uint32_t length, std::uint32_t& handle) {
    const Locked locked(*this);
    if (adapter_ == nullptr)
        return ENODEV;
    if (length == 0 || length > MAX_RANGE)
        return EINVAL;
    const std::uint32_t added = ranges_.Add(address, (length + QUADLET - 1) / QUADLET * QUADLET);
    const int failure = Allocate(added, *ranges_.Find(added));
    if (failure < 0) {
        ranges_.Remove(added);
        Report(DEBUG_ALWAYS, "an address range can't be allocated: " + std::generic_category().message(-failure));
        return -failure;
    }
    handle = added;
    return 0;
}

int KernelBus::FreeRange(std::uint32_t handle) {
    const Locked locked(*this);
    AddressRange* const range = ranges_.Find(handle);
    if (range == nullptr)
        return EINVAL;
    Deallocate(*range);
    ranges_.Remove(handle);
    return 0;
}

int KernelBus::Allocate(std::uint32_t handle, AddressRange& range) {
    fw_cdev_allocate allocate{};
    allocate.offset = range.address;
    allocate.length = static_cast<std::uint32_t>(range.content.size());
    allocate.region_end = range.address + range.content.size(); // exactly there
    allocate.closure = handle;
    const int result = calls_.Control(adapter_->descriptor, FW_CDEV_IOC_ALLOCATE, &allocate);
    if (result < 0)
        return result;
    range.kernelHandle = allocate.handle;
    return 0;
}

void KernelBus::Deallocate(AddressRange& range) {
    if (range.kernelHandle && adapter_ != nullptr) {
        fw_cdev_deallocate deallocate{*range.kernelHandle};
        calls_.Control(adapter_->descriptor, FW_CDEV_IOC_DEALLOCATE, &deallocate);
    }
    range.kernelHandle.reset();
}

void KernelBus::AnswerRequest(const Port& port, const RequestEvent& request) {
    // A range is allocated on every adapter of the machine; the client's bus is one of them.
    const bool ours = adapter_ != nullptr && request.card == adapter_->card;
    Answer answer = ours ? ranges_.Take(request) : Refuse(request, RCODE_ADDRESS_ERROR);
    fw_cdev_send_response send{};
    send.rcode = answer.rcode;
    send.length = static_cast<std::uint32_t>(answer.data.size());
    send.data = reinterpret_cast<std::uintptr_t>(answer.data.data());
    send.handle = request.handle;
    if (const int error = calls_.Control(port.descriptor, FW_CDEV_IOC_SEND_RESPONSE, &send); error < 0)
        Report(DEBUG_WARNING, "a request gets no answer: " + std::generic_category().message(-error));
    if (answer.stored)
        Post(TWL1394_NOTICE_INCOMING_DATA);
}

} // namespace kernel_bus
