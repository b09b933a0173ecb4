// SPDX-License-Identifier: Apache-2.0

#include "model/Trace.h"

#include <algorithm>

namespace velo::model {

namespace {

/// What a line of the log shows of a text.
constexpr std::size_t kShown = 511;

std::string levelled(LogLevel level, std::string_view text) {
    return "[" + std::to_string(static_cast<int>(level)) + "] " + std::string(text);
}

}  // namespace

std::size_t Trace::expectOneOf(LogLevel level, const std::vector<std::string>& texts) {
    const auto found = std::find_if(texts.begin(), texts.end(), [&](std::string_view text) {
        return !mLines.empty() && mLines.front() == Line(level, text.substr(0, kShown));
    });
    if (found == texts.end()) {
        std::string allowed;
        for (const std::string& text : texts) allowed += "\n    " + levelled(level, text);
        throw Violation("the log says something else\n  expected: " +
                        std::string(texts.size() > 1 ? "one of" : "") + allowed +
                        "\n  observed:\n    " +
                        (mLines.empty() ? "nothing more"
                                        : levelled(mLines.front().first, mLines.front().second)));
    }
    mLines.pop_front();
    return static_cast<std::size_t>(found - texts.begin());
}

std::string Trace::expectPrefix(LogLevel level, std::string_view prefix) {
    if (mLines.empty() || !mLines.front().second.starts_with(prefix)) {
        expectOneOf(level, {std::string(prefix) + "..."});
    }
    const std::string text = mLines.front().second;
    expectOneOf(level, {text});
    return text.substr(prefix.size());
}

const std::string* Trace::next(std::string_view prefix) const {
    const auto found = std::find_if(mLines.begin(), mLines.end(), [&](const Line& line) {
        return line.second.starts_with(prefix);
    });
    return found == mLines.end() ? nullptr : &found->second;
}

void Trace::expectEnd() const {
    if (!mLines.empty()) {
        throw Violation("the log has a line too many\n  observed: " +
                        levelled(mLines.front().first, mLines.front().second));
    }
}

}  // namespace velo::model
