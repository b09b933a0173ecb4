// SPDX-License-Identifier: Apache-2.0

#include "modem/library/ProfileSettings.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

namespace velo::modem {

namespace {

constexpr const char* kLibraryName = "velo_profile";
constexpr const char* kLibraryAttachName = "velo_profile_ia";

/// The modem numbers the types in its own way: the bit of each library bit, from DEFAULT to XCAP.
constexpr std::uint64_t kModemTypeBits[] = {0x001, 0x004, 0x010, 0x008, 0x020, 0x040,
                                            0x002, 0x080, 0x100, 0x200, 0x800, 0x400};

template <std::size_t Size>
std::string textOf(const wds_string<Size>& field) {
    return std::string(field.data, ::strnlen(field.data, Size));
}

/// APN names are compared without regard to the case of ASCII letters, and shown in lower case.
std::string lowered(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

unsigned int typesOf(std::uint64_t modemMask) {
    unsigned int mask = 0;
    for (std::size_t i = 0; i < std::size(kModemTypeBits); ++i) {
        if ((modemMask & kModemTypeBits[i]) != 0) {
            mask |= 1U << i;
        }
    }
    return mask;
}

IPType ipOf(wds_pdp_type_enum_v01 type) {
    switch (type) {
        case WDS_PDP_TYPE_IPV4:
            return IPType::V4;
        case WDS_PDP_TYPE_IPV6:
            return IPType::V6;
        case WDS_PDP_TYPE_IPV4V6:
            return IPType::V4V6;
    }
    return IPType::UNKNOWN;
}

/// The families of a type that counts from 0; anything else is unknown.
IPType ipOfCount(std::uint32_t type) {
    return type <= 2 ? static_cast<IPType>(type + 1) : IPType::UNKNOWN;
}

template <typename T, typename Use>
void ifValid(const wds_optional<T>& field, Use use) {
    if (field.valid != 0) {
        use(field.value);
    }
}

void read3gpp(const wds_profile_settings_v01& from, FilterProfileParams& to) {
    ifValid(from.apn_name, [&](const auto& value) { to.setApnName(lowered(textOf(value))); });
    ifValid(from.user_name, [&](const auto& value) { to.setUserName(textOf(value)); });
    ifValid(from.password, [&](const auto& value) { to.setPassword(textOf(value)); });
    ifValid(from.auth_preference,
            [&](auto value) { to.setAuthType(static_cast<AuthType>(value & 3)); });
    ifValid(from.apn_disabled, [&](auto value) { to.setIsApnDisabled(value != 0); });
    ifValid(from.apn_class, [&](auto value) { to.setApnClass(static_cast<ApnClass>(value)); });
    ifValid(from.emergency_supported, [&](auto value) { to.setIsEmergencySupported(value != 0); });
    ifValid(from.max_pdn_conn_per_block, [&](auto value) { to.setMaxPdnsConnPerBlock(value); });
    ifValid(from.max_pdn_conn_timer, [&](auto value) { to.setMaxPdnConnTimer(value); });
    ifValid(from.pdn_req_wait_interval, [&](auto value) { to.setPdnReqWaitInterval(value); });
    ifValid(from.pdp_type, [&](auto value) { to.setHomeIPType(ipOf(value)); });
    ifValid(from.override_home_pdp_type, [&](auto value) {
        if (ipOfCount(value) != IPType::UNKNOWN) {
            to.setHomeIPType(ipOfCount(value));
        }
    });
    const auto& lte = from.lte_roaming_pdp_type;
    const auto& umts = from.umts_roaming_pdp_type;
    if (lte.valid != 0 && umts.valid != 0 && lte.value == umts.value &&
        lte.value != WDS_COMMON_PDP_TYPE_UNKNOWN) {
        to.setRoamIPType(ipOfCount(lte.value));
    }
    const std::string name = from.profile_name.valid != 0 ? textOf(from.profile_name.value) : "";
    to.setFilterByIsIAProfile(name == kLibraryAttachName);
    to.setFilterByIsVeloProfile(name == kLibraryAttachName || name == kLibraryName);
}

void read3gpp2(const wds_profile_settings_v01& from, FilterProfileParams& to) {
    ifValid(from.apn_string_3gpp2,
            [&](const auto& value) { to.setApnName(lowered(textOf(value))); });
    ifValid(from.user_id_3gpp2, [&](const auto& value) { to.setUserName(textOf(value)); });
    ifValid(from.auth_password_3gpp2, [&](const auto& value) { to.setPassword(textOf(value)); });
    ifValid(from.auth_protocol_3gpp2,
            [&](auto value) { to.setAuthType(static_cast<AuthType>(value)); });
    ifValid(from.apn_class_3gpp2,
            [&](auto value) { to.setApnClass(static_cast<ApnClass>(value)); });
    ifValid(from.pdn_type_3gpp2, [&](auto value) { to.setHomeIPType(ipOfCount(value)); });
}

template <std::size_t Size>
void write(wds_optional<wds_string<Size>>& field, bool present, const std::string& text) {
    if (present) {
        field = {1, {}};
        text.copy(field.value.data, Size - 1);
    }
}

template <typename Field, typename Value>
void write(wds_optional<Field>& field, bool present, Value value) {
    if (present) {
        field = {1, static_cast<Field>(value)};
    }
}

std::uint64_t modemTypesOf(unsigned int mask) {
    std::uint64_t modemMask = 0;
    for (std::size_t i = 0; i < std::size(kModemTypeBits); ++i) {
        modemMask |= (mask >> i & 1U) != 0 ? kModemTypeBits[i] : 0;
    }
    return modemMask;
}

/// A store has no unknown type for a home network: it holds dual stack then.
wds_pdp_type_enum_v01 pdpTypeOf(IPType type) {
    switch (type) {
        case IPType::V4:
            return WDS_PDP_TYPE_IPV4;
        case IPType::V6:
            return WDS_PDP_TYPE_IPV6;
        default:
            return WDS_PDP_TYPE_IPV4V6;
    }
}

/// The same for types that count from 0.
std::uint32_t countOf(IPType type) {
    return type == IPType::UNKNOWN ? 2 : static_cast<std::uint32_t>(type) - 1;
}

void write3gpp(wds_profile_settings_v01& to, const ProfileParams& from) {
    write(to.apn_name, from.hasApnName(), from.getApnName());
    write(to.user_name, from.hasUserName(), from.getUserName());
    write(to.password, from.hasPassword(), from.getPassword());
    write(to.auth_preference, from.hasAuthType(), from.getAuthType());
    write(to.pdp_type, from.hasHomeIPType(), pdpTypeOf(from.getHomeIPType()));
    write(to.lte_roaming_pdp_type, from.hasRoamIPType(), countOf(from.getRoamIPType()));
    write(to.umts_roaming_pdp_type, from.hasRoamIPType(), countOf(from.getRoamIPType()));
    write(to.apn_class, from.hasApnClass(), from.getApnClass());
    write(to.apn_disabled, from.hasIsApnDisabled(), from.getIsApnDisabled());
    write(to.emergency_supported, from.hasIsEmergencySupported(), from.getIsEmergencySupported());
    write(to.max_pdn_conn_per_block, from.hasMaxPdnsConnPerBlock(), from.getMaxPdnsConnPerBlock());
    write(to.max_pdn_conn_timer, from.hasMaxPdnConnTimer(), from.getMaxPdnConnTimer());
    write(to.pdn_req_wait_interval, from.hasPdnReqWaitInterval(), from.getPdnReqWaitInterval());
}

void write3gpp2(wds_profile_settings_v01& to, const ProfileParams& from) {
    write(to.apn_string_3gpp2, from.hasApnName(), from.getApnName());
    write(to.user_id_3gpp2, from.hasUserName(), from.getUserName());
    write(to.auth_password_3gpp2, from.hasPassword(), from.getPassword());
    write(to.auth_protocol_3gpp2, from.hasAuthType(), from.getAuthType());
    write(to.pdn_type_3gpp2, from.hasHomeIPType(), countOf(from.getHomeIPType()));
    write(to.apn_class_3gpp2, from.hasApnClass(), from.getApnClass());
}

}  // namespace

FilterProfileParams paramsOf(const StoredProfile& profile) {
    FilterProfileParams params;
    const wds_profile_settings_v01& from = profile.settings;
    if (profile.id.profile_type == WDS_PROFILE_TYPE_3GPP2) {
        read3gpp2(from, params);
    } else {
        read3gpp(from, params);
    }
    ifValid(from.apn_type_mask, [&](auto value) { params.setApnTypesMask(typesOf(value)); });
    ifValid(from.clat_enabled, [&](auto value) { params.setIsClatEnabled(value != 0); });
    return params;
}

wds_profile_settings_v01 settingsOf(TechType technology, const ProfileParams& params) {
    wds_profile_settings_v01 settings{};
    if (technology == TechType::TECH_3GPP2) {
        write3gpp2(settings, params);
    } else {
        write3gpp(settings, params);
    }
    write(settings.apn_type_mask, params.hasApnTypesMask(), modemTypesOf(params.getApnTypesMask()));
    write(settings.clat_enabled, params.hasIsClatEnabled(), params.getIsClatEnabled());
    return settings;
}

std::optional<std::string> nameOf(const StoredProfile& profile) {
    const auto& name = profile.settings.profile_name;
    return profile.id.profile_type == WDS_PROFILE_TYPE_3GPP && name.valid != 0
               ? std::optional(textOf(name.value))
               : std::nullopt;
}

}  // namespace velo::modem
