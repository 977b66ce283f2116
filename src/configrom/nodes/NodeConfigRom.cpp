#include "NodeConfigRom.h"

#include "bas1394.h"

#include <algorithm>

namespace basConfigRom {

namespace {

static_assert(READ_SUCCESS == bas1394::RESULT_SUCCESS && READ_BUS_RESET == bas1394::RESULT_BUS_RESET &&
              READ_ADDRESS_ERROR == TWL1394_ADDRESS_ERROR && READ_TIMED_OUT == TWL1394_TIMED_OUT);

constexpr std::uint16_t ROM_HIGH = 0xFFFF;

bool InNodeTable(std::int32_t nodeIndex) {
    return nodeIndex >= 0 && static_cast<std::size_t>(nodeIndex) < bas1394::globals.DeviceTable.size();
}

// What the bus access needs of the node's record. A copy: the record itself is being filled.
Device BusAccessTo(std::int32_t nodeIndex) {
    Device access;
    if (InNodeTable(nodeIndex)) {
        const Device& device = bas1394::globals.DeviceTable[static_cast<std::size_t>(nodeIndex)];
        access.Driver = device.Driver;
        access.NodeNum = device.NodeNum;
        access.SelfId = device.SelfId;
    }
    return access;
}

class NodeQuadlets : public QuadletSource {
public:
    explicit NodeQuadlets(std::int32_t nodeIndex) : NodeQuadlets(nodeIndex, BusAccessTo(nodeIndex)) {}
    [[nodiscard]] bool Exists() const override { return InNodeTable(NodeIndex()); }
    [[nodiscard]] std::int32_t Read(std::uint32_t address, std::int32_t size, ByteArray& bytes) override {
        return bas1394::AsyncReadWrapperVB(access_, {ROM_HIGH, address}, size, true,
                                           basApp::globals.CurrentTransactionTimeout, bytes);
    }

private:
    NodeQuadlets(std::int32_t nodeIndex, Device access)
        : QuadletSource(nodeIndex, access.NodeNum), access_(std::move(access)) {}

    const Device access_;
};

} // namespace

std::int32_t GetFormattedConfigRom(std::int32_t nodeIndex, ConfigRomRecord& rom, const std::string& logTrail) {
    NodeQuadlets node(nodeIndex);
    return GetFormattedConfigRom(node, rom, logTrail);
}

std::int32_t GetFormattedConfigRomBusInfoBlock(std::int32_t nodeIndex, ConfigRomRecord& rom,
                                               const std::string& logTrail) {
    NodeQuadlets node(nodeIndex);
    return GetFormattedConfigRomBusInfoBlock(node, rom, logTrail);
}

std::int32_t GetConfigRomDirectory(std::int32_t nodeIndex, std::int32_t directoryAddress, std::int32_t directoryIndex,
                                   ConfigRomRecord& rom, const std::string& logTrail) {
    NodeQuadlets node(nodeIndex);
    return GetConfigRomDirectory(node, directoryAddress, directoryIndex, rom, logTrail);
}

std::int32_t GetConfigRomEntry(std::int32_t nodeIndex, std::int32_t address, std::uint32_t lengthMask, ByteArray& data,
                               const std::string& logTrail) {
    NodeQuadlets node(nodeIndex);
    return GetConfigRomEntry(node, address, lengthMask, data, logTrail);
}

void GetConfigRomLeaf(const std::string& logTrail, std::int32_t nodeIndex, std::int32_t leafAddress,
                      const ConfigRomEntry& entry, ConfigRomLeaf& leaf) {
    NodeQuadlets node(nodeIndex);
    GetConfigRomLeaf(logTrail, node, leafAddress, entry, leaf);
}

RomImage ImageOf(const Device& node) {
    constexpr std::size_t RESERVED = 256; // quadlets
    RomImage image = ImageOf(node.ConfigRom);
    for (std::size_t at = 0; at < std::min(image.Known.size(), RESERVED); ++at) {
        if (image.Known[at])
            continue;
        ByteArray quadlet;
        const bas1394::Address1394 address{ROM_HIGH, ROM_BASE + 4 * static_cast<std::uint32_t>(at)};
        const std::int32_t code =
            bas1394::AsyncReadWrapperVB(node, address, 4, true, basApp::globals.CurrentTransactionTimeout, quadlet);
        if (code == READ_BUS_RESET)
            break;
        image.Known[at] = code == READ_SUCCESS;
        if (image.Known[at])
            std::ranges::copy(quadlet, image.Bytes.begin() + std::ptrdiff_t(4 * at));
    }
    return image;
}

std::string GetHardwareVersion(const ConfigRomRecord& rom) {
    return bas1394::globals.BusEnumerated ? HardwareVersionText(rom) : std::string();
}

} // namespace basConfigRom
