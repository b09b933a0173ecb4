// SPDX-License-Identifier: Apache-2.0

#include "tool/ModemView.h"

#include <algorithm>

#include "tool/CommandError.h"

namespace velo::tool {

std::vector<modem::StoredProfile> ModemView::stored() {
    std::vector<modem::StoredProfile> profiles;
    list(WDS_PROFILE_TYPE_3GPP, profiles);
    list(WDS_PROFILE_TYPE_3GPP2, profiles);
    return profiles;
}

std::vector<ProfileView> ModemView::profiles() {
    std::vector<ProfileView> views;
    for (const modem::StoredProfile& profile : stored()) {
        views.push_back(describe(profile));
    }
    return views;
}

std::optional<modem::StoredProfile> ModemView::read(const wds_profile_identifier_v01& id) {
    const auto answer = mClient.exchange<wds_get_profile_settings_resp_msg_v01>(
        kWdsGetProfileSettingsReq, wds_get_profile_settings_req_msg_v01{id});
    if (answer.response.result != WDS_RESULT_SUCCESS) {
        return std::nullopt;
    }
    return modem::StoredProfile{id, answer.persistent.valid != 0 && answer.persistent.value != 0,
                                answer.settings};
}

void ModemView::list(wds_profile_type_enum_v01 technology,
                     std::vector<modem::StoredProfile>& profiles) {
    wds_get_profile_list_req_msg_v01 request{};
    request.profile_type = {1, technology};
    const auto answer =
        mClient.exchange<wds_get_profile_list_resp_msg_v01>(kWdsGetProfileListReq, request);
    if (answer.response.result != WDS_RESULT_SUCCESS) {
        throw CommandError(kFailed, "the modem refuses to list its profiles (error " +
                                        std::to_string(answer.response.error) + ")");
    }
    const std::size_t count = std::min<std::size_t>(answer.profile_list_len, kWdsMaxProfiles);
    for (std::size_t i = 0; i < count; ++i) {
        const auto profile = read({technology, answer.profile_list[i].profile_index});
        // Another client may have deleted it between the list and the reading.
        if (profile) {
            profiles.push_back(*profile);
        }
    }
}

}  // namespace velo::tool
