// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <list>
#include <memory>
#include <string>

#include "velo/Export.h"
#include "velo/IProfileKey.h"
#include "velo/ProfileParams.h"

namespace velo {

class FilterProfileParams;
class Manager;
class ModifyProfileParams;

/// Policies on top of Manager: which profile serves a data call, an emergency call or the LTE
/// attach, and the upkeep of the modem's profiles. Each runs on the caller's thread as a series of
/// calls to Manager, under the same rule: one call at a time in the process. Where several profiles
/// fit, any of them is taken. A key that comes back empty means that no profile was found and none
/// could be created.
class VELO_EXPORT Util {
public:
    Util();
    Util(const Util&) = delete;
    Util& operator=(const Util&) = delete;
    ~Util();

    /// Whether profiles that are found may be changed to the caller's parameters; false at first.
    /// When it is true, a profile is looked for by APN name alone and then brought up to date.
    void setProfileUpdateAllowed(bool allowed);

    /// The profile for a data call: one with the APN name (and home IP type) of `params`, else a
    /// new one that lives as long as its keys.
    std::shared_ptr<IProfileKey> findOrCreateProfileForSetupDataCall(TechType techType,
                                                                     const ProfileParams& params);

    /// The profile for an emergency call: an emergency-capable 3GPP profile with the APN name of
    /// `params`, else any emergency-capable one, else a new persistent one with the type EMERGENCY.
    std::shared_ptr<IProfileKey> findOrCreateProfileForEmergencyDataCall(
        const ProfileParams& params);

    /// The 3GPP profile for the LTE initial attach: a profile of the modem's own, or an
    /// initial-attach profile of this library, that fits `params`; else any initial-attach profile
    /// of this library, adapted; else a new persistent one. The profile found is modified to the
    /// credentials, types and timers of `params`.
    std::shared_ptr<IProfileKey> findOrCreateProfileForLteAttach(const ProfileParams& params);

    /// Whether the 3GPP profile `profileId` may be used for attach with `params`.
    bool matchLteAttachProfileId(int profileId, const ProfileParams& params);

    /// Brings every profile of a record's APN class and technology to that record, or creates a
    /// persistent profile where there is none. Records without an APN class are passed over.
    void updateModemProfileByApnClass(const std::list<ProfileParams>& params3gpp,
                                      const std::list<ProfileParams>& params3gpp2);

    /// The same for one record.
    void updateModemProfileByApnClassAndTechType(const ProfileParams& params, TechType techType);

    /// Writes into the profiles of each APN name the APN types that the records want for it, by IP
    /// family, or all together when updates are allowed.
    void updateAPNTypeBitmaskOnModemProfile(const std::list<ProfileParams>& records);

    /// Writes `mask` into every profile with that APN name.
    void handleCombinedProfileUpdate(unsigned int mask, std::string apnName);

    /// Writes the masks of each IP family into the profiles of that family; types of a family
    /// without a profile go to the dual-stack profile, or from there to the profiles of single
    /// families.
    void handleProfileUpdateByTechType(TechType techType, unsigned int v4Mask, unsigned int v6Mask,
                                       unsigned int v4v6Mask, std::string apnName);

    /// Writes `mask` into every profile of that technology, home IP type and APN name; whether
    /// there was one.
    bool updateByIpType(TechType techType, IPType ipType, unsigned int mask, std::string apnName);

private:
    Manager& mManager;
    bool mProfileUpdateAllowed = false;
};

}  // namespace velo
