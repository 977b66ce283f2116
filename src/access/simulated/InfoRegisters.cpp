#include "InfoRegisters.h"
#include "MemoryMap.h"

#include <algorithm>

namespace simulator {

static constexpr std::size_t SIZE = 104;

bool InfoRegisters::Covers(std::uint64_t address, std::size_t size) const {
    return Inside(address, size, INFO_REGISTERS, SIZE);
}

std::int32_t InfoRegisters::Read(std::uint64_t address, ByteSpan data) {
    const Bytes content = Content();
    std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(address - INFO_REGISTERS), data.size(), data.begin());
    return TWL1394_SUCCESS;
}

Bytes InfoRegisters::Content() const {
    const bool bigEndian = description_.protocol == PROTOCOL_BIG_ENDIAN;
    const ByteOrder order = bigEndian ? ByteOrder::Big : ByteOrder::Little;
    const ImageIdentity& application = state_.sections[APPLICATION].identity;
    const ImageIdentity& bootloader = state_.sections[BOOTLOADER].identity;
    const ImageIdentity& debugger = state_.sections[DEBUGGER].identity;

    Bytes content;
    const auto raw = [&content](const EightBytes& bytes) { content.insert(content.end(), bytes.begin(), bytes.end()); };
    const auto quadlet = [&content, order](std::uint32_t value) { Append32(content, value, order); };

    raw(ToEightBytes("tarnwell", ' '));
    Append32(content, description_.protocol, ByteOrder::Little); // 0x2000000 is a big-endian 2
    quadlet(state_.inBootloader ? bootloader.version : 0);       // no bootloader while the application runs
    raw(bigEndian ? state_.guid : TurnQuadlets(state_.guid));
    quadlet(description_.hardwareModelId);
    quadlet(description_.hardwareVersion);
    raw(application.date);
    raw(application.time);
    quadlet(application.id);
    quadlet(application.version);
    quadlet(0);
    quadlet(0);
    raw(bootloader.date);
    raw(bootloader.time);
    raw(debugger.date);
    raw(debugger.time);
    quadlet(debugger.id);
    quadlet(debugger.version);
    return content;
}

} // namespace simulator
