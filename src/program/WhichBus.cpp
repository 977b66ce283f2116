#include "WhichBus.h"

#include "Checks.h"
#include "Files.h"
#include "Paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace program {

namespace {

constexpr const char* DESCRIPTION_FILE = "simulated-bus.json";

struct ReasonText {
    const char* name;
    const char* source;
};
constexpr ReasonText REASONS[] = {
    {"option", "named by --bus"},
    {"variable", "named by HOISTLINE_BUS"},
    {"setting", "named by the setting Bus"},
    {"description-file", "simulated-bus.json lies beside the program"},
    {"adapter", "this machine has an adapter"},
    {"no-adapter", "this machine has no adapter"},
};

const ReasonText& TextsOf(BusReason reason) {
    return REASONS[static_cast<std::size_t>(reason)];
}

std::size_t PathIn(std::string_view bus) {
    const std::size_t colon = bus.find(':');
    return colon == std::string_view::npos || bus.starts_with("kernel") ? std::string_view::npos : colon + 1;
}

WhichBus Named(BusReason reason, const std::string& text) {
    if (const auto choice = bas1394::ParseBus(text))
        return {*choice, reason};
    return {
        {}, reason, fmt::format("\"{}\" ({}) isn't a bus; use {}.", text, TextsOf(reason).source, bas1394::BUS_FORMS)};
}

bool DescriptionLiesBesideProgram() {
    return platform::FindFirstFileA(platform::JoinPath(platform::ProgramDirectory(), DESCRIPTION_FILE)).has_value();
}

std::string DescriptionOf(const bas1394::BusChoice& choice) {
    switch (choice.Kind) {
    case bas1394::BusKind::Kernel:
        return "the kernel's FireWire devices" + (choice.Description.empty() ? "" : ", card " + choice.Description);
    case bas1394::BusKind::Library:
        return "access library " + choice.Description;
    case bas1394::BusKind::Replay:
        return "replay of " + choice.Description;
    case bas1394::BusKind::Simulated:
        break;
    }
    return "simulated" + (choice.Description.empty() ? "" : ", " + choice.Description);
}

} // namespace

WhichBus DecideBus(const std::string& option, const std::string& variable, const std::string& setting) {
    const std::pair<BusReason, const std::string&> named[] = {
        {BusReason::Option, option}, {BusReason::Variable, variable}, {BusReason::Setting, setting}};
    for (const auto& [reason, text] : named)
        if (!text.empty())
            return Named(reason, text);
    if (DescriptionLiesBesideProgram())
        return {{bas1394::BusKind::Simulated, {}}, BusReason::DescriptionFile};
    return {{bas1394::BusKind::Kernel, {}},
            doctor::HasAdapter(doctor::ThisMachine()) ? BusReason::Adapter : BusReason::NoAdapter};
}

const char* NameOf(BusReason reason) {
    return TextsOf(reason).name;
}

std::string BusText(const WhichBus& bus) {
    return fmt::format("{} ({})", DescriptionOf(bus.Choice), TextsOf(bus.Reason).source);
}

std::string WhyNoBus() {
    const std::vector<doctor::Row> rows = doctor::Examine(doctor::ThisMachine());
    const auto bad = std::ranges::find_if(rows, [](const doctor::Row& row) {
        return row.Verdict == doctor::Health::Bad && row.IfBad == doctor::Harm::Bus;
    });
    return bad == rows.end() ? std::string() : doctor::TextOf(*bad);
}

std::string CallersBus(const std::string& bus) {
    const std::size_t path = PathIn(bus);
    if (path >= bus.size() || bus[path] == '/')
        return bus;
    return bus.substr(0, path) + platform::JoinPath(platform::CurrentDirectory(), bus.substr(path));
}

std::string StoredBusFault(const std::string& bus) {
    if (bus.empty())
        return {};
    const auto choice = bas1394::ParseBus(bus);
    if (!choice)
        return fmt::format("it isn't {}", bas1394::BUS_FORMS);
    if (choice->Kind == bas1394::BusKind::Replay) // every start would repeat an old one
        return fmt::format("a replay isn't for every start; name it by --bus or {}", BUS_VARIABLE);
    const std::size_t path = PathIn(bus);
    return path < bus.size() && bus[path] != '/' ? "its file needs a whole path, from / on" : "";
}

} // namespace program
