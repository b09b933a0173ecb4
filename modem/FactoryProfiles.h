// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "modem/StoredProfile.h"

namespace velo::modem {

/// The built-in set: attach, IMS and emergency profiles for 3GPP, and one for 3GPP2.
std::vector<StoredProfile> builtInProfiles();

/// Reads a set from a JSON file, {"profiles": [...]}, each profile in the form of ProfileJson.
///
/// @throws ModemError for a file that cannot be read or that does not say a set of profiles
std::vector<StoredProfile> readFactoryProfiles(const std::string& path);

}  // namespace velo::modem
