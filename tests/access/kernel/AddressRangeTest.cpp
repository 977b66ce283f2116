// What other nodes do to this computer's address ranges, and the answers that they get.
#include "KernelTest.h"

#include <cerrno>

#include <linux/firewire-constants.h>

using namespace testing_support;

namespace {

constexpr std::uint64_t RANGE = 0xFFFFC8029000;

TEST_F(KernelTest, EachRequestToARangeGetsTheAnswerThatFitsIt) {
    Start();
    kernel.allocate = [](std::uint64_t address, std::uint64_t end) { return end == address + 16 ? 0 : EBUSY; };
    std::uint32_t handle = 0;
    EXPECT_EQ(Allocate(RANGE, 0xFFFFFFFF, handle), EINVAL);
    ASSERT_EQ(Allocate(RANGE, 14, handle), 0); // rounded up to 16
    EXPECT_NE(handle, 0U) << "the kernel's is 0";
    const Bytes written = {1, 2, 3, 4, 5, 6, 7, 8};
    const struct {
        const char* what;
        std::uint32_t tcode;
        std::uint64_t address;
        std::uint32_t length;
        Bytes data;
        std::uint32_t card, rcode;
        Bytes answer;
        bool told;
    } rows[] = {
        {"write", TCODE_WRITE_BLOCK_REQUEST, RANGE + 4, 8, written, 0, RCODE_COMPLETE, {}, true},
        {"read", TCODE_READ_BLOCK_REQUEST, RANGE + 4, 8, {}, 0, RCODE_COMPLETE, written, false},
        {"quadlet", TCODE_READ_QUADLET_REQUEST, RANGE + 12, 4, {}, 0, RCODE_COMPLETE, {0, 0, 0, 0}, false},
        {"last bytes", TCODE_WRITE_QUADLET_REQUEST, RANGE + 12, 4, {9, 9, 9, 9}, 0, RCODE_COMPLETE, {}, true},
        {"beyond the end", TCODE_READ_BLOCK_REQUEST, RANGE + 12, 8, {}, 0, RCODE_ADDRESS_ERROR, Bytes(8), false},
        {"before it", TCODE_WRITE_QUADLET_REQUEST, RANGE - 4, 4, Bytes(4), 0, RCODE_ADDRESS_ERROR, {}, false},
        {"swap", TCODE_LOCK_COMPARE_SWAP, RANGE, 8, Bytes(8), 0, RCODE_TYPE_ERROR, Bytes(4), false},
        {"add", TCODE_LOCK_FETCH_ADD, RANGE, 4, Bytes(4), 0, RCODE_TYPE_ERROR, Bytes(4), false},
        {"too little data", TCODE_WRITE_BLOCK_REQUEST, RANGE, 8, Bytes(3), 0, RCODE_DATA_ERROR, {}, false},
        {"another card", TCODE_WRITE_BLOCK_REQUEST, RANGE, 8, written, 1, RCODE_ADDRESS_ERROR, {}, false},
        {"absurd", TCODE_READ_BLOCK_REQUEST, RANGE, 0xFFFFFFFF, {}, 0, RCODE_ADDRESS_ERROR, Bytes(4096), false},
        {"unchanged", TCODE_READ_QUADLET_REQUEST, RANGE + 12, 4, {}, 0, RCODE_COMPLETE, {9, 9, 9, 9}, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        kernel.responses.clear();
        kernel.SendRequest("fw0", row.tcode, row.address, row.length, row.data, row.card);
        EXPECT_EQ(NoticesNow(), row.told ? Notices{TWL1394_NOTICE_INCOMING_DATA} : Notices{});
        ASSERT_EQ(kernel.responses.size(), 1U);
        EXPECT_EQ(kernel.responses[0].rcode, row.rcode);
        EXPECT_EQ(kernel.responses[0].data, row.answer);
    }
}

TEST_F(KernelTest, ARequestToAFreedRangeIsStillAnswered) {
    Start();
    std::uint32_t handle = 0;
    ASSERT_EQ(Allocate(RANGE, 8, handle), 0);
    const std::uint64_t closure = kernel.closures.back();
    library.FreeAddressRange(client.Get(), device, handle);
    kernel.closures.back() = closure; // it was under way
    kernel.SendRequest("fw0", TCODE_WRITE_BLOCK_REQUEST, RANGE, 8, Bytes(8));
    EXPECT_EQ(NoticesNow(), Notices{});
    ASSERT_EQ(kernel.responses.size(), 1U);
    EXPECT_EQ(kernel.responses[0].rcode, std::uint32_t{RCODE_ADDRESS_ERROR});
}

} // namespace
