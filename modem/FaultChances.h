// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <string>

#include "modem/Fault.h"

namespace velo::modem {

/// How probable each fault is, from 0 (never, as at first) to 1. A value type.
class FaultChances {
public:
    FaultChances() = default;

    double operator[](Fault fault) const { return mChances[static_cast<std::size_t>(fault)]; }
    void set(Fault fault, double chance) { mChances[static_cast<std::size_t>(fault)] = chance; }

    /// The longest delay of a delayed answer, in milliseconds, at least 1.
    unsigned int longestDelayMs() const { return mLongestDelayMs; }

    /// These chances with changes: "NAME=CHANCE,...", where `all` stands for every fault and
    /// `delay-ms` for the longest delay. The later of two that name the same counts.
    ///
    /// @throws ModemError for a text that does not say so
    FaultChances with(const std::string& changes) const;

private:
    void apply(const std::string& name, const std::string& value);

    std::array<double, kFaultCount> mChances{};
    unsigned int mLongestDelayMs = 1500;
};

}  // namespace velo::modem
