#include "Mail.h"
#include "PlatformTest.h"

namespace {

// A stand-in for the desktop's composer, which records its arguments and ends in a given way.
class Composer : public ::testing::Test {
protected:
    Composer() { platform::WriteFileAtomically(report, TextBytes("content")); }
    std::int32_t Send(const std::string& ending, std::uint32_t longestWait = 60'000) {
        const std::string script = "#!/bin/sh\nprintf '[%s]' \"$@\" >'" + folder.file("told") + "'\n" + ending + "\n";
        platform::WriteFileAtomically(program, TextBytes(script));
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        platform::ComposerMail mail(longestWait);
        EXPECT_TRUE(mail.SessionExists());
        mail.NewMessage();
        mail.SetRecipient("--a.b@c.de, \xC3\xBC?'");
        mail.SetSubject("The \"log\" $(x); it's");
        mail.SetAttachment(report);
        mail.SetText(" ");
        return FailureOf([] { platform::CurrentMail().Send(); });
    }

    const platform::testing::TemporaryDirectory folder;
    const Variable cache{"XDG_CACHE_HOME", folder.path()};
    const Variable path{"PATH", folder.path() + ":" + getenv("PATH")};
    const std::string program = folder.file("xdg-email"), report = folder.file("log it's.mdb"),
                      kept = folder.file("HoistlineApp/mail/log it's.mdb");
};

TEST_F(Composer, GetsTheMailAsArgumentsAndACopyThatStaysUnlessItIsCancelledOrFails) {
    EXPECT_EQ(Send("exit 130"), 32001);
    EXPECT_EQ(Send("exit 4"), 32002);
    EXPECT_FALSE(std::filesystem::exists(kept));
    // A window that stays open until this test's folder is removed.
    EXPECT_EQ(Send("while [ -d '" + folder.path() + "' ]; do sleep 0.1; done", 0), 0);
    EXPECT_TRUE(std::filesystem::exists(kept));
    EXPECT_EQ(Send(""), 0);
    std::filesystem::remove(report);
    EXPECT_EQ(platform::ReadWholeFile(kept), TextBytes("content"));
    EXPECT_EQ(platform::ReadWholeFile(folder.file("told")),
              TextBytes("[--utf8][--subject][The \"log\" $(x); it's][--body][ ][--attach][" + kept +
                        "][mailto:--a.b@c.de,%20%C3%BC%3F%27]"));
    EXPECT_EQ(Send(""), 53); // nothing to attach
    setenv("PATH", "/proc", 1);
    EXPECT_FALSE(platform::ComposerMail().SessionExists());
    EXPECT_FALSE(platform::CurrentMail().SessionExists()); // nor without the service
}

} // namespace
