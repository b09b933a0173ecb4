// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <type_traits>

namespace velo {

/// Writes the text of an enumerator, `texts` beginning with that of the value `first`; a value
/// without a text is written as its decimal number, whatever base the stream is set to.
template <typename Enum, std::size_t Count>
std::ostream& writeEnum(std::ostream& out, Enum value, const char* const (&texts)[Count],
                        long long first = 0) {
    const auto number = static_cast<long long>(static_cast<std::underlying_type_t<Enum>>(value));
    if (number < first || number >= first + static_cast<long long>(Count)) {
        return out << std::to_string(number);
    }
    return out << texts[number - first];
}

}  // namespace velo
