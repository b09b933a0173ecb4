// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <deque>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LogLevel.h"

namespace velo::model {

/// The library did what the rules do not allow.
class Violation : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the library logged in one step, in its order, for the model to follow line by line. Where
/// the rules leave an order open, the model looks at what comes next.
class Trace {
public:
    using Line = std::pair<LogLevel, std::string>;

    Trace() = default;
    explicit Trace(const std::vector<Line>& lines) : mLines(lines.begin(), lines.end()) {}

    /// Takes the next line, which must be one of these: which.
    std::size_t expectOneOf(LogLevel level, const std::vector<std::string>& texts);

    /// Takes the next line, which must begin like this, and returns the rest of it.
    std::string expectPrefix(LogLevel level, std::string_view prefix);

    void expectEnd() const;

    /// The next line, or the next that begins with the prefix; null when there is none.
    const std::string* next(std::string_view prefix = "") const;

private:
    std::deque<Line> mLines;
};

}  // namespace velo::model
