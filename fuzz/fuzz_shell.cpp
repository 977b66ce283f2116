// A target whose console and key answers are any bytes: any ring header, any counts in an answer to
// command 8, any key sizes. Nothing is read beyond the Response Buffer, and no more returned than was read.
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

std::uint8_t NextByte() {
    if (script.left == 0)
        return 0;
    --script.left;
    return *script.data++;
}

std::int32_t Read(std::uint32_t, const Twl1394Address* address, std::uint32_t size, std::uint8_t* data, std::uint32_t) {
    if (size > 2048)
        std::abort();
    if (script.left == 0)
        return TWL1394_NODE_DID_NOT_RESPOND;
    std::generate_n(data, size, NextByte);
    if (address->AddressLow == 0xC8029000) // otherwise no answer would pass the comparison
        std::copy_n(script.lastRequest.begin(), 7, data);
    return TWL1394_SUCCESS;
}

std::int32_t Write(std::uint32_t, const Twl1394Address* address, std::uint32_t size, const std::uint8_t* data,
                   std::uint32_t) {
    if (address->AddressLow == 0xC8021000)
        script.lastRequest.assign(data, data + size);
    return TWL1394_SUCCESS;
}

void ReadShell(std::int32_t handle) {
    constexpr std::size_t MOST = 2048 + 100; // and a notice
    ByteArray data;
    basBootloader::globals.OldHead = NextByte() << 8 | NextByte();
    for (int i = 0; i < 4; ++i) {
        const std::int32_t result = basBootloader::ReadShellCharacters(handle, data, NextByte() % 2 == 0);
        if (data.size() > MOST || (result != basBootloader::SUCCESS && data != ByteArray{0}))
            std::abort();
        basBootloader::globals.TargetList.front().Shell.Append(data);
    }
    for (const ByteArray& piece : basBootloader::globals.TargetList.front().Shell.History())
        if (piece.empty() || piece.size() > SHELL_BUFFER_SIZE)
            std::abort();
}

void ExchangeKeys(std::int32_t handle) {
    ByteArray data;
    const std::string name(1 + NextByte() % 80, 'n');
    if (basBootloader::ReadKey(handle, name, data) == basBootloader::SUCCESS &&
        (data.size() < 2 || data.size() > 65537 || data.back() != 0))
        std::abort();
    std::ignore = basBootloader::WriteKey(handle, name, ByteArray(NextByte()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::int32_t PROTOCOLS[] = {1, 2, 0x2000000, 3};
    platform::testing::VirtualClock clock;
    bas1394::globals = {};
    testing_support::BindLibrary(testing_support::Transactions(Read, Write));
    basBootloader::InitializeTargetList();
    script = {data, size};

    BootloaderTarget& target = basBootloader::globals.TargetList.front();
    testing_support::MakePresent(target.Device, 0);
    target.Handle = 63;
    const std::uint8_t choice = NextByte();
    target.Info.ProtocolVersion = PROTOCOLS[choice % 4];
    if (choice & 0x80)
        ExchangeKeys(63);
    else
        ReadShell(63);
    basBootloader::TerminateTargetList();
    return 0;
}
