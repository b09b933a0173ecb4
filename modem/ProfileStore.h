// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "modem/StoredProfile.h"

namespace velo::modem {

/// The profiles of one subscription. A change that is refused, with the reason, changes nothing.
/// Owned by the WDS service and touched on the modem's thread only.
class ProfileStore {
public:
    /// The reason of a refusal, or WDS_ERR_NONE and the profile that was changed.
    struct Outcome {
        wds_error_enum_v01 error = WDS_ERR_NONE;
        wds_profile_identifier_v01 id{};
    };

    ProfileStore(std::size_t capacity, std::vector<StoredProfile> factory);

    /// Stores a profile under the lowest free index of its technology; the index that it names is
    /// not looked at.
    Outcome create(StoredProfile profile);

    /// Merges the settings that are valid.
    Outcome modify(const wds_profile_identifier_v01& id, const wds_profile_settings_v01& settings);

    Outcome remove(const wds_profile_identifier_v01& id);

    /// Null when there is no such profile.
    const StoredProfile* find(const wds_profile_identifier_v01& id) const;

    /// All profiles: 3GPP first, by ascending index.
    std::vector<StoredProfile> all() const;

    /// Visits them in the same order, without a copy.
    template <typename Visitor>
    void forEach(Visitor visit) const {
        for (const auto& profiles : mProfiles) {
            for (const auto& [index, profile] : profiles) {
                visit(profile);
            }
        }
    }

    void forgetVolatile();
    void restoreFactory();

    /// Holds these profiles and no other; one whose settings cannot be its own is left out.
    void replace(const std::vector<StoredProfile>& replacement);

    /// Profiles of each technology that it can hold.
    std::size_t capacity() const { return mCapacity; }

    /// Why these settings cannot belong to a profile of that technology, or WDS_ERR_NONE: a
    /// technology that does not exist, a setting of the other one, a string without end.
    static wds_error_enum_v01 check(wds_profile_type_enum_v01 type,
                                    const wds_profile_settings_v01& settings);

private:
    using Profiles = std::map<unsigned int, StoredProfile>;

    const std::size_t mCapacity;
    const std::vector<StoredProfile> mFactory;
    std::array<Profiles, 2> mProfiles;  ///< by technology
};

}  // namespace velo::modem
