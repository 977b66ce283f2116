// What a load shows on standard error: on a terminal, in a log, for a supervisor.
#include "Call.h"
#include "VirtualClock.h"

#include <gtest/gtest.h>

#include <cmath>

#include <algorithm>
#include <sstream>

namespace {

using Step = basApp::LoadProgress::Step;
constexpr std::int64_t MILLISECOND = 1'000'000;
constexpr std::int32_t APPLICATION = 0, CONFIG = 1;

class ProgressTest : public testing::Test {
protected:
    // The standard error of a load of two sections: the first takes 1 MiB at 10 KiB in 100 ms, with a block that is
    // sent again while bytes are counted anew; the second takes one block.
    std::string Load(cli::CommonOptions options, bool terminal, int columns = 0) {
        std::string error;
        cli::Streams streams;
        streams.Out = streams.Error = [&](std::string_view text) {
            error += text;
            return true;
        };
        streams.ErrorIsTerminal = streams.ErrorTakesColour = terminal;
        streams.ErrorColumns = [columns] { return columns; };
        call = std::make_unique<cli::Call>(std::move(options), streams, "load");
        Section(APPLICATION, 1 << 20);
        call->Tell("A message.");
        Section(CONFIG, 700);
        call->Finish();
        return error;
    }
    void Section(std::int32_t image, std::int64_t length) {
        const auto show = [&](Step step, std::int64_t bytes, std::int32_t tries = 0) {
            clock.Sleep(10 * MILLISECOND);
            call->progress.Show({step, bytes, step == Step::Reading ? 0 : length, tries, 1, {}, image});
        };
        show(Step::Reading, 0);
        for (int poll = 0; poll < 200; ++poll)
            show(Step::Erasing, 0);
        for (std::int64_t bytes = std::min<std::int64_t>(length, 1024); bytes < length; bytes += 1024) {
            show(Step::Loading, bytes);
            for (int again = 0; bytes == 100 * 1024 && again < 20; ++again)
                show(Step::Loading, bytes / 2, 1);
        }
        show(Step::Loading, length);
        show(Step::Checking, length);
        show(Step::Done, length);
    }

    platform::testing::VirtualClock clock;
    std::unique_ptr<cli::Call> call;
};

cli::CommonOptions With(cli::ProgressStyle style, bool quiet = false) {
    cli::CommonOptions options;
    options.Progress = style;
    options.Quiet = quiet;
    return options;
}

// What a terminal shows after each redrawing.
std::vector<std::string> Frames(const std::string& error) {
    std::vector<std::string> frames;
    std::string rest = error;
    for (const std::string mark = "\r\x1B[K"; !rest.empty();) {
        const std::size_t end = rest.find(mark);
        frames.push_back(rest.substr(0, end));
        rest.erase(0, end == std::string::npos ? end : end + mark.size());
    }
    return frames;
}

TEST_F(ProgressTest, RedrawsOneLineThatNeverGoesBackward) {
    const std::string error = Load({}, true);
    const std::vector<std::string> frames = Frames(error);
    EXPECT_LT(frames.size(), 10 * (2 + 10.5 + 2) + 12) << "more than ten a second beside the phases";
    EXPECT_GT(frames.size(), 100U);
    int percent = 0, left = 1000;
    for (const std::string& frame : frames) {
        int now = 0, seconds = 0;
        if (std::sscanf(frame.c_str(), "application: loading %d %%", &now) == 1) {
            EXPECT_GE(now, percent) << frame;
            percent = now;
        }
        const std::size_t at = frame.find("kB/s  ");
        if (at != std::string::npos && std::sscanf(frame.c_str() + at, "kB/s %d s left", &seconds) == 1) {
            EXPECT_LE(seconds, left) << frame;
            left = seconds;
        }
    }
    EXPECT_GT(percent, 95);
    EXPECT_LE(left, 1);
    const auto shows = [&](const std::string& frame) { return std::ranges::count(frames, frame) > 0; };
    EXPECT_TRUE(shows("application: erasing  1 s")) << error;
    EXPECT_TRUE(shows("application: checking  0 s"));
    EXPECT_TRUE(shows("A message.\n")) << "it stands on a line of its own";
    EXPECT_TRUE(shows("config: erasing  0 s"));
    EXPECT_NE(error.find("application: loading   50 %  533.5 of 1048.6 kB  98.6 kB/s  6 s left"), std::string::npos)
        << error;
    EXPECT_TRUE(error.ends_with("\r\x1B[K"));
}

TEST_F(ProgressTest, FitsATerminalOfAnyWidth) {
    for (const int columns : {1, 12, 40})
        for (const std::string& frame : Frames(Load({}, true, columns)))
            EXPECT_LE(frame.size(), static_cast<std::size_t>(columns == 1 ? 100 : columns - 1)) << columns;
}

TEST_F(ProgressTest, IsALineForEachPhaseElsewhereAndNothingWhenAskedToBeQuiet) {
    EXPECT_EQ(Load({}, false), "application: reading\napplication: erasing\napplication: loading 1048576 bytes\n"
                               "application: checking\nA message.\n"
                               "config: reading\nconfig: erasing\nconfig: loading 700 bytes\nconfig: checking\n");
    EXPECT_EQ(Load(With(cli::ProgressStyle::None), true), "A message.\n");
    EXPECT_EQ(Load(With(cli::ProgressStyle::Auto, true), true), "");
}

TEST_F(ProgressTest, TellsASupervisorEachPhaseAndEachTwentieth) {
    std::istringstream lines(Load(With(cli::ProgressStyle::Lines), true));
    std::vector<std::string> steps;
    std::int64_t bytes = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line == "A message.")
            continue;
        const cli::Json event = cli::Json::parse(line);
        EXPECT_EQ(event["event"], "progress");
        const std::string step = event["image"].get<std::string>() + " " + event["step"].get<std::string>();
        if (steps.empty() || steps.back() != step)
            bytes = 0, steps.push_back(step);
        EXPECT_GE(event["bytes"].get<std::int64_t>(), bytes) << line;
        bytes = event["bytes"].get<std::int64_t>();
        EXPECT_TRUE(step != "application loading" || bytes <= 524288 ||
                    std::abs(event["kBPerSecond"].get<double>() - 102.4) < 5)
            << line;
    }
    EXPECT_EQ(fmt::format("{}", fmt::join(steps, ", ")),
              "application reading, application erasing, application loading, application checking, application done, "
              "config reading, config erasing, config loading, config checking, config done");
}

} // namespace
