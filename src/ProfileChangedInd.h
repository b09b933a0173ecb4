// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "velo/ProfileTypes.h"

namespace velo {

/// What happened to a profile, or to the modem's profiles as a whole (the last two).
enum class ProfileChangedEvent : int {
    Create = 0,
    Delete = 1,
    Modify = 2,
    SubscriptionChange = 3,
    ProfileReady = 4
};

/// A change of the modem's profiles: as the modem reported it, or as its report is awaited. A value
/// type.
struct ProfileChangedInd {
    TechType techType;
    int profileId;
    ProfileChangedEvent event;

    bool operator==(const ProfileChangedInd&) const = default;

    /// Technology, ":", profile id, blank, event; for example "3GPP:5 Modify".
    std::string dump() const;
};

}  // namespace velo
