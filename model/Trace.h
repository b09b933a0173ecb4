// SPDX-License-Identifier: Apache-2.0

#pragma once

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

    /// What a line of the log shows of a text.
    static std::string cut(std::string_view text) { return std::string(text.substr(0, 511)); }

    /// Takes the next line, which must be this one.
    void expect(LogLevel level, std::string_view text);

    /// Takes the next line, which must begin like this, and returns the rest of it.
    std::string expectPrefix(LogLevel level, std::string_view prefix);

    /// Takes as many lines as there are texts, which must be those in any order.
    void expectAnyOrder(LogLevel level, std::vector<std::string> texts);

    /// What follows the prefix in the next line, or with `anywhere` in the first line that has it;
    /// null when there is none.
    const std::string* next() const { return mLines.empty() ? nullptr : &mLines.front().second; }
    const std::string* nextWith(std::string_view prefix) const;

    void expectEnd() const;

private:
    Line take(std::string_view wanted);

    std::deque<Line> mLines;
};

}  // namespace velo::model
