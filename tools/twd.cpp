// twd: packs, shows, checks and takes apart firmware packages.
//
// Exit codes: 0 done and good, 1 the package has a fault, 2 usage, or a file that can't be read
// or written.

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"
#include "TwdPackage.h"
#include "basUtils.h"

#include <CLI/CLI.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

namespace {

constexpr std::size_t HEADER_SIZE = 352, INFO_OFFSET = 0x60, INFO_SIZE = 256;

struct SectionOptions {
    std::string file;
    std::uint32_t address = 0;
};

struct PackOptions {
    std::string output, date, time, info;
    std::uint32_t softwareId = 0, softwareVersion = 0, hardwareId = 0, vendorId = 0;
    SectionOptions image1, image2, cne;
};

ByteArray ReadWhole(const std::string& path) {
    platform::InputFile file(path);
    ByteArray bytes(std::size_t(file.Size()));
    bytes.resize(bytes.empty() ? 0 : file.Read(bytes.data(), bytes.size()));
    return bytes;
}

std::uint32_t Crc(const std::uint8_t* bytes, std::size_t count) {
    return std::uint32_t(crc32(crc32(0, nullptr, 0), bytes, uInt(count)));
}

void PutQuadlet(ByteArray& package, std::size_t at, std::uint32_t value) {
    basUtils::LongToByteArray(std::int32_t(value), package, std::int32_t(at));
}

// "20020831" and the like: digits of one field, filled with zeros.
void PutDigits(ByteArray& package, std::size_t at, const std::string& digits, std::size_t needed, const char* option) {
    if (digits.size() != needed || digits.find_first_not_of("0123456789") != std::string::npos)
        platform::Raise(platform::INVALID_CALL, fmt::format("{} takes {} digits, not '{}'", option, needed, digits));
    std::copy(digits.begin(), digits.end(), package.begin() + std::ptrdiff_t(at));
}

// Appends the section's bytes and writes its four header fields.
void PutSection(ByteArray& package, std::size_t fields, const SectionOptions& section) {
    if (section.file.empty())
        return;
    const ByteArray bytes = ReadWhole(section.file);
    if (bytes.empty())
        platform::Raise(platform::INVALID_CALL, fmt::format("'{}' is empty", section.file));
    PutQuadlet(package, fields, std::uint32_t(package.size()));
    PutQuadlet(package, fields + 4, section.address);
    PutQuadlet(package, fields + 8, std::uint32_t(bytes.size()));
    PutQuadlet(package, fields + 12, Crc(bytes.data(), bytes.size()));
    package.insert(package.end(), bytes.begin(), bytes.end());
}

int Pack(const PackOptions& options) {
    const std::time_t now = std::time(nullptr);
    const std::string date = options.date.empty() ? fmt::format("{:%Y%m%d}", fmt::gmtime(now)) : options.date;
    const std::string time = options.time.empty() ? fmt::format("{:%H%M%S}", fmt::gmtime(now)) : options.time;
    ByteArray package(HEADER_SIZE);
    basUtils::LongToByteArray(TwdMagic, package, 0, true);
    PutDigits(package, 0x08, date, 8, "--date");
    PutDigits(package, 0x10, time, 6, "--time");
    PutQuadlet(package, 0x18, options.softwareId);
    PutQuadlet(package, 0x1C, options.softwareVersion);
    PutQuadlet(package, 0x20, options.hardwareId);
    PutQuadlet(package, 0x24, options.vendorId);
    const ByteArray info = platform::AnsiFromText(options.info);
    if (info.size() > INFO_SIZE)
        platform::Raise(platform::INVALID_CALL, fmt::format("--info takes at most {} characters", INFO_SIZE));
    std::copy(info.begin(), info.end(), package.begin() + INFO_OFFSET);
    PutSection(package, 0x30, options.image1);
    PutSection(package, 0x40, options.image2);
    PutSection(package, 0x50, options.cne);
    platform::WriteFileAtomically(options.output, package);
    fmt::print("{}: {} bytes\n", options.output, package.size());
    return 0;
}

TwdHeader Load(const std::string& path) {
    ByteArray bytes;
    TwdHeader header;
    if (basUtils::ReadFileBytes(path, bytes) != 1)
        platform::Raise(platform::FILE_NOT_FOUND, fmt::format("'{}' can't be read", path));
    basBootloader::ByteArrayToTwdStruct(bytes, header);
    return header;
}

struct NamedSection {
    const char* name;
    TwdSection TwdHeader::*section;
};
constexpr NamedSection SECTIONS[] = {
    {"image1", &TwdHeader::Image1}, {"image2", &TwdHeader::Image2}, {"cne", &TwdHeader::Cne}};

// FileData has one 0 behind the file's bytes.
bool LiesInside(const TwdHeader& header, const TwdSection& section) {
    const std::int64_t end = std::int64_t(section.Offset) + section.Length;
    return section.Offset >= 0 && end <= std::int64_t(header.FileData.size()) - 1;
}

int Show(const std::string& path) {
    const TwdHeader header = Load(path);
    if (!basBootloader::IsTwdValid(header)) {
        fmt::print(stderr, "twd: '{}' is no package\n", path);
        return 1;
    }
    fmt::print(
        "date       {}\ntime       {}\nsoftware   0x{:X} version {}\nhardware   {}\nvendor     0x{:X}\ninfo       "
        "{}\n",
        basBootloader::FormatTwdDate(header.ImageDate), basBootloader::FormatTwdTime(header.ImageTime),
        std::uint32_t(header.SoftwareID), basBootloader::FormatVersion(header.SoftwareVersion), header.HardwareID,
        std::uint32_t(header.VendorID), header.InfoText);
    for (const NamedSection& named : SECTIONS) {
        const TwdSection& section = header.*named.section;
        if (section.Length > 0)
            fmt::print("{:<10} offset 0x{:X} address 0x{:08X} length {} crc 0x{:08X}\n", named.name,
                       std::uint32_t(section.Offset), std::uint32_t(section.Address), section.Length,
                       std::uint32_t(section.Crc));
    }
    return 0;
}

bool AreDigits(const std::array<std::uint8_t, 8>& field, std::size_t count) {
    return std::all_of(field.begin(), field.begin() + std::ptrdiff_t(count),
                       [](std::uint8_t c) { return c >= '0' && c <= '9'; });
}

int Check(const std::string& path) {
    const TwdHeader header = Load(path);
    std::vector<std::string> faults;
    if (!basBootloader::IsTwdValid(header))
        faults.emplace_back("it doesn't begin with a package header");
    else {
        if (!AreDigits(header.ImageDate, 8) || !AreDigits(header.ImageTime, 6))
            faults.emplace_back("its date or time isn't made of digits");
        for (const NamedSection& named : SECTIONS) {
            const TwdSection& section = header.*named.section;
            if (section.Length <= 0)
                continue;
            if (!LiesInside(header, section))
                faults.push_back(fmt::format("section {} reaches outside the file", named.name));
            else if (Crc(header.FileData.data() + section.Offset, std::size_t(section.Length)) !=
                     std::uint32_t(section.Crc))
                faults.push_back(fmt::format("section {} doesn't have the CRC that the header tells", named.name));
        }
    }
    for (const std::string& fault : faults)
        fmt::print(stderr, "twd: '{}': {}\n", path, fault);
    if (faults.empty())
        fmt::print("{}: good\n", path);
    return faults.empty() ? 0 : 1;
}

int Extract(const std::string& path, const std::string& name, const std::string& output) {
    const TwdHeader header = Load(path);
    for (const NamedSection& named : SECTIONS) {
        const TwdSection& section = header.*named.section;
        if (name != named.name)
            continue;
        if (section.Length <= 0 || !LiesInside(header, section)) {
            fmt::print(stderr, "twd: '{}' has no section {}, or it reaches outside the file\n", path, name);
            return 1;
        }
        const auto start = header.FileData.begin() + section.Offset;
        platform::WriteFileAtomically(output, ByteArray(start, start + section.Length));
        return 0;
    }
    fmt::print(stderr, "twd: there is no section named '{}'\n", name);
    return 2;
}

void AddSection(CLI::App* command, const std::string& name, SectionOptions& section) {
    command->add_option("--" + name, section.file, "file with the section's bytes");
    command->add_option("--" + name + "-address", section.address, "its start address on the target");
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Firmware packages: pack, show, check, extract"};
    app.require_subcommand(1);
    PackOptions pack;
    auto* packing = app.add_subcommand("pack", "makes a package");
    packing->add_option("PACKAGE", pack.output)->required();
    packing->add_option("--date", pack.date, "YYYYMMDD, UTC; default today");
    packing->add_option("--time", pack.time, "HHMMSS, UTC; default now");
    packing->add_option("--software-id", pack.softwareId);
    packing->add_option("--software-version", pack.softwareVersion, "0x01020304 is 1.2.3.4");
    packing->add_option("--hardware-id", pack.hardwareId);
    packing->add_option("--vendor-id", pack.vendorId);
    packing->add_option("--info", pack.info, "free text, at most 256 characters");
    AddSection(packing, "image1", pack.image1);
    AddSection(packing, "image2", pack.image2);
    AddSection(packing, "cne", pack.cne);
    std::string file, section, output;
    auto* showing = app.add_subcommand("show", "prints the header");
    auto* checking = app.add_subcommand("check", "magic, dates, bounds, CRCs");
    auto* extracting = app.add_subcommand("extract", "writes one section to a file");
    for (CLI::App* command : {showing, checking, extracting})
        command->add_option("PACKAGE", file)->required();
    extracting->add_option("SECTION", section, "image1, image2 or cne")->required();
    extracting->add_option("FILE", output)->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    int code = 2;
    platform::Attempt(
        [&] {
            if (packing->parsed())
                code = Pack(pack);
            else if (showing->parsed())
                code = Show(file);
            else
                code = checking->parsed() ? Check(file) : Extract(file, section, output);
        },
        [](const platform::Failure& f) { fmt::print(stderr, "twd: {}\n", f.Description); });
    return code;
}
