// SPDX-License-Identifier: Apache-2.0

#include "model/Trace.h"

#include <algorithm>

namespace velo::model {

namespace {

std::string levelled(const Trace::Line& line) {
    return "[" + std::to_string(static_cast<int>(line.first)) + "] " + line.second;
}

}  // namespace

Trace::Line Trace::take(std::string_view wanted) {
    if (mLines.empty()) {
        throw Violation("a line is missing from the log\n  expected: " + std::string(wanted));
    }
    Line line = std::move(mLines.front());
    mLines.pop_front();
    return line;
}

void Trace::expect(LogLevel level, std::string_view text) {
    const Line wanted{level, cut(text)};
    const Line line = take(wanted.second);
    if (line != wanted) {
        throw Violation("the log says something else\n  expected: " + levelled(wanted) +
                        "\n  observed: " + levelled(line));
    }
}

std::string Trace::expectPrefix(LogLevel level, std::string_view prefix) {
    const Line line = take(prefix);
    if (line.first != level || !line.second.starts_with(prefix)) {
        throw Violation(
            "the log says something else\n  expected: " + levelled({level, std::string(prefix)}) +
            "...\n  observed: " + levelled(line));
    }
    return line.second.substr(prefix.size());
}

void Trace::expectAnyOrder(LogLevel level, std::vector<std::string> texts) {
    while (!texts.empty()) {
        const Line line = take(texts.front());
        const auto found = std::find_if(texts.begin(), texts.end(), [&](const std::string& text) {
            return Line(level, cut(text)) == line;
        });
        if (found == texts.end()) {
            throw Violation("the log says something else\n  expected: " + texts.front() +
                            "\n  observed: " + levelled(line));
        }
        texts.erase(found);
    }
}

const std::string* Trace::nextWith(std::string_view prefix) const {
    const auto found = std::find_if(mLines.begin(), mLines.end(), [&](const Line& line) {
        return line.second.starts_with(prefix);
    });
    return found == mLines.end() ? nullptr : &found->second;
}

void Trace::expectEnd() const {
    if (!mLines.empty()) {
        throw Violation("the log has a line too many\n  observed: " + levelled(mLines.front()));
    }
}

}  // namespace velo::model
