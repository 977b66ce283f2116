#include "CodePage.h"
#include "Failure.h"
#include "LibraryCalls.h"
#include "bas1394.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace bas1394 {

namespace {

constexpr std::uint32_t ACCESS_TYPE = 11;         // read, write and lock
constexpr std::uint32_t NOTIFICATION_OPTIONS = 3; // of reads and writes
constexpr std::size_t LOW_DIGITS = 8;

std::string Without(std::string text, const std::string& part) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at))
        text.erase(at, part.size());
    return text;
}

std::uint64_t HexValue(const std::string& digits) {
    return std::strtoull(digits.c_str(), nullptr, 16);
}

std::uint32_t SizeFromText(const std::string& sizeText) {
    const std::string text = platform::LowerCase(Without(sizeText, " "));
    return static_cast<std::uint32_t>(
        text.starts_with("0x") ? HexValue(text.substr(2)) : static_cast<std::uint64_t>(platform::NumberFromText(text)));
}

void ComplainOfAddress(const std::string& text) {
    if (basApp::globals.PerformUnattendedOperations)
        platform::Raise(14592, "What are you trying to do with the address?  Try again!  Use '0x' for Hex!",
                        "basUtils");
    if (basApp::hooks.writeStatusFileLine)
        basApp::hooks.writeStatusFileLine(
            fmt::format("What are you trying to do with the address: {}?  Try again!  Use '0x' for Hex!", text));
}

} // namespace

std::int32_t StringToAddress(const std::string& text, Address1394& address) {
    std::string digits = platform::UpperCase(text);
    if (!digits.starts_with("0X") && HexValue(digits) == 0)
        ComplainOfAddress(text);
    digits = Without(Without(Without(digits, " "), "0X"), "&H");
    const std::size_t split = digits.size() < LOW_DIGITS ? 0 : digits.size() - LOW_DIGITS;
    const std::uint64_t high = HexValue(digits.substr(0, split));
    if (high > 0xFFFF)
        return RESULT_FAILED;
    address = {static_cast<std::uint16_t>(high), static_cast<std::uint32_t>(HexValue(digits.substr(split)))};
    return RESULT_SUCCESS;
}

std::int32_t Allocate1394Memory(const std::string& addressText, const std::string& sizeText) {
    Address1394 address;
    if (StringToAddress(addressText, address) != RESULT_SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "ERROR: Failed to convert address in Allocate1394Memory.  Exiting abnormally");
        return RESULT_FAILED;
    }
    Twl1394AddressRange range{};
    range.AllocateFlags = 1;
    range.Flags = 1;
    range.Length = SizeFromText(sizeText);
    range.AccessType = ACCESS_TYPE;
    range.NotificationOptions = NOTIFICATION_OPTIONS;
    range.RequiredOffset = {address.AddressHigh, 0, address.AddressLow};
    const std::int32_t code = AllocateRange(range);
    if (code != RESULT_SUCCESS)
        return code;
    if (globals.AddressRanges.front().RangeHandle != 0)
        globals.AddressRanges.emplace_back();
    globals.AddressRanges.back() = range;
    return code;
}

std::int32_t AllocateRange(Twl1394AddressRange& record) {
    return library::AllocateAddressRange(record) == 0 ? RESULT_SUCCESS : RESULT_FAILED;
}

std::int32_t FreeRange(std::uint32_t rangeHandle) {
    return library::FreeAddressRange(rangeHandle) == 0 ? RESULT_SUCCESS : RESULT_FAILED;
}

void FreeAllRanges() {
    for (Twl1394AddressRange& range : globals.AddressRanges)
        if (range.RangeHandle != 0) {
            platform::Attempt([&] { std::ignore = FreeRange(range.RangeHandle); }, platform::IgnoreFailure);
            range.RangeHandle = 0;
        }
}

bool RangeAllocatedAt(Address1394 address) {
    return std::any_of(globals.AddressRanges.begin(), globals.AddressRanges.end(), [&](const auto& range) {
        return range.RangeHandle != 0 && range.RequiredOffset.AddressHigh == address.AddressHigh &&
               range.RequiredOffset.AddressLow == address.AddressLow;
    });
}

} // namespace bas1394
