// SPDX-License-Identifier: Apache-2.0

#include "Placement.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace velo::bench {

namespace {

/// The cores that this process was allowed at its start, before it pinned itself.
const std::vector<int>& cores() {
    static const std::vector<int> allowed = [] {
        cpu_set_t set;
        CPU_ZERO(&set);
        sched_getaffinity(0, sizeof set, &set);
        std::vector<int> found;
        for (int core = 0; core < CPU_SETSIZE; ++core) {
            if (CPU_ISSET(static_cast<std::size_t>(core), &set)) found.push_back(core);
        }
        return found;
    }();
    return allowed;
}

void pin(pid_t thread, Placement placement, bool withCaller) {
    // The last core is the caller's: the first one is where interrupts tend to be handled.
    const bool isLast = withCaller || placement == Placement::SameCore;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(isLast ? cores().back() : cores().front()), &set);
    sched_setaffinity(thread, sizeof set, &set);
}

}  // namespace

std::set<pid_t> threads() {
    std::set<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        found.insert(std::atoi(entry.path().filename().c_str()));
    }
    return found;
}

bool isPossible(Placement placement) {
    return placement == Placement::SameCore || cores().size() > 1;
}

void place(Placement placement, const std::set<pid_t>& withCaller) {
    const pid_t caller = gettid();
    for (const pid_t thread : threads()) {
        pin(thread, placement, thread == caller || withCaller.count(thread) != 0);
    }
}

void unpin() {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (const int core : cores()) CPU_SET(static_cast<std::size_t>(core), &set);
    sched_setaffinity(0, sizeof set, &set);
}

void placeProcess(pid_t process, Placement placement, bool withCaller) {
    pin(process, placement, withCaller);
}

}  // namespace velo::bench
