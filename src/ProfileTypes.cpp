// SPDX-License-Identifier: Apache-2.0

#include "velo/ProfileTypes.h"

#include <cstddef>

#include "EnumText.h"

namespace velo {

namespace {

template <std::size_t Count>
TextStream& writeMask(TextStream& out, std::uint32_t mask, const char* const (&texts)[Count],
                      const char* none) {
    if (mask == 0) {
        return out << none;
    }
    for (std::size_t bit = 0; bit < Count; ++bit) {
        if ((mask & (1U << bit)) != 0) {
            out << texts[bit];
        }
    }
    return out;
}

constexpr const char* kTechTypes[] = {"3GPP", "3GPP2"};
constexpr const char* kIPTypes[] = {"UNKNOWN", "V4", "V6", "V4V6"};
constexpr const char* kAuthTypes[] = {"NONE", "PAP", "CHAP", "PAP_CHAP"};
constexpr const char* kApnClasses[] = {"IMS", "ADMN", "INET", "APP"};
constexpr const char* kApnTypes[] = {"DEFAULT|", "MMS|", "SUPL|", "DUN|",       "HIPRI|", "FOTA|",
                                     "IMS|",     "CBS|", "IA|",   "EMERGENCY|", "MCX|",   "XCAP|"};
constexpr const char* kFilterMatchTypes[] = {"HomeIPSubset|",   "RoamIPSubset|",
                                             "ApnNameSubset|",  "ApnTypeBitmaskSubset|",
                                             "HomeIPSuperset|", "RoamIPSuperset|"};

}  // namespace

TextStream& operator<<(TextStream& out, TechType tech) {
    return writeEnum(out, tech, kTechTypes);
}

TextStream& operator<<(TextStream& out, IPType ipType) {
    return writeEnum(out, ipType, kIPTypes);
}

TextStream& operator<<(TextStream& out, AuthType authType) {
    return writeEnum(out, authType, kAuthTypes);
}

TextStream& operator<<(TextStream& out, ApnClass apnClass) {
    return writeEnum(out, apnClass, kApnClasses, static_cast<int>(ApnClass::IMS));
}

TextStream& operator<<(TextStream& out, ApnTypes mask) {
    return writeMask(out, static_cast<std::uint32_t>(mask), kApnTypes, "NONE");
}

TextStream& operator<<(TextStream& out, FilterMatchType criteria) {
    return writeMask(out, static_cast<std::uint32_t>(criteria), kFilterMatchTypes, "None");
}

std::ostream& operator<<(std::ostream& out, TechType tech) {
    return writeText(out, tech);
}

std::ostream& operator<<(std::ostream& out, IPType ipType) {
    return writeText(out, ipType);
}

std::ostream& operator<<(std::ostream& out, AuthType authType) {
    return writeText(out, authType);
}

std::ostream& operator<<(std::ostream& out, ApnClass apnClass) {
    return writeText(out, apnClass);
}

std::ostream& operator<<(std::ostream& out, ApnTypes mask) {
    return writeText(out, mask);
}

std::ostream& operator<<(std::ostream& out, FilterMatchType criteria) {
    return writeText(out, criteria);
}

}  // namespace velo
