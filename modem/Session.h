// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <vector>

#include "mox/wds_v01.h"

namespace velo::modem {

/// What the WDS service knows of one client. Lives with its connection, on the modem's thread.
struct Session {
    unsigned int subscription = 0;
    bool active = false;  ///< has made a request; a mere probe for the service never does
    bool reportsChanges = false;
    std::vector<wds_profile_event_v01> events;  ///< the profiles that it wants to hear of

    bool registered() const { return reportsChanges && !events.empty(); }
};

}  // namespace velo::modem
