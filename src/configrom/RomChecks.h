// Checks of a config ROM: wrong CRCs, quadlets that nothing refers to, and entries that break IEEE 1212. Reads the
// record only.
#pragma once

#include "ConfigRomRecord.h"

#include <cstdint>
#include <string>
#include <vector>

namespace basConfigRom {

enum class Verdict { Fault, Note, Good }; // Note: unusual, or undecided

struct RomFinding {
    std::uint32_t Address = 0; // of the quadlet concerned, lower 32 bits
    Verdict Severity = Verdict::Note;
    const char* Code = ""; // the kind of finding, for programs: never changes
    std::string Text;

    std::uint32_t Quadlet() const; // Address as a count of quadlets from the ROM's base
};

// All findings: faults first, then notes, then correct CRCs; each group by address. `image` holds the bytes from the
// ROM's base on, big-endian, if the whole ROM is available.
[[nodiscard]] std::vector<RomFinding> CheckConfigRom(const ConfigRomRecord& rom, const ByteArray& image = {});

const char* VerdictName(Verdict severity); // "fault", "note", "good"
// The findings as lines of text: an empty one, "CHECKS: 1 fault, ...", then
// "0xF0000414  fault  The ..." for each.
std::vector<std::string> CheckLines(const std::vector<RomFinding>& findings);
// "1 fault, 0 notes, 7 CRCs good"
std::string SummaryText(const std::vector<RomFinding>& findings);

} // namespace basConfigRom
