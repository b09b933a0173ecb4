// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace velo::tool {

class CommandLine;

/// A script that has bash complete the commands, their options and the words that those take.
std::string bashCompletion(const CommandLine& line);

}  // namespace velo::tool
