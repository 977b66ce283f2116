#include "TwdPackage.h"

#include "BootloaderStatus.h"
#include "CodePage.h"
#include "Failure.h"
#include "basUtils.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr std::int32_t HEADER_SIZE = 352;
constexpr std::int32_t INFO_OFFSET = 0x60, INFO_SIZE = 256;
constexpr std::int64_t HEADER_READ_LIMIT = 1000, NO_LIMIT = 0;

template <std::size_t Size>
void CopyField(const ByteArray& data, std::int32_t offset, std::array<std::uint8_t, Size>& field) {
    std::copy_n(data.begin() + offset, Size, field.begin());
}

TwdSection DecodeSection(const ByteArray& data, std::int32_t offset) {
    using basUtils::ByteArrayToLong;
    return {ByteArrayToLong(data, offset), ByteArrayToLong(data, offset + 4), ByteArrayToLong(data, offset + 8),
            ByteArrayToLong(data, offset + 12)};
}

// A text ends at its first NUL; a field that begins with one is kept whole and shows as nothing.
std::string DecodeInfoText(const ByteArray& infoBytes) {
    const auto nul = std::find(infoBytes.begin(), infoBytes.end(), 0);
    const std::size_t length =
        nul == infoBytes.begin() ? infoBytes.size() : static_cast<std::size_t>(nul - infoBytes.begin());
    return platform::TextFromAnsi(infoBytes.data(), length);
}

void DecodeFields(const ByteArray& data, TwdHeader& header) {
    using basUtils::ByteArrayToLong;
    header.Reserved1 = ByteArrayToLong(data, 0x04);
    CopyField(data, 0x08, header.ImageDate);
    CopyField(data, 0x10, header.ImageTime);
    header.SoftwareID = ByteArrayToLong(data, 0x18);
    header.SoftwareVersion = ByteArrayToLong(data, 0x1C);
    header.HardwareID = ByteArrayToLong(data, 0x20);
    header.VendorID = ByteArrayToLong(data, 0x24);
    CopyField(data, 0x28, header.Reserved2);
    header.Reserved3 = ByteArrayToLong(data, 0x2C);
    header.Image1 = DecodeSection(data, 0x30);
    header.Image2 = DecodeSection(data, 0x40);
    header.Cne = DecodeSection(data, 0x50);
    header.InfoBytes.assign(data.begin() + INFO_OFFSET, data.begin() + INFO_OFFSET + INFO_SIZE);
    header.InfoText = DecodeInfoText(header.InfoBytes);
}

using Log = std::function<void(const std::string& text, std::int32_t level)>;

void LogOfModule(const std::string& text, std::int32_t level) {
    StatusDisplay(level, "{}", text);
}

auto LogFailure(const Log& log) {
    return [log](const platform::Failure& failure) {
        log(fmt::format("Error #{}: {} in LoadTWD", failure.Number, failure.Description), LEVEL_ERROR);
    };
}

bool ReadPackageFile(const platform::FileName& file, ByteArray& bytes, std::int64_t limit, const Log& log,
                     const basUtils::ReadProgress* progress = nullptr) {
    std::int32_t result = -1;
    platform::Attempt([&] { result = basUtils::ReadFileBytes(file.Typed, bytes, limit, progress); }, LogFailure(log));
    if (result == 1)
        return true;
    log(fmt::format("Load TWD error: failed to load file '{}' into memory.", file), LEVEL_ERROR);
    return false;
}

bool ReadAndParse(const platform::FileName& file, std::int64_t limit, TwdHeader& header, const Log& log,
                  const basUtils::ReadProgress* progress = nullptr) {
    ByteArray bytes;
    if (!ReadPackageFile(file, bytes, limit, log, progress))
        return false;
    ByteArrayToTwdStruct(std::move(bytes), header);
    if (IsTwdValid(header))
        return true;
    log(fmt::format("Load TWD error: Failed to validate file '{}'!", file), LEVEL_ERROR);
    return false;
}

} // namespace

void ByteArrayToTwdStruct(ByteArray data, TwdHeader& header) {
    header = {};
    const std::int64_t upperBound = static_cast<std::int64_t>(data.size()) - 1;
    if (upperBound < HEADER_SIZE) {
        StatusDisplay(LEVEL_ERROR,
                      "ERROR: not enough data passed into basBootloader.ByteArrayToTwdStruct!  ubound(bytData)={}!  "
                      "Exiting abnormally.",
                      upperBound);
        return;
    }
    platform::Attempt(
        [&] {
            header.Magic = basUtils::ByteArrayToLong(data, 0, {}, true);
            if (header.Magic != TwdMagic)
                return;
            DecodeFields(data, header);
            header.FileData = std::move(data);
        },
        LogFailure("ByteArrayToTwdStruct"));
}

bool IsTwdValid(const TwdHeader& header) {
    return header.Magic == TwdMagic;
}

void LoadTWDHeader(const platform::FileName& file, TwdHeader& header) {
    header = {};
    platform::ResumeNext next{LogFailure(LogOfModule)};
    ByteArray bytes;
    bool read = false;
    next([&] { read = ReadPackageFile(file, bytes, HEADER_READ_LIMIT, LogOfModule); });
    if (!read)
        return;
    next([&] { ByteArrayToTwdStruct(std::move(bytes), header); });
    if (IsTwdValid(header))
        return;
    StatusDisplay(LEVEL_ERROR, "Load TWD error: the currently selected image file is not valid!");
    header = {};
}

// Checks the first bytes before it reads the whole file, which may be large and of another kind.
bool ReadTwd(const platform::FileName& file, TwdHeader& header, const TwdReading& reading) {
    header = {};
    platform::ResumeNext next{LogFailure(reading.log)};
    TwdHeader parsed;
    bool valid = false;
    next([&] { valid = ReadAndParse(file, HEADER_READ_LIMIT, parsed, reading.log); });
    if (!valid)
        return false;
    reading.begins();
    valid = false;
    next([&] { valid = ReadAndParse(file, reading.limit, parsed, reading.log, reading.progress); });
    if (valid)
        header = std::move(parsed);
    return valid;
}

void LoadTWD(const platform::FileName& file, TwdHeader& header) {
    const TwdReading reading{.limit = NO_LIMIT,
                             .progress = nullptr,
                             .begins = [&] { StatusDisplay(LEVEL_WATCH, "Reading '{}'...", file); },
                             .log = LogOfModule};
    if (!ReadTwd(file, header, reading))
        return;
    StatusDisplay(LEVEL_USER,
                  "TWD version:  software id = {} (0x{:X}),  software version = {} (0x{:X}),  date/time = {} {}",
                  header.SoftwareID, Bits(header.SoftwareID), header.SoftwareVersion, Bits(header.SoftwareVersion),
                  FormatTwdDate(header.ImageDate), FormatTwdTime(header.ImageTime));
}

bool LiesInside(const TwdSection& section, std::int64_t fileSize) {
    return section.Length <= 0 || (section.Offset >= 0 && std::int64_t{section.Offset} + section.Length <= fileSize);
}

const NamedSection* FirstOutside(const TwdHeader& header, std::int64_t fileSize) {
    const auto* outside = std::ranges::find_if(
        SECTIONS, [&](const NamedSection& named) { return !LiesInside(header.*named.section, fileSize); });
    return outside == std::end(SECTIONS) ? nullptr : outside;
}

std::string PackageFault(const std::string& path, TwdHeader& header) {
    header = {};
    std::string fault;
    for (const std::int64_t limit : {HEADER_READ_LIMIT, NO_LIMIT}) {
        ByteArray bytes;
        platform::Attempt([&] { basUtils::ReadFileBytes(path, bytes, limit); },
                          [&](const platform::Failure& failure) {
                              fault =
                                  fmt::format("it can't be read (error #{}: {})", failure.Number, failure.Description);
                          });
        if (!fault.empty())
            return fault;
        if (bytes.size() <= HEADER_SIZE || basUtils::ByteArrayToLong(bytes, 0, {}, true) != TwdMagic)
            return "it doesn't begin with a package header";
        ByteArrayToTwdStruct(std::move(bytes), header);
    }
    const auto fileSize = static_cast<std::int64_t>(header.FileData.size()) - 1;
    if (const NamedSection* outside = FirstOutside(header, fileSize))
        return fmt::format("its {} reaches outside the file, which is cut off or damaged", outside->name);
    return fault;
}

} // namespace basBootloader
