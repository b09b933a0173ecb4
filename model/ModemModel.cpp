// SPDX-License-Identifier: Apache-2.0

#include "model/ModemModel.h"

#include <algorithm>
#include <cstring>

#include "host/mox/WdsService.h"

namespace velo::model {

std::string ModemModel::Report::text() const {
    return std::to_string(type) + ":" + std::to_string(index) + " event " + std::to_string(event);
}

ModemModel::ModemModel(const std::vector<modem::StoredProfile>& factory) {
    for (auto& store : mStores) {
        for (const auto& profile : factory) {
            const auto tech = static_cast<TechType>(profile.id.profile_type);
            store.emplace(std::pair(tech, profile.id.profile_index), profile);
        }
    }
}

int ModemModel::create(unsigned int subscription, modem::StoredProfile profile) {
    auto& store = mStores.at(subscription);
    const auto tech = static_cast<TechType>(profile.id.profile_type);
    const auto count = std::count_if(store.begin(), store.end(),
                                     [&](const auto& entry) { return entry.first.first == tech; });
    if (static_cast<std::size_t>(count) >= kCapacity) return -1;
    int index = 0;
    while (store.contains({tech, index})) ++index;
    profile.id.profile_index = static_cast<std::uint8_t>(index);
    store.emplace(std::pair(tech, index), profile);
    report(subscription, tech, index, WDS_PROFILE_EVENT_CREATE);
    report(subscription, tech, index, WDS_PROFILE_EVENT_MODIFY);
    return index;
}

bool ModemModel::modify(unsigned int subscription, TechType tech, int index,
                        const wds_profile_settings_v01& settings) {
    const auto found = mStores.at(subscription).find({tech, index});
    if (found == mStores.at(subscription).end()) return false;
    auto* const into = reinterpret_cast<unsigned char*>(&found->second.settings);
    const auto* const from = reinterpret_cast<const unsigned char*>(&settings);
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        if (from[field.flag] == 0) continue;
        into[field.flag] = 1;
        std::memcpy(into + field.value, from + field.value, field.size);
    }
    report(subscription, tech, index, WDS_PROFILE_EVENT_MODIFY);
    return true;
}

bool ModemModel::remove(unsigned int subscription, TechType tech, int index) {
    if (mStores.at(subscription).erase({tech, index}) == 0) return false;
    report(subscription, tech, index, WDS_PROFILE_EVENT_DELETE);
    return true;
}

const modem::StoredProfile* ModemModel::find(TechType tech, int index) const {
    const auto found = mStores.at(mSubscription).find({tech, index});
    return found == mStores.at(mSubscription).end() ? nullptr : &found->second;
}

std::vector<modem::StoredProfile> ModemModel::all(unsigned int subscription) const {
    std::vector<modem::StoredProfile> profiles;
    for (const auto& [id, profile] : mStores.at(subscription)) profiles.push_back(profile);
    return profiles;
}

void ModemModel::powerOff() {
    mIsOn = false;
    underWay.clear();
    for (auto& store : mStores) {
        std::erase_if(store, [](const auto& entry) { return !entry.second.persistent; });
    }
}

void ModemModel::powerOn() {
    mIsOn = true;
    connect(mSubscription);
}

void ModemModel::connect(unsigned int subscription) {
    mSubscription = subscription;
    underWay.clear();
    report(subscription, TechType::TECH_3GPP, 0, WDS_PROFILE_EVENT_READY);
}

void ModemModel::report(unsigned int subscription, TechType tech, int index,
                        wds_profile_event_enum_v01 event) {
    if (!mIsOn || subscription != mSubscription) return;
    underWay.push_back({static_cast<wds_profile_type_enum_v01>(tech), index, event});
}

}  // namespace velo::model
