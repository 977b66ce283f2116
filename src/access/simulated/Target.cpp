#include "Target.h"
#include "MemoryMap.h"
#include "RomImage.h"
#include "TargetCommands.h"

#include <fmt/format.h>

#include <utility>

namespace simulator {

namespace {
constexpr std::uint8_t HALT = 1, READ_KEY = 18;
constexpr std::int64_t GOING_AWAY_MS = 1;  // after the request
constexpr std::int64_t ANNOUNCING_MS = 10; // after coming up
constexpr std::int64_t HALT_PATIENCE_MS = 5000;
constexpr std::int64_t LOOKING_MS = 10;      // for a direct write, after its arrival
constexpr std::uint32_t TARNWELL = 0x000F1B; // whatever the GUID
} // namespace

Target::Target(const NodeDescription& description, Surroundings surroundings, StateDirectory store)
    : description_(description), surroundings_(std::move(surroundings)), store_(std::move(store)),
      state_(FactoryState(description_)), flash_(state_, description_.maxBlockSize), keys_(state_),
      console_(ConsoleSettings(), ConsoleHooks()), session_(description_.answerMs * MILLISECOND, SessionHooks()),
      registers_(description_, state_), rom_({}) {
    store_.Load(state_);
}

Session::Hooks Target::SessionHooks() {
    return {.now = surroundings_.now,
            .execute = [this](const Request& request) { return Execute(request); },
            .requestBufferWritten = [this](ByteView data) { TakeDirectWrite(data); },
            .ignoredWhileBusy =
                [this](const Request& request) {
                    surroundings_.debugText(DEBUG_TRACE, fmt::format("busy: command {} ignored", request.code));
                }};
}

ShellConsole::Settings Target::ConsoleSettings() const {
    const bool bigEndian = description_.protocol == PROTOCOL_BIG_ENDIAN;
    return {description_.shellBanner, description_.shellRing, bigEndian || description_.protocol == 2,
            bigEndian ? ByteOrder::Big : ByteOrder::Little};
}

ShellConsole::Hooks Target::ConsoleHooks() {
    return {.version =
                [this] {
                    const ImageType running = state_.inBootloader ? BOOTLOADER : APPLICATION;
                    return fmt::format("{} {} {:08X}", description_.model, SECTION_NAMES[running],
                                       state_.sections[running].identity.version);
                },
            .keys =
                [this] {
                    std::string lines;
                    for (const auto& [name, value] : state_.keys)
                        lines += fmt::format("{} ({} bytes)\r\n", name, value.size());
                    return lines;
                },
            .reset = [this] { Restart(false); },
            .after = [this](std::int64_t ms,
                            std::function<void()> call) { surroundings_.after(ms * MILLISECOND, std::move(call)); },
            .outputChanged =
                [this] {
                    if (console_.IsRing())
                        console_.RenderRing(session_.ResponseBuffer());
                }};
}

Bytes Target::CurrentRom() const {
    if (!description_.romImage.empty())
        return description_.romImage;
    return GenerateRom({TARNWELL, state_.guid, description_.hardwareModelId, description_.hardwareVersion,
                        description_.vendor, description_.model});
}

void Target::PowerUp() {
    ++life_;
    restarting_ = false;
    textRemaining_ = 0;
    directWrite_.reset();
    state_.inBootloader = state_.inBootloader || !state_.sections[APPLICATION].valid;
    rom_.Replace(CurrentRom());
    flash_.PowerUp();
    keys_.PowerUp();
    session_.Clear();
    console_.PowerUp();
    awaitsHalt_ = state_.inBootloader && description_.announce;
    if (awaitsHalt_)
        Announce();
}

void Target::Announce() {
    surroundings_.after(ANNOUNCING_MS * MILLISECOND, [this, life = life_] {
        if (life == life_ && !restarting_) {
            Bytes greeting;
            Append32(greeting, description_.protocol, ByteOrder::Little);
            Append32(greeting, 0, ByteOrder::Little);
            surroundings_.writeToHost(RESPONSE_AREA, greeting);
        }
    });
    surroundings_.after(HALT_PATIENCE_MS * MILLISECOND, [this, life = life_] {
        if (life == life_ && awaitsHalt_ && !restarting_ && state_.sections[APPLICATION].valid) {
            surroundings_.debugText(DEBUG_TRACE, "nobody halted the bootloader: starting the application");
            Restart(false);
        }
    });
}

void Target::Restart(bool intoBootloader) {
    if (std::exchange(restarting_, true))
        return;
    surroundings_.after(GOING_AWAY_MS * MILLISECOND, [this, intoBootloader] {
        surroundings_.leaveBus();
        if (vanishes_) {
            surroundings_.debugText(DEBUG_TRACE, "gone for good");
            return;
        }
        state_.inBootloader = intoBootloader || !state_.sections[APPLICATION].valid;
        store_.SaveIdentity(state_);
        surroundings_.after(description_.rebootMs * MILLISECOND, [this] {
            PowerUp();
            surroundings_.debugText(DEBUG_TRACE, state_.inBootloader ? "bootloader is up" : "application is up");
            surroundings_.joinBus();
        });
    });
}

bool Target::VersionFits(const Request& request) const {
    const std::uint32_t own = description_.protocol == PROTOCOL_BIG_ENDIAN ? 1 : description_.protocol;
    return request.version == own || (request.code == HALT && request.version == 1); // a broadcast reaches every target
}

std::optional<Answer> Target::Execute(const Request& request) {
    if (restarting_)
        return std::nullopt;
    if (!VersionFits(request)) {
        surroundings_.debugText(
            DEBUG_WARNING, fmt::format("command {} with protocol version {} ignored", request.code, request.version));
        return std::nullopt;
    }
    std::optional<Answer> answer = TargetCommands::Run(*this, request);
    if (console_.IsRing() && request.code != READ_KEY)
        console_.RenderRing(session_.ResponseBuffer()); // a key's value had overwritten the ring
    return answer;
}

void Target::TakeDirectWrite(ByteView data) {
    if (!console_.IsRing() || restarting_)
        return;
    if (std::exchange(directWrite_, Bytes(data.begin(), data.end()))) {
        surroundings_.debugText(DEBUG_TRACE, "a direct write was overwritten before the console had taken it");
        return;
    }
    surroundings_.after(LOOKING_MS * MILLISECOND, [this, life = life_] {
        if (life == life_ && directWrite_)
            TypeIntoConsole(*std::exchange(directWrite_, std::nullopt));
    });
}

// The direct write of protocols 2 and 0x2000000: 6 zero bytes, the length, the text, padding.
void Target::TypeIntoConsole(ByteView data) {
    constexpr std::size_t header = 8;
    if (flash_.Loading() || restarting_ || data.size() <= header)
        return;
    const ByteOrder order = ConsoleSettings().order;
    const std::size_t length = Get16(data, 6, order);
    const bool fits = Get32(data, 0, order) == 0 && Get16(data, 4, order) == 0 && length > 0 &&
                      data.size() == (header + length + 3) / 4 * 4;
    if (fits)
        console_.Input(data.subspan(header, length));
}

} // namespace simulator
