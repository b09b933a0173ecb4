// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "modem/Dice.h"
#include "modem/Fault.h"
#include "modem/FaultChances.h"
#include "modem/FrameDamage.h"
#include "modem/FrameHandler.h"
#include "modem/StoredProfile.h"

namespace velo::modem {

class PowerSwitch;
class Server;
class WdsService;

/// Where in the life of a request the modem restarts.
enum class CrashPoint : std::size_t { Request, Answer, Echo, Idle };

/// Stands between the clients and the service: every request comes in and every frame goes out
/// through it, and it makes them go wrong, on order or by chance. Each fault has dice of its own,
/// so the same seed and the same requests have the same faults, whatever the chances of the others.
/// Belongs to the modem and is touched on its thread only.
class Faults : public FrameHandler {
public:
    /// Goes wrong with the next answers to a message.
    struct Plan {
        Fault fault = Fault::Reject;
        std::optional<std::uint16_t> message;  ///< every message when empty
        std::uint64_t count = 1;
        std::chrono::milliseconds delay{0};      ///< of Fault::Delay
        Damage damage = Damage::Truncated;       ///< of Fault::DamageAnswer
        CrashPoint point = CrashPoint::Request;  ///< of Fault::Restart
    };

    Faults(Server& server, WdsService& service, PowerSwitch& power,
           std::chrono::milliseconds latency, std::uint64_t seed, FaultChances chances);

    void onRequest(Connection& connection, const mox::Frame& request) override;
    void onDamagedRequest(Connection& connection, const mox::Frame& head) override;

    /// A plan comes into force when those before it for the same fault and message are done.
    void add(const Plan& plan);
    const std::deque<Plan>& plans() const { return mPlans; }

    /// New dice.
    void seed(std::uint64_t seed);
    std::uint64_t seed() const { return mSeed; }

    void setChances(const FaultChances& chances) { mChances = chances; }
    const FaultChances& chances() const { return mChances; }

    std::chrono::milliseconds latency() const { return mLatency; }

    /// How often each fault was injected.
    const std::array<std::uint64_t, kFaultCount>& injected() const { return mInjected; }

    /// Counts one that somebody injected otherwise.
    void count(Fault fault) { ++mInjected[static_cast<std::size_t>(fault)]; }

    /// An indication and an event that nobody knows, to the registered clients of a subscription.
    void sendUnknown(unsigned int subscription);

private:
    /// What happens to the answer of the request in hand.
    struct Fate {
        bool drop = false;
        bool close = false;
        std::chrono::milliseconds delay{0};
        std::optional<Damage> damage;
        std::optional<CrashPoint> crash;
    };

    bool happens(Fault fault);
    std::optional<Plan> planned(Fault fault, std::uint16_t message);
    Dice& dice(Fault fault) { return mDice[static_cast<std::size_t>(fault)]; }
    bool decide(Fault fault, std::uint16_t message);
    Fate fateOf(std::uint16_t message);
    void afterRequest(unsigned int subscription);
    void changeAsAnother(unsigned int subscription);
    std::vector<StoredProfile> profilesOfAnother(unsigned int subscription) const;
    void reportNothing(unsigned int subscription);

    void leave(Connection& connection, mox::Frame frame);
    void leaveAnswer(Connection& connection, mox::Frame answer);
    void leaveIndication(Connection& connection, mox::Frame indication);
    void send(Connection& connection, mox::Frame frame, std::chrono::milliseconds delay);
    void release(std::uint64_t client);
    void later(std::chrono::milliseconds delay, std::function<void()> work);

    Server& mServer;
    WdsService& mService;
    PowerSwitch& mPower;
    const std::chrono::milliseconds mLatency;
    std::uint64_t mSeed = 0;
    FaultChances mChances;
    std::vector<Dice> mDice;  ///< by fault
    std::deque<Plan> mPlans;
    Fate mFate;
    std::map<std::uint64_t, mox::Frame>
        mHeld;  ///< by client: the indication that waits for the next
    std::array<std::uint64_t, kFaultCount> mInjected{};
};

}  // namespace velo::modem
