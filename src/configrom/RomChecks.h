// What can be said of a config ROM beyond its rows: whether its CRCs are right, which quadlets
// nothing refers to, and which entries break IEEE 1212. Reads the record only.
#pragma once

#include "ConfigRomRecord.h"

#include <cstdint>
#include <string>
#include <vector>

namespace basConfigRom {

enum class Verdict { Fault, Note, Good }; // Note: unusual, or not decided

struct RomFinding {
    std::uint32_t Address = 0; // lower 32 bits, of the quadlet that it is about
    Verdict Severity = Verdict::Note;
    const char* Code = ""; // what kind of finding: for programs, and doesn't change
    std::string Text;

    std::uint32_t Quadlet() const; // Address as a count of quadlets from the ROM's base
};

// All findings: faults first, then notes, then CRCs that are right; each by address. `image`, when
// the whole ROM is at hand, holds its bytes from the base on, big-endian.
std::vector<RomFinding> CheckConfigRom(const ConfigRomRecord& rom, const ByteArray& image = {});

const char* VerdictName(Verdict severity); // "fault", "note", "good"
// The findings as lines of text: an empty one, "CHECKS: 1 fault, ...", then
// "0xF0000414  fault  The ..." for each.
std::vector<std::string> CheckLines(const std::vector<RomFinding>& findings);
// "1 fault, 0 notes, 7 CRCs good"
std::string SummaryText(const std::vector<RomFinding>& findings);

} // namespace basConfigRom
