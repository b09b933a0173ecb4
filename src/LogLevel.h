// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace velo {

/// How important a log line is. Error and Event lines are also kept in the local history.
enum class LogLevel : int { Verbose = 0, Debug, Info, Error, Fatal, Event };

}  // namespace velo
