// SPDX-License-Identifier: Apache-2.0

#include "model/Image.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sstream>

namespace velo::model {

namespace {

constexpr std::pair<unsigned int, std::uint64_t> kTypeBits[] = {
    {0x001, 0x001}, {0x002, 0x004}, {0x004, 0x010}, {0x008, 0x008}, {0x010, 0x020}, {0x020, 0x040},
    {0x040, 0x002}, {0x080, 0x080}, {0x100, 0x100}, {0x200, 0x200}, {0x400, 0x800}, {0x800, 0x400}};

std::uint64_t modemTypes(unsigned int mask) {
    std::uint64_t types = 0;
    for (const auto& [bit, modemBit] : kTypeBits) types |= (mask & bit) != 0 ? modemBit : 0;
    return types;
}

unsigned int callerTypes(std::uint64_t types) {
    unsigned int mask = 0;
    for (const auto& [bit, modemBit] : kTypeBits) mask |= (types & modemBit) != 0 ? bit : 0;
    return mask;
}

std::string lower(std::string text) {
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

template <typename T>
std::optional<T> given(bool has, T value) {
    return has ? std::optional<T>(std::move(value)) : std::nullopt;
}

/// Settings that both technologies have and that are compared by mere equality.
template <typename Visit, typename... Images>
void plainSettings(Visit visit, Images&... images) {
    visit(images.user...);
    visit(images.password...);
    visit(images.auth...);
    visit(images.apnClass...);
    visit(images.clat...);
}

template <typename Visit, typename... Images>
void settings3gpp(Visit visit, Images&... images) {
    visit(images.block...);
    visit(images.timer...);
    visit(images.interval...);
    visit(images.disabled...);
    visit(images.emergency...);
}

/// The settings as they are asked for: the roaming type in both roaming fields.
Image requested(const ProfileParams& params) {
    Image image;
    image.apn = given(params.hasApnName(), lower(params.getApnName().substr(0, 150)));
    image.user = given(params.hasUserName(), params.getUserName());
    image.password = given(params.hasPassword(), params.getPassword());
    image.auth = given(params.hasAuthType(), params.getAuthType());
    image.types = given(params.hasApnTypesMask(), modemTypes(params.getApnTypesMask()));
    image.apnClass = given(params.hasApnClass(), params.getApnClass());
    image.clat = given(params.hasIsClatEnabled(), params.getIsClatEnabled());
    image.common = given(params.hasHomeIPType(), params.getHomeIPType());
    image.lteRoam = given(params.hasRoamIPType(), params.getRoamIPType());
    image.umtsRoam = image.lteRoam;
    image.block = given(params.hasMaxPdnsConnPerBlock(), params.getMaxPdnsConnPerBlock());
    image.timer = given(params.hasMaxPdnConnTimer(), params.getMaxPdnConnTimer());
    image.interval = given(params.hasPdnReqWaitInterval(), params.getPdnReqWaitInterval());
    image.disabled = given(params.hasIsApnDisabled(), params.getIsApnDisabled());
    image.emergency = given(params.hasIsEmergencySupported(), params.getIsEmergencySupported());
    return image;
}

std::optional<IPType> homeOf(const Image& image) {
    return image.overrideHome && *image.overrideHome != IPType::UNKNOWN ? image.overrideHome
                                                                        : image.common;
}

struct IPTypes {
    std::optional<IPType> home;
    std::optional<IPType> roam;
    std::optional<IPType> overrideHome;
};

/// One home type and one roaming type in the modem's four fields: where they differ the common type
/// is widened, and the real home type is the override.
IPTypes newIPTypes(const Image& own, const Image& wanted) {
    IPTypes types;
    types.home = wanted.common ? wanted.common : homeOf(own);
    if (wanted.lteRoam) {
        types.roam = wanted.lteRoam;
    } else if (own.lteRoam == own.umtsRoam) {
        types.roam = own.lteRoam;
    }
    if (!types.home || !types.roam) return types;
    if (types.home != types.roam) {
        types.overrideHome = types.home;
        types.home = IPType::V4V6;
    } else if (own.overrideHome) {
        types.overrideHome = IPType::UNKNOWN;
    }
    return types;
}

bool isLoose(const FilterProfileParams& filter, unsigned int criterion) {
    return (filter.getFilterMatchCriteria() & criterion) != 0;
}

bool fits(const std::optional<IPType>& own, const std::optional<IPType>& wanted,
          const FilterProfileParams& filter, unsigned int subset, unsigned int superset) {
    if (!own || !wanted) return !wanted;
    const auto has = static_cast<unsigned int>(*own);
    const auto wants = static_cast<unsigned int>(*wanted);
    return has == wants || (isLoose(filter, subset) && (wants & has) == wants) ||
           (isLoose(filter, superset) && (has & ~wants) == 0);
}

constexpr std::array kIPTexts{"UNKNOWN", "V4", "V6", "V4V6"};
constexpr std::array kAuthTexts{"NONE", "PAP", "CHAP", "PAP_CHAP"};
constexpr std::array kTechTexts{"3GPP", "3GPP2"};
constexpr std::array kClassTexts{"", "IMS", "ADMN", "INET", "APP"};

template <typename Texts, typename Value>
std::string enumText(const Texts& texts, Value value, std::size_t first = 0) {
    const auto index = static_cast<std::size_t>(value);
    return index >= first && index < texts.size() ? texts[index]
                                                  : std::to_string(static_cast<int>(value));
}

template <typename T, typename Value>
void put(wds_optional<T>& field, const std::optional<Value>& value) {
    if (value) field = {1, static_cast<T>(*value)};
}

template <std::size_t Size>
void put(wds_optional<wds_string<Size>>& field, const std::optional<std::string>& value) {
    if (!value) return;
    field.valid = 1;
    value->copy(field.value.data, Size - 1);
}

template <typename T>
std::optional<T> taken(const wds_optional<T>& field) {
    return given(field.valid != 0, field.value);
}

template <std::size_t Size>
std::optional<std::string> taken(const wds_optional<wds_string<Size>>& field) {
    return given(field.valid != 0, std::string(field.value.data));
}

/// Each code in its place; what is not listed is the last.
template <typename To, typename From>
std::optional<To> coded(const std::optional<From>& value,
                        std::initializer_list<std::pair<From, To>> codes, To otherwise) {
    if (!value) return std::nullopt;
    for (const auto& [from, to] : codes) {
        if (from == *value) return to;
    }
    return otherwise;
}

std::optional<std::uint32_t> roamCode(const std::optional<IPType>& type) {
    return coded<std::uint32_t, IPType>(
        type, {{IPType::UNKNOWN, 0xFF}, {IPType::V4, 0}, {IPType::V6, 1}}, 2);
}

std::optional<IPType> fromRoamCode(const wds_optional<wds_common_pdp_type_enum_v01>& field) {
    return coded<IPType, std::uint32_t>(
        taken(field), {{0, IPType::V4}, {1, IPType::V6}, {2, IPType::V4V6}}, IPType::UNKNOWN);
}

wds_profile_settings_v01 settings3gpp2Of(const Image& image) {
    wds_profile_settings_v01 settings{};
    const auto auth = coded<std::uint32_t, AuthType>(
        image.auth, {{AuthType::PAP, 1}, {AuthType::CHAP, 2}, {AuthType::PAP_CHAP, 3}}, 0);
    put(settings.apn_string_3gpp2, image.apn);
    put(settings.pdn_type_3gpp2,
        coded<std::uint32_t, IPType>(image.common, {{IPType::V4, 0}, {IPType::V6, 1}}, 2));
    put(settings.auth_protocol_3gpp2, auth);
    put(settings.pdn_level_auth_protocol_3gpp2, auth);
    put(settings.apn_class_3gpp2, image.apnClass);
    put(settings.user_id_3gpp2, image.user);
    put(settings.pdn_level_user_id_3gpp2, image.user);
    put(settings.auth_password_3gpp2, image.password);
    put(settings.pdn_level_auth_password_3gpp2, image.password);
    return settings;
}

wds_profile_settings_v01 settings3gppOf(const Image& image) {
    wds_profile_settings_v01 settings{};
    put(settings.profile_name, image.name);
    put(settings.apn_name, image.apn);
    put(settings.pdp_type,
        coded<std::uint32_t, IPType>(image.common, {{IPType::V4, 0}, {IPType::V6, 2}}, 3));
    put(settings.override_home_pdp_type, roamCode(image.overrideHome));
    put(settings.lte_roaming_pdp_type, roamCode(image.lteRoam));
    put(settings.umts_roaming_pdp_type, roamCode(image.umtsRoam));
    put(settings.emergency_supported, image.emergency);
    put(settings.max_pdn_conn_per_block, image.block);
    put(settings.max_pdn_conn_timer, image.timer);
    put(settings.pdn_req_wait_interval, image.interval);
    put(settings.apn_disabled, image.disabled);
    if (image.auth) settings.auth_preference = {1, static_cast<std::uint8_t>(*image.auth)};
    settings.auth_preference.value &= 3;
    put(settings.apn_class, image.apnClass);
    put(settings.user_name, image.user);
    put(settings.password, image.password);
    return settings;
}

template <typename To, typename T>
std::optional<To> takenAs(const wds_optional<T>& field) {
    return given(field.valid != 0, static_cast<To>(field.value));
}

void read3gpp2(Image& image, const wds_profile_settings_v01& settings) {
    image.common = coded<IPType, std::uint32_t>(
        taken(settings.pdn_type_3gpp2), {{0, IPType::V4}, {1, IPType::V6}, {2, IPType::V4V6}},
        IPType::UNKNOWN);
    image.apn = taken(settings.apn_string_3gpp2);
    image.apnClass = takenAs<ApnClass>(settings.apn_class_3gpp2);
    image.auth = takenAs<AuthType>(settings.auth_protocol_3gpp2);
    // The password of this kind is not read back.
    image.user = taken(settings.user_id_3gpp2);
}

void read3gpp(Image& image, const wds_profile_settings_v01& settings) {
    image.name = taken(settings.profile_name);
    image.common = coded<IPType, std::uint32_t>(
        taken(settings.pdp_type), {{0, IPType::V4}, {2, IPType::V6}, {3, IPType::V4V6}},
        IPType::UNKNOWN);
    image.overrideHome = fromRoamCode(settings.override_home_pdp_type);
    if (settings.lte_roaming_pdp_type.value != 0xFF) {
        image.lteRoam = fromRoamCode(settings.lte_roaming_pdp_type);
    }
    if (settings.umts_roaming_pdp_type.value != 0xFF) {
        image.umtsRoam = fromRoamCode(settings.umts_roaming_pdp_type);
    }
    image.apn = taken(settings.apn_name);
    image.apnClass = takenAs<ApnClass>(settings.apn_class);
    image.emergency = takenAs<bool>(settings.emergency_supported);
    if (settings.auth_preference.valid != 0) {
        image.auth = static_cast<AuthType>(settings.auth_preference.value & 3);
    }
    image.block = takenAs<int>(settings.max_pdn_conn_per_block);
    image.timer = takenAs<int>(settings.max_pdn_conn_timer);
    image.interval = takenAs<int>(settings.pdn_req_wait_interval);
    image.disabled = takenAs<bool>(settings.apn_disabled);
    image.user = taken(settings.user_name);
    image.password = taken(settings.password);
}

bool matches3gpp(const Image& own, const Image& wanted, const FilterProfileParams& filter) {
    if (filter.hasFilterByIsIAProfile()) {
        if (filter.getIsIAProfile() != own.isIA()) return false;
    } else if (filter.hasFilterByIsVeloProfile() && filter.getIsVeloProfile() != own.isVelo()) {
        return false;
    }
    if (wanted.lteRoam && own.lteRoam != own.umtsRoam) return false;
    bool matched = fits(homeOf(own), wanted.common, filter, 0x01, 0x10) &&
                   fits(own.lteRoam ? own.lteRoam : own.common, wanted.lteRoam, filter, 0x02, 0x20);
    settings3gpp([&](const auto& has, const auto& wants) { matched &= !wants || has == wants; },
                 own, wanted);
    return matched;
}

bool matches3gpp2(const Image& own, const Image& wanted, const FilterProfileParams& filter) {
    bool named = filter.hasFilterByIsIAProfile() || filter.hasFilterByIsVeloProfile() ||
                 wanted.lteRoam.has_value();
    settings3gpp([&](const auto& wants) { named |= wants.has_value(); }, wanted);
    return !named && fits(own.common.value_or(IPType::UNKNOWN), wanted.common, filter, 0x01, 0x10);
}

}  // namespace

std::string Key::dump() const {
    return enumText(kTechTexts, tech) + ":" + std::to_string(id) +
           " token=" + std::to_string(token);
}

std::string Image::text() const {
    std::ostringstream out;
    const auto item = [&out](const char* label, const auto& value) {
        if (value) out << label << *value << ",";
    };
    const auto enumItem = [&](const char* label, const auto& value, const auto& texts, int first) {
        if (value) {
            out << label << enumText(texts, *value, static_cast<std::size_t>(first)) << ",";
        }
    };
    out << "TechType=" << enumText(kTechTexts, tech) << ",ProfileId=" << id << ",";
    item("ApnName=", apn);
    item("UserName=", user);
    item("Password=", password);
    enumItem("AuthType=", auth, kAuthTexts, 0);
    enumItem("CommonIPType=", common, kIPTexts, 0);
    item("ApnTypesMask=", types);
    enumItem("ApnClass=", apnClass, kClassTexts, 1);
    item("IsClatEnabled=", clat);
    enumItem("OverrideHomeIPType=", overrideHome, kIPTexts, 0);
    enumItem("LteRoamIP=", lteRoam, kIPTexts, 0);
    enumItem("UmtsRoamIP=", umtsRoam, kIPTexts, 0);
    item("MaxPdnsConnPerBlock=", block);
    item("MaxPdnConnTimer=", timer);
    item("PdnReqWaitInterval=", interval);
    item("IsApnDisabled=", disabled);
    item("IsEmergencySupported=", emergency);
    item("ProfileName=", name);
    return out.str();
}

Image imageOf(const AddProfileParams& params) {
    const Image wanted = requested(params);
    Image image;
    image.tech = params.getTechType();
    image.isPersistent = params.getIsPersistent();
    image.isVeloCreated = true;
    apply(image, wanted);
    if (image.tech == TechType::TECH_3GPP) {
        const IPTypes types = newIPTypes({}, wanted);
        image.common = types.home;
        image.overrideHome = types.overrideHome;
        image.name = params.getIsIAProfile() ? "velo_profile_ia" : "velo_profile";
    }
    return image;
}

Image imageOf(const modem::StoredProfile& profile) {
    Image image;
    image.tech = static_cast<TechType>(profile.id.profile_type);
    image.id = profile.id.profile_index;
    image.isPersistent = profile.persistent;
    image.types = taken(profile.settings.apn_type_mask);
    image.clat = takenAs<bool>(profile.settings.clat_enabled);
    if (image.tech == TechType::TECH_3GPP2) {
        read3gpp2(image, profile.settings);
    } else {
        read3gpp(image, profile.settings);
    }
    if (image.apn) image.apn = lower(*image.apn);
    return image;
}

wds_profile_settings_v01 settingsOf(const Image& image) {
    auto settings =
        image.tech == TechType::TECH_3GPP2 ? settings3gpp2Of(image) : settings3gppOf(image);
    put(settings.apn_type_mask, image.types);
    put(settings.clat_enabled, image.clat);
    return settings;
}

std::optional<Image> difference(const Image& own, const ProfileParams& params) {
    const Image wanted = requested(params);
    Image delta;
    delta.tech = own.tech;
    bool changed = false;
    const auto differ = [&](const auto& has, const auto& wants, auto& difference) {
        if (!wants || has == wants) return;
        difference = wants;
        changed = true;
    };
    differ(own.apn, wanted.apn, delta.apn);
    differ(own.types, wanted.types, delta.types);
    plainSettings(differ, own, wanted, delta);
    if (own.tech == TechType::TECH_3GPP2) {
        differ(own.common, wanted.common, delta.common);
    } else {
        settings3gpp(differ, own, wanted, delta);
        const IPTypes types = newIPTypes(own, wanted);
        differ(own.common, types.home, delta.common);
        differ(own.lteRoam, types.roam, delta.lteRoam);
        differ(own.umtsRoam, types.roam, delta.umtsRoam);
        differ(own.overrideHome, types.overrideHome, delta.overrideHome);
    }
    return changed ? std::optional(delta) : std::nullopt;
}

void apply(Image& own, const Image& delta) {
    const auto merge = [](auto& has, const auto& change) {
        if (change) has = change;
    };
    merge(own.apn, delta.apn);
    merge(own.types, delta.types);
    merge(own.common, delta.common);
    plainSettings(merge, own, delta);
    if (own.tech != TechType::TECH_3GPP) return;
    settings3gpp(merge, own, delta);
    merge(own.overrideHome, delta.overrideHome);
    merge(own.lteRoam, delta.lteRoam);
    merge(own.umtsRoam, delta.umtsRoam);
}

ProfileParams paramsOf(const Image& image) {
    FilterProfileParams params;
    if (image.apn) params.setApnName(*image.apn);
    if (image.user) params.setUserName(*image.user);
    if (image.password) params.setPassword(*image.password);
    if (image.auth) params.setAuthType(*image.auth);
    if (image.types) params.setApnTypesMask(callerTypes(*image.types));
    if (image.apnClass) params.setApnClass(*image.apnClass);
    if (image.clat) params.setIsClatEnabled(*image.clat);
    if (const auto home = homeOf(image)) params.setHomeIPType(*home);
    if (image.tech == TechType::TECH_3GPP2) return params;
    params.setFilterByIsIAProfile(image.isIA());
    params.setFilterByIsVeloProfile(image.isVelo());
    if (image.lteRoam && image.lteRoam == image.umtsRoam) params.setRoamIPType(*image.lteRoam);
    if (image.block) params.setMaxPdnsConnPerBlock(*image.block);
    if (image.timer) params.setMaxPdnConnTimer(*image.timer);
    if (image.interval) params.setPdnReqWaitInterval(*image.interval);
    if (image.disabled) params.setIsApnDisabled(*image.disabled);
    if (image.emergency) params.setIsEmergencySupported(*image.emergency);
    return params;
}

bool matches(const Image& own, const FilterProfileParams& filter) {
    const Image wanted = requested(filter);
    if (filter.hasFilterByTechType() && filter.getFilterByTechType() != own.tech) return false;
    if (filter.hasFilterByProfileId() && filter.getFilterByProfileId() != own.id) return false;
    if ((wanted.apn && !own.apn) || (wanted.types && !own.types)) return false;
    bool matched = true;
    if (wanted.apn) {
        matched &= isLoose(filter, 0x04) ? own.apn->find(*wanted.apn) != std::string::npos
                                         : own.apn == wanted.apn;
    }
    if (wanted.types) {
        matched &=
            isLoose(filter, 0x08) ? (*wanted.types & ~*own.types) == 0 : own.types == wanted.types;
    }
    plainSettings([&](const auto& has, const auto& wants) { matched &= !wants || has == wants; },
                  own, wanted);
    if (!matched) return false;
    return own.tech == TechType::TECH_3GPP2 ? matches3gpp2(own, wanted, filter)
                                            : matches3gpp(own, wanted, filter);
}

}  // namespace velo::model
