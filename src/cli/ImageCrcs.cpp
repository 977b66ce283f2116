#include "ImageCrcs.h"

#include "basBootloader.h"

namespace cli {

ImageCrc AskCrc(std::int32_t handle, std::int32_t imageType) {
    std::int32_t crc = 0, validity = 0;
    const std::int32_t code = basBootloader::ReadImageCRC(handle, imageType, crc, validity);
    return {imageType, code == basBootloader::SUCCESS, Bits(crc), code == basBootloader::SUCCESS && validity == 0};
}

std::vector<ImageCrc> AskCrcs(Call& call, std::int32_t handle) {
    using namespace basBootloader;
    std::vector<ImageCrc> crcs;
    for (const std::int32_t imageType : {IMAGE_APPLICATION, IMAGE_CONFIG, IMAGE_BOOTLOADER, IMAGE_DEBUGGER})
        if (!call.MustEnd())
            crcs.push_back(AskCrc(handle, imageType));
    return crcs;
}

const char* WordOf(const ImageCrc& image) {
    return !image.answered ? "no answer" : image.good ? "good" : "bad";
}

Json ToJson(const ImageCrc& image) {
    return {{"image", NameOfImage(image.imageType)},
            {"crc", image.answered ? Json(CrcText(image.crc)) : Json(nullptr)},
            {"verdict", WordOf(image)}};
}

} // namespace cli
