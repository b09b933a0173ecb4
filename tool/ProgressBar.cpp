// SPDX-License-Identifier: Apache-2.0

#include "tool/ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "tool/Output.h"
#include "tool/Table.h"

namespace velo::tool {

namespace {

constexpr std::size_t kWidest = 80;
constexpr std::chrono::milliseconds kPeriod{50};

}  // namespace

ProgressBar::ProgressBar(Output& output, std::size_t total)
    : mTotal(std::max<std::size_t>(total, 1)),
      mVisible(output.isTerminal() && ::isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    if (mVisible) {
        std::fputs("\r\x1b[K", stderr);
    }
}

void ProgressBar::show(std::size_t done, const std::string& what) {
    const auto now = std::chrono::steady_clock::now();
    if (!mVisible || now - mLast < kPeriod) {
        return;
    }
    mLast = now;
    // A third for the bar, the rest for the numbers and the text; the last column stays free, as
    // some terminals begin a new line when it is written to.
    const std::size_t width = std::min(terminalWidth(STDERR_FILENO), kWidest);
    const std::size_t barWidth = width / 3;
    const std::size_t filled = barWidth * std::min(done, mTotal) / mTotal;
    const std::string line = "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') +
                             "] " + std::to_string(done) + "/" + std::to_string(mTotal) + " " +
                             what;
    std::fprintf(stderr, "\r\x1b[K%s", fitted(line, width - 1).c_str());
}

}  // namespace velo::tool
