// SPDX-License-Identifier: Apache-2.0

#include "tool/ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "tool/Output.h"
#include "tool/Table.h"

namespace velo::tool {

namespace {

constexpr std::size_t kBarWidth = 30;
constexpr std::size_t kTextWidth = 30;
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
    const std::size_t filled = kBarWidth * std::min(done, mTotal) / mTotal;
    std::fprintf(stderr, "\r\x1b[K[%s%s] %zu/%zu %s", std::string(filled, '#').c_str(),
                 std::string(kBarWidth - filled, '.').c_str(), done, mTotal,
                 fitted(what, kTextWidth).c_str());
}

}  // namespace velo::tool
