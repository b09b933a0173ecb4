// SPDX-License-Identifier: Apache-2.0

#include "model/Store.h"

#include <cstring>

#include "host/mox/WdsService.h"

namespace velo::model {

std::string Store::Report::text() const {
    return std::to_string(type) + ":" + std::to_string(index) + " event " + std::to_string(event);
}

Store::Store(const std::vector<modem::StoredProfile>& factory) {
    for (const auto& profile : factory) {
        mProfiles.at(profile.id.profile_type).emplace(profile.id.profile_index, profile);
    }
}

int Store::create(modem::StoredProfile profile) {
    Profiles& profiles = mProfiles.at(profile.id.profile_type);
    if (profiles.size() >= kCapacity) return -1;
    int index = 0;
    while (profiles.contains(index)) ++index;
    profile.id.profile_index = static_cast<std::uint8_t>(index);
    profiles.emplace(index, profile);
    return index;
}

bool Store::modify(TechType tech, int index, const wds_profile_settings_v01& settings) {
    Profiles& profiles = mProfiles.at(static_cast<std::size_t>(tech));
    const auto profile = profiles.find(index);
    if (profile == profiles.end()) return false;
    auto* const into = reinterpret_cast<unsigned char*>(&profile->second.settings);
    const auto* const from = reinterpret_cast<const unsigned char*>(&settings);
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        if (from[field.flag] == 0) continue;
        into[field.flag] = 1;
        std::memcpy(into + field.value, from + field.value, field.size);
    }
    return true;
}

bool Store::remove(TechType tech, int index) {
    return mProfiles.at(static_cast<std::size_t>(tech)).erase(index) > 0;
}

const modem::StoredProfile* Store::find(TechType tech, int index) const {
    const Profiles& profiles = mProfiles.at(static_cast<std::size_t>(tech));
    const auto profile = profiles.find(index);
    return profile == profiles.end() ? nullptr : &profile->second;
}

std::vector<modem::StoredProfile> Store::all() const {
    std::vector<modem::StoredProfile> profiles;
    for (const Profiles& technology : mProfiles) {
        for (const auto& [index, profile] : technology) profiles.push_back(profile);
    }
    return profiles;
}

void Store::forgetVolatile() {
    for (Profiles& technology : mProfiles) {
        std::erase_if(technology, [](const auto& entry) { return !entry.second.persistent; });
    }
}

}  // namespace velo::model
