// SPDX-License-Identifier: Apache-2.0

#include "Modem3gpp2Profile.h"

#include "ProfileConversions.h"
#include "SettingFields.h"
#include "WdsFields.h"

namespace velo {

namespace {

/// Whether a filter names something that only 3GPP profiles have, which excludes this kind whatever
/// the value.
bool names3gppSetting(const FilterProfileParams& params) {
    return params.hasFilterByIsIAProfile() || params.hasFilterByIsVeloProfile() ||
           params.hasRoamIPType() || params.hasMaxPdnsConnPerBlock() ||
           params.hasMaxPdnConnTimer() || params.hasPdnReqWaitInterval() ||
           params.hasIsApnDisabled() || params.hasIsEmergencySupported();
}

}  // namespace

Modem3gpp2Profile::Modem3gpp2Profile(ProfileParams& params) : ModemProfile(params) {
    mTechType = TechType::TECH_3GPP2;
    mCommonIPType = setting::kHomeIPType.read(params);
}

Modem3gpp2Profile::Modem3gpp2Profile(int profileId,
                                     const wds_get_profile_settings_resp_msg_v01& response)
    : ModemProfile(TechType::TECH_3GPP2, profileId, response) {
    const wds_profile_settings_v01& settings = response.settings;
    mCommonIPType = readField(settings.pdn_type_3gpp2, convertPdnType);
    if (const auto apnName = readField(settings.apn_string_3gpp2)) {
        mApnName = convertToLower(*apnName);
    }
    mApnClass = readField(settings.apn_class_3gpp2, castTo<ApnClass>);
    mAuthType = readField(settings.auth_protocol_3gpp2,
                          [](auto protocol) { return convertToAuthType(protocol); });
    mUserName = readField(settings.user_id_3gpp2);
}

bool Modem3gpp2Profile::match(FilterProfileParams& params) {
    if (!ModemProfile::match(params)) return false;
    if (params.hasHomeIPType() &&
        !fitsIPType(getCommonIPType(), params.getHomeIPType(), params,
                    FilterMatchType::HomeIPSubset, FilterMatchType::HomeIPSuperset)) {
        return false;
    }
    return !names3gppSetting(params);
}

std::shared_ptr<ModemProfile> Modem3gpp2Profile::diff(ModifyProfileParams& params) {
    ProfileParams changes;
    bool changed = false;
    updateDiffParameters(params, changes, changed);
    setting::kHomeIPType.collect(params, mCommonIPType, changes, changed);
    if (!changed) return nullptr;
    return std::make_shared<Modem3gpp2Profile>(changes);
}

ProfileParams Modem3gpp2Profile::get() {
    FilterProfileParams out;
    updateGetParameters(out);
    setting::kHomeIPType.write(out, mCommonIPType);
    return out;
}

wds_create_profile_req_msg_v01 Modem3gpp2Profile::constructAddRequest() {
    wds_create_profile_req_msg_v01 request;
    updateAddParameters(request);
    request.profile_type = WDS_PROFILE_TYPE_3GPP2;
    fillSettings(request.settings);
    return request;
}

wds_modify_profile_settings_req_msg_v01 Modem3gpp2Profile::constructModifyRequest() {
    wds_modify_profile_settings_req_msg_v01 request;
    updateModifyParameters(request);
    fillSettings(request.settings);
    return request;
}

void Modem3gpp2Profile::fillSettings(wds_profile_settings_v01& settings) const {
    writeField(settings.apn_string_3gpp2, mApnName);
    writeField(settings.pdn_type_3gpp2, mCommonIPType, convertToMoxProfilePdnType);
    writeField(settings.auth_protocol_3gpp2, mAuthType, convertToMoxAuthProtocol);
    writeField(settings.pdn_level_auth_protocol_3gpp2, mAuthType, convertToMoxPdnLevelAuthProtocol);
    writeField(settings.apn_class_3gpp2, mApnClass);
    writeField(settings.user_id_3gpp2, mUserName);
    writeField(settings.pdn_level_user_id_3gpp2, mUserName);
    writeField(settings.auth_password_3gpp2, mPassword);
    writeField(settings.pdn_level_auth_password_3gpp2, mPassword);
}

}  // namespace velo
