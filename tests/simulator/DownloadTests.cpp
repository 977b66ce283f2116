// The download commands' checks. Whole good loads are those of the program's own tests.
#include "SimulatedBus.h"

namespace {

class Download : public SimulatedBus {
protected:
    void SetUp() override {
        SimulatedBus::SetUp();
        Describe(OneTarget(R"("mode": "bootloader", "maxBlockSize": 64, "eraseMs": 0, "checkMs": 0)"));
        for (int i = 0; i < 150; ++i)
            image.push_back(static_cast<uint8_t>(i * 7));
    }
    Bytes Start(uint8_t type, uint32_t length, uint32_t crc) {
        return Answer(0, 1, 4, 10, Words({type, 0, 0, 0, 0, 0x55, 1, 0x1000, length, crc}));
    }
    // The status that the target gives.
    int32_t Block(uint32_t number, uint32_t address, uint32_t size) {
        Write(0, 0xFFFFC8021040, Bytes(image.begin() + std::max(0, static_cast<int>(address) - 0x1000), image.end()));
        const Bytes answer = Answer(0, 1, 5, 3, Words({number, address, size}));
        EXPECT_EQ(Little(answer, 0), number);
        return static_cast<int32_t>(Little(answer, 4));
    }
    Bytes image;
};

TEST_F(Download, BlocksAreCheckedForOrderRangeAndSize) {
    EXPECT_EQ(Block(0, 0x1000, 64), -10);
    Start(0, 100, 0);
    EXPECT_EQ(Block(1, 0x1000, 64), -11);
    EXPECT_EQ(Block(0, 0x1000, 65), -13);
    EXPECT_EQ(Block(0, 0x1000, 0), -13);
    EXPECT_EQ(Block(0, 0x0FFC, 64), -12);
    EXPECT_EQ(Block(0, 0x1000, 64), 0);
    EXPECT_EQ(Block(0, 0x1000, 64), 0) << "the last one again";
    EXPECT_EQ(Block(1, 0x1044, 32), -12) << "a gap";
    EXPECT_EQ(Block(1, 0x1040, 37), -12) << "beyond the announced length";
    EXPECT_EQ(Block(1, 0x1040, 36), 0);
    EXPECT_EQ(Block(0, 0x1000, 64), -11);
    EXPECT_EQ(Start(4, 150, 0), Bytes(4, 0)) << "no such section";
    EXPECT_EQ(Start(0, 0xFFFFFFFF, 0), Bytes(4, 0)) << "no room: nothing is erased";
    Bytes flash(101);
    EXPECT_EQ(SimulatorSection(0, "application", flash.data(), flash.size()), 100);
    EXPECT_TRUE(std::equal(image.begin(), image.begin() + 100, flash.begin()));
}

} // namespace
