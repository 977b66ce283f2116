#include "BusFromRecord.h"

#include "RecordFormat.h"
#include "Twl1394api.h"

#include <algorithm>
#include <utility>

namespace record {

namespace {

using recording::Entry;
using recording::Kind;

constexpr std::size_t MOST_NODES = 63;
constexpr std::size_t NODE_COUNT = 8, SELF_IDS = 12; // bytes of the topology map
constexpr std::uint8_t LINK_ACTIVE = 0x40;           // of the second byte of a self-ID packet

} // namespace

void BusFromRecord::Take(const Entry& entry) {
    switch (entry.kind) {
    case Kind::About:
        redacted_ = redacted_ || !recording::AboutValue(entry.text, recording::ABOUT_REDACTED).empty();
        break;
    case Kind::Notice:
        if (entry.number == TWL1394_NOTICE_BUS_RESET || entry.number == TWL1394_NOTICE_BUS_RESET_VHPD)
            TakeReset(entry);
        else if (entry.number == TWL1394_NOTICE_INCOMING_DATA && lastRestarted_ < nodes_.size())
            nodes_[lastRestarted_].Announces = true;
        break;
    case Kind::DeRegisterClient:
        std::ranges::for_each(nodes_, &NodeOfRecord::EndExchange);
        break;
    case Kind::BusReset:
        ownResets_ += entry.result == 0 ? 1 : 0;
        break;
    case Kind::Get1394Address:
        if (entry.result == 0)
            TakeHost(entry.number & 0x3F);
        break;
    case Kind::GetLocalHostInformation:
        if (entry.result == 0)
            TakeTopology(entry);
        break;
    case Kind::Read:
    case Kind::Write:
        TakeTransaction(entry);
        break;
    default:
        break;
    }
}

void BusFromRecord::TakeTopology(const Entry& entry) {
    const recording::Bytes& map = entry.data;
    if (map.size() < SELF_IDS)
        return;
    const std::size_t count = std::min<std::size_t>(map[NODE_COUNT] | map[NODE_COUNT + 1] << 8, MOST_NODES);
    EndOpenResets(count);
    resetUnread_ = false;
    if (nodes_.empty())
        nodes_.resize(count);
    PlaceNodes(count);
    std::size_t at = SELF_IDS;
    for (std::size_t number = 0; number < places_.size() && at + 4 <= map.size(); ++number) {
        nodes_[places_[number]].IsOff = (map[at + 1] & LINK_ACTIVE) == 0;
        at += (map[at + 3] & 1) != 0 ? 8 : 4;
    }
}

// While the numbers are those of the topology map.
void BusFromRecord::TakeHost(std::uint32_t number) {
    if (resetUnread_ || number >= places_.size() || std::ranges::any_of(nodes_, &NodeOfRecord::IsHost))
        return;
    nodes_[places_[number]].IsHost = true;
}

// All but those that are known to be away, in their order; what the ROMs tell corrects it.
void BusFromRecord::PlaceNodes(std::size_t count) {
    places_.clear();
    for (std::size_t index = 0; index < nodes_.size(); ++index) {
        const bool restarts = std::ranges::any_of(
            restarts_, [index](const Restart& restart) { return restart.index == index && restart.isAway; });
        if (!restarts && !unplugged_.contains(index))
            places_.push_back(index);
    }
    for (; places_.size() < count && nodes_.size() < MOST_NODES; nodes_.emplace_back())
        places_.push_back(nodes_.size());
    unclear_ = unclear_ || places_.size() != count;
    places_.resize(std::min(count, places_.size()));
}

// Resets that nobody asked for: each by itself, or because a node has come or gone. Which one that is, only a node
// before the host shows at once: the last that isn't the host is taken, until a ROM says otherwise.
void BusFromRecord::EndOpenResets(std::size_t count) {
    const auto away = static_cast<std::size_t>(std::ranges::count_if(restarts_, &Restart::isAway));
    const std::optional<std::size_t> interrupted = std::exchange(interrupted_, std::nullopt);
    if (interrupted && count < nodes_.size() - away - unplugged_.size() && !nodes_[*interrupted].IsHost) {
        nodes_[*interrupted].NoteUnplugged();
        unplugged_.insert(*interrupted);
    }
    for (const auto& [transaction, time] : std::exchange(openResets_, {})) {
        const std::size_t expected = nodes_.size() - away - unplugged_.size();
        if (!nodes_.empty() && count > expected && !unplugged_.empty()) {
            AddFault({{"node", *unplugged_.begin()}, {"afterTransactions", transaction}, {"do", "plug"}});
            unplugged_.erase(unplugged_.begin());
        } else if (!nodes_.empty() && count < expected) {
            std::size_t index = nodes_.size() - 1;
            while (index > 0 && (nodes_[index].IsHost || unplugged_.contains(index)))
                --index;
            unplugged_.insert(index);
            AddFault({{"node", index}, {"afterTransactions", transaction}, {"do", "unplug"}});
        } else if (!nodes_.empty()) {
            AddFault({{"afterTransactions", transaction}, {"do", "busReset"}});
        }
    }
}

void BusFromRecord::TakeTransaction(const Entry& entry) {
    const std::int64_t took = entry.end - entry.start;
    if (entry.result == TWL1394_SUCCESS && (shortest_ == 0 || took < shortest_))
        shortest_ = std::max<std::int64_t>(took, 1);
    const bool isNode = entry.node < places_.size();
    if (isNode) {
        const std::size_t index = places_[entry.node];
        NodeOfRecord& node = nodes_[index];
        node.Take(entry);
        CheckPlace(entry, index);
        if (entry.kind == Kind::Write && node.MayRestart() && entry.result == TWL1394_SUCCESS) {
            std::erase_if(restarts_, [index](const Restart& restart) { return restart.index == index; });
            restarts_.push_back({index, false, 0, transactions_});
        } else if (entry.kind == Kind::Write) {
            std::erase_if(restarts_, [&](const Restart& r) { return r.index == index && !r.isAway; });
        }
        if (entry.result == TWL1394_BUS_RESET)
            TakeInterruption(entry, node);
    }
    ++transactions_;
    for (OpenReset& reset : openResets_)
        if (reset.time > entry.start) // it came while this transaction was under way, and didn't interrupt it
            reset.transactions = transactions_;
}

// Its notice comes before the end of the transaction or soon after it. Once a reset is known, a library may end
// transactions so without another one.
void BusFromRecord::TakeInterruption(const Entry& entry, NodeOfRecord& node) {
    if (openResets_.empty() && (resetUnread_ || !restarts_.empty()))
        return;
    if (openResets_.empty())
        ++ownResets_;
    else
        openResets_.pop_back();
    resetUnread_ = true;
    interrupted_ = places_[entry.node];
    node.NoteReset(entry);
}

// A ROM says which node has this number.
void BusFromRecord::CheckPlace(const Entry& entry, std::size_t index) {
    if (entry.kind != Kind::Read || entry.address != ROM + 16 || entry.result != TWL1394_SUCCESS ||
        entry.data.size() < 4 || unplugged_.empty())
        return;
    const std::uint64_t guid = nodes_[index].Guid();
    const std::uint32_t lower = std::uint32_t{entry.data[0]} << 24 | std::uint32_t{entry.data[1]} << 16 |
                                std::uint32_t{entry.data[2]} << 8 | entry.data[3];
    if (static_cast<std::uint32_t>(guid) == lower)
        return;
    for (const std::size_t missing : unplugged_)
        if (static_cast<std::uint32_t>(nodes_[missing].Guid()) == lower) { // another one is away
            for (Json& fault : faults_)
                if (fault.value("do", "") == "unplug" && fault["node"] == missing)
                    fault["node"] = index;
            unplugged_.erase(missing);
            unplugged_.insert(index);
            return PlaceNodes(places_.size());
        }
}

void BusFromRecord::TakeReset(const Entry& entry) {
    resetUnread_ = true;
    if (ownResets_ > 0) {
        --ownResets_;
        return;
    }
    const auto leaves = std::ranges::find(restarts_, false, &Restart::isAway);
    if (leaves != restarts_.end()) {
        leaves->isAway = true;
        leaves->left = entry.end;
        return;
    }
    if (!restarts_.empty()) { // the first that left is back
        lastRestarted_ = restarts_.front().index;
        nodes_[lastRestarted_].AwayFor = entry.end - restarts_.front().left;
        restarts_.erase(restarts_.begin());
        return;
    }
    openResets_.push_back({transactions_, entry.end});
}

Json BusFromRecord::Description() const {
    Json bus;
    if (shortest_ != 0)
        bus["transactionMicroseconds"] = std::min<std::int64_t>(shortest_, 1'000'000);
    bus["nodes"] = Json::array();
    bus["faults"] = Json::array();
    for (const NodeOfRecord& node : nodes_) {
        for (const NodeFault& fault : node.Faults()) {
            Json complete = {{"node", bus["nodes"].size()}};
            complete.update(fault.Conditions);
            complete[fault.Effect] = fault.Value;
            bus["faults"].push_back(std::move(complete));
        }
        bus["nodes"].push_back(node.Description());
    }
    for (const Restart& restart : restarts_)
        if (restart.isAway) {
            Json fault = {{"node", restart.index}};
            if (restart.transaction > 0)
                fault["afterTransactions"] = restart.transaction;
            fault["do"] = "vanish";
            bus["faults"].push_back(std::move(fault));
        }
    for (const Json& fault : faults_)
        bus["faults"].push_back(fault);
    return bus;
}

std::vector<std::string> BusFromRecord::Doubts() const {
    std::vector<std::string> doubts;
    if (nodes_.empty())
        doubts.emplace_back("The record has no topology map, so the bus has no nodes.");
    if (redacted_)
        doubts.emplace_back("The record is redacted: GUIDs are counters, and keys are missing.");
    if (unclear_)
        doubts.emplace_back("Which nodes came and went isn't clear from the record.");
    return doubts;
}

} // namespace record
