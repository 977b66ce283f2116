// The kernel's FireWire stack as far as an access library sees it: device files in a folder of their own, nodes with
// numbers and generations, and events. Nothing happens by itself: a test says what comes next.
#pragma once

#include "KernelCalls.h"
#include "TestFolder.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <poll.h>

namespace testing_support {

using Bytes = std::vector<std::uint8_t>;

// A device file and its node.
struct FakeDevice {
    std::uint32_t card = 0;
    std::uint32_t number = 0; // of the node
    bool local = false;
    std::uint32_t vendor = 0x000F1B;
    int openError = 0;            // errno
    int controlError = 0;         // errno of a request that is sent
    std::uint32_t generation = 0; // in which it has that number; set by the fake kernel
};

struct SentRequest {
    std::string file;
    std::uint32_t tcode, generation;
    std::uint64_t address;
    std::uint32_t length;
    Bytes data;
};

struct Reply {
    std::uint32_t rcode = 0;
    Bytes data;
};

struct SentResponse {
    std::uint32_t rcode, handle;
    Bytes data;
};

class FakeKernel : public kernel_bus::KernelCalls {
public:
    static constexpr std::uint32_t FIRST_GENERATION = 254; // it is a byte on some adapters

    ~FakeKernel() override;

    // A file appears.
    void Add(const std::string& file, FakeDevice device);
    void SetErrors(const std::string& file, int openError, int controlError = 0);
    std::uint32_t NumberOf(const std::string& file) const;
    bool HasDevice(const std::string& file) const;
    void Chmod(const std::string& file); // its attributes change
    // The device goes: its descriptors hang up, then the file goes.
    void Remove(const std::string& file);
    // Only the file goes or comes.
    void RemoveFile(const std::string& file) const { std::filesystem::remove(folder_.file(file)); }
    void PutFile(const std::string& file) const { folder_.Put(file, ""); }

    // A bus reset: each device of the card in `numbers` gets its number and is told, the local ones first. The others
    // have left, or their driver doesn't know yet.
    void Reset(std::uint32_t card, const std::map<std::string, std::uint32_t>& numbers);
    void Reset(std::uint32_t card);                             // with the same numbers
    void Update(const std::string& file, std::uint32_t number); // a device is found again in the current generation
    std::uint32_t Generation(std::uint32_t card) {
        return generations_.try_emplace(card, FIRST_GENERATION).first->second;
    }

    // A node's request to an address range, on this file's descriptor.
    void SendRequest(const std::string& file, std::uint32_t tcode, std::uint64_t address, std::uint32_t length,
                     const Bytes& data, std::uint32_t card = 0);
    void SendRecord(const std::string& file, const Bytes& record); // any bytes
    // Ends what `answer` has left open.
    void AnswerOpen(std::uint32_t rcode, const Bytes& data = {});
    bool WaitForOpen(); // until a transaction is left open

    // Returns once the library has nothing more to do. False after ten seconds.
    bool WaitUntilIdle();
    // The same, unless no library is there or it is inside a call: then it can't wait.
    virtual void Settle();

    std::function<std::optional<Reply>(const SentRequest&)> answer; // nothing: no answer yet. Default: zeros
    std::function<void()> refused;      // `answer` has said RCODE_GENERATION, and its event is queued
    Bytes topology;                     // of the local node's register; it is given the generation
    std::function<void()> topologyRead; // when its answer is under way
    std::vector<SentRequest> sent;      // without those for the topology
    std::vector<SentResponse> responses;
    std::vector<std::uint64_t> closures;                                   // of allocated ranges; a freed one is 0
    std::function<int(std::uint64_t address, std::uint64_t end)> allocate; // errno; default: 0
    std::function<void(std::uint64_t address)> deallocate;                 // also when its descriptor is closed
    std::function<void(std::uint32_t card)> initiateReset;                 // default: nothing
    std::function<void()> closing;                                         // before a descriptor is closed
    std::function<std::int64_t()> now;                                     // nanoseconds; default: the real time
    int readError = 0;                                                     // errno of every read
    std::size_t polls = 0;                                                 // how often the library has begun to wait
    std::uint32_t version = 5;
    int speed = 1; // of every node: S200

    std::string DeviceFolder() const override { return folder_.path(); }
    int Open(const std::string& path) override;
    int Control(int descriptor, unsigned long request, void* argument) override;
    int Read(int descriptor, void* buffer, std::size_t size) override;
    void Close(int descriptor) override;
    int Poll(pollfd* descriptors, std::size_t count) override;
    std::int64_t Now() override { return now ? now() : KernelCalls::Now(); }

private:
    struct OpenTransaction {
        int descriptor;
        std::uint64_t closure;
    };

    int GetInfo(const FakeDevice& device, void* argument);
    int Send(int descriptor, const std::string& file, void* argument);
    void Respond(int descriptor, std::uint64_t closure, const Reply& reply);
    void TellOfReset(const std::string& file);
    void Queue(int descriptor, const void* record, std::size_t size);
    int Allocate(int descriptor, void* argument);
    void Deallocate(std::size_t range);
    std::uint32_t LocalNumber(std::uint32_t card) const;

    TestFolder folder_;
    mutable std::recursive_mutex mutex_;
    std::condition_variable_any polling_;
    std::map<std::string, FakeDevice> devices_;
    std::map<std::uint32_t, std::uint32_t> generations_;
    struct Descriptor {
        std::string file;
        int ourEnd;
    };
    std::map<int, Descriptor> descriptors_; // by the library's end
    std::vector<OpenTransaction> open_;
    struct Range {
        int descriptor;
        std::uint64_t address;
    };
    std::vector<Range> ranges_;  // like `closures`
    std::vector<pollfd> polled_; // while the library waits, else empty
    int inControl_ = 0;
    std::uint32_t lastHandle_ = 100;
};

} // namespace testing_support
