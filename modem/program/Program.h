// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace velo::modem {

/// The whole of `velo-modem`, on the process's first thread. Returns its exit status: 0 done, 1 the
/// operation failed, 2 the command line or a file is wrong.
int runProgram(int argc, const char* const* argv);

}  // namespace velo::modem
