// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "velo/Export.h"
#include "velo/ProfileTypes.h"

namespace velo {

/// The settings of a data profile, each of them optional: what a caller asks for, and what the
/// library hands back. A value type without locks; one thread at a time may change a record.
///
/// A new record holds nothing. A setter stores a value and marks it present; nothing marks it
/// absent again. A getter of an absent setting returns zero, false or the empty string, so ask
/// hasX() first.
///
/// Limits: an APN name counts with its first 150 bytes and without regard to the case of ASCII
/// letters; the modem keeps 127 bytes of a user name and a password, and 16 bits of each of the
/// three PDN throttling numbers; longer strings and larger numbers are cut on the way to the modem.
class VELO_EXPORT ProfileParams {
public:
    ProfileParams() = default;
    ProfileParams(const ProfileParams&) = default;
    ProfileParams(ProfileParams&&) = default;
    ProfileParams& operator=(const ProfileParams&) = default;
    ProfileParams& operator=(ProfileParams&&) = default;
    virtual ~ProfileParams();

    /// One line: label, "=", value and "," for each setting that is present; empty for an empty
    /// record. The password is printed in clear.
    virtual std::string dump() const;

    /// Whether this library made the profile; false when the record does not say.
    bool getIsVeloProfile() const { return mIsVeloProfile.value_or(false); }

    /// Whether the profile is for initial attach; false when the record does not say.
    bool getIsIAProfile() const { return mIsIAProfile.value_or(false); }

    /// Access point name; compared without regard to the case of ASCII letters, stored in lower
    /// case.
    const std::string& getApnName() const { return textOf(mApnName); }
    void setApnName(std::string apnName) { mApnName = std::move(apnName); }
    bool hasApnName() const { return mApnName.has_value(); }

    const std::string& getUserName() const { return textOf(mUserName); }
    void setUserName(std::string userName) { mUserName = std::move(userName); }
    bool hasUserName() const { return mUserName.has_value(); }

    const std::string& getPassword() const { return textOf(mPassword); }
    void setPassword(std::string password) { mPassword = std::move(password); }
    bool hasPassword() const { return mPassword.has_value(); }

    AuthType getAuthType() const { return mAuthType.value_or(AuthType{}); }
    void setAuthType(AuthType authType) { mAuthType = authType; }
    bool hasAuthType() const { return mAuthType.has_value(); }

    /// IP families in the home network.
    IPType getHomeIPType() const { return mHomeIPType.value_or(IPType{}); }
    void setHomeIPType(IPType homeIPType) { mHomeIPType = homeIPType; }
    bool hasHomeIPType() const { return mHomeIPType.has_value(); }

    /// IP families when roaming; 3GPP only.
    IPType getRoamIPType() const { return mRoamIPType.value_or(IPType{}); }
    void setRoamIPType(IPType roamIPType) { mRoamIPType = roamIPType; }
    bool hasRoamIPType() const { return mRoamIPType.has_value(); }

    /// OR of ApnTypes bits.
    unsigned int getApnTypesMask() const { return mApnTypesMask.value_or(0U); }
    void setApnTypesMask(unsigned int apnTypesMask) { mApnTypesMask = apnTypesMask; }
    bool hasApnTypesMask() const { return mApnTypesMask.has_value(); }

    ApnClass getApnClass() const { return mApnClass.value_or(ApnClass{}); }
    void setApnClass(ApnClass apnClass) { mApnClass = apnClass; }
    bool hasApnClass() const { return mApnClass.has_value(); }

    /// IPv4 over an IPv6-only data call (464XLAT).
    bool getIsClatEnabled() const { return mIsClatEnabled.value_or(false); }
    void setIsClatEnabled(bool isClatEnabled) { mIsClatEnabled = isClatEnabled; }
    bool hasIsClatEnabled() const { return mIsClatEnabled.has_value(); }

    /// Whether the profile may carry emergency calls; 3GPP only.
    bool getIsEmergencySupported() const { return mIsEmergencySupported.value_or(false); }
    void setIsEmergencySupported(bool isSupported) { mIsEmergencySupported = isSupported; }
    bool hasIsEmergencySupported() const { return mIsEmergencySupported.has_value(); }

    /// 3GPP only.
    bool getIsApnDisabled() const { return mIsApnDisabled.value_or(false); }
    void setIsApnDisabled(bool isApnDisabled) { mIsApnDisabled = isApnDisabled; }
    bool hasIsApnDisabled() const { return mIsApnDisabled.has_value(); }

    /// PDN throttling: connections allowed within one timer period, 0 to 65535; 3GPP only.
    int getMaxPdnsConnPerBlock() const { return mMaxPdnsConnPerBlock.value_or(0); }
    void setMaxPdnsConnPerBlock(int connections) { mMaxPdnsConnPerBlock = connections; }
    bool hasMaxPdnsConnPerBlock() const { return mMaxPdnsConnPerBlock.has_value(); }

    /// PDN throttling: the timer period in seconds, 0 to 65535; 3GPP only.
    int getMaxPdnConnTimer() const { return mMaxPdnConnTimer.value_or(0); }
    void setMaxPdnConnTimer(int seconds) { mMaxPdnConnTimer = seconds; }
    bool hasMaxPdnConnTimer() const { return mMaxPdnConnTimer.has_value(); }

    /// PDN throttling: seconds to wait between two connection requests, 0 to 65535; 3GPP only.
    int getPdnReqWaitInterval() const { return mPdnReqWaitInterval.value_or(0); }
    void setPdnReqWaitInterval(int seconds) { mPdnReqWaitInterval = seconds; }
    bool hasPdnReqWaitInterval() const { return mPdnReqWaitInterval.has_value(); }

protected:
    std::optional<bool> mIsVeloProfile;
    std::optional<bool> mIsIAProfile;

private:
    static const std::string& textOf(const std::optional<std::string>& setting);

    std::optional<std::string> mApnName;
    std::optional<std::string> mUserName;
    std::optional<std::string> mPassword;
    std::optional<AuthType> mAuthType;
    std::optional<IPType> mHomeIPType;
    std::optional<IPType> mRoamIPType;
    std::optional<std::uint32_t> mApnTypesMask;
    std::optional<ApnClass> mApnClass;
    std::optional<bool> mIsClatEnabled;
    std::optional<bool> mIsEmergencySupported;
    std::optional<bool> mIsApnDisabled;
    std::optional<std::int32_t> mMaxPdnsConnPerBlock;
    std::optional<std::int32_t> mMaxPdnConnTimer;
    std::optional<std::int32_t> mPdnReqWaitInterval;
};

}  // namespace velo
