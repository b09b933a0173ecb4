// SPDX-License-Identifier: Apache-2.0

#include "ProfileConversions.h"

#include <algorithm>
#include <array>

#include "LogWrapper.h"

namespace velo {

namespace {

struct ApnTypeBits {
    ApnTypes common;
    unsigned long long mox;
};

/// The two numberings of the APN types, ascending by the library's.
constexpr std::array<ApnTypeBits, 12> kApnTypeBits{{
    {ApnTypes::DEFAULT, 0x001},
    {ApnTypes::MMS, 0x004},
    {ApnTypes::SUPL, 0x010},
    {ApnTypes::DUN, 0x008},
    {ApnTypes::HIPRI, 0x020},
    {ApnTypes::FOTA, 0x040},
    {ApnTypes::IMS, 0x002},
    {ApnTypes::CBS, 0x080},
    {ApnTypes::IA, 0x100},
    {ApnTypes::EMERGENCY, 0x200},
    {ApnTypes::MCX, 0x800},
    {ApnTypes::XCAP, 0x400},
}};

/// The authentication types are numbered as the bits of the modem's preference.
constexpr unsigned int kAuthPrefBits = 0x03;

}  // namespace

TechType convertProfileType(wds_profile_type_enum_v01 type) {
    switch (type) {
        case WDS_PROFILE_TYPE_3GPP:
            return TechType::TECH_3GPP;
        case WDS_PROFILE_TYPE_3GPP2:
            return TechType::TECH_3GPP2;
    }
    logLine(LogLevel::Debug, "Unknown tech type %d", static_cast<int>(type));
    return TechType::TECH_3GPP;
}

IPType convertPdnType(wds_profile_pdn_type_enum_v01 type) {
    switch (type) {
        case WDS_PROFILE_PDN_TYPE_IPV4:
            return IPType::V4;
        case WDS_PROFILE_PDN_TYPE_IPV6:
            return IPType::V6;
        case WDS_PROFILE_PDN_TYPE_IPV4_IPV6:
            return IPType::V4V6;
        case WDS_PROFILE_PDN_TYPE_UNSPECIFIED:
            return IPType::UNKNOWN;
    }
    logLine(LogLevel::Debug, "Unknown profile_pdn_type_enum %d", static_cast<int>(type));
    return IPType::UNKNOWN;
}

IPType convertPdpType(wds_pdp_type_enum_v01 type) {
    switch (type) {
        case WDS_PDP_TYPE_IPV4:
            return IPType::V4;
        case WDS_PDP_TYPE_IPV6:
            return IPType::V6;
        case WDS_PDP_TYPE_IPV4V6:
            return IPType::V4V6;
    }
    logLine(LogLevel::Debug, "Unknown pdp_type_enum %d", static_cast<int>(type));
    return IPType::UNKNOWN;
}

IPType convertPdpType(wds_common_pdp_type_enum_v01 type) {
    switch (type) {
        case WDS_COMMON_PDP_TYPE_IPV4:
            return IPType::V4;
        case WDS_COMMON_PDP_TYPE_IPV6:
            return IPType::V6;
        case WDS_COMMON_PDP_TYPE_IPV4V6:
            return IPType::V4V6;
        case WDS_COMMON_PDP_TYPE_UNKNOWN:
            break;
    }
    logLine(LogLevel::Debug, "Unknown pdp_type_enum %d", static_cast<int>(type));
    return IPType::UNKNOWN;
}

AuthType convertToAuthType(unsigned char authPref) {
    return static_cast<AuthType>(authPref & kAuthPrefBits);
}

AuthType convertToAuthType(wds_profile_auth_protocol_enum_v01 protocol) {
    switch (protocol) {
        case WDS_PROFILE_AUTH_PROTOCOL_PAP:
            return AuthType::PAP;
        case WDS_PROFILE_AUTH_PROTOCOL_CHAP:
            return AuthType::CHAP;
        case WDS_PROFILE_AUTH_PROTOCOL_PAP_CHAP:
            return AuthType::PAP_CHAP;
        case WDS_PROFILE_AUTH_PROTOCOL_NONE:
            break;
    }
    return AuthType::NONE;
}

ApnTypes convertToSingleCommonApnType(unsigned long long wdsBit) {
    for (const ApnTypeBits& bits : kApnTypeBits) {
        if (bits.mox == wdsBit) return bits.common;
    }
    return ApnTypes{};
}

unsigned int convertToCommonApnTypeMask(unsigned long long wdsMask) {
    unsigned int mask = 0;
    for (const ApnTypeBits& bits : kApnTypeBits) {
        if (wdsMask & bits.mox) mask |= static_cast<unsigned int>(bits.common);
    }
    return mask;
}

wds_profile_identifier_v01 convertToProfileIdentifier(TechType tech, int profileId) {
    return {tech == TechType::TECH_3GPP2 ? WDS_PROFILE_TYPE_3GPP2 : WDS_PROFILE_TYPE_3GPP,
            static_cast<uint8_t>(profileId)};
}

unsigned long long convertToSingleMoxApnType(ApnTypes bit) {
    for (const ApnTypeBits& bits : kApnTypeBits) {
        if (bits.common == bit) return bits.mox;
    }
    return 0;
}

unsigned long long convertToMoxApnTypeMask(unsigned int mask) {
    unsigned long long wdsMask = 0;
    for (const ApnTypeBits& bits : kApnTypeBits) {
        if (mask & static_cast<unsigned int>(bits.common)) wdsMask |= bits.mox;
    }
    return wdsMask;
}

wds_profile_pdn_type_enum_v01 convertToMoxProfilePdnType(IPType ipType) {
    switch (ipType) {
        case IPType::V4:
            return WDS_PROFILE_PDN_TYPE_IPV4;
        case IPType::V6:
            return WDS_PROFILE_PDN_TYPE_IPV6;
        default:
            return WDS_PROFILE_PDN_TYPE_IPV4_IPV6;
    }
}

wds_pdp_type_enum_v01 convertToMoxPdpType(IPType ipType) {
    switch (ipType) {
        case IPType::V4:
            return WDS_PDP_TYPE_IPV4;
        case IPType::V6:
            return WDS_PDP_TYPE_IPV6;
        default:
            return WDS_PDP_TYPE_IPV4V6;
    }
}

wds_common_pdp_type_enum_v01 convertToMoxCommonPdpType(IPType ipType) {
    switch (ipType) {
        case IPType::UNKNOWN:
            return WDS_COMMON_PDP_TYPE_UNKNOWN;
        case IPType::V4:
            return WDS_COMMON_PDP_TYPE_IPV4;
        case IPType::V6:
            return WDS_COMMON_PDP_TYPE_IPV6;
        default:
            return WDS_COMMON_PDP_TYPE_IPV4V6;
    }
}

unsigned char convertToMoxAuthPref(AuthType authType) {
    return static_cast<unsigned char>(static_cast<unsigned int>(authType) & kAuthPrefBits);
}

wds_profile_auth_protocol_enum_v01 convertToMoxAuthProtocol(AuthType authType) {
    switch (authType) {
        case AuthType::PAP:
            return WDS_PROFILE_AUTH_PROTOCOL_PAP;
        case AuthType::CHAP:
            return WDS_PROFILE_AUTH_PROTOCOL_CHAP;
        case AuthType::PAP_CHAP:
            return WDS_PROFILE_AUTH_PROTOCOL_PAP_CHAP;
        default:
            return WDS_PROFILE_AUTH_PROTOCOL_NONE;
    }
}

wds_profile_auth_protocol_enum_v01 convertToMoxPdnLevelAuthProtocol(AuthType authType) {
    return convertToMoxAuthProtocol(authType);
}

std::string convertToLower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

bool expired(const std::pair<std::function<void()>, std::weak_ptr<IProfileKey>>& listener) {
    return listener.second.expired();
}

}  // namespace velo
