// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "soak/Usage.h"

namespace velo::soak {

/// The figures of a run, one a line. A local of one thread.
class Table {
public:
    template <typename... Values>
    void row(const char* name, const Values&... values) {
        mText << std::left << std::setw(24) << name;
        (mText << ... << values) << '\n';
    }

    void usage(const Usage& first, const Usage& last) {
        row("descriptors", first.descriptors, " at first, ", last.descriptors, " at last");
        row("resident memory", first.residentKb, " KiB at first, ", last.residentKb,
            " KiB at last");
        row("heap in use", first.heapKb, " KiB at first, ", last.heapKb, " KiB at last");
    }

    void violations(const std::vector<std::string>& what) {
        row("violations", what.size());
        for (const std::string& each : what) mText << "  " << each << '\n';
    }

    std::string text() const { return mText.str(); }

private:
    std::ostringstream mText;
};

}  // namespace velo::soak
