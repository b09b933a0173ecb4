// SPDX-License-Identifier: Apache-2.0

#include "soak/Chatter.h"

#include <chrono>

#include "mox/wds_v01.h"

namespace velo::soak {

namespace {

constexpr unsigned int kIndices = 6;
constexpr unsigned int kMostPauseUs = 3000;

}  // namespace

Chatter::Chatter(std::uint64_t seed) : mDice(seed) {
    start();
}

Chatter::~Chatter() {
    stop();
}

void Chatter::start() {
    mStop = false;
    mThread = std::thread([this] { talk(); });
}

void Chatter::stop() {
    mStop = true;
    if (mThread.joinable()) mThread.join();
}

void Chatter::talk() {
    while (!mStop) {
        saySomething();
        ++mSaid;
        // Faster, and the library would have no time for its callers.
        std::this_thread::sleep_for(std::chrono::microseconds(mDice.below(kMostPauseUs)));
    }
}

void Chatter::saySomething() {
    const auto subscription = static_cast<unsigned int>(mDice.below(2));
    const wds_profile_identifier_v01 id{
        mDice.cast(0.8) ? WDS_PROFILE_TYPE_3GPP : WDS_PROFILE_TYPE_3GPP2,
        static_cast<std::uint8_t>(mDice.below(kIndices))};
    const double what = static_cast<double>(mDice.below(100));
    if (what < 40) {
        // Create, delete and modify.
        const auto event = static_cast<wds_profile_event_enum_v01>(1 + mDice.below(3));
        mModem.report(subscription, id, event);
    } else if (what < 75) {
        change(subscription);
    } else if (what < 80) {
        // The subscription changed, the store is ready, and what nobody knows.
        const auto event = static_cast<wds_profile_event_enum_v01>(4 + mDice.below(6));
        mModem.report(subscription, id, event);
    } else if (what < 96) {
        const auto message = mDice.cast(0.5) ? kWdsProfileChangedInd : 0x77U;
        mModem.sendIndication(subscription, static_cast<std::uint16_t>(message),
                              {0x10, static_cast<std::uint8_t>(mDice.below(9)), 0x00, 0xFF, 0xFF});
    } else {
        mModem.restart();
        ++mRestarts;
    }
}

void Chatter::change(unsigned int subscription) {
    modem::StoredProfile profile{{WDS_PROFILE_TYPE_3GPP, 0}, false, {}};
    if (const auto index = mModem.addProfile(subscription, profile)) {
        mModem.deleteProfile(subscription, {WDS_PROFILE_TYPE_3GPP, *index});
    }
}

}  // namespace velo::soak
