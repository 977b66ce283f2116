#include "CodePage.h"
#include "basBootloader.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr std::int32_t IDENTITY_BYTES = 12;
constexpr std::int32_t DEFAULT_TIMEOUT = -1;
constexpr std::int32_t DEBUGGER_TIMEOUT = 1000; // ms
constexpr bas1394::Address1394 DEBUG_PROBE{0xFFFF, 0xC8000000}, DEBUG_ANSWER{0xFFFF, 0xC8010000};

std::int32_t ReadRegisters(const Device& device, std::int32_t count, std::int32_t level, ByteArray& bytes) {
    const std::int32_t result =
        bas1394::AsyncReadWrapperVB(device, globals.RegisterBase, count, false, DEFAULT_TIMEOUT, bytes);
    if (result == bas1394::RESULT_BUS_RESET)
        StatusDisplay(level, "bas1394.AsyncReadWrapper failed in ReadInfoRegisters (DLL indicates that a bus reset "
                             "interrupted the transaction)");
    else if (result != SUCCESS)
        StatusDisplay(
            level,
            "bas1394.AsyncReadWrapper failed in ReadInfoRegisters, code {}  params: NodeNum={} addr={} numbytes={}",
            result, device.NodeNum, bas1394::AddressText(globals.RegisterBase), count);
    return result;
}

void ShowIdentity(const Device& device, const BootloaderInfoRegisters& info) {
    if (!StatusWanted(LEVEL_USER))
        return;
    const std::string version =
        info.ApplicationVersion == PRIVATE_BUILD ? " <private build> " : fmt::format(".{} ", info.ApplicationVersion);
    StatusDisplay(LEVEL_USER, "Node #{}: bootloader version={}, hardware version={}.{}, software version={}{}{}",
                  device.NodeNum, info.BootloaderVersion, info.HardwareModelID, info.HardwareVersion,
                  info.ApplicationID, version, FormatDateTime(info.ApplicationDate, info.ApplicationTime));
}

std::int32_t ReadInfoRegistersOnce(const Device& device, BootloaderInfoRegisters& info) {
    ByteArray bytes;
    std::int32_t result = ReadRegisters(device, IDENTITY_BYTES, LEVEL_WARNING, bytes);
    if (result != SUCCESS)
        return result;
    std::copy_n(bytes.begin(), info.MakerID.size(), info.MakerID.begin());
    info.ProtocolVersion = basUtils::ByteArrayToLong(bytes, 8);
    if (!VerifyCompatibility(info)) {
        StatusDisplay(LEVEL_TRACE, "ReadInfoRegisters failed: VerifyCompatibility failed.");
        return FAILED;
    }
    const bool bigEndian = info.ProtocolVersion == BIG_ENDIAN_PROTOCOL;
    if (bigEndian)
        StatusDisplay(LEVEL_WARNING, "ReadInfoRegisters: Protocol version 2 is implemented as BigEndian");
    if (info.ProtocolVersion == 3)
        StatusDisplay(LEVEL_WATCH, "The protocol version is {}", info.ProtocolVersion);
    result = ReadRegisters(device, INFO_BYTES, LEVEL_TRACE, bytes);
    if (result != SUCCESS)
        return result;
    info = DecodeInfoRegisters(bytes, bigEndian);
    ShowIdentity(device, info);
    return SUCCESS;
}

// Byte 2 differs from debugger to debugger.
bool IsDebuggerAnswer(const ByteArray& bytes) {
    return bytes[0] == 1 && bytes[1] == 1 && bytes[3] == 0 && bytes[4] == 0x80 && bytes[5] == 0x80 && bytes[6] == 1 &&
           bytes[7] == 0;
}

bool DebuggerAnswers(const Device& device, std::int32_t timeOutMs) {
    const std::int64_t startCount = platform::QueryPerformanceCounter();
    ByteArray probe{0x01, 0x01, 0x00, 0x00, 0x80, 0x80, 0x01, 0x00};
    const std::int32_t written = bas1394::AsyncWriteWrapperVB(device, DEBUG_PROBE, false, DEFAULT_TIMEOUT, probe);
    if (written != SUCCESS) {
        StatusDisplay(LEVEL_TRACE, "CheckForDebugSupport failed: AsyncWriteWrapper failed, code {}", written);
        return false;
    }
    do {
        ByteArray answer;
        if (bas1394::AsyncReadWrapperVB(device, DEBUG_ANSWER, 8, false, DEFAULT_TIMEOUT, answer) == SUCCESS &&
            IsDebuggerAnswer(answer))
            return true;
    } while (basApp::ElapsedMilliseconds(startCount) < static_cast<float>(timeOutMs));
    return false;
}

// Takes one field after the other out of the 104 bytes.
class RegisterReader {
public:
    RegisterReader(const ByteArray& bytes, bool bigEndian) : bytes_(bytes), bigEndian_(bigEndian) {}
    void operator()(std::int32_t& quadlet) {
        quadlet = basUtils::ByteArrayToLong(bytes_, offset_, {}, bigEndian_);
        offset_ += 4;
    }
    void operator()(std::array<std::uint8_t, 8>& raw) {
        std::copy_n(bytes_.begin() + offset_, raw.size(), raw.begin());
        offset_ += 8;
    }

private:
    const ByteArray& bytes_;
    bool bigEndian_;
    std::int32_t offset_ = 0;
};

} // namespace

BootloaderInfoRegisters DecodeInfoRegisters(const ByteArray& bytes, bool bigEndian) {
    if (bytes.size() < INFO_BYTES)
        platform::Raise(platform::INDEX_OUT_OF_RANGE, "Subscript out of range", "basBootloader");
    BootloaderInfoRegisters info;
    RegisterReader take(bytes, bigEndian);
    take(info.MakerID);
    take(info.ProtocolVersion);
    take(info.BootloaderVersion);
    take(info.GUID);
    take(info.HardwareModelID);
    take(info.HardwareVersion);
    take(info.ApplicationDate);
    take(info.ApplicationTime);
    take(info.ApplicationID);
    take(info.ApplicationVersion);
    take(info.Reserved1);
    take(info.Reserved2);
    take(info.BootloaderDate);
    take(info.BootloaderTime);
    take(info.DebuggerDate);
    take(info.DebuggerTime);
    take(info.DebuggerID);
    take(info.DebuggerVersion);
    // The version gives the byte order of the rest, so it is itself little-endian on every target.
    info.ProtocolVersion = basUtils::ByteArrayToLong(bytes, 8);
    if (!bigEndian) { // two little-endian quadlets; in memory the most significant byte comes first
        std::reverse(info.GUID.begin(), info.GUID.begin() + 4);
        std::reverse(info.GUID.begin() + 4, info.GUID.end());
    }
    return info;
}

std::int32_t ReadInfoRegisters(const Device& device, BootloaderInfoRegisters& info) {
    const std::int32_t result = ReadInfoRegistersOnce(device, info);
    if (result == TWL1394_NODE_DID_NOT_RESPOND || result == bas1394::RESULT_BUS_RESET)
        return ReadInfoRegistersOnce(device, info);
    return result;
}

bool VerifyCompatibility(const BootloaderInfoRegisters& info) {
    const std::string maker = platform::TextFromAnsi(info.MakerID.data(), info.MakerID.size());
    if (platform::LowerCase(platform::Trim(maker)) != "tarnwell") {
        StatusDisplay(LEVEL_TRACE,
                      "VerifyCompatibility: Tarnwell IDs do not match, Tarnwell ID asc('tarnWell'), device returned "
                      "{{{}}}",
                      basUtils::ByteArrayToHexString(info.MakerID.data(), info.MakerID.size()));
        return false;
    }
    switch (info.ProtocolVersion) {
    case 1:
    case 2:
    case 3:
        return true;
    case BIG_ENDIAN_PROTOCOL:
        StatusDisplay(LEVEL_WARNING, "VerifyCompatibility: Protocol Version 2 is implemented as Big Endian");
        return true;
    default:
        StatusDisplay(LEVEL_TRACE, "VerifyCompatibility: invalid protocol version: (app={}, {}, target={})", 1, 2,
                      info.ProtocolVersion);
        return false;
    }
}

bool CheckForDebugSupport(const Device& device, std::int32_t timeOutMs) {
    return platform::ResultOf([&] { return DebuggerAnswers(device, timeOutMs) ? SUCCESS : FAILED; },
                              LogFailure("CheckForDebugSupport")) == SUCCESS;
}

// Unlike a bootloader, a debugger has a minimal config ROM.
bool CheckForDebugger(const Device& device) {
    if (!basConfigRom::ConfigRomIsMinimal(device.ConfigRom) || !CheckForDebugSupport(device, DEBUGGER_TIMEOUT))
        return false;
    if (globals.DebuggerList.front().NodeNum == NO_NODE)
        globals.DebuggerList.front() = device;
    else
        globals.DebuggerList.push_back(device);
    StatusDisplay(LEVEL_USER, "Debugger is running on node #{}", device.NodeNum);
    return true;
}

} // namespace basBootloader
