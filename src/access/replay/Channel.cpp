#include "Channel.h"

#include <utility>

namespace replay {

using recording::Entry;
using recording::Kind;

namespace {

constexpr ChannelKey LISTS = 64, ADDRESSES = 65, HOST_INFORMATION = 66, OTHERS = 67; // nodes have 0 to 63
constexpr std::size_t MOST_ANSWERS = 4096;                                           // all quadlets of a ROM, and more

} // namespace

ChannelKey ChannelOf(const Entry& operation) {
    switch (operation.kind) {
    case Kind::Read:
    case Kind::Write:
        return operation.node & 0x3F;
    case Kind::GetVirtualDeviceList:
        return LISTS;
    case Kind::Get1394Address:
        return ADDRESSES;
    case Kind::GetLocalHostInformation:
        return HOST_INFORMATION;
    default:
        return OTHERS;
    }
}

bool IsQuestion(const Entry& operation) {
    return operation.kind == Kind::Read || operation.kind == Kind::GetVirtualDeviceList ||
           operation.kind == Kind::Get1394Address || operation.kind == Kind::GetLocalHostInformation;
}

bool IsSame(const Entry& recorded, const Entry& asked) {
    if (recorded.kind != asked.kind || recorded.node != asked.node || recorded.address != asked.address ||
        recorded.size != asked.size)
        return false;
    switch (recorded.kind) {
    case Kind::Write:
        return recorded.isDigest == asked.isDigest && recorded.data == asked.data;
    case Kind::HookSystemModule:
    case Kind::AddVirtualDriver:
    case Kind::RemoveVirtualDriver:
        return recorded.text == asked.text;
    case Kind::FreeAddressRange:
        return recorded.number == asked.number;
    default: // the level of debug text is a setting
        return true;
    }
}

bool Channel::Open(const std::string& file, std::string& reason) {
    const bool opened = reader_.Open(file, reason);
    if (opened)
        Advance();
    return opened;
}

Channel::Question Channel::QuestionOf(const Entry& entry) {
    return {std::uint64_t{entry.size} << 8 | static_cast<std::uint64_t>(entry.kind), entry.address};
}

bool Channel::Advance() {
    for (next_.reset(); !next_;) {
        before_ = reader_.Here();
        Entry entry;
        if (!reader_.Next(entry))
            return false;
        if (recording::IsOperation(entry.kind) && ChannelOf(entry) == key_)
            next_ = std::move(entry);
    }
    return true;
}

void Channel::Keep(const Entry& entry) {
    if (answers_.size() < MOST_ANSWERS || answers_.contains(QuestionOf(entry)))
        answers_[QuestionOf(entry)] = entry;
}

Answer Channel::Take() {
    Answer answer{*next_, reader_.Here()};
    if (IsQuestion(answer.entry))
        Keep(answer.entry);
    Advance();
    return answer;
}

std::optional<Answer> Channel::TakeBeyondPolls(const Entry& asked, std::int64_t lastReset) {
    const recording::Position start = before_;
    std::map<Question, Entry> passed;
    const auto isPoll = [&] {
        return IsQuestion(*next_) && (before_.offset < lastReset || answers_.contains(QuestionOf(*next_)) ||
                                      passed.contains(QuestionOf(*next_)));
    };
    while (next_ && !IsSame(*next_, asked) && isPoll()) {
        passed[QuestionOf(*next_)] = *next_;
        Advance();
    }
    expected_ = next_;
    expectedPlace_ = before_;
    if (next_ && IsSame(*next_, asked)) {
        for (const auto& [question, entry] : passed)
            Keep(entry);
        return Take();
    }
    if (!passed.empty()) {
        reader_.Seek(start);
        Advance();
    }
    return std::nullopt;
}

std::optional<Answer> Channel::Find(const Entry& asked, std::int64_t lastReset) {
    if (std::optional<Answer> answer = TakeBeyondPolls(asked, lastReset))
        return answer;
    const auto known = IsQuestion(asked) ? answers_.find(QuestionOf(asked)) : answers_.end();
    return known == answers_.end() ? std::nullopt : std::optional(Answer{known->second, before_, true});
}

} // namespace replay
