// SPDX-License-Identifier: Apache-2.0

#include "Growth.h"

#include "Bed.h"
#include "Footprint.h"
#include "Operations.h"
#include "Placement.h"

namespace velo::bench {

namespace {

/// Measured for one figure of memory, which hardly varies.
constexpr int kProcesses = 3;

}  // namespace

const std::vector<GrowthStep>& Growth::steps() {
    if (!mSteps.empty()) return mSteps;
    for (const std::size_t count : {1U, 16U, 64U, 128U, 255U, 384U, 510U}) {
        const Bed& bed = Bed::of(count);
        place(Placement::SameCore, {});
        GrowthStep step{};
        step.profiles = count;
        step.filterNoneUs = nanoseconds(filterNone, mEffort) / 1000;
        step.filterAllUs = nanoseconds(filterAll, mEffort) / 1000;
        step.refreshUs = nanoseconds(refresh, mEffort) / 1000;
        step.residentKiB = residentBytes({bed.socketPath(), count, 0}, kProcesses) / 1024;
        mSteps.push_back(step);
    }
    return mSteps;
}

Line Growth::line(double GrowthStep::*column) {
    std::vector<Point> points;
    for (const GrowthStep& step : steps()) {
        points.push_back({static_cast<double>(step.profiles), step.*column});
    }
    return fit(points);
}

}  // namespace velo::bench
