// Reads a JSON object key by key, checking every value and rejecting unknown keys.
#pragma once

#include "BusDescription.h"

#include <nlohmann/json.hpp>

#include <set>

namespace simulator {

using Json = nlohmann::json;

// Throws DescriptionError when the text isn't JSON.
Json ParseJson(const std::string& text);

// A key that is absent or null has the value `otherwise`. All throw DescriptionError.
class ObjectReader {
public:
    ObjectReader(const Json& value, std::string path);

    const Json* Find(const char* key); // null if absent
    bool Has(const char* key) { return Find(key) != nullptr; }
    // A JSON integer or a text "0x...".
    std::int64_t Number(const char* key, std::int64_t otherwise, std::int64_t lowest, std::int64_t highest);
    std::uint32_t Number32(const char* key, std::uint32_t otherwise);
    std::string Text(const char* key, const std::string& otherwise);
    bool Flag(const char* key, bool otherwise);
    // One of the words; the result is its index.
    std::size_t Word(const char* key, const std::vector<std::string>& words);
    const Json* Array(const char* key); // null if absent

    std::string PathOf(const std::string& key) const;
    [[noreturn]] void Refuse(const std::string& key, const std::string& reason) const;
    // Rejects keys that weren't read.
    void Finish() const;

private:
    const Json& value_;
    std::string path_;
    std::set<std::string> known_;
};

// Bytes in JSON: a text, or {"hex": "00ff"}.
Bytes BytesFromJson(const Json& value, const std::string& path);
Json BytesToJson(ByteView bytes);

} // namespace simulator
