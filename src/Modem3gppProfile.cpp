// SPDX-License-Identifier: Apache-2.0

#include "Modem3gppProfile.h"

#include "ProfileConversions.h"
#include "SettingFields.h"
#include "WdsFields.h"

namespace velo {

namespace {

constexpr auto kToIPType = [](auto pdpType) { return convertPdpType(pdpType); };
constexpr auto kToAuthType = [](auto authPref) { return convertToAuthType(authPref); };

/// "Unknown" is how the modem says that it has no roaming type.
std::optional<IPType> readRoamIPType(const wds_optional<wds_common_pdp_type_enum_v01>& field) {
    if (field.value == WDS_COMMON_PDP_TYPE_UNKNOWN) return std::nullopt;
    return readField(field, kToIPType);
}

}  // namespace

Modem3gppProfile::Modem3gppProfile(ProfileParams& params)
    : ModemProfile(params),
      mMaxPdnsConnPerBlock(setting::kMaxPdnsConnPerBlock.read(params)),
      mMaxPdnConnTimer(setting::kMaxPdnConnTimer.read(params)),
      mPdnReqWaitInterval(setting::kPdnReqWaitInterval.read(params)),
      mIsApnDisabled(setting::kIsApnDisabled.read(params)),
      mIsEmergencySupported(setting::kIsEmergencySupported.read(params)) {
    mTechType = TechType::TECH_3GPP;
    std::optional<IPType> home;
    std::optional<IPType> roam;
    std::optional<IPType> overrideHome;
    getNewIPTypes(params, home, roam, overrideHome);
    mCommonIPType = home;
    mLteRoamIPType = roam;
    mUmtsRoamIPType = roam;
    mOverrideHomeIPType = overrideHome;
}

Modem3gppProfile::Modem3gppProfile(int profileId,
                                   const wds_get_profile_settings_resp_msg_v01& response)
    : ModemProfile(TechType::TECH_3GPP, profileId, response) {
    const wds_profile_settings_v01& settings = response.settings;
    mProfileName = readField(settings.profile_name);
    mCommonIPType = readField(settings.pdp_type, kToIPType);
    mOverrideHomeIPType = readField(settings.override_home_pdp_type, kToIPType);
    mLteRoamIPType = readRoamIPType(settings.lte_roaming_pdp_type);
    mUmtsRoamIPType = readRoamIPType(settings.umts_roaming_pdp_type);
    if (const auto apnName = readField(settings.apn_name)) mApnName = convertToLower(*apnName);
    mApnClass = readField(settings.apn_class, castTo<ApnClass>);
    mIsEmergencySupported = readField(settings.emergency_supported, castTo<bool>);
    mAuthType = readField(settings.auth_preference, kToAuthType);
    mMaxPdnsConnPerBlock = readField(settings.max_pdn_conn_per_block, castTo<int>);
    mMaxPdnConnTimer = readField(settings.max_pdn_conn_timer, castTo<int>);
    mPdnReqWaitInterval = readField(settings.pdn_req_wait_interval, castTo<int>);
    mIsApnDisabled = readField(settings.apn_disabled, castTo<bool>);
    mUserName = readField(settings.user_name);
    mPassword = readField(settings.password);
}

std::optional<IPType> Modem3gppProfile::effectiveHomeIPType() const {
    return getOverrideHomeIPType() != IPType::UNKNOWN ? mOverrideHomeIPType : mCommonIPType;
}

void Modem3gppProfile::getNewIPTypes(const ProfileParams& requested, std::optional<IPType>& home,
                                     std::optional<IPType>& roam,
                                     std::optional<IPType>& overrideHome) const {
    home = requested.hasHomeIPType() ? requested.getHomeIPType() : effectiveHomeIPType();
    roam.reset();
    overrideHome.reset();
    if (requested.hasRoamIPType()) {
        roam = requested.getRoamIPType();
    } else if (mLteRoamIPType == mUmtsRoamIPType) {
        roam = mLteRoamIPType;
    }
    if (!home || !roam) return;

    if (*home != *roam) {
        overrideHome = home;
        home = IPType::V4V6;
    } else if (mOverrideHomeIPType) {
        overrideHome = IPType::UNKNOWN;
    }
}

bool Modem3gppProfile::match(FilterProfileParams& params) {
    if (!ModemProfile::match(params) || !matchFlags(params)) return false;
    if (params.hasHomeIPType()) {
        const std::optional<IPType> home = effectiveHomeIPType();
        if (!home || !fitsIPType(*home, params.getHomeIPType(), params,
                                 FilterMatchType::HomeIPSubset, FilterMatchType::HomeIPSuperset)) {
            return false;
        }
    }
    if (!matchRoamIPType(params)) return false;
    if (setting::kMaxPdnsConnPerBlock.differs(params, mMaxPdnsConnPerBlock)) return false;
    if (setting::kMaxPdnConnTimer.differs(params, mMaxPdnConnTimer)) return false;
    if (setting::kPdnReqWaitInterval.differs(params, mPdnReqWaitInterval)) return false;
    if (setting::kIsApnDisabled.differs(params, mIsApnDisabled)) return false;
    return !setting::kIsEmergencySupported.differs(params, mIsEmergencySupported);
}

bool Modem3gppProfile::matchFlags(const FilterProfileParams& params) const {
    if (params.hasFilterByIsIAProfile()) return params.getIsIAProfile() == isIAProfile();
    if (params.hasFilterByIsVeloProfile()) return params.getIsVeloProfile() == isVeloProfile();
    return true;
}

bool Modem3gppProfile::matchRoamIPType(const FilterProfileParams& params) const {
    if (!params.hasRoamIPType()) return true;
    if (mLteRoamIPType != mUmtsRoamIPType) return false;
    const std::optional<IPType> roam = mLteRoamIPType ? mLteRoamIPType : mCommonIPType;
    return roam && fitsIPType(*roam, params.getRoamIPType(), params, FilterMatchType::RoamIPSubset,
                              FilterMatchType::RoamIPSuperset);
}

std::shared_ptr<ModemProfile> Modem3gppProfile::diff(ModifyProfileParams& params) {
    ProfileParams changes;
    bool changed = false;
    updateDiffParameters(params, changes, changed);
    setting::kMaxPdnsConnPerBlock.collect(params, mMaxPdnsConnPerBlock, changes, changed);
    setting::kMaxPdnConnTimer.collect(params, mMaxPdnConnTimer, changes, changed);
    setting::kPdnReqWaitInterval.collect(params, mPdnReqWaitInterval, changes, changed);
    setting::kIsApnDisabled.collect(params, mIsApnDisabled, changes, changed);
    setting::kIsEmergencySupported.collect(params, mIsEmergencySupported, changes, changed);

    auto delta = std::make_shared<Modem3gppProfile>(changes);
    std::optional<IPType> home;
    std::optional<IPType> roam;
    std::optional<IPType> overrideHome;
    getNewIPTypes(params, home, roam, overrideHome);
    changed |= mergeDifference(delta->mCommonIPType, mCommonIPType, home);
    changed |= mergeDifference(delta->mLteRoamIPType, mLteRoamIPType, roam);
    changed |= mergeDifference(delta->mUmtsRoamIPType, mUmtsRoamIPType, roam);
    changed |= mergeDifference(delta->mOverrideHomeIPType, mOverrideHomeIPType, overrideHome);
    if (!changed) return nullptr;
    return delta;
}

void Modem3gppProfile::apply(std::shared_ptr<ModemProfile> delta) {
    ModemProfile::apply(delta);
    const auto delta3gpp = std::dynamic_pointer_cast<Modem3gppProfile>(delta);
    if (!delta3gpp) return;
    merge(mOverrideHomeIPType, delta3gpp->mOverrideHomeIPType);
    merge(mLteRoamIPType, delta3gpp->mLteRoamIPType);
    merge(mUmtsRoamIPType, delta3gpp->mUmtsRoamIPType);
    merge(mMaxPdnsConnPerBlock, delta3gpp->mMaxPdnsConnPerBlock);
    merge(mMaxPdnConnTimer, delta3gpp->mMaxPdnConnTimer);
    merge(mPdnReqWaitInterval, delta3gpp->mPdnReqWaitInterval);
    merge(mIsApnDisabled, delta3gpp->mIsApnDisabled);
    merge(mIsEmergencySupported, delta3gpp->mIsEmergencySupported);
}

ProfileParams Modem3gppProfile::get() {
    FilterProfileParams out;
    updateGetParameters(out);
    out.setFilterByIsIAProfile(isIAProfile());
    out.setFilterByIsVeloProfile(isVeloProfile());
    setting::kHomeIPType.write(out, effectiveHomeIPType());
    if (mLteRoamIPType == mUmtsRoamIPType) setting::kRoamIPType.write(out, mLteRoamIPType);
    setting::kMaxPdnsConnPerBlock.write(out, mMaxPdnsConnPerBlock);
    setting::kMaxPdnConnTimer.write(out, mMaxPdnConnTimer);
    setting::kPdnReqWaitInterval.write(out, mPdnReqWaitInterval);
    setting::kIsApnDisabled.write(out, mIsApnDisabled);
    setting::kIsEmergencySupported.write(out, mIsEmergencySupported);
    return out;
}

wds_create_profile_req_msg_v01 Modem3gppProfile::constructAddRequest() {
    wds_create_profile_req_msg_v01 request;
    updateAddParameters(request);
    request.profile_type = WDS_PROFILE_TYPE_3GPP;
    fillSettings(request.settings);
    return request;
}

wds_modify_profile_settings_req_msg_v01 Modem3gppProfile::constructModifyRequest() {
    wds_modify_profile_settings_req_msg_v01 request;
    updateModifyParameters(request);
    fillSettings(request.settings);
    return request;
}

void Modem3gppProfile::fillSettings(wds_profile_settings_v01& settings) const {
    writeField(settings.profile_name, mProfileName);
    writeField(settings.apn_name, mApnName);
    writeField(settings.pdp_type, mCommonIPType, convertToMoxPdpType);
    writeField(settings.override_home_pdp_type, mOverrideHomeIPType, convertToMoxCommonPdpType);
    writeField(settings.emergency_supported, mIsEmergencySupported);
    writeField(settings.lte_roaming_pdp_type, mLteRoamIPType, convertToMoxCommonPdpType);
    writeField(settings.umts_roaming_pdp_type, mUmtsRoamIPType, convertToMoxCommonPdpType);
    writeField(settings.max_pdn_conn_per_block, mMaxPdnsConnPerBlock);
    writeField(settings.max_pdn_conn_timer, mMaxPdnConnTimer);
    writeField(settings.pdn_req_wait_interval, mPdnReqWaitInterval);
    writeField(settings.apn_disabled, mIsApnDisabled);
    writeField(settings.auth_preference, mAuthType, convertToMoxAuthPref);
    writeField(settings.apn_class, mApnClass);
    writeField(settings.user_name, mUserName);
    writeField(settings.password, mPassword);
}

std::string Modem3gppProfile::dump() {
    TextStream out;
    out << ModemProfile::dump();
    dumpItem(out, "OverrideHomeIPType=", mOverrideHomeIPType);
    dumpItem(out, "LteRoamIP=", mLteRoamIPType);
    dumpItem(out, "UmtsRoamIP=", mUmtsRoamIPType);
    dumpItem(out, "MaxPdnsConnPerBlock=", mMaxPdnsConnPerBlock);
    dumpItem(out, "MaxPdnConnTimer=", mMaxPdnConnTimer);
    dumpItem(out, "PdnReqWaitInterval=", mPdnReqWaitInterval);
    dumpItem(out, "IsApnDisabled=", mIsApnDisabled);
    dumpItem(out, "IsEmergencySupported=", mIsEmergencySupported);
    dumpItem(out, "ProfileName=", mProfileName);
    return out.str();
}

}  // namespace velo
