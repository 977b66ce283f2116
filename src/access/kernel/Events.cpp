#include "Events.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <linux/firewire-cdev.h>

namespace kernel_bus {

namespace {

// The fixed part of a record. A record's data begins where the structure's does, which isn't its size: that is padded.
template <typename Fixed> bool Copy(ByteView record, std::size_t size, Fixed& fixed) {
    if (record.size() < size)
        return false;
    std::memcpy(&fixed, record.data(), size);
    return true;
}

ByteView DataOf(ByteView record, std::size_t start, std::uint32_t length) {
    return record.subspan(start, std::min<std::size_t>(length, record.size() - start));
}

Event Response(ByteView record) {
    constexpr std::size_t start = offsetof(fw_cdev_event_response, data);
    fw_cdev_event_response fixed{};
    if (!Copy(record, start, fixed))
        return {};
    return ResponseEvent{fixed.closure, fixed.rcode, DataOf(record, start, fixed.length)};
}

Event Request(ByteView record) {
    constexpr std::size_t start = offsetof(fw_cdev_event_request2, data);
    fw_cdev_event_request2 fixed{};
    if (!Copy(record, start, fixed))
        return {};
    return RequestEvent{fixed.closure,
                        fixed.tcode,
                        fixed.offset,
                        fixed.card,
                        fixed.handle,
                        fixed.length,
                        DataOf(record, start, fixed.length)};
}

} // namespace

Event DecodeEvent(ByteView record) {
    fw_cdev_event_common common{};
    constexpr std::size_t commonSize = offsetof(fw_cdev_event_common, type) + sizeof common.type;
    if (!Copy(record, commonSize, common))
        return {};
    switch (common.type) {
    case FW_CDEV_EVENT_BUS_RESET:
        return BusResetEvent{};
    case FW_CDEV_EVENT_RESPONSE:
        return Response(record);
    case FW_CDEV_EVENT_REQUEST2:
        return Request(record);
    default:
        return {};
    }
}

} // namespace kernel_bus
