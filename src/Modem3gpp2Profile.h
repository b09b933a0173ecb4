// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>

#include "ModemProfile.h"

namespace velo {

/// The image of a 3GPP2 profile: the common settings alone, with one IP type. Owned by the profile
/// cache and touched on the worker thread only. Credentials are sent twice, for the profile and for
/// its PDN; the password is never read back.
class Modem3gpp2Profile : public ModemProfile {
public:
    explicit Modem3gpp2Profile(ProfileParams& params);
    Modem3gpp2Profile(int profileId, const wds_get_profile_settings_resp_msg_v01& response);

    bool match(FilterProfileParams& params) override;
    std::shared_ptr<ModemProfile> diff(ModifyProfileParams& params) override;
    ProfileParams get() override;
    wds_create_profile_req_msg_v01 constructAddRequest() override;
    wds_modify_profile_settings_req_msg_v01 constructModifyRequest() override;

private:
    void fillSettings(wds_profile_settings_v01& settings) const;
};

}  // namespace velo
