// SPDX-License-Identifier: Apache-2.0

#include "modem/FrameText.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "modem/FrameView.h"

namespace velo::modem {

namespace {

using nlohmann::ordered_json;
using Item = FrameView::Item;
using RawBytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kNanosecondsOfSecond = 1000000000;
constexpr std::size_t kIndent = 4;

template <typename... Values>
std::string format(const char* pattern, Values... values) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), pattern, values...);
    return text.data();
}

std::string timeText(std::uint64_t time) {
    const auto seconds = static_cast<std::time_t>(time / kNanosecondsOfSecond);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    return format("%s.%09" PRIu64 "Z", date.data(), time % kNanosecondsOfSecond);
}

std::string hexBytes(const RawBytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += format(text.empty() ? "%02X" : " %02X", unsigned{byte});
    }
    return text;
}

/// In quotes, with everything escaped that would not show.
std::string quoted(const std::string& value) {
    std::string text = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\') {
            text += '\\';
            text += c;
        } else if (c < ' ' || c > '~') {
            text += format("\\x%02X", unsigned{static_cast<std::uint8_t>(c)});
        } else {
            text += c;
        }
    }
    return text + "\"";
}

std::string numberText(const mox::Field& field, std::uint64_t value) {
    if (field.mask) {
        return format("0x%0*" PRIX64, static_cast<int>(2 * field.size), value);
    }
    const std::string digits = std::to_string(value);
    const char* name = valueName(field, value);
    return name != nullptr ? name + (" (" + digits + ")") : digits;
}

void addLines(std::string& text, const Item& item, std::size_t depth) {
    text += std::string(depth * kIndent, ' ') + item.name + ":";
    if (const auto* number = std::get_if<std::uint64_t>(&item.value)) {
        text += " " + numberText(*item.field, *number);
    } else if (const auto* string = std::get_if<std::string>(&item.value)) {
        text += " " + quoted(*string);
    } else if (const auto* bytes = std::get_if<RawBytes>(&item.value)) {
        text += bytes->empty() ? " nothing" : " bytes " + hexBytes(*bytes);
    }
    const auto* items = std::get_if<std::vector<Item>>(&item.value);
    if (items == nullptr) {
        text += "\n";
        return;
    }
    text += items->empty() ? " nothing\n" : "\n";
    for (const Item& child : *items) {
        addLines(text, child, depth + 1);
    }
}

ordered_json itemJson(const Item& item) {
    ordered_json json{{"name", item.name}};
    if (const auto* number = std::get_if<std::uint64_t>(&item.value)) {
        json["value"] = *number;
        if (const char* name = valueName(*item.field, *number)) {
            json["means"] = name;
        }
    } else if (const auto* string = std::get_if<std::string>(&item.value)) {
        json["value"] = *string;
    } else if (const auto* bytes = std::get_if<RawBytes>(&item.value)) {
        json["bytes"] = hexBytes(*bytes);
    } else {
        json["fields"] = ordered_json::array();
        for (const Item& child : std::get<std::vector<Item>>(item.value)) {
            json["fields"].push_back(itemJson(child));
        }
    }
    return json;
}

const char* directionText(Direction direction) {
    return direction == Direction::ToModem ? "to modem" : "from modem";
}

}  // namespace

std::string frameText(const CapturedFrame& frame) {
    const FrameView view(frame.bytes);
    std::string text = timeText(frame.time) + " client " + std::to_string(frame.client);
    if (frame.subscription) {
        text += " subscription " + std::to_string(*frame.subscription);
    }
    text += std::string(" ") + directionText(frame.direction) + ": " + view.messageName();
    if (view.hasHeader) {
        text += ", transaction " + std::to_string(view.transaction);
    }
    for (std::size_t i = 0; i < view.problems.size(); ++i) {
        text += (i == 0 ? " [malformed: " : "; ") + view.problems[i];
    }
    text += view.problems.empty() ? "\n" : "]\n";
    for (const Item& item : view.items) {
        addLines(text, item, 1);
    }
    return text;
}

ordered_json frameJson(const CapturedFrame& frame) {
    const FrameView view(frame.bytes);
    ordered_json json{{"time", timeText(frame.time)}, {"client", frame.client},
                      {"subscription", nullptr},      {"direction", directionText(frame.direction)},
                      {"kind", view.kindName()},      {"transaction", view.transaction},
                      {"messageId", view.messageId},  {"message", view.messageName()},
                      {"malformed", view.problems},   {"fields", ordered_json::array()}};
    if (frame.subscription) {
        json["subscription"] = *frame.subscription;
    }
    for (const Item& item : view.items) {
        json["fields"].push_back(itemJson(item));
    }
    return json;
}

}  // namespace velo::modem
