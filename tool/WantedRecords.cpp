// SPDX-License-Identifier: Apache-2.0

#include "tool/WantedRecords.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

#include "tool/ApnDatabase.h"
#include "tool/CommandError.h"
#include "tool/Setting.h"
#include "tool/TextFile.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

/// More than a record needs.
constexpr int kDeepest = 16;

/// What a listed profile tells beside its settings: no business of a wanted record.
const std::set<std::string> kIgnoredKeys = {
    "id", "token", "key", "name", "persistent", "made_by_library", "initial_attach"};

std::string textOf(const nlohmann::json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    if (!value.is_array()) {
        return value.dump();
    }
    std::vector<std::string> words;
    for (const nlohmann::json& word : value) {
        words.push_back(textOf(word));
    }
    return words.empty() ? "none" : join(words, ",");
}

void readKey(const std::string& key, const nlohmann::json& value, ProfileParams& params) {
    std::vector<std::string> known{"technology"};
    for (const Setting& setting : settings()) {
        if (setting.key() == key) {
            setting.set(params, textOf(value));
            return;
        }
        known.push_back(setting.key());
    }
    throw CommandError(kUsage, "there is no setting '" + key + "'; the settings are " +
                                   join(known, ", ") + guess(key, known));
}

std::pair<TechType, ProfileParams> readRecord(const nlohmann::json& record) {
    if (!record.is_object()) {
        throw CommandError(kUsage, "it is no JSON object");
    }
    TechType tech = TechType::TECH_3GPP;
    ProfileParams params;
    for (const auto& [key, value] : record.items()) {
        if (key == "technology") {
            tech = static_cast<TechType>(parseWord("technology", kTechWords, textOf(value)));
        } else if (!kIgnoredKeys.contains(key)) {
            readKey(key, value, params);
        }
    }
    return {tech, params};
}

WantedRecords readJson(const std::string& path, const std::string& text) {
    nlohmann::json list;
    try {
        list = nlohmann::json::parse(text, [&](int depth, auto, const auto&) {
            // Values are read by recursion, which would end in a stack that is too small.
            if (depth > kDeepest) {
                throw CommandError(kUsage, path + ": this is nested deeper than a list of records");
            }
            return true;
        });
    } catch (const nlohmann::json::parse_error& error) {
        throw CommandError(kUsage, placeIn(path, text, error.byte) +
                                       ": this is not JSON; give a list of records such as "
                                       "[{\"apn\": \"internet\", \"class\": \"inet\"}]");
    } catch (const nlohmann::json::out_of_range&) {
        throw CommandError(kUsage, path + ": this has a number that is too large");
    }
    if (!list.is_array()) {
        throw CommandError(kUsage, path + ":1: this is no JSON list of records");
    }
    WantedRecords wanted;
    for (std::size_t i = 0; i < list.size(); ++i) {
        try {
            auto [tech, params] = readRecord(list[i]);
            (tech == TechType::TECH_3GPP ? wanted.on3gpp : wanted.on3gpp2).push_back(params);
        } catch (const CommandError& error) {
            throw CommandError(kUsage,
                               path + ": record " + std::to_string(i + 1) + ": " + error.what());
        }
    }
    return wanted;
}

/// The class under which networks number an access point of these types.
ApnClass classOf(unsigned int types) {
    const auto has = [types](ApnTypes type) {
        return (types & static_cast<unsigned int>(type)) != 0;
    };
    if (has(ApnTypes::DEFAULT)) {
        return ApnClass::INET;
    }
    if (has(ApnTypes::IMS)) {
        return ApnClass::IMS;
    }
    return has(ApnTypes::FOTA) ? ApnClass::ADMN : ApnClass::APP;
}

WantedRecords readList(const std::string& path, const std::string& sim) {
    const ApnDatabase database(path);
    if (sim.empty() && database.networks().size() != 1) {
        throw CommandError(kUsage, path + " has " + std::to_string(database.networks().size()) +
                                       " networks; say which one with --sim");
    }
    const ApnNetwork& network = sim.empty() ? database.networks().front() : database.network(sim);
    WantedRecords wanted;
    for (const ApnRecord& record : network.records) {
        ProfileParams params = record.params;
        params.setApnClass(classOf(params.getApnTypesMask()));
        (record.tech == TechType::TECH_3GPP ? wanted.on3gpp : wanted.on3gpp2).push_back(params);
    }
    return wanted;
}

}  // namespace

std::list<ProfileParams> WantedRecords::all() const {
    std::list<ProfileParams> records = on3gpp;
    records.insert(records.end(), on3gpp2.begin(), on3gpp2.end());
    return records;
}

WantedRecords WantedRecords::read(const std::string& path, const std::string& sim) {
    const std::string text = readTextFile(path);
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    const bool isXml = first != std::string::npos && text[first] == '<';
    return isXml ? readList(path, sim) : readJson(path, text);
}

}  // namespace velo::tool
