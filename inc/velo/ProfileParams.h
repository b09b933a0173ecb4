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
/// library hands back. A value type without locks; one thread at a time may change a record. No
/// operation fails.
///
/// A new record holds nothing. A setter stores its argument as it is and marks the setting present;
/// nothing marks it absent again. A getter of an absent setting returns zero, false or the empty
/// string, so ask hasX() first.
///
/// A record takes any value; a profile does not. What is over a limit named at a setter is cut when
/// it is sent to the modem, silently, while the cache keeps what the caller gave until it reads the
/// profile from the modem again. To be safe, stay within the limits. A 3GPP2 profile has no setting
/// that is marked 3GPP only: adding and modifying ignore it, a filter with it never matches.
class VELO_EXPORT ProfileParams {
public:
    /// A record that holds nothing.
    ProfileParams() = default;
    ///@{
    /// Values and what is present go along.
    ProfileParams(const ProfileParams&) = default;
    ProfileParams(ProfileParams&&) = default;
    ProfileParams& operator=(const ProfileParams&) = default;
    ProfileParams& operator=(ProfileParams&&) = default;
    ///@}
    virtual ~ProfileParams();

    /// One line: label, "=", value and "," for each setting that is present; empty for an empty
    /// record. The password is printed in clear.
    virtual std::string dump() const;

    /// Whether this library made the profile; false when the record does not say. Known by the name
    /// that the profile has in the modem, so it is true of profiles left by earlier processes, too.
    /// 3GPP only. Set by Manager::getProfile and FilterProfileParams::setFilterByIsVeloProfile.
    bool getIsVeloProfile() const { return mIsVeloProfile.value_or(false); }

    /// Whether the library made the profile for initial attach; false when the record does not say.
    /// 3GPP only. Set by Manager::getProfile, AddProfileParams and
    /// FilterProfileParams::setFilterByIsIAProfile.
    bool getIsIAProfile() const { return mIsIAProfile.value_or(false); }

    ///@{
    /// Access point name. A profile keeps the first 150 bytes, ASCII letters in lower case, and
    /// compares names in that form.
    const std::string& getApnName() const { return textOf(mApnName); }
    void setApnName(std::string apnName) { mApnName = std::move(apnName); }
    bool hasApnName() const { return mApnName.has_value(); }
    ///@}

    ///@{
    /// User name. The modem keeps 127 bytes; compared exactly. The empty string is a value: it is
    /// how a name is cleared.
    const std::string& getUserName() const { return textOf(mUserName); }
    void setUserName(std::string userName) { mUserName = std::move(userName); }
    bool hasUserName() const { return mUserName.has_value(); }
    ///@}

    ///@{
    /// Password. The modem keeps 127 bytes; compared exactly. The empty string is a value: it is
    /// how a password is cleared. Of 3GPP2 profiles the modem's is never read back: it is known
    /// only while the image lives that the caller gave it to.
    const std::string& getPassword() const { return textOf(mPassword); }
    void setPassword(std::string password) { mPassword = std::move(password); }
    bool hasPassword() const { return mPassword.has_value(); }
    ///@}

    ///@{
    /// How the data call authenticates. Values beyond AuthType are cut to their low two bits
    /// (3GPP), or count as NONE (3GPP2).
    AuthType getAuthType() const { return mAuthType.value_or(AuthType{}); }
    void setAuthType(AuthType authType) { mAuthType = authType; }
    bool hasAuthType() const { return mAuthType.has_value(); }
    ///@}

    ///@{
    /// IP families in the home network. UNKNOWN and values beyond IPType are sent as V4V6.
    IPType getHomeIPType() const { return mHomeIPType.value_or(IPType{}); }
    void setHomeIPType(IPType homeIPType) { mHomeIPType = homeIPType; }
    bool hasHomeIPType() const { return mHomeIPType.has_value(); }
    ///@}

    ///@{
    /// IP families when roaming; 3GPP only. UNKNOWN is sent as "none"; absent in what
    /// Manager::getProfile returns when the profile has different ones for LTE and UMTS.
    IPType getRoamIPType() const { return mRoamIPType.value_or(IPType{}); }
    void setRoamIPType(IPType roamIPType) { mRoamIPType = roamIPType; }
    bool hasRoamIPType() const { return mRoamIPType.has_value(); }
    ///@}

    ///@{
    /// What the access point is used for: OR of ApnTypes bits. A profile drops the bits above
    /// ApnTypes::XCAP.
    unsigned int getApnTypesMask() const { return mApnTypesMask.value_or(0U); }
    void setApnTypesMask(unsigned int apnTypesMask) { mApnTypesMask = apnTypesMask; }
    bool hasApnTypesMask() const { return mApnTypesMask.has_value(); }
    ///@}

    ///@{
    /// Class of the access point. The modem keeps the low 8 bits.
    ApnClass getApnClass() const { return mApnClass.value_or(ApnClass{}); }
    void setApnClass(ApnClass apnClass) { mApnClass = apnClass; }
    bool hasApnClass() const { return mApnClass.has_value(); }
    ///@}

    ///@{
    /// Whether IPv4 is carried over an IPv6-only data call (464XLAT).
    bool getIsClatEnabled() const { return mIsClatEnabled.value_or(false); }
    void setIsClatEnabled(bool isClatEnabled) { mIsClatEnabled = isClatEnabled; }
    bool hasIsClatEnabled() const { return mIsClatEnabled.has_value(); }
    ///@}

    ///@{
    /// Whether the profile may carry emergency calls; 3GPP only.
    bool getIsEmergencySupported() const { return mIsEmergencySupported.value_or(false); }
    void setIsEmergencySupported(bool isSupported) { mIsEmergencySupported = isSupported; }
    bool hasIsEmergencySupported() const { return mIsEmergencySupported.has_value(); }
    ///@}

    ///@{
    /// Whether the access point is disabled; 3GPP only.
    bool getIsApnDisabled() const { return mIsApnDisabled.value_or(false); }
    void setIsApnDisabled(bool isApnDisabled) { mIsApnDisabled = isApnDisabled; }
    bool hasIsApnDisabled() const { return mIsApnDisabled.has_value(); }
    ///@}

    ///@{
    /// PDN throttling: connections allowed within one timer period; 3GPP only. The modem keeps 16
    /// bits: stay within 0 to 65535.
    int getMaxPdnsConnPerBlock() const { return mMaxPdnsConnPerBlock.value_or(0); }
    void setMaxPdnsConnPerBlock(int connections) { mMaxPdnsConnPerBlock = connections; }
    bool hasMaxPdnsConnPerBlock() const { return mMaxPdnsConnPerBlock.has_value(); }
    ///@}

    ///@{
    /// PDN throttling: the timer period in seconds; 3GPP only. The modem keeps 16 bits: stay within
    /// 0 to 65535.
    int getMaxPdnConnTimer() const { return mMaxPdnConnTimer.value_or(0); }
    void setMaxPdnConnTimer(int seconds) { mMaxPdnConnTimer = seconds; }
    bool hasMaxPdnConnTimer() const { return mMaxPdnConnTimer.has_value(); }
    ///@}

    ///@{
    /// PDN throttling: seconds to wait between two connection requests; 3GPP only. The modem keeps
    /// 16 bits: stay within 0 to 65535.
    int getPdnReqWaitInterval() const { return mPdnReqWaitInterval.value_or(0); }
    void setPdnReqWaitInterval(int seconds) { mPdnReqWaitInterval = seconds; }
    bool hasPdnReqWaitInterval() const { return mPdnReqWaitInterval.has_value(); }
    ///@}

protected:
    std::optional<bool> mIsVeloProfile;  ///< as getIsVeloProfile() tells it
    std::optional<bool> mIsIAProfile;    ///< as getIsIAProfile() tells it

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
