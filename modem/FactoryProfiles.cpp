// SPDX-License-Identifier: Apache-2.0

#include "modem/FactoryProfiles.h"

#include <cstring>
#include <nlohmann/json.hpp>

#include "modem/ModemError.h"
#include "modem/ProfileJson.h"

namespace velo::modem {

namespace {

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

}  // namespace

std::vector<StoredProfile> builtInProfiles() {
    return {profile3gpp(1, "attach", "attach.velo", kMaskDefault),
            profile3gpp(2, "ims", "ims", kMaskIms),
            profile3gpp(3, "emergency", "sos", kMaskEmergency),
            profile3gpp2(1, "cdma.velo", kMaskDefault)};
}

std::vector<StoredProfile> readFactoryProfiles(const std::string& path) {
    return inPlace(path, [&] { return profileSetFromJson(jsonFromFile(path)); });
}

}  // namespace velo::modem
