// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "soak/Usage.h"

namespace velo::soak {

/// Adds a profile and drops its key, over and over, with a modem in the same process: nothing may
/// grow. Used by one thread.
class Cycles {
public:
    /// @param seconds after which it ends; zero for no limit
    Cycles(std::uint64_t cycles, unsigned int seconds) : mWanted(cycles), mSeconds(seconds) {}

    /// Whether memory and descriptors are where they were.
    bool run();

    std::string report() const;

private:
    const std::uint64_t mWanted;
    const unsigned int mSeconds;
    std::uint64_t mDone = 0;
    double mTook = 0;
    Usage mFirst;
    Usage mLast;
    std::vector<std::string> mViolations;
};

}  // namespace velo::soak
