// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "modem/StoredProfile.h"

namespace velo::modem {

/// The built-in set: attach, IMS and emergency profiles for 3GPP, and one for 3GPP2.
std::vector<StoredProfile> builtInProfiles();

/// Reads a set from a JSON file:
///
///     {"profiles": [{"technology": "3gpp", "index": 1, "persistent": true,
///                    "settings": {"apn_name": "internet", "pdp_type": 3}}]}
///
/// The settings are those of wds_profile_settings_v01 by name: texts for strings, numbers for the
/// rest, also true and false for one-byte numbers. `persistent` is true when absent.
///
/// @throws ModemError for a file that cannot be read or that does not say a set of profiles
std::vector<StoredProfile> readFactoryProfiles(const std::string& path);

}  // namespace velo::modem
