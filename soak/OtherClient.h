// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

#include "modem/Dice.h"
#include "soak/Controller.h"
#include "soak/Journal.h"
#include "soak/ModemProcess.h"

namespace velo::soak {

/// Changes the modem's profiles behind the library's back, orders faults, and counts those that
/// were injected. Used by one thread at a time.
class OtherClient {
public:
    OtherClient(const ModemProcess& modem, Journal& journal, std::uint64_t seed);

    /// Until it is told to stop.
    void run(const std::atomic<bool>& stop);

    /// Takes note of what the modem of now has injected.
    void count();

    /// Faults that were injected: those between the last count and a kill are not among them.
    std::uint64_t injected() const { return mInjectedBefore + mInjected; }
    std::uint64_t changes() const { return mChanges; }

private:
    void doSomething();
    void add();
    void change();
    void remove();
    std::optional<modem::StoredProfile> anyOwn();
    void disturb();

    const ModemProcess& mModem;
    const Controller mController;
    Journal& mJournal;
    modem::Dice mDice;
    unsigned int mCounted = 0;  ///< which modem mInjected is about
    std::uint64_t mInjected = 0;
    std::uint64_t mInjectedBefore = 0;
    std::uint64_t mChanges = 0;
};

}  // namespace velo::soak
