// SPDX-License-Identifier: Apache-2.0

#include "modem/ProfileJson.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "host/mox/Codec.h"
#include "host/mox/WdsService.h"
#include "modem/ModemError.h"
#include "modem/ProfileStore.h"

namespace velo::modem {

namespace {

using nlohmann::json;

constexpr const char* kTechnologyNames[] = {"3gpp", "3gpp2"};

/// More than any text needs. Values are copied and written by recursion, which would end in a stack
/// that is too small.
constexpr int kDeepest = 16;

[[noreturn]] void refuse(const std::string& name, const std::string& what) {
    throw ModemError("\"" + name + "\" " + what);
}

std::uint64_t numberFromJson(const std::string& name, const json& value, std::uint64_t most) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
        refuse(name, "is not a number from 0 to " + std::to_string(most));
    }
    return value.get<std::uint64_t>();
}

json textToJson(const mox::Field& field, const std::uint8_t* at) {
    const std::string text(reinterpret_cast<const char*>(at),
                           strnlen(reinterpret_cast<const char*>(at), field.size));
    try {
        json value(text);
        // Only writing it out tells whether it is UTF-8.
        static_cast<void>(value.dump());
        return value;
    } catch (const json::type_error&) {
        return json(std::vector<std::uint8_t>(text.begin(), text.end()));
    }
}

std::string textFromJson(const std::string& name, const json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (!value.is_array()) {
        refuse(name, "is not a text");
    }
    std::string text;
    for (const json& byte : value) {
        text.push_back(static_cast<char>(indexFromJson(name, byte)));
    }
    return text;
}

void storeText(const mox::Field& field, const json& value, std::uint8_t* at) {
    const std::string text = textFromJson(field.name, value);
    if (text.size() >= field.size || text.find('\0') != std::string::npos) {
        refuse(field.name,
               "is longer than " + std::to_string(field.size - 1) + " bytes or holds a zero byte");
    }
    std::memcpy(at, text.c_str(), text.size() + 1);
}

void storeNumber(const mox::Field& field, const json& value, std::uint8_t* at) {
    const bool flag = field.size == 1 && value.is_boolean();
    const std::uint64_t most =
        std::numeric_limits<std::uint64_t>::max() >> (8 * (sizeof(std::uint64_t) - field.size));
    mox::storeScalar(
        field, at,
        flag ? std::uint64_t{value.get<bool>()} : numberFromJson(field.name, value, most));
}

/// Of the byte with that number, counted from 1; 0 is an empty text's.
std::string placeOf(const std::string& text, std::size_t byte) {
    const auto before = text.substr(0, byte > 0 ? byte - 1 : 0);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    return "line " + std::to_string(lines + 1) + ", byte " +
           std::to_string(before.size() - (before.rfind('\n') + 1) + 1);
}

}  // namespace

json jsonFromText(const std::string& text) {
    std::vector<std::set<std::string>> open;
    const auto check = [&](int depth, json::parse_event_t event, const json& parsed) {
        if (depth > kDeepest) {
            throw ModemError("is nested more than " + std::to_string(kDeepest) + " deep");
        }
        if (event == json::parse_event_t::object_start) {
            open.emplace_back();
        } else if (event == json::parse_event_t::object_end) {
            open.pop_back();
        } else if (event == json::parse_event_t::key &&
                   !open.back().insert(parsed.get<std::string>()).second) {
            refuse(parsed.get<std::string>(), "is there twice");
        }
        return true;
    };
    try {
        return json::parse(text, check);
    } catch (const json::parse_error& error) {
        throw ModemError("is not JSON at " + placeOf(text, error.byte));
    } catch (const json::out_of_range&) {
        throw ModemError("is not JSON: it has a number that is too large");
    }
}

json jsonFromFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw ModemError("cannot be read");
    }
    return jsonFromText({std::istreambuf_iterator<char>(file), {}});
}

json settingsToJson(const wds_profile_settings_v01& settings) {
    const auto* base = reinterpret_cast<const std::uint8_t*>(&settings);
    json result = json::object();
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        if (base[field.flag] == 0) {
            continue;
        }
        const std::uint8_t* at = base + field.value;
        result[field.name] = field.kind == mox::FieldKind::String
                                 ? textToJson(field, at)
                                 : json(mox::loadScalar(field, at));
    }
    return result;
}

json profileToJson(const StoredProfile& profile) {
    return {{"technology", kTechnologyNames[profile.id.profile_type]},
            {"index", profile.id.profile_index},
            {"persistent", profile.persistent},
            {"settings", settingsToJson(profile.settings)}};
}

wds_profile_settings_v01 settingsFromJson(const json& value) {
    if (!value.is_object()) {
        refuse("settings", "is not an object");
    }
    wds_profile_settings_v01 settings{};
    auto* base = reinterpret_cast<std::uint8_t*>(&settings);
    const auto fields = mox::wdsSettingsFields();
    for (const auto& [key, setting] : value.items()) {
        const auto field = std::find_if(fields.begin(), fields.end(),
                                        [&name = key](const auto& f) { return name == f.name; });
        if (field == fields.end()) {
            refuse(key, "is not a setting");
        }
        base[field->flag] = 1;
        const auto store = field->kind == mox::FieldKind::String ? storeText : storeNumber;
        store(*field, setting, base + field->value);
    }
    return settings;
}

wds_profile_type_enum_v01 technologyFromJson(const json& value) {
    for (const auto type : {WDS_PROFILE_TYPE_3GPP, WDS_PROFILE_TYPE_3GPP2}) {
        if (value == kTechnologyNames[type]) {
            return type;
        }
    }
    refuse("technology", "is neither \"3gpp\" nor \"3gpp2\"");
}

std::uint8_t indexFromJson(const std::string& name, const json& value) {
    return static_cast<std::uint8_t>(
        numberFromJson(name, value, std::numeric_limits<std::uint8_t>::max()));
}

bool booleanFromJson(const std::string& name, const json& value) {
    if (!value.is_boolean()) {
        refuse(name, "is neither true nor false");
    }
    return value.get<bool>();
}

StoredProfile profileFromJson(const json& value) {
    if (!value.is_object()) {
        throw ModemError("is not an object");
    }
    StoredProfile profile;
    profile.persistent = true;
    for (const auto& [key, part] : value.items()) {
        if (key == "technology") {
            profile.id.profile_type = technologyFromJson(part);
        } else if (key == "index") {
            profile.id.profile_index = indexFromJson(key, part);
        } else if (key == "persistent") {
            profile.persistent = booleanFromJson(key, part);
        } else if (key == "settings") {
            profile.settings = settingsFromJson(part);
        } else {
            refuse(key, "is not known; say technology, index, persistent, settings");
        }
    }
    if (!value.contains("technology") || !value.contains("index")) {
        throw ModemError("technology and index are needed");
    }
    if (ProfileStore::check(profile.id.profile_type, profile.settings) != WDS_ERR_NONE) {
        throw ModemError("has a setting of the other technology");
    }
    return profile;
}

std::vector<StoredProfile> profileSetFromJson(const json& value) {
    if (!value.is_object() || !value.contains("profiles") || !value["profiles"].is_array()) {
        throw ModemError("has no list \"profiles\"");
    }
    if (value.size() > 1) {
        throw ModemError("has more than the list \"profiles\"");
    }
    std::vector<StoredProfile> profiles;
    std::set<std::pair<std::uint32_t, std::uint8_t>> taken;
    for (const json& entry : value["profiles"]) {
        inPlace("profile " + std::to_string(profiles.size() + 1), [&] {
            const auto profile = profileFromJson(entry);
            if (!taken.emplace(profile.id.profile_type, profile.id.profile_index).second) {
                throw ModemError("its technology and index are taken by an earlier one");
            }
            profiles.push_back(profile);
        });
    }
    return profiles;
}

json profileSetToJson(const std::vector<StoredProfile>& profiles) {
    json list = json::array();
    for (const StoredProfile& profile : profiles) {
        list.push_back(profileToJson(profile));
    }
    return {{"profiles", std::move(list)}};
}

}  // namespace velo::modem
