// A description that isn't right is refused with the place and the reason.
#include "SimulatedBus.h"

namespace {

struct Wrong {
    const char* document;
    const char* message; // what stands behind "description: " and the place
};

void ExpectRefused(const std::string& document, const std::string& message) {
    EXPECT_EQ(SimulatorDescribe(document.c_str(), nullptr), -1) << document;
    EXPECT_EQ(std::string(SimulatorLastError()).find("description: " + message), 0u) << SimulatorLastError();
}

TEST_F(SimulatedBus, AWrongDescriptionIsRefusedWithPathAndReason) {
    const Wrong rows[] = {
        {"{", "/: no JSON: "},
        {"[]", "/: must be an object"},
        {"{}", "/nodes: must be an array of nodes"},
        {R"({"nodes": [], "speed": 1})", "/speed: no such key here"},
        {R"({"nodes": [], "transactionMicroseconds": -1})",
         "/transactionMicroseconds: must be a whole number or a \"0x\" text, from 0 to 1000000"},
        {R"({"nodes": [], "trace": 5})", "/trace: must be a text"},
        {R"({"nodes": [{}]})", "/nodes/0/kind: must be one of \"target\", \"device\", \"debugger\", \"off\", \"host\""},
        {R"({"nodes": [{"kind": "target"}]})", "/nodes/0/guid: must be 16 hex digits"},
        {R"({"nodes": [{"kind": "off", "guid": "000F1B0000000001"}]})", "/nodes/0/guid: no such key here"},
        {R"({"nodes": [{"kind": "host"}, {"kind": "host"}]})", "/nodes/1/kind: there is a host already"},
        {R"({"nodes": [{"kind": "device", "romImage": "/nowhere/rom.img"}]})",
         "/nodes/0/romImage: can't read '/nowhere/rom.img'"},
        {R"({"nodes": [{"kind": "debugger", "vendor": "0x1000000"}]})", "/nodes/0/vendor: must be a whole number"},
    };
    for (const Wrong& row : rows) {
        text.clear();
        ExpectRefused(row.document, row.message);
        EXPECT_EQ(text, "simulated bus: " + std::string(SimulatorLastError()) + "\r\n");
        EXPECT_EQ(NodeCount(), 1) << "this computer alone";
    }
}

TEST_F(SimulatedBus, AWrongTargetIsRefusedWithPathAndReason) {
    const Wrong rows[] = {
        {R"("protocol": 4)", "protocol: must be 1, 2, 3 or 33554432 (0x2000000)"},
        {R"("eraseMs": 1.5)", "eraseMs: must be a whole number"},
        {R"("maxBlockSize": 4294967296)", "maxBlockSize: must be a whole number"},
        {R"("application": {"date": "2002-08-31"})", "application/date: must be 8 digits"},
        {R"("bootloader": {"version": 0})", "bootloader: version must not be 0"},
        {R"("announce": "yes")", "announce: must be true or false"},
        {R"("keys": {"A/B": 1})", "keys/A~1B: must be a text or {\"hex\": \"...\"}"},
        {R"("keys": {"A": {"hex": "0"}})", "keys/A/hex: must be an even count of hex digits"},
        {R"("shell": {"ring": 48})", "shell/ring: must be a power of two, from 16 to 1024"},
    };
    for (const Wrong& row : rows)
        ExpectRefused(OneTarget(row.document), "/nodes/0/" + std::string(row.message));
}

TEST_F(SimulatedBus, AWrongFaultIsRefusedWithPathAndReason) {
    const Wrong rows[] = {
        {"{}", "/do: a fault has exactly one of"},
        {R"({"result": 1, "status": 2})", "/do: a fault has exactly one of"},
        {R"({"do": "explode"})", "/do: must be one of \"busReset\""},
        {R"({"node": 2, "result": 121})", "/node: must be a whole number or a \"0x\" text, from 0 to 1"},
        {R"({"operation": "read", "command": 5, "status": -3})", "/operation: a command is written, not read"},
        {R"({"status": -3})", "/status: goes with \"command\": 5"},
        {R"({"do": "badCrc"})", "/do: \"badCrc\" goes with \"command\": 6"},
        {R"({"do": "unplug"})", "/node: must say which node"},
        {R"({"node": 1, "do": "unplug"})", "/node: this computer can't be unplugged"},
        {R"({"node": 0, "command": 2, "do": "plug"})", "/do: \"plug\" can only wait with"},
        {R"({"afterTransactions": 1, "count": 2, "do": "busReset"})", "/count: needs an operation"},
    };
    for (const Wrong& row : rows)
        ExpectRefused(OneTarget("", R"(, "faults": [)" + std::string(row.document) + "]"),
                      "/faults/0" + std::string(row.message));
}

TEST_F(SimulatedBus, ABusHolds63NodesAndGetsItsHostLast) {
    const auto offNodes = [](int count) {
        std::string json = R"({"nodes": [)";
        for (int i = 0; i < count; ++i)
            json += i == 0 ? R"({"kind": "off"})" : R"(, {"kind": "off"})";
        return json + "]}";
    };
    Describe(offNodes(62));
    EXPECT_EQ(NodeCount(), 63);
    ExpectRefused(offNodes(63), "/nodes: a bus holds 63 nodes, the host included");
}

TEST_F(SimulatedBus, AFileBesideTheLibraryIsNamedInItsErrors) {
    const ScratchDirectory scratch;
    scratch.Put("simulated-bus.json", R"({"nodes": [{"kind": "tree"}]})");
    EXPECT_EQ(SimulatorDescribe(nullptr, scratch.path().c_str()), -1);
    EXPECT_EQ(std::string(SimulatorLastError()).find(scratch.path() + "/simulated-bus.json: /nodes/0/kind: "), 0u);
}

TEST_F(SimulatedBus, TheShippedExamplesAreGood) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES)) {
        std::ifstream file(entry.path());
        const std::string json{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        count += entry.path().filename().string().starts_with("bus-") ? 1 : 0;
        EXPECT_EQ(SimulatorCheck(json.c_str(), nullptr), 1) << entry.path() << SimulatorLastError();
    }
    EXPECT_GE(count, 4);
}

} // namespace
