// GUID and MAC: reads their text from an option or a file and programs them into the device.
#include "CodePage.h"
#include "Files.h"
#include "KeyBatchText.h"
#include "OneTarget.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <utility>

namespace basAutomation {

namespace {

constexpr std::size_t GUID_BYTES = 8;
constexpr std::size_t MAC_BYTES = 6;
constexpr std::size_t LONGEST_ITEM = 512; // longer than any valid value

// What is wrong with a text that should be so many bytes in hex; empty for a valid one.
std::string FaultOfValue(const std::string& text, std::size_t byteCount, ByteArray& bytes) {
    if (platform::Trim(text).empty())
        return "it is empty";
    if (!platform::Attempt([&] { basUtils::HexString2Ascii(text, bytes); }, platform::IgnoreFailure))
        return "it isn't an even number of hexadecimal digits";
    if (bytes.size() != byteCount)
        return fmt::format("it makes {} bytes in place of {}", bytes.size(), byteCount);
    return {};
}

// Text from a user or a file, shortened to one line for a message.
std::string Shown(const std::string& text) {
    constexpr std::size_t LONGEST = 40;
    ByteArray characters = platform::AnsiFromText(text);
    const bool cut = characters.size() > LONGEST;
    characters.resize(std::min(characters.size(), LONGEST));
    std::replace_if(
        characters.begin(), characters.end(), [](std::uint8_t c) { return c < ' ' || c == 0x7F; }, '?');
    return platform::TextFromAnsi(characters) + (cut ? "..." : "");
}

// Why the text can't be programmed, which is also logged at ERROR; empty for a valid one. Nothing doubtful gets
// through.
std::string Decode(const char* kind, const std::string& source, const std::string& text, std::size_t byteCount,
                   ByteArray& bytes) {
    std::string fault = FaultOfValue(text, byteCount, bytes);
    if (fault.empty())
        return fault;
    fault = fmt::format("The {} \"{}\" of {} can't be programmed: {}.  Nothing was sent to the device.", kind,
                        Shown(text), source, fault);
    StatusDisplay(LEVEL_ERROR, "{}", fault);
    return fault;
}

std::string FileSource(const platform::FileName& file) {
    return "the file \"" + file.Shown + "\"";
}

constexpr const char* GUID_OPTION = "the option /G";

// The first item of a file.
std::string FirstItem(const platform::FileName& file) {
    ByteArray bytes(LONGEST_ITEM);
    bytes.resize(platform::InputFile(file.Typed).Read(bytes.data(), bytes.size()));
    const std::string text = platform::TextFromAnsi(bytes);
    return platform::Trim(ItemReader(text).Next());
}

std::int32_t ProgramGuidBytes(std::int32_t handle, const std::string& source, const std::string& text) {
    ByteArray guid;
    if (!Decode("GUID", source, text, GUID_BYTES, guid).empty())
        return -1;
    const std::int32_t code = WriteGuidBytes(handle, std::move(guid));
    if (code != basBootloader::SUCCESS)
        StatusDisplay(LEVEL_ERROR, "ProgramGuidFromString: basBootloader.ProgramGUID returned code 0x{:X}", Bits(code));
    return code;
}

std::string DecodeMacFile(const platform::FileName& file, ByteArray& mac) {
    return Decode("MAC address", FileSource(file), FirstItem(file), MAC_BYTES, mac);
}

// The passes of /G on a chosen device.
std::int32_t WriteGuidTo(std::int32_t handle, const std::string& guidText, basApp::RunVerdict& verdict) {
    const auto logFailure = LogFailure("WriteGuid");
    if (!globals.PersistentParamsInitialized) {
        globals.PersistentParamsInitialized = true;
        bool succeeded = false;
        platform::Attempt([&] { succeeded = SetUpPersistentParams(handle, verdict); }, logFailure);
        if (succeeded)
            return DEVICE_WAS_RESET; // the GUID goes in on the next pass
    }
    const std::int32_t code = platform::ResultOf([&] { return ProgramGuidFromString(handle, guidText); }, logFailure);
    const std::string text = fmt::format(
        "ERROR: ProgramGuidFromString failed, code {}(0x{:X}) in basAutomation.WriteGuid", code, Bits(code));
    NoteStep(verdict, basApp::OperationKind::ProgramGuid, handle, code, text);
    if (code != basBootloader::SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "{}", text);
        return code;
    }
    StatusDisplay(LEVEL_USER, "Successfully set the GUID to the new value.");
    platform::Attempt([&] { StartApplication(handle, verdict); }, logFailure);
    return code;
}

} // namespace

std::int32_t WriteGuidBytes(std::int32_t handle, ByteArray guid) {
    basUtils::ChangeEndian(guid);
    return basBootloader::ProgramGUID(handle, guid);
}

std::int32_t WriteMacBytes(std::int32_t handle, ByteArray mac) {
    mac.insert(mac.begin(), 2, 0); // the 6 bytes are the low end of 8
    basUtils::ChangeEndian(mac);
    return basBootloader::ProgramMAC(handle, mac);
}

std::string FaultOfGuidFile(const platform::FileName& file) {
    ByteArray guid;
    return Decode("GUID", FileSource(file), FirstItem(file), GUID_BYTES, guid);
}

std::string FaultOfMacFile(const platform::FileName& file) {
    ByteArray mac;
    return DecodeMacFile(file, mac);
}

std::int32_t WriteGuid(const std::string& matchGuid, const std::string& guidText, basApp::RunVerdict& verdict) {
    std::int32_t handle = 0, bootloaderVersion = 0;
    const TargetChoice choice = ChooseTarget("WriteGuid", matchGuid, handle, bootloaderVersion, verdict);
    if (choice != TargetChoice::One)
        return choice == TargetChoice::NoMatch ? -1 : 0;
    ByteArray guid; // a bad one is reported before the persistent parameters are lost for it
    if (std::string fault = Decode("GUID", GUID_OPTION, guidText, GUID_BYTES, guid); !fault.empty()) {
        verdict.End(basApp::OutcomeKind::Refused, std::move(fault));
        return 0;
    }
    if (bootloaderVersion != 0)
        return WriteGuidTo(handle, guidText, verdict);
    platform::Attempt([&] { ResetIntoBootloader(handle, verdict); }, LogFailure("WriteGuid"));
    return DEVICE_WAS_RESET;
}

std::int32_t ProgramGuidFromString(std::int32_t handle, const std::string& text) {
    return platform::ResultOf([&] { return ProgramGuidBytes(handle, GUID_OPTION, text); }, platform::IgnoreFailure);
}

std::int32_t ProgramGuidFromFile(std::int32_t handle, const platform::FileName& file) {
    if (!FaultOfFile(file).empty())
        return -1;
    const std::int32_t code = platform::ResultOf(
        [&] { return ProgramGuidBytes(handle, FileSource(file), FirstItem(file)); }, platform::IgnoreFailure);
    if (code != basBootloader::SUCCESS) {
        StatusDisplay(LEVEL_ERROR, "ProgramGuidFromFile: basAutomation.ProgramGuidFromString returned code 0x{:X}",
                      Bits(code));
    }
    return code;
}

std::int32_t ProgramMacFromFile(std::int32_t handle, const platform::FileName& file) {
    if (!FaultOfFile(file).empty())
        return 0;
    ByteArray mac;
    if (!DecodeMacFile(file, mac).empty())
        return -1;
    const std::int32_t code = WriteMacBytes(handle, std::move(mac));
    if (code != basBootloader::SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to Program new MAC address.  basBootloader.ProgramMAC failed, code {} (0x{:X}) in "
                      "ProgramMacFromFile",
                      code, Bits(code));
    }
    return code;
}

} // namespace basAutomation
