// SPDX-License-Identifier: Apache-2.0
//
// A profile as it is shown, whether the library or the modem told of it, and what became of
// profiles.

#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tool/Table.h"
#include "velo/FilterProfileParams.h"

namespace velo {
class IProfileKey;
class Manager;
}  // namespace velo

namespace velo::modem {
struct StoredProfile;
}

namespace velo::tool {

struct GlobalOptions;

struct ProfileView {
    TechType tech{};
    int id = 0;
    FilterProfileParams params{};  ///< the settings, and the two flags when they are known

    std::optional<std::uint64_t> token{};  ///< known to the library alone
    std::string key{};                     ///< the name of a kept key
    std::optional<std::string> name{};     ///< known to the modem alone
    std::optional<bool> persistent{};      ///< known to the modem alone
};

/// The profile of a key; only its place is known when the key is stale.
ProfileView describe(Manager& manager, const std::shared_ptr<IProfileKey>& key);

/// A profile of the modem's store, decoded by the service definition alone.
ProfileView describe(const modem::StoredProfile& profile);

/// Profiles as the library sees them, by technology and id; the keys are dropped.
std::vector<ProfileView> describe(Manager& manager, const FilterProfileParams& filter);

/// "3gpp:5".
std::string placeOf(const ProfileView& profile);

/// What identifies a profile.
nlohmann::json placeToJson(TechType tech, int id, const GlobalOptions& options);

nlohmann::json toJson(const ProfileView& profile, const GlobalOptions& options);
nlohmann::json toJson(const std::vector<ProfileView>& profiles, const GlobalOptions& options);

/// The value of a setting as the options want it shown; empty when the profile lacks it.
std::string settingText(const ProfileParams& params, const std::string& name,
                        const GlobalOptions& options);

/// One row for each profile.
Table toTable(const std::vector<ProfileView>& profiles, const GlobalOptions& options);

/// One row for each thing known of a profile.
Table toDetails(const ProfileView& profile, const GlobalOptions& options);

/// A profile before and after: created, deleted, or modified when both are there.
struct ProfileChange {
    std::optional<ProfileView> before;
    std::optional<ProfileView> after;

    std::string what() const;
};

/// What differs between two views of the same modem.
std::vector<ProfileChange> changesBetween(const std::vector<ProfileView>& before,
                                          const std::vector<ProfileView>& after);

nlohmann::json toJson(const ProfileChange& change, const GlobalOptions& options);

/// "modified 3gpp:1: types none -> default,ims".
std::string toText(const ProfileChange& change, const GlobalOptions& options);

}  // namespace velo::tool
