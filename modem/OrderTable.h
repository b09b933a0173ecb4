// SPDX-License-Identifier: Apache-2.0
//
// The orders of the control channel, as people and programs read about them. Constant data: any
// thread.

#pragma once

#include <span>
#include <string>

namespace velo::modem {

/// What a member of an order is on a command line: a text is taken as it is, a value is read as
/// JSON.
enum class MemberKind { Text, Value };

struct OrderMember {
    const char* name;
    MemberKind kind;
    bool required;
    const char* summary;
};

struct Order {
    const char* name;
    const char* summary;
    std::span<const OrderMember> members;  ///< in the order in which a command line gives them
    const char* example;                   ///< a whole order
};

/// Every order.
std::span<const Order> orderTable();

/// Null when there is none of that name.
const Order* findOrder(const std::string& name);

}  // namespace velo::modem
