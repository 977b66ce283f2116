#include "TargetScript.h"

#include "LibraryCalls.h"

#include <algorithm>

namespace testing_support {

namespace {

constexpr std::uint64_t REQUEST = 0xFFFFC8021000;

ScriptedBus* currentBus = nullptr;

std::uint64_t Offset(const Twl1394Address* address) {
    return std::uint64_t{address->AddressHigh} << 32 | address->AddressLow;
}

std::int32_t Read(std::uint32_t node, const Twl1394Address* address, std::uint32_t size, std::uint8_t* data,
                  std::uint32_t) {
    platform::CurrentClock().Sleep(100'000); // no answer comes at once
    currentBus->calls.push_back({'R', node, Offset(address), ByteArray(size)});
    return currentBus->targets.at(node).Read(Offset(address), data, size);
}

std::int32_t Write(std::uint32_t node, const Twl1394Address* address, std::uint32_t size, const std::uint8_t* data,
                   std::uint32_t) {
    const ByteArray bytes(data, data + size);
    currentBus->calls.push_back({'W', node, Offset(address), bytes});
    if (currentBus->onRequest && Offset(address) == REQUEST)
        currentBus->onRequest();
    return node == 63 ? 1 : currentBus->targets.at(node).Write(Offset(address), bytes);
}

ByteArray Quadlets(std::initializer_list<std::int32_t> values) {
    ByteArray bytes(values.size() * 4);
    for (std::size_t i = 0; i < values.size(); ++i)
        basUtils::LongToByteArray(values.begin()[i], bytes, static_cast<std::int32_t>(i) * 4);
    return bytes;
}

void CopyTo(std::uint8_t* data, std::size_t size, const ByteArray& bytes) {
    std::copy_n(bytes.begin(), std::min(size, bytes.size()), data);
}

} // namespace

ByteArray Bytes(const char* hex) {
    ByteArray bytes;
    if (*hex)
        basUtils::HexString2Ascii(hex, bytes);
    return bytes;
}

void Put(ByteArray& bytes, std::size_t offset, const char* hex) {
    const ByteArray value = Bytes(hex);
    CopyTo(&bytes[offset], value.size(), value);
}

ByteArray InfoBytes(std::int32_t version, const char* guid) {
    ByteArray bytes(104), turned = Bytes(guid);
    basUtils::StringToBytes(bytes, 0, "Tarnwell");
    basUtils::LongToByteArray(version, bytes, 8);
    basUtils::LongToByteArray(0x101, bytes, 12);
    basUtils::ChangeEndian(turned);
    CopyTo(&bytes[16], 8, turned);
    Put(bytes, 24, "11 00 00 00  00 00 00 01");
    basUtils::StringToBytes(bytes, 32, "20020831152503zz");
    Put(bytes, 48, "34 12 00 00  04 03 02 01");
    return bytes;
}

Reply ScriptedTarget::Answer(const ByteArray& request) {
    if (reply)
        return *reply;
    switch (request[6]) {
    case 4:
        announced = request;
        return {.operands = Quadlets({maxBlockSize})};
    case 5: {
        const auto address = static_cast<std::uint32_t>(basUtils::ByteArrayToLong(request, 12));
        const std::int32_t size = basUtils::ByteArrayToLong(request, 16);
        blocks.push_back(fmt::format("{} {:X} {}", request[8], address, size));
        statuses.push_back(0);
        const std::int32_t status = statuses.front();
        statuses.pop_front();
        if (status == 0)
            flash.insert(flash.end(), requestBuffer_.begin(), requestBuffer_.begin() + size);
        return {.operands = Quadlets({request[8], status})};
    }
    case 6:
        ++ends;
        return endAnswered ? Reply{.operands = Quadlets({crc, crcValidity})} : Reply{.readResult = 121};
    case 14:
        debugGuid.assign(request.begin() + 8, request.end());
        return {};
    case 15:
        return {.operands = debugGuid};
    default:
        return {};
    }
}

std::int32_t ScriptedTarget::Write(std::uint64_t address, const ByteArray& bytes) {
    if (address == 0xFFFFC8021040)
        requestBuffer_ = bytes;
    if (address != REQUEST)
        return 1;
    const Reply told = Answer(bytes);
    const auto quadlets = static_cast<int>(told.operands.size() / 4);
    response_ = std::exchange(next_, ByteArray(40));
    CopyTo(next_.data(), 7, bytes);
    next_[0] = static_cast<std::uint8_t>(next_[0] + told.versionOffset);
    next_[4] = static_cast<std::uint8_t>(next_[4] + told.idOffset);
    next_[6] = static_cast<std::uint8_t>(next_[6] + told.codeOffset);
    next_[7] = static_cast<std::uint8_t>(told.count < 0 ? quadlets : told.count);
    CopyTo(&next_[8], 32, told.operands);
    latePolls_ = told.latePolls;
    readResult_ = told.readResult;
    return 1;
}

std::int32_t ScriptedTarget::Read(std::uint64_t address, std::uint8_t* data, std::size_t size) {
    if (failingReads > 0) {
        --failingReads;
        return failureCode;
    }
    if (address == 0xFFFFC8029000 && readResult_ != 1)
        return readResult_;
    if (address == 0xFFFFC8029000)
        CopyTo(data, size, latePolls_-- > 0 ? response_ : next_);
    if (address == 0xFFFFC8020000)
        CopyTo(data, size, info);
    if (address == 0xFFFFC8010000)
        CopyTo(data, size, debuggerAnswer);
    return 1;
}

ByteArray ScriptedBus::LastRequest() const {
    ByteArray last;
    for (const Call& call : calls)
        if (call.address == REQUEST)
            last = call.bytes;
    return last;
}

std::vector<int> ScriptedBus::Requests(std::uint32_t node) const {
    std::vector<int> codes;
    for (const Call& call : calls)
        if (call.node == node && call.address == REQUEST)
            codes.push_back(call.bytes[6]);
    return codes;
}

std::string ScriptedBus::Trace() const {
    std::string text;
    for (const Call& call : calls)
        text += fmt::format("{}{} {:X} {}|", call.kind, call.node, call.address,
                            call.kind == 'W' ? basUtils::ByteArrayToHexString(call.bytes, 4)
                                             : fmt::to_string(call.bytes.size()));
    return text;
}

BareBus::BareBus() {
    bas1394::globals = {};
    basBootloader::globals = {};
    currentBus = &bus;
    bas1394::library::Operations operations{};
    operations.InterfaceVersion = [] { return TWL1394_INTERFACE_VERSION; };
    operations.AsyncReadWrapper = Read;
    operations.AsyncWriteWrapper = Write;
    operations.AllocateAddressRange = [](auto, auto, Twl1394AddressRange* range, auto) {
        range->RangeHandle = 1;
        return std::int32_t{0};
    };
    operations.QueryElapsedTimeMsLongInt = [](const std::int64_t* counter) {
        return static_cast<std::uint32_t>((platform::QueryPerformanceCounter() - *counter) / 1'000'000);
    };
    std::string reason;
    bas1394::library::BindTo(operations, reason);
    basApp::hooks.queryElapsedTimeMs = bas1394::QueryElapsedTimeMs;
    basBootloader::InitializeTargetList();
}

void BareBus::Nodes(std::size_t count) {
    auto& table = bas1394::globals.DeviceTable;
    table.assign(count + 1, Device{});
    for (std::size_t i = 0; i <= count; ++i) {
        table[i].Driver = "vdev";
        table[i].NodeNum = static_cast<std::int16_t>(i);
        table[i].SelfId.LinkActive = 1;
        table[i].ConfigRom.RawData = Bytes("04 04 00 00");
    }
    bas1394::globals.LocalHostNode = static_cast<std::uint8_t>(count);
}

bool BareBus::Logged(const std::string& text) const {
    return text.empty() ||
           std::ranges::any_of(log, [&](const std::string& line) { return line.find(text) != line.npos; });
}

OneTarget::OneTarget() {
    Nodes(1);
    record().Device = bas1394::globals.DeviceTable[0];
    record().Handle = HANDLE;
    record().Info = basBootloader::DecodeInfoRegisters(target.info, false);
    basBootloader::globals.NextHandle = HANDLE + 1;
    target.reply = Reply{};
}

} // namespace testing_support
