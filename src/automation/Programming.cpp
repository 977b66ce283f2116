// The unattended programming of one device: GUID, MAC, image with its configuration data,
// bootloader, and the start of the application.
#include "ImageDownload.h"
#include "OneTarget.h"
#include "RunFailures.h"
#include "basBootloader.h"

namespace basAutomation {

namespace {

using basBootloader::SUCCESS;

std::uint32_t Hex(std::int32_t code) {
    return static_cast<std::uint32_t>(code);
}

// What one pass is to program; a file name that is empty isn't wanted.
struct Work {
    bool programGuid, programMac;
    const platform::FileName &imageFile, &bootloaderFile;
};

bool FilesExist(const Work& work) {
    return (work.imageFile.empty() || CheckFile(work.imageFile)) &&
           (work.bootloaderFile.empty() || CheckFile(work.bootloaderFile)) &&
           (!work.programGuid || CheckFile(globals.GuidFile)) && (!work.programMac || CheckFile(globals.MacFile));
}

bool CheckHardware(const platform::FileName& file, const TwdHeader& package, std::int32_t handle) {
    const std::int32_t model =
        basBootloader::globals.TargetList.at(static_cast<std::size_t>(basBootloader::GetDeviceIndex(handle)))
            .Info.HardwareModelID;
    if (package.HardwareID == model || basApp::globals.OverrideHardwareCompatibility)
        return true;
    StatusDisplay(LEVEL_ERROR,
                  "Operation aborted due to hardware incompatibility: TWD Hardware ID = {} (0x{:X})  Target Hardware "
                  "ID = {}(0x{:X}), file '{}'",
                  package.HardwareID, Hex(package.HardwareID), model, Hex(model), file);
    return false;
}

// False, with the reason at ERROR, for a package that the load would refuse once the device is
// already in its bootloader. An image may be absent where configuration data may be loaded alone.
bool CheckPackage(const platform::FileName& file, bool imageNeeded, std::int32_t handle) {
    TwdHeader package;
    std::string fault = basBootloader::PackageFault(file.Typed, package);
    if (fault.empty() && imageNeeded && package.Image1.Length < 1)
        fault = "it contains no image";
    if (fault.empty() && !imageNeeded && package.Cne.Length < 0)
        fault = "the length of its CNE is negative";
    if (fault.empty())
        return CheckHardware(file, package, handle);
    StatusDisplay(LEVEL_ERROR, "The package \"{}\" can't be loaded: {}.  Nothing was loaded.", file, fault);
    return false;
}

// All that the run was given, before the device is touched: a fault found later would cost it its
// application, or its identity once the persistent parameters are gone.
bool InputIsGood(const Work& work, std::int32_t handle) {
    return (work.imageFile.empty() || CheckPackage(work.imageFile, false, handle)) &&
           (work.bootloaderFile.empty() || CheckPackage(work.bootloaderFile, true, handle)) &&
           (!work.programGuid || CheckGuidFile(globals.GuidFile)) &&
           (!work.programMac || CheckMacFile(globals.MacFile));
}

std::int32_t ProgramGuidOf(std::int32_t handle) {
    const std::int32_t code = ProgramGuidFromFile(handle, globals.GuidFile);
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "ERROR: ProgramGuidFromFile failed, code {}(0x{:X}) in "
                      "basAutomation.m_PerformUnattendedOperations",
                      code, Hex(code));
    } else {
        StatusDisplay(LEVEL_USER, "Successfully set the GUID to the new value.");
    }
    return code;
}

std::int32_t ProgramMacOf(std::int32_t handle) {
    const std::int32_t code = ProgramMacFromFile(handle, globals.MacFile);
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "ERROR: ProgramMacFromFile failed, code {}(0x{:X}) in "
                      "basAutomation.m_PerformUnattendedOperations",
                      code, Hex(code));
    } else {
        StatusDisplay(LEVEL_TRACE, "Successfully programmed MAC address");
    }
    return code;
}

std::int32_t LoadImageAndCne(std::int32_t handle, const platform::FileName& file) {
    const std::int32_t code = ProgramImageAndCneFromFile(handle, file);
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_WARNING,
                      "ProgramImageAndCneFromFile failed, code {}(0x{:X}) in "
                      "basAutomation.m_PerformUnattendedOperations",
                      code, Hex(code));
    }
    return code;
}

std::int32_t LoadBootloader(std::int32_t handle, const platform::FileName& file) {
    const std::int32_t code = ProgramBootloaderImageFromFile(handle, file);
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "ERROR: ProgramBootloaderImageFromFile failed, code {}(0x{:X}) in "
                      "basAutomation.m_PerformUnattendedOperations",
                      code, Hex(code));
    } else {
        StatusDisplay(LEVEL_USER, "Successfully programmed new bootloader firmware image.");
    }
    return code;
}

// The steps in their order; the first that fails ends them with its code.
std::int32_t ProgramTarget(std::int32_t handle, const Work& work) {
    platform::ResumeNext next{Reporter("m_PerformUnattendedOperations")};
    std::int32_t code = SUCCESS;
    if (work.programGuid) {
        next([&] { SetUpPersistentParams(handle); });
        code = Code(next, [&] { return ProgramGuidOf(handle); });
    }
    if (code == SUCCESS && work.programMac)
        code = Code(next, [&] { return ProgramMacOf(handle); });
    if (code == SUCCESS && !work.imageFile.empty())
        code = Code(next, [&] { return LoadImageAndCne(handle, work.imageFile); });
    if (code == SUCCESS && !work.bootloaderFile.empty())
        code = Code(next, [&] { return LoadBootloader(handle, work.bootloaderFile); });
    if (code == SUCCESS)
        next([&] { StartApplication(handle); });
    return code;
}

std::int32_t LoadImage(std::int32_t handle, const platform::FileName& file) {
    const std::int32_t code =
        basBootloader::DownloadImage(handle, basBootloader::IMAGE_APPLICATION, file, hooks.showProgress).Result;
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to Download Image.  basBootloader.DownloadImage failed, code {} (0x{:X}) in "
                      "ProgramImageAndCneFromFile",
                      code, Hex(code));
    } else {
        StatusDisplay(LEVEL_USER, "Successfully programmed image from {} to the device.", file);
    }
    return code;
}

void SetFactoryDefaults(std::int32_t handle) {
    if (initCNEFactoryDefaults(handle) != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "Failed to Dset CNE to factory default.  ");
    else
        StatusDisplay(LEVEL_USER, "Successfully set CNE to factory default.");
}

std::int32_t LoadCne(std::int32_t handle, const platform::FileName& file) {
    const std::int32_t code =
        basBootloader::DownloadImage(handle, basBootloader::IMAGE_CONFIG, file, hooks.showProgress).Result;
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to Download Config (CNE) from TWD.  basBootloader.DownloadImage failed, code {} (0x{:X}) "
                      "in ProgramImageAndCneFromFile",
                      code, Hex(code));
        return code;
    }
    StatusDisplay(LEVEL_USER, "Successfully programmed CNE from {} to the device.", file);
    SetFactoryDefaults(handle);
    return code;
}

} // namespace

std::int32_t m_PerformUnattendedOperations(bool programGuid, bool programMac, const platform::FileName& imageFile,
                                           const platform::FileName& bootloaderFile, const std::string& matchGuid) {
    const Work work{programGuid, programMac, imageFile, bootloaderFile};
    platform::ResumeNext next{Reporter("m_PerformUnattendedOperations")};
    if (!FilesExist(work))
        return 0;
    std::int32_t handle = 0, bootloaderVersion = 0;
    if (ChooseTarget("m_PerformUnattendedOperations", matchGuid, handle, bootloaderVersion) != TargetChoice::One)
        return 0;
    bool good = false;
    next([&] { good = InputIsGood(work, handle); });
    if (!good)
        return 0;
    if (bootloaderVersion != 0)
        return ProgramTarget(handle, work);
    next([&] { ResetIntoBootloader(handle); });
    return DEVICE_WAS_RESET;
}

std::int32_t ProgramImageAndCneFromFile(std::int32_t handle, const platform::FileName& fileName) {
    if (!CheckFile(fileName))
        return -1;
    platform::ResumeNext next{Reporter("ProgramImageAndCneFromFile")};
    TwdHeader header;
    next([&] { basBootloader::LoadTWDHeader(fileName, header); });
    if (!basBootloader::IsTwdValid(header))
        return -1; // told by the reader; what isn't a package isn't one without sections either
    std::int32_t code = SUCCESS;
    if (header.Image1.Length < 1)
        StatusDisplay(LEVEL_USER, "File does not contain an application image: {}", fileName);
    else
        code = Code(next, [&] { return LoadImage(handle, fileName); });
    if (code != SUCCESS)
        return code;
    if (header.Cne.Length == 0)
        StatusDisplay(LEVEL_USER, "File does not contain a CNE (configuration data): {}", fileName);
    else
        code = Code(next, [&] { return LoadCne(handle, fileName); });
    return code;
}

std::int32_t ProgramBootloaderImageFromFile(std::int32_t handle, const platform::FileName& fileName) {
    if (!CheckFile(fileName))
        return -1;
    platform::ResumeNext next{Reporter("ProgramBootloaderImageFromFile")};
    const std::int32_t code = Code(next, [&] {
        return basBootloader::DownloadImage(handle, basBootloader::IMAGE_BOOTLOADER, fileName, hooks.showProgress)
            .Result;
    });
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to Download Image.  basBootloader.DownloadImage failed, code {} (0x{:X}) in "
                      "ProgramBootloaderImageFromFile",
                      code, Hex(code));
    }
    return code;
}

std::int32_t initCNEFactoryDefaults(std::int32_t handle) {
    if (handle < 1) {
        StatusDisplay(LEVEL_ERROR, "Invalid handle for the selected bootloader target.");
        return -1;
    }
    platform::ResumeNext next{Reporter("initCNEFactoryDefaults")};
    const std::int32_t code = Code(next, [&] { return basBootloader::InitializeConfigToFactoryDefaults(handle); });
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "Failed to initialize bootloader config to factory defaults.");
    else
        StatusDisplay(LEVEL_TRACE, "Initialized bootloader config to factory defaults.");
    return code;
}

} // namespace basAutomation
