// Life and files of the bus: which device files are open, which adapter is used, what the kernel says.
#include "KernelBus.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include <linux/firewire-cdev.h>

namespace kernel_bus {

namespace {

constexpr std::size_t MAX_RECORD = 8192; // bytes; the kernel's longest is a request with 4096 bytes of data

std::string ErrorText(int error) {
    return std::generic_category().message(-error);
}

unsigned long FileNumber(const Port& port) {
    return std::strtoul(port.file.c_str() + 2, nullptr, 10);
}

} // namespace

KernelBus::KernelBus(KernelCalls& calls, const Twl1394Client& client, const std::string& choice)
    : calls_(calls), client_(client) {
    if (choice.empty())
        return;
    std::uint32_t card = 0;
    const char* const end = choice.data() + choice.size();
    const auto [parsed, failure] = std::from_chars(choice.data(), end, card);
    choiceIsValid_ = failure == std::errc() && parsed == end;
    if (choiceIsValid_)
        chosenCard_ = card;
    else
        Report(DEBUG_ALWAYS, TWL1394_BUS_VARIABLE " is '" + choice + "', which isn't the number of a card");
}

void KernelBus::Start() {
    {
        Locked locked(*this);
        if (const int failure = thread_.Watch(); failure < 0)
            Report(DEBUG_ALWAYS, calls_.DeviceFolder() + " can't be watched: " + ErrorText(failure));
        OpenAll();
        NoteTopologyRead(); // nothing has been numbered differently since
        notices_.clear();   // it is the client's own start
        if (adapter_ == nullptr && choiceIsValid_)
            Report(DEBUG_ALWAYS, "no adapter: no device file fw* of a local node in " + calls_.DeviceFolder() +
                                     " can be opened" +
                                     (chosenCard_ ? " for card " + std::to_string(*chosenCard_) : ""));
    }
    thread_.Run();
}

void KernelBus::Stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        transactions_.EndAll(TWL1394_SHUTTING_DOWN);
    }
    thread_.Stop();
    for (const auto& port : ports_)
        calls_.Close(port->descriptor);
    ports_.clear();
    adapter_ = nullptr;
    closing_.clear(); // waits for them
}

void KernelBus::Tell(std::unique_lock<std::mutex>& lock) {
    const auto texts = std::exchange(texts_, {});
    const auto notices = std::exchange(notices_, {});
    lock.unlock();
    for (const std::string& text : texts)
        client_.AppendDebugText(client_.Context, text.c_str());
    for (const std::uint32_t notice : notices)
        client_.PostNotice(client_.Context, notice);
}

void KernelBus::Report(std::int32_t level, const std::string& text) {
    if (level >= debugLevel_ || level == DEBUG_ALWAYS)
        texts_.push_back("kernel bus: " + text + "\r\n");
}

void KernelBus::SetDebugLevel(std::int32_t level) {
    const std::lock_guard lock(mutex_);
    debugLevel_ = level;
}

void KernelBus::Scan() {
    const Locked locked(*this);
    OpenAll();
    thread_.Wake();
}

bool KernelBus::HasAdapter() {
    const std::lock_guard lock(mutex_);
    return adapter_ != nullptr;
}

std::uint16_t KernelBus::LocalNodeId() {
    const std::lock_guard lock(mutex_);
    return adapter_ == nullptr ? 0 : adapter_->localNodeId;
}

// A bus reset is served last: answers that came before it still count.
void KernelBus::ListDescriptors(std::vector<int>& descriptors) {
    const std::lock_guard lock(mutex_);
    for (const bool local : {false, true})
        for (const auto& port : ports_)
            if (port->isLocal == local)
                descriptors.push_back(port->descriptor);
}

void KernelBus::OpenAll() {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(calls_.DeviceFolder(), failure))
        if (const std::string file = entry.path().filename(); IsDeviceFile(file))
            Open(file);
    ChooseAdapter();
}

void KernelBus::Open(const std::string& file) {
    if (std::ranges::any_of(ports_, [&](const auto& port) { return port->file == file; }))
        return;
    auto port = std::make_unique<Port>();
    if (const int failure = OpenPort(calls_, file, *port); failure < 0) {
        // What can't be opened yet is tried again when its attributes change: the file is there before its mode is set.
        Report(DEBUG_WARNING, file + " can't be opened: " + ErrorText(failure));
        return;
    }
    Report(DEBUG_TRACE, file + ": card " + std::to_string(port->card) + ", node " + std::to_string(port->node) +
                            (port->isLocal ? ", this computer" : ""));
    ports_.push_back(std::move(port));
    std::ranges::sort(ports_, {}, [](const auto& each) { return FileNumber(*each); });
    Post(TWL1394_NOTICE_DEVICE_CHANGE);
}

void KernelBus::DeviceFileAppeared(const std::string& file) {
    const Locked locked(*this);
    Open(file);
    ChooseAdapter();
    for (const auto& port : ports_)
        if (port->file == file)
            PostIfAwaited(*port);
}

void KernelBus::DeviceFileRemoved(const std::string& file) {
    Locked locked(*this);
    const auto found = std::ranges::find_if(ports_, [&](const auto& port) { return port->file == file; });
    if (found != ports_.end())
        LosePort(found->get(), locked);
}

void KernelBus::LoseDescriptor(int descriptor) {
    Locked locked(*this);
    if (Port* const port = PortOfDescriptor(descriptor))
        LosePort(port, locked);
}

void KernelBus::LosePort(Port* port, Locked& locked) {
    const auto found = std::ranges::find_if(ports_, [=](const auto& each) { return each.get() == port; });
    std::unique_ptr<Port> lost = std::move(*found);
    ports_.erase(found);
    Report(DEBUG_TRACE, lost->file + " has gone");
    transactions_.EndThoseOf(lost->descriptor);
    Post(TWL1394_NOTICE_DEVICE_CHANGE);
    if (adapter_ == port) {
        adapter_ = nullptr;
        for (auto& [handle, range] : ranges_.All())
            range.kernelHandle.reset();
        Post(TWL1394_NOTICE_BUS_RESET);
        ChooseAdapter();
    }
    Tell(locked.lock);
    Close(std::move(lost));
    locked.lock.lock();
}

void KernelBus::Close(std::unique_ptr<Port> port) {
    const auto close = [this, descriptor = port->descriptor] { calls_.Close(descriptor); };
    std::erase_if(closing_, [](const std::future<void>& closing) {
        return closing.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    if (port->owedAnswers == 0) {
        close();
        return;
    }
    try { // it waits for them; other ports go on meanwhile
        closing_.push_back(std::async(std::launch::async, close));
    } catch (const std::system_error&) {
        close(); // no thread can be had
    }
}

Port* KernelBus::PortOfDescriptor(int descriptor) {
    const auto found = std::ranges::find_if(ports_, [=](const auto& port) { return port->descriptor == descriptor; });
    return found == ports_.end() ? nullptr : found->get();
}

void KernelBus::ReadEvent(int descriptor) {
    alignas(std::uint64_t) std::uint8_t record[MAX_RECORD];
    const int size = calls_.Read(descriptor, record, sizeof record);
    if (size == -EINTR || size == -EAGAIN)
        return;
    Locked locked(*this);
    Port* const port = PortOfDescriptor(descriptor);
    if (port == nullptr)
        return;
    if (size > 0) {
        TakeEvent(*port, ByteView(record, static_cast<std::size_t>(size)));
        return;
    }
    if (size < 0 && size != -ENODEV) { // not just unplugged
        Report(DEBUG_ALWAYS, port->file + " can't be read: " + ErrorText(size));
        if (port == adapter_)
            Post(TWL1394_NOTICE_DRIVER_ERROR);
    }
    LosePort(port, locked);
}

void KernelBus::TakeEvent(Port& port, ByteView record) {
    const Event event = DecodeEvent(record);
    if (std::holds_alternative<BusResetEvent>(event)) {
        TakeBusReset(port);
    } else if (const auto* response = std::get_if<ResponseEvent>(&event)) {
        port.owedAnswers -= port.owedAnswers > 0 ? 1 : 0;
        transactions_.End(*response);
    } else if (const auto* request = std::get_if<RequestEvent>(&event)) {
        AnswerRequest(port, *request);
    }
}

// The kernel tells each file on its own, those of remote nodes up to half a second later; but it knows all new numbers.
void KernelBus::TakeBusReset(Port& port) {
    if (port.isLocal)
        RefreshCard(port.card);
    else if (RefreshPort(calls_, port) == 0)
        PostIfAwaited(port);
    if (&port != adapter_)
        return;
    topologyIsKnown_ = false;
    awaited_.clear();
    Post(TWL1394_NOTICE_BUS_RESET);
}

void KernelBus::RefreshCard(std::uint32_t card) {
    for (const auto& port : ports_)
        if (port->card == card && RefreshPort(calls_, *port) == 0 && port->isLocal)
            transactions_.EndOlder(card, port->generation);
}

bool KernelBus::IsCurrent(const Port& port) const {
    return adapter_ != nullptr && port.card == adapter_->card && port.generation == adapter_->generation &&
           (!port.isLocal || &port == adapter_);
}

void KernelBus::PostIfAwaited(const Port& port) {
    if (IsCurrent(port) && awaited_.erase(port.node) != 0)
        Post(TWL1394_NOTICE_BUS_RESET);
}

bool KernelBus::HasTarget(std::uint32_t card) const {
    return std::ranges::any_of(ports_, [=](const auto& port) { return port->card == card && port->isTarget; });
}

// An adapter whose bus has shown a target stays, whatever comes up elsewhere.
Port* KernelBus::BestAdapter() {
    Port* best = nullptr;
    for (const auto& port : ports_) {
        if (!port->isLocal || !choiceIsValid_ || (chosenCard_ && port->card != *chosenCard_))
            continue;
        const auto rank = [this](const Port& each) { return std::pair(!HasTarget(each.card), each.card); };
        if (best == nullptr || rank(*port) < rank(*best))
            best = port.get();
    }
    return adapter_ != nullptr && (targetSeen_ || !HasTarget(best->card)) ? adapter_ : best;
}

void KernelBus::ChooseAdapter() {
    Port* const best = BestAdapter();
    if (best != adapter_) {
        for (auto& [handle, range] : ranges_.All())
            Deallocate(range);
        adapter_ = best;
        targetSeen_ = topologyIsKnown_ = false;
        awaited_.clear();
        for (auto& [handle, range] : ranges_.All())
            if (const int failure = adapter_ == nullptr ? 0 : Allocate(handle, range); failure < 0)
                Report(DEBUG_ALWAYS, "an address range can't be allocated again: " + ErrorText(failure));
        Report(DEBUG_TRACE, adapter_ == nullptr ? "no adapter" : "the bus is that of " + adapter_->file);
        Post(TWL1394_NOTICE_BUS_RESET);
    }
    targetSeen_ = targetSeen_ || (adapter_ != nullptr && HasTarget(adapter_->card));
}

} // namespace kernel_bus
