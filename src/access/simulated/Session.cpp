#include "Session.h"

#include <algorithm>

namespace simulator {

static constexpr std::size_t HEADER_SIZE = 8;

static Request DecodeRequest(ByteView data) {
    return {Get32(data, 0, ByteOrder::Little), Get16(data, 4, ByteOrder::Little), data[6], data[7],
            data.subspan(HEADER_SIZE)};
}

bool Session::Covers(std::uint64_t address, std::size_t size) const {
    return Inside(address, size, REQUEST_AREA, AREA_SIZE) || Inside(address, size, RESPONSE_AREA, AREA_SIZE);
}

std::int32_t Session::Read(std::uint64_t address, ByteSpan data) {
    if (address < RESPONSE_AREA)
        return TWL1394_ADDRESS_ERROR;
    PublishDueAnswer();
    std::copy_n(response_.begin() + static_cast<std::ptrdiff_t>(address - RESPONSE_AREA), data.size(), data.begin());
    return TWL1394_SUCCESS;
}

std::int32_t Session::Write(std::uint64_t address, ByteView data) {
    if (address >= RESPONSE_AREA)
        return TWL1394_ADDRESS_ERROR;
    // Contiguous memory: a request with a long name continues in the Request Buffer.
    std::copy(data.begin(), data.end(), request_.begin() + static_cast<std::ptrdiff_t>(address - REQUEST_AREA));
    if (address == REQUEST_AREA && data.size() >= HEADER_SIZE)
        Execute(DecodeRequest(data));
    else if (address == REQUEST_AREA + QUADLETS_SIZE)
        hooks_.requestBufferWritten(data);
    return TWL1394_SUCCESS;
}

void Session::Broadcast(std::uint64_t address, ByteView data) {
    constexpr std::uint8_t halt = 1;
    if (address == REQUEST_AREA && data.size() >= HEADER_SIZE && DecodeRequest(data).code == halt)
        hooks_.execute(DecodeRequest(data));
}

void Session::Execute(const Request& request) {
    PublishDueAnswer();
    if (hooks_.now() < busyUntil_) {
        hooks_.ignoredWhileBusy(request);
        return;
    }
    const std::optional<Answer> answer = hooks_.execute(request);
    if (!answer)
        return;
    busyUntil_ = hooks_.now() + answer->workNanoseconds;
    Pending pending{{}, busyUntil_ + answerNanoseconds_};
    Put32(pending.quadlets, 0, request.version, ByteOrder::Little);
    Put16(pending.quadlets, 4, request.id, ByteOrder::Little);
    pending.quadlets[6] = request.code;
    pending.quadlets[7] = static_cast<std::uint8_t>(answer->operands.size() / 4);
    std::copy(answer->operands.begin(), answer->operands.end(), pending.quadlets.begin() + HEADER_SIZE);
    pending_ = pending;
    PublishDueAnswer();
}

void Session::PublishDueAnswer() {
    if (pending_ && hooks_.now() >= pending_->due) {
        std::copy(pending_->quadlets.begin(), pending_->quadlets.end(), response_.begin());
        pending_.reset();
    }
}

void Session::Clear() {
    request_.fill(0);
    response_.fill(0);
    pending_.reset();
    busyUntil_ = 0;
}

} // namespace simulator
