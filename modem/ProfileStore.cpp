// SPDX-License-Identifier: Apache-2.0

#include "modem/ProfileStore.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "host/mox/WdsService.h"

namespace velo::modem {

namespace {

const std::uint8_t* bytesOf(const wds_profile_settings_v01& settings) {
    return reinterpret_cast<const std::uint8_t*>(&settings);
}

/// The structure lists the settings of 3GPP, then those of 3GPP2, then those of both.
bool belongsTo(const mox::Field& field, wds_profile_type_enum_v01 type) {
    constexpr std::size_t k3gpp2 = offsetof(wds_profile_settings_v01, auth_protocol_3gpp2);
    constexpr std::size_t kBoth = offsetof(wds_profile_settings_v01, apn_type_mask);
    if (field.flag >= kBoth) {
        return true;
    }
    return (field.flag >= k3gpp2) == (type == WDS_PROFILE_TYPE_3GPP2);
}

bool endless(const mox::Field& field, const std::uint8_t* base) {
    return field.kind == mox::FieldKind::String &&
           std::memchr(base + field.value, '\0', field.size) == nullptr;
}

void merge(const wds_profile_settings_v01& from, wds_profile_settings_v01& into) {
    const auto* source = bytesOf(from);
    auto* target = reinterpret_cast<std::uint8_t*>(&into);
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        if (source[field.flag] != 0) {
            target[field.flag] = 1;
            std::memcpy(target + field.value, source + field.value, field.size);
        }
    }
}

}  // namespace

ProfileStore::ProfileStore(std::size_t capacity, std::vector<StoredProfile> factory)
    : mCapacity(std::min(capacity, kWdsMaxProfiles)), mFactory(std::move(factory)) {
    restoreFactory();
}

wds_error_enum_v01 ProfileStore::check(wds_profile_type_enum_v01 type,
                                       const wds_profile_settings_v01& settings) {
    if (type != WDS_PROFILE_TYPE_3GPP && type != WDS_PROFILE_TYPE_3GPP2) {
        return WDS_ERR_INVALID_PROFILE_TYPE;
    }
    const auto* base = bytesOf(settings);
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        if (base[field.flag] == 0) {
            continue;
        }
        if (!belongsTo(field, type)) {
            return WDS_ERR_INVALID_PROFILE_TYPE;
        }
        if (endless(field, base)) {
            return WDS_ERR_INVALID_ARG;
        }
    }
    return WDS_ERR_NONE;
}

ProfileStore::Outcome ProfileStore::create(StoredProfile profile) {
    if (const auto error = check(profile.id.profile_type, profile.settings)) {
        return {error, {}};
    }
    auto& profiles = mProfiles[profile.id.profile_type];
    if (profiles.size() >= mCapacity) {
        return {WDS_ERR_NO_MEMORY, {}};
    }
    unsigned int free = 0;
    for (const auto& [index, taken] : profiles) {
        if (index != free) {
            break;
        }
        ++free;
    }
    profile.id.profile_index = static_cast<std::uint8_t>(free);
    const auto id = profile.id;
    profiles.emplace(free, profile);
    return {WDS_ERR_NONE, id};
}

ProfileStore::Outcome ProfileStore::modify(const wds_profile_identifier_v01& id,
                                           const wds_profile_settings_v01& settings) {
    if (const auto error = check(id.profile_type, settings)) {
        return {error, {}};
    }
    auto& profiles = mProfiles[id.profile_type];
    const auto profile = profiles.find(id.profile_index);
    if (profile == profiles.end()) {
        return {WDS_ERR_INVALID_PROFILE, {}};
    }
    merge(settings, profile->second.settings);
    return {WDS_ERR_NONE, id};
}

ProfileStore::Outcome ProfileStore::remove(const wds_profile_identifier_v01& id) {
    if (id.profile_type >= mProfiles.size()) {
        return {WDS_ERR_INVALID_PROFILE_TYPE, {}};
    }
    if (mProfiles[id.profile_type].erase(id.profile_index) == 0) {
        return {WDS_ERR_INVALID_PROFILE, {}};
    }
    return {WDS_ERR_NONE, id};
}

const StoredProfile* ProfileStore::find(const wds_profile_identifier_v01& id) const {
    if (id.profile_type >= mProfiles.size()) {
        return nullptr;
    }
    const auto& profiles = mProfiles[id.profile_type];
    const auto profile = profiles.find(id.profile_index);
    return profile == profiles.end() ? nullptr : &profile->second;
}

std::vector<StoredProfile> ProfileStore::all() const {
    std::vector<StoredProfile> result;
    result.reserve(mProfiles[0].size() + mProfiles[1].size());
    forEach([&](const StoredProfile& profile) { result.push_back(profile); });
    return result;
}

void ProfileStore::forgetVolatile() {
    for (auto& profiles : mProfiles) {
        std::erase_if(profiles, [](const auto& entry) { return !entry.second.persistent; });
    }
}

void ProfileStore::restoreFactory() {
    replace(mFactory);
}

void ProfileStore::replace(const std::vector<StoredProfile>& replacement) {
    for (auto& profiles : mProfiles) {
        profiles.clear();
    }
    for (const StoredProfile& profile : replacement) {
        if (check(profile.id.profile_type, profile.settings) == WDS_ERR_NONE) {
            mProfiles[profile.id.profile_type].insert_or_assign(profile.id.profile_index, profile);
        }
    }
}

}  // namespace velo::modem
