// SPDX-License-Identifier: Apache-2.0

#include "Measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace velo::bench {

namespace {

/// Nanoseconds of one of `calls`.
double timeOf(const Work& work, std::size_t calls) {
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < calls; ++i) work();
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / static_cast<double>(calls);
}

/// How many calls fill a batch; the first ones warm up.
std::size_t callsFor(const Work& work, double batchMs) {
    const double batchNs = batchMs * 1e6;
    std::size_t calls = 1;
    for (;;) {
        const double each = timeOf(work, calls);
        const double wanted = batchNs / std::max(each, 0.1);
        if (wanted < 2 * static_cast<double>(calls)) {
            return std::max<std::size_t>(1, static_cast<std::size_t>(wanted));
        }
        calls = std::min<std::size_t>(10 * calls, static_cast<std::size_t>(wanted));
    }
}

}  // namespace

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double nanoseconds(const Work& work, const Effort& effort) {
    const std::size_t calls = callsFor(work, effort.batchMs);
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(effort.repetitions));
    for (int i = 0; i < effort.repetitions; ++i) times.push_back(timeOf(work, calls));
    return medianOf(std::move(times));
}

Comparison compare(const Work& work, const Work& base, const Effort& effort) {
    const std::size_t workCalls = callsFor(work, effort.batchMs);
    const std::size_t baseCalls = callsFor(base, effort.batchMs);
    std::vector<double> workTimes;
    std::vector<double> baseTimes;
    std::vector<double> ratios;
    std::vector<double> differences;
    for (int i = 0; i < effort.repetitions; ++i) {
        workTimes.push_back(timeOf(work, workCalls));
        baseTimes.push_back(timeOf(base, baseCalls));
        ratios.push_back(workTimes.back() / baseTimes.back());
        differences.push_back(workTimes.back() - baseTimes.back());
    }
    return {medianOf(std::move(workTimes)), medianOf(std::move(baseTimes)),
            medianOf(std::move(ratios)), medianOf(std::move(differences))};
}

Line fit(const std::vector<Point>& points) {
    const auto size = static_cast<double>(points.size());
    double meanCount = 0;
    double meanValue = 0;
    for (const Point& point : points) {
        meanCount += point.count / size;
        meanValue += point.value / size;
    }
    double countSquares = 0;
    double valueSquares = 0;
    double products = 0;
    for (const Point& point : points) {
        countSquares += (point.count - meanCount) * (point.count - meanCount);
        valueSquares += (point.value - meanValue) * (point.value - meanValue);
        products += (point.count - meanCount) * (point.value - meanValue);
    }
    if (countSquares == 0 || valueSquares == 0) return {};
    return {products / countSquares, products * products / (countSquares * valueSquares)};
}

}  // namespace velo::bench
