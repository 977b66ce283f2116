#include "FileBytes.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace simulator {

std::optional<Bytes> ReadFile(const std::string& path) {
    std::error_code failure;
    if (!std::filesystem::is_regular_file(path, failure)) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    Bytes content(file.is_open() ? static_cast<std::size_t>(file.tellg()) : 0);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
    return file ? std::optional(content) : std::nullopt;
}

void ReplaceFile(const std::string& path, ByteView content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    const std::string draft = path + ".new";
    std::ofstream file(draft, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("can't write '" + draft + "'");
    }
    std::filesystem::rename(draft, path);
}

} // namespace simulator
