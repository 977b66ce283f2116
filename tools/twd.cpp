// twd: packs, shows, checks and extracts firmware packages.
//
// Exit codes: 0 done, and the package is good; 1 the package has a fault; 2 usage, or a file that can't be read or
// written.

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"
#include "Paths.h"
#include "TwdPackage.h"
#include "basUtils.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr std::size_t HEADER_SIZE = 352, INFO_OFFSET = 0x60, INFO_SIZE = 256;
constexpr std::size_t MAX_PACKAGE = std::numeric_limits<std::int32_t>::max(); // offsets and lengths are signed

struct SectionOptions {
    std::string file;
    std::uint32_t address = 0;
    std::optional<std::uint32_t> crc; // replaces the computed one
};

struct PackOptions {
    std::string output, date, time, info;
    std::uint32_t softwareId = 0, softwareVersion = 0, hardwareId = 0, vendorId = 0;
    SectionOptions image1, image2, cne;
};

ByteArray ReadWhole(const std::string& path) {
    ByteArray bytes;
    platform::Attempt(
        [&] {
            platform::InputFile file(path);
            bytes.resize(static_cast<std::size_t>(file.Size()));
            bytes.resize(bytes.empty() ? 0 : file.Read(bytes.data(), bytes.size()));
        },
        [&](const platform::Failure& f) {
            platform::Raise(f.Number, fmt::format("'{}' can't be read: {}", path, f.Description));
        });
    return bytes;
}

// Never replaces a file whose name differs in case: on the command line those are two files.
void WriteWhole(const std::string& path, const ByteArray& bytes) {
    for (const std::string& meant : platform::PathsMeant(path))
        if (std::filesystem::path(meant).filename() != std::filesystem::path(path).filename())
            platform::Raise(platform::BAD_FILE_NAME, fmt::format("'{}' would replace '{}'", path, meant));
    platform::Attempt([&] { platform::WriteFileAtomically(path, bytes); },
                      [&](const platform::Failure& f) {
                          platform::Raise(f.Number, fmt::format("'{}' can't be written: {}", path, f.Description));
                      });
}

// Untrusted text, made safe for a terminal.
std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text;
}

std::uint32_t Crc(const std::uint8_t* bytes, std::size_t count) {
    return static_cast<std::uint32_t>(crc32(0, bytes, static_cast<uInt>(count)));
}

void PutQuadlet(ByteArray& package, std::size_t at, std::uint32_t value) {
    basUtils::LongToByteArray(static_cast<std::int32_t>(value), package, static_cast<std::int32_t>(at));
}

int Number(std::string_view digits) {
    int number = 0;
    for (char digit : digits)
        number = number * 10 + (digit - '0');
    return number;
}

bool AreDigits(std::string_view text, std::size_t count) {
    return text.size() == count && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool IsDate(std::string_view text) {
    using namespace std::chrono;
    return AreDigits(text, 8) &&
           year_month_day(year(Number(text.substr(0, 4))), month(static_cast<unsigned>(Number(text.substr(4, 2)))),
                          day(static_cast<unsigned>(Number(text.substr(6, 2)))))
               .ok();
}

bool IsTime(std::string_view text) {
    return AreDigits(text, 6) && Number(text.substr(0, 2)) < 24 && Number(text.substr(2, 2)) < 60 &&
           Number(text.substr(4, 2)) < 60;
}

void PutDateAndTime(ByteArray& package, const PackOptions& options) {
    const platform::SystemTime now = platform::GetSystemTime();
    const std::string date = options.date.empty() ? basUtils::FormatSystemTime(now, "yyyymmdd") : options.date;
    const std::string time = options.time.empty() ? basUtils::FormatSystemTime(now, "hhnnss") : options.time;
    if (!IsDate(date))
        platform::Raise(platform::INVALID_CALL, fmt::format("--date takes YYYYMMDD, not '{}'", date));
    if (!IsTime(time))
        platform::Raise(platform::INVALID_CALL, fmt::format("--time takes HHMMSS, not '{}'", time));
    std::ranges::copy(date, package.begin() + 0x08);
    std::ranges::copy(time, package.begin() + 0x10);
}

// Appends the section's bytes and writes its four header fields.
void PutSection(ByteArray& package, std::size_t fields, const SectionOptions& section) {
    if (section.file.empty())
        return;
    const ByteArray bytes = ReadWhole(section.file);
    if (bytes.empty())
        platform::Raise(platform::INVALID_CALL, fmt::format("'{}' is empty", section.file));
    if (package.size() + bytes.size() > MAX_PACKAGE)
        platform::Raise(platform::INVALID_CALL, fmt::format("'{}' makes the package longer than 2 GiB", section.file));
    PutQuadlet(package, fields, static_cast<std::uint32_t>(package.size()));
    PutQuadlet(package, fields + 4, section.address);
    PutQuadlet(package, fields + 8, static_cast<std::uint32_t>(bytes.size()));
    PutQuadlet(package, fields + 12, section.crc ? *section.crc : Crc(bytes.data(), bytes.size()));
    package.insert(package.end(), bytes.begin(), bytes.end());
}

int Pack(const PackOptions& options) {
    ByteArray package(HEADER_SIZE);
    basUtils::LongToByteArray(TwdMagic, package, 0, true);
    PutDateAndTime(package, options);
    PutQuadlet(package, 0x18, options.softwareId);
    PutQuadlet(package, 0x1C, options.softwareVersion);
    PutQuadlet(package, 0x20, options.hardwareId);
    PutQuadlet(package, 0x24, options.vendorId);
    const ByteArray info = platform::AnsiFromText(options.info);
    if (info.size() > INFO_SIZE)
        platform::Raise(platform::INVALID_CALL, fmt::format("--info takes at most {} characters", INFO_SIZE));
    std::ranges::copy(info, package.begin() + INFO_OFFSET);
    PutSection(package, 0x30, options.image1);
    PutSection(package, 0x40, options.image2);
    PutSection(package, 0x50, options.cne);
    WriteWhole(options.output, package);
    fmt::print("{}: {} bytes\n", options.output, package.size());
    return 0;
}

// The header lacks its magic when the file isn't a package.
TwdHeader Load(const std::string& path) {
    ByteArray bytes = ReadWhole(path);
    TwdHeader header;
    if (bytes.size() < HEADER_SIZE)
        return header;
    bytes.push_back(0);
    basBootloader::ByteArrayToTwdStruct(std::move(bytes), header);
    return header;
}

constexpr NamedSection SECTIONS[] = {
    {"image1", &TwdHeader::Image1}, {"image2", &TwdHeader::Image2}, {"cne", &TwdHeader::Cne}};

// FileData has a 0 after the file's bytes.
bool LiesInside(const TwdHeader& header, const TwdSection& section) {
    return basBootloader::LiesInside(section, static_cast<std::int64_t>(header.FileData.size()) - 1);
}

int ReportFaults(const std::string& path, const std::vector<std::string>& faults) {
    for (const std::string& fault : faults)
        fmt::print(stderr, "twd: '{}': {}\n", path, fault);
    return faults.empty() ? 0 : 1;
}

constexpr const char* NO_PACKAGE = "it doesn't begin with a package header";

std::string SectionLine(const NamedSection& named, const TwdSection& section) {
    return fmt::format("{:<10} offset 0x{:X} address 0x{:08X} length {} crc 0x{:08X}\n", named.name,
                       Bits(section.Offset), Bits(section.Address), section.Length, Bits(section.Crc));
}

int Show(const std::string& path) {
    const TwdHeader header = Load(path);
    if (!basBootloader::IsTwdValid(header))
        return ReportFaults(path, {NO_PACKAGE});
    fmt::print("date       {}\ntime       {}\n", Printable(basBootloader::FormatTwdDate(header.ImageDate)),
               Printable(basBootloader::FormatTwdTime(header.ImageTime)));
    fmt::print("software   0x{:X} version {}\nhardware   {}\nvendor     0x{:X}\ninfo       {}\n",
               Bits(header.SoftwareID), basBootloader::FormatVersion(header.SoftwareVersion), header.HardwareID,
               Bits(header.VendorID), Printable(header.InfoText.substr(0, header.InfoText.find('\0'))));
    for (const NamedSection& named : SECTIONS)
        if ((header.*named.section).Length > 0)
            fmt::print("{}", SectionLine(named, header.*named.section));
    return 0;
}

std::string Text(const std::array<std::uint8_t, 8>& field, std::size_t count) {
    return {field.begin(), field.begin() + static_cast<std::ptrdiff_t>(count)};
}

void CheckSection(const TwdHeader& header, const NamedSection& named, std::vector<std::string>& faults) {
    const TwdSection& section = header.*named.section;
    if (section.Length <= 0)
        return;
    if (!LiesInside(header, section)) {
        faults.push_back(fmt::format("section {} reaches outside the file", named.name));
        return;
    }
    const std::uint32_t crc = Crc(header.FileData.data() + section.Offset, static_cast<std::size_t>(section.Length));
    if (crc != Bits(section.Crc))
        faults.push_back(fmt::format("section {} has the CRC 0x{:08X}, the header tells 0x{:08X}", named.name, crc,
                                     Bits(section.Crc)));
}

int Check(const std::string& path) {
    const TwdHeader header = Load(path);
    if (!basBootloader::IsTwdValid(header))
        return ReportFaults(path, {NO_PACKAGE});
    std::vector<std::string> faults;
    if (!IsDate(Text(header.ImageDate, 8)))
        faults.emplace_back("invalid date");
    if (!IsTime(Text(header.ImageTime, 6)))
        faults.emplace_back("invalid time");
    for (const NamedSection& named : SECTIONS)
        CheckSection(header, named, faults);
    if (faults.empty())
        fmt::print("{}: good\n", path);
    return ReportFaults(path, faults);
}

int Extract(const std::string& path, const std::string& name, const std::string& output) {
    const auto named = std::ranges::find(SECTIONS, name, &NamedSection::name);
    const TwdHeader header = Load(path);
    if (!basBootloader::IsTwdValid(header))
        return ReportFaults(path, {NO_PACKAGE});
    const TwdSection& section = header.*named->section;
    if (section.Length <= 0)
        return ReportFaults(path, {fmt::format("it has no section {}", name)});
    if (!LiesInside(header, section))
        return ReportFaults(path, {fmt::format("section {} reaches outside the file", name)});
    const auto start = header.FileData.begin() + section.Offset;
    WriteWhole(output, ByteArray(start, start + section.Length));
    return 0;
}

void AddSection(CLI::App* command, const std::string& name, SectionOptions& section) {
    auto* file = command->add_option("--" + name, section.file, "file with the section's bytes");
    command->add_option("--" + name + "-address", section.address, "its start address on the target")->needs(file);
    command->add_option("--" + name + "-crc", section.crc, "the target's own CRC; default CRC-32")->needs(file);
}

void AddPacking(CLI::App& app, PackOptions& pack, int& code) {
    CLI::App* command = app.add_subcommand("pack", "makes a package");
    command->add_option("PACKAGE", pack.output)->required();
    command->add_option("--date", pack.date, "YYYYMMDD, UTC; default today");
    command->add_option("--time", pack.time, "HHMMSS, UTC; default now");
    command->add_option("--software-id", pack.softwareId, "which software it is");
    command->add_option("--software-version", pack.softwareVersion, "0x01020304 is 1.2.3.4");
    command->add_option("--hardware-id", pack.hardwareId, "the hardware model that it is for");
    command->add_option("--vendor-id", pack.vendorId, "the vendor that it is for");
    command->add_option("--info", pack.info, "free text, at most 256 characters");
    AddSection(command, "image1", pack.image1);
    AddSection(command, "image2", pack.image2);
    AddSection(command, "cne", pack.cne);
    command->callback([&] { code = Pack(pack); });
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Firmware packages: pack, show, check, extract.\n"
                 "Exit code: 0 done and good, 1 the package has a fault, 2 usage or an unreadable file."};
    app.require_subcommand(1);
    int code = 2;
    PackOptions pack;
    AddPacking(app, pack, code);
    std::string file, section, output;
    CLI::App* show = app.add_subcommand("show", "prints the header");
    CLI::App* check = app.add_subcommand("check", "magic, date and time, bounds, CRCs");
    CLI::App* extract = app.add_subcommand("extract", "writes one section to a file");
    for (CLI::App* command : {show, check, extract})
        command->add_option("PACKAGE", file)->required();
    extract->add_option("SECTION", section)->required()->check(CLI::IsMember({"image1", "image2", "cne"}));
    extract->add_option("FILE", output)->required();
    show->callback([&] { code = Show(file); });
    check->callback([&] { code = Check(file); });
    extract->callback([&] { code = Extract(file, section, output); });
    try {
        app.parse(argc, argv);
        return code;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (...) {
        fmt::print(stderr, "twd: {}\n", platform::CurrentFailure().Description);
        return 2;
    }
}
