#include "PackagePlan.h"

#include "Commands.h"
#include "OneTarget.h"
#include "TwdChecks.h"
#include "basBootloader.h"

namespace cli {

namespace {

using basBootloader::IMAGE_APPLICATION, basBootloader::IMAGE_CONFIG, basBootloader::IMAGE_DEBUGGER,
    basBootloader::IMAGE_BOOTLOADER;

// As the end of "because ...".
std::string FaultOfChoice(const PackageChoice& choice, const TwdHeader& package) {
    const bool image = package.Image1.Length > 0, config = package.Cne.Length > 0;
    if (package.Cne.Length < 0)
        return "the length of its CNE is negative";
    if (!image && (!choice.as.empty() || choice.only == "application"))
        return "it contains no image";
    if (!config && choice.only == "config")
        return "it contains no configuration data";
    return image || config ? "" : "it contains neither an image nor configuration data";
}

std::vector<PlannedImage> ImagesOf(const PackageChoice& choice, const TwdHeader& package) {
    const auto& [IMAGE1, IMAGE2, CNE] = basBootloader::SECTIONS;
    std::vector<PlannedImage> images;
    const auto add = [&](std::int32_t imageType, const NamedSection& named) {
        const TwdSection& section = package.*named.section;
        if (const std::optional<std::uint32_t> crc = basBootloader::ContentCrc(package, section))
            images.push_back({imageType, section, *crc, basBootloader::CrcFault(package, named)});
    };
    if (!choice.as.empty())
        add(choice.as == "debugger" ? IMAGE_DEBUGGER : IMAGE_BOOTLOADER, IMAGE1);
    else if (choice.only != "config")
        add(IMAGE_APPLICATION, IMAGE1);
    if (choice.as.empty() && choice.only != "application")
        add(IMAGE_CONFIG, CNE);
    return images;
}

void WarnOfCrc(Call& call, const PlannedImage& image) {
    call.Tell(fmt::format("Warning: the {} in the package has the CRC-32 {}, but the package says {}.  The device "
                          "decides which CRC is right.",
                          NameOfImage(image.imageType), CrcText(image.computedCrc), CrcText(Bits(image.section.Crc))));
}

} // namespace

void AddPackageChoice(CLI::App* command, PackageChoice& choice) {
    AddFile(command, "PACKAGE", choice.file, "the firmware package, a *.twd file")->type_name("")->required();
    CLI::Option* only =
        TakesOneOf(command->add_option("--only", choice.only, "take only the application or the config of the package"),
                   {"application", "config"});
    TakesOneOf(command->add_option("--as", choice.as, "take the package's image as this, not as the application"),
               {"bootloader", "debugger"})
        ->excludes(only);
}

bool ReadPackage(Call& call, const PackageChoice& choice, PackagePlan& plan) {
    std::string fault =
        basApp::FileExists(choice.file) ? basBootloader::PackageFault(choice.file, plan.package) : "it doesn't exist";
    if (fault.empty())
        fault = FaultOfChoice(choice, plan.package);
    if (!fault.empty())
        return call.End(Verdict::Refused, fmt::format("The package \"{}\" can't be used: {}.", choice.file, fault));
    plan.images = ImagesOf(choice, plan.package);
    for (const PlannedImage& image : plan.images) {
        if (image.crcFault.empty())
            continue;
        if (!choice.overrideCrc)
            return call.End(Verdict::Refused, fmt::format("\"{}\": {}.  --override-crc leaves that to the device.",
                                                          choice.file, image.crcFault));
        WarnOfCrc(call, image);
    }
    return true;
}

bool FitsHardware(Call& call, const PackageChoice& choice, const PackagePlan& plan, std::int32_t handle) {
    const std::string fault = basAutomation::FaultOfHardware(choice.file, plan.package, handle);
    return fault.empty() || call.End(Verdict::Refused, fault + ".  --override-hardware ignores that.");
}

Json ToJson(const PackageChoice& choice, const PackagePlan& plan) {
    Json images = Json::array();
    for (const PlannedImage& image : plan.images)
        images.push_back({{"subject", NameOfImage(image.imageType)},
                          {"bytes", image.section.Length},
                          {"packageCrc", CrcText(Bits(image.section.Crc))},
                          {"computedCrc", CrcText(image.computedCrc)}});
    return {{"package", choice.file}, {"images", images}};
}

} // namespace cli
