// A simulated bus on the test's own clock, accessed as the program does.
#pragma once

#include "BusOnVirtualClock.h"
#include "TestFolder.h"
#include "Twl1394api.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <vector>

using Bytes = std::vector<std::uint8_t>;

// Addresses of a node.
constexpr std::uint64_t ROM = 0xFFFFF0000400, INFO_REGISTERS = 0xFFFFC8020000, REQUEST = 0xFFFFC8021000,
                        REQUEST_BUFFER = 0xFFFFC8021040, RESPONSE = 0xFFFFC8029000, RESPONSE_BUFFER = 0xFFFFC8029040;
// Codes of the bootloader's commands.
constexpr std::uint8_t RESET = 2, READ_CRC = 3, DOWNLOAD_START = 4, DOWNLOAD_BLOCK = 5, DOWNLOAD_END = 6,
                       READ_SHELL = 8, WRITE_SHELL = 9, PROGRAM_GUID = 10, INITIALIZE_PARAMETERS = 12,
                       SET_DEBUG_GUID = 14, GET_DEBUG_GUID = 15, START_IMAGE = 17, READ_KEY = 18, WRITE_KEY = 19;

class SimulatedBus : public testing::Test {
protected:
    void SetUp() override {
        testing_support::UseVirtualClock(clock);
        ASSERT_EQ(RegisterClient(&client), 1);
    }
    void TearDown() override {
        DeRegisterClient(&client);
        SimulatorDescribe(R"({"nodes": []})", nullptr); // pending calls then do nothing
        PassMs(10'000'000);
        SimulatorUseClock(nullptr);
    }
    void PassMs(int64_t milliseconds) { clock.Sleep(milliseconds * 1'000'000); }

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
    // Sends the request with a new command ID; the result is the 40 bytes then in the response area.
    Bytes Command(uint32_t node, uint8_t version, uint8_t code, uint8_t count, const Bytes& operands = {}) {
        Bytes request = {version, 0, 0, 0, ++id, 0, code, count};
        request.insert(request.end(), operands.begin(), operands.end());
        EXPECT_EQ(Write(node, REQUEST, request), 1);
        return Get(node, RESPONSE, 40);
    }
    // The operands of the answer, or {0xFF} without an answer to this request.
    Bytes Answer(uint32_t node, uint8_t version, uint8_t code, uint8_t count, const Bytes& operands = {}) {
        Command(node, version, code, count, operands);
        return AnswerNow(node, version, code);
    }
    Bytes AnswerNow(uint32_t node, uint8_t version, uint8_t code) {
        const Bytes response = Get(node, RESPONSE, 40);
        const Bytes echo = {version, 0, 0, 0, id, 0, code};
        if (!std::equal(echo.begin(), echo.end(), response.begin()) || response[7] > 8)
            return {0xFF};
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
    // Little-endian quadlets and the bytes after them.
    static Bytes Words(std::initializer_list<uint32_t> words, const std::string& tail = {}) {
        Bytes bytes;
        for (const uint32_t word : words)
            for (int shift = 0; shift < 32; shift += 8)
                bytes.push_back(static_cast<uint8_t>(word >> shift));
        bytes.insert(bytes.end(), tail.begin(), tail.end());
        return bytes;
    }
    static uint32_t Crc32(const Bytes& bytes) {
        return static_cast<uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    }

    platform::testing::VirtualClock clock;
    std::vector<uint32_t> notices;
    std::string text;
    uint8_t id = 0;
    Twl1394Client client{
        this, [](void* self, uint32_t number) { static_cast<SimulatedBus*>(self)->notices.push_back(number); },
        [](void* self, const char* line) { static_cast<SimulatedBus*>(self)->text += line; }};
};

inline const Bytes NO_ANSWER = {0xFF};

// A bus of one target (node 0) and this computer; `more` is JSON that goes into the target's object.
inline std::string OneTarget(const std::string& more, const std::string& besides = "") {
    return R"({"nodes": [{"kind": "target", "guid": "000F1B0000000001")" + (more.empty() ? "" : ", " + more) +
           R"(}, {"kind": "host"}])" + besides + "}";
}

inline std::string WithFault(const std::string& fault) {
    return OneTarget(R"("mode": "bootloader")", R"(, "faults": [)" + fault + "]");
}
