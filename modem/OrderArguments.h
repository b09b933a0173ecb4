// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "modem/OrderTable.h"
#include "mox/wds_v01.h"

namespace velo::modem {

/// The members of one order that was given. What they must be and are not is refused with a
/// ModemError. Refers to what it was made from; used by one thread.
class OrderArguments {
public:
    /// @throws ModemError for a member that the order does not have, and for one that is missing
    OrderArguments(const Order& order, const nlohmann::json& members);

    bool has(const char* name) const;

    /// The member must be there.
    const nlohmann::json& value(const char* name) const;
    std::string text(const char* name) const;

    std::uint64_t number(const char* name, std::uint64_t least, std::uint64_t most,
                         std::uint64_t absent) const;

    /// The bytes that a text of hexadecimal digits says; spaces between bytes are skipped.
    std::vector<std::uint8_t> bytes(const char* name) const;

    /// One of some words: its number.
    std::size_t choice(const char* name, std::span<const char* const> words) const;

    /// A message of that kind by name or number; empty for any.
    std::optional<std::uint16_t> message(mox_message_kind kind) const;

    wds_profile_event_enum_v01 event() const;

    /// The profile that `technology` and `index` name.
    wds_profile_identifier_v01 profile() const;

private:
    const nlohmann::json& mMembers;
};

}  // namespace velo::modem
