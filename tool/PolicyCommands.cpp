// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/KeyRing.h"
#include "tool/Outcome.h"
#include "tool/Output.h"
#include "tool/ProfileView.h"
#include "tool/Session.h"
#include "tool/SettingOptions.h"
#include "tool/WantedRecords.h"
#include "tool/Words.h"
#include "velo/Manager.h"
#include "velo/Util.h"

namespace velo::tool {

namespace {

constexpr const char* kGroup = "Policies";

struct PolicyOptions : SettingOptions {
    std::string tech = "3gpp";
    std::string id;
    std::string key;
    bool updateAllowed = false;
    bool anyApn = false;

    void setup(CLI::App& app) {
        SettingOptions::setup(app);
        app.add_flag("--update-allowed", updateAllowed, "A profile that is found may be changed");
    }

    void setupAnyApn(CLI::App& app) {
        app.add_flag("--any-apn", anyApn,
                     "Allow a change of whichever profile is found when no APN is named");
    }
};

struct FileOptions {
    std::string file;
    std::string sim;
    bool updateAllowed = false;

    void setup(CLI::App& app) {
        app.add_option("FILE", file,
                       "Wanted records: a JSON list with the keys of velo list --json, or a "
                       "carrier list, whose records take the class that their types imply")
            ->required();
        app.add_option("--sim", sim, "Network to take from a carrier list")->type_name("MCCMNC");
    }
};

using FindKey = std::function<std::shared_ptr<IProfileKey>(Util&, const ProfileParams&)>;

/// An update without an APN name would change a profile that nobody named.
void refuseAnyApn(const PolicyOptions& given) {
    if (given.updateAllowed && !given.anyApn && !given.has("apn")) {
        throw CommandError(kUsage,
                           "without --apn and with --update-allowed this changes whichever profile "
                           "is found first; name an APN, or insist with --any-apn");
    }
}

int findKey(Context& context, const PolicyOptions& given, const FindKey& findIt) {
    const ProfileParams params = given.params();
    context.session.manager();
    Util util;
    util.setProfileUpdateAllowed(given.updateAllowed);
    std::shared_ptr<IProfileKey> key;
    const std::vector<ProfileChange> changes =
        changesOf(context, [&] { key = findIt(util, params); });
    if (!key) {
        failWithoutKey("no profile was found, and the modem did not create one", changes);
    }
    reportKey(context, key, given.key, changes);
    return kDone;
}

int dataCall(Context& context, const PolicyOptions& given) {
    refuseAnyApn(given);
    const auto tech = static_cast<TechType>(parseWord("technology", kTechWords, given.tech));
    return findKey(context, given, [tech](Util& util, const ProfileParams& params) {
        return util.findOrCreateProfileForSetupDataCall(tech, params);
    });
}

int emergency(Context& context, const PolicyOptions& given) {
    return findKey(context, given, [](Util& util, const ProfileParams& params) {
        return util.findOrCreateProfileForEmergencyDataCall(params);
    });
}

int attach(Context& context, const PolicyOptions& given) {
    refuseAnyApn(given);
    return findKey(context, given, [](Util& util, const ProfileParams& params) {
        return util.findOrCreateProfileForLteAttach(params);
    });
}

int attachCheck(Context& context, const PolicyOptions& given) {
    const ProfileParams params = given.params();
    const std::shared_ptr<IProfileKey> key = context.keys.find(given.id);
    const auto [tech, id] =
        key ? std::make_pair(key->getTechType(), key->getProfileId()) : parseProfileId(given.id);
    if (tech != TechType::TECH_3GPP) {
        throw CommandError(kUsage,
                           "only a 3GPP profile can serve an attach, and " + given.id + " is none");
    }
    Manager& manager = context.session.manager();
    if (!manager.getProfile(context.key(given.id))) {
        throw CommandError(kFailed, given.id + " is stale: its profile is gone");
    }
    Util util;
    util.setProfileUpdateAllowed(given.updateAllowed);
    const bool usable = util.matchLteAttachProfileId(id, params);
    if (context.output.json()) {
        nlohmann::json json = placeToJson(tech, id, context.options);
        json["usable"] = usable;
        context.output.document(json);
    } else {
        context.output.line(given.id +
                            (usable ? " may be used for attach." : " may not be used for attach."));
    }
    return usable ? kDone : kFailed;
}

int updateFrom(Context& context, const FileOptions& given,
               const std::function<void(Util&, const WantedRecords&)>& update) {
    const WantedRecords wanted = WantedRecords::read(given.file, given.sim);
    context.session.manager();
    Util util;
    util.setProfileUpdateAllowed(given.updateAllowed);
    reportChanges(context, changesOf(context, [&] { update(util, wanted); }));
    return kDone;
}

int apnClass(Context& context, const FileOptions& given) {
    return updateFrom(context, given, [](Util& util, const WantedRecords& wanted) {
        util.updateModemProfileByApnClass(wanted.on3gpp, wanted.on3gpp2);
    });
}

int apnTypes(Context& context, const FileOptions& given) {
    return updateFrom(context, given, [](Util& util, const WantedRecords& wanted) {
        util.updateAPNTypeBitmaskOnModemProfile(wanted.all());
    });
}

Action setupDataCall(CLI::App& app) {
    auto given = std::make_shared<PolicyOptions>();
    given->setup(app);
    given->setupAnyApn(app);
    app.add_option("--tech", given->tech, "Technology")->type_name(choices(kTechWords));
    addKeyOption(app, given->key);
    return [given](Context& context) { return dataCall(context, *given); };
}

Action setupEmergency(CLI::App& app) {
    auto given = std::make_shared<PolicyOptions>();
    given->setup(app);
    addKeyOption(app, given->key);
    return [given](Context& context) { return emergency(context, *given); };
}

Action setupAttach(CLI::App& app) {
    auto given = std::make_shared<PolicyOptions>();
    given->setup(app);
    given->setupAnyApn(app);
    addKeyOption(app, given->key);
    return [given](Context& context) { return attach(context, *given); };
}

Action setupAttachCheck(CLI::App& app) {
    auto given = std::make_shared<PolicyOptions>();
    app.add_option("ID", given->id, "3GPP profile: 3, 3gpp:3, or a key's name")->required();
    given->setup(app);
    return [given](Context& context) { return attachCheck(context, *given); };
}

Action setupApnClass(CLI::App& app) {
    auto given = std::make_shared<FileOptions>();
    given->setup(app);
    return [given](Context& context) { return apnClass(context, *given); };
}

Action setupApnTypes(CLI::App& app) {
    auto given = std::make_shared<FileOptions>();
    given->setup(app);
    app.add_flag("--update-allowed", given->updateAllowed,
                 "All types of an APN go to all of its profiles, whatever their IP families");
    return [given](Context& context) { return apnTypes(context, *given); };
}

}  // namespace

std::vector<Command> policyCommands() {
    const std::string list = "/usr/share/mobile-broadband-provider-info/apns-conf.xml";
    return {{"data-call", kGroup, "Finds or creates the profile for a data call",
             "velo data-call --apn internet --ip v4v6", setupDataCall},
            {"emergency", kGroup, "Finds or creates the profile for an emergency call",
             "velo emergency --apn sos", setupEmergency},
            {"attach", kGroup, "Finds, adapts or creates the profile for the LTE attach",
             "velo attach --apn internet --ip v4v6 --roam-ip v4", setupAttach},
            {"attach-check", kGroup,
             "Tells whether a profile may serve the LTE attach; exit status 1 when not",
             "velo attach-check 1 --ip v4v6", setupAttachCheck},
            {"apn-class", kGroup, "Brings the profiles of each APN class to the wanted records",
             "velo apn-class " + list + " --sim 26201", setupApnClass},
            {"apn-types", kGroup, "Writes the wanted APN types into the profiles of each APN",
             "velo apn-types " + list + " --sim 26201", setupApnTypes}};
}

}  // namespace velo::tool
