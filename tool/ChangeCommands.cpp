// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/Outcome.h"
#include "tool/Output.h"
#include "tool/Session.h"
#include "tool/SettingOptions.h"
#include "tool/Words.h"
#include "velo/Manager.h"

namespace velo::tool {

namespace {

constexpr const char* kGroup = "Changes";

struct AddOptions : SettingOptions {
    bool persistent = false;
    bool initialAttach = false;
    std::string tech = "3gpp";
    std::string key;
};

struct ModifyOptions : SettingOptions {
    std::string id;
};

int add(Context& context, const AddOptions& given) {
    const auto tech = static_cast<TechType>(parseWord("technology", kTechWords, given.tech));
    if (given.initialAttach && tech != TechType::TECH_3GPP) {
        throw CommandError(kUsage, "only a 3GPP profile can be for initial attach; leave --ia out");
    }
    const AddProfileParams params(given.params(), given.persistent, tech, given.initialAttach);
    std::shared_ptr<IProfileKey> key;
    const std::vector<ProfileChange> changes =
        changesOf(context, [&] { key = context.session.manager().addProfile(params); });
    if (!key) {
        failWithoutKey("the modem did not create the profile", changes);
    }
    reportKey(context, key, given.key, changes, "--persistent to keep the profile");
    return kDone;
}

int modify(Context& context, const ModifyOptions& given) {
    if (given.empty()) {
        throw CommandError(kUsage,
                           "nothing to change was given; velo help modify lists the settings");
    }
    const ModifyProfileParams params(given.params());
    const std::shared_ptr<IProfileKey> key = context.key(given.id);
    bool known = false;
    bool refused = false;
    const std::vector<ProfileChange> changes = changesOf(context, [&] {
        known = context.session.manager().modifyProfile(params, key);
        // The library reports a refused change as done; its history tells.
        refused = context.session.loggedSince("Manager::modifyProfile >",
                                              "failed to modify modem profile");
    });
    if (!known) {
        throw CommandError(kFailed, given.id + " is stale: its profile is gone");
    }
    if (refused) {
        const std::string id = given.id;
        throw CommandError(kFailed, changes.empty()
                                        ? "the modem refused the change, or did not answer; " + id +
                                              " is as it was"
                                        : "the modem changed " + id +
                                              ", but its answer did not come; velo list "
                                              "--modem-view shows what it holds");
    }
    reportChanges(context, changes);
    return kDone;
}

int remove(Context& context, const std::string& id) {
    const std::shared_ptr<IProfileKey> key = context.key(id);
    bool done = false;
    const std::vector<ProfileChange> changes =
        changesOf(context, [&] { done = context.session.manager().deleteProfile(key); });
    if (!done) {
        throw CommandError(
            kFailed, changes.empty() ? "the profile " + id +
                                           " was not deleted: its key is stale, or the modem "
                                           "refused or did not answer"
                                     : "the modem deleted " + id + ", but its answer did not come");
    }
    reportChanges(context, changes);
    return kDone;
}

int refresh(Context& context, const std::string& state) {
    static constexpr Word kStates[] = {
        {"started", static_cast<std::uint32_t>(PDCRefreshStatus::REFRESH_STARTED)},
        {"completed", static_cast<std::uint32_t>(PDCRefreshStatus::REFRESH_COMPLETED)}};
    const auto status = static_cast<PDCRefreshStatus>(parseWord("refresh state", kStates, state));
    Manager& manager = context.session.manager();
    manager.refresh(status);
    const bool completed = status == PDCRefreshStatus::REFRESH_COMPLETED;
    const std::size_t profiles = completed ? manager.filter(FilterProfileParams()).size() : 0;
    if (context.output.json()) {
        nlohmann::json json{{"refresh", completed ? "completed" : "started"}};
        if (completed) {
            json["profiles"] = profiles;
        }
        context.output.document(json);
    } else if (completed) {
        context.output.line("Refresh completed: " + std::to_string(profiles) +
                            " profiles were read anew, and earlier keys are stale.");
    } else {
        context.output.line(
            "Refresh started: the library refuses everything until it is completed.");
    }
    return kDone;
}

Action setupAdd(CLI::App& app) {
    auto given = std::make_shared<AddOptions>();
    given->setup(app);
    app.add_flag("--persistent", given->persistent,
                 "The modem keeps the profile, over restarts and without a key");
    app.add_option("--tech", given->tech, "Technology")->type_name(choices(kTechWords));
    app.add_flag("--ia", given->initialAttach, "The profile is for initial attach");
    addKeyOption(app, given->key);
    return [given](Context& context) { return add(context, *given); };
}

Action setupModify(CLI::App& app) {
    auto given = std::make_shared<ModifyOptions>();
    app.add_option("ID", given->id, "Profile: 3, 3gpp:3, 3gpp2:0, or a key's name")->required();
    given->setup(app);
    return [given](Context& context) { return modify(context, *given); };
}

Action setupDelete(CLI::App& app) {
    auto id = std::make_shared<std::string>();
    app.add_option("ID", *id, "Profile: 3, 3gpp:3, 3gpp2:0, or a key's name")->required();
    return [id](Context& context) { return remove(context, *id); };
}

Action setupRefresh(CLI::App& app) {
    auto state = std::make_shared<std::string>();
    app.add_option("STATE", *state, "What became of the modem's configuration")
        ->type_name("started|completed")
        ->required();
    return [state](Context& context) { return refresh(context, *state); };
}

}  // namespace

std::vector<Command> changeCommands() {
    return {{"add", kGroup, "Creates a profile",
             "velo add --apn internet --types default,supl --ip v4v6 --persistent", setupAdd},
            {"modify", kGroup, "Changes the settings that are given",
             "velo modify 1 --types default,mms --auth pap_chap", setupModify},
            {"delete", kGroup, "Deletes a profile from the modem, whoever made it", "velo delete 1",
             setupDelete},
            {"refresh", kGroup, "Tells the library of a refresh of the modem's configuration",
             "velo refresh completed", setupRefresh}};
}

}  // namespace velo::tool
