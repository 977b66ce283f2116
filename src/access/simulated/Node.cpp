#include "Node.h"
#include "DebuggerHandshake.h"
#include "RomImage.h"

namespace simulator {

static Bytes RomOf(const NodeDescription& description) {
    if (description.kind == NodeKind::Debugger)
        return MinimalRom(description.vendorId);
    if (description.kind != NodeKind::Device || !description.romImage.empty())
        return description.romImage;
    const EightBytes& guid = description.guid;
    const std::uint32_t vendorId = Get32(guid, 0, ByteOrder::Big) >> 8;
    return GenerateRom({vendorId, guid, description.hardwareModelId, description.hardwareVersion, description.vendor,
                        description.model});
}

Node::Node(const NodeDescription& description, Surroundings surroundings, StateDirectory store)
    : kind_(description.kind) {
    if (kind_ == NodeKind::Target) {
        target_ = std::make_unique<Target>(description, std::move(surroundings), std::move(store));
        behaviours_ = {&target_->Rom(), &target_->Registers(), &target_->Requests()};
        return;
    }
    if (kind_ == NodeKind::Debugger)
        owned_.push_back(std::make_unique<DebuggerHandshake>(surroundings.now));
    owned_.push_back(std::make_unique<RomBehaviour>(RomOf(description)));
    for (const auto& behaviour : owned_)
        behaviours_.push_back(behaviour.get());
}

Behaviour* Node::Find(std::uint64_t address, std::size_t size) const {
    for (Behaviour* behaviour : behaviours_)
        if (behaviour->Covers(address, size))
            return behaviour;
    return nullptr;
}

std::int32_t Node::Read(std::uint64_t address, ByteSpan data) {
    if (!LinkActive())
        return TWL1394_NODE_DID_NOT_RESPOND;
    Behaviour* behaviour = Find(address, data.size());
    return behaviour == nullptr ? TWL1394_ADDRESS_ERROR : behaviour->Read(address, data);
}

std::int32_t Node::Write(std::uint64_t address, ByteView data) {
    if (!LinkActive())
        return TWL1394_NODE_DID_NOT_RESPOND;
    Behaviour* behaviour = Find(address, data.size());
    return behaviour == nullptr ? TWL1394_ADDRESS_ERROR : behaviour->Write(address, data);
}

void Node::Broadcast(std::uint64_t address, ByteView data) {
    if (target_ != nullptr)
        target_->Requests().Broadcast(address, data);
}

} // namespace simulator
