// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <locale>
#include <sstream>

namespace velo {

/// The string stream of every dump: numbers look the same whatever locale the application has
/// chosen. A local of one thread.
class TextStream : public std::ostringstream {
public:
    TextStream() { imbue(std::locale::classic()); }
};

}  // namespace velo
