// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace velo::tool {

class CommandLine;

/// The manual page of the command, for man(1).
std::string manPage(const CommandLine& line);

}  // namespace velo::tool
