// SPDX-License-Identifier: Apache-2.0

#include "tool/Outcome.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/KeyRing.h"
#include "tool/Output.h"
#include "tool/Session.h"
#include "velo/Manager.h"

namespace velo::tool {

namespace {

nlohmann::json toJson(const std::vector<ProfileChange>& changes, const GlobalOptions& options) {
    nlohmann::json list = nlohmann::json::array();
    for (const ProfileChange& change : changes) {
        list.push_back(toJson(change, options));
    }
    return list;
}

const ProfileChange* changeOf(const std::vector<ProfileChange>& changes,
                              const ProfileView& profile) {
    const auto found =
        std::find_if(changes.begin(), changes.end(), [&](const ProfileChange& change) {
            return change.after && change.after->tech == profile.tech &&
                   change.after->id == profile.id;
        });
    return found == changes.end() ? nullptr : &*found;
}

bool diesWithKey(const ProfileChange* change) {
    return change != nullptr && change->what() == "created" &&
           !change->after->persistent.value_or(false);
}

}  // namespace

std::vector<ProfileChange> changesOf(Context& context, const std::function<void()>& work) {
    context.session.manager();
    const std::vector<ProfileView> before = context.session.modemProfiles();
    work();
    try {
        return changesBetween(before, context.session.modemProfiles());
    } catch (const CommandError& error) {
        throw CommandError(error.status(),
                           std::string(error.what()) +
                               "; what was asked for may have happened, and velo list --modem-view "
                               "shows it once the modem answers again");
    }
}

void reportChanges(Context& context, const std::vector<ProfileChange>& changes) {
    if (context.output.json()) {
        context.output.document({{"changes", toJson(changes, context.options)}});
        return;
    }
    for (const ProfileChange& change : changes) {
        context.output.line(toText(change, context.options));
    }
    if (changes.empty()) {
        context.output.line("Nothing changed.");
    }
}

void addKeyOption(CLI::App& app, std::string& name) {
    app.add_option("--key", name, "Name for the key where keys live on, as in the shell")
        ->type_name("NAME")
        ->check([](const std::string& text) {
            const bool isName = !text.empty() &&
                                std::isalpha(static_cast<unsigned char>(text[0])) != 0 &&
                                text.find_first_of(": \t") == std::string::npos;
            return isName ? "" : "a key's name begins with a letter and has no colon or blank";
        });
}

void failWithoutKey(const std::string& outcome, const std::vector<ProfileChange>& changes) {
    for (const ProfileChange& change : changes) {
        if (change.what() == "created") {
            throw CommandError(kFailed, "the modem created " + placeOf(*change.after) +
                                            ", but its answer did not come, so that no key holds "
                                            "the profile; use it, or delete it");
        }
    }
    throw CommandError(kFailed, outcome +
                                    ": its store is full, it does not take a value, or its answer "
                                    "did not come; velo list --modem-view shows what it holds");
}

void reportKey(Context& context, const std::shared_ptr<IProfileKey>& key, const std::string& name,
               const std::vector<ProfileChange>& changes, const std::string& hint) {
    ProfileView profile = describe(context.session.manager(), key);
    const ProfileChange* change = changeOf(changes, profile);
    if (context.interactive) {
        profile.key = context.keys.keep(key, name);
    }
    const std::string outcome = change == nullptr ? "found" : change->what();
    if (context.output.json()) {
        context.output.document({{"outcome", outcome},
                                 {"profile", toJson(profile, context.options)},
                                 {"changes", toJson(changes, context.options)}});
    } else {
        context.output.table(toTable({profile}, context.options));
        if (changes.empty()) {
            context.output.line(outcome + " " + placeOf(profile) + ".");
        }
        for (const ProfileChange& each : changes) {
            context.output.line(toText(each, context.options));
        }
    }
    if (context.interactive) {
        return;
    }
    if (outcome == "created" && context.session.embedded() != nullptr) {
        context.output.remark("velo: note: the embedded modem ends with this command, and " +
                              placeOf(profile) +
                              " with it; stay in velo shell, or name a modem that lasts with "
                              "--modem");
    } else if (diesWithKey(change)) {
        context.output.remark("velo: note: the key of " + placeOf(profile) +
                              " dies with this command, and the profile with it; use " +
                              (hint.empty() ? "" : hint + ", or ") + "velo shell to hold the key");
    }
}

}  // namespace velo::tool
