// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <mutex>

namespace velo {

/// Remembers in which process its owner was made, so that the owner can tell that it lives on as a
/// copy in a forked child, where its threads are missing and its descriptors belong to the parent
/// as well. Any thread may ask.
class ForkGuard {
public:
    ForkGuard();

    bool inForkedChild() const;

    /// From now on a forked child finds `mutex` unlocked. The mutex must live as long as the
    /// process, and no thread may hold it while it takes another protected one, or while it forks.
    static void protect(std::mutex& mutex);

private:
    unsigned int mGeneration;
};

}  // namespace velo
