// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/KeyRing.h"
#include "tool/Output.h"
#include "tool/ProfileView.h"
#include "tool/Session.h"
#include "tool/Table.h"
#include "velo/Manager.h"

namespace velo::tool {

namespace {

constexpr const char* kGroup = "Profiles";

struct ViewOptions {
    std::string id;
    bool modemView = false;

    void setup(CLI::App& app) {
        app.add_flag("--modem-view", modemView,
                     "Ask the modem directly; adds the name and whether the profile is persistent");
    }
};

int list(Context& context, const ViewOptions& given) {
    const std::vector<ProfileView> profiles =
        given.modemView ? context.session.modemProfiles()
                        : describe(context.session.manager(), FilterProfileParams());
    if (context.output.json()) {
        context.output.document(toJson(profiles, context.options));
    } else if (profiles.empty()) {
        context.output.line("The modem has no profiles.");
    } else {
        context.output.table(toTable(profiles, context.options));
    }
    return kDone;
}

ProfileView modemProfile(Context& context, const std::string& text) {
    const std::shared_ptr<IProfileKey> key = context.keys.find(text);
    const auto [tech, id] =
        key ? std::make_pair(key->getTechType(), key->getProfileId()) : parseProfileId(text);
    for (const ProfileView& profile : context.session.modemProfiles()) {
        if (profile.tech == tech && profile.id == id) {
            return profile;
        }
    }
    throw CommandError(
        kFailed, "the modem has no profile " + text + "; velo list --modem-view shows what it has");
}

ProfileView libraryProfile(Context& context, const std::string& text) {
    Manager& manager = context.session.manager();
    const std::shared_ptr<IProfileKey> key = context.key(text);
    if (!manager.getProfile(key)) {
        throw CommandError(kFailed, "the key " + text + " is stale: its profile is gone");
    }
    ProfileView profile = describe(manager, key);
    profile.key = context.keys.find(text) ? text : "";
    return profile;
}

int show(Context& context, const ViewOptions& given) {
    const ProfileView profile =
        given.modemView ? modemProfile(context, given.id) : libraryProfile(context, given.id);
    if (context.output.json()) {
        context.output.document(toJson(profile, context.options));
    } else {
        context.output.table(toDetails(profile, context.options));
    }
    return kDone;
}

nlohmann::json dumpToJson(const std::vector<std::string>& lines) {
    nlohmann::json json{{"cache", nlohmann::json::array()},
                        {"pending", nlohmann::json::array()},
                        {"logs", nlohmann::json::array()}};
    std::string section = "cache";
    for (const std::string& line : lines) {
        if (line == "Cache:" || line == "Pending:" || line == "Logs:") {
            section = line == "Cache:" ? "cache" : (line == "Pending:" ? "pending" : "logs");
            continue;
        }
        const std::size_t begin = line.find_first_not_of(' ');
        if (begin != std::string::npos) {
            json[section].push_back(line.substr(begin));
        }
    }
    return json;
}

int dump(Context& context) {
    const std::vector<std::string> lines = context.session.manager().dump();
    if (context.output.json()) {
        context.output.document(dumpToJson(lines));
        return kDone;
    }
    std::string text;
    for (const std::string& line : lines) {
        text += fitted(line) + "\n";
    }
    context.output.write(text);
    return kDone;
}

Action setupList(CLI::App& app) {
    auto given = std::make_shared<ViewOptions>();
    given->setup(app);
    return [given](Context& context) { return list(context, *given); };
}

Action setupShow(CLI::App& app) {
    auto given = std::make_shared<ViewOptions>();
    app.add_option("ID", given->id, "Profile: 3, 3gpp:3, 3gpp2:0, or a key's name")->required();
    given->setup(app);
    return [given](Context& context) { return show(context, *given); };
}

}  // namespace

std::vector<Command> profileCommands() {
    return {{"list", kGroup, "Lists the profiles that the library sees", "velo list", setupList},
            {"show", kGroup, "Shows all that is known of one profile", "velo show 1", setupShow},
            {"dump", kGroup, "Prints the library's state and history, passwords in clear",
             "velo dump", [](CLI::App&) -> Action { return dump; }}};
}

}  // namespace velo::tool
