// Names of files and their content as bytes.
#include "Failure.h"
#include "Files.h"
#include "Paths.h"
#include "WindowSystem.h"
#include "basApp.h"
#include "basUtils.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>

namespace basUtils {

namespace {

constexpr std::int64_t PROGRESS_UNIT = 131072;      // bytes of one step of a progress bar, and of one read
constexpr std::int32_t PROGRESS_OF_UNKNOWN = 32767; // maximum for a size that can't be shown
constexpr std::int64_t LARGEST_ARRAY = 0x7FFFFFFF;  // upper bounds are 31 bits wide
constexpr std::int32_t FEWEST_STEPS_FOR_TURNS = 20;

std::int32_t ProgressMaximum(std::int64_t size) {
    const std::int64_t units = size / PROGRESS_UNIT;
    return units == 0 || size > LARGEST_ARRAY ? PROGRESS_OF_UNKNOWN : static_cast<std::int32_t>(units);
}

void ShowProgress(const ReadProgress* progress, std::int64_t count, std::int32_t maximum) {
    if (progress && progress->value)
        progress->value(std::min<double>(static_cast<double>(count) / PROGRESS_UNIT, maximum));
}

// The kernel supplies fresh memory page by page, which takes longer than reading the file. Large pages
// avoid that cost; a system without them ignores the advice.
void ReserveInLargePages(ByteArray& bytes, std::int64_t size) {
    constexpr std::uintptr_t PAGE = 4096, LARGE_PAGE = 2 * 1024 * 1024;
    bytes.reserve(static_cast<std::size_t>(size));
    if (bytes.capacity() < 2 * LARGE_PAGE)
        return;
    const std::uintptr_t memory = reinterpret_cast<std::uintptr_t>(bytes.data());
    const std::uintptr_t firstPage = (memory + PAGE - 1) / PAGE * PAGE;
    madvise(reinterpret_cast<void*>(firstPage), memory + bytes.capacity() - firstPage, MADV_HUGEPAGE);
}

// Reads up to `limit` bytes, or to the end of the file if that comes first. The size is only a
// first guess: it is 0 for some files of the system, and a file can grow meanwhile.
ByteArray ReadAll(platform::InputFile& file, std::int64_t limit, const ReadProgress* progress, std::int32_t maximum) {
    ByteArray bytes;
    ReserveInLargePages(bytes, std::min(file.Size(), limit) + PROGRESS_UNIT);
    for (;;) {
        const std::size_t count = bytes.size();
        const std::int64_t wished = std::min(PROGRESS_UNIT, limit - static_cast<std::int64_t>(count));
        bytes.resize(count + static_cast<std::size_t>(wished));
        const std::size_t read = wished > 0 ? file.Read(bytes.data() + count, static_cast<std::size_t>(wished)) : 0;
        bytes.resize(count + read);
        if (read == 0)
            return bytes;
        ShowProgress(progress, static_cast<std::int64_t>(bytes.size()), maximum);
    }
}

// A long read ends with a turn for the window system, now and then.
void TurnAfterRead(const ReadProgress* progress, std::size_t count, std::int32_t maximum) {
    if (!progress || !progress->repaint || maximum < FEWEST_STEPS_FOR_TURNS)
        return;
    if (count % static_cast<std::size_t>(maximum / FEWEST_STEPS_FOR_TURNS) != 0)
        return;
    progress->repaint();
    platform::DoEvents();
}

} // namespace

std::int32_t SplitPath(const std::string& path, std::string& directory, std::string& fileName) {
    const std::string whole = path; // the caller's path may be one of the two results
    const std::size_t separator = whole.find_last_of("\\/");
    if (separator == std::string::npos) {
        directory.clear();
        fileName = whole;
    } else {
        directory = whole.substr(0, std::max<std::size_t>(separator, 1)); // the root keeps its separator
        fileName = whole.substr(separator + 1);
    }
    return 1;
}

std::string NewUniqueFilename(const std::string& path) {
    std::string result;
    platform::Attempt(
        [&] {
            std::string directory, fileName;
            SplitPath(path, directory, fileName);
            const std::size_t dot = fileName.rfind('.');
            const std::string base = fileName.substr(0, dot);
            const std::string extension = dot == std::string::npos ? std::string() : fileName.substr(dot + 1);
            std::string candidate;
            for (std::int32_t number = 1; result.empty(); ++number) {
                const std::string name = fmt::format("{}.{:03}.{}", base, number, extension);
                candidate = directory.empty() ? name : platform::JoinPath(directory, name);
                if (!basApp::FileExists(candidate))
                    result = candidate;
            }
        },
        [](const platform::Failure& failure) {
            basDebug::Display("basUtils", LEVEL_ERROR, "ERROR #{}: {} in NewUniqueFilename.", failure.Number,
                              failure.Description);
        });
    return result;
}

std::int32_t ReadFileBytes(const std::string& path, ByteArray& bytes, std::int64_t maxBytes,
                           const ReadProgress* progress) {
    bytes.assign(1, 0);
    std::string cleanPath = path;
    if (!basApp::FileExists(cleanPath))
        return -1;
    platform::InputFile file(cleanPath);
    const std::int32_t maximum = ProgressMaximum(file.Size());
    if (progress && progress->start)
        progress->start(maximum);

    const bool bounded = maxBytes > 0 && maxBytes < LARGEST_ARRAY;
    if (!bounded && file.Size() >= LARGEST_ARRAY)
        platform::Raise(platform::OUT_OF_MEMORY, "Out of memory");
    ByteArray content = ReadAll(file, bounded ? maxBytes + 1 : LARGEST_ARRAY, progress, maximum);
    TurnAfterRead(progress, content.size(), maximum);
    const bool stopped = bounded && static_cast<std::int64_t>(content.size()) > maxBytes;
    if (!stopped)
        content.push_back(0);
    bytes = std::move(content);
    return bytes.size() > 2 ? 1 : -1;
}

} // namespace basUtils
