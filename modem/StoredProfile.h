// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "mox/wds_v01.h"

namespace velo::modem {

/// One profile of the modem's store, in the shape in which it travels. A value type.
struct StoredProfile {
    wds_profile_identifier_v01 id{};
    bool persistent = false;
    wds_profile_settings_v01 settings{};
};

}  // namespace velo::modem
