// An access library by its file, and calls of it by a client that keeps what it is told.
#pragma once

#include "LibraryCalls.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

using bas1394::library::Operations;
using Bytes = std::vector<std::uint8_t>;
using Notices = std::vector<std::uint32_t>;

// Stays loaded. Throws if a function is missing.
inline Operations OperationsOf(const char* file) {
    std::string reason;
    void* const module = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr)
        throw std::runtime_error(dlerror());
    if (!bas1394::library::Bind(module, reason))
        throw std::runtime_error(reason);
    return std::exchange(bas1394::library::globals, {}).Bound;
}

class KeepingClient {
public:
    const Twl1394Client* Get() const { return &client_; }
    std::vector<std::uint32_t> TakeNotices() {
        const std::lock_guard lock(mutex_);
        return std::exchange(notices_, {});
    }
    std::string TakeText() {
        const std::lock_guard lock(mutex_);
        return std::exchange(text_, {});
    }

private:
    std::mutex mutex_;
    std::vector<std::uint32_t> notices_;
    std::string text_;
    Twl1394Client client_{this,
                          [](void* self, std::uint32_t number) {
                              auto& client = *static_cast<KeepingClient*>(self);
                              const std::lock_guard lock(client.mutex_);
                              client.notices_.push_back(number);
                          },
                          [](void* self, const char* text) {
                              auto& client = *static_cast<KeepingClient*>(self);
                              const std::lock_guard lock(client.mutex_);
                              client.text_ += text;
                          }};
};

class CallingClient {
public:
    explicit CallingClient(const Operations& operations) : library(operations) {}

    static Twl1394Address Address(std::uint64_t offset) {
        return {static_cast<std::uint16_t>(offset >> 32), 0, static_cast<std::uint32_t>(offset)};
    }
    std::int32_t ReadAt(std::uint64_t offset, std::uint32_t node, Bytes& data, std::uint32_t timeout) const {
        const Twl1394Address at = Address(offset);
        return library.AsyncReadWrapper(node, &at, static_cast<std::uint32_t>(data.size()), data.data(), timeout);
    }
    std::int32_t WriteAt(std::uint64_t offset, std::uint32_t node, const Bytes& data, std::uint32_t timeout) const {
        const Twl1394Address at = Address(offset);
        return library.AsyncWriteWrapper(node, &at, static_cast<std::uint32_t>(data.size()), data.data(), timeout);
    }
    std::int32_t ReadTopology(Bytes& map, std::uint32_t length = 1024) const {
        Twl1394HostInformation request{0, 6, 4096, Address(0xFFFFF0001000), length, {}};
        std::memset(request.CsrData, 0xEE, sizeof request.CsrData);
        const std::int32_t result = library.GetLocalHostInformation(client.Get(), device, &request, 0);
        map.assign(std::begin(request.CsrData), std::end(request.CsrData));
        return result;
    }
    std::int32_t ReadTopology() const {
        Bytes map;
        return ReadTopology(map);
    }
    std::uint32_t Devices() const {
        Twl1394VirtualDeviceList list;
        std::memset(&list, 0xEE, sizeof list);
        library.GetVirtualDeviceList(&list);
        return list.DeviceCount;
    }
    std::int32_t Allocate(std::uint64_t offset, std::uint32_t length, std::uint32_t& handle) const {
        Twl1394AddressRange range{};
        range.Length = length;
        range.RequiredOffset = Address(offset);
        const std::int32_t result = library.AllocateAddressRange(client.Get(), device, &range, 0);
        handle = range.RangeHandle;
        return result;
    }

    const Operations& library;
    KeepingClient client;
    const char* const device = "1394_VIRTUAL_DEVICE";
};

} // namespace testing_support
