// The unattended programming of one device: GUID, MAC, image with its configuration data,
// bootloader, and the start of the application.
#include "ImageDownload.h"
#include "OneTarget.h"
#include "basAutomation.h"
#include "basBootloader.h"

#include <utility>

namespace basAutomation {

namespace {

using basApp::OperationKind;
using basApp::OutcomeKind;
using basApp::RunVerdict;
using basBootloader::SUCCESS;

void ShowProgress(const basApp::LoadProgress& progress) {
    basApp::CurrentFrontEnd().ShowProgress(progress);
}

// What one pass is to program; an empty file name means nothing.
struct Work {
    bool programGuid, programMac;
    const platform::FileName &imageFile, &bootloaderFile;
};

std::string FaultOfFiles(const Work& work) {
    std::string fault;
    if (!work.imageFile.empty())
        fault = FaultOfFile(work.imageFile);
    if (fault.empty() && !work.bootloaderFile.empty())
        fault = FaultOfFile(work.bootloaderFile);
    if (fault.empty() && work.programGuid)
        fault = FaultOfFile(globals.GuidFile);
    if (fault.empty() && work.programMac)
        fault = FaultOfFile(globals.MacFile);
    return fault;
}

// What the load would refuse once the device is already in its bootloader, reported at ERROR. An image may be absent
// where configuration data may be loaded alone.
std::string FaultOfPackage(const platform::FileName& file, bool imageNeeded, std::int32_t handle) {
    TwdHeader package;
    std::string fault = basBootloader::PackageFault(file.Typed, package);
    if (fault.empty() && imageNeeded && package.Image1.Length < 1)
        fault = "it contains no image";
    if (fault.empty() && !imageNeeded && package.Cne.Length < 0)
        fault = "the length of its CNE is negative";
    fault = fault.empty() ? FaultOfHardware(file, package, handle)
                          : fmt::format("The package \"{}\" can't be loaded: {}.  Nothing was loaded.", file, fault);
    if (!fault.empty())
        StatusDisplay(LEVEL_ERROR, "{}", fault);
    return fault;
}

// Checks all input of the run before the device is touched: a fault found later would cost it its
// application, or its identity once the persistent parameters are gone.
std::string FaultOfInput(const Work& work, std::int32_t handle) {
    std::string fault;
    if (!work.imageFile.empty())
        fault = FaultOfPackage(work.imageFile, false, handle);
    if (fault.empty() && !work.bootloaderFile.empty())
        fault = FaultOfPackage(work.bootloaderFile, true, handle);
    if (fault.empty() && work.programGuid)
        fault = FaultOfGuidFile(globals.GuidFile);
    if (fault.empty() && work.programMac)
        fault = FaultOfMacFile(globals.MacFile);
    return fault;
}

// The code of a step, its line at `level` when it failed.
std::int32_t Report(basApp::StepVerdict& step, std::int32_t level) {
    if (step.Result != SUCCESS)
        StatusDisplay(level, "{}", step.Reason);
    return step.Result;
}

std::string FailureText(const char* procedure, std::int32_t code) {
    return fmt::format("{} failed, code {}(0x{:X}) in basAutomation.m_PerformUnattendedOperations", procedure, code,
                       Bits(code));
}

std::int32_t ProgramGuidOf(std::int32_t handle, RunVerdict& verdict) {
    const std::int32_t code = ProgramGuidFromFile(handle, globals.GuidFile);
    basApp::StepVerdict& step =
        NoteStep(verdict, OperationKind::ProgramGuid, handle, code, FailureText("ERROR: ProgramGuidFromFile", code));
    step.File = globals.GuidFile;
    if (code == SUCCESS)
        StatusDisplay(LEVEL_USER, "Successfully set the GUID to the new value.");
    return Report(step, LEVEL_ERROR);
}

std::int32_t ProgramMacOf(std::int32_t handle, RunVerdict& verdict) {
    const std::int32_t code = ProgramMacFromFile(handle, globals.MacFile);
    basApp::StepVerdict& step =
        NoteStep(verdict, OperationKind::ProgramMac, handle, code, FailureText("ERROR: ProgramMacFromFile", code));
    step.File = globals.MacFile;
    if (code == SUCCESS)
        StatusDisplay(LEVEL_TRACE, "Successfully programmed MAC address");
    return Report(step, LEVEL_ERROR);
}

std::int32_t LoadImageAndCne(std::int32_t handle, const platform::FileName& file, RunVerdict& verdict) {
    const std::int32_t code = ProgramImageAndCneFromFile(handle, file, verdict);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_WARNING, "{}", FailureText("ProgramImageAndCneFromFile", code));
    return code;
}

std::int32_t LoadBootloader(std::int32_t handle, const platform::FileName& file, RunVerdict& verdict) {
    const std::int32_t code = ProgramImageFromFile(handle, basBootloader::IMAGE_BOOTLOADER, file, verdict);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "{}", FailureText("ERROR: ProgramBootloaderImageFromFile", code));
    else
        StatusDisplay(LEVEL_USER, "Successfully programmed new bootloader firmware image.");
    return code;
}

// The steps in their order; the first that fails ends them with its code.
std::int32_t ProgramTarget(std::int32_t handle, const Work& work, RunVerdict& verdict) {
    const auto logFailure = LogFailure("m_PerformUnattendedOperations");
    const auto run = [&](std::int32_t (*step)(std::int32_t, RunVerdict&)) {
        return platform::ResultOf([&] { return step(handle, verdict); }, logFailure);
    };
    const auto load = [&](auto step, const platform::FileName& file) {
        return platform::ResultOf([&] { return step(handle, file, verdict); }, logFailure);
    };
    std::int32_t code = SUCCESS;
    if (work.programGuid) {
        platform::Attempt([&] { SetUpPersistentParams(handle, verdict); }, logFailure);
        code = run(ProgramGuidOf);
    }
    if (code == SUCCESS && work.programMac)
        code = run(ProgramMacOf);
    if (code == SUCCESS && !work.imageFile.empty())
        code = load(LoadImageAndCne, work.imageFile);
    if (code == SUCCESS && !work.bootloaderFile.empty())
        code = load(LoadBootloader, work.bootloaderFile);
    if (code == SUCCESS)
        platform::Attempt([&] { StartApplication(handle, verdict); }, logFailure);
    return code;
}

// A load that is a step of a run.
std::int32_t Load(std::int32_t handle, std::int32_t imageType, const platform::FileName& file, RunVerdict& verdict) {
    verdict.Steps.push_back(basBootloader::DownloadImage(handle, imageType, file, ShowProgress));
    return verdict.Steps.back().Result;
}

// A load that wasn't begun because its file can't be used.
std::int32_t RefuseLoad(std::int32_t handle, const platform::FileName& file, const std::string& reason,
                        RunVerdict& verdict) {
    basApp::StepVerdict& step = NoteStep(verdict, OperationKind::Load, handle, basBootloader::FAILED, reason);
    step.File = file;
    step.Outcome = OutcomeKind::Refused;
    return step.Result;
}

std::int32_t LoadImageOf(const TwdHeader& package, std::int32_t handle, const platform::FileName& file,
                         RunVerdict& verdict) {
    if (package.Image1.Length < 1) {
        StatusDisplay(LEVEL_USER, "File does not contain an application image: {}", file);
        return SUCCESS;
    }
    const std::int32_t code = Load(handle, basBootloader::IMAGE_APPLICATION, file, verdict);
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to Download Image.  basBootloader.DownloadImage failed, code {} (0x{:X}) in "
                      "ProgramImageAndCneFromFile",
                      code, Bits(code));
    } else {
        StatusDisplay(LEVEL_USER, "Successfully programmed image from {} to the device.", file);
    }
    return code;
}

void SetFactoryDefaults(std::int32_t handle, RunVerdict& verdict) {
    constexpr const char* FAILURE = "Failed to Dset CNE to factory default.  ";
    const std::int32_t code = initCNEFactoryDefaults(handle);
    NoteUnansweredStep(verdict, OperationKind::FactoryDefaults, handle, code, FAILURE);
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR, FAILURE);
    else
        StatusDisplay(LEVEL_USER, "Successfully set CNE to factory default.");
}

std::int32_t LoadCneOf(const TwdHeader& package, std::int32_t handle, const platform::FileName& file,
                       RunVerdict& verdict) {
    if (package.Cne.Length == 0) {
        StatusDisplay(LEVEL_USER, "File does not contain a CNE (configuration data): {}", file);
        return SUCCESS;
    }
    const std::int32_t code = Load(handle, basBootloader::IMAGE_CONFIG, file, verdict);
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to Download Config (CNE) from TWD.  basBootloader.DownloadImage failed, code {} (0x{:X}) "
                      "in ProgramImageAndCneFromFile",
                      code, Bits(code));
        return code;
    }
    StatusDisplay(LEVEL_USER, "Successfully programmed CNE from {} to the device.", file);
    SetFactoryDefaults(handle, verdict);
    return code;
}

} // namespace

std::int32_t m_PerformUnattendedOperations(bool programGuid, bool programMac, const platform::FileName& imageFile,
                                           const platform::FileName& bootloaderFile, const std::string& matchGuid,
                                           RunVerdict& verdict) {
    const Work work{programGuid, programMac, imageFile, bootloaderFile};
    const auto logFailure = LogFailure("m_PerformUnattendedOperations");
    if (std::string fault = FaultOfFiles(work); !fault.empty()) {
        verdict.End(OutcomeKind::Refused, std::move(fault));
        return 0;
    }
    std::int32_t handle = 0, bootloaderVersion = 0;
    if (ChooseTarget("m_PerformUnattendedOperations", matchGuid, handle, bootloaderVersion, verdict) !=
        TargetChoice::One)
        return 0;
    std::string fault = "The input of the run can't be checked.";
    platform::Attempt([&] { fault = FaultOfInput(work, handle); }, logFailure);
    if (!fault.empty()) {
        verdict.End(OutcomeKind::Refused, std::move(fault));
        return 0;
    }
    const basBootloader::DeviceLock lock(handle); // over all steps: image and configuration come from one program
    if (!lock.Taken()) {
        StatusDisplay(LEVEL_ERROR, "{}  Nothing was sent to it.", lock.Trouble());
        verdict.End(OutcomeKind::Unchanged, lock.Trouble());
        return 0;
    }
    if (bootloaderVersion != 0)
        return ProgramTarget(handle, work, verdict);
    platform::Attempt([&] { ResetIntoBootloader(handle, verdict); }, logFailure);
    return DEVICE_WAS_RESET;
}

std::string FaultOfHardware(const platform::FileName& file, const TwdHeader& package, std::int32_t handle) {
    const std::int32_t model =
        basBootloader::globals.TargetList.at(static_cast<std::size_t>(basBootloader::GetDeviceIndex(handle)))
            .Info.HardwareModelID;
    if (package.HardwareID == model || basApp::globals.OverrideHardwareCompatibility)
        return {};
    return fmt::format("{}, file '{}'", basBootloader::HardwareMismatch(package.HardwareID, model), file);
}

std::int32_t ProgramImageAndCneFromFile(std::int32_t handle, const platform::FileName& fileName, RunVerdict& verdict,
                                        PackageParts parts) {
    if (const std::string fault = FaultOfFile(fileName); !fault.empty())
        return RefuseLoad(handle, fileName, fault, verdict);
    const auto logFailure = LogFailure("ProgramImageAndCneFromFile");
    TwdHeader header;
    platform::Attempt([&] { basBootloader::LoadTWDHeader(fileName, header); }, logFailure);
    if (!basBootloader::IsTwdValid(header)) // reported by the reader
        return RefuseLoad(handle, fileName, "The file isn't a package any more.", verdict);
    if (header.Image1.Length < 1 && header.Cne.Length == 0)
        RefuseLoad(handle, fileName, "The package holds neither an image nor configuration data.", verdict);
    std::int32_t code = SUCCESS;
    if (parts != PackageParts::ConfigOnly)
        code = platform::ResultOf([&] { return LoadImageOf(header, handle, fileName, verdict); }, logFailure);
    if (code == SUCCESS && parts != PackageParts::ApplicationOnly)
        code = platform::ResultOf([&] { return LoadCneOf(header, handle, fileName, verdict); }, logFailure);
    return code;
}

std::int32_t ProgramImageFromFile(std::int32_t handle, std::int32_t imageType, const platform::FileName& fileName,
                                  RunVerdict& verdict) {
    if (const std::string fault = FaultOfFile(fileName); !fault.empty())
        return RefuseLoad(handle, fileName, fault, verdict);
    const std::int32_t code = platform::ResultOf([&] { return Load(handle, imageType, fileName, verdict); },
                                                 LogFailure("ProgramBootloaderImageFromFile"));
    if (code != SUCCESS) {
        StatusDisplay(LEVEL_ERROR,
                      "Failed to Download Image.  basBootloader.DownloadImage failed, code {} (0x{:X}) in "
                      "ProgramBootloaderImageFromFile",
                      code, Bits(code));
    }
    return code;
}

std::int32_t initCNEFactoryDefaults(std::int32_t handle) {
    if (handle < 1) {
        StatusDisplay(LEVEL_ERROR, "Invalid handle for the selected bootloader target.");
        return -1;
    }
    const std::int32_t code = platform::ResultOf(
        [&] { return basBootloader::InitializeConfigToFactoryDefaults(handle); }, LogFailure("initCNEFactoryDefaults"));
    if (code != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "Failed to initialize bootloader config to factory defaults.");
    else
        StatusDisplay(LEVEL_TRACE, "Initialized bootloader config to factory defaults.");
    return code;
}

} // namespace basAutomation
