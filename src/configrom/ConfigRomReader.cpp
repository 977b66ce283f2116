// Blocks of a ROM, and its bus info block.
#include "RomFormat.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <algorithm>

namespace basConfigRom {

namespace {

constexpr std::uint32_t HEADER_MASK_ROM = 0xFF000000;
constexpr std::int32_t NULL_HEADER = -21;
constexpr int BUS_INFO_ATTEMPTS = 3;
constexpr std::size_t BUS_INFO_SIZE = 20; // header and four quadlets

void DecodeBusInfoBlock(ConfigRomRecord& rom) {
    const ByteArray& raw = rom.RawData;
    rom.info_len = raw[0];
    rom.crc_len = raw[1];
    rom.crc = basUtils::ByteArrayToLong(raw, 2, 3, true);
    rom.IRMC = (raw[8] & 0x80) != 0;
    rom.CMC = (raw[8] & 0x40) != 0;
    rom.ISC = (raw[8] & 0x20) != 0;
    rom.BMC = (raw[8] & 0x10) != 0;
    rom.PMC = (raw[8] & 0x08) != 0;
    rom.ADJ = (raw[8] & 0x04) != 0;
    rom.CycClkAcc = raw[9];
    rom.MaxRec = raw[10] >> 4;
    rom.MaxRom = raw[10] & 0x03;
    rom.Generation = raw[11] >> 4;
    rom.LinkSpd = raw[11] & 0x07;
    rom.NodeVendorID = basUtils::ByteArrayToLong(raw, 12, 14, true);
    rom.ChipIDHi = raw[15];
    rom.ChipIdLow = basUtils::ByteArrayToLong(raw, 16, 19, true);
    std::copy_n(raw.begin() + 12, rom.GUID.size(), rom.GUID.begin());
}

} // namespace

bool StatusDisplayWanted(std::int32_t level) {
    if (!basApp::CurrentFrontEnd().IsOpen())
        return false;
    return level != LEVEL_WARNING || !basApp::globals.DownloadInProgress;
}

std::uint32_t Quadlet(const ByteArray& bytes, std::size_t at) {
    return static_cast<std::uint32_t>(basUtils::ByteArrayToLong(bytes, std::int32_t(at), std::int32_t(at + 3), true));
}

std::int32_t GetConfigRomEntry(QuadletSource& source, std::int32_t address, std::uint32_t lengthMask, ByteArray& data,
                               const std::string& logTrail) {
    const std::string trail = Deeper(logTrail);
    if (!source.Exists()) {
        StatusDisplay(trail, LEVEL_ERROR, "GetConfigRomEntry: invalid node index: {}.  Exiting abnomally.",
                      source.NodeIndex());
        return -1;
    }
    const auto at = static_cast<std::uint32_t>(address);
    ByteArray header;
    std::int32_t code = source.Read(at, 4, header);
    if (code != READ_SUCCESS) {
        StatusDisplay(trail, LEVEL_TRACE,
                      "Could not read config rom data at address 0xFFFF{:X} node {}, code {}(0x{:X})!", at,
                      source.NodeNumber(), code, Bits(code));
        return code;
    }
    const std::uint32_t quadlet = Quadlet(header, 0);
    if (quadlet == 0) {
        StatusDisplay(trail, LEVEL_TRACE,
                      "Null header quadlet at the base of the config rom entry, node {}, address 0xFFFF{:X}.",
                      source.NodeNumber(), at);
        return NULL_HEADER;
    }
    const std::uint32_t length = basUtils::ExtractBitField(quadlet, lengthMask);
    if (length < 1) {
        StatusDisplay(trail, LEVEL_WARNING, "0 length of config rom entry header, node {}, address 0xFFFF{:X}!",
                      source.NodeNumber(), at);
        return -1;
    }
    if (length > MAX_BLOCK_QUADLETS) {
        StatusDisplay(trail, LEVEL_WARNING,
                      "Invalid length ({}) indicated in header of config rom entry, node {}, address 0xFFFF{:X}!",
                      length, source.NodeNumber(), at);
        return -1;
    }
    if (header[0] == 1 && at == ROM_BASE) {
        data = header;
        data.push_back(0); // a minimal ROM is this one quadlet
        return 1;
    }
    ByteArray rest;
    code = source.Read(at + 4, static_cast<std::int32_t>(4 * length), rest);
    if (code != READ_SUCCESS) {
        StatusDisplay(trail, LEVEL_WATCH,
                      "GetConfigRomEntry: second call to AsyncReadWrapper returned code {}(0x{:X}) node {}", code,
                      Bits(code), source.NodeNumber());
        return code;
    }
    data = header;
    data.insert(data.end(), rest.begin(), rest.end());
    return 1;
}

std::int32_t GetFormattedConfigRomBusInfoBlock(QuadletSource& source, ConfigRomRecord& rom,
                                               const std::string& logTrail) {
    const std::string trail = Deeper(logTrail);
    StatusDisplay(trail, LEVEL_DETAIL,
                  "GetFormattedConfigRomBusInfoBlock: getting bus info block for node index #{}...",
                  source.NodeIndex());
    rom.Address = static_cast<std::int32_t>(ROM_BASE);
    rom.RawData.assign(1, 0);
    std::int32_t code = READ_BUS_RESET;
    for (int attempt = 0; attempt < BUS_INFO_ATTEMPTS && code == READ_BUS_RESET; ++attempt)
        code = GetConfigRomEntry(source, rom.Address, HEADER_MASK_ROM, rom.RawData, trail);
    if (code != READ_SUCCESS) {
        StatusDisplay(trail, LEVEL_TRACE,
                      "GetFormattedConfigRomBusInfoBlock failed: call to GetConfigRomEntry (node index #{}) failed, "
                      "code {}",
                      source.NodeIndex(), code);
        return -1;
    }
    if (rom.RawData.size() >= BUS_INFO_SIZE) {
        DecodeBusInfoBlock(rom);
        return 1;
    }
    if (rom.RawData.size() < 3) {
        StatusDisplay(trail, LEVEL_WARNING,
                      "GetFormattedConfigRomBusInfoBlock warning: only {} bytes of data returned from call to get bus "
                      "info block in bas1394.GetFormattedConfigRomBusInfoBlock.  EXITING ABNORMALLY.",
                      rom.RawData.size());
        return -1;
    }
    if (rom.RawData[0] == 1) {
        StatusDisplay(trail, LEVEL_TRACE, "Minimal config rom on Node index #{}", source.NodeIndex());
        return 1;
    }
    StatusDisplay(trail, LEVEL_WARNING,
                  "GetFormattedConfigRomBusInfoBlock warning: only {} bytes of data returned from call to get bus info "
                  "block in bas1394.GetFormattedConfigRomBusInfoBlock (node index #{}.  EXITING ABNORMALLY.",
                  rom.RawData.size(), source.NodeIndex());
    return -1;
}

std::int32_t GetFormattedConfigRom(QuadletSource& source, ConfigRomRecord& rom, const std::string& logTrail) {
    const std::string trail = Deeper(logTrail);
    std::int32_t result = -1;
    platform::ResumeNext next(LogFailure("bas1394.GetConfigRomDirectory", trail));
    StatusDisplay(trail, LEVEL_DETAIL, "GetFormattedConfigRom: Re-dimensioning config ROM arrays for node index #{}...",
                  source.NodeIndex());
    rom.Directories.assign(1, {});
    rom.RawData.assign(1, 0);
    StatusDisplay(trail, LEVEL_DETAIL,
                  "GetFormattedConfigRom: Config ROM arrays for node index #{} are re-dimensioned.",
                  source.NodeIndex());
    next([&] {
        if (GetFormattedConfigRomBusInfoBlock(source, rom, trail) != 1) {
            StatusDisplay(trail, LEVEL_TRACE,
                          "GetFormattedConfigRom: failed to read BusInfoBlock (nodeindex #{}) in "
                          "bas1394.GetFomattedConfigRom.",
                          source.NodeIndex());
            return;
        }
        rom.Directories.front().Address = rom.Address + 4 * rom.info_len + 4;
        if (rom.RawData[0] == 1)
            return; // a minimal ROM has no directory
        const std::int32_t code = GetConfigRomDirectory(source, rom.Directories.front().Address, 0, rom, trail);
        result = code == 1 ? 1 : NO_ROOT_DIRECTORY;
    });
    return result;
}

} // namespace basConfigRom
