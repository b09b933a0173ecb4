// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/ApnDatabase.h"
#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/KeyRing.h"
#include "tool/Output.h"
#include "tool/ProgressBar.h"
#include "tool/Provisioner.h"
#include "tool/Session.h"
#include "tool/Table.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

struct ProvisionOptions {
    std::string sim;
    std::string file = kDefaultApnFile;
    bool all = false;
    bool updateAllowed = false;
    bool twice = false;
};

/// What all bring-ups together came to.
struct Summary {
    std::size_t networks = 0;
    std::size_t apns = 0;
    std::size_t runs = 0;
    std::size_t created = 0;
    std::size_t reused = 0;
    std::size_t leftOver = 0;
    std::uint64_t calls = 0;
    std::uint64_t exchanges = 0;
    std::chrono::duration<double> elapsed{};
    std::vector<std::string> differences;

    void add(const ProvisionResult& result) {
        ++runs;
        created += result.created;
        reused += result.reused;
        leftOver += result.leftOver;
        calls += result.calls;
        exchanges += result.exchanges;
        for (const std::string& difference : result.differences) {
            differences.push_back("network " + result.network +
                                  (result.updateAllowed ? ", updates allowed" : "") +
                                  (result.again ? ", second time: " : ": ") + difference);
        }
    }
};

std::string grouped(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3; at -= 3) {
        text.insert(at - 3, ",");
    }
    return text;
}

std::vector<bool> settingsOf(const ProvisionOptions& given) {
    if (given.updateAllowed) {
        return {true};
    }
    return given.all ? std::vector<bool>{false, true} : std::vector<bool>{false};
}

std::vector<ProvisionResult> provision(Provisioner& provisioner, const ApnNetwork& network,
                                       const ProvisionOptions& given) {
    std::vector<ProvisionResult> results;
    for (const bool updateAllowed : settingsOf(given)) {
        results.push_back(provisioner.bringUp(network, updateAllowed, false));
        if (!given.twice) {
            continue;
        }
        ProvisionResult again = provisioner.bringUp(network, updateAllowed, true);
        for (const ProvisionStep& step : again.steps) {
            if (step.outcome == "created" && step.request.rfind("data call", 0) != 0) {
                again.differences.push_back(step.request + ": created once more");
            }
        }
        results.push_back(std::move(again));
    }
    return results;
}

std::string usesOf(const ProvisionResult& result, const ProfileView& profile) {
    std::string text;
    for (const ProvisionStep& step : result.steps) {
        if (step.place == ExpectedStore::Place{profile.tech, profile.id}) {
            text += (text.empty() ? "" : ", ") + step.outcome + " for " + step.request;
        }
    }
    return text;
}

void renderRun(Context& context, const ProvisionResult& result) {
    context.output.line(std::string("Updates ") + (result.updateAllowed ? "" : "not ") + "allowed" +
                        (result.again ? ", second time" : "") + ", while the keys are held:");
    Table table({"TECH", "ID", "APN", "TYPES", "IP", "ROAM", "NAME", "KEPT", "USE"});
    for (const ProfileView& profile : result.profiles) {
        const std::string place = placeOf(profile);
        const auto text = [&](const char* name) {
            return settingText(profile.params, name, context.options);
        };
        table.add({place.substr(0, place.find(':')), std::to_string(profile.id), text("apn"),
                   text("types"), text("ip"), text("roam-ip"), profile.name.value_or(""),
                   profile.persistent.value_or(false) ? "yes" : "", usesOf(result, profile)});
    }
    context.output.table(table);
    for (const ProvisionStep& step : result.steps) {
        if (!step.place) {
            context.output.line(step.request + ": " + step.outcome);
        }
    }
    context.output.line("");
}

nlohmann::json toJson(const ProvisionResult& result, const GlobalOptions& options) {
    nlohmann::json steps = nlohmann::json::array();
    for (const ProvisionStep& step : result.steps) {
        nlohmann::json entry{{"request", step.request}, {"outcome", step.outcome}};
        if (step.place) {
            entry["profile"] =
                placeOf(ProfileView{.tech = step.place->first, .id = step.place->second});
        }
        steps.push_back(entry);
    }
    return {{"network", result.network},
            {"update_allowed", result.updateAllowed},
            {"second_time", result.again},
            {"created", result.created},
            {"reused", result.reused},
            {"left_over", result.leftOver},
            {"calls", result.calls},
            {"exchanges", result.exchanges},
            {"steps", steps},
            {"profiles", toJson(result.profiles, options)},
            {"differences", result.differences}};
}

nlohmann::json toJson(const Summary& summary, const ApnDatabase& database) {
    return {{"networks", summary.networks},
            {"apns", summary.apns},
            {"runs", summary.runs},
            {"created", summary.created},
            {"reused", summary.reused},
            {"left_over", summary.leftOver},
            {"calls", summary.calls},
            {"exchanges", summary.exchanges},
            {"elapsed_seconds", summary.elapsed.count()},
            {"not_understood", database.unknown()},
            {"disabled_records", database.disabled()},
            {"differences", summary.differences}};
}

void renderSummary(Context& context, const Summary& summary) {
    char elapsed[32];
    std::snprintf(elapsed, sizeof elapsed, "%.3f s", summary.elapsed.count());
    Table table({"SUMMARY", "COUNT"});
    table.add({"networks", grouped(summary.networks)});
    table.add({"APNs", grouped(summary.apns)});
    table.add({"bring-ups", grouped(summary.runs)});
    table.add({"profiles created", grouped(summary.created)});
    table.add({"profiles reused", grouped(summary.reused)});
    table.add({"profiles left over", grouped(summary.leftOver)});
    table.add({"calls", grouped(summary.calls)});
    if (context.options.modemPath.empty()) {
        table.add({"exchanges with the modem", grouped(summary.exchanges)});
    }
    table.add({"elapsed", elapsed});
    context.output.table(table);
}

void listDifferences(Context& context, const Summary& summary) {
    if (context.output.json()) {
        return;
    }
    for (const std::string& difference : summary.differences) {
        context.output.line(difference);
    }
}

/// @return the exit status
int finish(Context& context, const Summary& summary) {
    if (summary.differences.empty()) {
        return kDone;
    }
    listDifferences(context, summary);
    context.output.error(
        "the modem is not as it must be: " + std::to_string(summary.differences.size()) +
        " differences, listed in the results");
    return kFailed;
}

[[noreturn]] void tellInterruption(Context& context, const Summary& summary, std::size_t networks) {
    listDifferences(context, summary);
    throw CommandError(context.interruption.status(),
                       "interrupted after " + std::to_string(summary.networks) + " of " +
                           std::to_string(networks) + " networks: " + grouped(summary.created) +
                           " profiles created, " + grouped(summary.reused) + " reused, " +
                           std::to_string(summary.differences.size()) +
                           " differences; everything was released");
}

/// Brings up the networks one after the other. @return the results, where there is but one network
std::vector<ProvisionResult> provisionEach(Context& context, const ProvisionOptions& given,
                                           const std::vector<ApnNetwork>& networks,
                                           Summary& summary) {
    // The embedded modem of a shell is left alone: this one is made as new for each network.
    Session own(context.options, context.output, context.interruption);
    const bool isEmbedded = context.options.modemPath.empty();
    context.session.leave();
    Provisioner provisioner(isEmbedded ? own : context.session, context.options,
                            context.interruption);
    ProgressBar progress(context.output, given.all ? networks.size() : 0);
    std::vector<ProvisionResult> shown;
    for (const ApnNetwork& network : networks) {
        context.interruption.check();
        if (given.all) {
            progress.show(summary.networks, network.id);
        }
        for (ProvisionResult& result : provision(provisioner, network, given)) {
            summary.add(result);
            if (!given.all) {
                shown.push_back(std::move(result));
            }
        }
        ++summary.networks;
        summary.apns += network.records.size();
    }
    return shown;
}

/// The library is connected anew for each network, which makes keys stale.
void requireNoKeys(const Context& context) {
    const std::vector<std::string> names = context.keys.names();
    if (!names.empty()) {
        throw CommandError(kUsage, "provision connects the library anew, and the keys " +
                                       join(names, ", ") +
                                       " would be stale; drop them first, or run velo provision "
                                       "beside this");
    }
}

int runProvision(Context& context, const ProvisionOptions& given) {
    if (given.all == !given.sim.empty()) {
        throw CommandError(kUsage, "say whose SIM: either --sim MCCMNC or --all");
    }
    requireNoKeys(context);
    const ApnDatabase database(given.file);
    if (const std::string remarks = database.remarks(); !remarks.empty()) {
        context.output.remark(remarks);
    }
    const std::vector<ApnNetwork> networks =
        given.all ? database.networks() : std::vector{database.network(given.sim)};
    const auto start = std::chrono::steady_clock::now();
    Summary summary;
    std::vector<ProvisionResult> results;
    try {
        results = provisionEach(context, given, networks, summary);
    } catch (const Interruption::Raised&) {
        tellInterruption(context, summary, networks.size());
    }
    summary.elapsed = std::chrono::steady_clock::now() - start;
    if (!context.output.json()) {
        for (const ProvisionResult& result : results) {
            renderRun(context, result);
        }
        renderSummary(context, summary);
        return finish(context, summary);
    }
    nlohmann::json json = toJson(summary, database);
    if (!given.all) {
        json["network"] = networks.front().id;
        json["carriers"] = networks.front().carriers();
        json["results"] = nlohmann::json::array();
        for (const ProvisionResult& result : results) {
            json["results"].push_back(toJson(result, context.options));
        }
    }
    context.output.document(json);
    return finish(context, summary);
}

Action setupProvision(CLI::App& app) {
    auto given = std::make_shared<ProvisionOptions>();
    app.add_option("--sim", given->sim, "Network of the SIM: country and network code")
        ->type_name("MCCMNC");
    app.add_flag("--all", given->all, "Every network of the carrier list, one after the other");
    app.add_option("--apns", given->file, "Carrier list to read")->type_name("FILE");
    app.add_flag("--update-allowed", given->updateAllowed,
                 "Profiles that are found may be changed; --all does both ways otherwise");
    app.add_flag(
        "--twice", given->twice,
        "Each once more, on what the first time left: the embedded modem restarts in between and "
        "keeps its persistent profiles");
    return [given](Context& context) { return runProvision(context, *given); };
}

}  // namespace

std::vector<Command> provisionCommands() {
    return {
        {"provision", "Bring-up",
         "Brings up SIMs as a data framework does, releases all, and checks the modem: an embedded "
         "one of its own, or the one that --modem names, as it is",
         "velo provision --sim 26201", setupProvision}};
}

}  // namespace velo::tool
