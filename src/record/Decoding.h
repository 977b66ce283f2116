// What a transaction means in the bootloader's protocol.
#pragma once

#include "TargetMemory.h"

#include <map>
#include <string>
#include <vector>

namespace record {

struct Field {
    std::string Name, Value;
    bool IsNumber = false; // Value is decimal
};

struct Meaning {
    std::string Name; // "DownloadBlock", "answer to DownloadBlock", "config ROM", "info registers"; "" without one
    std::vector<Field> Fields;
};
std::string TextOf(const Meaning& meaning); // "DownloadBlock: id 7, block 0, address 0x20000000, size 1024"

// Takes all entries in their order, since an answer belongs to the request before it.
class Decoder {
public:
    Meaning Decode(const recording::Entry& entry);

private:
    Meaning Request(const recording::Entry& entry, const Header& header);
    Meaning Answer(const recording::Entry& entry, const Header& header);
    Meaning Info(const recording::Entry& entry);
    Meaning ResponseBuffer(const recording::Entry& entry);

    struct Node {
        Header request;
        std::uint32_t protocol = 1;
    };
    std::map<std::uint32_t, Node> nodes_;
};

} // namespace record
