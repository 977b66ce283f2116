// The debug GUIDs of the targets: equal to the permanent GUID where possible, made up where that is
// null or shared.
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <tuple>

namespace basBootloader {

namespace {

using Guid = std::array<std::uint8_t, 8>;

// Otherwise the target can't be asked now; the discovery that is owed for it is run later.
bool IsFree(const BootloaderTarget& target) {
    return !AnswerAwaited(target.Handle) && !LoadedByAnother(target.Handle);
}

bool TakesPart(const BootloaderTarget& target) {
    return target.Handle > 0 && target.Info.BootloaderVersion != 0 && IsFree(target);
}

bool IsNull(const ByteArray& guid) {
    return std::ranges::all_of(guid, [](std::uint8_t byte) { return byte == 0; });
}

ByteArray Bytes(const Guid& guid) {
    return {guid.begin(), guid.end()};
}

// Counts down from all ones, so that a made-up value doesn't collide with a manufacturer's.
Guid NextGeneratedGuid() {
    Guid& guid = globals.GeneratedGuid;
    if (guid == Guid{})
        guid.fill(0xFF);
    for (auto byte = guid.rbegin(); byte != guid.rend(); ++byte)
        if ((*byte)-- != 0) // no borrow
            break;
    return guid;
}

bool SynchronizeGuid(BootloaderTarget& target) {
    if (std::ranges::equal(target.DebugGUID, target.Info.GUID))
        return true;
    return SetDebugGUID(target.Handle, Bytes(target.Info.GUID)) == SUCCESS &&
           GetDebugGUID(target.Handle, target.DebugGUID) == SUCCESS &&
           std::ranges::equal(target.DebugGUID, target.Info.GUID);
}

void ReplaceNullGuid(BootloaderTarget& target) {
    const Guid generated = NextGeneratedGuid();
    if (SetDebugGUID(target.Handle, Bytes(generated)) != SUCCESS ||
        GetDebugGUID(target.Handle, target.DebugGUID) != SUCCESS)
        return;
    if (std::ranges::equal(target.DebugGUID, generated))
        StatusDisplay(LEVEL_USER, "Null bootloader GUID found on node #{}, set Debug GUID to {}", target.Device.NodeNum,
                      basUtils::ByteArrayToHexString(generated.data(), generated.size()));
    else
        target.DebugGUID = Bytes(generated);
}

void PartDuplicates(BootloaderTarget& first, BootloaderTarget& second) {
    const Guid firstGuid = NextGeneratedGuid(), secondGuid = NextGeneratedGuid();
    // Each step only after a good one; the next discovery tries again.
    std::ignore = (SetDebugGUID(first.Handle, Bytes(firstGuid)) == SUCCESS &&
                   SetDebugGUID(second.Handle, Bytes(secondGuid)) == SUCCESS &&
                   GetDebugGUID(first.Handle, first.DebugGUID) == SUCCESS &&
                   GetDebugGUID(second.Handle, second.DebugGUID) == SUCCESS);
}

} // namespace

std::int32_t SynchronizeGUIDs() {
    std::int32_t result = SUCCESS;
    for (BootloaderTarget& target : globals.TargetList)
        if (TakesPart(target) && !SynchronizeGuid(target))
            result = FAILED;
    return result;
}

std::int32_t HandleNullGUIDs() {
    for (BootloaderTarget& target : globals.TargetList)
        if (TakesPart(target) && IsNull(target.DebugGUID))
            ReplaceNullGuid(target);
    return SUCCESS;
}

std::int32_t HandleDuplicateGUIDs() {
    auto& targets = globals.TargetList;
    for (std::size_t i = 0; i < targets.size(); ++i)
        for (std::size_t j = i + 1; j < targets.size(); ++j)
            if (targets[i].DebugGUID == targets[j].DebugGUID && TakesPart(targets[i]) && IsFree(targets[j]))
                PartDuplicates(targets[i], targets[j]);
    return SUCCESS;
}

} // namespace basBootloader
