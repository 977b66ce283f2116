#include "Library.h"
#include "FileBytes.h"

#include <fmt/format.h>

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <utility>

namespace simulator {

Globals globals;

static constexpr const char* DESCRIPTION_FILE = "simulated-bus.json";

static void Fire(void* ticket) {
    const std::lock_guard lock(globals.mutex);
    const auto found = globals.due.find(reinterpret_cast<std::uintptr_t>(ticket));
    if (found != globals.due.end()) { // otherwise it belonged to an earlier bus
        const std::function<void()> call = std::move(found->second);
        globals.due.erase(found);
        call();
    }
}

Clock& TheClock() {
    if (globals.clock == nullptr)
        globals.clock = std::make_unique<RealClock>(&Fire);
    return *globals.clock;
}

void UseCallersClock(const SimulatorClock* clock) {
    globals.clock.reset();
    if (clock != nullptr)
        globals.clock = std::make_unique<CallersClock>(*clock, &Fire);
}

static void CallAt(std::int64_t due, std::function<void()> call) {
    globals.due[++globals.lastTicket] = std::move(call);
    TheClock().CallAt(due, globals.lastTicket);
}

void DebugText(int level, const std::string& text) {
    if (level >= globals.debugLevel || level == DEBUG_ALWAYS) {
        globals.undelivered.push_back("simulated bus: " + text + "\r\n");
        DeliverDebugText();
    }
}

void DeliverDebugText() {
    if (globals.client != nullptr)
        for (const std::string& text : std::exchange(globals.undelivered, {}))
            globals.client->AppendDebugText(globals.client->Context, text.c_str());
}

static void PostNotice(std::uint32_t number) {
    if (globals.client != nullptr)
        globals.client->PostNotice(globals.client->Context, number);
}

static std::filesystem::path OwnDirectory() {
    Dl_info self{};
    dladdr(reinterpret_cast<const void*>(&OwnDirectory), &self);
    std::error_code failure;
    const std::filesystem::path path =
        std::filesystem::absolute(self.dli_fname == nullptr ? "" : self.dli_fname, failure);
    return path.parent_path();
}

// Where a description comes from.
struct Source {
    std::string name;           // for messages
    std::filesystem::path base; // of the relative paths in it
    bool chosen = false;        // the program has named the file
};

static Source SourceOf(const char* json, const char* baseDirectory) {
    const char* chosen = std::getenv(TWL1394_BUS_VARIABLE);
    if (json == nullptr && baseDirectory == nullptr && chosen != nullptr && *chosen != '\0') {
        const std::filesystem::path file = std::filesystem::absolute(chosen);
        return {file.string(), file.parent_path(), true};
    }
    const std::filesystem::path base = baseDirectory == nullptr ? OwnDirectory() : std::filesystem::path(baseDirectory);
    return {json == nullptr ? (base / DESCRIPTION_FILE).string() : "description", base};
}

// The file, or the default bus if it is missing and the program hasn't named it. Throws DescriptionError for a file
// that can't be read.
static std::string ReadDescription(const Source& source) {
    std::error_code failure;
    if (!source.chosen && !std::filesystem::exists(source.name, failure))
        return DefaultBus();
    const std::optional<Bytes> content = ReadFile(source.name);
    if (!content)
        throw DescriptionError("can't be read");
    return {content->begin(), content->end()};
}

static std::optional<BusDescription> TryDescription(const char* json, const Source& source) {
    globals.lastError.clear();
    globals.descriptionText.clear();
    try {
        globals.descriptionText = json == nullptr ? ReadDescription(source) : json;
        return ParseDescription(globals.descriptionText, source.base.string());
    } catch (const DescriptionError& failure) {
        globals.lastError = fmt::format("{}: {}", source.name, failure.what());
        return std::nullopt;
    }
}

bool CheckDescription(const char* json, const char* baseDirectory) {
    const std::string described = globals.descriptionText;
    const bool good = TryDescription(json, SourceOf(json, baseDirectory)).has_value();
    globals.descriptionText = described;
    return good;
}

void CloseBus() {
    globals.bus.reset();
    globals.stateLock.reset();
    globals.awaited.reset();
    globals.virtualDevice = false;
    globals.due.clear();
}

static bool ReportUse(const std::string& directory) {
    const std::string reason = fmt::format("the state directory '{}' is in use by {}; there is no bus until it ends",
                                           directory, globals.stateLock->User());
    if (std::exchange(globals.lastError, reason) != reason) // once, however often it is tried
        DebugText(DEBUG_ALWAYS, reason);
    return false;
}

// False if another process uses the directory. One that can't be used at all is taken out of the description.
static bool LockState(std::string& directory) {
    if (directory.empty())
        return true;
    if (CanWriteTo(directory)) {
        globals.stateLock = std::make_unique<DirectoryLock>(directory);
        if (globals.stateLock->Taken())
            return true;
        if (globals.stateLock->InUse())
            return ReportUse(directory);
    }
    DebugText(DEBUG_ALWAYS, fmt::format("can't write to '{}': the state stays in memory", directory));
    directory.clear();
    return true;
}

static bool OpenBus(BusDescription description) {
    if (!LockState(description.stateDirectory)) {
        globals.awaited = std::move(description);
        return false;
    }
    globals.virtualDevice = description.virtualDevice;
    globals.bus = std::make_shared<Bus>(description, BusOutlets{.now = [] { return TheClock().Now(); },
                                                                .callAt = CallAt,
                                                                .postNotice = PostNotice,
                                                                .debugText = DebugText});
    return true;
}

void OpenAwaitedBus() {
    if (std::optional<BusDescription> description = std::exchange(globals.awaited, std::nullopt))
        OpenBus(std::move(*description));
}

bool Describe(const char* json, const char* baseDirectory) {
    CloseBus();
    globals.undelivered.clear();
    const Source source = SourceOf(json, baseDirectory);
    if (std::optional<BusDescription> description = TryDescription(json, source))
        return OpenBus(std::move(*description));
    DebugText(DEBUG_ALWAYS, globals.lastError);
    if (!source.chosen) // otherwise exactly that bus was wanted
        OpenBus(EmptyBus());
    return false;
}

std::int32_t Carry(Transaction& transaction) {
    std::unique_lock lock(globals.mutex);
    if (globals.client == nullptr)
        return TWL1394_SHUTTING_DOWN;
    if (!globals.virtualDevice || globals.bus == nullptr)
        return TWL1394_NO_RESPONSE;
    const std::shared_ptr<Bus> bus = globals.bus;
    Clock& clock = TheClock();
    const Bus::Started started = bus->Begin(transaction.timeoutMs);
    lock.unlock();
    clock.Sleep(started.nanoseconds);
    lock.lock();
    // A caller's clock may run anything meanwhile, even the end of the bus.
    return globals.bus == bus ? bus->End(started, transaction) : TWL1394_SHUTTING_DOWN;
}

} // namespace simulator
