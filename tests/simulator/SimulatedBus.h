// A simulated bus on a clock of the test's own, spoken to as the program does.
#pragma once

#include "Simulator.h"
#include "Twl1394api.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

class TestClock {
public:
    TestClock() {
        const SimulatorClock clock{this, [](void* self) { return static_cast<TestClock*>(self)->now; },
                                   [](void* self, int64_t time) { static_cast<TestClock*>(self)->Pass(time); },
                                   [](void* self, int64_t at, void (*call)(void*), void* argument) {
                                       static_cast<TestClock*>(self)->due.emplace(at, std::pair(call, argument));
                                   }};
        SimulatorUseClock(&clock);
    }
    ~TestClock() {
        SimulatorDescribe(R"({"nodes": []})", nullptr); // what is still out finds nothing left to do
        PassMs(10'000'000);
        SimulatorUseClock(nullptr);
    }
    void PassMs(int64_t milliseconds) { Pass(milliseconds * 1'000'000); }
    void Pass(int64_t time) {
        const int64_t end = now + time;
        while (!due.empty() && due.begin()->first <= end) {
            const auto [at, call] = *due.begin();
            due.erase(due.begin());
            now = std::max(now, at);
            call.first(call.second);
        }
        now = end;
    }

    int64_t now = 1'000'000'000;
    std::multimap<int64_t, std::pair<void (*)(void*), void*>> due;
};

class SimulatedBus : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(RegisterClient(&client), 1); }
    void TearDown() override { DeRegisterClient(&client); }

    void Describe(const std::string& json) {
        ASSERT_EQ(SimulatorDescribe(json.c_str(), nullptr), 1) << SimulatorLastError();
        notices.clear();
    }
    int32_t Read(uint32_t node, uint64_t address, uint32_t size, Bytes& data) {
        const Twl1394Address at{static_cast<uint16_t>(address >> 32), 0, static_cast<uint32_t>(address)};
        data.assign(size, 0xEE);
        return AsyncReadWrapper(node, &at, size, data.data(), 0);
    }
    int32_t Write(uint32_t node, uint64_t address, Bytes data) {
        const Twl1394Address at{static_cast<uint16_t>(address >> 32), 0, static_cast<uint32_t>(address)};
        data.resize((data.size() + 3) / 4 * 4);
        return AsyncWriteWrapper(node, &at, static_cast<uint32_t>(data.size()), data.data(), 0);
    }
    Bytes Get(uint32_t node, uint64_t address, uint32_t size) {
        Bytes data;
        EXPECT_EQ(Read(node, address, size, data), 1);
        return data;
    }
    // The request with a new command ID; the 40 bytes that are then in the response area.
    Bytes Command(uint32_t node, uint8_t version, uint8_t code, uint8_t count, const Bytes& operands = {}) {
        Bytes request = {version, 0, 0, 0, ++id, 0, code, count};
        request.insert(request.end(), operands.begin(), operands.end());
        EXPECT_EQ(Write(node, 0xFFFFC8021000, request), 1);
        return Get(node, 0xFFFFC8029000, 40);
    }
    // The operands of the answer, or {0xFF} if the answer there isn't the one to this request.
    Bytes Answer(uint32_t node, uint8_t version, uint8_t code, uint8_t count, const Bytes& operands = {}) {
        const Bytes response = Command(node, version, code, count, operands);
        return OperandsOf(response, version, code);
    }
    Bytes AnswerNow(uint32_t node, uint8_t version, uint8_t code) {
        return OperandsOf(Get(node, 0xFFFFC8029000, 40), version, code);
    }
    Bytes OperandsOf(const Bytes& response, uint8_t version, uint8_t code) const {
        const Bytes echo = {version, 0, 0, 0, id, 0, code};
        if (!std::equal(echo.begin(), echo.end(), response.begin()) || response[7] > 8) {
            return {0xFF};
        }
        return {response.begin() + 8, response.begin() + 8 + response[7] * 4};
    }
    uint16_t NodeCount() {
        Twl1394HostInformation request{0, 6, 4096, {0xFFFF, 0, 0xF0001000}, 1024, {}};
        EXPECT_EQ(GetLocalHostInformation(&client, "1394_VIRTUAL_DEVICE", &request, 0), 0);
        return static_cast<uint16_t>(request.CsrData[8] | request.CsrData[9] << 8);
    }
    static uint32_t Little(const Bytes& bytes, std::size_t at) {
        return bytes.at(at) | bytes.at(at + 1) << 8 | bytes.at(at + 2) << 16 |
               static_cast<uint32_t>(bytes.at(at + 3)) << 24;
    }
    static void Append(Bytes& bytes, uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<uint8_t>(value >> shift));
        }
    }

    TestClock clock;
    std::vector<uint32_t> notices;
    std::string text;
    uint8_t id = 0;
    Twl1394Client client{
        this, [](void* self, uint32_t number) { static_cast<SimulatedBus*>(self)->notices.push_back(number); },
        [](void* self, const char* line) { static_cast<SimulatedBus*>(self)->text += line; }};
};

inline const Bytes NO_ANSWER = {0xFF};

// A bus of one target (node 0) and this computer; more is JSON put into the target's object.
inline std::string OneTarget(const std::string& more, const std::string& besides = "") {
    return R"({"nodes": [{"kind": "target", "guid": "000F1B0000000001")" + (more.empty() ? "" : ", " + more) +
           R"(}, {"kind": "host"}])" + besides + "}";
}

// A directory that is gone after the test.
struct ScratchDirectory {
    std::string path = [] {
        std::string name = (std::filesystem::temp_directory_path() / "simulated-bus-XXXXXX").string();
        return std::string(mkdtemp(name.data()));
    }();
    ~ScratchDirectory() { std::filesystem::remove_all(path); }
    void Put(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(path + "/" + name).parent_path());
        std::ofstream(path + "/" + name, std::ios::binary) << content;
    }
    std::string Content(const std::string& name) const {
        std::ifstream file(path + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
};
