// A file name that messages show in another spelling than the one that was typed: the command line is processed in
// capitals, and only the typed spelling distinguishes "App.twd" from "app.twd".
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

namespace platform {

struct FileName {
    FileName() = default;
    FileName(std::string name) : Shown(name), Typed(std::move(name)) {} // both the same
    FileName(const char* name) : FileName(std::string(name)) {}
    FileName(std::string shown, std::string typed) : Shown(std::move(shown)), Typed(std::move(typed)) {}

    bool empty() const { return Shown.empty(); }
    void clear() { *this = {}; }
    FileName operator+(const std::string& tail) const { return {Shown + tail, Typed + tail}; }

    std::string Shown; // in messages
    std::string Typed; // what is opened
};

} // namespace platform

template <> struct fmt::formatter<platform::FileName> : fmt::formatter<std::string_view> {
    template <class Context> auto format(const platform::FileName& file, Context& context) const {
        return fmt::formatter<std::string_view>::format(file.Shown, context);
    }
};
