// An invalid description is rejected with the place and the reason.
#include "PlatformTest.h"
#include "SimulatedBus.h"

namespace {

TEST_F(SimulatedBus, AnInvalidDescriptionIsRejectedWithPathAndReason) {
    // Each with the error after "description: ".
    const std::pair<std::string, const char*> rows[] = {
        {"{", "/: no JSON: "},
        {"{}", "/nodes: must be an array of nodes"},
        {R"({"nodes": [], "speed": 1})", "/speed: no such key here"},
        {R"({"nodes": [{}]})", "/nodes/0/kind: must be one of \"target\", \"device\", \"debugger\", \"off\", \"host\""},
        {R"({"nodes": [{"kind": "target"}]})", "/nodes/0/guid: must be 16 hex digits"},
        {R"({"nodes": [{"kind": "off", "guid": "000F1B0000000001"}]})", "/nodes/0/guid: no such key here"},
        {R"({"nodes": [{"kind": "host"}, {"kind": "host"}]})", "/nodes/1/kind: there is a host already"},
        {R"({"nodes": [{"kind": "device", "romImage": "/nowhere/rom.img"}]})",
         "/nodes/0/romImage: can't read '/nowhere/rom.img'"},
        {OneTarget(R"("protocol": 4)"), "/nodes/0/protocol: must be 1, 2, 3 or 33554432 (0x2000000)"},
        {OneTarget(R"("eraseMs": 1.5)"), "/nodes/0/eraseMs: must be a whole number"},
        {OneTarget(R"("application": {"date": "2002-08-31"})"), "/nodes/0/application/date: must be 8 digits"},
        {OneTarget(R"("bootloader": {"version": 0})"), "/nodes/0/bootloader: version must not be 0"},
        {OneTarget(R"("announce": "yes")"), "/nodes/0/announce: must be true or false"},
        {OneTarget(R"("keys": {"A/B": 1})"), "/nodes/0/keys/A~1B: must be a text or {\"hex\": \"...\"}"},
        {OneTarget(R"("shell": {"ring": 48})"), "/nodes/0/shell/ring: must be a power of two, from 16 to 1024"},
        {WithFault("{}"), "/faults/0/do: a fault has exactly one of"},
        {WithFault(R"({"operation": "read", "command": 5, "status": -3})"),
         "/faults/0/operation: a command is written, not read"},
        {WithFault(R"({"status": -3})"), "/faults/0/status: goes with \"command\": 5"},
        {WithFault(R"({"do": "badCrc"})"), "/faults/0/do: \"badCrc\" goes with \"command\": 6"},
        {WithFault(R"({"node": 1, "do": "unplug"})"), "/faults/0/node: this computer can't be unplugged"},
        {WithFault(R"({"node": 0, "command": 2, "do": "plug"})"), "/faults/0/do: \"plug\" can only wait with"},
        {WithFault(R"({"afterTransactions": 1, "count": 2, "do": "busReset"})"), "/faults/0/count: needs an operation"},
    };
    for (const auto& [document, message] : rows) {
        SCOPED_TRACE(document);
        text.clear();
        EXPECT_EQ(SimulatorDescribe(document.c_str(), nullptr), -1);
        EXPECT_EQ(text.find(std::string("simulated bus: description: ") + message), 0u) << text;
        EXPECT_EQ(NodeCount(), 1) << "this computer alone";
    }
}

TEST_F(SimulatedBus, AFileBesideTheLibraryIsNamedInItsErrors) {
    const TestFolder scratch;
    scratch.Put("simulated-bus.json", R"({"nodes": [{"kind": "tree"}]})");
    EXPECT_EQ(SimulatorDescribe(nullptr, scratch.path().c_str()), -1);
    EXPECT_EQ(std::string(SimulatorLastError()).find(scratch.path() + "/simulated-bus.json: /nodes/0/kind: "), 0u);
}

TEST_F(SimulatedBus, TheFileThatTheProgramNamesIsTheBusOrThereIsNone) {
    const TestFolder scratch;
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"bus.json", R"({"stateDirectory": "state", "nodes": [{"kind": "off"}]})", ""},
        {"missing.json", nullptr, "/missing.json: can't be read"},
        {"rejected.json", "{", "/rejected.json: /: no JSON"}};
    Twl1394VirtualDevice driver{1, 0, 0, "1394_VIRTUAL_DEVICE"};
    for (const auto& [name, content, error] : rows) {
        SCOPED_TRACE(name);
        if (content != nullptr)
            scratch.Put(name, content);
        const Variable chosen("TWL1394_BUS", scratch.file(name));
        text.clear();
        EXPECT_EQ(SimulatorDescribe(nullptr, nullptr) == 1, !*error);
        EXPECT_EQ(text, *error ? "simulated bus: " + std::string(SimulatorLastError()) + "\r\n" : "");
        EXPECT_NE(std::string(SimulatorLastError()).find(error), std::string::npos) << SimulatorLastError();
        Twl1394VirtualDeviceList list;
        GetVirtualDeviceList(&list);
        EXPECT_EQ(list.DeviceCount, *error ? 0u : 1u);
        EXPECT_EQ(AddVirtualDriver(&client, &driver, 0) == 0, !*error);
        Bytes data;
        EXPECT_EQ(Read(0, ROM, 4, data), *error ? TWL1394_NO_RESPONSE : TWL1394_NODE_DID_NOT_RESPOND);
    }
    EXPECT_TRUE(std::filesystem::is_directory(scratch.file("state"))) << "paths are relative to the description";
}

TEST_F(SimulatedBus, TheShippedExamplesAreValid) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES)) {
        if (entry.path().extension() != ".json")
            continue;
        std::ifstream file(entry.path());
        const std::string json{std::istreambuf_iterator<char>(file), {}};
        count += entry.path().filename().string().starts_with("bus-") ? 1 : 0;
        EXPECT_EQ(SimulatorCheck(json.c_str(), nullptr), 1) << entry.path() << SimulatorLastError();
    }
    EXPECT_GE(count, 4);
}

} // namespace
