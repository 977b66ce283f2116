#include "TwdChecks.h"

#include "CodePage.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>

namespace basBootloader {

namespace {

int Number(std::string_view digits) {
    int number = 0;
    for (const char digit : digits)
        number = number * 10 + (digit - '0');
    return number;
}

bool AreDigits(std::string_view text, std::size_t count) {
    return text.size() == count && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string_view Text(const std::array<std::uint8_t, 8>& field, std::size_t count) {
    return {reinterpret_cast<const char*>(field.data()), count};
}

// FileData has a 0 after the file's bytes.
bool IsInside(const TwdHeader& header, const TwdSection& section) {
    return LiesInside(section, static_cast<std::int64_t>(header.FileData.size()) - 1);
}

std::string SectionFault(const TwdHeader& header, const NamedSection& named) {
    const TwdSection& section = header.*named.section;
    if (!IsInside(header, section))
        return fmt::format("section {} reaches outside the file", SectionWord(named));
    return CrcFault(header, named);
}

} // namespace

bool IsTwdDate(std::string_view text) {
    using namespace std::chrono;
    return AreDigits(text, 8) &&
           year_month_day(year(Number(text.substr(0, 4))), month(static_cast<unsigned>(Number(text.substr(4, 2)))),
                          day(static_cast<unsigned>(Number(text.substr(6, 2)))))
               .ok();
}

bool IsTwdTime(std::string_view text) {
    return AreDigits(text, 6) && Number(text.substr(0, 2)) < 24 && Number(text.substr(2, 2)) < 60 &&
           Number(text.substr(4, 2)) < 60;
}

std::uint32_t Crc32(const std::uint8_t* bytes, std::size_t count) {
    return static_cast<std::uint32_t>(crc32_z(0, bytes, count));
}

std::optional<std::uint32_t> ContentCrc(const TwdHeader& header, const TwdSection& section) {
    if (section.Length <= 0 || !IsInside(header, section))
        return std::nullopt;
    return Crc32(header.FileData.data() + section.Offset, static_cast<std::size_t>(section.Length));
}

std::string CrcFault(const TwdHeader& header, const NamedSection& named) {
    const TwdSection& section = header.*named.section;
    const std::optional<std::uint32_t> crc = ContentCrc(header, section);
    if (!crc || *crc == Bits(section.Crc))
        return {};
    return fmt::format("section {} has the CRC 0x{:08X}, the header tells 0x{:08X}", SectionWord(named), *crc,
                       Bits(section.Crc));
}

std::string SectionWord(const NamedSection& section) {
    return platform::LowerCase(section.name);
}

std::vector<std::string> TwdFaults(const TwdHeader& header) {
    std::vector<std::string> faults;
    if (!IsTwdDate(Text(header.ImageDate, 8)))
        faults.emplace_back("invalid date");
    if (!IsTwdTime(Text(header.ImageTime, 6)))
        faults.emplace_back("invalid time");
    if (std::ranges::none_of(SECTIONS, [&](const NamedSection& named) { return (header.*named.section).Length > 0; }))
        faults.emplace_back("no section has content");
    for (const NamedSection& named : SECTIONS)
        if (std::string fault = SectionFault(header, named); !fault.empty())
            faults.push_back(std::move(fault));
    return faults;
}

} // namespace basBootloader
