// SPDX-License-Identifier: Apache-2.0

#include "modem/OrderTable.h"

#include <algorithm>
#include <array>

namespace velo::modem {

namespace {

constexpr OrderMember kSubscription{"subscription", MemberKind::Value, false,
                                    "The subscription, 0 when absent"};
constexpr OrderMember kTechnology{"technology", MemberKind::Text, true, "3gpp or 3gpp2"};
constexpr OrderMember kIndex{"index", MemberKind::Value, true, "The profile's index, 0 to 255"};
constexpr OrderMember kMessage{"message", MemberKind::Text, true,
                               "The message by name, as create-profile, or number, as 0x27; any"};
constexpr OrderMember kCount{"count", MemberKind::Value, false, "How many answers, 1 when absent"};
constexpr OrderMember kAbout{"technology", MemberKind::Text, false, "3gpp when absent, or 3gpp2"};
constexpr OrderMember kAboutIndex{"index", MemberKind::Value, false,
                                  "The profile's index, 0 when absent"};

constexpr std::array kStore{kSubscription};
constexpr std::array kAdd{
    OrderMember{"profile", MemberKind::Value, true,
                "The profile: technology, persistent (true when absent), settings; no index"},
    kSubscription};
constexpr std::array kChange{
    kTechnology, kIndex,
    OrderMember{"settings", MemberKind::Value, true, "The settings to merge into the profile"},
    kSubscription};
constexpr std::array kDelete{kTechnology, kIndex, kSubscription};
constexpr std::array kNext{kMessage, kCount};
constexpr std::array kDelay{
    kMessage, OrderMember{"ms", MemberKind::Value, true, "How late, in milliseconds"}, kCount};
constexpr std::array kDamage{
    OrderMember{"message", MemberKind::Text, true, "get-profile-list or get-profile-settings"},
    OrderMember{"kind", MemberKind::Text, true,
                "over-long, unterminated, unknown-enumerators or truncated"},
    kCount};
constexpr std::array kIndicate{
    OrderMember{"event", MemberKind::Text, true,
                "create, delete, modify, subscription-change, store-ready, or a number"},
    kAbout, kAboutIndex, kSubscription};
constexpr std::array kIndicateProfile{kAbout, kAboutIndex, kSubscription};
constexpr std::array kIndicateRaw{
    OrderMember{"bytes", MemberKind::Text, true, "The indication's fields, in hexadecimal"},
    OrderMember{"message", MemberKind::Text, false, "The message, profile-changed when absent"},
    kSubscription};
constexpr std::array kDisconnect{
    OrderMember{"client", MemberKind::Value, true, "The client's number, as status tells it"}};
constexpr std::array kRestart{
    OrderMember{"at", MemberKind::Text, false,
                "now, when absent, or at the next message: request (before it is carried out), "
                "answer (before it is sent), echo (after the answer, before its indications)"},
    OrderMember{"message", MemberKind::Text, false, "With at: the message, any when absent"},
    OrderMember{
        "off", MemberKind::Value, false,
        "How long the modem stays off when it goes at once, in milliseconds, 0 when absent"}};
constexpr std::array kChance{
    OrderMember{"faults", MemberKind::Text, false,
                "NAME=CHANCE,... as for --faults; those that are not named stay"},
    OrderMember{"seed", MemberKind::Value, false, "New dice with this seed"}};

constexpr std::array kOrders{
    Order{"help", "Lists the orders", {}, R"({"order": "help"})"},
    Order{"status",
          "Tells what the modem is doing: clients, profiles, faults",
          {},
          R"({"order": "status"})"},
    Order{"list", "Lists the profiles of a subscription", kStore,
          R"({"order": "list", "subscription": 1})"},
    Order{
        "add", "Adds a profile as another client, under the lowest free index", kAdd,
        R"({"order": "add", "profile": {"technology": "3gpp", "settings": {"apn_name": "new"}}})"},
    Order{"change", "Changes a profile as another client", kChange,
          R"({"order": "change", "technology": "3gpp", "index": 1, "settings": {"apn_class": 2}})"},
    Order{"delete", "Deletes a profile as another client", kDelete,
          R"({"order": "delete", "technology": "3gpp", "index": 2})"},
    Order{"subscription-change", "Reports that the subscription changed", kStore,
          R"({"order": "subscription-change"})"},
    Order{"store-ready", "Reports that the store is ready", kStore, R"({"order": "store-ready"})"},
    Order{"reject", "Rejects the next requests of a message", kNext,
          R"({"order": "reject", "message": "create-profile"})"},
    Order{"delay", "Sends the next answers to a message late", kDelay,
          R"({"order": "delay", "message": "get-profile-list", "ms": 50})"},
    Order{"drop", "Loses the next answers to a message", kNext,
          R"({"order": "drop", "message": "0x29", "count": 1})"},
    Order{"damage", "Damages the next answers with a list or settings", kDamage,
          R"({"order": "damage", "message": "get-profile-list", "kind": "over-long"})"},
    Order{"indicate", "Reports an event, whether it happened or not", kIndicate,
          R"({"order": "indicate", "event": "modify", "technology": "3gpp", "index": 1})"},
    Order{"indicate-raw", "Sends any bytes as an indication", kIndicateRaw,
          R"({"order": "indicate-raw", "bytes": "10 02 00 ff ff"})"},
    Order{"indicate-damaged", "Reports a change in an indication that is cut short",
          kIndicateProfile, R"({"order": "indicate-damaged", "index": 1})"},
    Order{"indicate-duplicated", "Reports a change twice", kIndicateProfile,
          R"({"order": "indicate-duplicated", "index": 1})"},
    Order{"indicate-reordered", "Reports the events of a new profile in the wrong order",
          kIndicateProfile, R"({"order": "indicate-reordered", "index": 1})"},
    Order{"indicate-unknown", "Sends an indication and an event that nobody knows", kStore,
          R"({"order": "indicate-unknown"})"},
    Order{"disconnect", "Closes the connection of a client", kDisconnect,
          R"({"order": "disconnect", "client": 1})"},
    Order{"restart", "Switches the modem off and on, now or at a message", kRestart,
          R"({"order": "restart", "at": "echo", "message": "create-profile"})"},
    Order{
        "factory-reset", "Restarts with the factory profiles", {}, R"({"order": "factory-reset"})"},
    Order{"chance", "Sets the chances of the faults, and tells them", kChance,
          R"({"order": "chance", "faults": "drop=0.01,delay=0.05,delay-ms=200", "seed": 7})"},
    Order{"stop", "Ends the modem's process", {}, R"({"order": "stop"})"},
};

}  // namespace

std::span<const Order> orderTable() {
    return kOrders;
}

const Order* findOrder(const std::string& name) {
    const auto found = std::find_if(kOrders.begin(), kOrders.end(),
                                    [&](const Order& order) { return name == order.name; });
    return found == kOrders.end() ? nullptr : &*found;
}

}  // namespace velo::modem
