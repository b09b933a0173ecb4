// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "host/mox/ServiceDefinition.h"

namespace velo::modem {

/// One frame taken apart by the tables of the service, as far as it can be understood. Unlike
/// decoding, which takes all or nothing, this shows what is there and says what is wrong with it: a
/// frame has problems exactly when the codec refuses it. A value type.
struct FrameView {
    /// A field, an element of a record, or an entry of a list.
    struct Item {
        std::string name;
        /// A number, a string, raw bytes, or what it consists of.
        std::variant<std::uint64_t, std::string, std::vector<std::uint8_t>, std::vector<Item>>
            value;
        const mox::Field* field = nullptr;  ///< null for what the tables do not know
    };

    explicit FrameView(std::span<const std::uint8_t> frame);

    /// The message's name, or its kind and number when the service does not have it.
    std::string messageName() const;

    /// "request", "response", "indication", "kind N", or "none" without a header.
    std::string kindName() const;

    bool hasHeader = false;  ///< without one the next three mean nothing
    std::uint32_t kind = 0;
    std::uint32_t transaction = 0;
    std::uint16_t messageId = 0;
    const mox::MessageDefinition* message = nullptr;  ///< null when the service does not have it
    std::vector<Item> items;
    std::vector<std::string> problems;
};

/// What people call this value of the field; null when it has no name.
const char* valueName(const mox::Field& field, std::uint64_t value);

}  // namespace velo::modem
