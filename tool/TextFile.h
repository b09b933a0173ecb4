// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>

namespace velo::tool {

/// The whole of a file. @throws CommandError when it cannot be read
std::string readTextFile(const std::string& path);

/// "PATH:LINE" of a place in the text of a file.
std::string placeIn(const std::string& path, const std::string& text, std::size_t offset);

}  // namespace velo::tool
