// SPDX-License-Identifier: Apache-2.0

#include "tool/TextFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "tool/CommandError.h"

namespace velo::tool {

std::string readTextFile(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    // A folder opens, and then gives nothing: only reading tells.
    if (file && file.peek() != std::ifstream::traits_type::eof()) {
        return {std::istreambuf_iterator<char>(file), {}};
    }
    const int error = errno;
    if (file.is_open() && error == 0) {
        return "";
    }
    throw CommandError(kUsage, path + " cannot be read: " + std::strerror(error));
}

std::string placeIn(const std::string& path, const std::string& text, std::size_t offset) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
    return path + ":" + std::to_string(std::count(text.begin(), end, '\n') + 1);
}

}  // namespace velo::tool
