// SPDX-License-Identifier: Apache-2.0

#include "model/PolicyModel.h"

#include <iterator>
#include <map>
#include <sstream>
#include <utility>

namespace velo::model {

namespace {

FilterProfileParams of3gpp() {
    FilterProfileParams filter;
    filter.setFilterByTechType(TechType::TECH_3GPP);
    return filter;
}

constexpr unsigned int kApn = 1;
constexpr unsigned int kHome = 2;
constexpr unsigned int kRoam = 4;
constexpr unsigned int kCredentials = 8;

/// What a filter or an update takes over from the parameters, where they have it.
void copy(unsigned int what, const ProfileParams& from, ProfileParams& to) {
    const bool withCredentials = (what & kCredentials) != 0;
    if ((what & kApn) != 0 && from.hasApnName()) to.setApnName(from.getApnName());
    if ((what & kHome) != 0 && from.hasHomeIPType()) to.setHomeIPType(from.getHomeIPType());
    if ((what & kRoam) != 0 && from.hasRoamIPType()) to.setRoamIPType(from.getRoamIPType());
    if (withCredentials && from.hasUserName()) to.setUserName(from.getUserName());
    if (withCredentials && from.hasPassword()) to.setPassword(from.getPassword());
    if (withCredentials && from.hasAuthType()) to.setAuthType(from.getAuthType());
}

std::string textOf(const KeyPtr& key) {
    return key ? key->dump() : "";
}

bool servesAttach(const ProfileParams& profile) {
    return !profile.getIsVeloProfile() || profile.getIsIAProfile();
}

template <typename Value>
std::string number(Value value) {
    return std::to_string(static_cast<int>(value));
}

std::string hex(unsigned int value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

}  // namespace

void PolicyModel::setProfileUpdateAllowed(bool allowed) {
    say(std::string("velo::Util: profileUpdateAllowed ") + (allowed ? "1" : "0"));
    mIsUpdateAllowed = allowed;
}

KeyPtr PolicyModel::first(const FilterProfileParams& filter) {
    Keys keys = mCache.filter(filter);
    if (keys.empty()) return nullptr;
    KeyPtr key = std::move(keys.front());
    keys.erase(keys.begin());
    for (KeyPtr& other : keys) mCache.dropSometime(std::move(other));
    return key;
}

KeyPtr PolicyModel::dataCall(TechType tech, const ProfileParams& params) {
    say("velo findOrCreateProfileForSetupDataCall > " + params.dump());
    FilterProfileParams filter;
    copy(kApn, params, filter);
    filter.setFilterByTechType(tech);
    if (tech == TechType::TECH_3GPP2 && params.hasUserName()) {
        filter.setUserName(params.getUserName());
    }
    if (!mIsUpdateAllowed) copy(kHome, params, filter);
    KeyPtr key = first(filter);
    if (!mIsUpdateAllowed && !key) {
        filter.addFilterMatchCriteria(0x11);
        key = first(filter);
    }
    if (key) {
        say("found existing setupDataCall profile");
        if (mIsUpdateAllowed) {
            say("Modifying profile with input parameters");
            mCache.modifyProfile(ModifyProfileParams(params), key);
        }
    } else {
        key = mCache.addProfile(AddProfileParams(params, false, tech, false));
        say("setupDataCall profile added");
    }
    say("velo findOrCreateProfileForSetupDataCall < " + textOf(key));
    return key;
}

KeyPtr PolicyModel::emergencyCall(const ProfileParams& params) {
    say("velo findOrCreateProfileForEmergencyDataCall > " + params.dump());
    FilterProfileParams filter = of3gpp();
    filter.setIsEmergencySupported(true);
    KeyPtr key;
    if (params.hasApnName()) {
        FilterProfileParams named = filter;
        copy(kApn, params, named);
        key = first(named);
        if (key) say("found an emergency profile by name");
    }
    if (!key) {
        key = first(filter);
        if (key) say("found a profile that supports emergency calls");
    }
    if (!key) {
        AddProfileParams add(params, true, TechType::TECH_3GPP, false);
        add.setIsEmergencySupported(true);
        add.setApnTypesMask(0x200);
        key = mCache.addProfile(add);
        say("emergency profile created");
    }
    say("velo findOrCreateProfileForEmergencyDataCall < " + textOf(key));
    return key;
}

KeyPtr PolicyModel::attach(const ProfileParams& params) {
    say("velo findOrCreateProfileForLteAttach > " + params.dump());
    ModifyProfileParams update;
    copy(kCredentials, params, update);
    if (params.hasApnTypesMask()) update.setApnTypesMask(params.getApnTypesMask());
    if (params.hasMaxPdnsConnPerBlock()) {
        update.setMaxPdnsConnPerBlock(params.getMaxPdnsConnPerBlock());
    }
    if (params.hasMaxPdnConnTimer()) update.setMaxPdnConnTimer(params.getMaxPdnConnTimer());
    if (params.hasPdnReqWaitInterval()) {
        update.setPdnReqWaitInterval(params.getPdnReqWaitInterval());
    }

    KeyPtr key = findExact(params);
    if (!key) key = findLoose(params, update);
    if (!key) {
        copy(kHome | kRoam, params, update);
        key = findInitial(params, update);
    }
    if (key) {
        mCache.modifyProfile(update, key);
        say("velo Modifying profile identified for IA");
    } else {
        key = mCache.addProfile(AddProfileParams(params, true, TechType::TECH_3GPP, true));
        say("velo VELO IA profile created for attach");
    }
    say("velo findOrCreateProfileForLteAttach < " + textOf(key));
    return key;
}

KeyPtr PolicyModel::findExact(const ProfileParams& params) {
    FilterProfileParams filter = of3gpp();
    if (!params.hasApnName()) say("velo NULL apn scenario");
    copy(kApn | kHome | kRoam, params, filter);
    KeyPtr key = first(filter);
    if (!key) return nullptr;
    const auto contents = mCache.getProfile(key);
    if (contents && servesAttach(*contents)) {
        say("velo Found an exact match modem or VELO IA profile for attach");
        return key;
    }
    mCache.dropSometime(std::move(key));
    return nullptr;
}

KeyPtr PolicyModel::findLoose(const ProfileParams& params, ModifyProfileParams& update) {
    FilterProfileParams filter = of3gpp();
    copy(kApn, params, filter);
    if (mIsUpdateAllowed) {
        copy(kHome | kRoam, params, update);
    } else {
        filter.setFilterByIsVeloProfile(false);
        copy(kHome | kRoam, params, filter);
        if (params.hasHomeIPType()) filter.addFilterMatchCriteria(0x11);
        if (params.hasRoamIPType()) filter.addFilterMatchCriteria(0x22);
    }
    KeyPtr key = first(filter);
    if (!key) return nullptr;
    say("velo Found a loose match profile for attach");
    // What a filter has just found can be read: nobody else is at the cache.
    if (servesAttach(mCache.getProfile(key).value())) {
        say("It is VELO_IA profile or modem profile.");
        return key;
    }
    say("It is not a VELO_IA profile. so skipping it.");
    mCache.dropSometime(std::move(key));
    return nullptr;
}

KeyPtr PolicyModel::findInitial(const ProfileParams& params, ModifyProfileParams& update) {
    FilterProfileParams any = of3gpp();
    any.setFilterByIsVeloProfile(true);
    any.setFilterByIsIAProfile(true);
    FilterProfileParams named = any;
    copy(kApn, params, named);
    KeyPtr key = first(named);
    if (key) {
        say("velo Found a VELO IA profile that matches APN name for attach");
        return key;
    }
    key = first(any);
    if (key) {
        copy(kApn, params, update);
        say("velo Found any VELO IA profile for attach");
    }
    return key;
}

bool PolicyModel::matchAttach(int id, const ProfileParams& params) {
    say("velo matchLteAttachProfileId > Profile id = " + std::to_string(id) +
        " Input Params = " + params.dump());
    FilterProfileParams byId = of3gpp();
    byId.setFilterByProfileId(id);
    if (KeyPtr key = first(byId)) {
        const ProfileParams contents = mCache.getProfile(key).value();
        if (!servesAttach(contents)) {
            say("Profile id " + std::to_string(id) +
                    " is a VELO profile which is not an IA profile, cannot be used for attach",
                LogLevel::Error);
            mCache.dropSometime(std::move(key));
            return false;
        }
        FilterProfileParams filter;
        copy(kApn | kHome | kRoam | kCredentials, params, filter);
        if (!mIsUpdateAllowed && !contents.getIsVeloProfile()) filter.addFilterMatchCriteria(0x33);
        const bool matched = mCache.match(filter, key);
        mCache.dropSometime(std::move(key));
        if (matched) {
            say("velo matchLteAttachList < " + std::to_string(id));
            return true;
        }
    }
    say("velo matchLteAttachProfileId < did not match input params");
    return false;
}

void PolicyModel::updateByClass(const std::list<ProfileParams>& params3gpp,
                                const std::list<ProfileParams>& params3gpp2) {
    say("velo updateModemProfileByApnClass > ");
    say("  3gpp:");
    for (const ProfileParams& params : params3gpp) say("    " + params.dump());
    say("  3gpp2:");
    for (const ProfileParams& params : params3gpp2) say("    " + params.dump());
    const auto update = [&](const auto& all, TechType tech, const std::string& name) {
        for (const ProfileParams& params : all) {
            say("velo update " + name + " modem profile by APN class for " + params.dump(),
                LogLevel::Debug);
            updateByClass(params, tech);
        }
    };
    update(params3gpp, TechType::TECH_3GPP, "3gpp");
    update(params3gpp2, TechType::TECH_3GPP2, "3gpp2");
    say("velo updateModemProfileByApnClass < OK");
}

void PolicyModel::updateByClass(const ProfileParams& params, TechType tech) {
    if (!params.hasApnClass()) {
        say("velo either tech type or apn class is missing", LogLevel::Debug);
        return;
    }
    FilterProfileParams filter;
    filter.setFilterByTechType(tech);
    filter.setApnClass(params.getApnClass());
    Keys keys = mCache.filter(filter);
    if (keys.empty()) {
        say("Did not find a match for APN class and tech type, create a persistent profile",
            LogLevel::Debug);
        KeyPtr key = mCache.addProfile(AddProfileParams(params, true, tech, false));
        if (!key) say("Could not add profile by APN class", LogLevel::Error);
        mCache.dropSometime(std::move(key));
        return;
    }
    say("Found a match for APN class and tech type, modify the profile", LogLevel::Debug);
    while (!keys.empty()) {
        KeyPtr key = mCache.takeNext(keys);
        if (!mCache.modifyProfile(ModifyProfileParams(params), key)) {
            say("Error while modifying profile by APN class", LogLevel::Error);
        }
        mCache.dropSometime(std::move(key));
    }
}

void PolicyModel::updateTypes(const std::list<ProfileParams>& records) {
    say("velo updateAPNTypeBitmaskOnModemProfile > ");
    for (const ProfileParams& params : records) say("    " + params.dump());
    struct Masks {
        unsigned int v4 = 0;
        unsigned int v6 = 0;
        unsigned int v4v6 = 0;
    };
    std::map<std::string, Masks> groups;
    for (const ProfileParams& params : records) {
        say("velo update APN type bitmask on modem profile for " + params.dump());
        if (!params.hasApnTypesMask()) {
            say("velo APN type mask not present, setting to 0", LogLevel::Error);
        }
        if (!params.hasHomeIPType()) {
            say("velo Home IP type not present, setting to v4v6", LogLevel::Error);
        }
        if (!params.hasApnName()) continue;
        std::string apn = params.getApnName();
        for (char& c : apn) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        const unsigned int mask = params.hasApnTypesMask() ? params.getApnTypesMask() : 0;
        const IPType home = params.hasHomeIPType() ? params.getHomeIPType() : IPType::V4V6;
        Masks& masks = groups[apn];
        (home == IPType::V6 ? masks.v6 : home == IPType::V4 ? masks.v4 : masks.v4v6) |= mask;
    }
    while (!groups.empty()) {
        // The names come in any order: the next line tells which.
        std::vector<std::string> lines;
        lines.reserve(groups.size());
        for (const auto& [apn, masks] : groups) {
            lines.push_back("velo processing APN name " + apn + ", V4 mask:" + hex(masks.v4) +
                            ", v6 mask" + hex(masks.v6) + ":, v4v6 mask:" + hex(masks.v4v6));
        }
        const auto next = mCache.expectOneOf(LogLevel::Debug, lines);
        const auto group = std::next(groups.begin(), static_cast<std::ptrdiff_t>(next));
        const auto [apn, masks] = *group;
        groups.erase(group);
        if (mIsUpdateAllowed) {
            updateCombined(masks.v4 | masks.v6 | masks.v4v6, apn);
        } else {
            updateByTech(TechType::TECH_3GPP, masks.v4, masks.v6, masks.v4v6, apn);
            updateByTech(TechType::TECH_3GPP2, masks.v4, masks.v6, masks.v4v6, apn);
        }
    }
    say("velo updateAPNTypeBitmaskOnModemProfile < OK");
}

void PolicyModel::updateCombined(unsigned int mask, const std::string& apn) {
    FilterProfileParams filter;
    filter.setApnName(apn);
    ModifyProfileParams update;
    update.setApnTypesMask(mask);
    modifyEach(mCache.filter(filter), update, "combined mask" + hex(mask));
}

void PolicyModel::modifyEach(Keys keys, const ModifyProfileParams& update,
                             const std::string& with) {
    while (!keys.empty()) {
        KeyPtr key = mCache.takeNext(keys);
        say("velo updating profile id:" + std::to_string(key->id) +
                ", tech type:" + number(key->tech) + ", with " + with + ":",
            LogLevel::Debug);
        mCache.modifyProfile(update, key);
        mCache.dropSometime(std::move(key));
    }
}

void PolicyModel::updateByTech(TechType tech, unsigned int v4, unsigned int v6, unsigned int v4v6,
                               const std::string& apn) {
    unsigned int left = v4v6;
    if (v4 != 0 && !updateByIPType(tech, IPType::V4, v4, apn)) left |= v4;
    const unsigned int leftAndV6 = left | v6;
    const bool v6Done = v6 == 0 || updateByIPType(tech, IPType::V6, v6, apn);
    const unsigned int dual = v6Done ? left : leftAndV6;
    if (v6Done && dual == 0) return;
    if (updateByIPType(tech, IPType::V4V6, dual, apn)) return;
    updateByIPType(tech, IPType::V4, dual | v4, apn);
    updateByIPType(tech, IPType::V6, leftAndV6, apn);
}

bool PolicyModel::updateByIPType(TechType tech, IPType type, unsigned int mask,
                                 const std::string& apn) {
    FilterProfileParams filter;
    filter.setFilterByTechType(tech);
    filter.setApnName(apn);
    filter.setHomeIPType(type);
    ModifyProfileParams update;
    update.setApnTypesMask(mask);
    Keys keys = mCache.filter(filter);
    if (keys.empty()) {
        say("velo no match found for apn name:" + apn + ", ip type:" + number(type) +
                ", tech type:" + number(tech),
            LogLevel::Debug);
        return false;
    }
    modifyEach(std::move(keys), update, "mask" + hex(mask));
    return true;
}

}  // namespace velo::model
