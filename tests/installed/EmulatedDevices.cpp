// An adapter and the devices of a simulated bus for programs that run under umockdev's preload library: sysfs entries
// and device files in a folder of their own, in real time.
//
// emulated_devices BUS-DESCRIPTION
//
// Prints the folder, for UMOCKDEV_DIR, and goes on until its standard input ends. The description has one target, and
// the computer.
#include "BusOnVirtualClock.h"
#include "SimulatedDevices.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <linux/firewire-cdev.h>
#include <sys/stat.h>
#include <umockdev.h>
#include <unistd.h>

using namespace testing_support;

namespace {

constexpr std::array DEVICE_FILES = {"fw0", "fw1"};
constexpr const char* SYSFS = R"(P: /devices/pci0000:00/0000:05:00.0
E: SUBSYSTEM=pci
A: class=0x0c0010
L: driver=../../../bus/pci/drivers/firewire_ohci

P: /devices/pci0000:00/0000:05:00.0/fw0
E: SUBSYSTEM=firewire
A: is_local=1

P: /devices/pci0000:00/0000:05:00.0/fw1
E: SUBSYSTEM=firewire
A: is_local=0
A: vendor=0x000f1b

)";

// A copy of what a pointer in the client's memory points to. What is changed in it, the client gets.
class ClientMemory {
public:
    // The pointer lies at `offset` in `data`.
    ClientMemory(UMockdevIoctlData* data, std::size_t offset, std::size_t size)
        : data_(size == 0 ? nullptr : umockdev_ioctl_data_resolve(data, offset, size, nullptr)) {}
    ~ClientMemory() { g_clear_object(&data_); }
    ClientMemory(const ClientMemory&) = delete;
    ClientMemory& operator=(const ClientMemory&) = delete;

    // Null for a size of 0.
    [[nodiscard]] void* Copy() const { return data_ == nullptr ? nullptr : data_->data; }
    [[nodiscard]] std::uintptr_t Address() const { return reinterpret_cast<std::uintptr_t>(Copy()); }
    [[nodiscard]] ClientMemory At(std::size_t offset, std::size_t size) const { return {data_, offset, size}; }

private:
    UMockdevIoctlData* data_;
};

// The fake kernel of simulated devices, whose clock follows the real one. The library is in another process, so there
// is nothing to wait for.
class Kernel {
public:
    explicit Kernel(const std::filesystem::path& description) : bus_(clock_, description), devices_(clock_) {
        devices_.speed = SCODE_400; // a block of 2048 bytes needs it
    }
    FakeKernel& Calls() { return devices_; }
    void CatchUp() {
        if (const std::int64_t late = (std::chrono::steady_clock::now() - start_).count() - clock_.Now(); late > 0)
            clock_.Sleep(late);
    }

private:
    struct Bus {
        Bus(platform::testing::VirtualClock& clock, const std::filesystem::path& description) {
            UseVirtualClock(clock);
            std::stringstream json;
            json << std::ifstream(description).rdbuf();
            if (SimulatorDescribe(json.str().c_str(), description.parent_path().c_str()) != 1)
                throw std::runtime_error(SimulatorLastError());
        }
    };
    struct Devices : SimulatedDevices {
        using SimulatedDevices::SimulatedDevices;
        void Settle() override {}
    };

    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    platform::testing::VirtualClock clock_;
    Bus bus_;
    Devices devices_;
};

// umockdev calls on a thread of its own. A device file is a FIFO that holds a byte while an event waits: the preload
// library forwards ioctl and read, but leaves poll to the file.
class Emulation {
public:
    explicit Emulation(const std::filesystem::path& description)
        : kernel_(description), testbed_(umockdev_testbed_new()), handler_(umockdev_ioctl_base_new()) {
        umockdev_testbed_add_from_string(testbed_, SYSFS, nullptr);
        const std::string folder = Folder() + "/dev/";
        std::filesystem::create_directories(folder);
        for (const auto& [signal, callback] :
             {std::pair("client-connected", G_CALLBACK(Connected)), std::pair("client-vanished", G_CALLBACK(Vanished)),
              std::pair("handle-ioctl", G_CALLBACK(Ioctl)), std::pair("handle-read", G_CALLBACK(Read))})
            g_signal_connect(handler_, signal, callback, this);
        for (const std::string file : DEVICE_FILES) {
            mkfifo((folder + file).c_str(), 0666);
            files_[file].fifo = open((folder + file).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
            umockdev_testbed_attach_ioctl(testbed_, ("/dev/" + file).c_str(), handler_, nullptr);
        }
    }
    ~Emulation() {
        g_object_unref(testbed_); // also removes the folder
        g_object_unref(handler_);
    }
    Emulation(const Emulation&) = delete;
    Emulation& operator=(const Emulation&) = delete;

    std::string Folder() {
        char* const folder = umockdev_testbed_get_root_dir(testbed_);
        const std::string copy = folder;
        g_free(folder);
        return copy;
    }
    void Run() {
        constexpr int tick = 5; // ms
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (poll(&input, 1, tick) == 0) {
            const std::lock_guard lock(mutex_);
            kernel_.CatchUp();
            MarkFiles();
        }
    }

private:
    struct File {
        int fifo = -1;
        bool isMarked = false;
    };
    struct Client {
        std::string file;
        int descriptor; // of the fake kernel
    };

    static void Connected(UMockdevIoctlBase*, UMockdevIoctlClient* client, Emulation* self) {
        const std::lock_guard lock(self->mutex_);
        const std::string file = std::filesystem::path(umockdev_ioctl_client_get_devnode(client)).filename();
        self->clients_[client] = {file, self->kernel_.Calls().Open(file)};
    }
    static void Vanished(UMockdevIoctlBase*, UMockdevIoctlClient* client, Emulation* self) {
        const std::lock_guard lock(self->mutex_);
        self->kernel_.Calls().Close(self->clients_.at(client).descriptor);
        self->clients_.erase(client);
        self->MarkFiles();
    }
    static gboolean Ioctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, Emulation* self) {
        return self->Serve(client, [=] { return self->Control(client); });
    }
    static gboolean Read(UMockdevIoctlBase*, UMockdevIoctlClient* client, Emulation* self) {
        return self->Serve(client, [=] { return self->ReadRecord(client); });
    }

    template <typename Call> gboolean Serve(UMockdevIoctlClient* client, Call call) {
        const std::lock_guard lock(mutex_);
        kernel_.CatchUp();
        const int result = call();
        MarkFiles();
        umockdev_ioctl_client_complete(client, result < 0 ? -1 : result, result < 0 ? -result : 0);
        return TRUE;
    }

    int ReadRecord(UMockdevIoctlClient* client) {
        const int descriptor = clients_.at(client).descriptor;
        UMockdevIoctlData* const buffer = umockdev_ioctl_client_get_arg(client);
        return IsReadable(descriptor)
                   ? kernel_.Calls().Read(descriptor, buffer->data, static_cast<std::size_t>(buffer->data_len))
                   : -EAGAIN;
    }

    int Control(UMockdevIoctlClient* client) {
        const unsigned long request = umockdev_ioctl_client_get_request(client);
        const ClientMemory argument(umockdev_ioctl_client_get_arg(client), 0, _IOC_SIZE(request));
        switch (request) {
        case FW_CDEV_IOC_GET_INFO:
            return GetInfo(client, argument);
        case FW_CDEV_IOC_SEND_REQUEST:
            return Send<fw_cdev_send_request>(client, argument);
        case FW_CDEV_IOC_SEND_RESPONSE:
            return Send<fw_cdev_send_response>(client, argument);
        default: // no pointers in it
            return Forward(client, argument.Copy());
        }
    }

    int Forward(UMockdevIoctlClient* client, void* argument) {
        return kernel_.Calls().Control(clients_.at(client).descriptor, umockdev_ioctl_client_get_request(client),
                                       argument);
    }

    int GetInfo(UMockdevIoctlClient* client, const ClientMemory& argument) {
        auto& info = *static_cast<fw_cdev_get_info*>(argument.Copy());
        const ClientMemory rom = argument.At(offsetof(fw_cdev_get_info, rom), info.rom == 0 ? 0 : info.rom_length);
        const ClientMemory state = argument.At(offsetof(fw_cdev_get_info, bus_reset), sizeof(fw_cdev_event_bus_reset));
        fw_cdev_get_info copy = info;
        copy.rom = rom.Address();
        copy.bus_reset = state.Address();
        const int result = Forward(client, &copy);
        info.version = copy.version;
        info.card = copy.card;
        return result;
    }

    template <typename Record> int Send(UMockdevIoctlClient* client, const ClientMemory& argument) {
        auto copy = *static_cast<Record*>(argument.Copy());
        const ClientMemory data = argument.At(offsetof(Record, data), copy.data == 0 ? 0 : copy.length);
        copy.data = data.Address();
        return Forward(client, &copy);
    }

    static bool IsReadable(int descriptor) {
        pollfd events{descriptor, POLLIN, 0};
        return poll(&events, 1, 0) == 1;
    }

    void MarkFiles() {
        for (auto& [name, file] : files_) {
            bool waiting = false;
            for (const auto& [client, open] : clients_)
                waiting = waiting || (open.file == name && IsReadable(open.descriptor));
            char mark = 0;
            if (waiting != file.isMarked && (waiting ? write(file.fifo, &mark, 1) : read(file.fifo, &mark, 1)) != 1)
                std::abort();
            file.isMarked = waiting;
        }
    }

    std::mutex mutex_;
    Kernel kernel_;
    UMockdevTestbed* testbed_;
    UMockdevIoctlBase* handler_;
    std::map<std::string, File> files_;
    std::map<UMockdevIoctlClient*, Client> clients_;
};

} // namespace

int main(int, char** arguments) {
    Emulation emulation(std::filesystem::absolute(arguments[1]));
    std::cout << emulation.Folder() << std::endl;
    emulation.Run();
}
