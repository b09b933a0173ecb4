// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace velo::modem {

/// Tells the service manager that NOTIFY_SOCKET names of a state, such as "READY=1". Nothing
/// without one. Reads the environment; never waits.
void notifyServiceManager(const std::string& state);

}  // namespace velo::modem
