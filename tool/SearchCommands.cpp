// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/KeyRing.h"
#include "tool/Output.h"
#include "tool/ProfileView.h"
#include "tool/Session.h"
#include "tool/SettingOptions.h"
#include "velo/Manager.h"

namespace velo::tool {

namespace {

constexpr const char* kGroup = "Searches";

struct FindOptions : FilterOptions {
    bool keep = false;
};

struct MatchOptions : FilterOptions {
    std::string id;
};

int find(Context& context, const FindOptions& given) {
    const FilterProfileParams filter = given.filter();
    Manager& manager = context.session.manager();
    std::vector<ProfileView> profiles;
    if (given.keep && context.interactive) {
        for (const std::shared_ptr<IProfileKey>& key : manager.filter(filter)) {
            profiles.push_back(describe(manager, key));
            profiles.back().key = context.keys.keep(key);
        }
    } else {
        profiles = describe(manager, filter);
    }
    if (context.output.json()) {
        context.output.document(toJson(profiles, context.options));
    } else if (profiles.empty()) {
        context.output.line("No profile matches.");
    } else {
        context.output.table(toTable(profiles, context.options));
    }
    return kDone;
}

int match(Context& context, const MatchOptions& given) {
    const FilterProfileParams filter = given.filter();
    const std::shared_ptr<IProfileKey> key = context.key(given.id);
    const bool matches = context.session.manager().match(filter, key);
    if (context.output.json()) {
        nlohmann::json json = placeToJson(key->getTechType(), key->getProfileId(), context.options);
        json["matches"] = matches;
        context.output.document(json);
    } else {
        context.output.line(given.id + (matches ? " matches." : " does not match."));
    }
    return matches ? kDone : kFailed;
}

Action setupFind(CLI::App& app) {
    auto given = std::make_shared<FindOptions>();
    given->setup(app, true);
    app.add_flag("--keep", given->keep, "Keep a key of each where keys live on, as in the shell");
    return [given](Context& context) { return find(context, *given); };
}

Action setupMatch(CLI::App& app) {
    auto given = std::make_shared<MatchOptions>();
    app.add_option("ID", given->id, "Profile: 3, 3gpp:3, 3gpp2:0, or a key's name")->required();
    given->setup(app, false);
    return [given](Context& context) { return match(context, *given); };
}

}  // namespace

std::vector<Command> searchCommands() {
    return {{"find", kGroup, "Lists the profiles that match a filter",
             "velo find --ip v4 --criteria home-ip-subset --tech 3gpp", setupFind},
            {"match", kGroup, "Tells whether one profile matches; exit status 1 when it does not",
             "velo match 1 --tech 3gpp", setupMatch}};
}

}  // namespace velo::tool
