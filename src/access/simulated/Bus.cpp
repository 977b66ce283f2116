#include "Bus.h"
#include "MemoryMap.h"
#include "Topology.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace simulator {

Bus::Bus(const BusDescription& description, BusOutlets outlets)
    : outlets_(std::move(outlets)), transactionNanoseconds_(description.transactionMicroseconds * MICROSECOND),
      start_(outlets_.now()), trace_(description.traceFile) {
    if (trace_.Failed())
        outlets_.debugText(DEBUG_ALWAYS, fmt::format("can't write the trace '{}'", description.traceFile));
    for (std::uint32_t i = 0; i < description.nodes.size(); ++i)
        AddNode(description, i);
    for (const auto& node : nodes_)
        if (node->AsTarget() != nullptr)
            node->AsTarget()->PowerUp();
    for (const FaultDescription& fault : description.faults)
        faults_.Add(fault);
    CarryDueFaults();
}

void Bus::AddNode(const BusDescription& description, std::uint32_t index) {
    const std::string& directory = description.stateDirectory;
    const NodeDescription& node = description.nodes[index];
    const auto sameName = [&node](const NodeDescription& other) {
        return other.kind == NodeKind::Target && other.guid == node.guid;
    };
    // Two targets with the same GUID are a case worth rehearsing; they share it, but not their flash.
    const auto before = std::count_if(description.nodes.begin(), description.nodes.begin() + index, sameName);
    std::string name = fmt::format("{:02X}", fmt::join(node.guid, ""));
    if (before > 0)
        name += fmt::format("-{}", before + 1);
    const std::string path = directory.empty() ? "" : (std::filesystem::path(directory) / name).string();
    const auto report = [this](const std::string& text) { outlets_.debugText(DEBUG_ALWAYS, text); };
    nodes_.push_back(std::make_unique<Node>(node, SurroundingsOf(index), StateDirectory(path, report)));
}

Surroundings Bus::SurroundingsOf(std::uint32_t index) {
    const auto setAway = [this, index](bool away) {
        nodes_[index]->SetAway(away);
        Reset();
    };
    return {.now = outlets_.now,
            .after = [this](std::int64_t nanoseconds,
                            std::function<void()> call) { outlets_.callAt(outlets_.now() + nanoseconds, call); },
            .leaveBus = [setAway] { setAway(true); },
            .joinBus = [setAway] { setAway(false); },
            .writeToHost = [this](std::uint64_t address, ByteView data) { WriteToHost(address, data); },
            .debugText =
                [this, index](int level, const std::string& text) {
                    outlets_.debugText(level, fmt::format("node {} of the description: {}", index, text));
                }};
}

Bus::Started Bus::Begin(std::uint32_t timeoutMs) {
    ++transactions_;
    const std::int64_t timeout = std::int64_t{timeoutMs} * MILLISECOND;
    const bool timesOut = timeoutMs != 0 && timeout < transactionNanoseconds_;
    return {generation_, timesOut ? timeout : transactionNanoseconds_, timesOut};
}

std::int32_t Bus::End(const Started& started, Transaction& transaction) {
    const TransactionFacts facts = FactsOf(transaction);
    const std::optional<FaultDescription> fault = faults_.Hit(facts);
    std::int32_t result = TWL1394_SUCCESS;
    if (started.generation != generation_)
        result = TWL1394_BUS_RESET;
    else if (started.timesOut)
        result = TWL1394_TIMED_OUT;
    else
        result = fault ? DeliverFaulty(*fault, facts, transaction) : Deliver(transaction);
    trace_.Write(Milliseconds(), transaction, result);
    if (fault && fault->action == FaultAction::BusReset && started.generation == generation_)
        Reset();
    CarryDueFaults();
    return result;
}

TransactionFacts Bus::FactsOf(const Transaction& transaction) const {
    constexpr std::size_t header = 8, codeOffset = 6;
    TransactionFacts facts{
        transactions_, IndexOf(transaction.nodeNumber), transaction.isWrite, transaction.address, {}};
    if (transaction.isWrite && transaction.address == REQUEST_AREA && transaction.data.size() >= header)
        facts.command = transaction.data[codeOffset];
    return facts;
}

std::optional<std::uint32_t> Bus::IndexOf(std::uint32_t nodeNumber) const {
    std::uint32_t number = 0;
    for (std::uint32_t i = 0; i < nodes_.size(); ++i)
        if (nodes_[i]->OnBus() && number++ == nodeNumber)
            return i;
    return std::nullopt;
}

std::int32_t Bus::Deliver(Transaction& transaction) {
    if (transaction.isWrite && transaction.nodeNumber == TWL1394_BROADCAST_NODE) {
        for (const auto& node : nodes_)
            if (node->OnBus())
                node->Broadcast(transaction.address, transaction.data);
        return TWL1394_SUCCESS; // nobody acknowledges a broadcast
    }
    const std::optional<std::uint32_t> index = IndexOf(transaction.nodeNumber);
    if (!index)
        return TWL1394_NODE_DID_NOT_RESPOND;
    return transaction.isWrite ? nodes_[*index]->Write(transaction.address, transaction.data)
                               : nodes_[*index]->Read(transaction.address, transaction.data);
}

static void FlipOneBit(Bytes& data) {
    data[data.size() / 2] ^= 1;
}

std::int32_t Bus::DeliverFaulty(const FaultDescription& fault, const TransactionFacts& facts,
                                Transaction& transaction) {
    Target* target = facts.node ? nodes_[*facts.node]->AsTarget() : nullptr;
    switch (fault.action) {
    case FaultAction::Result:
        return fault.code;
    case FaultAction::BusReset:
        return TWL1394_BUS_RESET;
    case FaultAction::Silence:
        return transaction.isWrite ? TWL1394_SUCCESS : TWL1394_NODE_DID_NOT_RESPOND;
    case FaultAction::Corrupt: {
        Transaction corrupted = transaction; // the trace keeps what the host sent
        if (transaction.isWrite) {
            FlipOneBit(corrupted.data);
            return Deliver(corrupted);
        }
        const std::int32_t result = Deliver(transaction);
        FlipOneBit(transaction.data);
        return result;
    }
    case FaultAction::Unplug:
        SetPlugged(*facts.node, false);
        return TWL1394_BUS_RESET;
    case FaultAction::Vanish:
    case FaultAction::BadCrc:
    case FaultAction::Status:
        if (target != nullptr && fault.action == FaultAction::Vanish) {
            target->Vanish();
        } else if (target != nullptr) {
            target->SetFault({fault.action == FaultAction::BadCrc,
                              fault.action == FaultAction::Status ? std::optional(fault.code) : std::nullopt});
        }
        break;
    case FaultAction::Plug:
        break; // always standalone
    }
    const std::int32_t result = Deliver(transaction);
    if (target != nullptr)
        target->SetFault({});
    return result;
}

void Bus::CarryDueFaults() {
    for (const FaultDescription& fault : faults_.DueAfter(transactions_))
        Carry(fault);
}

void Bus::Carry(const FaultDescription& standalone) {
    switch (standalone.action) {
    case FaultAction::Unplug:
    case FaultAction::Plug:
        SetPlugged(*standalone.node, standalone.action == FaultAction::Plug);
        break;
    case FaultAction::Vanish:
        nodes_[*standalone.node]->AsTarget()->Vanish();
        break;
    default:
        Reset();
    }
}

void Bus::Reset() {
    ++generation_;
    trace_.WriteReset(Milliseconds());
    PostNotice(TWL1394_NOTICE_BUS_RESET);
}

void Bus::SetPlugged(std::uint32_t node, bool plugged) {
    if (node < nodes_.size() && nodes_[node]->Kind() != NodeKind::Host) {
        nodes_[node]->SetPlugged(plugged);
        Reset();
    }
}

std::uint32_t Bus::HostNumber() const {
    std::uint32_t number = 0;
    for (const auto& node : nodes_) {
        if (node->Kind() == NodeKind::Host)
            break;
        number += node->OnBus() ? 1 : 0;
    }
    return number;
}

Bytes Bus::Topology() const {
    std::vector<TopologyNode> present;
    for (const auto& node : nodes_)
        if (node->OnBus())
            present.push_back({node->LinkActive(), node->Kind() == NodeKind::Host});
    return TopologyMap(generation_, present);
}

std::uint32_t Bus::AllocateRange(std::uint64_t address, std::uint32_t length) {
    constexpr std::uint64_t end = std::uint64_t{1} << 48;
    const auto overlaps = [=](const auto& entry) {
        const Range& range = entry.second;
        return address < range.address + range.length && range.address < address + length;
    };
    if (length == 0 || address + length > end || std::any_of(ranges_.begin(), ranges_.end(), overlaps))
        return 0;
    ranges_[++lastHandle_] = {address, length};
    return lastHandle_;
}

void Bus::WriteToHost(std::uint64_t address, ByteView data) {
    for (const auto& [handle, range] : ranges_) {
        if (Inside(address, data.size(), range.address, range.length)) {
            PostNotice(TWL1394_NOTICE_INCOMING_DATA);
            return;
        }
    }
    outlets_.debugText(DEBUG_TRACE, "an announcement found no address range of this computer");
}

void Bus::PostNotice(std::uint32_t number) {
    trace_.WriteNotice(Milliseconds(), number);
    outlets_.postNotice(number);
}

const Target* Bus::TargetAt(std::uint32_t node) const {
    return node < nodes_.size() ? nodes_[node]->AsTarget() : nullptr;
}

} // namespace simulator
