// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace velo {

/// What every dump is written with: a string that is appended to like a stream, at a tenth of a
/// stream's cost. Numbers look the same whatever locale the application has chosen; a bool is 0 or
/// 1. A local of one thread.
class TextStream {
public:
    TextStream() { mText.reserve(kUsualLength); }

    TextStream& operator<<(std::string_view text) {
        mText += text;
        return *this;
    }
    TextStream& operator<<(char character) {
        mText += character;
        return *this;
    }
    template <std::integral Number>
    TextStream& operator<<(Number number) {
        if constexpr (std::same_as<Number, bool>)
            return *this << (number ? '1' : '0');
        else
            return append(number);
    }
    /// What was written; nothing can be written afterwards.
    std::string str() { return std::move(mText); }

private:
    template <typename Number>
    TextStream& append(Number number) {
        std::array<char, 24> digits;
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        mText.append(digits.data(), end);
        return *this;
    }

    /// Most dumps fit, and then allocate once.
    static constexpr std::size_t kUsualLength = 120;

    std::string mText;
};

}  // namespace velo
