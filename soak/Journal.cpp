// SPDX-License-Identifier: Apache-2.0

#include "soak/Journal.h"

#include <memory>

#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"

namespace velo::soak {

namespace {

std::unique_ptr<ModemProfile> readProfile(const modem::StoredProfile& profile) {
    wds_get_profile_settings_resp_msg_v01 response{};
    response.persistent = {1, static_cast<std::uint8_t>(profile.persistent ? 1 : 0)};
    response.settings = profile.settings;
    if (profile.id.profile_type == WDS_PROFILE_TYPE_3GPP2) {
        return std::make_unique<Modem3gpp2Profile>(profile.id.profile_index, response);
    }
    return std::make_unique<Modem3gppProfile>(profile.id.profile_index, response);
}

/// Whether it is one that the soak made, by either client.
bool isOwn(const std::string& apn) {
    return apn.starts_with("soak.") || apn.starts_with("other.");
}

}  // namespace

std::string textOf(const Place& place) {
    return (place.first == TechType::TECH_3GPP ? "3GPP:" : "3GPP2:") + std::to_string(place.second);
}

std::string imageOf(const modem::StoredProfile& profile) {
    return readProfile(profile)->dump();
}

std::string apnOf(const modem::StoredProfile& profile) {
    return readProfile(profile)->getApnName();
}

Place placeOf(const modem::StoredProfile& profile) {
    return {static_cast<TechType>(profile.id.profile_type), profile.id.profile_index};
}

std::string Journal::fresh() {
    const auto held = hold();
    return std::to_string(++mLast);
}

void Journal::added(const Place& place, const std::string& apn, const std::string& user) {
    const auto held = hold();
    if (const auto entry = mEntries.find(place); entry != mEntries.end()) {
        mViolations.push_back("lost: " + entry->second.apn + " was at " + textOf(place) +
                              ", which was given to " + apn);
    }
    mEntries[place] = {apn, {user}};
}

void Journal::mayChange(const Place& place, const std::string& user) {
    const auto held = hold();
    if (const auto entry = mEntries.find(place); entry != mEntries.end()) {
        entry->second.users.insert(user);
    }
}

void Journal::changed(const Place& place, const std::string& user) {
    const auto held = hold();
    if (const auto entry = mEntries.find(place); entry != mEntries.end()) {
        entry->second.users = {user};
    }
}

void Journal::overwritten(const Place& place) {
    const auto held = hold();
    if (const auto entry = mEntries.find(place); entry != mEntries.end()) {
        entry->second.overwritten = true;
    }
}

void Journal::mayBeGone(const Place& place) {
    const auto held = hold();
    mEntries.erase(place);
}

void Journal::deleted(const Place& place) {
    const auto held = hold();
    const auto entry = mEntries.find(place);
    if (entry == mEntries.end()) return;
    if (!entry->second.overwritten) mGone.insert(entry->second.apn);
    mEntries.erase(entry);
}

std::vector<std::string> Journal::violations(const std::vector<modem::StoredProfile>& store) {
    const auto held = hold();
    std::vector<std::string> found;
    found.swap(mViolations);
    std::map<Place, const modem::StoredProfile*> there;
    for (const modem::StoredProfile& profile : store) {
        there[placeOf(profile)] = &profile;
        if (mGone.contains(apnOf(profile))) found.push_back("resurrected: " + imageOf(profile));
    }
    for (const auto& [place, entry] : mEntries) {
        const auto kept = there.find(place);
        if (kept == there.end() || !kept->second->persistent) {
            found.push_back("lost: " + entry.apn + " at " + textOf(place));
            continue;
        }
        if (entry.overwritten) continue;
        const auto profile = readProfile(*kept->second);
        if (profile->getApnName() != entry.apn || !entry.users.contains(profile->getUserName())) {
            std::string versions;
            for (const std::string& user : entry.users) versions += " " + user;
            found.push_back("mixed up: " + profile->dump() + " is not " + entry.apn + " of" +
                            versions);
        }
    }
    return found;
}

void Journal::adopt(const std::vector<modem::StoredProfile>& store) {
    const auto held = hold();
    mEntries.clear();
    for (const modem::StoredProfile& profile : store) {
        const auto image = readProfile(profile);
        if (!profile.persistent || !isOwn(image->getApnName())) continue;
        mEntries[placeOf(profile)] = {image->getApnName(), {image->getUserName()}};
    }
}

}  // namespace velo::soak
