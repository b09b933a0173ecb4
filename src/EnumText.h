// SPDX-License-Identifier: Apache-2.0
//
// The texts of the enumerations: TextStream takes each enumeration, and a standard stream takes
// those that callers see. Stateless; for any thread.

#pragma once

#include <cstddef>
#include <ostream>
#include <type_traits>

#include "TextStream.h"
#include "velo/ProfileTypes.h"

namespace velo {

TextStream& operator<<(TextStream& out, TechType tech);
TextStream& operator<<(TextStream& out, IPType ipType);
TextStream& operator<<(TextStream& out, AuthType authType);
TextStream& operator<<(TextStream& out, ApnClass apnClass);
TextStream& operator<<(TextStream& out, ApnTypes mask);
TextStream& operator<<(TextStream& out, FilterMatchType criteria);

/// Writes the text of an enumerator, `texts` beginning with that of the value `first`; a value
/// without a text is written as its decimal number.
template <typename Enum, std::size_t Count>
TextStream& writeEnum(TextStream& out, Enum value, const char* const (&texts)[Count],
                      long long first = 0) {
    const auto number = static_cast<long long>(static_cast<std::underlying_type_t<Enum>>(value));
    if (number < first || number >= first + static_cast<long long>(Count)) {
        return out << number;
    }
    return out << texts[number - first];
}

/// For a standard stream, whatever base it is set to.
template <typename Enum>
std::ostream& writeText(std::ostream& out, Enum value) {
    TextStream text;
    text << value;
    return out << text.str();
}

}  // namespace velo
