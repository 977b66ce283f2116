// What the kernel writes into a device file, taken apart. A record may have any content and length.
#pragma once

#include <cstdint>
#include <span>
#include <variant>
#include <vector>

namespace kernel_bus {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

// What a record says of the bus may be out of date when it is read; FW_CDEV_IOC_GET_INFO tells how it is now.
struct BusResetEvent {};

// The end of a transaction of ours. `data` lies in the record, and is what the record has of it.
struct ResponseEvent {
    std::uint64_t closure;
    std::uint32_t rcode;
    ByteView data;
};

// A node's request to an address range of ours. Each has to be answered, whatever it is.
struct RequestEvent {
    std::uint64_t closure;
    std::uint32_t tcode;
    std::uint64_t offset; // 48-bit address
    std::uint32_t card;
    std::uint32_t handle;
    std::uint32_t length; // bytes; of a read, those wanted
    ByteView data;        // in the record
};

// monostate: none of these, or shorter than its kind.
using Event = std::variant<std::monostate, BusResetEvent, ResponseEvent, RequestEvent>;

Event DecodeEvent(ByteView record);

} // namespace kernel_bus
