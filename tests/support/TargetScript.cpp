#include "TargetScript.h"

#include <algorithm>

namespace testing_support {

namespace {

constexpr std::uint64_t REQUEST = 0xFFFFC8021000;

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
    if (request[6] == SET_DEBUG_GUID)
        debugGuid.assign(request.begin() + 8, request.end());
    return request[6] == GET_DEBUG_GUID ? Reply{debugGuid} : Reply{};
}

std::int32_t ScriptedTarget::Write(std::uint64_t address, const ByteArray& bytes) {
    if (address != REQUEST)
        return 1;
    const Reply answer = Answer(bytes);
    const auto quadlets = static_cast<int>(answer.operands.size() / 4);
    response_ = std::exchange(next_, ByteArray(40));
    CopyTo(next_.data(), 7, bytes);
    next_[0] = static_cast<std::uint8_t>(next_[0] + answer.versionOffset);
    next_[4] = static_cast<std::uint8_t>(next_[4] + answer.idOffset);
    next_[6] = static_cast<std::uint8_t>(next_[6] + answer.codeOffset);
    next_[7] = static_cast<std::uint8_t>(answer.count < 0 ? quadlets : answer.count);
    CopyTo(&next_[8], 32, answer.operands);
    latePolls_ = answer.latePolls;
    readResult_ = answer.readResult;
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
    if (address == 0xFFFFC8029040)
        CopyTo(data, size, responseBuffer);
    if (address == 0xFFFFC8020000)
        CopyTo(data, size, info);
    if (address == 0xFFFFC8010000)
        CopyTo(data, size, debuggerAnswer);
    return 1;
}

TargetsTest::TargetsTest() {
    library.read = [this](std::uint32_t node, std::uint64_t address, std::uint8_t* data, std::size_t size) {
        clock.Sleep(100'000); // no answer comes at once
        return targets.at(node).Read(address, data, size);
    };
    library.write = [this](std::uint32_t node, std::uint64_t address, const ByteArray& bytes) {
        if (address == REQUEST) {
            requests.emplace_back(node, bytes);
            if (onRequest)
                onRequest();
        }
        return node == 63 ? 1 : targets.at(node).Write(address, bytes);
    };
    basBootloader::globals = {};
    basBootloader::InitializeTargetList();
}

TargetsTest::~TargetsTest() {
    basBootloader::TerminateTargetList();
    basBootloader::globals = {};
}

void TargetsTest::Nodes(std::size_t count) {
    auto& table = bas1394::globals.DeviceTable;
    table.assign(count + 1, Device{});
    for (std::size_t i = 0; i <= count; ++i) {
        MakePresent(table[i], static_cast<std::int16_t>(i));
        table[i].ConfigRom.RawData = Bytes("04 04 00 00");
    }
    bas1394::globals.LocalHostNode = static_cast<std::uint8_t>(count);
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
