// romview FILE [--json]: the rows of a config ROM image, as the config ROM window shows them.
//
// The file holds the quadlets from the ROM's base on, big-endian, or in the order in which Linux
// exposes a ROM on a little-endian machine (told apart by the bus name in the second quadlet).
// Exit codes: 0 the whole ROM printed; 1 only a part, since the file ends before the ROM does or the
// ROM is none; 2 usage or unreadable file.

#include "ConfigRomText.h"
#include "Failure.h"
#include "RomFile.h"
#include "basConfigRom.h"
#include "basDebug.h"
#include "basUtils.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>

namespace {

void PrintText(const basConfigRom::RomTree& tree) {
    const std::string text = basConfigRom::RomText(tree);
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void PrintJson(const basConfigRom::RomTree& tree) {
    nlohmann::json rows = nlohmann::json::array();
    for (const basConfigRom::RomRow& row : tree.Rows)
        rows.push_back({{"key", row.Key}, {"parent", row.Parent}, {"text", row.Text}, {"expanded", row.Expanded}});
    std::printf("%s\n", rows.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Shows a config ROM image as rows of text.\n"
                 "Exit code: 0 all of it; 1 rows of what could be made of it; 2 no such file, or bad arguments"};
    std::string path;
    bool json = false;
    app.add_option("FILE", path, "ROM image: the quadlets from the ROM's base on")->required();
    app.add_flag("--json", json, "rows as JSON");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }

    basDebug::hooks.echo = [](std::string_view message, std::int32_t level, std::string_view) {
        std::fprintf(stderr, "%s: %.*s\n", basDebug::GetLevelName(level).c_str(), int(message.size()), message.data());
    };
    ByteArray image;
    std::int32_t read = -1;
    platform::Attempt(
        [&] { read = basUtils::ReadFileBytes(path, image); },
        [](const platform::Failure& failure) { std::fprintf(stderr, "romview: %s\n", failure.Description.c_str()); });
    if (read != 1) {
        std::fprintf(stderr, "romview: cannot read '%s'\n", path.c_str());
        return 2;
    }
    image.pop_back(); // the 0 behind the file's bytes
    ConfigRomRecord rom;
    basConfigRom::ReadRomImage(image, rom);
    basConfigRom::RomTree tree;
    const bool whole = basConfigRom::FormatConfigRomApple(tree, rom) == 1 && basConfigRom::IsWhole(rom);
    json ? PrintJson(tree) : PrintText(tree);
    if (!whole)
        std::fprintf(stderr, "romview: '%s' doesn't hold a whole config ROM\n", path.c_str());
    return whole ? 0 : 1;
}
