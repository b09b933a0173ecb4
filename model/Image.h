// SPDX-License-Identifier: Apache-2.0
//
// The rules about one cached profile, once more: what it is made of, what a change does to it, what
// it matches, how it is shown and what of it goes to the modem. Shares no code with the library's
// own profiles; the parameter records, which callers fill in, are the currency. Value types.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "modem/StoredProfile.h"
#include "velo/AddProfileParams.h"
#include "velo/FilterProfileParams.h"

namespace velo::model {

/// What a caller holds of a profile; its last copy is the release.
struct Key {
    TechType tech;
    int id;
    unsigned long long token;
    unsigned int cache;  ///< which one made it: each init makes another

    std::string dump() const;
};

using KeyPtr = std::shared_ptr<Key>;

struct Image {
    TechType tech = TechType::TECH_3GPP;
    int id = -1;
    bool isPersistent = false;
    bool isVeloCreated = false;
    int refCount = 0;
    std::vector<std::pair<int, std::weak_ptr<Key>>> listeners;

    std::optional<std::string> apn;
    std::optional<std::string> user;
    std::optional<std::string> password;
    std::optional<AuthType> auth;
    std::optional<std::uint64_t> types;  ///< in the modem's layout
    std::optional<ApnClass> apnClass;
    std::optional<bool> clat;
    std::optional<IPType> common;
    // 3GPP only from here on.
    std::optional<IPType> overrideHome;
    std::optional<IPType> lteRoam;
    std::optional<IPType> umtsRoam;
    std::optional<int> block;
    std::optional<int> timer;
    std::optional<int> interval;
    std::optional<bool> disabled;
    std::optional<bool> emergency;
    std::optional<std::string> name;

    bool isIA() const { return name == "velo_profile_ia"; }
    bool isVelo() const { return isIA() || name == "velo_profile"; }
    std::string text() const;
};

/// What an add makes of its parameters.
Image imageOf(const AddProfileParams& params);

/// What is read from the modem.
Image imageOf(const modem::StoredProfile& profile);

/// What is sent to the modem.
wds_profile_settings_v01 settingsOf(const Image& image);

/// What changes when these parameters are asked for; empty when nothing does.
std::optional<Image> difference(const Image& own, const ProfileParams& params);
void apply(Image& own, const Image& delta);

ProfileParams paramsOf(const Image& image);
bool matches(const Image& own, const FilterProfileParams& filter);

}  // namespace velo::model
