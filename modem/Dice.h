// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <concepts>
#include <cstdint>
#include <random>

namespace velo::modem {

/// Numbers that look random and are the same for the same seed with every standard library, whose
/// distributions are not. A value type.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : mEngine(seed) {}

    /// True once in 1 / chance times.
    bool cast(double chance) {
        constexpr double kUnit = 1.0 / static_cast<double>(std::uint64_t{1} << 53);
        return static_cast<double>(mEngine() >> 11) * kUnit < chance;
    }

    /// From 0 to limit - 1.
    template <std::integral Number>
    Number below(Number limit) {
        return static_cast<Number>(mEngine() % static_cast<std::uint64_t>(limit));
    }

private:
    std::mt19937_64 mEngine;
};

}  // namespace velo::modem
