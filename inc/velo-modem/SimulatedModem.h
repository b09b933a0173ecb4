// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "velo/AddProfileParams.h"
#include "velo/Export.h"
#include "velo/ProfileParams.h"
#include "velo/ProfileTypes.h"

namespace velo {

/// One profile in the store of a simulated modem. A value type.
struct SimulatedProfile {
    TechType techType = TechType::TECH_3GPP;  ///< with profileId, which profile it is
    int profileId = 0;                        ///< the modem's index, 0 to 255
    bool isPersistent = false;                ///< whether it survives a restart
    ProfileParams settings;  ///< all of them; Manager::getProfile lacks a 3GPP2 password
};

/// A modem for the tests of code that uses the library. While it lives, it runs on a thread inside
/// the process and is the modem that this process's library finds: make it, call Manager::init,
/// waitForLibrary(), and test. It keeps profiles in two subscriptions, 0 and 1; each begins with a
/// persistent attach profile, an IMS profile, an emergency profile and one 3GPP2 profile.
///
/// Changes made here come from another client of the modem, behind the back of the library. Any
/// thread may call, but waitForLibrary() asks Manager and counts as a call to the library. Before
/// the modem goes, no call to the library may be in progress; keys that are left are dropped
/// without effect. With several modems alive, Manager::init takes the one made last.
class VELO_EXPORT SimulatedModem {
public:
    /// What the library asks of a modem, and the operations of Manager that make it do so.
    enum class Operation : std::int32_t {
        Any = 0,
        CreateProfile = 1,  ///< addProfile, policies
        ModifyProfile = 2,  ///< modifyProfile, policies
        DeleteProfile = 3,  ///< deleteProfile, the release of a key
        ListProfiles = 4,   ///< filling the cache
        ReadProfile = 5  ///< filling the cache, after a creation, after a change by another client
    };

    /// What a modem reports of itself.
    enum class Event : std::int32_t {
        Create = 1,
        Delete = 2,
        Modify = 3,
        SubscriptionChange = 4,  ///< the library fills its cache anew
        StoreReady = 5           ///< the library fills its cache anew
    };

    /// @throws std::system_error when it cannot have a socket or a thread
    SimulatedModem();

    /// Records every message in `captureFile`, a pcapng file for packet tools; passwords included.
    /// @throws std::system_error also when the file cannot be written
    explicit SimulatedModem(const std::string& captureFile);
    SimulatedModem(const SimulatedModem&) = delete;
    SimulatedModem& operator=(const SimulatedModem&) = delete;
    ~SimulatedModem();

    /// Waits until the library has handled everything that the modem has told it so far: after
    /// init and after a restart its cache is filled, after a change by another client it holds the
    /// change and listeners were called. False when that took longer than `bound`, as it does when
    /// the modem is off or the library is not connected to that subscription.
    bool waitForLibrary(unsigned int subscription = 0,
                        std::chrono::milliseconds bound = std::chrono::seconds(10));

    /// The store: 3GPP first, by ascending profile id; empty for an unknown subscription.
    std::vector<SimulatedProfile> profiles(unsigned int subscription = 0) const;

    /// Adds a profile as another client; its id, or nothing when the store is full. A profile made
    /// so is the modem's own, not the library's, whatever the flags in `params` say.
    std::optional<int> addProfile(const AddProfileParams& params, unsigned int subscription = 0);

    /// Changes the settings that are present as another client; the others stay. False when there
    /// is no such profile.
    bool changeProfile(TechType techType, int profileId, const ProfileParams& settings,
                       unsigned int subscription = 0);

    /// Deletes a profile as another client. False when there is no such profile.
    bool deleteProfile(TechType techType, int profileId, unsigned int subscription = 0);

    /// Answers the next `count` requests for `operation` with a refusal; nothing is changed.
    /// @throws std::invalid_argument for a count that is not 1 to 1000000, as the next two do
    void reject(Operation operation, unsigned int count = 1);

    /// Carries out the next `count` requests for `operation` and loses the answers: the library
    /// waits for each as long as it waits, then takes the operation for failed.
    void drop(Operation operation, unsigned int count = 1);

    /// Answers the next `count` requests for `operation` late, by 1 ms to 10 minutes.
    void delay(Operation operation, std::chrono::milliseconds time, unsigned int count = 1);

    /// How long the library waits for an answer, from now on and at most the full second that it
    /// takes by itself, so that a test of lost answers is quick. Zero is the second again.
    void setAnswerTimeout(std::chrono::milliseconds time);

    /// Loses every connection and can not be reached; profiles that are not persistent are
    /// forgotten.
    void powerOff();

    /// Can be reached again. Nothing when it was not off.
    void powerOn();

    /// Off, and on at once.
    void restart();

    /// Reports an event, whether it happened or not; the last two are about no profile.
    void report(Event event, TechType techType = TechType::TECH_3GPP, int profileId = 0,
                unsigned int subscription = 0);

    /// How many requests it has received, from all clients.
    std::uint64_t requests() const;

    /// The path of its socket, for other processes: MOX_MODEM in their environment, or
    /// `velo --modem PATH`.
    const std::string& socketPath() const;

    /// Gives an order in JSON and returns the answer, a JSON object that holds "error" when the
    /// order was refused. The orders are those of `velo-modem ctl`; velo-modem(1) lists them.
    std::string control(const std::string& order);

private:
    class Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace velo
