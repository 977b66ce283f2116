// How far a load has come, on standard error: one line that is redrawn on a terminal, a line for each phase elsewhere,
// or JSON for a supervisor.
#pragma once

#include "LoadProgress.h"

#include <cstdint>
#include <string>

namespace cli {

struct CommonOptions;
struct Streams;

class Progress {
public:
    Progress(const CommonOptions& options, const Streams& streams);

    void Show(const basApp::LoadProgress& progress);
    // Takes the line off the terminal; the next Show draws it again. Before other output, and at the end.
    void Erase();

private:
    using Step = basApp::LoadProgress::Step;
    enum class Style { None, Json, Phases, Redrawn };

    // Takes over what the load says. True when it is another phase.
    bool Advance(const basApp::LoadProgress& progress);
    void NoteTimes(std::int64_t oldBytes, bool newPhase);
    void WriteJson() const;
    void WritePhase() const;
    void Redraw();
    [[nodiscard]] std::string Line();
    [[nodiscard]] std::string LoadingText();
    [[nodiscard]] double Rate() const; // bytes a second; 0 while it isn't known

    const Streams& streams_;
    Style style_;

    basApp::LoadProgress shown_;      // its bytes never fall within a section
    bool begun_ = false;              // there is a section
    std::int64_t phaseStart_ = 0;     // times are of the performance counter
    std::int64_t firstBytes_ = 0;     // that were taken when the loading phase was first heard of
    std::int64_t firstTime_ = 0;      // the same
    std::int64_t lastTime_ = 0;       // when bytes were taken last
    std::int64_t secondsLeft_ = -1;   // an estimate that only falls; -1 before there is one
    std::int64_t shownTwentieth_ = 0; // in JSON
    std::int64_t drawn_ = 0;          // when the line was
    bool onScreen_ = false;
};

} // namespace cli
