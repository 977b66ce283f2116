#include "AddressRanges.h"

#include <algorithm>

#include <linux/firewire-constants.h>

namespace kernel_bus {

namespace {

constexpr std::uint32_t MAX_ANSWER = 4096; // IEEE 1394: payload at S800; the kernel accepts no request for more

bool IsWrite(std::uint32_t tcode) {
    return tcode == TCODE_WRITE_QUADLET_REQUEST || tcode == TCODE_WRITE_BLOCK_REQUEST;
}

bool IsRead(std::uint32_t tcode) {
    return tcode == TCODE_READ_QUADLET_REQUEST || tcode == TCODE_READ_BLOCK_REQUEST;
}

// A lock request carries an argument and a value, its answer the old value; these two carry a value alone.
bool HasOneOperand(std::uint32_t tcode) {
    return tcode == TCODE_LOCK_FETCH_ADD || tcode == TCODE_LOCK_LITTLE_ADD;
}

std::uint32_t AnswerLength(const RequestEvent& request) {
    const std::uint32_t length = std::min(request.length, MAX_ANSWER);
    if (IsWrite(request.tcode))
        return 0;
    return IsRead(request.tcode) || HasOneOperand(request.tcode) ? length : length / 2;
}

bool Holds(const AddressRange& range, std::uint64_t address, std::uint64_t length) {
    return address >= range.address && length <= range.content.size() &&
           address - range.address <= range.content.size() - length;
}

} // namespace

std::uint32_t AddressRanges::Add(std::uint64_t address, std::uint32_t length) {
    AddressRange range{address, Bytes(length, 0), {}};
    do
        ++lastHandle_;
    while (lastHandle_ == 0 || ranges_.contains(lastHandle_));
    ranges_[lastHandle_] = std::move(range);
    return lastHandle_;
}

AddressRange* AddressRanges::Find(std::uint64_t handle) {
    const auto found = ranges_.find(static_cast<std::uint32_t>(handle));
    return found == ranges_.end() || found->first != handle ? nullptr : &found->second;
}

Answer Refuse(const RequestEvent& request, std::uint32_t rcode) {
    return {rcode, Bytes(AnswerLength(request), 0), false};
}

Answer AddressRanges::Take(const RequestEvent& request) {
    AddressRange* range = Find(request.closure);
    if (range == nullptr || !Holds(*range, request.offset, request.length))
        return Refuse(request, RCODE_ADDRESS_ERROR);
    const auto start = range->content.begin() + static_cast<std::ptrdiff_t>(request.offset - range->address);
    if (IsRead(request.tcode)) {
        const std::uint32_t length = AnswerLength(request);
        return {RCODE_COMPLETE, Bytes(start, start + length), false};
    }
    if (!IsWrite(request.tcode))
        return Refuse(request, RCODE_TYPE_ERROR);
    if (request.data.size() != request.length)
        return Refuse(request, RCODE_DATA_ERROR);
    std::ranges::copy(request.data, start);
    return {RCODE_COMPLETE, {}, true};
}

} // namespace kernel_bus
