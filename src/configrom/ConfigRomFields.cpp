// The fields of the root directory's immediates, and new directories.
#include "basConfigRom.h"

namespace basConfigRom {

namespace {

struct RootKey {
    std::int32_t keyValue;
    std::int32_t ConfigRomRecord::*field;
};
constexpr RootKey ROOT_KEYS[] = {
    {0x03, &ConfigRomRecord::ModuleVendorId}, {0x04, &ConfigRomRecord::ModuleHwVersion},
    {0x05, &ConfigRomRecord::ModuleSpecId},   {0x06, &ConfigRomRecord::ModuleSwVersion},
    {0x08, &ConfigRomRecord::NodeVendorId},   {0x09, &ConfigRomRecord::NodeHwVersion},
    {0x0A, &ConfigRomRecord::NodeSpecId},     {0x0B, &ConfigRomRecord::NodeSwVersion},
    {0x17, &ConfigRomRecord::ModelId},
};
constexpr std::int32_t KEY_NODE_CAPABILITIES = 0x0C;

struct CapabilityBit {
    std::int32_t bit;
    bool NodeCapabilityFlags::*flag;
};
using Flags = NodeCapabilityFlags;
constexpr CapabilityBit CAPABILITY_BITS[] = {
    {0x8000, &Flags::SplitTimeout},
    {0x4000, &Flags::MessagePassing},
    {0x2000, &Flags::InterruptRegisters},
    {0x1000, &Flags::ArgumentRegisters},
    {0x0800, &Flags::TestRegisters},
    {0x0400, &Flags::PrivateSpace},
    {0x0200, &Flags::BitAddressing64},
    {0x0100, &Flags::FixedAddressing},
    {0x0080, &Flags::LostBit},
    {0x0040, &Flags::DisableRequest},
    {0x0010, &Flags::ErrorLogRegister},
    {0x0008, &Flags::AttentionBit},
    {0x0004, &Flags::OffBit},
    {0x0002, &Flags::DeadState},
    {0x0001, &Flags::InitializingState},
};

} // namespace

std::int32_t AddConfigRomDirectory(ConfigRomRecord& rom, std::int32_t parentIndex) {
    rom.Directories.emplace_back();
    const auto index = static_cast<std::int32_t>(rom.Directories.size()) - 1;
    rom.Directories.back().Parent = parentIndex;
    auto& children = rom.Directories[static_cast<std::size_t>(parentIndex)].Children;
    if (children.front() != 0)
        children.push_back(index);
    else
        children.front() = index;
    return 1;
}

std::int32_t StoreRootKeyValue(const ConfigRomEntry& entry, ConfigRomRecord& rom) {
    for (const RootKey& key : ROOT_KEYS)
        if (key.keyValue == entry.KeyValue) {
            rom.*key.field = entry.Data;
            return 1;
        }
    if (entry.KeyValue == KEY_NODE_CAPABILITIES) {
        for (const CapabilityBit& capability : CAPABILITY_BITS)
            rom.NodeCapabilities.*capability.flag = (entry.Data & capability.bit) != 0;
        return 1;
    }
    StatusDisplay("", LEVEL_WARNING, "Unrecognized KeyValue in GetFormattedConfigRom: {}", entry.KeyValue);
    return 1;
}

} // namespace basConfigRom
