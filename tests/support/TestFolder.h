// A temporary folder whose files a test writes and reads as bytes.
#pragma once

#include "TemporaryDirectory.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>

struct TestFolder : platform::testing::TemporaryDirectory {
    // Creates the folders above it as well.
    void Put(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(file(name)).parent_path());
        std::ofstream(file(name), std::ios::binary) << content;
    }
    std::string Content(const std::string& name) const {
        std::ifstream stream(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    struct stat Status(const std::string& name) const {
        struct stat status {};
        stat(file(name).c_str(), &status);
        return status;
    }
};
