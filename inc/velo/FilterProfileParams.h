// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "velo/ProfileParams.h"

namespace velo {

/// What Manager::filter and Manager::match look for. Each setting that is present must be the
/// profile's (a profile without it does not match); the criteria loosen the comparison of some of
/// them. An empty filter matches every profile. A value type.
///
/// 3GPP2 profiles never match a filter that names something which only 3GPP profiles have: the
/// initial-attach or library flags, the roaming IP type, the throttling numbers, the disabled and
/// emergency flags. When a filter names both flags, the initial-attach one decides.
class VELO_EXPORT FilterProfileParams : public ProfileParams {
public:
    /// Matches every profile.
    FilterProfileParams() = default;

    /// Copies every setting of `params`, the two flags included: what Manager::getProfile returned
    /// names them both, and so finds 3GPP profiles only.
    explicit FilterProfileParams(const ProfileParams& params);
    ///@{
    /// Values and what is present go along.
    FilterProfileParams(const FilterProfileParams&) = default;
    FilterProfileParams(FilterProfileParams&&) = default;
    FilterProfileParams& operator=(const FilterProfileParams&) = default;
    FilterProfileParams& operator=(FilterProfileParams&&) = default;
    ///@}
    ~FilterProfileParams() override;

    /// The criteria, ": ", the technology and the profile id when present, then the settings.
    std::string dump() const override;

    ///@{
    /// OR of FilterMatchType bits; 0, exact comparison of everything, at first.
    unsigned int getFilterMatchCriteria() const { return mFilterMatchCriteria; }
    void addFilterMatchCriteria(unsigned int bits) { mFilterMatchCriteria |= bits; }
    void removeFilterMatchCriteria(unsigned int bits) { mFilterMatchCriteria &= ~bits; }
    ///@}

    ///@{
    /// The modem's index of the profile, 0 to 255; another number matches nothing. Each technology
    /// has its own indices.
    int getFilterByProfileId() const { return mFilterByProfileId.value_or(0); }
    void setFilterByProfileId(int profileId) { mFilterByProfileId = profileId; }
    bool hasFilterByProfileId() const { return mFilterByProfileId.has_value(); }
    ///@}

    ///@{
    /// Technology of the profile.
    TechType getFilterByTechType() const { return mFilterByTechType.value_or(TechType{}); }
    void setFilterByTechType(TechType techType) { mFilterByTechType = techType; }
    bool hasFilterByTechType() const { return mFilterByTechType.has_value(); }
    ///@}

    ///@{
    /// Whether this library made the profile; read back with getIsVeloProfile().
    void setFilterByIsVeloProfile(bool isVeloProfile) { mIsVeloProfile = isVeloProfile; }
    bool hasFilterByIsVeloProfile() const { return mIsVeloProfile.has_value(); }
    ///@}

    ///@{
    /// Whether the profile is for initial attach; read back with getIsIAProfile().
    void setFilterByIsIAProfile(bool isIAProfile) { mIsIAProfile = isIAProfile; }
    bool hasFilterByIsIAProfile() const { return mIsIAProfile.has_value(); }
    ///@}

private:
    std::uint32_t mFilterMatchCriteria = 0;
    std::optional<std::int32_t> mFilterByProfileId;
    std::optional<TechType> mFilterByTechType;
};

}  // namespace velo
