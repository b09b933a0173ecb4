// SPDX-License-Identifier: Apache-2.0

#include "velo/Util.h"

#include <optional>
#include <unordered_set>
#include <utility>

#include "LogWrapper.h"
#include "OutOfMemory.h"
#include "ProfileConversions.h"
#include "SettingFields.h"
#include "velo/AddProfileParams.h"
#include "velo/FilterProfileParams.h"
#include "velo/Manager.h"
#include "velo/ModifyProfileParams.h"

namespace velo {

namespace {

using Key = std::shared_ptr<IProfileKey>;

constexpr unsigned int criteria(FilterMatchType first, FilterMatchType second) {
    return static_cast<unsigned int>(first) | static_cast<unsigned int>(second);
}

constexpr unsigned int kAnyHomeIP =
    criteria(FilterMatchType::HomeIPSubset, FilterMatchType::HomeIPSuperset);
constexpr unsigned int kAnyRoamIP =
    criteria(FilterMatchType::RoamIPSubset, FilterMatchType::RoamIPSuperset);

/// Copies those of the named settings that are present. Filters and updates are always built this
/// way: a whole record would bring its flags along.
template <typename... Fields>
void copySettings(const ProfileParams& from, ProfileParams& to, const Fields&... fields) {
    (fields.copy(from, to), ...);
}

FilterProfileParams filterFor(TechType techType) {
    FilterProfileParams filter;
    filter.setFilterByTechType(techType);
    return filter;
}

/// The first profile that fits; the claims on all others end here.
Key findFirst(Manager& manager, const FilterProfileParams& filter) {
    const std::list<Key> keys = manager.filter(filter);
    return keys.empty() ? nullptr : keys.front();
}

std::string textOf(const Key& key) {
    return key ? dumpOf(*key) : std::string();
}

ModifyProfileParams maskUpdate(unsigned int mask) {
    ModifyProfileParams update;
    update.setApnTypesMask(mask);
    return update;
}

/// The library's data-call profiles come and go with their keys, so that attach can not rest on
/// them.
bool isFitForAttach(const ProfileParams& contents) {
    return !contents.getIsVeloProfile() || contents.getIsIAProfile();
}

Key findExactAttachProfile(Manager& manager, const ProfileParams& params) {
    FilterProfileParams filter = filterFor(TechType::TECH_3GPP);
    copySettings(params, filter, setting::kApnName, setting::kHomeIPType, setting::kRoamIPType);
    if (!params.hasApnName()) logLine(LogLevel::Event, "velo NULL apn scenario");
    Key key = findFirst(manager, filter);
    if (!key) return nullptr;
    const std::optional<ProfileParams> contents = manager.getProfile(key);
    if (!contents || !isFitForAttach(*contents)) return nullptr;
    logLine(LogLevel::Event, "velo Found an exact match modem or VELO IA profile for attach");
    return key;
}

FilterProfileParams looseAttachFilter(const ProfileParams& params, bool isUpdateAllowed) {
    FilterProfileParams filter = filterFor(TechType::TECH_3GPP);
    copySettings(params, filter, setting::kApnName);
    if (isUpdateAllowed) return filter;
    filter.setFilterByIsVeloProfile(false);
    copySettings(params, filter, setting::kHomeIPType, setting::kRoamIPType);
    if (params.hasHomeIPType()) filter.addFilterMatchCriteria(kAnyHomeIP);
    if (params.hasRoamIPType()) filter.addFilterMatchCriteria(kAnyRoamIP);
    return filter;
}

/// A profile for attach, and whether it is known to be fit for it.
struct AttachCandidate {
    Key key;
    bool isFit = false;
};

AttachCandidate findLooseAttachProfile(Manager& manager, const FilterProfileParams& filter) {
    Key key = findFirst(manager, filter);
    if (!key) return {};
    logLine(LogLevel::Event, "velo Found a loose match profile for attach");
    const std::optional<ProfileParams> contents = manager.getProfile(key);
    if (!contents) return {std::move(key), false};
    if (isFitForAttach(*contents)) {
        logLine(LogLevel::Event, "It is VELO_IA profile or modem profile.");
        return {std::move(key), true};
    }
    logLine(LogLevel::Event, "It is not a VELO_IA profile. so skipping it.");
    return {};
}

/// An initial-attach profile of the library. One that is not found by name is to take the name
/// over.
Key findIAProfile(Manager& manager, const ProfileParams& params, ModifyProfileParams& update) {
    FilterProfileParams filter = filterFor(TechType::TECH_3GPP);
    filter.setFilterByIsVeloProfile(true);
    filter.setFilterByIsIAProfile(true);
    FilterProfileParams byName = filter;
    copySettings(params, byName, setting::kApnName);
    if (Key key = findFirst(manager, byName)) {
        logLine(LogLevel::Event, "velo Found a VELO IA profile that matches APN name for attach");
        return key;
    }
    Key key = findFirst(manager, filter);
    if (!key) return nullptr;
    copySettings(params, update, setting::kApnName);
    logLine(LogLevel::Event, "velo Found any VELO IA profile for attach");
    return key;
}

void logRecords(const std::list<ProfileParams>& records) {
    for (const ProfileParams& record : records) {
        logLine(LogLevel::Event, "    %s", dumpOf(record).c_str());
    }
}

/// Lowers the record's APN name, so that records group by it, and fills in what is missing.
void completeRecord(ProfileParams& record) {
    logLine(LogLevel::Event, "velo update APN type bitmask on modem profile for %s",
            dumpOf(record).c_str());
    if (record.hasApnName()) record.setApnName(convertToLower(record.getApnName()));
    if (!record.hasApnTypesMask()) {
        record.setApnTypesMask(0);
        logLine(LogLevel::Error, "velo APN type mask not present, setting to 0");
    }
    if (!record.hasHomeIPType()) {
        record.setHomeIPType(IPType::V4V6);
        logLine(LogLevel::Error, "velo Home IP type not present, setting to v4v6");
    }
}

/// The APN types that the records want for one APN name, by IP family.
struct FamilyMasks {
    unsigned int v4 = 0;
    unsigned int v6 = 0;
    unsigned int v4v6 = 0;

    void add(const ProfileParams& record) {
        switch (record.getHomeIPType()) {
            case IPType::V4:
                v4 |= record.getApnTypesMask();
                break;
            case IPType::V6:
                v6 |= record.getApnTypesMask();
                break;
            default:
                v4v6 |= record.getApnTypesMask();
        }
    }
};

FamilyMasks collectMasks(const std::list<ProfileParams>& records, const std::string& apnName) {
    FamilyMasks masks;
    for (const ProfileParams& record : records) {
        if (record.hasApnName() && record.getApnName() == apnName) masks.add(record);
    }
    return masks;
}

}  // namespace

Util::Util() : mManager(Manager::getInstance()) {
    logLine(LogLevel::Debug, "velo::Util: constructor");
}

Util::~Util() {
    logLine(LogLevel::Debug, "velo::Util: destructor");
}

void Util::setProfileUpdateAllowed(bool allowed) {
    logLine(LogLevel::Event, "velo::Util: profileUpdateAllowed %d", allowed ? 1 : 0);
    mProfileUpdateAllowed = allowed;
}

std::shared_ptr<IProfileKey> Util::findOrCreateProfileForSetupDataCall(
    TechType techType, const ProfileParams& params) {
    return orNothing([&] {
        logLine(LogLevel::Event, "velo findOrCreateProfileForSetupDataCall > %s",
                dumpOf(params).c_str());
        FilterProfileParams filter = filterFor(techType);
        copySettings(params, filter, setting::kApnName);
        if (techType == TechType::TECH_3GPP2) copySettings(params, filter, setting::kUserName);
        if (!mProfileUpdateAllowed) copySettings(params, filter, setting::kHomeIPType);

        Key key = findFirst(mManager, filter);
        if (!key && !mProfileUpdateAllowed) {
            filter.addFilterMatchCriteria(kAnyHomeIP);
            key = findFirst(mManager, filter);
        }
        if (key) {
            logLine(LogLevel::Event, "found existing setupDataCall profile");
            if (mProfileUpdateAllowed) {
                logLine(LogLevel::Event, "Modifying profile with input parameters");
                mManager.modifyProfile(ModifyProfileParams(params), key);
            }
        } else {
            key = mManager.addProfile(AddProfileParams(params, false, techType, false));
            logLine(LogLevel::Event, "setupDataCall profile added");
        }
        logLine(LogLevel::Event, "velo findOrCreateProfileForSetupDataCall < %s",
                textOf(key).c_str());
        return key;
    });
}

std::shared_ptr<IProfileKey> Util::findOrCreateProfileForEmergencyDataCall(
    const ProfileParams& params) {
    return orNothing([&] {
        logLine(LogLevel::Event, "velo findOrCreateProfileForEmergencyDataCall > %s",
                dumpOf(params).c_str());
        FilterProfileParams filter = filterFor(TechType::TECH_3GPP);
        filter.setIsEmergencySupported(true);
        Key key;
        if (params.hasApnName()) {
            FilterProfileParams byName = filter;
            copySettings(params, byName, setting::kApnName);
            key = findFirst(mManager, byName);
            if (key) logLine(LogLevel::Event, "found an emergency profile by name");
        }
        if (!key) {
            key = findFirst(mManager, filter);
            if (key) logLine(LogLevel::Event, "found a profile that supports emergency calls");
        }
        if (!key) {
            AddProfileParams wanted(params, true, TechType::TECH_3GPP, false);
            wanted.setIsEmergencySupported(true);
            wanted.setApnTypesMask(static_cast<unsigned int>(ApnTypes::EMERGENCY));
            key = mManager.addProfile(wanted);
            logLine(LogLevel::Event, "emergency profile created");
        }
        logLine(LogLevel::Event, "velo findOrCreateProfileForEmergencyDataCall < %s",
                textOf(key).c_str());
        return key;
    });
}

std::shared_ptr<IProfileKey> Util::findOrCreateProfileForLteAttach(const ProfileParams& params) {
    return orNothing([&] {
        logLine(LogLevel::Event, "velo findOrCreateProfileForLteAttach > %s",
                dumpOf(params).c_str());
        ModifyProfileParams update;
        copySettings(params, update, setting::kUserName, setting::kPassword, setting::kAuthType,
                     setting::kApnTypesMask, setting::kMaxPdnsConnPerBlock,
                     setting::kMaxPdnConnTimer, setting::kPdnReqWaitInterval);

        Key key = findExactAttachProfile(mManager, params);
        if (!key) {
            if (mProfileUpdateAllowed) {
                copySettings(params, update, setting::kHomeIPType, setting::kRoamIPType);
            }
            AttachCandidate loose =
                findLooseAttachProfile(mManager, looseAttachFilter(params, mProfileUpdateAllowed));
            key = std::move(loose.key);
            if (!loose.isFit) {
                copySettings(params, update, setting::kHomeIPType, setting::kRoamIPType);
                if (Key iaKey = findIAProfile(mManager, params, update)) key = std::move(iaKey);
            }
        }
        if (key) {
            mManager.modifyProfile(update, key);
            logLine(LogLevel::Event, "velo Modifying profile identified for IA");
        } else {
            key = mManager.addProfile(AddProfileParams(params, true, TechType::TECH_3GPP, true));
            logLine(LogLevel::Event, "velo VELO IA profile created for attach");
        }
        logLine(LogLevel::Event, "velo findOrCreateProfileForLteAttach < %s", textOf(key).c_str());
        return key;
    });
}

bool Util::matchLteAttachProfileId(int profileId, const ProfileParams& params) {
    return orNothing([&] {
        const std::string request =
            "Profile id = " + std::to_string(profileId) + " Input Params = " + params.dump();
        logLine(LogLevel::Event, "velo matchLteAttachProfileId > %s", request.c_str());
        FilterProfileParams byId = filterFor(TechType::TECH_3GPP);
        byId.setFilterByProfileId(profileId);
        const Key key = findFirst(mManager, byId);
        const std::optional<ProfileParams> contents = key ? mManager.getProfile(key) : std::nullopt;
        if (contents) {
            if (!isFitForAttach(*contents)) {
                logLine(
                    LogLevel::Error,
                    "Profile id %d is a VELO profile which is not an IA profile, cannot be used "
                    "for attach",
                    profileId);
                return false;
            }
            FilterProfileParams filter;
            copySettings(params, filter, setting::kApnName, setting::kHomeIPType,
                         setting::kRoamIPType, setting::kUserName, setting::kPassword,
                         setting::kAuthType);
            if (!mProfileUpdateAllowed && !contents->getIsVeloProfile()) {
                filter.addFilterMatchCriteria(kAnyHomeIP | kAnyRoamIP);
            }
            if (mManager.match(filter, key)) {
                logLine(LogLevel::Event, "velo matchLteAttachList < %d", profileId);
                return true;
            }
        }
        logLine(LogLevel::Event, "velo matchLteAttachProfileId < did not match input params");
        return false;
    });
}

void Util::updateModemProfileByApnClass(const std::list<ProfileParams>& params3gpp,
                                        const std::list<ProfileParams>& params3gpp2) {
    orNothing([&] {
        logLine(LogLevel::Event, "velo updateModemProfileByApnClass > ");
        logLine(LogLevel::Event, "  3gpp:");
        logRecords(params3gpp);
        logLine(LogLevel::Event, "  3gpp2:");
        logRecords(params3gpp2);
        const auto update = [this](const auto& records, const char* name, TechType techType) {
            for (const ProfileParams& record : records) {
                logLine(LogLevel::Debug, "velo update %s modem profile by APN class for %s", name,
                        dumpOf(record).c_str());
                updateModemProfileByApnClassAndTechType(record, techType);
            }
        };
        update(params3gpp, "3gpp", TechType::TECH_3GPP);
        update(params3gpp2, "3gpp2", TechType::TECH_3GPP2);
        logLine(LogLevel::Event, "velo updateModemProfileByApnClass < OK");
    });
}

void Util::updateModemProfileByApnClassAndTechType(const ProfileParams& params, TechType techType) {
    orNothing([&] {
        if (!params.hasApnClass()) {
            logLine(LogLevel::Debug, "velo either tech type or apn class is missing");
            return;
        }
        FilterProfileParams filter = filterFor(techType);
        copySettings(params, filter, setting::kApnClass);
        const std::list<Key> keys = mManager.filter(filter);
        if (keys.empty()) {
            logLine(
                LogLevel::Debug,
                "Did not find a match for APN class and tech type, create a persistent profile");
            if (!mManager.addProfile(AddProfileParams(params, true, techType, false))) {
                logLine(LogLevel::Error, "Could not add profile by APN class");
            }
            return;
        }
        logLine(LogLevel::Debug, "Found a match for APN class and tech type, modify the profile");
        const ModifyProfileParams update(params);
        for (const Key& key : keys) {
            if (!mManager.modifyProfile(update, key)) {
                logLine(LogLevel::Error, "Error while modifying profile by APN class");
            }
        }
    });
}

void Util::updateAPNTypeBitmaskOnModemProfile(const std::list<ProfileParams>& records) {
    orNothing([&] {
        logLine(LogLevel::Event, "velo updateAPNTypeBitmaskOnModemProfile > ");
        logRecords(records);
        std::list<ProfileParams> completed = records;
        std::unordered_set<std::string> apnNames;
        for (ProfileParams& record : completed) {
            completeRecord(record);
            if (record.hasApnName()) apnNames.insert(record.getApnName());
        }
        for (const std::string& apnName : apnNames) {
            const FamilyMasks masks = collectMasks(completed, apnName);
            logLine(LogLevel::Debug,
                    "velo processing APN name %s, V4 mask:0x%x, v6 mask0x%x:, v4v6 mask:0x%x",
                    apnName.c_str(), masks.v4, masks.v6, masks.v4v6);
            if (mProfileUpdateAllowed) {
                handleCombinedProfileUpdate(masks.v4 | masks.v6 | masks.v4v6, apnName);
                continue;
            }
            for (const TechType techType : {TechType::TECH_3GPP, TechType::TECH_3GPP2}) {
                handleProfileUpdateByTechType(techType, masks.v4, masks.v6, masks.v4v6, apnName);
            }
        }
        logLine(LogLevel::Event, "velo updateAPNTypeBitmaskOnModemProfile < OK");
    });
}

void Util::handleCombinedProfileUpdate(unsigned int mask, std::string apnName) {
    orNothing([&] {
        FilterProfileParams filter;
        filter.setApnName(std::move(apnName));
        const ModifyProfileParams update = maskUpdate(mask);
        for (const Key& key : mManager.filter(filter)) {
            logLine(LogLevel::Debug,
                    "velo updating profile id:%d, tech type:%d, with combined mask0x%x:",
                    key->getProfileId(), static_cast<int>(key->getTechType()), mask);
            mManager.modifyProfile(update, key);
        }
    });
}

void Util::handleProfileUpdateByTechType(TechType techType, unsigned int v4Mask,
                                         unsigned int v6Mask, unsigned int v4v6Mask,
                                         std::string apnName) {
    orNothing([&] {
        unsigned int leftover = v4v6Mask;
        if (v4Mask != 0 && !updateByIpType(techType, IPType::V4, v4Mask, apnName))
            leftover |= v4Mask;

        const unsigned int leftoverPlusV6 = leftover | v6Mask;
        const bool isV6Served =
            v6Mask == 0 || updateByIpType(techType, IPType::V6, v6Mask, apnName);
        const unsigned int dualStackMask = isV6Served ? leftover : leftoverPlusV6;
        if (dualStackMask == 0) return;
        if (updateByIpType(techType, IPType::V4V6, dualStackMask, apnName)) return;

        // The two families are not treated alike on purpose: the types of a V6 profile that was
        // found stay out of the V4 profile's mask, while those of a V4 profile reach the V6 one
        // only as leftovers.
        updateByIpType(techType, IPType::V4, dualStackMask | v4Mask, apnName);
        updateByIpType(techType, IPType::V6, leftoverPlusV6, apnName);
    });
}

bool Util::updateByIpType(TechType techType, IPType ipType, unsigned int mask,
                          std::string apnName) {
    return orNothing([&] {
        FilterProfileParams filter = filterFor(techType);
        filter.setApnName(std::move(apnName));
        filter.setHomeIPType(ipType);
        const std::list<Key> keys = mManager.filter(filter);
        if (keys.empty()) {
            logLine(
                LogLevel::Debug, "velo no match found for apn name:%s, ip type:%d, tech type:%d",
                filter.getApnName().c_str(), static_cast<int>(ipType), static_cast<int>(techType));
            return false;
        }
        const ModifyProfileParams update = maskUpdate(mask);
        for (const Key& key : keys) {
            logLine(LogLevel::Debug, "velo updating profile id:%d, tech type:%d, with mask0x%x:",
                    key->getProfileId(), static_cast<int>(key->getTechType()), mask);
            mManager.modifyProfile(update, key);
        }
        return true;
    });
}

}  // namespace velo
