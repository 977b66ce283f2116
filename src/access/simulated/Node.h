// A node of the simulated bus: what answers at which address, and whether it is present.
#pragma once

#include "Target.h"

namespace simulator {

class Node {
public:
    // `store` is used only by a target.
    Node(const NodeDescription& description, Surroundings surroundings, StateDirectory store);

    NodeKind Kind() const { return kind_; }
    bool LinkActive() const { return kind_ != NodeKind::Off; }
    bool OnBus() const { return plugged_ && !away_; }
    void SetPlugged(bool plugged) { plugged_ = plugged; }
    void SetAway(bool away) { away_ = away; }

    [[nodiscard]] std::int32_t Read(std::uint64_t address, ByteSpan data);
    [[nodiscard]] std::int32_t Write(std::uint64_t address, ByteView data);
    void Broadcast(std::uint64_t address, ByteView data);

    Target* AsTarget() const { return target_.get(); } // null for any other node

private:
    Behaviour* Find(std::uint64_t address, std::size_t size) const;

    NodeKind kind_;
    bool plugged_ = true;
    bool away_ = false; // between a target's reset and its return
    std::unique_ptr<Target> target_;
    std::vector<std::unique_ptr<Behaviour>> owned_;
    std::vector<Behaviour*> behaviours_; // the target's and the owned ones
};

} // namespace simulator
