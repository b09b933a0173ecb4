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
/// calls to Manager, under the same rule: one call at a time in the process. The series is not
/// atomic: the modem's profiles may change between its steps. Of several profiles that fit, any is
/// taken, and only that one is looked at. A key that comes back empty means that no profile was
/// found and none could be created. Everything else that fails is logged and nothing more.
class VELO_EXPORT Util {
public:
    /// Belongs to Manager::getInstance(), which need not be initialised yet.
    Util();
    Util(const Util&) = delete;
    Util& operator=(const Util&) = delete;
    ~Util();

    /// Whether profiles that are found may be changed to the caller's parameters; false at first.
    /// When it is true, a profile is looked for by APN name alone and then brought up to date. Kept
    /// in this object, so that two of them may differ.
    void setProfileUpdateAllowed(bool allowed);

    /// The profile for a data call: one with the APN name of `params` (for 3GPP2 the user name,
    /// too) and its home IP type, else one whose home IP type includes or is included in it, else a
    /// new one that lives as long as its keys. APN types and credentials play no part, so calls of
    /// different kinds that share an APN name share a profile. With updates allowed the home IP
    /// type plays no part either, and the profile found is modified to every setting of `params`,
    /// for all who use it.
    std::shared_ptr<IProfileKey> findOrCreateProfileForSetupDataCall(TechType techType,
                                                                     const ProfileParams& params);

    /// The profile for an emergency call: an emergency-capable 3GPP profile with the APN name of
    /// `params`, else any emergency-capable one, else a new persistent one with the settings of
    /// `params` and the type EMERGENCY alone. What is found is left as it is.
    std::shared_ptr<IProfileKey> findOrCreateProfileForEmergencyDataCall(
        const ProfileParams& params);

    /// The 3GPP profile for the LTE initial attach: a profile of the modem's own, or an
    /// initial-attach profile of this library, that fits `params`; else any initial-attach profile
    /// of this library, which takes over the APN name; else a new persistent one. The library's
    /// data-call profiles are never taken.
    ///
    /// The profile found is modified to those credentials, APN types and throttling numbers that
    /// `params` holds, and to its IP types, but for a profile that somebody else made while updates
    /// are not allowed. What `params` does not hold stays: credentials of another APN, too, unless
    /// they are given as empty strings and AuthType::NONE.
    std::shared_ptr<IProfileKey> findOrCreateProfileForLteAttach(const ProfileParams& params);

    /// Whether the 3GPP profile `profileId` may be used for attach with `params`: APN name, IP
    /// types and credentials that `params` holds are the profile's, and it is no data-call profile
    /// of this library. IP types that include each other are enough for a profile that the library
    /// did not make, unless updates are allowed.
    /// @param profileId the modem's index, 0 to 255
    /// @param params what attach needs
    bool matchLteAttachProfileId(int profileId, const ProfileParams& params);

    /// Brings every profile of a record's APN class and technology to that record, APN name
    /// included, or creates a persistent profile where there is none. Records without an APN class
    /// are passed over.
    void updateModemProfileByApnClass(const std::list<ProfileParams>& params3gpp,
                                      const std::list<ProfileParams>& params3gpp2);

    /// The same for one record.
    void updateModemProfileByApnClassAndTechType(const ProfileParams& params, TechType techType);

    /// Writes into the profiles of each APN name, of both technologies and whoever made them, the
    /// APN types that the records want for it; the masks that they had are replaced. By IP family,
    /// as handleProfileUpdateByTechType() says, or all together when updates are allowed. A record
    /// without a mask counts with none, one without a home IP type as V4V6; one without an APN name
    /// is passed over.
    void updateAPNTypeBitmaskOnModemProfile(const std::list<ProfileParams>& records);

    /// Writes `mask`, an OR of ApnTypes bits, into every profile with that APN name.
    void handleCombinedProfileUpdate(unsigned int mask, std::string apnName);

    /// Writes the masks of each IP family into the profiles of that family; types of a family
    /// without a profile go to the dual-stack profile, or from there to the profiles of single
    /// families. Masks are ORs of ApnTypes bits; a family with mask 0 keeps what it has, unless it
    /// is given another family's types.
    void handleProfileUpdateByTechType(TechType techType, unsigned int v4Mask, unsigned int v6Mask,
                                       unsigned int v4v6Mask, std::string apnName);

    /// Writes `mask`, an OR of ApnTypes bits, into every profile of that technology, home IP type
    /// and APN name; whether there was one.
    bool updateByIpType(TechType techType, IPType ipType, unsigned int mask, std::string apnName);

private:
    Manager& mManager;
    bool mProfileUpdateAllowed = false;
};

}  // namespace velo
