// What every library that implements the header has to do, on any bus. The library is the one that
// TWL1394API_LIBRARY names.
#include "Twl1394api.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <mutex>
#include <set>
#include <vector>

namespace {

struct Functions {
    decltype(&::Twl1394InterfaceVersion) interfaceVersion;
    decltype(&::RegisterClient) registerClient;
    decltype(&::DeRegisterClient) deRegisterClient;
    decltype(&::GetVirtualDeviceList) getVirtualDeviceList;
    decltype(&::Get1394AddressFromDeviceObject) getAddress;
    decltype(&::GetLocalHostInformation) getHostInformation;
    decltype(&::BusReset) busReset;
    decltype(&::AllocateAddressRange) allocate;
    decltype(&::FreeAddressRange) free;
    decltype(&::AsyncReadWrapper) read;
    decltype(&::AsyncWriteWrapper) write;
    decltype(&::QueryElapsedTimeMsLongInt) elapsed;
};

class Seam : public testing::Test {
protected:
    void SetUp() override {
        const char* path = std::getenv("TWL1394API_LIBRARY");
        ASSERT_NE(path, nullptr) << "TWL1394API_LIBRARY must name the library";
        library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        Bind(functions.interfaceVersion, "Twl1394InterfaceVersion");
        Bind(functions.registerClient, "RegisterClient");
        Bind(functions.deRegisterClient, "DeRegisterClient");
        Bind(functions.getVirtualDeviceList, "GetVirtualDeviceList");
        Bind(functions.getAddress, "Get1394AddressFromDeviceObject");
        Bind(functions.getHostInformation, "GetLocalHostInformation");
        Bind(functions.busReset, "BusReset");
        Bind(functions.allocate, "AllocateAddressRange");
        Bind(functions.free, "FreeAddressRange");
        Bind(functions.read, "AsyncReadWrapper");
        Bind(functions.write, "AsyncWriteWrapper");
        Bind(functions.elapsed, "QueryElapsedTimeMsLongInt");
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_EQ(functions.interfaceVersion(), 1u);
        ASSERT_EQ(functions.registerClient(&client), 1);
        functions.getVirtualDeviceList(&devices);
        ASSERT_GE(devices.DeviceCount, 1u);
    }
    void TearDown() override {
        if (library != nullptr) {
            functions.deRegisterClient(&client);
            dlclose(library);
        }
    }
    template <typename Function> void Bind(Function& function, const char* name) {
        function = reinterpret_cast<Function>(dlsym(library, name));
        ASSERT_NE(function, nullptr) << name;
    }
    std::vector<uint8_t> Topology() {
        Twl1394HostInformation request{0, 6, 4096, {0xFFFF, 0, 0xF0001000}, 1024, {}};
        functions.getHostInformation(&client, devices.Name[0], &request, 0);
        return {request.CsrData, request.CsrData + 1024};
    }
    bool WaitForNotice(uint32_t number) {
        std::unique_lock lock(mutex);
        return arrived.wait_for(lock, std::chrono::seconds(2), [&] { return notices.contains(number); });
    }

    void* library = nullptr;
    Functions functions{};
    Twl1394VirtualDeviceList devices{};
    std::mutex mutex;
    std::condition_variable arrived;
    std::multiset<uint32_t> notices;
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
    EXPECT_NE(functions.registerClient(&second), 1);
}

TEST_F(Seam, TheLocalNodeIsInTheTopologyMapWithAnActiveLink) {
    const std::vector<uint8_t> map = Topology();
    const unsigned count = map[8] | map[9] << 8;
    ASSERT_GE(count, 1u);
    Twl1394NodeAddressRequest request{1, 0};
    ASSERT_EQ(functions.getAddress(&client, devices.Name[0], &request), 0);
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
    functions.busReset(&client, devices.Name[0], 0);
    EXPECT_TRUE(WaitForNotice(1326));
}

TEST_F(Seam, EveryRomReadGivesACodeOfTheListAndFailuresLeaveTheDataAlone) {
    const std::set<int32_t> codes = {
        1, 121, int32_t(0x80000001), int32_t(0x80000017), int32_t(0x80000102), int32_t(0x8000013D)};
    const Twl1394Address rom{0xFFFF, 0, 0xF0000400};
    for (uint32_t node = 0; node < 63; ++node) {
        uint8_t data[4] = {0xEE, 0xEE, 0xEE, 0xEE};
        const int32_t result = functions.read(node, &rom, 4, data, 100);
        EXPECT_TRUE(codes.contains(result)) << node << ": " << result;
        if (result != 1) {
            EXPECT_EQ(std::vector<uint8_t>(data, data + 4), std::vector<uint8_t>(4, 0xEE));
        } else {
            EXPECT_NE(data[0], 0) << "a ROM begins with the length of its bus info block";
        }
    }
}

TEST_F(Seam, BadArgumentsAreRefused) {
    const Twl1394Address rom{0xFFFF, 0, 0xF0000400};
    uint8_t data[4100] = {};
    for (const uint32_t size : {0u, 3u, 6u, 2052u, 4096u}) {
        EXPECT_NE(functions.read(0, &rom, size, data, 100), 1) << size;
        EXPECT_NE(functions.write(0, &rom, size, data, 100), 1) << size;
    }
    EXPECT_NE(functions.read(0, nullptr, 4, data, 100), 1);
    EXPECT_NE(functions.read(64, &rom, 4, data, 100), 1);
    EXPECT_NE(functions.write(64, &rom, 4, data, 100), 1);
    EXPECT_NE(functions.busReset(nullptr, nullptr, 0), 0);
}

TEST_F(Seam, AnAllocatedRangeHasAHandleUntilItIsFreed) {
    Twl1394AddressRange range{1, 1, 0x40, 0, 11, 3, {0xFFFF, 0, 0xC8029000}, 0, {}};
    ASSERT_EQ(functions.allocate(&client, devices.Name[0], &range, 0), 0);
    EXPECT_NE(range.RangeHandle, 0u);
    Twl1394AddressRange overlapping = range;
    EXPECT_NE(functions.allocate(&client, devices.Name[0], &overlapping, 0), 0);
    EXPECT_EQ(functions.free(&client, devices.Name[0], range.RangeHandle), 0);
    EXPECT_NE(functions.free(&client, devices.Name[0], range.RangeHandle), 0);
}

TEST_F(Seam, ElapsedTimeIsInWholeMilliseconds) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t start = int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec - 5'000'000'000;
    EXPECT_GE(functions.elapsed(&start), 5000u);
    EXPECT_LT(functions.elapsed(&start), 60'000u);
}

} // namespace
