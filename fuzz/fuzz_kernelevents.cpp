// What a kernel writes into a device file is arbitrary bytes, as is its topology map: nothing outside a record is read,
// each request to an address range has an answer within its bounds, and a transaction has one end.
#include "AddressRanges.h"
#include "Port.h"
#include "TopologyMap.h"
#include "Transactions.h"
#include "Twl1394api.h"

#include <cstdlib>
#include <cstring>

using namespace kernel_bus;

namespace {

constexpr std::uint64_t RANGE = 0xFFFFC8029000;
constexpr std::uint32_t RANGE_SIZE = 64, MOST_DATA = 4096;

void Take(const ResponseEvent& response) {
    Bytes data(8, 0xEE);
    Waiting waiting;
    waiting.data = data;
    Transactions transactions;
    transactions.Begin(waiting); // with closure 1
    transactions.End(response);
    transactions.EndAll(TWL1394_SHUTTING_DOWN);
    if (!waiting.done || (waiting.result != TWL1394_SUCCESS && data != Bytes(8, 0xEE)))
        std::abort();
}

void Take(const RequestEvent& request) {
    AddressRanges ranges;
    const std::uint32_t handle = ranges.Add(RANGE, RANGE_SIZE);
    const Answer answer = ranges.Take(request);
    if (answer.data.size() > MOST_DATA || ranges.Find(handle)->content.size() != RANGE_SIZE ||
        (answer.stored && request.closure != handle))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes record(data, data + size); // of exactly that size, so that a read beyond it is found
    const Event event = DecodeEvent(record);
    if (const auto* response = std::get_if<ResponseEvent>(&event))
        Take(*response);
    if (const auto* request = std::get_if<RequestEvent>(&event))
        Take(*request);
    if (const Bytes map = ConvertTopologyMap(record); !map.empty() && (map[8] == 0 || map.size() > size))
        std::abort();
    std::vector<std::uint32_t> rom(size / 4);
    if (!rom.empty())
        std::memcpy(rom.data(), data, rom.size() * 4);
    IsTargetRom(rom);
    return 0;
}
