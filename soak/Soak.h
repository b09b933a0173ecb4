// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "modem/Dice.h"
#include "modem/StoredProfile.h"
#include "soak/Application.h"
#include "soak/CallWatch.h"
#include "soak/Controller.h"
#include "soak/Journal.h"
#include "soak/ModemProcess.h"
#include "soak/OtherClient.h"
#include "soak/Usage.h"

namespace velo::soak {

struct SoakOptions {
    unsigned int kills = 1000;
    unsigned int seconds = 0;  ///< after which no further round begins; zero for no limit
    std::uint64_t seed = 0;
};

/// Kills the modem under the library, round after round, and settles after each: then the library
/// must agree with the modem, and the modem with what it acknowledged. Used by one thread, which
/// is the one that calls the library.
class Soak {
public:
    /// @param folder of the modem's sockets and state
    Soak(const SoakOptions& options, const std::string& folder);

    /// Whether nothing was violated.
    bool run();

    /// The figures, and then what was violated.
    std::string report() const;

private:
    void round(unsigned int kills);
    void kill();
    void settle();
    void settleCache(const char* when);
    bool isLibraryRegistered() const;
    std::vector<modem::StoredProfile> waitForStore();
    void tidy(const std::vector<modem::StoredProfile>& store);
    bool waitUntil(const std::function<bool()>& condition) const;
    void violated(const std::string& what);
    bool isOver() const;

    const SoakOptions mOptions;
    modem::Dice mDice;
    ModemProcess mModem;
    Controller mController;
    Journal mJournal;
    const std::shared_ptr<CallWatch> mWatch;
    Application mApplication;
    OtherClient mOther;
    std::chrono::steady_clock::time_point mBegun = std::chrono::steady_clock::now();
    unsigned int mKills = 0;
    unsigned int mSettlings = 0;
    Usage mFirst;
    Usage mLast;
    std::vector<std::string> mViolations;
};

}  // namespace velo::soak
