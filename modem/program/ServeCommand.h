// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace velo::modem {

struct ProgramOptions;

/// Runs a modem with its control channel until SIGTERM, SIGINT, SIGHUP or the order to stop. On the
/// process's first thread, before any other was started.
///
/// @throws ModemError when a file cannot be used, std::system_error when the modem cannot run
int serveCommand(ProgramOptions options);

}  // namespace velo::modem
