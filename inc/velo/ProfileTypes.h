// SPDX-License-Identifier: Apache-2.0
//
// The enumerations that describe a data profile, with their texts. The numbers are interface:
// callers store and transmit them. Streaming a value writes its text, or its decimal number when it
// has none; streaming a mask writes the text of each bit set, ascending, each followed by "|".

#pragma once

#include <cstdint>
#include <iosfwd>

#include "velo/Export.h"

namespace velo {

/// Technology of a profile: "3GPP", "3GPP2".
enum class TechType : std::int32_t { TECH_3GPP = 0, TECH_3GPP2 = 1 };

/// IP families of a data call, as a bit set: "UNKNOWN", "V4", "V6", "V4V6".
enum class IPType : std::int32_t { UNKNOWN = 0, V4 = 1, V6 = 2, V4V6 = 3 };

/// How a data call authenticates: "NONE", "PAP", "CHAP", "PAP_CHAP".
enum class AuthType : std::int32_t { NONE = 0, PAP = 1, CHAP = 2, PAP_CHAP = 3 };

/// Class of an access point as networks number them: "IMS", "ADMN", "INET", "APP". There is no
/// class 0.
enum class ApnClass : std::int32_t { IMS = 1, ADMN = 2, INET = 3, APP = 4 };

/// What an access point is used for; a mask is the OR of its bits. "NONE" is the text of 0; bits
/// above XCAP mean nothing and are not written.
enum class ApnTypes : std::uint32_t {
    DEFAULT = 0x001,
    MMS = 0x002,
    SUPL = 0x004,
    DUN = 0x008,
    HIPRI = 0x010,
    FOTA = 0x020,
    IMS = 0x040,
    CBS = 0x080,
    IA = 0x100,
    EMERGENCY = 0x200,
    MCX = 0x400,
    XCAP = 0x800
};

/// How a filter's comparisons are loosened; a set of criteria is the OR of its bits. "None" is the
/// text of 0. A subset criterion accepts a profile that offers the requested value and more; a
/// superset criterion accepts one that offers no more than the requested value.
enum class FilterMatchType : std::uint32_t {
    HomeIPSubset = 0x01,
    RoamIPSubset = 0x02,
    ApnNameSubset = 0x04,
    ApnTypeBitmaskSubset = 0x08,
    HomeIPSuperset = 0x10,
    RoamIPSuperset = 0x20
};

/// State of a modem configuration refresh. Any value but REFRESH_STARTED counts as completed.
enum class PDCRefreshStatus : std::int32_t { REFRESH_STARTED = 0, REFRESH_COMPLETED = 1 };

VELO_EXPORT std::ostream& operator<<(std::ostream& out, TechType tech);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, IPType ipType);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, AuthType authType);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, ApnClass apnClass);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, ApnTypes mask);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, FilterMatchType criteria);

}  // namespace velo
