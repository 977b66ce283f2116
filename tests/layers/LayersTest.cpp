// The includes of the source tree, held against the order of its layers.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>

namespace {

namespace fs = std::filesystem;
using SourceTree = std::map<std::string, std::string>; // path below the source folder -> text

// Layer -> what it may include besides itself: layers with all that these may include, or one header.
const std::map<std::string, std::vector<std::string>> BELOW{
    {"platform/text", {}},
    {"platform/kernel", {"platform/text"}},
    {"platform/files", {"platform/kernel"}},
    {"platform/processes", {"platform/files"}},
    {"platform/storage", {"platform/files"}},
    {"platform/testing", {"platform/processes", "platform/storage"}},
    {"app", {"platform/processes", "platform/storage"}},
    {"store", {"app"}},
    {"access", {}},
    {"access/simulated", {"access"}},
    {"access/kernel", {"access"}},
    {"access/recording", {"access"}},
    {"access/record", {"access/recording", "access/simulated/SimulatedClock.h", "access/simulated/Simulator.h"}},
    {"access/replay", {"access/recording", "access/simulated/SimulatedClock.h", "access/simulated/Simulator.h"}},
    {"configrom/records", {"platform/text"}},
    {"bus", {"app", "access", "configrom/records"}},
    {"configrom", {"app", "configrom/records"}},
    {"configrom/nodes", {"bus", "configrom"}},
    {"bus/enumeration", {"configrom/nodes"}},
    {"firmware/format", {"app"}},
    {"bootloader", {"bus", "configrom", "firmware/format"}},
    {"firmware", {"bootloader"}},
    {"record", {"bootloader", "access/recording"}},
    {"automation", {"firmware"}},
    {"program", {"automation", "store", "bus/enumeration", "doctor"}},
    {"ui/logic", {"firmware", "configrom/nodes"}},
    {"ui/widgets", {"ui/logic"}},
    {"ui/windows", {"ui/widgets", "program"}},
    {"doctor", {"platform/files"}},
    {"cli", {"program", "record"}},
    {"", {"ui/windows", "cli"}},
};

// The longest folder that fits a path.
std::string LayerOf(const std::string& path) {
    std::string layer;
    for (const auto& [folder, below] : BELOW)
        if (path.starts_with(folder + "/") && folder.size() > layer.size())
            layer = folder;
    return layer;
}

bool MayInclude(const std::string& layer, const std::string& path) {
    const auto below = BELOW.find(layer);
    return layer == LayerOf(path) || layer == path ||
           (below != BELOW.end() &&
            std::ranges::any_of(below->second, [&](const std::string& next) { return MayInclude(next, path); }));
}

SourceTree ReadSources() {
    SourceTree tree;
    for (const auto& entry : fs::recursive_directory_iterator(SOURCE_FOLDER)) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".h" && extension != ".cpp")
            continue;
        std::ifstream file(entry.path());
        tree[fs::relative(entry.path(), SOURCE_FOLDER).string()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return tree;
}

// A line for each header name that stands twice, each include that runs upward, each Qt header
// below the windows, and each file that leads into an include loop.
std::string IncludeFaults(const SourceTree& tree) {
    static const std::regex include(R"re(#include "([^"]+)")re");
    std::string faults;
    std::map<std::string, std::string> headers;
    for (const auto& [path, text] : tree)
        if (path.ends_with(".h") && !headers.emplace(fs::path(path).filename(), path).second)
            faults += path + " has the name of another header\n";
    std::map<std::string, std::vector<std::string>> included;
    for (const auto& [path, text] : tree) {
        const std::string layer = LayerOf(path);
        for (std::sregex_iterator match(text.begin(), text.end(), include), end; match != end; ++match) {
            const auto target = headers.find((*match)[1]);
            if (target == headers.end())
                continue;
            included[path].push_back(target->second);
            if (!MayInclude(layer, target->second))
                faults += fmt::format("{} -> {}\n", path, target->second);
        }
        if (!layer.empty() && layer != "ui/widgets" && layer != "ui/windows" &&
            text.find("#include <Q") != std::string::npos)
            faults += path + " includes Qt\n";
    }
    const auto leadsNowhere = [&](const auto& file) {
        return std::ranges::none_of(file.second, [&](const std::string& next) { return included.contains(next); });
    };
    while (std::erase_if(included, leadsNowhere) != 0)
        ;
    for (const auto& [path, next] : included)
        faults += path + " leads into a loop\n";
    return faults;
}

// A line for each file outside the platform that sleeps or reads a clock by itself.
std::string OwnClocks(const SourceTree& tree) {
    static const std::regex clocks(
        R"(sleep_for|sleep_until|\busleep\(|nanosleep|system_clock|steady_clock|clock_gettime|gettimeofday|[^a-zA-Z_]time\((nullptr|NULL|0)\)|QElapsedTimer|QThread::\w*sleep|QTimer|currentDateTime)");
    std::string faults;
    for (const auto& [path, text] : tree) {
        const bool ownClock = path.starts_with("platform/") || path.starts_with("access/simulated/SimulatedClock.") ||
                              path == "access/kernel/KernelCalls.cpp" || path == "access/record/WallClock.cpp" ||
                              path == "ui/widgets/QtWindowSystem.cpp";
        std::smatch match;
        if (!ownClock && std::regex_search(text, match, clocks))
            faults += fmt::format("{}: {}\n", path, match.str());
    }
    return faults;
}

TEST(Layers, IncludeDownwardOnlyAndLeaveTheTimeToThePlatform) {
    const SourceTree tree = ReadSources();
    ASSERT_GT(tree.size(), 50u);
    EXPECT_EQ(IncludeFaults(tree), "");
    EXPECT_EQ(OwnClocks(tree), "");
}

TEST(Layers, AFaultOfEachKindIsFound) {
    const SourceTree tree{{"app/B.h", "#include \"A.h\"\n"},
                          {"bus/C.cpp", "#include <QString>\nstd::this_thread::sleep_for(x);\n"},
                          {"bus/D.h", ""},
                          {"access/simulated/X.cpp", "#include \"D.h\"\n"},
                          {"firmware/D.h", ""},
                          {"platform/text/A.h", "#include \"B.h\"\n"},
                          {"store/S.cpp", "#include \"D.h\"\n"}};
    EXPECT_EQ(IncludeFaults(tree), "firmware/D.h has the name of another header\n"
                                   "access/simulated/X.cpp -> bus/D.h\n"
                                   "bus/C.cpp includes Qt\n"
                                   "platform/text/A.h -> app/B.h\n"
                                   "store/S.cpp -> bus/D.h\n"
                                   "app/B.h leads into a loop\n"
                                   "platform/text/A.h leads into a loop\n");
    EXPECT_EQ(OwnClocks(tree), "bus/C.cpp: sleep_for\n");
}

} // namespace
