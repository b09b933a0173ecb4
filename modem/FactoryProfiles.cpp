// SPDX-License-Identifier: Apache-2.0

#include "modem/FactoryProfiles.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/mox/WdsService.h"
#include "modem/ModemError.h"
#include "modem/ProfileStore.h"

namespace velo::modem {

namespace {

using nlohmann::json;

constexpr std::uint64_t kMaskDefault = 0x001;
constexpr std::uint64_t kMaskIms = 0x002;
constexpr std::uint64_t kMaskEmergency = 0x200;

template <typename T, typename Value>
void set(wds_optional<T>& field, Value value) {
    field.valid = 1;
    field.value = static_cast<T>(value);
}

template <std::size_t Size>
void set(wds_optional<wds_string<Size>>& field, const char* text) {
    field.valid = 1;
    std::strncpy(field.value.data, text, Size - 1);
}

StoredProfile profile3gpp(std::uint8_t index, const char* name, const char* apn,
                          std::uint64_t mask) {
    StoredProfile profile{{WDS_PROFILE_TYPE_3GPP, index}, true, {}};
    set(profile.settings.profile_name, name);
    set(profile.settings.apn_name, apn);
    set(profile.settings.pdp_type, WDS_PDP_TYPE_IPV4V6);
    set(profile.settings.auth_preference, 0);
    set(profile.settings.apn_disabled, 0);
    set(profile.settings.emergency_supported, mask == kMaskEmergency ? 1 : 0);
    set(profile.settings.apn_type_mask, mask);
    return profile;
}

StoredProfile profile3gpp2(std::uint8_t index, const char* apn, std::uint64_t mask) {
    StoredProfile profile{{WDS_PROFILE_TYPE_3GPP2, index}, true, {}};
    set(profile.settings.apn_string_3gpp2, apn);
    set(profile.settings.pdn_type_3gpp2, WDS_PROFILE_PDN_TYPE_IPV4_IPV6);
    set(profile.settings.auth_protocol_3gpp2, WDS_PROFILE_AUTH_PROTOCOL_NONE);
    set(profile.settings.apn_type_mask, mask);
    return profile;
}

/// Reads one file and knows its name, for the sentence that tells what is wrong with it.
class Reader {
public:
    explicit Reader(const std::string& path) : mPath(path) {}

    std::vector<StoredProfile> read() {
        std::ifstream file(mPath);
        if (!file) {
            refuse("cannot be read");
        }
        const json document = parse(file);
        if (!document.is_object() || !document.contains("profiles") ||
            !document["profiles"].is_array()) {
            refuse("has no list \"profiles\"");
        }
        std::vector<StoredProfile> profiles;
        for (const json& entry : document["profiles"]) {
            mEntry = "profile " + std::to_string(profiles.size() + 1) + ": ";
            profiles.push_back(readProfile(entry));
            refuseDuplicate(profiles);
        }
        return profiles;
    }

private:
    [[noreturn]] void refuse(const std::string& what) const {
        throw ModemError(mPath + ": " + mEntry + what);
    }

    json parse(std::istream& file) const {
        try {
            return json::parse(file);
        } catch (const json::exception& error) {
            refuse(std::string("is not JSON: ") + error.what());
        }
    }

    StoredProfile readProfile(const json& entry) const {
        if (!entry.is_object()) {
            refuse("is not an object");
        }
        StoredProfile profile;
        profile.persistent = true;
        bool hasIndex = false;
        bool hasTechnology = false;
        for (const auto& [key, value] : entry.items()) {
            if (key == "technology") {
                profile.id.profile_type = technology(value);
                hasTechnology = true;
            } else if (key == "index") {
                profile.id.profile_index = static_cast<std::uint8_t>(number(key, value, 255));
                hasIndex = true;
            } else if (key == "persistent") {
                profile.persistent = boolean(key, value);
            } else if (key == "settings") {
                readSettings(value, profile.settings);
            } else {
                refuse("\"" + key + "\" is not known; say technology, index, persistent, settings");
            }
        }
        if (!hasTechnology || !hasIndex) {
            refuse("technology and index are needed");
        }
        if (ProfileStore::check(profile.id.profile_type, profile.settings) != WDS_ERR_NONE) {
            refuse("has a setting of the other technology");
        }
        return profile;
    }

    void readSettings(const json& settings, wds_profile_settings_v01& into) const {
        if (!settings.is_object()) {
            refuse("\"settings\" is not an object");
        }
        for (const auto& item : settings.items()) {
            const std::string& key = item.key();
            const auto fields = mox::wdsSettingsFields();
            const auto field = std::find_if(fields.begin(), fields.end(),
                                            [&](const auto& known) { return key == known.name; });
            if (field == fields.end()) {
                refuse("\"" + key + "\" is not a setting");
            }
            readSetting(*field, item.value(), reinterpret_cast<std::uint8_t*>(&into));
        }
    }

    void readSetting(const mox::Field& field, const json& value, std::uint8_t* base) const {
        base[field.flag] = 1;
        std::uint8_t* at = base + field.value;
        switch (field.kind) {
            case mox::FieldKind::String:
                return readText(field, value, at);
            case mox::FieldKind::U8:
                return readNumber<std::uint8_t>(field, value, at);
            case mox::FieldKind::U16:
                return readNumber<std::uint16_t>(field, value, at);
            case mox::FieldKind::U32:
                return readNumber<std::uint32_t>(field, value, at);
            default:
                return readNumber<std::uint64_t>(field, value, at);
        }
    }

    void readText(const mox::Field& field, const json& value, std::uint8_t* at) const {
        if (!value.is_string()) {
            refuse("\"" + std::string(field.name) + "\" is not a text");
        }
        const auto& text = value.get_ref<const std::string&>();
        if (text.size() >= field.size || text.find('\0') != std::string::npos) {
            refuse("\"" + std::string(field.name) + "\" is longer than " +
                   std::to_string(field.size - 1) + " bytes or holds a zero byte");
        }
        std::memcpy(at, text.c_str(), text.size() + 1);
    }

    template <typename T>
    void readNumber(const mox::Field& field, const json& value, std::uint8_t* at) const {
        const bool flag = sizeof(T) == 1 && value.is_boolean();
        const T result = static_cast<T>(
            flag ? value.get<bool>() : number(field.name, value, std::numeric_limits<T>::max()));
        std::memcpy(at, &result, sizeof(result));
    }

    std::uint64_t number(const std::string& key, const json& value, std::uint64_t most) const {
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
            refuse("\"" + key + "\" is not a number from 0 to " + std::to_string(most));
        }
        return value.get<std::uint64_t>();
    }

    bool boolean(const std::string& key, const json& value) const {
        if (!value.is_boolean()) {
            refuse("\"" + key + "\" is neither true nor false");
        }
        return value.get<bool>();
    }

    wds_profile_type_enum_v01 technology(const json& value) const {
        if (value == "3gpp") {
            return WDS_PROFILE_TYPE_3GPP;
        }
        if (value == "3gpp2") {
            return WDS_PROFILE_TYPE_3GPP2;
        }
        refuse("\"technology\" is neither \"3gpp\" nor \"3gpp2\"");
    }

    void refuseDuplicate(const std::vector<StoredProfile>& profiles) const {
        const auto& last = profiles.back().id;
        const auto same = [&](const StoredProfile& other) {
            return other.id.profile_type == last.profile_type &&
                   other.id.profile_index == last.profile_index;
        };
        if (std::count_if(profiles.begin(), profiles.end(), same) > 1) {
            refuse("its technology and index are taken by an earlier one");
        }
    }

    const std::string mPath;
    std::string mEntry;
};

}  // namespace

std::vector<StoredProfile> builtInProfiles() {
    return {profile3gpp(1, "attach", "attach.velo", kMaskDefault),
            profile3gpp(2, "ims", "ims", kMaskIms),
            profile3gpp(3, "emergency", "sos", kMaskEmergency),
            profile3gpp2(1, "cdma.velo", kMaskDefault)};
}

std::vector<StoredProfile> readFactoryProfiles(const std::string& path) {
    return Reader(path).read();
}

}  // namespace velo::modem
