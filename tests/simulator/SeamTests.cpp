// What every library that implements the header has to do, on any bus. The library is the one that
// TWL1394API_LIBRARY names.
#include "LibraryCalls.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <dlfcn.h>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

class Seam : public testing::Test {
protected:
    void SetUp() override {
        const char* path = std::getenv("TWL1394API_LIBRARY");
        ASSERT_NE(path, nullptr) << "TWL1394API_LIBRARY must name the library";
        library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        std::string reason;
        ASSERT_TRUE(bas1394::library::Bind(library, reason)) << reason;
        functions = bas1394::library::globals.Bound;
        ASSERT_EQ(functions.RegisterClient(&client), 1);
        functions.GetVirtualDeviceList(&devices);
        ASSERT_GE(devices.DeviceCount, 1u);
    }
    void TearDown() override {
        if (functions.DeRegisterClient)
            functions.DeRegisterClient(&client);
        bas1394::library::Unbind();
        if (library)
            dlclose(library);
    }
    void* library = nullptr;
    bas1394::library::Operations functions{};
    Twl1394VirtualDeviceList devices{};
    std::mutex mutex;
    std::condition_variable arrived;
    std::set<uint32_t> notices;
    Twl1394Client client{this,
                         [](void* self, uint32_t number) {
                             auto& seam = *static_cast<Seam*>(self);
                             const std::lock_guard lock(seam.mutex);
                             seam.notices.insert(number);
                             seam.arrived.notify_all();
                         },
                         [](void*, const char*) {}};
};

TEST_F(Seam, ThereIsOneClientAtATime) {
    Twl1394Client second = client;
    EXPECT_NE(functions.RegisterClient(&second), 1);
}

TEST_F(Seam, TheLocalNodeIsInTheTopologyMapWithAnActiveLink) {
    Twl1394HostInformation information{0, 6, 4096, {0xFFFF, 0, 0xF0001000}, 1024, {}};
    functions.GetLocalHostInformation(&client, devices.Name[0], &information, 0);
    const std::vector<uint8_t> map(information.CsrData, information.CsrData + 1024);
    const unsigned count = map[8] | map[9] << 8;
    ASSERT_GE(count, 1u);
    Twl1394NodeAddressRequest request{1, 0};
    ASSERT_EQ(functions.Get1394AddressFromDeviceObject(&client, devices.Name[0], &request), 0);
    const unsigned own = request.NodeAddress & 63;
    ASSERT_LT(own, count);
    std::set<unsigned> seen;
    for (std::size_t at = 12; at + 4 <= map.size() && seen.size() < count; at += 4) {
        ASSERT_EQ(map[at] & 0xC0, 0x80) << "a self-ID packet";
        if ((map[at + 1] & 0x80) == 0) { // not an extended one
            seen.insert(map[at] & 63u);
            EXPECT_TRUE((map[at] & 63u) != own || (map[at + 1] & 0x40) != 0);
        }
    }
    EXPECT_EQ(seen.size(), count);
}

TEST_F(Seam, AResetPostsItsNotice) {
    functions.BusReset(&client, devices.Name[0], 0);
    std::unique_lock lock(mutex);
    EXPECT_TRUE(arrived.wait_for(lock, std::chrono::seconds(2), [&] { return notices.contains(1326); }));
}

TEST_F(Seam, EveryRomReadGivesACodeOfTheListAndFailuresLeaveTheDataAlone) {
    const std::set<int32_t> codes = {
        1, 121, int32_t(0x80000001), int32_t(0x80000017), int32_t(0x80000102), int32_t(0x8000013D)};
    const Twl1394Address rom{0xFFFF, 0, 0xF0000400};
    for (uint32_t node = 0; node < 63; ++node) {
        uint8_t data[4] = {0xEE, 0xEE, 0xEE, 0xEE};
        const int32_t result = functions.AsyncReadWrapper(node, &rom, 4, data, 100);
        EXPECT_TRUE(codes.contains(result)) << node << ": " << result;
        if (result != 1)
            EXPECT_EQ(std::vector<uint8_t>(data, data + 4), std::vector<uint8_t>(4, 0xEE));
        else
            EXPECT_NE(data[0], 0) << "a ROM begins with the length of its bus info block";
    }
}

TEST_F(Seam, BadArgumentsAreRefused) {
    const Twl1394Address rom{0xFFFF, 0, 0xF0000400};
    uint8_t data[4100] = {};
    for (const uint32_t size : {0u, 3u, 6u, 2052u, 4096u}) {
        EXPECT_NE(functions.AsyncReadWrapper(0, &rom, size, data, 100), 1) << size;
        EXPECT_NE(functions.AsyncWriteWrapper(0, &rom, size, data, 100), 1) << size;
    }
    EXPECT_NE(functions.AsyncReadWrapper(0, nullptr, 4, data, 100), 1);
    EXPECT_NE(functions.AsyncReadWrapper(64, &rom, 4, data, 100), 1);
    EXPECT_NE(functions.AsyncWriteWrapper(64, &rom, 4, data, 100), 1);
    EXPECT_NE(functions.BusReset(nullptr, nullptr, 0), 0);
}

TEST_F(Seam, AnAllocatedRangeHasAHandleUntilItIsFreed) {
    Twl1394AddressRange range{1, 1, 0x40, 0, 11, 3, {0xFFFF, 0, 0xC8029000}, 0, {}};
    ASSERT_EQ(functions.AllocateAddressRange(&client, devices.Name[0], &range, 0), 0);
    EXPECT_NE(range.RangeHandle, 0u);
    Twl1394AddressRange overlapping = range;
    EXPECT_NE(functions.AllocateAddressRange(&client, devices.Name[0], &overlapping, 0), 0);
    EXPECT_EQ(functions.FreeAddressRange(&client, devices.Name[0], range.RangeHandle), 0);
    EXPECT_NE(functions.FreeAddressRange(&client, devices.Name[0], range.RangeHandle), 0);
}

} // namespace
