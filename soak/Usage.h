// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>

namespace velo::soak {

/// What a leak would make grow in this process. A value type.
struct Usage {
    std::size_t descriptors = 0;
    std::size_t residentKb = 0;
    std::size_t heapKb = 0;  ///< in use; as far as the C library's own allocator is the one

    static Usage now();

    /// Empty, or what has grown since `before` further than an allocator makes it.
    std::string leakSince(const Usage& before) const;
};

}  // namespace velo::soak
