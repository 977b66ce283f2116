#include "JsonReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace simulator {

Json ParseJson(const std::string& text) {
    try {
        return Json::parse(text);
    } catch (const Json::exception& failure) {
        const std::string what = failure.what();
        const auto position = what.find("] ");
        throw DescriptionError("", "no JSON: " + (position == std::string::npos ? what : what.substr(position + 2)));
    }
}

static std::string EscapedKey(std::string key) {
    // In a JSON pointer (RFC 6901), "~" and "/" inside a key are "~0" and "~1".
    for (std::size_t i = 0; i < key.size(); ++i) {
        if (key[i] == '~' || key[i] == '/') {
            key.replace(i, 1, key[i] == '~' ? "~0" : "~1");
            ++i;
        }
    }
    return key;
}

ObjectReader::ObjectReader(const Json& value, std::string path) : value_(value), path_(std::move(path)) {
    if (!value_.is_object())
        throw DescriptionError(path_, "must be an object");
}

std::string ObjectReader::PathOf(const std::string& key) const {
    return path_ + "/" + EscapedKey(key);
}

void ObjectReader::Refuse(const std::string& key, const std::string& reason) const {
    throw DescriptionError(PathOf(key), reason);
}

const Json* ObjectReader::Find(const char* key) {
    known_.insert(key);
    const auto found = value_.find(key);
    return found == value_.end() || found->is_null() ? nullptr : &*found;
}

static bool ReadHexText(const std::string& text, std::int64_t& number) {
    if (text.size() < 3 || text[0] != '0' || (text[1] | 0x20) != 'x')
        return false;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + 2, end, number, 16);
    return error == std::errc() && rest == end && number >= 0;
}

static bool ReadInteger(const Json& value, std::int64_t& number) {
    if (value.is_string())
        return ReadHexText(value.get<std::string>(), number);
    if (!value.is_number_integer() || (value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX))
        return false;
    number = value.get<std::int64_t>();
    return true;
}

std::int64_t ObjectReader::Number(const char* key, std::int64_t otherwise, std::int64_t lowest, std::int64_t highest) {
    const Json* value = Find(key);
    if (value == nullptr)
        return otherwise;
    std::int64_t number = 0;
    if (!ReadInteger(*value, number) || number < lowest || number > highest)
        Refuse(key, fmt::format("must be a whole number or a \"0x\" text, from {} to {}", lowest, highest));
    return number;
}

std::uint32_t ObjectReader::Number32(const char* key, std::uint32_t otherwise) {
    return static_cast<std::uint32_t>(Number(key, otherwise, 0, UINT32_MAX));
}

std::string ObjectReader::Text(const char* key, const std::string& otherwise) {
    const Json* value = Find(key);
    if (value == nullptr)
        return otherwise;
    if (!value->is_string())
        Refuse(key, "must be a text");
    return value->get<std::string>();
}

bool ObjectReader::Flag(const char* key, bool otherwise) {
    const Json* value = Find(key);
    if (value == nullptr)
        return otherwise;
    if (!value->is_boolean())
        Refuse(key, "must be true or false");
    return value->get<bool>();
}

std::size_t ObjectReader::Word(const char* key, const std::vector<std::string>& words) {
    const Json* value = Find(key);
    const auto found = value != nullptr && value->is_string()
                           ? std::find(words.begin(), words.end(), value->get<std::string>())
                           : words.end();
    if (found == words.end())
        Refuse(key, fmt::format("must be one of \"{}\"", fmt::join(words, "\", \"")));
    return static_cast<std::size_t>(found - words.begin());
}

const Json* ObjectReader::Array(const char* key) {
    const Json* value = Find(key);
    if (value != nullptr && !value->is_array())
        Refuse(key, "must be an array");
    return value;
}

void ObjectReader::Finish() const {
    for (const auto& item : value_.items())
        if (!known_.contains(item.key()))
            Refuse(item.key(), "no such key here");
}

Bytes BytesFromJson(const Json& value, const std::string& path) {
    if (value.is_string()) {
        const auto text = value.get<std::string>();
        return {text.begin(), text.end()};
    }
    if (!value.is_object())
        throw DescriptionError(path, "must be a text or {\"hex\": \"...\"}");
    ObjectReader reader(value, path);
    Bytes bytes;
    if (!reader.Has("hex") || !FromHex(reader.Text("hex", ""), bytes))
        reader.Refuse("hex", "must be an even count of hex digits");
    reader.Finish();
    return bytes;
}

Json BytesToJson(ByteView bytes) {
    const auto printable = [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; };
    if (std::all_of(bytes.begin(), bytes.end(), printable))
        return std::string(bytes.begin(), bytes.end());
    return Json{{"hex", ToHex(bytes)}};
}

} // namespace simulator
