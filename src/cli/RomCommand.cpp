// hoistline rom: the config ROM of a node or of a file.
#include "BusSession.h"
#include "CallFiles.h"
#include "Commands.h"
#include "ConfigRomText.h"
#include "DeviceChoice.h"
#include "NodeConfigRom.h"
#include "RomChecks.h"
#include "RomFile.h"
#include "bas1394.h"
#include "basBootloader.h"

#include <algorithm>
#include <filesystem>

namespace cli {

namespace {

struct RomOptions {
    std::string subject; // a device or a file
    std::string save;
    bool check = false;
};

// What was read.
struct RomRead {
    ConfigRomRecord rom;
    basConfigRom::RomImage image;
    std::string name; // for reasons: "node 2", the file in quotes
    bool isFile = false;
};

// No device's name has a "/" or a ".".
bool MeansFile(const std::string& subject) {
    std::error_code error;
    return !subject.empty() &&
           (subject.find_first_of("/.") != std::string::npos || std::filesystem::exists(subject, error));
}

bool IsFault(const basConfigRom::RomFinding& finding) {
    return finding.Severity == basConfigRom::Verdict::Fault;
}

bool AllKnown(const basConfigRom::RomImage& image) {
    return std::ranges::find(image.Known, false) == image.Known.end();
}

bool ReadFile(Call& call, const std::string& path, RomRead& read) {
    if (!ReadInput(call, path, read.image.Bytes))
        return false;
    read.image.Bytes = basConfigRom::BigEndianImage(std::move(read.image.Bytes));
    read.name = fmt::format("\"{}\"", path);
    read.isFile = true;
    std::ignore = basConfigRom::ReadRomImage(read.image.Bytes, read.rom); // IsWhole says more
    return true;
}

bool ReadNode(Call& call, const std::string& name, RomRead& read) {
    Device node;
    if (!ChooseNode(call, name, node))
        return false;
    NoteNode(call, node);
    read.name = fmt::format("node {}", node.NodeNum);
    read.rom = node.ConfigRom;
    read.image = basConfigRom::ImageOf(node);
    return true;
}

Json RowsJson(const basConfigRom::RomTree& tree) {
    Json rows = Json::array();
    for (const basConfigRom::RomRow& row : tree.Rows)
        rows.push_back({{"key", row.Key}, {"parent", row.Parent}, {"text", row.Text}, {"expanded", row.Expanded}});
    return rows;
}

Json FindingsJson(const std::vector<basConfigRom::RomFinding>& findings) {
    Json all = Json::array();
    for (const basConfigRom::RomFinding& finding : findings)
        all.push_back({{"address", fmt::format("0x{:08X}", finding.Address)},
                       {"quadlet", finding.Quadlet()},
                       {"severity", basConfigRom::VerdictName(finding.Severity)},
                       {"code", finding.Code},
                       {"text", finding.Text}});
    return all;
}

std::size_t DepthOf(const basConfigRom::RomTree& tree, const basConfigRom::RomRow& row) {
    std::size_t depth = 0;
    for (int parent = row.Parent; parent >= 0; parent = tree.Rows[static_cast<std::size_t>(parent)].Parent)
        ++depth;
    return depth;
}

// True when all of the ROM is in the rows.
bool ShowRows(Call& call, const ConfigRomRecord& rom) {
    basConfigRom::RomTree tree;
    const bool minimal = rom.RawData.size() >= 4 && basConfigRom::ConfigRomIsMinimal(rom);
    if (minimal)
        tree.Add(-1, "MINIMAL",
                 fmt::format("MINIMAL ROM, vendor 0x{:06X}", basUtils::ByteArrayToLong(rom.RawData, 1, 3, true)));
    const bool shown = minimal || basConfigRom::FormatConfigRomApple(tree, rom) == 1;
    const bool whole = minimal || (shown && basConfigRom::IsWhole(rom));
    for (const basConfigRom::RomRow& row : tree.Rows)
        call.Print(std::string(2 * DepthOf(tree, row), ' ') + Printable(row.Text));
    call.report.Answer = {{"whole", whole}, {"rows", RowsJson(tree)}};
    return whole;
}

bool HasRows(const Call& call) {
    return !call.report.Answer["rows"].empty();
}

void Check(Call& call, const RomRead& read) {
    const auto findings = basConfigRom::CheckConfigRom(read.rom, AllKnown(read.image) ? read.image.Bytes : ByteArray());
    call.report.Answer["summary"] = basConfigRom::SummaryText(findings);
    call.report.Answer["findings"] = FindingsJson(findings);
    for (const std::string& line : basConfigRom::CheckLines(findings))
        call.Print(Printable(line));
    if (!findings.empty() && IsFault(findings.front()))
        call.End(Verdict::Differs,
                 fmt::format("The config ROM of {} has faults: {}.", read.name, basConfigRom::SummaryText(findings)));
}

void Save(Call& call, const RomRead& read, const std::string& path) {
    if (!WriteOutput(call, path, read.image.Bytes))
        return;
    const auto gaps = std::ranges::count(read.image.Known, false);
    call.report.Answer["saved"] = {{"file", path}, {"bytes", read.image.Bytes.size()}, {"unknownQuadlets", gaps}};
    call.Tell(fmt::format("hoistline: {} bytes saved in \"{}\"", read.image.Bytes.size(), Printable(path)));
    if (gaps > 0)
        call.TellAnyway(fmt::format("hoistline: {} quadlets of the ROM couldn't be read and are saved as 0", gaps));
}

// A file is what it is; the rest of a node's ROM could be read another time.
void EndIncomplete(Call& call, const RomRead& read) {
    if (read.isFile && !HasRows(call))
        call.End(Verdict::Refused, fmt::format("{} holds no config ROM.", read.name));
    else
        call.End(read.isFile ? Verdict::Refused : Verdict::Failed,
                 fmt::format("Only part of the config ROM of {} could be read.", read.name));
}

void Rom(Call& call, const RomOptions& options) {
    RomRead read;
    if (MeansFile(options.subject)) {
        if (!ReadFile(call, options.subject, read))
            return;
    } else {
        if (const std::string fault = FaultOfName(options.subject); !fault.empty()) {
            call.End(Verdict::Usage, fault + ", or a file that exists.");
            return;
        }
        BusSession session(call);
        if (!session.OpenBus() || !ReadNode(call, options.subject, read))
            return;
    }
    const bool whole = ShowRows(call, read.rom);
    if (!options.save.empty())
        Save(call, read, options.save);
    if (!whole && !(read.isFile && HasRows(call))) // a fault tells more of a file than that it isn't whole
        EndIncomplete(call, read);
    if (options.check)
        Check(call, read);
    if (!whole)
        EndIncomplete(call, read);
}

} // namespace

void AddRom(CommandSet& set) {
    auto options = std::make_shared<RomOptions>();
    CLI::App* command =
        set.Add("rom", "show, save and check a config ROM", [options](Call& call) { Rom(call, *options); });
    AddFile(command, "--save", options->save, "also write the ROM's image: its quadlets from the base on, big-endian");
    command->add_flag("--check", options->check,
                      "also check CRCs, entries against IEEE 1212, and for quadlets that nothing refers to");
    command
        ->add_option(
            "DEVICE|FILE", options->subject,
            "a device by its GUID or as \"#2\", not needed when there is only one node; or the file of an image")
        ->type_name("");
}

} // namespace cli
