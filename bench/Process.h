// SPDX-License-Identifier: Apache-2.0
//
// Other programs, this one among them. For any thread.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace velo::bench {

/// The path of this program.
std::string ownPath();

/// Starts a program, looked up in PATH, with its output thrown away unless `output` is a
/// descriptor for it; -1 when there is none.
pid_t start(const std::vector<std::string>& arguments, int output = -1);

/// Waits for the end of a process; its exit status, or -1 when it died of a signal.
int waitFor(pid_t process);

/// Runs a program and returns what it wrote; empty when it failed.
std::string outputOf(const std::vector<std::string>& arguments);

}  // namespace velo::bench
