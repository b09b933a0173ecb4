// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "ModemProfile.h"

namespace velo {

/// The image of a 3GPP profile. Owned by the profile cache and touched on the worker thread only.
///
/// A caller's pair of home and roaming IP type is kept in the modem's four fields: when the two
/// differ, the common type is widened to dual stack and the home type goes into the override.
class Modem3gppProfile : public ModemProfile {
public:
    /// The names in the modem of what the library makes: these alone tell its profiles from others.
    static constexpr const char* kVeloProfileName = "velo_profile";
    static constexpr const char* kVeloIAProfileName = "velo_profile_ia";

    explicit Modem3gppProfile(ProfileParams& params);
    Modem3gppProfile(int profileId, const wds_get_profile_settings_resp_msg_v01& response);

    bool match(FilterProfileParams& params) override;
    void apply(std::shared_ptr<ModemProfile> delta) override;
    std::shared_ptr<ModemProfile> diff(ModifyProfileParams& params) override;
    ProfileParams get() override;
    wds_create_profile_req_msg_v01 constructAddRequest() override;
    wds_modify_profile_settings_req_msg_v01 constructModifyRequest() override;
    std::string dump() override;

    /// The common, roaming and override types that serve `requested` on top of what this profile
    /// has. An override of UNKNOWN clears an earlier one.
    void getNewIPTypes(const ProfileParams& requested, std::optional<IPType>& home,
                       std::optional<IPType>& roam, std::optional<IPType>& overrideHome) const;

    std::string getProfileName() const { return mProfileName.value_or(std::string()); }
    void setProfileName(std::string profileName) { mProfileName = std::move(profileName); }
    bool hasProfileName() const { return mProfileName.has_value(); }

    /// UNKNOWN is no override.
    IPType getOverrideHomeIPType() const { return mOverrideHomeIPType.value_or(IPType{}); }
    void setOverrideHomeIPType(IPType ipType) { mOverrideHomeIPType = ipType; }
    bool hasOverrideHomeIPType() const { return mOverrideHomeIPType.has_value(); }

    IPType getLteRoamIPType() const { return mLteRoamIPType.value_or(IPType{}); }
    void setLteRoamIPType(IPType ipType) { mLteRoamIPType = ipType; }
    bool hasLteRoamIPType() const { return mLteRoamIPType.has_value(); }

    IPType getUmtsRoamIPType() const { return mUmtsRoamIPType.value_or(IPType{}); }
    void setUmtsRoamIPType(IPType ipType) { mUmtsRoamIPType = ipType; }
    bool hasUmtsRoamIPType() const { return mUmtsRoamIPType.has_value(); }

    int getMaxPdnsConnPerBlock() const { return mMaxPdnsConnPerBlock.value_or(0); }
    void setMaxPdnsConnPerBlock(int connections) { mMaxPdnsConnPerBlock = connections; }
    bool hasMaxPdnsConnPerBlock() const { return mMaxPdnsConnPerBlock.has_value(); }

    int getMaxPdnConnTimer() const { return mMaxPdnConnTimer.value_or(0); }
    void setMaxPdnConnTimer(int seconds) { mMaxPdnConnTimer = seconds; }
    bool hasMaxPdnConnTimer() const { return mMaxPdnConnTimer.has_value(); }

    int getPdnReqWaitInterval() const { return mPdnReqWaitInterval.value_or(0); }
    void setPdnReqWaitInterval(int seconds) { mPdnReqWaitInterval = seconds; }
    bool hasPdnReqWaitInterval() const { return mPdnReqWaitInterval.has_value(); }

    bool getIsApnDisabled() const { return mIsApnDisabled.value_or(false); }
    void setIsApnDisabled(bool isApnDisabled) { mIsApnDisabled = isApnDisabled; }
    bool hasIsApnDisabled() const { return mIsApnDisabled.has_value(); }

    bool getIsEmergencySupported() const { return mIsEmergencySupported.value_or(false); }
    void setIsEmergencySupported(bool isSupported) { mIsEmergencySupported = isSupported; }
    bool hasIsEmergencySupported() const { return mIsEmergencySupported.has_value(); }

private:
    bool isIAProfile() const { return mProfileName == kVeloIAProfileName; }
    bool isVeloProfile() const { return isIAProfile() || mProfileName == kVeloProfileName; }
    std::optional<IPType> effectiveHomeIPType() const;
    bool matchFlags(const FilterProfileParams& params) const;
    bool matchRoamIPType(const FilterProfileParams& params) const;
    void fillSettings(wds_profile_settings_v01& settings) const;

    std::optional<IPType> mOverrideHomeIPType;
    std::optional<IPType> mLteRoamIPType;
    std::optional<IPType> mUmtsRoamIPType;
    std::optional<int> mMaxPdnsConnPerBlock;
    std::optional<int> mMaxPdnConnTimer;
    std::optional<int> mPdnReqWaitInterval;
    std::optional<bool> mIsApnDisabled;
    std::optional<std::string> mProfileName;
    std::optional<bool> mIsEmergencySupported;
};

}  // namespace velo
