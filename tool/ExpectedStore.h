// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "modem/StoredProfile.h"
#include "tool/ProfileView.h"

namespace velo::tool {

/// What the modem must hold, worked out from what it held before and from what was asked for,
/// without a look at how the library does it. Where several profiles serve a request, any of them
/// is right: the one that was chosen is judged, and its consequences are followed. A value type.
class ExpectedStore {
public:
    using Place = std::pair<TechType, int>;

    ExpectedStore(const std::vector<modem::StoredProfile>& before, bool updateAllowed);

    void typeMasks(const std::list<ProfileParams>& records);

    // Each takes the profile that was chosen and says what is wrong with the choice; empty when it
    // is right.
    std::string attach(const ProfileParams& params, Place chosen);
    std::string dataCall(TechType tech, const ProfileParams& params, Place chosen);
    std::string emergency(const ProfileParams& params, Place chosen);

    bool has(Place place) const;

    /// The last key of every profile is gone.
    void release();

    /// What the modem's store has that it must not have, or lacks, or has otherwise.
    std::vector<ProfileChange> differences(const std::vector<modem::StoredProfile>& store) const;

private:
    struct Candidate {
        Place place;
        ProfileParams update;
    };
    /// The profiles that a request may end with, and whether it may end with a new one.
    struct Choice {
        std::vector<Candidate> candidates;
        bool mayCreate = false;
    };
    struct Creation {
        ProfileParams params;
        bool persistent;
        bool initialAttach;
    };

    std::vector<Place> fitting(const FilterProfileParams& filter) const;
    std::size_t indexOf(Place place) const;
    Choice attachChoice(const ProfileParams& params) const;
    Choice anyOf(const std::vector<Place>& places, const ProfileParams& update) const;
    std::string judge(const Choice& choice, Place chosen, const char* what,
                      const Creation& creation);
    void create(Place place, const Creation& creation);
    void splitMasks(TechType tech, const std::string& apn, unsigned int v4, unsigned int v6,
                    unsigned int dual);
    void setMask(const FilterProfileParams& filter, unsigned int mask);

    std::vector<ProfileView> mProfiles;
    std::vector<Place> mTemporary;  ///< profiles that go with their last key
    bool mUpdateAllowed;
};

}  // namespace velo::tool
