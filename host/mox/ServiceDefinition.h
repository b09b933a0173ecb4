// SPDX-License-Identifier: Apache-2.0
//
// What a service definition consists of: constant tables that say, for each message, how its
// structure and its bytes correspond. One table serves encoding, decoding, merging, printing and
// fuzzing.

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "mox/mox_client.h"

namespace velo::mox {

enum class FieldKind : std::uint8_t { U8, U16, U32, U64, String, Record, List };

/// What people call one value of a number.
struct ValueName {
    std::uint32_t value;
    const char* name;
};

/// One field of a message, or one element of a record (which has no tag and no flag).
struct Field {
    static constexpr std::uint32_t kMandatory = std::numeric_limits<std::uint32_t>::max();

    const char* name = "";
    std::uint8_t tag = 0;
    FieldKind kind = FieldKind::U8;
    std::uint32_t flag = kMandatory;   ///< offset of the valid flag, or kMandatory for none
    std::uint32_t value = 0;           ///< offset of the value
    std::uint32_t size = 0;            ///< bytes of the value; of one entry for a list
    std::uint32_t limit = 0;           ///< list: the most entries that its array holds
    std::uint32_t count = 0;           ///< list: offset of the number of entries (u32)
    std::span<const Field> elements;   ///< record and list: what an entry consists of
    std::span<const ValueName> names;  ///< number: the values that have a name
    bool mask = false;                 ///< number: a set of bits

    constexpr bool optional() const { return flag != kMandatory; }
};

/// How one message is laid out.
struct MessageDefinition {
    std::uint16_t id = 0;
    mox_message_kind kind = MOX_MESSAGE_REQUEST;
    const char* name = "";
    std::uint32_t size = 0;  ///< bytes of the structure
    std::span<const Field> fields;
};

}  // namespace velo::mox

struct mox_service_definition {
    std::uint32_t serviceId;
    std::span<const velo::mox::MessageDefinition> messages;

    /// Null for a message that the service does not have.
    const velo::mox::MessageDefinition* find(mox_message_kind kind, unsigned int id) const {
        for (const auto& message : messages) {
            if (message.kind == kind && message.id == id) {
                return &message;
            }
        }
        return nullptr;
    }
};
