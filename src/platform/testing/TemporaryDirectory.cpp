#include "TemporaryDirectory.h"

#include "Failure.h"

#include <cstdlib>
#include <filesystem>

namespace platform::testing {

TemporaryDirectory::TemporaryDirectory()
    : path_((std::filesystem::temp_directory_path() / "hoistline-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr)
        Raise(PATH_ACCESS_ERROR, "No temporary folder could be made");
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

} // namespace platform::testing
