// SPDX-License-Identifier: Apache-2.0

#include "model/Shrinker.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace velo::model {

namespace {

using Fails = std::function<bool(const Steps&)>;

bool adopt(Steps& steps, Steps candidate, const Fails& fails) {
    if (!fails(candidate)) return false;
    steps = std::move(candidate);
    return true;
}

bool removeChunks(Steps& steps, std::size_t size, const Fails& fails) {
    bool removed = false;
    for (std::size_t begin = 0; begin < steps.size();) {
        Steps candidate = steps;
        const auto from = candidate.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto count = std::min(size, steps.size() - begin);
        candidate.erase(from, from + static_cast<std::ptrdiff_t>(count));
        if (adopt(steps, std::move(candidate), fails)) {
            removed = true;
        } else {
            begin += size;
        }
    }
    return removed;
}

/// What one step could be instead, the greatest simplification first.
std::vector<Step> simplifications(const Step& step) {
    std::vector<Step> simpler;
    for (std::size_t record = step.records.size(); record-- > 0;) {
        if (step.records.size() > 1) {
            simpler.push_back(step);
            simpler.back().records.erase(simpler.back().records.begin() +
                                         static_cast<std::ptrdiff_t>(record));
        }
        for (const auto& [name, value] : step.records[record]) {
            simpler.push_back(step);
            simpler.back().records[record].erase(name);
            for (const unsigned int less : {0U, value / 2, value - 1}) {
                if (less >= value) continue;
                simpler.push_back(step);
                simpler.back().records[record][name] = less;
            }
        }
    }
    return simpler;
}

bool simplify(Steps& steps, const Fails& fails) {
    bool simplified = false;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        bool again = true;
        while (again) {
            const auto simpler = simplifications(steps[i]);
            again = std::any_of(simpler.begin(), simpler.end(), [&](const Step& step) {
                Steps candidate = steps;
                candidate[i] = step;
                return adopt(steps, std::move(candidate), fails);
            });
            simplified |= again;
        }
    }
    return simplified;
}

}  // namespace

Steps shrink(Steps steps, const std::function<bool(const Steps&)>& fails) {
    for (std::size_t size = steps.size() / 2; size > 1; size /= 2) removeChunks(steps, size, fails);
    do {
        while (removeChunks(steps, 1, fails)) {
        }
    } while (simplify(steps, fails));
    return steps;
}

}  // namespace velo::model
