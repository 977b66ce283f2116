// hoistline package: packs, shows, checks and unpacks firmware packages.
#include "CallFiles.h"
#include "CodePage.h"
#include "Commands.h"
#include "Paths.h"
#include "TwdChecks.h"
#include "TwdWriting.h"

#include <algorithm>
#include <array>

namespace cli {

namespace {

using namespace basBootloader;

struct SectionOptions {
    std::string file;
    std::uint32_t address = 0;
    std::optional<std::uint32_t> crc; // replaces the computed one
};

struct PackOptions {
    std::string output;
    TwdIdentification identification;
    std::array<SectionOptions, std::size(SECTIONS)> sections;
};

struct UnpackOptions {
    std::string package, section, output;
};

bool AppendSection(Call& call, ByteArray& package, std::size_t number, const SectionOptions& options) {
    ByteArray content;
    if (!ReadInput(call, options.file, content))
        return false;
    if (content.empty())
        return call.End(Verdict::Refused, fmt::format("\"{}\" is empty.", options.file));
    if (!AppendTwdSection(package, number, content, options.address, options.crc))
        return call.End(Verdict::Refused, fmt::format("\"{}\" makes the package longer than 2 GiB.", options.file));
    return true;
}

void Pack(Call& call, const PackOptions& options) {
    if (std::ranges::all_of(options.sections, &std::string::empty, &SectionOptions::file)) {
        call.End(Verdict::Usage, "Give --image1, --image2 or --cne.  See \"hoistline package pack --help\".");
        return;
    }
    TwdIdentification identification = options.identification;
    const platform::SystemTime now = platform::GetSystemTime();
    if (identification.Date.empty())
        identification.Date = basUtils::FormatSystemTime(now, "yyyymmdd");
    if (identification.Time.empty())
        identification.Time = basUtils::FormatSystemTime(now, "hhnnss");
    ByteArray package = NewTwd(identification);
    for (std::size_t number = 0; number < options.sections.size(); ++number)
        if (const SectionOptions& section = options.sections[number]; !section.file.empty())
            if (!AppendSection(call, package, number, section))
                return;
    if (!WriteOutput(call, options.output, package))
        return;
    call.Print(fmt::format("{}: {} bytes", Printable(options.output), package.size()));
    call.report.Answer = {{"package", options.output}, {"bytes", package.size()}};
}

bool ReadPackage(Call& call, const std::string& path, TwdHeader& header) {
    ByteArray bytes;
    if (!ReadInput(call, path, bytes))
        return false;
    bytes.push_back(0);
    ByteArrayToTwdStruct(std::move(bytes), header);
    return IsTwdValid(header) ||
           call.End(Verdict::Refused, fmt::format("\"{}\" doesn't begin with a package header.", path));
}

std::string InfoOf(const TwdHeader& header) {
    return header.InfoText.substr(0, header.InfoText.find('\0'));
}

Json SectionJson(const TwdHeader& header, const NamedSection& named) {
    const TwdSection& section = header.*named.section;
    const std::optional<std::uint32_t> crc = ContentCrc(header, section);
    return {{"name", SectionWord(named)},
            {"offset", Bits(section.Offset)},
            {"address", CrcText(Bits(section.Address))},
            {"length", section.Length},
            {"crc", CrcText(Bits(section.Crc))},
            {"contentCrc", crc ? Json(CrcText(*crc)) : Json(nullptr)}};
}

Json PackageJson(const std::string& path, const TwdHeader& header, const std::vector<std::string>& faults) {
    Json sections = Json::array();
    for (const NamedSection& named : SECTIONS)
        if ((header.*named.section).Length > 0)
            sections.push_back(SectionJson(header, named));
    return {{"package", path},
            {"bytes", header.FileData.size() - 1},
            {"date", FormatTwdDate(header.ImageDate)},
            {"time", FormatTwdTime(header.ImageTime)},
            {"softwareId", HexText(header.SoftwareID)},
            {"softwareVersion", FormatVersion(header.SoftwareVersion)},
            {"hardwareId", header.HardwareID},
            {"vendorId", HexText(header.VendorID)},
            {"info", InfoOf(header)},
            {"sections", std::move(sections)},
            {"faults", faults}};
}

void PrintPackage(Call& call, const TwdHeader& header) {
    const auto print = [&call](const char* name, const std::string& value) {
        call.Print(fmt::format("{:<10} {}", name, Printable(value)));
    };
    print("date", FormatTwdDate(header.ImageDate));
    print("time", FormatTwdTime(header.ImageTime));
    print("software", fmt::format("{} version {}", HexText(header.SoftwareID), FormatVersion(header.SoftwareVersion)));
    print("hardware", std::to_string(header.HardwareID));
    print("vendor", HexText(header.VendorID));
    print("info", InfoOf(header));
    for (const NamedSection& named : SECTIONS)
        if (const TwdSection& section = header.*named.section; section.Length > 0)
            print(SectionWord(named).c_str(),
                  fmt::format("offset {} address {} length {} crc {}", HexText(section.Offset),
                              CrcText(Bits(section.Address)), section.Length, CrcText(Bits(section.Crc))));
}

void Show(Call& call, const std::string& path) {
    TwdHeader header;
    if (!ReadPackage(call, path, header))
        return;
    const std::vector<std::string> faults = TwdFaults(header);
    call.report.Answer = PackageJson(path, header, faults);
    PrintPackage(call, header);
    for (const std::string& fault : faults)
        call.Tell("hoistline: the package has a fault: " + fault);
}

void Check(Call& call, const std::string& path) {
    TwdHeader header;
    if (!ReadPackage(call, path, header))
        return;
    const std::vector<std::string> faults = TwdFaults(header);
    call.report.Answer = PackageJson(path, header, faults);
    if (!faults.empty())
        call.End(Verdict::Refused, fmt::format("\"{}\": {}.", path, fmt::join(faults, "; ")));
    else
        call.Print(Printable(path) + ": good");
}

void Unpack(Call& call, const UnpackOptions& options) {
    TwdHeader header;
    if (!ReadPackage(call, options.package, header))
        return;
    const TwdSection& section = header.*std::ranges::find(SECTIONS, options.section, SectionWord)->section;
    if (section.Length <= 0) {
        call.End(Verdict::Refused, fmt::format("\"{}\" has no section {}.", options.package, options.section));
        return;
    }
    if (!ContentCrc(header, section)) {
        call.End(Verdict::Refused,
                 fmt::format("\"{}\": section {} reaches outside the file.", options.package, options.section));
        return;
    }
    const auto start = header.FileData.begin() + section.Offset;
    if (!WriteOutput(call, options.output, ByteArray(start, start + section.Length)))
        return;
    call.Print(fmt::format("{}: {} bytes", Printable(options.output), section.Length));
    call.report.Answer = {{"package", options.package},
                          {"section", options.section},
                          {"file", options.output},
                          {"bytes", section.Length}};
}

CLI::Validator Checked(bool (*isGood)(std::string_view text), const char* form) {
    return {[=](const std::string& text) {
                return isGood(text) ? std::string() : fmt::format("takes {}, not \"{}\"", form, text);
            },
            ""};
}

bool FitsInfo(std::string_view text) {
    return platform::AnsiFromText(text).size() <= TWD_INFO_SIZE;
}

void AddSection(CLI::App* command, const std::string& name, SectionOptions& section) {
    CLI::Option* file = AddFile(command, "--" + name, section.file, "take the section's bytes from this file");
    command->add_option("--" + name + "-address", section.address, "set its start address on the target")
        ->type_name("NUMBER")
        ->needs(file);
    command->add_option("--" + name + "-crc", section.crc, "set the target's own CRC in place of CRC-32")
        ->type_name("NUMBER")
        ->needs(file);
}

void AddPack(CommandSet& set, CLI::App* group) {
    auto options = std::make_shared<PackOptions>();
    TwdIdentification& identification = options->identification;
    CLI::App* command = set.Add(
        "pack", "make a package", [options](Call& call) { Pack(call, *options); }, group);
    const auto number = [command](const char* name, std::uint32_t& value, const char* description) {
        command->add_option(name, value, description)->type_name("NUMBER");
    };
    command->add_option("--date", identification.Date, "set the date of the software, in UTC; without it today")
        ->type_name("YYYYMMDD")
        ->check(Checked(IsTwdDate, "YYYYMMDD"));
    command->add_option("--time", identification.Time, "set the time of the software, in UTC; without it now")
        ->type_name("HHMMSS")
        ->check(Checked(IsTwdTime, "HHMMSS"));
    number("--software-id", identification.SoftwareID, "set the ID of the software");
    number("--software-version", identification.SoftwareVersion,
           "set the version of the software: 0x01020304 is 1.2.3.4");
    number("--hardware-id", identification.HardwareID, "set the hardware model that the package is for");
    number("--vendor-id", identification.VendorID, "set the vendor that the package is for");
    command->add_option("--info", identification.Info, "set a free text, at most 256 characters")
        ->type_name("TEXT")
        ->check(Checked(FitsInfo, "at most 256 characters"));
    for (std::size_t section = 0; section < std::size(SECTIONS); ++section)
        AddSection(command, SectionWord(SECTIONS[section]), options->sections[section]);
    AddFile(command, "PACKAGE", options->output, "the package to write")->required()->type_name("");
}

void AddPackageArgument(CLI::App* command, std::string& path) {
    AddFile(command, "PACKAGE", path, "a firmware package (*.twd)")->required()->type_name("");
}

void AddUnpack(CommandSet& set, CLI::App* group) {
    auto options = std::make_shared<UnpackOptions>();
    CLI::App* command = set.Add(
        "unpack", "write a section to a file", [options](Call& call) { Unpack(call, *options); }, group);
    std::vector<std::string> names;
    std::ranges::transform(SECTIONS, std::back_inserter(names), SectionWord);
    AddPackageArgument(command, options->package);
    TakesOneOf(command->add_option("SECTION", options->section, "the section")->required(), names);
    AddFile(command, "FILE", options->output, "the file to write")->required()->type_name("");
}

} // namespace

void AddPackage(CommandSet& set) {
    CLI::App* group = set.AddGroup("package", "pack, show, check and unpack firmware packages");
    AddPack(set, group);
    const auto add = [&](const char* name, const char* summary, void (*run)(Call&, const std::string&)) {
        auto path = std::make_shared<std::string>();
        CLI::App* command = set.Add(
            name, summary, [path, run](Call& call) { run(call, *path); }, group);
        AddPackageArgument(command, *path);
    };
    add("show", "show the header and the sections", Show);
    add("check", "check header, date and time, the sections' bounds and CRCs", Check);
    AddUnpack(set, group);
}

} // namespace cli
