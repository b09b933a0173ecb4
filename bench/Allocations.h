// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>

namespace velo::bench {

/// How often this thread has allocated since it started; this program counts in operator new.
std::size_t allocations();

}  // namespace velo::bench
