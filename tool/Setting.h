// SPDX-License-Identifier: Apache-2.0
//
// The settings of a profile, each described once: its option, its place in JSON and in the tables,
// how it is read from words and shown. Everything that walks over settings walks over this list.

#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "velo/ProfileParams.h"

namespace velo::tool {

using SettingValue = std::variant<bool, int, std::string, std::vector<std::string>>;

struct Setting {
    std::string name;         ///< the option without its dashes
    std::string placeholder;  ///< what the option takes
    std::string help;
    bool secret = false;
    bool on3gpp2 = true;  ///< whether profiles of that technology have it

    /// @throws CommandError when the text is no such value
    std::function<void(ProfileParams&, const std::string& text)> set;
    /// The value in words, or in numbers when asked; nothing when the record does not hold it.
    std::function<std::optional<SettingValue>(const ProfileParams&, bool numbers)> get;

    /// The key in JSON.
    std::string key() const;
};

const std::vector<Setting>& settings();

/// The setting of that option name; it must exist.
const Setting& setting(const std::string& name);

std::string toText(const SettingValue& value);
nlohmann::json toJson(const SettingValue& value);

}  // namespace velo::tool
