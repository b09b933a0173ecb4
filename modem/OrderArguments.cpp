// SPDX-License-Identifier: Apache-2.0

#include "modem/OrderArguments.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/mox/WdsService.h"
#include "modem/ModemError.h"
#include "modem/ProfileJson.h"

namespace velo::modem {

namespace {

using nlohmann::json;

[[noreturn]] void refuse(const std::string& name, const std::string& what) {
    throw ModemError("\"" + name + "\" " + what);
}

std::string dashed(std::string name) {
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

/// A message's name without what it says of its kind: "create-profile".
std::string shortName(const mox::MessageDefinition& message) {
    const std::string name = dashed(message.name);
    return name.substr(0, name.rfind('-'));
}

/// The number that a JSON number or a text, decimal or with 0x, says.
std::optional<std::uint64_t> numberIn(const json& value, std::uint64_t most) {
    std::uint64_t number = 0;
    if (value.is_number_unsigned()) {
        number = value.get<std::uint64_t>();
    } else if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        const bool hexadecimal = text.starts_with("0x");
        const std::string digits = hexadecimal ? text.substr(2) : text;
        const char* allowed = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
        constexpr std::size_t kMostDigits = 16;
        if (digits.empty() || digits.size() > kMostDigits ||
            digits.find_first_not_of(allowed) != std::string::npos) {
            return std::nullopt;
        }
        std::istringstream stream(digits);
        stream >> (hexadecimal ? std::hex : std::dec) >> number;
    } else {
        return std::nullopt;
    }
    return number <= most ? std::optional(number) : std::nullopt;
}

std::string list(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

}  // namespace

OrderArguments::OrderArguments(const Order& order, const json& members) : mMembers(members) {
    std::vector<std::string> known;
    for (const OrderMember& member : order.members) {
        known.emplace_back(member.name);
        if (member.required && !members.contains(member.name)) {
            throw ModemError(std::string(order.name) + " needs \"" + member.name + "\"");
        }
    }
    for (const auto& item : members.items()) {
        if (item.key() != "order" &&
            std::find(known.begin(), known.end(), item.key()) == known.end()) {
            refuse(item.key(), std::string("is no member of ") + order.name +
                                   (known.empty() ? "; it has none" : "; say " + list(known)));
        }
    }
}

bool OrderArguments::has(const char* name) const {
    return mMembers.contains(name);
}

const json& OrderArguments::value(const char* name) const {
    return mMembers[name];
}

std::string OrderArguments::text(const char* name) const {
    if (!value(name).is_string()) {
        refuse(name, "is not a text");
    }
    return value(name).get<std::string>();
}

std::uint64_t OrderArguments::number(const char* name, std::uint64_t least, std::uint64_t most,
                                     std::uint64_t absent) const {
    if (!has(name)) {
        return absent;
    }
    const json& given = value(name);
    if (!given.is_number_unsigned() || given.get<std::uint64_t>() < least ||
        given.get<std::uint64_t>() > most) {
        refuse(name,
               "is not a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return given.get<std::uint64_t>();
}

std::vector<std::uint8_t> OrderArguments::bytes(const char* name) const {
    std::istringstream words(text(name));
    std::vector<std::uint8_t> bytes;
    for (std::string word; words >> word;) {
        for (std::size_t at = 0; at < word.size(); at += 2) {
            const auto byte = numberIn("0x" + word.substr(at, 2), 0xFF);
            if (!byte || word.size() % 2 != 0) {
                refuse(name, "is not a text of bytes in hexadecimal");
            }
            bytes.push_back(static_cast<std::uint8_t>(*byte));
        }
    }
    return bytes;
}

std::size_t OrderArguments::choice(const char* name, std::span<const char* const> words) const {
    const std::string given = text(name);
    const auto found = std::find(words.begin(), words.end(), given);
    if (found == words.end()) {
        refuse(name, "is none of " + list({words.begin(), words.end()}));
    }
    return static_cast<std::size_t>(found - words.begin());
}

std::optional<std::uint16_t> OrderArguments::message(mox_message_kind kind) const {
    const json& given = value("message");
    if (given == "any") {
        return std::nullopt;
    }
    if (const auto number = numberIn(given, std::numeric_limits<std::uint16_t>::max())) {
        return static_cast<std::uint16_t>(*number);
    }
    std::vector<std::string> names;
    for (const auto& message : mox::wdsService().messages) {
        if (message.kind != kind) {
            continue;
        }
        names.push_back(shortName(message));
        if (given == names.back()) {
            return message.id;
        }
    }
    refuse("message", "is neither a number nor one of " + list(names));
}

wds_profile_event_enum_v01 OrderArguments::event() const {
    const json& given = value("event");
    if (const auto number = numberIn(given, std::numeric_limits<std::uint32_t>::max())) {
        return static_cast<wds_profile_event_enum_v01>(*number);
    }
    const auto* changed = mox::wdsService().find(MOX_MESSAGE_INDICATION, kWdsProfileChangedInd);
    std::vector<std::string> names;
    for (const auto& known : changed->fields[0].elements.back().names) {
        names.push_back(dashed(known.name));
        if (given == names.back()) {
            return static_cast<wds_profile_event_enum_v01>(known.value);
        }
    }
    refuse("event", "is neither a number nor one of " + list(names));
}

wds_profile_identifier_v01 OrderArguments::profile() const {
    wds_profile_identifier_v01 id{};
    if (has("technology")) {
        id.profile_type = technologyFromJson(value("technology"));
    }
    if (has("index")) {
        id.profile_index = indexFromJson("index", value("index"));
    }
    return id;
}

}  // namespace velo::modem
