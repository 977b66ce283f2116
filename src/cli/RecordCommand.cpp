// hoistline record: shows a record of a bus, makes a bus description of it, and copies it without secrets.
#include "BusFromRecord.h"
#include "CallFiles.h"
#include "Commands.h"
#include "Decoding.h"
#include "RecordReader.h"
#include "RecordWriter.h"
#include "Redaction.h"
#include "Twl1394api.h"

#include <algorithm>

namespace cli {

namespace {

using recording::Entry;
using recording::Kind;

struct RecordFiles {
    std::string record, output;
};

struct ResultRow {
    std::int32_t code;
    const char* text;
};
constexpr ResultRow RESULTS[] = {{TWL1394_NODE_DID_NOT_RESPOND, "node did not respond"},
                                 {TWL1394_BUS_RESET, "bus reset"},
                                 {TWL1394_SHUTTING_DOWN, "shutting down"},
                                 {TWL1394_ADDRESS_ERROR, "address error"},
                                 {TWL1394_TIMED_OUT, "timed out"},
                                 {TWL1394_NO_RESPONSE, "no response"}};

constexpr ResultRow NOTICES[] = {{TWL1394_NOTICE_BUS_RESET_VHPD, "bus reset"},
                                 {TWL1394_NOTICE_DEVICE_CHANGE, "device change"},
                                 {TWL1394_NOTICE_BUS_RESET, "bus reset"},
                                 {TWL1394_NOTICE_INCOMING_DATA, "incoming data"},
                                 {TWL1394_NOTICE_DRIVER_ERROR, "driver error"}};

template <std::size_t Count> std::string TextOf(const ResultRow (&rows)[Count], std::int32_t code) {
    const auto* row = std::ranges::find(rows, code, &ResultRow::code);
    const std::string number = code < 0 ? fmt::format("0x{:08X}", Bits(code)) : std::to_string(code);
    return row == std::end(rows) ? number : fmt::format("{} ({})", row->text, number);
}

// Of operations other than transactions, whose success is 1 for the first three and 0 for the others.
bool Succeeded(const Entry& entry) {
    const bool byOne = entry.kind <= Kind::HookSystemModule || entry.kind == Kind::SetDebugSpew ||
                       entry.kind == Kind::GetVirtualDeviceList || recording::IsTransaction(entry.kind);
    return entry.result == (byOne ? 1 : 0);
}

std::string Shown(const recording::Bytes& data) {
    constexpr std::size_t MOST = 24;
    return data.size() <= MOST ? fmt::format("{:02x}", fmt::join(data, ""))
                               : fmt::format("{:02x}...", fmt::join(data.begin(), data.begin() + MOST, ""));
}

// Lines of text, each with its end; control characters are shown.
std::string OneLine(std::string text) {
    while (text.ends_with('\n') || text.ends_with('\r'))
        text.pop_back();
    std::ranges::replace(text, '\n', ' ');
    return Printable(std::move(text));
}

std::string DetailsOf(const Entry& entry, const record::Meaning& meaning) {
    switch (entry.kind) {
    case Kind::Notice:
        return TextOf(NOTICES, static_cast<std::int32_t>(entry.number));
    case Kind::GetLocalHostInformation:
        return fmt::format("{:012x} {} bytes", entry.address, entry.size);
    case Kind::AllocateAddressRange:
        return fmt::format("{:012x} {} bytes, handle {}", entry.address, entry.size, entry.number);
    case Kind::FreeAddressRange:
        return fmt::format("handle {}", entry.number);
    case Kind::Get1394Address:
        return fmt::format("bus {}, node {}", entry.number >> 6, entry.number & 0x3F);
    case Kind::SetDebugSpew:
        return fmt::format("level {}", entry.number);
    case Kind::Read:
    case Kind::Write:
        break;
    default:
        return OneLine(entry.text);
    }
    std::string text = fmt::format("node {:<2} {:012x} {:>4} bytes  ", entry.node, entry.address, entry.size);
    text += Printable(record::TextOf(meaning));
    if (!entry.data.empty() && (meaning.Fields.empty() || meaning.Fields.front().Name == "offset"))
        text += (entry.isDigest ? "  digest " : "  ") + Shown(entry.data);
    return text;
}

std::string LineOf(const Entry& entry, const record::Meaning& meaning) {
    std::string line = fmt::format("{:>12.3f}  {:<6} {}", static_cast<double>(entry.start) / 1000, NameOf(entry.kind),
                                   DetailsOf(entry, meaning));
    if (recording::IsOperation(entry.kind) && !Succeeded(entry))
        line += "  -> " + TextOf(RESULTS, entry.result);
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

Json MeaningJson(const record::Meaning& meaning) {
    Json json = {{"name", meaning.Name}};
    for (const record::Field& field : meaning.Fields)
        json[field.Name] = field.IsNumber ? Json(std::stoll(field.Value)) : Json(field.Value);
    return json;
}

Json EntryJson(const Entry& entry, const record::Meaning& meaning) {
    Json json = {{"ms", static_cast<double>(entry.start) / 1000}, {"operation", NameOf(entry.kind)}};
    if (recording::IsOperation(entry.kind))
        json["tookMs"] = static_cast<double>(entry.end - entry.start) / 1000;
    if (recording::IsTransaction(entry.kind))
        json.update({{"node", entry.node},
                     {"address", fmt::format("0x{:012x}", entry.address)},
                     {"size", entry.size},
                     {"timeout", entry.timeoutMs},
                     {entry.isDigest ? "digest" : "data", fmt::format("{:02x}", fmt::join(entry.data, ""))}});
    else if (const std::string details = DetailsOf(entry, meaning); !details.empty())
        json["text"] = details;
    json["result"] = entry.kind == Kind::Notice ? entry.number : Bits(entry.result);
    if (!meaning.Name.empty())
        json["meaning"] = MeaningJson(meaning);
    return json;
}

bool Open(Call& call, const std::string& path, recording::RecordReader& reader) {
    std::string reason;
    return reader.Open(path, reason) ||
           call.End(Verdict::Refused, fmt::format("\"{}\" can't be read: {}.", path, reason));
}

const char* WordOf(recording::Fault ending) {
    return ending == recording::Fault::None ? "whole" : ending == recording::Fault::Cut ? "cut" : "damaged";
}

// All entries to their end, which is told when it isn't that of the file; false when something ended the call.
template <class Take> bool ReadAll(Call& call, recording::RecordReader& reader, Take take) {
    constexpr std::uint64_t BETWEEN_CHECKS = 256;
    for (Entry entry; reader.Next(entry);) {
        take(entry);
        if (reader.Here().index % BETWEEN_CHECKS == 0 && call.MustEnd())
            return false;
    }
    if (reader.Ending() != recording::Fault::None)
        call.Tell(fmt::format("hoistline: the record {} after its entry {}",
                              reader.Ending() == recording::Fault::Cut ? "is cut" : "is damaged", reader.Here().index));
    return !call.MustEnd();
}

void Show(Call& call, const std::string& path) {
    recording::RecordReader reader;
    if (!Open(call, path, reader))
        return;
    call.streamed = true;
    record::Decoder decoder;
    std::ignore = ReadAll(call, reader, [&](const Entry& entry) {
        const record::Meaning meaning = decoder.Decode(entry);
        if (call.WantsLines())
            call.Print(LineOf(entry, meaning));
        else
            call.PrintEvent({{"event", "entry"}, {"entry", EntryJson(entry, meaning)}});
    });
    call.report.Answer = {{"record", path}, {"entries", reader.Here().index}, {"ending", WordOf(reader.Ending())}};
}

void ToBus(Call& call, const RecordFiles& files) {
    recording::RecordReader reader;
    record::BusFromRecord bus;
    if (!Open(call, files.record, reader) || !ReadAll(call, reader, [&](const Entry& entry) { bus.Take(entry); }))
        return;
    const Json description = bus.Description();
    for (const std::string& doubt : bus.Doubts())
        call.Tell("hoistline: " + doubt);
    call.report.Answer = {{"record", files.record}, {"bus", description}};
    const std::string text = Dump(description, 2) + "\n";
    if (files.output.empty())
        return call.Print(std::string_view(text).substr(0, text.size() - 1));
    if (!WriteOutput(call, files.output, ByteArray(text.begin(), text.end())))
        return;
    call.Print(fmt::format("{}: {} nodes, {} faults", Printable(files.output), description["nodes"].size(),
                           description["faults"].size()));
}

void Redact(Call& call, const RecordFiles& files) {
    recording::RecordReader reader;
    recording::RecordWriter writer;
    recording::Redaction redaction;
    std::string reason;
    if (!Open(call, files.record, reader))
        return;
    if (!writer.Create(files.output, reason)) {
        call.End(Verdict::Failed, fmt::format("\"{}\" can't be created: {}.", files.output, reason));
        return;
    }
    const bool all = ReadAll(call, reader, [&](Entry& entry) {
        if (redaction.Apply(entry))
            writer.Append(entry);
    });
    if (all && !writer.IsOpen())
        call.End(Verdict::Failed, fmt::format("\"{}\" can't be written: {}.", files.output, writer.Reason()));
    if (call.Ended())
        return;
    call.Print(fmt::format("{}: {} entries", Printable(files.output), reader.Here().index));
    call.report.Answer = {{"record", files.record}, {"file", files.output}, {"entries", reader.Here().index}};
}

void AddRecordArgument(CLI::App* command, std::string& path) {
    AddFile(command, "RECORD", path, "a record that --record has written")->required()->type_name("");
}

} // namespace

void AddRecord(CommandSet& set) {
    CLI::App* group = set.AddGroup("record", "show a record of a bus, make a simulated bus of it, or redact it");
    const auto add = [&](const char* name, const char* summary, void (*run)(Call&, const RecordFiles&)) {
        auto files = std::make_shared<RecordFiles>();
        CLI::App* command = set.Add(
            name, summary, [files, run](Call& call) { run(call, *files); }, group);
        AddRecordArgument(command, files->record);
        return std::pair(command, files);
    };
    add("show", "show what happened on the bus, with the bootloader's protocol decoded",
        [](Call& call, const RecordFiles& files) { Show(call, files.record); });
    const auto [toBus, busFiles] =
        add("to-bus",
            "make a bus description of what was seen, with the faults where they happened, for --bus simulated:FILE",
            ToBus);
    AddFile(toBus, "-o,--output", busFiles->output, "write it to this file in place of standard output");
    const auto [redact, redactFiles] =
        add("redact", "copy a record with images and keys replaced by digests, and GUIDs by counters", Redact);
    AddFile(redact, "-o,--output", redactFiles->output, "the copy, which must not exist")->required();
}

} // namespace cli
