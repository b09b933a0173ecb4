// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "modem/StoredProfile.h"
#include "velo/ProfileTypes.h"

namespace velo::model {

/// What one subscription of the modem keeps, and the reports of its changes that are under way.
class Store {
public:
    static constexpr std::size_t kCapacity = 6;  ///< of each technology

    /// An indication as it leaves the modem.
    struct Report {
        wds_profile_type_enum_v01 type;
        int index;
        wds_profile_event_enum_v01 event;

        bool operator==(const Report&) const = default;
        std::string text() const;
    };

    explicit Store(const std::vector<modem::StoredProfile>& factory);

    /// Under the lowest free index, which is returned; -1 when the store is full.
    int create(modem::StoredProfile profile);
    bool modify(TechType tech, int index, const wds_profile_settings_v01& settings);
    bool remove(TechType tech, int index);
    const modem::StoredProfile* find(TechType tech, int index) const;

    /// 3GPP first, by ascending index.
    std::vector<modem::StoredProfile> all() const;
    void forgetVolatile();

private:
    using Profiles = std::map<int, modem::StoredProfile>;

    std::array<Profiles, 2> mProfiles;
};

}  // namespace velo::model
