// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <vector>

#include "Measure.h"

namespace velo::bench {

/// What the work costs with so many profiles in the modem, all threads on one core.
struct GrowthStep {
    std::size_t profiles;
    double filterNoneUs;
    double filterAllUs;
    double refreshUs;
    double residentKiB;
};

/// Measured once, on demand.
class Growth {
public:
    explicit Growth(const Effort& effort) : mEffort(effort) {}

    const std::vector<GrowthStep>& steps();

    /// The line of one column of the table.
    Line line(double GrowthStep::*column);

private:
    Effort mEffort;
    std::vector<GrowthStep> mSteps;
};

}  // namespace velo::bench
