// SPDX-License-Identifier: Apache-2.0

#include "modem/Faults.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "modem/PowerSwitch.h"
#include "modem/Server.h"
#include "modem/WdsService.h"

namespace velo::modem {

namespace {

using std::chrono::milliseconds;

/// An indication that is to come after the next one comes alone when there is none.
constexpr milliseconds kHoldAtMost{50};
constexpr std::size_t kProfilesOfAnother = 16;
constexpr std::string_view kApnOfAnother = "foreign.";
constexpr std::uint64_t kCrashPoints = 4;
constexpr std::uint64_t kUsualIndices = 8;
constexpr std::uint16_t kUnknownMessage = 0x7F00;
constexpr auto kUnknownEvent = static_cast<wds_profile_event_enum_v01>(99);

}  // namespace

Faults::Faults(Server& server, WdsService& service, PowerSwitch& power, milliseconds latency,
               std::uint64_t seed, FaultChances chances)
    : mServer(server), mService(service), mPower(power), mLatency(latency), mChances(chances) {
    this->seed(seed);
    mServer.setOutlet(
        [this](Connection& connection, mox::Frame frame) { leave(connection, std::move(frame)); });
}

void Faults::seed(std::uint64_t seed) {
    mSeed = seed;
    mDice.clear();
    // Far apart, so that neighbouring seeds do not share dice.
    constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15;
    for (std::uint64_t fault = 0; fault < kFaultCount; ++fault) {
        mDice.emplace_back(seed + (fault + 1) * kStep);
    }
}

void Faults::add(const Plan& plan) {
    mPlans.push_back(plan);
}

void Faults::onRequest(Connection& connection, const mox::Frame& request) {
    mFate = fateOf(request.messageId);
    const bool rejected = decide(Fault::Reject, request.messageId);
    const auto crash = mFate.crash;
    if (crash == CrashPoint::Request) {
        return mPower.crash();
    }
    if (rejected) {
        mService.reject(connection, request);
    } else {
        mService.onRequest(connection, request);
    }
    if (crash == CrashPoint::Idle) {
        mServer.after(mLatency, [this] { mPower.crash(); });
    }
    afterRequest(connection.session.subscription);
}

void Faults::onDamagedRequest(Connection& connection, const mox::Frame& head) {
    mFate = {};
    mService.onDamagedRequest(connection, head);
}

bool Faults::happens(Fault fault) {
    // Cast also when nothing can come of it: the dice must have been cast as often in every run.
    return dice(fault).cast(mChances[fault]);
}

std::optional<Faults::Plan> Faults::planned(Fault fault, std::uint16_t message) {
    const auto plan = std::find_if(mPlans.begin(), mPlans.end(), [&](const Plan& candidate) {
        return candidate.fault == fault && candidate.message.value_or(message) == message;
    });
    if (plan == mPlans.end()) {
        return std::nullopt;
    }
    const Plan found = *plan;
    if (--plan->count == 0) {
        mPlans.erase(plan);
    }
    return found;
}

bool Faults::decide(Fault fault, std::uint16_t message) {
    const bool byChance = happens(fault);
    const bool result = planned(fault, message).has_value() || byChance;
    if (result) {
        count(fault);
    }
    return result;
}

Faults::Fate Faults::fateOf(std::uint16_t message) {
    Fate fate;
    fate.drop = decide(Fault::Drop, message);
    fate.close = decide(Fault::Close, message);

    const bool delayed = happens(Fault::Delay);
    const milliseconds drawnDelay(1 + dice(Fault::Delay).below(mChances.longestDelayMs()));
    if (const auto plan = planned(Fault::Delay, message); plan || delayed) {
        fate.delay = plan ? plan->delay : drawnDelay;
        count(Fault::Delay);
    }

    const bool damaged = happens(Fault::DamageAnswer);
    const auto drawnDamage = static_cast<Damage>(dice(Fault::DamageAnswer).below(kDamageCount));
    if (canBeDamaged(message)) {
        if (const auto plan = planned(Fault::DamageAnswer, message); plan || damaged) {
            fate.damage = plan ? plan->damage : drawnDamage;
            count(Fault::DamageAnswer);
        }
    }

    const bool crashes = happens(Fault::Restart);
    const auto drawnPoint = static_cast<CrashPoint>(dice(Fault::Restart).below(kCrashPoints));
    if (const auto plan = planned(Fault::Restart, message); plan || crashes) {
        fate.crash = plan ? plan->point : drawnPoint;
        count(Fault::Restart);
    }
    return fate;
}

void Faults::afterRequest(unsigned int subscription) {
    if (happens(Fault::Foreign)) {
        changeAsAnother(subscription);
    }
    if (happens(Fault::Unknown)) {
        sendUnknown(subscription);
    }
    if (happens(Fault::Spurious)) {
        reportNothing(subscription);
    }
}

std::vector<StoredProfile> Faults::profilesOfAnother(unsigned int subscription) const {
    auto profiles = mService.profiles(subscription);
    std::erase_if(profiles, [](const StoredProfile& profile) {
        const auto& apn = profile.settings.apn_name;
        return apn.valid == 0 || !std::string_view(apn.value.data).starts_with(kApnOfAnother);
    });
    return profiles;
}

void Faults::changeAsAnother(unsigned int subscription) {
    count(Fault::Foreign);
    auto& dice = this->dice(Fault::Foreign);
    const auto profiles = profilesOfAnother(subscription);
    const auto name = std::string(kApnOfAnother) + std::to_string(dice.below(1000));
    Change change{Change::Kind::Create, {{WDS_PROFILE_TYPE_3GPP, 0}, dice.below(2) == 0, {}}};
    const auto action = dice.below(3);
    const auto chosen = dice.below(kProfilesOfAnother);
    auto& apn = change.profile.settings.apn_name;
    apn.valid = 1;
    std::copy(name.begin(), name.end(), apn.value.data);
    if (profiles.size() >= kProfilesOfAnother || (action != 0 && !profiles.empty())) {
        change.kind = action == 1 ? Change::Kind::Modify : Change::Kind::Delete;
        change.profile.id = profiles[chosen % profiles.size()].id;
    }
    mService.change(subscription, change);
}

void Faults::sendUnknown(unsigned int subscription) {
    count(Fault::Unknown);
    mService.indicate(subscription, kUnknownMessage, {0x10, 1, 0, 0});
    mService.announce(subscription, {}, kUnknownEvent);
}

void Faults::reportNothing(unsigned int subscription) {
    count(Fault::Spurious);
    auto& dice = this->dice(Fault::Spurious);
    const auto technology = static_cast<wds_profile_type_enum_v01>(dice.below(2));
    const auto index = static_cast<std::uint8_t>(dice.below(kUsualIndices));
    mService.announce(subscription, {technology, index}, WDS_PROFILE_EVENT_MODIFY);
}

void Faults::leave(Connection& connection, mox::Frame frame) {
    if (frame.kind == MOX_MESSAGE_RESPONSE) {
        leaveAnswer(connection, std::move(frame));
    } else {
        leaveIndication(connection, std::move(frame));
    }
}

void Faults::leaveAnswer(Connection& connection, mox::Frame answer) {
    const Fate fate = std::exchange(mFate, {});
    if (fate.crash == CrashPoint::Answer) {
        return mPower.crash();
    }
    if (fate.close) {
        return mServer.disconnect(connection);
    }
    if (!fate.drop) {
        if (fate.damage) {
            damageAnswer(answer, *fate.damage);
        }
        send(connection, std::move(answer), mLatency + fate.delay);
    }
    if (fate.crash == CrashPoint::Echo) {
        later(mLatency, [this] { mPower.crash(); });
    }
}

void Faults::leaveIndication(Connection& connection, mox::Frame indication) {
    const bool damaged = happens(Fault::DamageIndication);
    const bool twice = happens(Fault::Duplicate);
    const bool held = happens(Fault::Reorder);
    const auto client = connection.number();
    if (damaged) {
        count(Fault::DamageIndication);
        truncate(indication);
    }
    if (held && !mHeld.contains(client)) {
        count(Fault::Reorder);
        mHeld.emplace(client, std::move(indication));
        mServer.after(kHoldAtMost, [this, client] { release(client); });
        return;
    }
    if (twice) {
        count(Fault::Duplicate);
        send(connection, indication, mLatency);
    }
    send(connection, std::move(indication), mLatency);
    release(client);
}

void Faults::release(std::uint64_t client) {
    auto held = mHeld.extract(client);
    if (held.empty()) {
        return;
    }
    if (auto* connection = mServer.find(client)) {
        send(*connection, std::move(held.mapped()), mLatency);
    }
}

void Faults::send(Connection& connection, mox::Frame frame, milliseconds delay) {
    if (delay == milliseconds(0)) {
        return mServer.deliver(connection, std::move(frame));
    }
    // The connection may be gone by then.
    mServer.after(delay, [this, client = connection.number(), frame = std::move(frame)]() mutable {
        if (auto* open = mServer.find(client)) {
            mServer.deliver(*open, std::move(frame));
        }
    });
}

void Faults::later(milliseconds delay, std::function<void()> work) {
    if (delay == milliseconds(0)) {
        work();
    } else {
        mServer.after(delay, std::move(work));
    }
}

}  // namespace velo::modem
