// SPDX-License-Identifier: Apache-2.0
//
// The resident memory of processes that hold nothing, the idle library, cached profiles, or keys:
// this program, started anew for each. For the main thread.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace velo::bench {

/// What a process of its own holds while it is measured.
struct Holdings {
    std::string socketPath;    ///< of the modem; empty for no library at all
    std::size_t profiles = 0;  ///< that the modem has
    std::size_t filters = 0;   ///< each holds one key of each profile
};

/// Bytes resident in such a process, the median of `repetitions` of them.
double residentBytes(const Holdings& holdings, int repetitions);

constexpr const char* kFootprintOption = "--print-footprint";

/// The measured process, as a program: prints its resident bytes.
[[noreturn]] void printFootprint(const std::vector<std::string>& arguments, int output);

}  // namespace velo::bench
