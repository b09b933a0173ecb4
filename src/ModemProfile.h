// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "mox/wds_v01.h"
#include "velo/FilterProfileParams.h"
#include "velo/IProfileKey.h"
#include "velo/ModifyProfileParams.h"
#include "velo/ProfileParams.h"

namespace velo {

/// The image of one data profile of the modem: what both technologies have in common. Owned by the
/// profile cache through shared pointers and touched on the worker thread only. What the modem did
/// not report is absent, which differs from every value.
///
/// Its destruction tells the listeners whose keys still live that the image is gone; a listener
/// that is empty then ends the process.
class ModemProfile {
public:
    ModemProfile(const ModemProfile&) = delete;
    ModemProfile& operator=(const ModemProfile&) = delete;
    virtual ~ModemProfile();

    /// Whether the profile has everything that the filter names.
    virtual bool match(FilterProfileParams& params);

    /// Takes over the settings that the delta of an accepted modification holds; their texts are
    /// moved, so that no memory is needed for what the modem has done.
    virtual void apply(std::shared_ptr<ModemProfile> delta);

    /// A profile that holds only what the request would change; empty when it would change nothing.
    virtual std::shared_ptr<ModemProfile> diff(ModifyProfileParams& params) = 0;

    /// The settings as callers see them.
    virtual ProfileParams get() = 0;

    virtual wds_create_profile_req_msg_v01 constructAddRequest() = 0;
    virtual wds_modify_profile_settings_req_msg_v01 constructModifyRequest() = 0;

    /// One line of label, "=", value and "," for each setting present; the password is printed in
    /// clear.
    virtual std::string dump();

    /// Whether each type of an `ApnTypes` mask is among the profile's; a profile without a mask has
    /// none.
    bool matchSubsetApnTypesMask(unsigned int mask) const;
    /// Whether the profile's types are exactly those of an `ApnTypes` mask.
    bool matchExactApnTypesMask(unsigned int mask) const;

    wds_profile_identifier_v01 constructProfileIdentifier() const;

    /// Adds each common setting that `requested` holds and that differs here to `changes`, and then
    /// sets `changed`, which is never cleared.
    void updateDiffParameters(const ModifyProfileParams& requested, ProfileParams& changes,
                              bool& changed) const;
    /// Writes the common settings that are present, but the IP type, into `out`.
    void updateGetParameters(FilterProfileParams& out) const;
    /// Clears the request, then writes persistence and the settings that are alike in both
    /// technologies.
    void updateAddParameters(wds_create_profile_req_msg_v01& request) const;
    /// Clears the request, then writes the identifier and the settings alike in both technologies.
    void updateModifyParameters(wds_modify_profile_settings_req_msg_v01& request) const;

    /// Has `callback` called when the image dies, if `key` still lives then.
    void registerExpirationListener(std::function<void()> callback, std::weak_ptr<IProfileKey> key);
    /// Forgets the listeners whose keys are gone.
    void clearExpiredListeners();

    TechType getTechType() const { return mTechType; }

    /// The modem's index; -1 until the modem has assigned one.
    int getProfileId() const { return mProfileId; }
    void setProfileId(int profileId) { mProfileId = profileId; }

    bool getIsPersistent() const { return mIsPersistent; }
    void setIsPersistent(bool isPersistent) { mIsPersistent = isPersistent; }

    bool getIsVeloCreated() const { return mIsVeloCreated; }
    void setIsVeloCreated(bool isVeloCreated) { mIsVeloCreated = isVeloCreated; }

    /// How many keys were handed out and not released. Counting past the range of int aborts.
    int getRefCount() const { return mRefCount; }
    void incRefCount();
    void decRefCount();

    std::string getApnName() const { return mApnName.value_or(std::string()); }
    void setApnName(std::string apnName) { mApnName = std::move(apnName); }
    bool hasApnName() const { return mApnName.has_value(); }

    /// APN types in the modem's layout.
    unsigned long long getApnTypesMask() const { return mApnTypesMask.value_or(0); }
    void setApnTypesMask(unsigned long long mask) { mApnTypesMask = mask; }
    bool hasApnTypesMask() const { return mApnTypesMask.has_value(); }

    IPType getCommonIPType() const { return mCommonIPType.value_or(IPType{}); }
    void setCommonIPType(IPType ipType) { mCommonIPType = ipType; }
    bool hasCommonIPType() const { return mCommonIPType.has_value(); }

    std::string getUserName() const { return mUserName.value_or(std::string()); }
    void setUserName(std::string userName) { mUserName = std::move(userName); }
    bool hasUserName() const { return mUserName.has_value(); }

    std::string getPassword() const { return mPassword.value_or(std::string()); }
    void setPassword(std::string password) { mPassword = std::move(password); }
    bool hasPassword() const { return mPassword.has_value(); }

    AuthType getAuthType() const { return mAuthType.value_or(AuthType{}); }
    void setAuthType(AuthType authType) { mAuthType = authType; }
    bool hasAuthType() const { return mAuthType.has_value(); }

    ApnClass getApnClass() const { return mApnClass.value_or(ApnClass{}); }
    void setApnClass(ApnClass apnClass) { mApnClass = apnClass; }
    bool hasApnClass() const { return mApnClass.has_value(); }

    bool getIsClatEnabled() const { return mIsClatEnabled.value_or(false); }
    void setIsClatEnabled(bool isClatEnabled) { mIsClatEnabled = isClatEnabled; }
    bool hasIsClatEnabled() const { return mIsClatEnabled.has_value(); }

protected:
    /// An image of what is to be created. The subclass sets technology and IP types.
    explicit ModemProfile(ProfileParams& params);
    /// An image of what the modem reports. The subclass reads the fields of its technology.
    ModemProfile(TechType techType, int profileId,
                 const wds_get_profile_settings_resp_msg_v01& response);

    /// Whether the profile's IP type is the requested one, or contains it with `subset` among the
    /// filter's criteria, or is contained in it with `superset` among them.
    static bool fitsIPType(IPType own, IPType requested, const FilterProfileParams& filter,
                           FilterMatchType subset, FilterMatchType superset);

    TechType mTechType = TechType::TECH_3GPP;
    int mProfileId = -1;
    bool mIsPersistent = false;
    bool mIsVeloCreated = false;
    int mRefCount = 0;
    std::list<std::pair<std::function<void()>, std::weak_ptr<IProfileKey>>> mExpirationListeners;
    std::optional<std::string> mApnName;
    std::optional<unsigned long long> mApnTypesMask;
    std::optional<IPType> mCommonIPType;
    std::optional<std::string> mUserName;
    std::optional<std::string> mPassword;
    std::optional<AuthType> mAuthType;
    std::optional<ApnClass> mApnClass;
    std::optional<bool> mIsClatEnabled;

private:
    bool matchApnTypes(const FilterProfileParams& params) const;
    void fillCommonSettings(wds_profile_settings_v01& settings) const;
};

}  // namespace velo
