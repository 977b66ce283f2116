#include "BusChoice.h"

#include <algorithm>

namespace bas1394 {

namespace {

constexpr BusKind KINDS[] = {BusKind::Simulated, BusKind::Kernel, BusKind::Library, BusKind::Replay};

bool IsCard(std::string_view text) {
    return text.size() <= 3 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

} // namespace

const char* NameOf(BusKind kind) {
    switch (kind) {
    case BusKind::Kernel:
        return "kernel";
    case BusKind::Library:
        return "library";
    case BusKind::Replay:
        return "replay";
    case BusKind::Simulated:
        break;
    }
    return "simulated";
}

std::string TextOf(const BusChoice& choice) {
    return NameOf(choice.Kind) + (choice.Description.empty() ? "" : ":" + choice.Description);
}

std::optional<BusChoice> ParseBus(std::string_view text) {
    const std::size_t colon = text.find(':');
    const auto kind =
        std::ranges::find_if(KINDS, [&](BusKind known) { return text.substr(0, colon) == NameOf(known); });
    if (kind == std::end(KINDS))
        return std::nullopt;
    const bool described = colon != std::string_view::npos;
    const std::string_view description = described ? text.substr(colon + 1) : "";
    if (described ? description.empty() : *kind == BusKind::Library || *kind == BusKind::Replay)
        return std::nullopt;
    if (*kind == BusKind::Kernel && !IsCard(description))
        return std::nullopt;
    return BusChoice{*kind, std::string(description)};
}

} // namespace bas1394
