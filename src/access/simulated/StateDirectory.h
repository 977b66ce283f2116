// A target's flash, identity and keys, kept from run to run as plain files.
#pragma once

#include "TargetState.h"

#include <functional>

namespace simulator {

class StateDirectory {
public:
    using Report = std::function<void(const std::string& text)>;

    // With an empty path nothing is kept.
    StateDirectory(std::string path, Report report) : path_(std::move(path)), report_(std::move(report)) {}

    // Takes the files' contents. A damaged file is reported: identity and keys then stay unchanged, and a damaged
    // section counts as erased.
    void Load(TargetState& state);
    // Each file is replaced whole or not at all. A failure is reported once; the state then stays in memory only.
    void SaveIdentity(const TargetState& state);
    void SaveKeys(const TargetState& state);
    void SaveSection(const TargetState& state, std::uint8_t imageType);

private:
    using SectionSizes = std::array<std::size_t, 4>; // from identity.json
    std::string FileOf(const std::string& name) const;
    void Write(const std::string& name, ByteView content);
    void LoadIdentity(TargetState& state);
    void LoadKeys(TargetState& state);
    void LoadSections(TargetState& state, const SectionSizes& sizes);

    std::string path_;
    Report report_;
};

// True if files can be created in it; creates it if necessary.
[[nodiscard]] bool CanWriteTo(const std::string& directory);

} // namespace simulator
