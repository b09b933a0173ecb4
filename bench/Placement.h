// SPDX-License-Identifier: Apache-2.0
//
// Where the threads of this process run. A hand-over between two threads costs several times more
// across cores than on one, and left alone the scheduler moves between the two: a ratio means
// something only when both of its sides are placed alike. For the main thread.

#pragma once

#include <sched.h>
#include <sys/types.h>

#include <set>

namespace velo::bench {

enum class Placement { SameCore, AcrossCores };

/// Every thread of this process.
std::set<pid_t> threads();

/// Whether this machine has the cores for it.
bool isPossible(Placement placement);

/// Pins every thread: all to one core, or the calling one and `withCaller` to one core and all
/// others to another.
void place(Placement placement, const std::set<pid_t>& withCaller);

/// Lets the calling thread, and what it starts, run anywhere.
void unpin();

/// Pins a process of one thread to the core of the caller, or of the others.
void placeProcess(pid_t process, Placement placement, bool withCaller);

}  // namespace velo::bench
