// SPDX-License-Identifier: Apache-2.0
//
// Ways in which a frame can be wrong though its packet is whole. Stateless: any thread.

#pragma once

#include <array>
#include <cstddef>

namespace velo::mox {
struct Frame;
}

namespace velo::modem {

enum class Damage : std::size_t { OverLong, Unterminated, UnknownEnumerators, Truncated };

inline constexpr std::size_t kDamageCount = 4;
inline constexpr std::array<const char*, kDamageCount> kDamageNames{
    "over-long", "unterminated", "unknown-enumerators", "truncated"};

/// Whether a message's answer carries a list or settings, so that every damage applies to it.
bool canBeDamaged(unsigned int messageId);

/// Damages the answer to a request of that kind:
/// - OverLong: a list with one entry more than any list may have; for settings a field that claims
///   more bytes than there are;
/// - Unterminated: a string as long as the array that must take it, terminator included;
/// - UnknownEnumerators: a list with an entry of an unknown technology; settings whose enumerations
///   hold values that nobody knows;
/// - Truncated: the second half is missing.
void damageAnswer(mox::Frame& answer, Damage damage);

/// The second half is missing.
void truncate(mox::Frame& frame);

}  // namespace velo::modem
