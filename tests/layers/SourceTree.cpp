#include "SourceTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <set>

namespace fs = std::filesystem;

namespace {

// Folder -> the folders that it may include besides itself. The longest folder that fits a path
// is its layer.
const std::map<std::string, std::set<std::string>>& AllowedBelow() {
    static const std::map<std::string, std::set<std::string>> allowed = [] {
        std::map<std::string, std::set<std::string>> made;
        const auto layer = [&made](const std::string& name, const std::vector<std::string>& direct) {
            for (const std::string& below : direct) {
                made[name].insert(below);
                made[name].insert(made[below].begin(), made[below].end());
            }
            made[name].insert(name);
        };
        layer("platform", {});
        layer("app", {"platform"});
        layer("store", {"app"});
        layer("configrom/records", {"platform"});
        layer("bus", {"app", "configrom/records"});
        layer("configrom", {"bus"});
        layer("bus/enumeration", {"configrom"});
        layer("firmware/format", {"app"});
        layer("bootloader", {"configrom", "firmware/format"});
        layer("firmware", {"bootloader"});
        layer("automation", {"firmware"});
        layer("wiring", {"automation", "store", "bus/enumeration"});
        layer("ui", {"automation", "store", "bus/enumeration"});
        layer("", {"ui", "wiring"});
        made["platform/testing"] = {"platform", "platform/testing"};
        made["bus/simulator"] = {"bus/simulator", "bus/Twl1394api.h"};
        return made;
    }();
    return allowed;
}

std::string LayerOf(const std::string& path) {
    std::string layer;
    for (const auto& [folder, below] : AllowedBelow())
        if (path.rfind(folder + "/", 0) == 0 && folder.size() > layer.size())
            layer = folder;
    return layer;
}

std::vector<std::string> IncludesOf(const std::string& text) {
    static const std::regex include(R"re(#include "([^"]+)")re");
    std::vector<std::string> names;
    for (std::sregex_iterator match(text.begin(), text.end(), include), end; match != end; ++match)
        names.push_back((*match)[1]);
    return names;
}

bool IsHeader(const std::string& path) {
    return path.size() > 2 && path.substr(path.size() - 2) == ".h";
}

std::map<std::string, std::string> HeadersByName(const SourceTree& tree, std::vector<std::string>& findings) {
    std::map<std::string, std::string> headers;
    for (const auto& [path, text] : tree) {
        if (!IsHeader(path))
            continue;
        const std::string name = fs::path(path).filename().string();
        if (!headers.emplace(name, path).second && LayerOf(path) != "bus/simulator" &&
            LayerOf(headers[name]) != "bus/simulator")
            findings.push_back(fmt::format("{} and {} have one name", headers[name], path));
        if (LayerOf(headers[name]) == "bus/simulator")
            headers[name] = path; // the simulator's own headers are out of the others' reach
    }
    return headers;
}

bool Allowed(const std::string& from, const std::string& to) {
    const auto& below = AllowedBelow().at(LayerOf(from));
    return below.count(LayerOf(to)) != 0 || below.count(to) != 0;
}

} // namespace

SourceTree ReadSources(const std::string& folder) {
    SourceTree tree;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".h" && extension != ".cpp")
            continue;
        std::ifstream file(entry.path());
        tree[fs::relative(entry.path(), folder).string()] = std::string(std::istreambuf_iterator<char>(file), {});
    }
    return tree;
}

std::vector<std::string> UpwardEdges(const SourceTree& tree) {
    std::vector<std::string> findings;
    const auto headers = HeadersByName(tree, findings);
    std::map<std::string, std::vector<std::string>> edges;
    for (const auto& [path, text] : tree) {
        for (const std::string& name : IncludesOf(text)) {
            const std::string own = fs::path(path).parent_path().string() + "/" + name;
            const auto found = headers.find(name);
            if (tree.count(own) == 0 && found == headers.end())
                continue;
            const std::string target = tree.count(own) != 0 ? own : found->second;
            edges[path].push_back(target);
            if (!Allowed(path, target))
                findings.push_back(fmt::format("{} -> {}", path, target));
        }
        if (!LayerOf(path).empty() && LayerOf(path) != "ui" && text.find("#include <Q") != std::string::npos)
            findings.push_back(fmt::format("{} includes Qt", path));
    }
    std::set<std::string> done, open;
    const std::function<void(const std::string&)> visit = [&](const std::string& path) {
        if (done.count(path) != 0)
            return;
        open.insert(path);
        for (const std::string& target : edges[path]) {
            if (open.count(target) != 0)
                findings.push_back(fmt::format("{} -> {} closes a loop", path, target));
            else
                visit(target);
        }
        open.erase(path);
        done.insert(path);
    };
    for (const auto& [path, text] : tree)
        visit(path);
    return findings;
}

std::vector<std::string> OwnClocks(const SourceTree& tree) {
    static const std::regex clocks(
        R"(sleep_for|sleep_until|\busleep\(|nanosleep|system_clock|steady_clock|clock_gettime|gettimeofday|[^a-zA-Z_]time\((nullptr|NULL|0)\)|QElapsedTimer|QThread::\w*sleep|QTimer|currentDateTime)");
    std::vector<std::string> findings;
    for (const auto& [path, text] : tree) {
        const bool ownClock = LayerOf(path) == "platform" || path == "bus/simulator/SimulatedClock.cpp" ||
                              path == "bus/simulator/SimulatedClock.h" || path == "ui/QtWindowSystem.cpp";
        std::smatch match;
        if (!ownClock && std::regex_search(text, match, clocks))
            findings.push_back(fmt::format("{}: {}", path, match.str()));
    }
    return findings;
}
