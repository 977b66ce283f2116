// The one kind of run-time failure of the program, and what procedures do with it.
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
// reported and left behind.
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

// For procedures that go on without a word.
inline constexpr auto IgnoreFailure = [](const Failure&) {};

} // namespace platform
