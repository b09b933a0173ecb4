// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the cache share: profiles for a modem, and a look into the cache by its dump.

#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "modem/Modem.h"
#include "modem/StoredProfile.h"
#include "velo/FilterProfileParams.h"
#include "velo/Manager.h"

namespace velo::test {

template <std::size_t Size>
wds_optional<wds_string<Size>> text(const std::string& value) {
    wds_optional<wds_string<Size>> field{};
    field.valid = 1;
    std::strncpy(field.value.data, value.c_str(), Size - 1);
    return field;
}

/// A persistent profile of somebody else.
inline modem::StoredProfile stored(wds_profile_type_enum_v01 type, std::uint8_t index,
                                   const std::string& apn) {
    modem::StoredProfile profile;
    profile.id = {type, index};
    profile.persistent = true;
    auto& field = type == WDS_PROFILE_TYPE_3GPP ? profile.settings.apn_name
                                                : profile.settings.apn_string_3gpp2;
    field = text<kWdsApnNameSize>(apn);
    return profile;
}

/// A modem with two 3GPP profiles, 1 and 2, and the 3GPP2 profile 3.
inline modem::ModemOptions threeProfiles() {
    modem::ModemOptions options;
    options.factoryProfiles = {stored(WDS_PROFILE_TYPE_3GPP, 1, "internet"),
                               stored(WDS_PROFILE_TYPE_3GPP, 2, "ims"),
                               stored(WDS_PROFILE_TYPE_3GPP2, 3, "cdma")};
    return options;
}

/// The lines of one section of the manager's dump, without their indentation.
inline std::vector<std::string> dumpSection(const std::string& heading) {
    std::vector<std::string> section;
    bool inside = false;
    for (const std::string& line : Manager::getInstance().dump()) {
        if (inside && line.rfind("  ", 0) != 0) break;
        if (inside) section.push_back(line.substr(2));
        inside = inside || line == heading;
    }
    return section;
}

/// Each cached image after its token, in no particular order.
inline std::vector<std::string> cachedImages() {
    std::vector<std::string> images;
    for (const std::string& line : dumpSection("Cache:")) {
        images.push_back(line.substr(line.find(": ") + 2));
    }
    return images;
}

inline FilterProfileParams byApn(const std::string& apn) {
    FilterProfileParams params;
    params.setApnName(apn);
    return params;
}

}  // namespace velo::test
