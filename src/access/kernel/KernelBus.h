// The bus as the kernel's device files show it: which of them are open, which adapter is used, and which notices the
// client gets.
//
// One lock over everything, given up while a transaction waits. It isn't held while a descriptor is closed, which may
// take seconds, nor while the client's callbacks run.
#pragma once

#include "AddressRanges.h"
#include "EventThread.h"
#include "Port.h"
#include "Transactions.h"
#include "Twl1394api.h"

#include <future>
#include <list>
#include <set>

namespace kernel_bus {

// Levels of debug text, as SetDebugSpew has them.
inline constexpr std::int32_t DEBUG_TRACE = 5, DEBUG_WARNING = 7, DEBUG_ALWAYS = 17;

// One read or write.
struct Request {
    bool isWrite = false;
    std::uint32_t node = 0;
    std::uint64_t address = 0;
    std::uint32_t size = 0;
    const std::uint8_t* written = nullptr;
    std::uint8_t* read = nullptr; // changed only by success
    std::uint32_t timeoutMs = 0;
};

class KernelBus final : EventSink {
public:
    // `choice` is the value of TWL1394_BUS_VARIABLE. The client stays valid for as long as this exists.
    KernelBus(KernelCalls& calls, const Twl1394Client& client, const std::string& choice);
    ~KernelBus() override { Stop(); }

    void Start();
    // Transactions that wait end with TWL1394_SHUTTING_DOWN. Afterwards no callback is called.
    void Stop();

    bool BelongsTo(const Twl1394Client* client) const { return client == &client_; }
    void SetDebugLevel(std::int32_t level);
    void Scan() override;
    bool HasAdapter();
    std::uint16_t LocalNodeId(); // of the adapter
    // These return 0 or an errno.
    int ResetBus();
    int AllocateRange(std::uint64_t address, std::uint32_t length, std::uint32_t& handle);
    int FreeRange(std::uint32_t handle);
    int ReadTopologyMap(Bytes& map);                                    // as the contract has it
    int ReadLocal(std::uint64_t address, std::span<std::uint8_t> data); // registers of the adapter's node

    // A result of Twl1394api.h. The size has been checked. Node TWL1394_BROADCAST_NODE only for writes.
    std::int32_t Carry(const Request& request);

private:
    // The lock; when it is released, the client gets the notices that have come up meanwhile.
    struct Locked {
        explicit Locked(KernelBus& owner) : bus(owner), lock(owner.mutex_) {}
        ~Locked() { bus.Tell(lock); }
        KernelBus& bus;
        std::unique_lock<std::mutex> lock;
    };

    // On the event thread.
    void ListDescriptors(std::vector<int>& descriptors) override;
    void ReadEvent(int descriptor) override;
    void LoseDescriptor(int descriptor) override;
    void DeviceFileAppeared(const std::string& file) override;
    void DeviceFileRemoved(const std::string& file) override;
    void LosePort(Port* port, Locked& locked);
    void Close(std::unique_ptr<Port> port);

    // All of these with the lock held.
    void Tell(std::unique_lock<std::mutex>& lock); // releases it
    void Post(std::uint32_t notice) { notices_.push_back(notice); }
    void Report(std::int32_t level, const std::string& text);
    void TakeEvent(Port& port, ByteView record);
    void TakeBusReset(Port& port);
    void AnswerRequest(const Port& port, const RequestEvent& request);
    void Open(const std::string& file);
    void OpenAll();
    void RefreshCard(std::uint32_t card);
    Port* PortOfDescriptor(int descriptor);
    bool IsCurrent(const Port& port) const; // on the bus of the adapter, by its number
    void PostIfAwaited(const Port& port);
    // Null with the reason in `result`.
    Port* PortOfNode(std::uint32_t node, std::int32_t& result);
    std::int32_t CarryOn(Port& port, const Request& request, std::unique_lock<std::mutex>& lock);
    std::int32_t Broadcast(const Request& request);
    int Send(Port& port, const Request& request, std::uint64_t closure); // 0 or -errno
    void ReportRefusal(Port& port, const Request& request, int error);
    void ChooseAdapter();
    Port* BestAdapter();
    bool HasTarget(std::uint32_t card) const;
    int ReadLocalOn(std::uint64_t address, std::span<std::uint8_t> data, std::unique_lock<std::mutex>& lock);
    void NoteTopologyRead();
    int Allocate(std::uint32_t handle, AddressRange& range); // 0 or -errno
    void Deallocate(AddressRange& range);

    KernelCalls& calls_;
    const Twl1394Client& client_;
    std::optional<std::uint32_t> chosenCard_; // by the environment; without it the first that fits
    bool choiceIsValid_ = true;

    std::mutex mutex_;
    std::int32_t debugLevel_ = DEBUG_ALWAYS;
    std::vector<std::uint32_t> notices_; // not yet posted
    std::vector<std::string> texts_;
    Ports ports_;
    Port* adapter_ = nullptr;         // the local port that is used
    bool targetSeen_ = false;         // on the adapter's bus, which then stays chosen
    bool topologyIsKnown_ = false;    // the client has read it since the last reset
    std::set<std::uint32_t> awaited_; // numbers that the client has asked for and that have no file in this generation
    Transactions transactions_;
    AddressRanges ranges_;
    bool stopping_ = false;
    std::list<std::future<void>> closing_; // of ports whose transactions the kernel hasn't ended
    EventThread thread_{calls_, *this};
};

} // namespace kernel_bus
