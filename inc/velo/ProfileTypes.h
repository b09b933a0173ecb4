// SPDX-License-Identifier: Apache-2.0

/// @file
/// The enumerations that describe a data profile, with their texts. The numbers are interface:
/// callers store and transmit them.

#pragma once

#include <cstdint>
#include <iosfwd>

#include "velo/Export.h"

/// The library's interface: Manager and Util, the keys that they hand out, and the records that
/// they take.
namespace velo {

/// Technology of a profile. The modem numbers the profiles of each from 0 to 255.
enum class TechType : std::int32_t {
    TECH_3GPP = 0,  ///< GSM, UMTS, LTE and later: "3GPP"
    TECH_3GPP2 = 1  ///< CDMA: "3GPP2"
};

/// IP families of a data call, as a bit set.
enum class IPType : std::int32_t {
    UNKNOWN = 0,  ///< none is known: "UNKNOWN"
    V4 = 1,       ///< IPv4 alone: "V4"
    V6 = 2,       ///< IPv6 alone: "V6"
    V4V6 = 3      ///< both: "V4V6"
};

/// How a data call authenticates.
enum class AuthType : std::int32_t {
    NONE = 0,     ///< not at all: "NONE"
    PAP = 1,      ///< with a password in clear: "PAP"
    CHAP = 2,     ///< with a challenge: "CHAP"
    PAP_CHAP = 3  ///< as the network wants it: "PAP_CHAP"
};

/// Class of an access point as networks number them. There is no class 0.
enum class ApnClass : std::int32_t {
    IMS = 1,   ///< voice and messages: "IMS"
    ADMN = 2,  ///< administration of the device: "ADMN"
    INET = 3,  ///< internet: "INET"
    APP = 4    ///< applications: "APP"
};

/// What an access point is used for; a mask is the OR of its bits. "NONE" is the text of 0; bits
/// above XCAP mean nothing and are not written.
enum class ApnTypes : std::uint32_t {
    DEFAULT = 0x001,    ///< internet
    MMS = 0x002,        ///< multimedia messages
    SUPL = 0x004,       ///< assisted location
    DUN = 0x008,        ///< tethering
    HIPRI = 0x010,      ///< high-priority internet
    FOTA = 0x020,       ///< updates of the device
    IMS = 0x040,        ///< voice and messages over data
    CBS = 0x080,        ///< services of the carrier
    IA = 0x100,         ///< initial attach
    EMERGENCY = 0x200,  ///< emergency calls
    MCX = 0x400,        ///< mission-critical services
    XCAP = 0x800        ///< settings of supplementary services
};

/// How a filter's comparisons are loosened; a set of criteria is the OR of its bits. "None" is the
/// text of 0. A subset criterion accepts a profile that offers the requested value and more; a
/// superset criterion accepts one that offers no more than the requested value.
enum class FilterMatchType : std::uint32_t {
    HomeIPSubset = 0x01,          ///< the profile's home IP families include the requested ones
    RoamIPSubset = 0x02,          ///< the same when roaming
    ApnNameSubset = 0x04,         ///< the profile's APN name contains the requested one
    ApnTypeBitmaskSubset = 0x08,  ///< the profile's APN types include the requested ones
    HomeIPSuperset = 0x10,        ///< the requested home IP families include the profile's
    RoamIPSuperset = 0x20         ///< the same when roaming
};

/// State of a modem configuration refresh. Any value but REFRESH_STARTED counts as completed.
enum class PDCRefreshStatus : std::int32_t {
    REFRESH_STARTED = 0,   ///< the modem is taking over another configuration
    REFRESH_COMPLETED = 1  ///< it has done so
};

///@{
/// Writes a value's text, or its decimal number when it has none. Of a mask writes the text of each
/// bit that is set, ascending, each followed by "|".
VELO_EXPORT std::ostream& operator<<(std::ostream& out, TechType tech);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, IPType ipType);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, AuthType authType);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, ApnClass apnClass);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, ApnTypes mask);
VELO_EXPORT std::ostream& operator<<(std::ostream& out, FilterMatchType criteria);
///@}

}  // namespace velo
