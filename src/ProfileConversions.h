// SPDX-License-Identifier: Apache-2.0
//
// Translations between the library's enumerations and the values of the modem's data service. Pure
// functions, callable from any thread; an unknown modem value is logged at level Debug and
// replaced.

#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "mox/wds_v01.h"
#include "velo/IProfileKey.h"
#include "velo/ProfileTypes.h"

namespace velo {

TechType convertProfileType(wds_profile_type_enum_v01 type);
IPType convertPdnType(wds_profile_pdn_type_enum_v01 type);
IPType convertPdpType(wds_pdp_type_enum_v01 type);
IPType convertPdpType(wds_common_pdp_type_enum_v01 type);
AuthType convertToAuthType(unsigned char authPref);
AuthType convertToAuthType(wds_profile_auth_protocol_enum_v01 protocol);

/// Zero for anything but exactly one known bit.
ApnTypes convertToSingleCommonApnType(unsigned long long wdsBit);
/// Bits without a counterpart are dropped.
unsigned int convertToCommonApnTypeMask(unsigned long long wdsMask);

/// The index keeps the low 8 bits of `profileId`.
wds_profile_identifier_v01 convertToProfileIdentifier(TechType tech, int profileId);

/// Zero for anything but exactly one known bit.
unsigned long long convertToSingleMoxApnType(ApnTypes bit);
/// Bits without a counterpart are dropped.
unsigned long long convertToMoxApnTypeMask(unsigned int mask);

// The modem wants an unknown IP type as dual stack in the first two, and as unknown in the third.
wds_profile_pdn_type_enum_v01 convertToMoxProfilePdnType(IPType ipType);
wds_pdp_type_enum_v01 convertToMoxPdpType(IPType ipType);
wds_common_pdp_type_enum_v01 convertToMoxCommonPdpType(IPType ipType);

unsigned char convertToMoxAuthPref(AuthType authType);
wds_profile_auth_protocol_enum_v01 convertToMoxAuthProtocol(AuthType authType);
wds_profile_auth_protocol_enum_v01 convertToMoxPdnLevelAuthProtocol(AuthType authType);

/// Lowers the ASCII letters and leaves every other byte alone: how APN names are compared.
std::string convertToLower(std::string text);

/// Whether the listener's key is gone. Asks without locking, so that the caller never becomes the
/// last owner of the key.
bool expired(const std::pair<std::function<void()>, std::weak_ptr<IProfileKey>>& listener);

}  // namespace velo
