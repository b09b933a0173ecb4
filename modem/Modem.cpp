// SPDX-License-Identifier: Apache-2.0

#include "modem/Modem.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include "modem/ControlOrders.h"
#include "modem/FactoryProfiles.h"
#include "modem/Faults.h"
#include "modem/PowerSwitch.h"
#include "modem/Server.h"
#include "modem/StateFile.h"
#include "modem/WdsService.h"

namespace velo::modem {

namespace {

/// A folder of its own for one modem, for this user alone; goes with the object.
class PrivateFolder {
public:
    PrivateFolder() = default;
    ~PrivateFolder() {
        if (!mPath.empty()) {
            ::rmdir(mPath.c_str());
        }
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::string& make() {
        std::string path = std::filesystem::temp_directory_path() / "velo-modem-XXXXXX";
        if (::mkdtemp(path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path);
        }
        mPath = std::move(path);
        return mPath;
    }

private:
    std::string mPath;
};

}  // namespace

class Modem::Impl {
public:
    explicit Impl(ModemOptions options)
        : path(options.socketPath.empty() ? folder.make() + "/modem"
                                          : std::move(options.socketPath)),
          state(options.stateFile.empty() ? nullptr
                                          : std::make_unique<StateFile>(options.stateFile)),
          service(server, options.subscriptions, options.capacity,
                  options.factoryProfiles ? *options.factoryProfiles : builtInProfiles(),
                  state.get()),
          power(server, service, path),
          faults(server, service, power, std::chrono::milliseconds(options.latencyMs), options.seed,
                 options.faults),
          orders(server, service, power, faults, std::move(options.onStop)) {
        server.open(path);
        // Only a modem that has its socket may clear the file: it may be a live one's.
        if (!options.captureFile.empty()) {
            server.startCapture(options.captureFile);
        }
        server.start(faults);
    }
    ~Impl() { server.stop(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    PrivateFolder folder;
    const std::string path;
    Server server;
    const std::unique_ptr<StateFile> state;
    WdsService service;
    PowerSwitch power;
    Faults faults;
    ControlOrders orders;
    const pid_t owner = ::getpid();
};

Modem::Modem(ModemOptions options) : mImpl(std::make_unique<Impl>(std::move(options))) {}

Modem::~Modem() {
    // In a forked child the modem's thread does not exist, and its socket is the parent's.
    if (mImpl->owner != ::getpid()) {
        [[maybe_unused]] const auto* abandoned = mImpl.release();
    }
}

const std::string& Modem::socketPath() const {
    return mImpl->path;
}

std::vector<StoredProfile> Modem::profiles(unsigned int subscription) const {
    return mImpl->server.run([&] { return mImpl->service.profiles(subscription); });
}

std::uint64_t Modem::exchanges() const {
    return mImpl->service.exchanges();
}

std::size_t Modem::clients() const {
    return mImpl->server.run([&] {
        const auto& connections = mImpl->server.connections();
        return static_cast<std::size_t>(
            std::count_if(connections.begin(), connections.end(), [](const auto& connection) {
                return connection->isOpen() && connection->session.active;
            }));
    });
}

std::optional<std::uint8_t> Modem::addProfile(unsigned int subscription,
                                              const StoredProfile& profile) {
    const auto outcome = mImpl->server.run([&] {
        return mImpl->service.change(subscription, {Change::Kind::Create, profile});
    });
    if (outcome.error != WDS_ERR_NONE) {
        return std::nullopt;
    }
    return outcome.id.profile_index;
}

bool Modem::modifyProfile(unsigned int subscription, const wds_profile_identifier_v01& id,
                          const wds_profile_settings_v01& settings) {
    const Change change{Change::Kind::Modify, {id, false, settings}};
    return mImpl->server.run([&] { return mImpl->service.change(subscription, change); }).error ==
           WDS_ERR_NONE;
}

bool Modem::deleteProfile(unsigned int subscription, const wds_profile_identifier_v01& id) {
    const Change change{Change::Kind::Delete, {id, false, {}}};
    return mImpl->server.run([&] { return mImpl->service.change(subscription, change); }).error ==
           WDS_ERR_NONE;
}

void Modem::report(unsigned int subscription, const wds_profile_identifier_v01& id,
                   wds_profile_event_enum_v01 event) {
    mImpl->server.run([&] { mImpl->service.announce(subscription, id, event); });
}

void Modem::sendIndication(unsigned int subscription, std::uint16_t messageId,
                           std::vector<std::uint8_t> bytes) {
    mImpl->server.run([&] { mImpl->service.indicate(subscription, messageId, bytes); });
}

void Modem::setTamper(std::function<bool(mox::Frame&)> tamper) {
    mImpl->server.run([&] { mImpl->server.setTamper(std::move(tamper)); });
}

void Modem::setGate(std::function<bool(const mox::Frame&)> gate) {
    mImpl->server.run([&] { mImpl->service.setGate(std::move(gate)); });
}

void Modem::powerOff() {
    mImpl->server.run([&] { mImpl->power.off(); });
}

void Modem::powerOn() {
    mImpl->server.run([&] { mImpl->power.on(); });
}

void Modem::restart() {
    mImpl->server.run([&] { mImpl->power.restart(std::chrono::milliseconds(0)); });
}

bool Modem::factoryReset() {
    return mImpl->server.run([&] { return mImpl->power.factoryReset(); });
}

std::string Modem::control(const std::string& line) {
    return mImpl->server.run([&] { return mImpl->orders.execute(line); });
}

}  // namespace velo::modem
