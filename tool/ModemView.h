// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <vector>

#include "modem/StoredProfile.h"
#include "tool/ProfileView.h"
#include "tool/WdsClient.h"

namespace velo::tool {

/// What a subscription of the modem holds, read directly from it. Used by one thread.
class ModemView {
public:
    explicit ModemView(unsigned int subscription) : mClient(subscription) {}

    /// Every profile, 3GPP first, by ascending index. @throws CommandError when the modem refuses
    std::vector<modem::StoredProfile> stored();

    /// The same for people.
    std::vector<ProfileView> profiles();

    /// One profile; nothing when the modem has none of that id.
    std::optional<modem::StoredProfile> read(const wds_profile_identifier_v01& id);

private:
    void list(wds_profile_type_enum_v01 technology, std::vector<modem::StoredProfile>& profiles);

    WdsClient mClient;
};

}  // namespace velo::tool
