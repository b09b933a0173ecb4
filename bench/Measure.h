// SPDX-License-Identifier: Apache-2.0
//
// Times work, alone or against what it is compared with. Stateless; for one thread at a time.

#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace velo::bench {

/// How long to look: the repetitions of a measurement, and the milliseconds of each of its sides.
struct Effort {
    int repetitions;
    double batchMs;
};

/// Two pieces of work measured in turns, so that what the machine does meanwhile meets both.
struct Comparison {
    double workNs = 0;      ///< one call, the median of the repetitions
    double baseNs = 0;      ///< likewise
    double ratio = 0;       ///< the median of the repetitions' ratios, not the ratio of the medians
    double difference = 0;  ///< the median of the repetitions' differences, in nanoseconds
};

using Work = std::function<void()>;

/// Keeps the compiler from leaving out what makes `value`.
template <typename T>
void keep(const T& value) {
    asm volatile("" : : "r"(&value) : "memory");
}

double medianOf(std::vector<double> values);

/// Nanoseconds of one call, the median of the repetitions.
double nanoseconds(const Work& work, const Effort& effort);

Comparison compare(const Work& work, const Work& base, const Effort& effort);

/// The line through points of (count, value) that misses them least.
struct Line {
    double slope = 0;
    double rSquared = 0;  ///< 1 when every point is on it
};

struct Point {
    double count;
    double value;
};

Line fit(const std::vector<Point>& points);

}  // namespace velo::bench
