// SPDX-License-Identifier: Apache-2.0

#include "MessageBus.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Bed.h"
#include "Process.h"

#ifdef VELO_SD_BUS
#include <systemd/sd-bus.h>

namespace velo::bench {

namespace {

constexpr const char* kName = "org.example.Echo";
constexpr const char* kPath = "/org/example/Echo";

int echo(sd_bus_message* message, void*, sd_bus_error*) {
    int number = 0;
    if (sd_bus_message_read(message, "i", &number) < 0) return -1;
    return sd_bus_reply_method_return(message, "i", number);
}

const sd_bus_vtable kTable[] = {SD_BUS_VTABLE_START(0),
                                SD_BUS_METHOD("Echo", "i", "i", echo, SD_BUS_VTABLE_UNPRIVILEGED),
                                SD_BUS_VTABLE_END};

/// What the daemon of a system is told, as far as an echo needs it.
void writeConfiguration(const std::string& folder) {
    std::ofstream(folder + "/bus.conf")
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>system</type><listen>unix:path="
        << folder
        << "/bus</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
           "<allow own=\"*\"/><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
           "</policy></busconfig>\n";
}

sd_bus* open(const std::string& address) {
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0) return nullptr;
    if (sd_bus_set_address(bus, address.c_str()) < 0 || sd_bus_set_bus_client(bus, 1) < 0 ||
        sd_bus_start(bus) < 0) {
        return sd_bus_unref(bus);
    }
    return bus;
}

}  // namespace

class MessageBus::Connection {
public:
    explicit Connection(const std::string& address) : mBus(open(address)) {}
    ~Connection() { sd_bus_flush_close_unref(mBus); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool call() {
        sd_bus_message* reply = nullptr;
        int number = 0;
        const bool done =
            mBus != nullptr &&
            sd_bus_call_method(mBus, kName, kPath, kName, "Echo", nullptr, &reply, "i", 7) >= 0 &&
            sd_bus_message_read(reply, "i", &number) >= 0 && number == 7;
        sd_bus_message_unref(reply);
        return done;
    }

private:
    sd_bus* mBus;
};

MessageBus::MessageBus() = default;

std::unique_ptr<MessageBus> MessageBus::start(std::string& why) {
    std::string folder = std::filesystem::temp_directory_path() / "velo-bench-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) fail("no temporary folder");
    std::unique_ptr<MessageBus> bus(new MessageBus);
    bus->mFolder = folder;
    writeConfiguration(folder);
    bus->mDaemon = bench::start(
        {"dbus-daemon", "--config-file=" + folder + "/bus.conf", "--nofork", "--nopidfile"});
    if (bus->mDaemon < 0) {
        why = "dbus-daemon is not installed";
        return nullptr;
    }
    const std::string address = "unix:path=" + folder + "/bus";
    bus->mService = bench::start({ownPath(), kServeOption, address});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
        // Anew each time: neither the daemon nor the service is there at once.
        bus->mConnection = std::make_unique<Connection>(address);
        if (bus->mConnection->call()) return bus;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    why = "the message bus does not answer";
    return nullptr;
}

MessageBus::~MessageBus() {
    mConnection.reset();
    for (const pid_t process : {mService, mDaemon}) {
        if (process <= 0) continue;
        kill(process, SIGTERM);
        waitFor(process);
    }
    std::error_code ignored;
    std::filesystem::remove_all(mFolder, ignored);
}

void MessageBus::place(Placement placement) const {
    placeProcess(mService, placement, true);
    placeProcess(mDaemon, placement, false);
}

void MessageBus::call() {
    if (!mConnection->call()) fail("a call over the message bus");
}

int MessageBus::serve(const std::string& argument) {
    sd_bus* bus = nullptr;
    while ((bus = open(argument)) == nullptr) {
        if (getppid() == 1) return 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (sd_bus_add_object_vtable(bus, nullptr, kPath, kName, kTable, nullptr) < 0 ||
        sd_bus_request_name(bus, kName, 0) < 0) {
        return 1;
    }
    for (;;) {
        const int processed = sd_bus_process(bus, nullptr);
        if (processed < 0 || (processed == 0 && sd_bus_wait(bus, UINT64_MAX) < 0)) return 0;
    }
}

}  // namespace velo::bench

#else

namespace velo::bench {

class MessageBus::Connection {};

MessageBus::MessageBus() = default;
MessageBus::~MessageBus() = default;

std::unique_ptr<MessageBus> MessageBus::start(std::string& why) {
    why = "built without libsystemd-dev";
    return nullptr;
}

void MessageBus::place(Placement) const {}

void MessageBus::call() {}

int MessageBus::serve(const std::string&) {
    return 1;
}

}  // namespace velo::bench

#endif
