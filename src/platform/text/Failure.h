// The only kind of run-time failure in the program, and its vocabulary: Attempt, ResumeNext, ResultOf and Finally. They
// take a reporter; each module has one, LogFailure(procedure).
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

// The failure number for an errno, and the description of a number.
std::int32_t NumberOfError(int error);
std::string DescriptionOf(std::int32_t number);

// The exception being handled, as a Failure. Those of the standard library get the nearest number (bad_alloc 7,
// out_of_range 9, invalid_argument 5, file system errors by errno).
Failure CurrentFailure();

// Runs `step`; a failure goes to `report` instead of the caller. True if there was none.
template <class Step, class Report> bool Attempt(Step&& step, Report&& report) {
    try {
        step();
        return true;
    } catch (...) {
        report(CurrentFailure());
        return false;
    }
}

// For procedures that continue with the next statement after a failure: each call runs one statement and reports its
// failure.
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

// The result code of `steps`, or -1 after a failure, which is reported.
template <class Steps, class Report> std::int32_t ResultOf(Steps&& steps, Report&& report) {
    std::int32_t result = -1;
    Attempt([&] { result = steps(); }, std::forward<Report>(report));
    return result;
}

// The result code of `steps`; `giveBack` runs after them on every path.
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

// The reporter of procedures that ignore failures silently.
inline constexpr auto IgnoreFailure = [](const Failure&) {};

} // namespace platform
