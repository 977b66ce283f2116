// A record is arbitrary bytes once a disk or a mail program has had it. Its entries survive being written again, what
// they mean is decoded, and the bus that is made of them is JSON, whatever they say.
#include "BusFromRecord.h"
#include "Decoding.h"
#include "RecordFormat.h"
#include "Redaction.h"

#include <algorithm>
#include <cstdlib>

namespace {

using namespace recording;

void ReadAll(ByteView rest) {
    Redaction redaction;
    record::Decoder decoder;
    record::BusFromRecord bus;
    std::int64_t end = 0;
    Fault fault{}, none{};
    while (std::optional<Decoded> decoded = Decode(rest, end, fault)) {
        Entry& entry = decoded->entry;
        if (decoded->size > rest.size() || Decode(Encode(entry, end), end, none)->entry != entry)
            std::abort();
        record::TextOf(decoder.Decode(entry));
        bus.Take(entry);
        end = entry.end;
        rest = rest.subspan(decoded->size);
        redaction.Apply(entry);
    }
    if (fault == Fault::None)
        std::abort();
    bus.Description().dump(-1, ' ', false, record::Json::error_handler_t::replace);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView file(data, size);
    ReadAll(file.subspan(std::min(size, MARK.size())));
    Bytes framed; // the same as bodies with a length each, since few inputs have a good CRC
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = std::min<std::size_t>(data[at], size - at - 1);
        const Bytes entry = Framed(file.subspan(at + 1, length));
        framed.insert(framed.end(), entry.begin(), entry.end());
        at += 1 + length;
    }
    ReadAll(framed);
    return 0;
}
