// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace velo::tool {

/// The whole of the `velo` program: parses the command line, carries out the command, prints its
/// results. Once in a process: the standard output is taken for good.
/// @return 0 done, 1 the operation failed, 2 the command line or a file is wrong, 128 and a signal
/// when that interrupted it
int run(int argc, const char* const* argv);

}  // namespace velo::tool
