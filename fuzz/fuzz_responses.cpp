// A target whose info registers and answers are any bytes: identification, every kind of command
// and a load must return without a crash, a hang or a false success.
#include "LibrarySeam.h"
#include "VirtualClock.h"
#include "basBootloader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <tuple>

namespace {

// The target's remaining answers; at the end it goes silent.
struct Script {
    const std::uint8_t* data = nullptr;
    std::size_t left = 0;
    ByteArray lastRequest = ByteArray(8);
} script;

std::int32_t Read(std::uint32_t, const Twl1394Address* address, std::uint32_t size, std::uint8_t* data, std::uint32_t) {
    platform::CurrentClock().Sleep(1'000'000);
    if (script.left == 0)
        return TWL1394_NODE_DID_NOT_RESPOND;
    const std::size_t count = std::min<std::size_t>(size, script.left);
    std::copy_n(script.data, count, data);
    script.data += count;
    script.left -= count;
    // Most answers echo their request; otherwise none would pass the comparison.
    if (address->AddressLow == 0xC8029000 && data[8] % 4 != 0)
        std::copy_n(script.lastRequest.begin(), 7, data);
    return TWL1394_SUCCESS;
}

std::int32_t Write(std::uint32_t, const Twl1394Address* address, std::uint32_t size, const std::uint8_t* data,
                   std::uint32_t) {
    if (address->AddressLow == 0xC8021000)
        script.lastRequest.assign(data, data + size);
    return TWL1394_SUCCESS;
}

void ExchangeEverything(std::int32_t handle) {
    using namespace basBootloader;
    std::int32_t first = 0, second = 0;
    ByteArray bytes(8), block(16);
    std::ignore = HaltBootloader(handle); // any result will do here
    std::ignore = GetDebugGUID(handle, bytes);
    std::ignore = ReadImageCRC(handle, IMAGE_APPLICATION, first, second);
    std::ignore = StartImage(handle, IMAGE_APPLICATION, first);
    if (DownloadStart(handle, {}, first, 500) == SUCCESS && (first < 1 || first > 4096))
        std::abort();
    std::ignore = DownloadBlock(handle, 0, 0, 16, block);
    std::ignore = DownloadEnd(handle, first, second, 500);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    platform::testing::VirtualClock clock;
    bas1394::globals = {};
    testing_support::BindLibrary(testing_support::Transactions(Read, Write));
    basBootloader::InitializeTargetList();
    script = {data, size};

    Device& node = bas1394::globals.DeviceTable.front();
    testing_support::MakePresent(node, 0);
    node.ConfigRom.RawData = {4, 4, 0, 0};
    std::ignore = basBootloader::BuildBootloaderDeviceList();

    BootloaderTarget& target = basBootloader::globals.TargetList.front(); // whether or not it was identified
    target.Device = node;
    target.Handle = 63;
    target.Info.ProtocolVersion = 1;
    ExchangeEverything(63);
    basBootloader::TerminateTargetList();
    return 0;
}
