// A package file of any bytes: the parser and every text form of its result.
#include "TwdPackage.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    TwdHeader header;
    basBootloader::ByteArrayToTwdStruct(ByteArray(data, data + size), header);
    if (basBootloader::IsTwdValid(header) != (header.FileData.size() > 1))
        std::abort(); // content without the magic, or the magic without content
    if (header.FileData.size() > size && size != 0)
        std::abort();
    (void)basBootloader::FormatVersion(header.SoftwareVersion);
    (void)basBootloader::FormatTwdDate(header.ImageDate);
    (void)basBootloader::FormatTwdTime(header.ImageTime);
    (void)basBootloader::FormatDateTime(header.ImageDate, header.ImageTime);
    return 0;
}
