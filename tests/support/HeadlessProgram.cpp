#include "HeadlessProgram.h"

#include "BusOnVirtualClock.h"
#include "CodePage.h"
#include "EndRequest.h"
#include "PackageBuilder.h"
#include "Paths.h"
#include "SingleInstance.h"
#include "bas1394.h"
#include "basAutomation.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <nlohmann/json.hpp>
#include <zlib.h>

namespace testing_support {

void HeadlessProgram::ResetGlobals() {
    basApp::globals = {};
    basDebug::globals = {};
    bas1394::globals = {};
    basBootloader::globals = {};
    basAutomation::globals = {};
    program::globals = {};
    platform::ForgetEndRequest();
}

HeadlessProgram::HeadlessProgram(const std::string& bus, std::int32_t lowestLevel) {
    MessageLevel = lowestLevel;
    setenv(program::BUS_VARIABLE, "simulated", 1);
    setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1); // named mutexes and the instance of this test alone
    ResetGlobals();
    platform::UseProgramDirectory(directory.path());
    std::filesystem::create_symlink(ACCESS_LIBRARY, directory.file("Twl1394api.so"));
    std::filesystem::create_symlink(RECORD_LIBRARY, directory.file("Twl1394record.so"));
    std::filesystem::create_symlink(REPLAY_LIBRARY, directory.file("Twl1394replay.so"));
    if (lowestLevel < LEVEL_ERROR)
        platform::Database::Create(directory.file("db1_clean.mdb"), clsDbManager::Schema());
    else
        Write("db1.mdb", std::string("no database"));
    UseVirtualClock(clock);
    if (SimulatorDescribe(bus.c_str(), directory.path().c_str()) != 1)
        throw std::runtime_error(SimulatorLastError());
    program::UseFrontEnd(*this);
}

HeadlessProgram::~HeadlessProgram() {
    Close();
    SimulatorDescribe(R"({"nodes": []})", nullptr);
    platform::ReleaseSingleInstance();
    platform::UseProgramDirectory("");
    platform::ChangeDirectory("/");
    ResetGlobals();
    basApp::UseFrontEnd(nullptr);
}

void HeadlessProgram::ShareClockWithRecords() {
    const SimulatorClock calls = CallsOf(clock);
    UseClock(RECORD_LIBRARY, "RecorderUseClock", &calls);
    UseClock(REPLAY_LIBRARY, "ReplayUseClock", &calls);
}

void HeadlessProgram::PostToStatusWindow(std::size_t, std::string_view message, float, std::int32_t level,
                                         std::string_view) {
    Keep(message, level);
}

void HeadlessProgram::Keep(std::string_view message, std::int32_t level) {
    messages.push_back({level, std::string(message)});
    if (eachMessage)
        eachMessage(message);
}

void HeadlessProgram::Print(std::string_view line) {
    standardOutput.emplace_back(line);
    if (!signalAt.empty() && line.find(signalAt) != line.npos)
        platform::RequestEnd();
}

void HeadlessProgram::EndRun() {
    EnableScheduler(false);
    platform::DoEvents();
    platform::Sleep(2000);
    LetBusSettle();
    Close();
}

// The program leaves a last reset unhandled; a test checks the table after it.
void HeadlessProgram::LetBusSettle() {
    Pass(3000);
    nodesAtEnd =
        static_cast<std::size_t>(std::count_if(bas1394::globals.DeviceTable.begin(), bas1394::globals.DeviceTable.end(),
                                               [](const Device& device) { return device.NodeNum <= 62; }));
}

bool HeadlessProgram::Run(const std::string& commandLine, std::int64_t limitMilliseconds) {
    return !basApp::Main(commandLine) || windowSystem.RunUntil([this] { return ended_; }, limitMilliseconds);
}

void HeadlessProgram::Write(const std::string& name, const ByteArray& bytes) const {
    directory.Put(name, {bytes.begin(), bytes.end()});
}

void HeadlessProgram::Write(const std::string& name, const std::string& text) const {
    Write(name, platform::AnsiFromText(text));
}

std::vector<std::string> HeadlessProgram::Told() const {
    std::vector<std::string> texts;
    for (const Message& message : messages)
        texts.push_back(message.text);
    for (const auto& box : dialogs.shown)
        texts.push_back(box.caption + ": " + box.text);
    return texts;
}

bool HeadlessProgram::Said(const std::string& part) const {
    return std::ranges::any_of(Told(), [&](const std::string& text) { return text.find(part) != text.npos; });
}

std::vector<std::string> HeadlessProgram::RequestsSent() const {
    constexpr std::size_t HEADER = 2 * 6;
    std::vector<std::string> requests = WrittenTo("0xffffc8021000");
    for (std::string& request : requests)
        request.erase(0, HEADER);
    return requests;
}

std::string HeadlessProgram::Changes(std::size_t from) const {
    constexpr int BLOCK = 5, GUID = 10, MAC = 11;
    const std::map<int, const char*> names = {
        {2, "reset"},   {3, "crc"},   {4, "start"},       {BLOCK, "block"}, {6, "end"},  {7, "shell"}, {9, "type"},
        {GUID, "guid"}, {MAC, "mac"}, {12, "parameters"}, {13, "defaults"}, {17, "run"}, {18, "read"}, {19, "write"}};
    const std::set<int> harmless = {1, 8, 14, 15}; // sent after a bus reset and by an open shell
    std::vector<std::string> changes;
    int blocks = 0; // in a row
    const std::vector<std::string> requests = RequestsSent();
    for (std::size_t i = from; i < requests.size(); ++i) {
        const int code = std::stoi(requests[i].substr(0, 2), nullptr, 16);
        if (harmless.contains(code))
            continue;
        blocks = code == BLOCK ? blocks + 1 : 0;
        if (blocks > 1)
            changes.back() = fmt::format("block*{}", blocks);
        else
            changes.emplace_back(names.at(code));
        if (code == GUID || code == MAC)
            changes.back() += '(' + requests[i].substr(4) + ')';
    }
    return fmt::format("{}", fmt::join(changes, " "));
}

std::vector<std::string> HeadlessProgram::WrittenTo(const std::string& address) const {
    std::vector<std::string> written;
    std::ifstream trace(directory.file("trace.jsonl"));
    for (std::string line; std::getline(trace, line);) {
        const auto entry = nlohmann::json::parse(line);
        if (entry["operation"] == "write" && entry["address"] == address)
            written.push_back(entry["data"]);
    }
    return written;
}

ByteArray HeadlessProgram::Flash(std::uint32_t node, const char* section) const {
    ByteArray bytes(static_cast<std::size_t>(std::max<std::int64_t>(SimulatorSection(node, section, nullptr, 0), 0)));
    SimulatorSection(node, section, bytes.data(), bytes.size());
    return bytes;
}

std::string Target(const std::string& guid, const std::string& mode, const std::string& extra) {
    return R"({"kind": "target", "guid": ")" + guid + R"(", "mode": ")" + mode +
           R"(", "protocol": 1, "vendor": "Tarnwell", "model": "TX-9", "hardwareModelID": 17)" + extra + "}";
}

std::string Bus(const std::vector<std::string>& nodes, const std::string& faults) {
    std::string text = R"({"trace": "trace.jsonl", "nodes": [)";
    for (const std::string& node : nodes)
        text += node + ", ";
    return text + R"({"kind": "host"}], "faults": [)" + faults + "]}";
}

ByteArray Package(const ByteArray& image, const ByteArray& cne) {
    const auto crc = [](const ByteArray& bytes) {
        return static_cast<std::uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    };
    PackageBuilder package;
    if (!image.empty())
        package.image(0x20000000, image, crc(image));
    if (!cne.empty())
        package.cne(cne, crc(cne));
    return package.bytes();
}

} // namespace testing_support
