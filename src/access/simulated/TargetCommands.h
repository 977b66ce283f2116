// The commands of the bootloader protocol, as a target executes them.
#pragma once

#include "Target.h"

namespace simulator {

struct TargetCommands {
    using Result = std::optional<Answer>; // empty: no answer

    // Empty also for an unknown command, one with too few operands, and one that the running application doesn't know.
    static Result Run(Target& target, const Request& request);

private:
    using Handler = Result (*)(Target& target, ByteView operands);
    struct Row {
        std::uint8_t code;
        const char* name;
        std::uint8_t quadlets; // announced; key commands also announce their name
        std::size_t bytes;     // minimum
        bool whileApplicationRuns;
        Handler handler;
    };
    static const Row* Find(std::uint8_t code);

    static Result HaltBootloader(Target& target, ByteView operands);
    static Result ResetDevice(Target& target, ByteView operands);
    static Result ReadImageCRC(Target& target, ByteView operands);
    static Result DownloadStart(Target& target, ByteView operands);
    static Result DownloadBlock(Target& target, ByteView operands);
    static Result DownloadEnd(Target& target, ByteView operands);
    static Result SwitchTo1394Shell(Target& target, ByteView operands);
    static Result ReadShellCharacters(Target& target, ByteView operands);
    static Result WriteShellCharacters(Target& target, ByteView operands);
    static Result ProgramGUID(Target& target, ByteView operands);
    static Result ProgramMAC(Target& target, ByteView operands);
    static Result InitializePersistentParams(Target& target, ByteView operands);
    static Result InitializeConfigToFactoryDefaults(Target& target, ByteView operands);
    static Result SetDebugGUID(Target& target, ByteView operands);
    static Result GetDebugGUID(Target& target, ByteView operands);
    static Result StartImage(Target& target, ByteView operands);
    static Result ReadKey(Target& target, ByteView operands);
    static Result WriteKey(Target& target, ByteView operands);
};

} // namespace simulator
