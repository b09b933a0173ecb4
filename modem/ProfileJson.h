// SPDX-License-Identifier: Apache-2.0
//
// The JSON form of profiles, one for the factory profiles, the state file and whoever else speaks
// of profiles in JSON:
//
//     {"technology": "3gpp", "index": 1, "persistent": true,
//      "settings": {"apn_name": "internet", "pdp_type": 3}}
//
// The settings are those of wds_profile_settings_v01 by name, each that is there and no other:
// texts for strings (a list of byte values for one that is not UTF-8), numbers for the rest, when
// reading also true and false for one-byte numbers. Stateless: any thread. What cannot be read is
// refused with a ModemError, whose text is the reason alone: the caller knows where it stood.

#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "modem/StoredProfile.h"

namespace velo::modem {

/// What the text says; an object that has a key twice is refused, and a text that is nested deeper
/// than any use has for.
nlohmann::json jsonFromText(const std::string& text);
nlohmann::json jsonFromFile(const std::string& path);

nlohmann::json profileToJson(const StoredProfile& profile);
nlohmann::json settingsToJson(const wds_profile_settings_v01& settings);

/// Technology and index are needed; `persistent` is true when absent. Settings must fit the
/// technology.
StoredProfile profileFromJson(const nlohmann::json& value);

wds_profile_settings_v01 settingsFromJson(const nlohmann::json& value);

/// "3gpp" or "3gpp2".
wds_profile_type_enum_v01 technologyFromJson(const nlohmann::json& value);

/// A number from 0 to 255, called `name` in the refusal.
std::uint8_t indexFromJson(const std::string& name, const nlohmann::json& value);

/// True or false, called `name` in the refusal.
bool booleanFromJson(const std::string& name, const nlohmann::json& value);

/// The list of a set, {"profiles": [...]}, no two of the same technology and index. A refusal says
/// which one it is about, counted from 1.
std::vector<StoredProfile> profileSetFromJson(const nlohmann::json& value);
nlohmann::json profileSetToJson(const std::vector<StoredProfile>& profiles);

}  // namespace velo::modem
