#include "StateDirectory.h"
#include "FileBytes.h"
#include "JsonReader.h"

#include <fmt/format.h>
#include <unistd.h>
#include <zlib.h>

#include <filesystem>
#include <vector>

namespace simulator {
namespace {

namespace files = std::filesystem;

constexpr const char *IDENTITY = "identity.json", *KEYS = "keys.json";

std::string SectionFile(const char* section) {
    return std::string(section) + ".bin";
}

EightBytes ReadEightBytes(ObjectReader& reader, const char* key) {
    const Json* value = reader.Find(key);
    const Bytes bytes = value == nullptr ? Bytes{} : BytesFromJson(*value, reader.PathOf(key));
    if (bytes.size() != 8)
        reader.Refuse(key, "must have 8 bytes");
    return ToEightBytes({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, '\0');
}

EightBytes ReadHex(ObjectReader& reader, const char* key) {
    Bytes bytes;
    if (!FromHex(reader.Text(key, ""), bytes) || bytes.size() != 8)
        reader.Refuse(key, "must be 16 hex digits");
    return ToEightBytes({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, '\0');
}

Json SectionToJson(const Section& section) {
    return {{"id", section.identity.id},
            {"version", section.identity.version},
            {"date", BytesToJson(section.identity.date)},
            {"time", BytesToJson(section.identity.time)},
            {"valid", section.valid},
            {"size", section.content.size()},
            {"crc", section.crc}};
}

// The content's size goes to `size`; the content has a file of its own.
Section SectionFromJson(const Json& value, const std::string& path, std::size_t& size) {
    ObjectReader reader(value, path);
    Section section;
    section.identity.id = reader.Number32("id", 0);
    section.identity.version = reader.Number32("version", 0);
    section.identity.date = ReadEightBytes(reader, "date");
    section.identity.time = ReadEightBytes(reader, "time");
    section.valid = reader.Flag("valid", false);
    size = reader.Number32("size", 0);
    section.crc = reader.Number32("crc", 0);
    reader.Finish();
    return section;
}

Bytes TextBytes(const Json& document) {
    const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    return {text.begin(), text.end()};
}

} // namespace

bool CanWriteTo(const std::string& directory) {
    try {
        CreateDirectories(directory);
    } catch (const std::exception&) {
        return false;
    }
    return access(directory.c_str(), W_OK | X_OK) == 0;
}

std::string StateDirectory::FileOf(const std::string& name) const {
    return (files::path(path_) / name).string();
}

void StateDirectory::Load(TargetState& state) {
    if (path_.empty())
        return;
    std::vector<std::string> written{IDENTITY, KEYS};
    for (const char* section : SECTION_NAMES)
        written.push_back(SectionFile(section));
    RemoveStaleDrafts(path_, written);
    LoadIdentity(state);
    LoadKeys(state);
}

void StateDirectory::LoadIdentity(TargetState& state) {
    const std::string path = FileOf(IDENTITY);
    const std::optional<Bytes> text = ReadFile(path);
    if (!text)
        return; // nothing saved yet
    TargetState read = state;
    SectionSizes sizes{};
    try {
        const Json document = ParseJson({text->begin(), text->end()});
        ObjectReader reader(document, "");
        read.guid = ReadHex(reader, "guid");
        read.debugGuid = ReadHex(reader, "debugGuid");
        read.mac = ReadHex(reader, "mac");
        read.inBootloader = reader.Word("mode", {"application", "bootloader"}) == 1;
        for (std::size_t i = 0; i < SECTION_NAMES.size(); ++i)
            if (const Json* section = reader.Find(SECTION_NAMES[i]))
                read.sections[i] = SectionFromJson(*section, reader.PathOf(SECTION_NAMES[i]), sizes[i]);
        reader.Finish();
    } catch (const DescriptionError& failure) {
        report_(fmt::format("{}: {}; the file is ignored", path, failure.what()));
        return;
    }
    state = read;
    LoadSections(state, sizes);
}

void StateDirectory::LoadSections(TargetState& state, const SectionSizes& sizes) {
    for (std::size_t i = 0; i < SECTION_NAMES.size(); ++i) {
        if (sizes[i] == 0)
            continue;
        Section& section = state.sections[i];
        const std::string path = FileOf(SectionFile(SECTION_NAMES[i]));
        section.content = ReadFile(path).value_or(Bytes{});
        const auto crc = static_cast<std::uint32_t>(crc32_z(0, section.content.data(), section.content.size()));
        if (section.content.size() != sizes[i] || (section.valid && crc != section.crc)) {
            report_(fmt::format("{}: doesn't hold what identity.json says; the section counts as erased", path));
            section = {section.identity, {}, 0, false};
        }
    }
}

void StateDirectory::LoadKeys(TargetState& state) {
    const std::string path = FileOf(KEYS);
    const std::optional<Bytes> text = ReadFile(path);
    if (!text)
        return;
    try {
        const Json document = ParseJson({text->begin(), text->end()});
        const ObjectReader reader(document, "");
        KeyTable keys;
        for (const auto& item : document.items())
            keys[item.key()] = BytesFromJson(item.value(), reader.PathOf(item.key()));
        state.keys = keys;
    } catch (const DescriptionError& failure) {
        report_(fmt::format("{}: {}; the file is ignored", path, failure.what()));
    }
}

void StateDirectory::SaveIdentity(const TargetState& state) {
    Json document = {{"guid", ToHex(state.guid)},
                     {"debugGuid", ToHex(state.debugGuid)},
                     {"mac", ToHex(state.mac)},
                     {"mode", state.inBootloader ? "bootloader" : "application"}};
    for (std::size_t i = 0; i < SECTION_NAMES.size(); ++i)
        document[SECTION_NAMES[i]] = SectionToJson(state.sections[i]);
    Write(IDENTITY, TextBytes(document));
}

void StateDirectory::SaveKeys(const TargetState& state) {
    Json document = Json::object();
    for (const auto& [name, value] : state.keys)
        document[name] = BytesToJson(value);
    Write(KEYS, TextBytes(document));
}

void StateDirectory::SaveSection(const TargetState& state, std::uint8_t imageType) {
    // The content first: an identity without its content would count as damage.
    Write(SectionFile(SECTION_NAMES[imageType]), state.sections[imageType].content);
    SaveIdentity(state);
}

void StateDirectory::Write(const std::string& name, ByteView content) {
    if (path_.empty())
        return;
    try {
        ReplaceFile(FileOf(name), content);
    } catch (const std::exception& failure) {
        report_(fmt::format("{}; the state stays in memory", failure.what()));
        path_.clear();
    }
}

} // namespace simulator
