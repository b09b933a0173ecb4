// SPDX-License-Identifier: Apache-2.0

#include "tool/SettingOptions.h"

#include <CLI/CLI.hpp>

#include "tool/Setting.h"
#include "tool/Words.h"

namespace velo::tool {

void SettingOptions::setup(CLI::App& app) {
    for (const Setting& setting : settings()) {
        app.add_option_function<std::string>(
               "--" + setting.name,
               [this, name = setting.name](const std::string& text) { mTexts[name] = text; },
               setting.help)
            ->type_name(setting.placeholder)
            ->group("Settings");
    }
}

ProfileParams SettingOptions::params() const {
    ProfileParams params;
    for (const auto& [name, text] : mTexts) {
        setting(name).set(params, text);
    }
    return params;
}

void FilterOptions::setup(CLI::App& app, bool byId) {
    SettingOptions::setup(app);
    const char* group = "Filter";
    app.add_option("--criteria", mCriteria, "How comparisons are loosened, separated by commas")
        ->type_name(choices(kCriteriaWords))
        ->group(group);
    app.add_option("--tech", mTech, "Technology")->type_name(choices(kTechWords))->group(group);
    if (byId) {
        app.add_option("--id", mId, "The modem's index of the profile")
            ->type_name("0-255")
            ->group(group);
    }
    app.add_option("--velo", mVelo, "Whether the library made the profile")
        ->type_name("yes|no")
        ->group(group);
    app.add_option("--ia", mInitialAttach, "Whether the profile is for initial attach")
        ->type_name("yes|no")
        ->group(group);
}

FilterProfileParams FilterOptions::filter() const {
    FilterProfileParams filter(params());
    if (mCriteria) {
        filter.addFilterMatchCriteria(parseMask("criterion", kCriteriaWords, *mCriteria));
    }
    if (mTech) {
        filter.setFilterByTechType(
            static_cast<TechType>(parseWord("technology", kTechWords, *mTech)));
    }
    if (mId) {
        filter.setFilterByProfileId(parseNumber("profile id", *mId, 0, kLargestProfileId));
    }
    if (mVelo) {
        filter.setFilterByIsVeloProfile(parseYesNo("--velo", *mVelo));
    }
    if (mInitialAttach) {
        filter.setFilterByIsIAProfile(parseYesNo("--ia", *mInitialAttach));
    }
    return filter;
}

}  // namespace velo::tool
