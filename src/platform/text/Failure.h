// The one kind of run-time failure of the program, and the only vocabulary for it: Attempt, ResumeNext, ResultOf and
// Finally. Each module adds one reporter, LogFailure(procedure), which they all take.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace platform {

// The classic numbers that appear in messages.
inline constexpr std::int32_t INVALID_CALL = 5;
inline constexpr std::int32_t OVERFLOW_FAILURE = 6;
inline constexpr std::int32_t OUT_OF_MEMORY = 7;
inline constexpr std::int32_t INDEX_OUT_OF_RANGE = 9;
inline constexpr std::int32_t TYPE_MISMATCH = 13; // text that isn't a number
inline constexpr std::int32_t BAD_FILE_NAME = 52; // one that could mean several files
inline constexpr std::int32_t FILE_NOT_FOUND = 53;
inline constexpr std::int32_t FILE_ALREADY_OPEN = 55;
inline constexpr std::int32_t DEVICE_IO_ERROR = 57;
inline constexpr std::int32_t DISK_FULL = 61;
inline constexpr std::int32_t PERMISSION_DENIED = 70;
inline constexpr std::int32_t PATH_ACCESS_ERROR = 75;
inline constexpr std::int32_t PATH_NOT_FOUND = 76;
inline constexpr std::int32_t DATABASE_ERROR = 3000;

struct Failure : std::exception {
    Failure(std::int32_t number, std::string description, std::string source = {})
        : Number(number), Description(std::move(description)), Source(std::move(source)) {}
    const char* what() const noexcept override { return Description.c_str(); }

    std::int32_t Number;
    std::string Description;
    std::string Source; // may be empty
};

[[noreturn]] void Raise(std::int32_t number, std::string description, std::string source = {});

// The number for an errno, and the words that go with a number.
std::int32_t NumberOfError(int error);
std::string DescriptionOf(std::int32_t number);

// The exception being handled as a Failure: itself, or the nearest number for one of the
// language's library (bad_alloc 7, out_of_range 9, invalid_argument 5, file system errors by errno).
Failure CurrentFailure();

// Runs `step`; a failure goes to `report` instead of the caller. True when the step ran to its end.
template <class Step, class Report> bool Attempt(Step&& step, Report&& report) {
    try {
        step();
        return true;
    } catch (...) {
        report(CurrentFailure());
        return false;
    }
}

// "Goes on with the next statement": each call runs one statement, and a failure in it is
// reported and the next call runs all the same.
//   ResumeNext next{[](const Failure& f) { StatusDisplay(LEVEL_ERROR, ...); }};
//   next([&] { first(); });
//   next([&] { second(); });
template <class Report> class ResumeNext {
public:
    explicit ResumeNext(Report report) : report_(std::move(report)) {}
    template <class Statement> bool operator()(Statement&& statement) {
        return Attempt(std::forward<Statement>(statement), report_);
    }

private:
    Report report_;
};

// The result code of `steps`. After a failure, which is reported, it is -1: work that broke off is never taken for
// work that succeeded.
template <class Steps, class Report> std::int32_t ResultOf(Steps&& steps, Report&& report) {
    std::int32_t result = -1;
    Attempt([&] { result = steps(); }, std::forward<Report>(report));
    return result;
}

// The result of `steps`; `giveBack` runs after it on every path.
template <class Steps, class GiveBack> std::int32_t Finally(Steps&& steps, GiveBack&& giveBack) {
    std::int32_t result = -1;
    try {
        result = steps();
    } catch (...) {
        giveBack();
        throw;
    }
    giveBack();
    return result;
}

// For procedures that go on without a word.
inline constexpr auto IgnoreFailure = [](const Failure&) {};

} // namespace platform
