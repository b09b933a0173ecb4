// SPDX-License-Identifier: Apache-2.0
//
// Between the profiles of the modem's store and the records of the library's callers. Pure
// functions, for any thread. They follow the service definition alone, so that what the library
// makes of a profile can be held against them. Defined beside the library for integrators: a
// program that uses them links the library, too.

#pragma once

#include <optional>
#include <string>

#include "modem/StoredProfile.h"
#include "velo/FilterProfileParams.h"

namespace velo::modem {

/// The settings of a stored profile, and of a 3GPP one whether the library made it and for what.
FilterProfileParams paramsOf(const StoredProfile& profile);

/// The settings that are present as the store takes them; those that the technology lacks are left
/// out, and numbers and texts that are too long are cut. A roaming type is that of both networks.
wds_profile_settings_v01 settingsOf(TechType technology, const ProfileParams& params);

/// The name of a 3GPP profile; empty when it has none.
std::optional<std::string> nameOf(const StoredProfile& profile);

}  // namespace velo::modem
