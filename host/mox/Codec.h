// SPDX-License-Identifier: Apache-2.0
//
// Turns message structures into bytes and back, by the tables of a service definition. Stateless:
// any thread, on memory that the caller owns.
//
// A message is a sequence of fields: tag (u8), length (u16), value, little-endian. Strings travel
// without a terminator; inside a record they are preceded by their length (u16). A list is its
// number of entries (u32), then the entries.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/mox/ServiceDefinition.h"

namespace velo::mox {

/// Appends the message to `bytes`. A string without terminator is cut to what its array may hold.
/// False, with nothing of use in `bytes`, when a list claims more entries than its array has.
bool encode(const MessageDefinition& message, const void* structure,
            std::vector<std::uint8_t>& bytes);

/// Fills `structure` (message.size bytes), which is zeroed first. Unknown tags are skipped. False,
/// and the structure all zero, for a truncated, over-long, duplicate or ill-typed field and for an
/// absent mandatory one.
bool decode(const MessageDefinition& message, std::span<const std::uint8_t> bytes, void* structure);

/// The number that a U8 to U64 field holds at `at`, and the other way round; a number that is too
/// large loses its upper bytes.
std::uint64_t loadScalar(const Field& field, const std::uint8_t* at);
void storeScalar(const Field& field, std::uint8_t* at, std::uint64_t value);

}  // namespace velo::mox
