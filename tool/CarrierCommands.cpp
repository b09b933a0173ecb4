// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/ApnDatabase.h"
#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/Output.h"
#include "tool/Table.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

struct CarrierOptions {
    std::string word;
    std::string file = kDefaultApnFile;
};

bool mentions(const ApnNetwork& network, const std::string& word) {
    const auto has = [&](const std::string& text) {
        return lowerCase(text).find(word) != std::string::npos;
    };
    if (has(network.id)) {
        return true;
    }
    for (const ApnRecord& record : network.records) {
        if (has(record.carrier) || has(record.params.getApnName())) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> apnNames(const ApnNetwork& network) {
    std::vector<std::string> names;
    for (const ApnRecord& record : network.records) {
        names.push_back(record.params.getApnName());
    }
    return names;
}

int carriers(Context& context, const CarrierOptions& given) {
    const ApnDatabase database(given.file);
    if (const std::string remarks = database.remarks(); !remarks.empty()) {
        context.output.remark(remarks);
    }
    nlohmann::json json = nlohmann::json::array();
    Table table({"NETWORK", "APNS", "CARRIERS", "NAMES"});
    for (const ApnNetwork& network : database.networks()) {
        if (!mentions(network, lowerCase(given.word))) {
            continue;
        }
        json.push_back({{"network", network.id},
                        {"carriers", network.carriers()},
                        {"apns", apnNames(network)}});
        table.add({network.id, std::to_string(network.records.size()),
                   join(network.carriers(), ", "), join(apnNames(network), ", ")});
    }
    if (context.output.json()) {
        context.output.document(json);
    } else if (table.empty()) {
        context.output.line("No network mentions '" + given.word + "'.");
    } else {
        context.output.table(table);
    }
    return kDone;
}

Action setupCarriers(CLI::App& app) {
    auto given = std::make_shared<CarrierOptions>();
    app.add_option("WORD", given->word, "Only networks whose code, carriers or APNs hold this");
    app.add_option("--apns", given->file, "Carrier list to read")->type_name("FILE");
    return [given](Context& context) { return carriers(context, *given); };
}

}  // namespace

std::vector<Command> carrierCommands() {
    return {{"carriers", "Bring-up", "Lists the networks of the carrier list",
             "velo carriers telekom", setupCarriers}};
}

}  // namespace velo::tool
