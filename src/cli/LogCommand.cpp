// hoistline log: the stored log.
#include "CodePage.h"
#include "Commands.h"
#include "Failure.h"
#include "Levels.h"
#include "LogTimes.h"
#include "StoreFiles.h"
#include "basDebug.h"

#include <algorithm>

namespace cli {

namespace {

constexpr std::int64_t POLL_INTERVAL = 500; // ms
constexpr std::size_t FIRST_ROWS = 10;      // that --follow begins with

struct LogOptions {
    std::string level, module, since;
    bool follow = false;
};

struct TimedRow {
    store::LogRow row;
    std::optional<std::int64_t> time;
};

struct Filter {
    std::int32_t level = 0;
    std::string module; // in capitals; empty: all
    std::optional<std::int64_t> since;

    bool Wants(const TimedRow& timed) const {
        return timed.row.Level >= level && (module.empty() || platform::UpperCase(timed.row.Module) == module) &&
               (!since || (timed.time && *timed.time >= *since));
    }
};

std::int64_t Now() {
    return store::LocalMilliseconds(platform::GetLocalTime());
}

std::string LineOf(const TimedRow& timed) {
    const store::LogRow& row = timed.row;
    return fmt::format("{:<19} {:>12} {:<7} {:<13} {}", timed.time ? store::FormatLocal(*timed.time) : "-",
                       row.RunTime < 0 ? "-" : basDebug::FormatRunTime(row.RunTime), basDebug::GetLevelName(row.Level),
                       Printable(row.Module), Printable(row.Message));
}

Json ToJson(const TimedRow& timed) {
    const store::LogRow& row = timed.row;
    return {{"time", timed.time ? Json(store::FormatLocal(*timed.time, 'T')) : Json(nullptr)},
            {"runTimeMs", row.RunTime < 0 ? Json(nullptr) : Json(row.RunTime)},
            {"level", basDebug::GetLevelName(row.Level)},
            {"module", row.Module},
            {"message", row.Message}};
}

// The log, read again and again.
class LogReader {
public:
    // The rows that are new since the last time.
    std::vector<TimedRow> Read() {
        std::vector<store::LogRow> now = store::HasDatabase() ? store::ReadLog() : std::vector<store::LogRow>();
        const auto first = now.begin() + std::ptrdiff_t(store::FirstNewRow(rows_, now));
        const std::vector<store::LogRow> added(first, now.end());
        rows_ = std::move(now);
        const auto times = store::TimesOf(clock_, added, Now());
        std::vector<TimedRow> timed;
        for (std::size_t i = 0; i < added.size(); ++i)
            timed.push_back({added[i], times[i]});
        return timed;
    }

private:
    std::vector<store::LogRow> rows_;
    store::LogClock clock_;
};

void ShowRow(Call& call, const TimedRow& timed) {
    if (!call.WantsLines())
        call.PrintEvent({{"event", "row"}, {"row", ToJson(timed)}});
    else
        call.Print(LineOf(timed));
}

// Until a signal or the time limit ends it. A log that can't be read for a moment is read the next time.
void Follow(Call& call, LogReader& reader, const Filter& filter) {
    call.streamed = true;
    while (!call.MustEnd()) {
        std::vector<TimedRow> added;
        platform::Attempt([&] { added = reader.Read(); }, platform::IgnoreFailure);
        for (const TimedRow& timed : added)
            if (filter.Wants(timed))
                ShowRow(call, timed);
        std::ignore = call.Wait([] { return false; }, POLL_INTERVAL);
    }
}

void ShowAll(Call& call, const std::vector<TimedRow>& rows) {
    Json all = Json::array();
    for (const TimedRow& timed : rows) {
        all.push_back(ToJson(timed));
        call.Print(LineOf(timed));
    }
    call.report.Answer = {{"rows", std::move(all)}};
}

bool MakeFilter(Call& call, const LogOptions& options, Filter& filter) {
    filter.level = options.level.empty() ? 0 : basDebug::GetLevelNumber(options.level);
    filter.module = platform::UpperCase(options.module);
    if (options.since.empty())
        return true;
    filter.since = store::ParseSince(options.since, Now());
    return filter.since ||
           call.End(Verdict::Usage, fmt::format("--since takes \"2026-11-25\", \"2026-11-25 14:30\", \"14:30\", or "
                                                "\"10m\", \"2h\", \"3d\" ago, not \"{}\".",
                                                options.since));
}

void Log(Call& call, const LogOptions& options) {
    Filter filter;
    if (!MakeFilter(call, options, filter))
        return;
    if (!store::HasDatabase())
        call.Tell(fmt::format("hoistline: there is no stored log yet: \"{}\" doesn't exist", store::LiveDatabase()));
    LogReader reader;
    std::vector<TimedRow> rows = reader.Read();
    std::erase_if(rows, [&](const TimedRow& timed) { return !filter.Wants(timed); });
    if (!options.follow)
        return ShowAll(call, rows);
    const std::size_t shown = filter.since ? rows.size() : std::min(rows.size(), FIRST_ROWS);
    std::for_each(rows.end() - std::ptrdiff_t(shown), rows.end(), [&](const TimedRow& timed) { ShowRow(call, timed); });
    Follow(call, reader, filter);
}

} // namespace

void AddLog(CommandSet& set) {
    auto options = std::make_shared<LogOptions>();
    CLI::App* command = set.Add("log", "show the stored log", [options](Call& call) { Log(call, *options); });
    std::vector<std::string> levels;
    for (std::int32_t level = LEVEL_DETAIL; level <= LEVEL_FATAL; level += 2)
        levels.push_back(platform::LowerCase(basDebug::GetLevelName(level)));
    TakesOneOf(command->add_option("--level", options->level,
                                   "show messages of this level and above; the levels are named from the lowest to "
                                   "the highest, so user ranks above error"),
               levels);
    command->add_option("--module", options->module, "show messages of this module, such as basBootloader")
        ->type_name("MODULE");
    command
        ->add_option(
            "--since", options->since,
            "show messages from then on: 2026-11-25, \"2026-11-25 14:30\", 14:30, or 10m, 2h, 3d ago; those whose "
            "time isn't known are left out")
        ->type_name("TIME");
    command->add_flag("--follow", options->follow, "show the last ten, then go on until Ctrl+C; with --since all");
}

} // namespace cli
