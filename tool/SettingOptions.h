// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <map>
#include <optional>
#include <string>

#include "velo/FilterProfileParams.h"
#include "velo/ProfileParams.h"

namespace CLI {
class App;
}

namespace velo::tool {

/// An option for each setting of a profile, shared by every command that takes settings. It must
/// live as long as the parser that it was added to.
class SettingOptions {
public:
    void setup(CLI::App& app);

    bool empty() const { return mTexts.empty(); }
    bool has(const std::string& name) const { return mTexts.contains(name); }

    /// @throws CommandError for a wrong value
    ProfileParams params() const;

protected:
    std::map<std::string, std::string> mTexts;  ///< what was given, by option name
};

/// The options of a filter: the settings, the criteria that loosen their comparison, and the items
/// that only a filter has.
class FilterOptions : public SettingOptions {
public:
    /// @param byId whether the profile's id is one of the options
    void setup(CLI::App& app, bool byId);

    FilterProfileParams filter() const;

private:
    std::optional<std::string> mCriteria;
    std::optional<std::string> mTech;
    std::optional<std::string> mId;
    std::optional<std::string> mVelo;
    std::optional<std::string> mInitialAttach;
};

inline constexpr int kLargestProfileId = 255;

}  // namespace velo::tool
