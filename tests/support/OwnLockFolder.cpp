// System-wide mutexes are files in XDG_RUNTIME_DIR. Tests run side by side, so each process gets its own folder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace {

class OwnLockFolder : public testing::Environment {
public:
    void SetUp() override {
        std::string name = std::filesystem::temp_directory_path() / "hoistline-locks-XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        setenv("XDG_RUNTIME_DIR", name.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

private:
    std::filesystem::path folder_;
};

const testing::Environment* const registered = testing::AddGlobalTestEnvironment(new OwnLockFolder);

} // namespace
