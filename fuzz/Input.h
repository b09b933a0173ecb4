// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <type_traits>

namespace velo::fuzz {

using Bytes = std::span<const std::uint8_t>;

/// What a target does with one input of the fuzzer: each target has its own.
void run(Bytes bytes);

inline std::string textOf(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

/// Ends the process, which is how the fuzzer learns of it, when what must hold does not.
inline void ensure(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

/// Takes a fuzzer's bytes apart from the front. Beyond the end there are zeroes and empty texts. A
/// local of one thread.
class Input {
public:
    explicit Input(Bytes bytes) : mRest(bytes) {}

    bool empty() const { return mRest.empty(); }

    /// What is left.
    Bytes rest() { return take(mRest.size()); }

    /// A number, a truth value or an enumerator, little-endian; whatever the bytes say.
    template <typename T>
    T value() {
        if constexpr (std::is_same_v<T, bool>) {
            return (value<std::uint8_t>() & 1) != 0;
        } else if constexpr (std::is_same_v<T, std::string>) {
            return textOf(take(value<std::uint8_t>()));
        } else {
            const Bytes bytes = take(sizeof(T));
            T value{};
            std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(&value));
            return value;
        }
    }

    /// A length of two bytes, and as much.
    Bytes chunk() { return take(value<std::uint16_t>()); }

private:
    Bytes take(std::size_t count) {
        const Bytes taken = mRest.first(std::min(count, mRest.size()));
        mRest = mRest.subspan(taken.size());
        return taken;
    }

    Bytes mRest;
};

}  // namespace velo::fuzz
