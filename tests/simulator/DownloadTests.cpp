// The three download commands and what the flash holds afterwards.
#include "SimulatedBus.h"

namespace {

class Download : public SimulatedBus {
protected:
    void SetUp() override {
        SimulatedBus::SetUp();
        Describe(
            OneTarget(R"("mode": "bootloader", "protocol": 3, "maxBlockSize": 64, "eraseMs": 800, "checkMs": 100)"));
        for (int i = 0; i < 150; ++i)
            image.push_back(static_cast<uint8_t>(i * 7));
    }
    Bytes Start(uint8_t type, uint32_t length, uint32_t crc) {
        Bytes operands = Words({type}, "20240229235958  ");
        const Bytes rest = Words({0x55, 0x01000203, 0x1000, length, crc});
        operands.insert(operands.end(), rest.begin(), rest.end());
        const Bytes early = Answer(0, 3, 4, 10, operands);
        if (early != NO_ANSWER)
            return early;
        PassMs(800);
        return AnswerNow(0, 3, 4);
    }
    // The status that the target gives.
    int32_t Block(uint32_t number, uint32_t address, uint32_t size, std::size_t from) {
        Write(0, 0xFFFFC8021040, Bytes(image.begin() + static_cast<int>(from), image.end()));
        const Bytes answer = Answer(0, 3, 5, 3, Words({number, address, size}));
        EXPECT_EQ(Little(answer, 0), number);
        return static_cast<int32_t>(Little(answer, 4));
    }
    void Blocks() {
        EXPECT_EQ(Block(0, 0x1000, 64, 0), 0);
        EXPECT_EQ(Block(1, 0x1040, 64, 64), 0);
        EXPECT_EQ(Block(2, 0x1080, 22, 128), 0);
    }
    // CRC and validity.
    std::pair<uint32_t, uint32_t> End() {
        EXPECT_EQ(Answer(0, 3, 6, 0), NO_ANSWER);
        PassMs(100);
        const Bytes answer = AnswerNow(0, 3, 6);
        return {Little(answer, 0), Little(answer, 4)};
    }
    Bytes Flash(const char* section) {
        Bytes content(1000);
        const int64_t size = SimulatorSection(0, section, content.data(), content.size());
        content.resize(static_cast<std::size_t>(std::max<int64_t>(size, 0)));
        return content;
    }
    uint32_t ImageCrc() const { return Crc32(image); }

    Bytes image;
};

TEST_F(Download, AGoodImageIsHeldAndNamedInTheRegisters) {
    EXPECT_EQ(Start(0, 150, ImageCrc()), (Bytes{64, 0, 0, 0}));
    EXPECT_EQ(Little(Get(0, 0xFFFFC8020030, 4), 0), 0u) << "the old image went with the erase";
    Blocks();
    EXPECT_EQ(End(), std::pair(ImageCrc(), 0u));
    EXPECT_EQ(Flash("application"), image);
    const Bytes registers = Get(0, 0xFFFFC8020000, 104);
    EXPECT_EQ(std::string(registers.begin() + 32, registers.begin() + 48), "20240229235958  ");
    EXPECT_EQ(Little(registers, 48), 0x55u);
    EXPECT_EQ(Little(registers, 52), 0x01000203u);
    EXPECT_EQ(Answer(0, 3, 3, 1, Bytes(4, 0)), NO_ANSWER);
    PassMs(100);
    EXPECT_EQ(Little(AnswerNow(0, 3, 3), 0), ImageCrc());
    EXPECT_EQ(Little(AnswerNow(0, 3, 3), 4), 0u);
}

TEST_F(Download, ABadImageDoesNotStart) {
    for (const auto& [length, crc] : {std::pair{150u, ImageCrc() ^ 1}, {151u, ImageCrc()}}) { // cut off
        Start(0, length, crc);
        Blocks();
        EXPECT_EQ(End(), std::pair(ImageCrc(), 1u)) << length;
        EXPECT_EQ(Answer(0, 3, 17, 1, Bytes(4, 0)), Bytes(4, 0xFF)) << length;
        Command(0, 3, 2, 1, {0});
        PassMs(1000);
        EXPECT_NE(Little(Get(0, 0xFFFFC802000C, 4), 0), 0u) << length << ": stays in the bootloader";
    }
}

TEST_F(Download, BlocksAreCheckedForOrderRangeAndSize) {
    EXPECT_EQ(Block(0, 0x1000, 64, 0), -10);
    Start(0, 100, 0);
    EXPECT_EQ(Block(1, 0x1000, 64, 0), -11);
    EXPECT_EQ(Block(0, 0x1000, 65, 0), -13);
    EXPECT_EQ(Block(0, 0x1000, 0, 0), -13);
    EXPECT_EQ(Block(0, 0x0FFC, 64, 0), -12);
    EXPECT_EQ(Block(0, 0x1000, 64, 0), 0);
    EXPECT_EQ(Block(0, 0x1000, 64, 0), 0) << "the last one again";
    EXPECT_EQ(Block(1, 0x1044, 32, 64), -12) << "a gap";
    EXPECT_EQ(Block(1, 0x1040, 37, 64), -12) << "beyond the announced length";
    EXPECT_EQ(Block(1, 0x1040, 36, 64), 0);
    EXPECT_EQ(Block(0, 0x1000, 64, 0), -11);
    EXPECT_EQ(Start(4, 150, 0), Bytes(4, 0)) << "no such section";
    EXPECT_EQ(Start(0, 0xFFFFFFFF, 0), Bytes(4, 0)) << "no room: nothing is erased";
    EXPECT_EQ(Flash("application"), Bytes(image.begin(), image.begin() + 100));
}

} // namespace
