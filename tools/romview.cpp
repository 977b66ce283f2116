// romview FILE [--json] [--check]: the rows of a config ROM image, as in the config ROM window, or the findings of its
// checks.
//
// The file holds the quadlets from the ROM's base on, big-endian, or in the order in which Linux
// exposes a ROM on a little-endian machine (distinguished by the bus name in the second quadlet).
// Exit codes: 0 the whole ROM was printed; 1 only part of it, because the file ends early or isn't a valid ROM, or a
// check found a fault; 2 usage or unreadable file.

#include "ConfigRomText.h"
#include "Failure.h"
#include "RomChecks.h"
#include "RomFile.h"
#include "basConfigRom.h"
#include "basDebug.h"
#include "basUtils.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

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

void PrintFindings(const std::vector<basConfigRom::RomFinding>& findings) {
    for (const std::string& line : basConfigRom::CheckLines(findings))
        if (!line.empty())
            std::printf("%s\r\n", line.c_str());
}

void PrintFindingsJson(const std::vector<basConfigRom::RomFinding>& findings) {
    nlohmann::json all = nlohmann::json::array();
    for (const basConfigRom::RomFinding& finding : findings)
        all.push_back({{"address", fmt::format("0x{:08X}", finding.Address)},
                       {"quadlet", finding.Quadlet()},
                       {"severity", basConfigRom::VerdictName(finding.Severity)},
                       {"code", finding.Code},
                       {"text", finding.Text}});
    std::printf("%s\n", all.dump(2).c_str());
}

// Messages of the reader, on standard error.
class ErrorLines : public basApp::FrontEnd {
public:
    bool StatusWindowWants(std::size_t, std::int32_t level) const override { return level >= LEVEL_WATCH; }
    void PostToStatusWindow(std::size_t, std::string_view message, float, std::int32_t level,
                            std::string_view) override {
        std::fprintf(stderr, "%s: %.*s\n", basDebug::GetLevelName(level).c_str(), int(message.size()), message.data());
    }
};

} // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Shows a config ROM image as rows of text.\n"
        "Exit code: 0 all of it; 1 rows of what could be made of it, or --check found a fault; 2 no such file, or "
        "bad arguments"};
    std::string path;
    bool json = false, check = false;
    app.add_option("FILE", path, "ROM image: the quadlets from the ROM's base on")->required();
    app.add_flag("--json", json, "as JSON");
    app.add_flag("--check", check, "in place of the rows: CRCs, quadlets that nothing refers to, faulty entries");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }

    ErrorLines errorLines;
    basApp::UseFrontEnd(&errorLines);
    ByteArray image;
    std::int32_t read = -1;
    platform::Attempt(
        [&] { read = basUtils::ReadFileBytes(path, image); },
        [](const platform::Failure& failure) { std::fprintf(stderr, "romview: %s\n", failure.Description.c_str()); });
    if (read != 1) {
        std::fprintf(stderr, "romview: cannot read '%s'\n", path.c_str());
        return 2;
    }
    image.pop_back(); // the 0 after the file's bytes
    image = basConfigRom::BigEndianImage(std::move(image));
    ConfigRomRecord rom;
    std::ignore = basConfigRom::ReadRomImage(image, rom); // IsWhole says more
    basConfigRom::RomTree tree;
    const bool whole = basConfigRom::FormatConfigRomApple(tree, rom) == 1 && basConfigRom::IsWhole(rom);
    bool faulty = false;
    if (check) {
        const auto findings = basConfigRom::CheckConfigRom(rom, image);
        json ? PrintFindingsJson(findings) : PrintFindings(findings);
        faulty = !findings.empty() && findings.front().Severity == basConfigRom::Verdict::Fault;
    } else {
        json ? PrintJson(tree) : PrintText(tree);
    }
    if (!whole)
        std::fprintf(stderr, "romview: '%s' doesn't hold a whole config ROM\n", path.c_str());
    return whole && !faulty ? 0 : 1;
}
