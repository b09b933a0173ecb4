// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "modem/FaultChances.h"
#include "modem/StoredProfile.h"

namespace velo::mox {
struct Frame;
}

namespace velo::modem {

/// How a modem is made. The defaults are a modem of two subscriptions with the built-in profiles.
struct ModemOptions {
    /// Path of the local socket; empty for one in a private temporary folder that goes with the
    /// modem.
    std::string socketPath;
    /// How many subscriptions there are, at least one; the bind request chooses among 0 to
    /// subscriptions - 1.
    unsigned int subscriptions = 2;
    /// Profiles of each technology that a subscription can hold, at most kWdsMaxProfiles.
    std::size_t capacity = kWdsMaxProfiles;
    /// What each subscription holds at its first boot; nullopt for the built-in profiles.
    std::optional<std::vector<StoredProfile>> factoryProfiles;
    /// Where the persistent profiles outlive the modem: a change of them is in this file, on the
    /// disk, before it is answered. Made from the factory profiles when it does not exist; empty
    /// for none. FILE.lock beside it keeps a second modem away.
    std::string stateFile;
    /// Where every frame is recorded as pcapng, passwords included; empty for nowhere. What the
    /// file held before is gone.
    std::string captureFile;
    /// Milliseconds that everything the modem sends is under way, in order.
    unsigned int latencyMs = 0;
    /// Of the dice that the faults are cast with: the same seed and the same requests have the same
    /// faults.
    std::uint64_t seed = 0;
    FaultChances faults;
    /// What the control order `stop` does, on the modem's thread; empty when the modem's process is
    /// none of its business, and the order is refused.
    std::function<void()> onStop;
};

/// The simulated modem, running inside the process on a thread of its own: profile stores behind a
/// local socket, indications to every registered client. Every operation may be called from any
/// thread; those that change the store act as another client of the modem would, and are reported
/// to every registered client of that subscription.
class Modem {
public:
    /// @throws std::system_error when the socket or the capture file cannot be made, or a live
    /// modem has the socket already
    /// @throws ModemError when the state file cannot be used: damaged, of another kind of modem, in
    /// use by a live one, or not writable at the first boot; when the capture file is in use
    explicit Modem(ModemOptions options = {});
    ~Modem();
    Modem(const Modem&) = delete;
    Modem& operator=(const Modem&) = delete;

    const std::string& socketPath() const;

    /// What the store of a subscription holds: 3GPP first, by ascending index.
    std::vector<StoredProfile> profiles(unsigned int subscription) const;

    /// Requests received so far, from all clients.
    std::uint64_t exchanges() const;

    /// Clients that are connected now and have made a request; one that only watches does not
    /// count.
    std::size_t clients() const;

    /// Stores a profile under the lowest free index of its technology and returns that index; empty
    /// when the store is full or a value is over its limit.
    std::optional<std::uint8_t> addProfile(unsigned int subscription, const StoredProfile& profile);

    /// Merges the settings that are valid into a profile. False for an unknown profile.
    bool modifyProfile(unsigned int subscription, const wds_profile_identifier_v01& id,
                       const wds_profile_settings_v01& settings);

    bool deleteProfile(unsigned int subscription, const wds_profile_identifier_v01& id);

    /// Tells the registered clients of a subscription that something happened, whether it did or
    /// not.
    void report(unsigned int subscription, const wds_profile_identifier_v01& id,
                wds_profile_event_enum_v01 event);

    /// Sends bytes as an indication to the registered clients of a subscription, whatever they are.
    void sendIndication(unsigned int subscription, std::uint16_t messageId,
                        std::vector<std::uint8_t> bytes);

    /// Shows every frame that is about to leave the modem to `tamper`, which may change it or, by
    /// returning false, have it dropped. Runs on the modem's thread; an empty function ends it.
    void setTamper(std::function<bool(mox::Frame&)> tamper);

    /// Shows every request to `gate` before it is carried out; false has it answered with a failed
    /// result.
    void setGate(std::function<bool(const mox::Frame&)> gate);

    /// Switches the modem off: every connection is lost and nobody can connect. Profiles that are
    /// not persistent are forgotten.
    void powerOff();

    /// Switches it on again. Nothing when it is on.
    void powerOn();

    /// Off and on.
    void restart();

    /// Off, every store back to the factory profiles, and on: a modem fresh from its box. False
    /// when the state file cannot be written: then it was a mere restart.
    bool factoryReset();

    /// Carries out one order of the control channel and returns its answer, as ControlOrders says.
    std::string control(const std::string& line);

private:
    class Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace velo::modem
