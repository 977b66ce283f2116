#include "Progress.h"

#include "Call.h"
#include "Clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace cli {

namespace {

constexpr std::int64_t SECOND = 1'000'000'000, REDRAW_AFTER = SECOND / 10;
constexpr std::int64_t ESTIMATE_AFTER = SECOND / 2; // the first blocks say little about the rest
constexpr const char* ERASE_LINE = "\r\x1B[K";

std::string Kilobytes(std::int64_t bytes) {
    return fmt::format("{:.1f}", static_cast<double>(bytes) / 1000);
}

std::string ImageName(const basApp::LoadProgress& progress) {
    const char* name = NameOfImage(progress.imageType);
    return name == nullptr ? "image" : name;
}

std::string Duration(std::int64_t seconds) {
    return seconds < 60 ? fmt::format("{} s", seconds) : fmt::format("{}:{:02} min", seconds / 60, seconds % 60);
}

} // namespace

Progress::Progress(const CommonOptions& options, const Streams& streams) : streams_(streams) {
    if (options.Quiet || options.Progress == ProgressStyle::None)
        style_ = Style::None;
    else if (options.Progress == ProgressStyle::Lines)
        style_ = Style::Json;
    else
        style_ = streams.ErrorTakesColour ? Style::Redrawn : Style::Phases;
}

void Progress::Show(const basApp::LoadProgress& progress) {
    if (style_ == Style::None)
        return;
    const bool newPhase = Advance(progress);
    const std::int64_t twentieth = basApp::Twentieth(shown_);
    if (style_ == Style::Redrawn) {
        const std::int64_t now = platform::QueryPerformanceCounter();
        if (newPhase || now - drawn_ >= REDRAW_AFTER)
            Redraw();
    } else if (style_ == Style::Json && (newPhase || twentieth != shownTwentieth_)) {
        WriteJson();
    } else if (style_ == Style::Phases && newPhase) {
        WritePhase();
    }
    shownTwentieth_ = twentieth;
    if (shown_.step == Step::Done)
        begun_ = false;
}

bool Progress::Advance(const basApp::LoadProgress& progress) {
    const bool newSection = !begun_ || progress.imageType != shown_.imageType || progress.guid != shown_.guid ||
                            progress.step < shown_.step;
    const bool newPhase = newSection || progress.step != shown_.step;
    const std::int64_t oldBytes = newSection ? 0 : shown_.bytes;
    shown_ = progress;
    shown_.bytes = std::max(progress.bytes, oldBytes);
    begun_ = true;
    NoteTimes(oldBytes, newPhase);
    return newPhase;
}

void Progress::NoteTimes(std::int64_t oldBytes, bool newPhase) {
    const std::int64_t now = platform::QueryPerformanceCounter();
    if (newPhase)
        phaseStart_ = now;
    if (newPhase && shown_.step <= Step::Loading) {
        firstBytes_ = shown_.bytes;
        firstTime_ = now;
        secondsLeft_ = -1;
    }
    if (shown_.bytes != oldBytes)
        lastTime_ = now;
}

double Progress::Rate() const {
    const std::int64_t bytes = shown_.bytes - firstBytes_, time = lastTime_ - firstTime_;
    return bytes <= 0 || time <= 0 ? 0 : static_cast<double>(bytes) * SECOND / static_cast<double>(time);
}

// --- JSON and phases ---

void Progress::WriteJson() const {
    Json event{{"event", "progress"},   {"step", NameOf(shown_.step)}, {"image", ImageName(shown_)},
               {"bytes", shown_.bytes}, {"length", shown_.length},     {"kBPerSecond", nullptr}};
    if (const double rate = Rate(); rate > 0)
        event["kBPerSecond"] = std::round(rate) / 1000;
    streams_.Error(Dump(event, -1) + "\n");
}

void Progress::WritePhase() const {
    if (shown_.step == Step::Done)
        return; // the verdict says how it ended
    std::string line = fmt::format("{}: {}", ImageName(shown_), NameOf(shown_.step));
    if (shown_.step == Step::Loading)
        line += fmt::format(" {} bytes", shown_.length);
    streams_.Error(line + "\n");
}

// --- The line on a terminal ---

std::string Progress::LoadingText() {
    const std::int64_t percent = shown_.length > 0 ? shown_.bytes * 100 / shown_.length : 0;
    std::string text = fmt::format("{:3} %  {} of {} kB", percent, Kilobytes(shown_.bytes), Kilobytes(shown_.length));
    const double rate = Rate();
    if (rate > 0)
        text += fmt::format("  {:.1f} kB/s", rate / 1000);
    if (rate > 0 && lastTime_ - firstTime_ >= ESTIMATE_AFTER) {
        const auto left = std::llround(std::ceil(static_cast<double>(shown_.length - shown_.bytes) / rate));
        secondsLeft_ = secondsLeft_ < 0 ? left : std::min<std::int64_t>(secondsLeft_, left);
        text += fmt::format("  {} left", Duration(secondsLeft_));
    }
    if (shown_.tries > 0)
        text += "  sending a block again";
    return text;
}

std::string Progress::Line() {
    std::string line = fmt::format("{}: {}  ", ImageName(shown_), NameOf(shown_.step));
    if (shown_.step == Step::Loading)
        return line + LoadingText();
    return line + Duration((platform::QueryPerformanceCounter() - phaseStart_) / SECOND);
}

void Progress::Redraw() {
    if (shown_.step == Step::Done)
        return Erase();
    std::string line = Line();
    if (const int columns = streams_.ErrorColumns ? streams_.ErrorColumns() : 0; columns > 1)
        line.resize(std::min(line.size(), static_cast<std::size_t>(columns - 1))); // the last column would wrap
    streams_.Error(ERASE_LINE + line);
    drawn_ = platform::QueryPerformanceCounter();
    onScreen_ = true;
}

void Progress::Erase() {
    if (onScreen_)
        streams_.Error(ERASE_LINE);
    onScreen_ = false;
}

} // namespace cli
