#include "Terminal.h"

#include <cstring>

#include <gtest/gtest.h>

#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

termios ModeOf(int descriptor) {
    termios mode{};
    EXPECT_EQ(tcgetattr(descriptor, &mode), 0);
    return mode;
}

bool SameMode(const termios& one, const termios& other) {
    return one.c_iflag == other.c_iflag && one.c_oflag == other.c_oflag && one.c_cflag == other.c_cflag &&
           one.c_lflag == other.c_lflag && std::memcmp(one.c_cc, other.c_cc, sizeof one.c_cc) == 0;
}

TEST(Terminal, IsRawForAsLongAsItIsWantedAndThenAsBefore) {
    int master = -1, terminal = -1;
    ASSERT_EQ(openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
    const termios before = ModeOf(terminal);
    {
        const platform::RawTerminal raw(terminal);
        const termios mode = ModeOf(terminal);
        EXPECT_EQ(mode.c_lflag & (ECHO | ICANON | ISIG | IEXTEN), 0U);
        EXPECT_EQ(mode.c_iflag & (ICRNL | IXON | ISTRIP), 0U);
        EXPECT_EQ(mode.c_oflag, before.c_oflag);
        ASSERT_EQ(write(master, "\x03\r", 2), 2);
        char keys[4] = {};
        EXPECT_EQ(read(terminal, keys, sizeof keys), 2);
        EXPECT_STREQ(keys, "\x03\r");
    }
    EXPECT_TRUE(SameMode(ModeOf(terminal), before));
    {
        const platform::RawTerminal raw(terminal);
        platform::RestoreTerminal(); // as the signal's handler does
        EXPECT_TRUE(SameMode(ModeOf(terminal), before));
    }
    const platform::RawTerminal none(-1);
    close(terminal);
    close(master);
}

} // namespace
