#include "CallFiles.h"

#include "Failure.h"
#include "Files.h"
#include "Paths.h"

#include <fmt/format.h>

#include <filesystem>
#include <limits>

namespace cli {

namespace {

constexpr std::int64_t LARGEST = std::numeric_limits<std::int32_t>::max();

ByteArray Content(const std::string& path) {
    platform::InputFile file(path);
    if (file.Size() > LARGEST)
        platform::Raise(platform::INVALID_CALL, "it exceeds 2 GiB");
    ByteArray bytes(static_cast<std::size_t>(file.Size()));
    bytes.resize(bytes.empty() ? 0 : file.Read(bytes.data(), bytes.size()));
    return bytes;
}

void WriteExactly(const std::string& path, const ByteArray& bytes) {
    for (const std::string& meant : platform::PathsMeant(path))
        if (std::filesystem::path(meant).filename() != std::filesystem::path(path).filename())
            platform::Raise(platform::BAD_FILE_NAME, fmt::format("it would replace \"{}\"", meant));
    platform::WriteFileAtomically(path, bytes);
}

} // namespace

bool ReadInput(Call& call, const std::string& path, ByteArray& bytes) {
    return platform::Attempt([&] { bytes = Content(path); },
                             [&](const platform::Failure& failure) {
                                 call.End(Verdict::Refused,
                                          fmt::format("\"{}\" can't be read: {}.", path, failure.Description));
                             });
}

bool WriteOutput(Call& call, const std::string& path, const ByteArray& bytes) {
    return platform::Attempt([&] { WriteExactly(path, bytes); },
                             [&](const platform::Failure& failure) {
                                 call.End(Verdict::Failed,
                                          fmt::format("\"{}\" can't be written: {}.", path, failure.Description));
                             });
}

} // namespace cli
