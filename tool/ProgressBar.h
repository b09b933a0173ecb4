// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace velo::tool {

class Output;

/// A bar on the standard error while long work goes on; nothing when that is no terminal. It is
/// wiped away at the end.
class ProgressBar {
public:
    ProgressBar(Output& output, std::size_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(std::size_t done, const std::string& what);

private:
    std::size_t mTotal;
    bool mVisible;
    std::chrono::steady_clock::time_point mLast{};
};

}  // namespace velo::tool
