// SPDX-License-Identifier: Apache-2.0

#include "model/Step.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "model/Generator.h"

namespace velo::model {

namespace {

/// What the values of an argument are called; one that has no names has so many numbers.
struct Argument {
    std::string_view name;
    std::vector<std::string> values;
    unsigned int count = 0;
};

const std::string kEmpty = "(empty)";
const std::string kLong = "(long)";

const std::vector<Argument>& arguments() {
    static const std::vector<std::string> flag{"0", "1"};
    static const std::vector<std::string> ipTypes{"UNKNOWN", "V4", "V6", "V4V6"};
    static const std::vector<std::string> counts{"0", "1", "20", "65535"};
    static const std::vector<Argument> table{
        {"apn", {"ims", "net", "IMS", "internet", "Net", "sos", kEmpty, kLong}},
        {"user", {"me", "you", kEmpty, kLong}},
        {"password", {"secret", "Secret", kLong}},
        {"auth", {"NONE", "PAP", "CHAP", "PAP_CHAP"}},
        {"home", ipTypes},
        {"roam", ipTypes},
        {"types",
         {"0x0", "0x1", "0x40", "0x41", "0x200", "0x400", "0x800", "0xc00", "0xfff", "0x1041"}},
        {"class", {"1", "2", "3", "4", "5"}},
        {"clat", flag},
        {"block", counts},
        {"timer", counts},
        {"interval", counts},
        {"disabled", flag},
        {"emergency", flag},
        {"tech", {"3gpp", "3gpp2", "other"}},
        {"persistent", flag},
        {"initial", flag},
        {"library", flag},
        {"criteria", {}, 64},
        {"id", {}, 8},
        {"key", {}, 32},
        {"keep", {}, 4},
        {"which", {}, 16},
        {"event", {"0", "1", "2", "3", "4", "5", "7"}},
        {"name", {"other", "velo_profile", "velo_profile_ia", "VELO_PROFILE"}},
        {"override", ipTypes},
        {"umts", ipTypes},
        {"high", flag},
        {"allowed", flag},
        {"subscription", flag},
        {"refuse", {}, 8},
        {"again", flag},
    };
    return table;
}

const Argument& argument(std::string_view name) {
    for (const Argument& known : arguments()) {
        if (known.name == name) return known;
    }
    throw std::invalid_argument("no argument '" + std::string(name) + "'");
}

std::string valueText(const Argument& argument, unsigned int index) {
    return argument.values.empty() ? std::to_string(index) : argument.values.at(index);
}

unsigned int valueOf(const Argument& argument, const std::string& text) {
    for (unsigned int index = 0; index < valuesOf(argument.name); ++index) {
        if (valueText(argument, index) == text) return index;
    }
    throw std::invalid_argument("no value '" + text + "' of '" + std::string(argument.name) + "'");
}

std::string string(std::string_view name, unsigned int index) {
    const std::string text = valueText(argument(name), index);
    if (text == kEmpty) return "";
    // Longer than what the modem can hold of it.
    if (text == kLong) return "Long-" + std::string(name) + std::string(160, 'X');
    return text;
}

int number(std::string_view name, unsigned int index) {
    return static_cast<int>(std::strtoul(valueText(argument(name), index).c_str(), nullptr, 0));
}

void fill(ProfileParams& params, const Step::Arguments& record) {
    for (const auto& [name, index] : record) {
        if (name == "apn") params.setApnName(string(name, index));
        if (name == "user") params.setUserName(string(name, index));
        if (name == "password") params.setPassword(string(name, index));
        if (name == "auth") params.setAuthType(static_cast<AuthType>(index));
        if (name == "home") params.setHomeIPType(static_cast<IPType>(index));
        if (name == "roam") params.setRoamIPType(static_cast<IPType>(index));
        if (name == "types") params.setApnTypesMask(static_cast<unsigned>(number(name, index)));
        if (name == "class") params.setApnClass(static_cast<ApnClass>(number(name, index)));
        if (name == "clat") params.setIsClatEnabled(index != 0);
        if (name == "block") params.setMaxPdnsConnPerBlock(number(name, index));
        if (name == "timer") params.setMaxPdnConnTimer(number(name, index));
        if (name == "interval") params.setPdnReqWaitInterval(number(name, index));
        if (name == "disabled") params.setIsApnDisabled(index != 0);
        if (name == "emergency") params.setIsEmergencySupported(index != 0);
    }
}

}  // namespace

unsigned int valuesOf(std::string_view name) {
    const Argument& known = argument(name);
    return known.values.empty() ? known.count : static_cast<unsigned int>(known.values.size());
}

bool isNamed(std::string_view name) {
    return !argument(name).values.empty();
}

const std::vector<std::string_view>& settingNames() {
    static const std::vector<std::string_view> names{
        "apn",   "user", "password", "auth",  "home",     "roam",     "types",
        "class", "clat", "block",    "timer", "interval", "disabled", "emergency"};
    return names;
}

unsigned int Step::index(std::string_view name) const {
    const auto found = records.front().find(name);
    return found == records.front().end() ? 0 : found->second;
}

unsigned int Step::number(std::string_view name) const {
    return static_cast<unsigned int>(model::number(name, index(name)));
}

ProfileParams Step::params(std::size_t record) const {
    ProfileParams params;
    fill(params, records.at(record));
    return params;
}

FilterProfileParams Step::filter() const {
    FilterProfileParams filter;
    fill(filter, records.front());
    filter.addFilterMatchCriteria(index("criteria"));
    if (has("tech")) filter.setFilterByTechType(static_cast<TechType>(index("tech")));
    if (has("id")) filter.setFilterByProfileId(static_cast<int>(index("id")));
    if (has("initial")) filter.setFilterByIsIAProfile(index("initial") != 0);
    if (has("library")) filter.setFilterByIsVeloProfile(index("library") != 0);
    return filter;
}

std::string Step::text() const {
    std::string text(operation);
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i > 0) text += " |";
        for (const auto& [name, index] : records[i]) {
            text += " " + std::string(name) + "=" + valueText(argument(name), index);
        }
    }
    return text;
}

Step Step::parse(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    Step step{operationNamed(word)};
    if (step.operation.empty()) throw std::invalid_argument("no operation '" + word + "'");
    while (words >> word) {
        if (word == "|") {
            step.records.emplace_back();
            continue;
        }
        const auto equals = word.find('=');
        if (equals == std::string::npos) {
            throw std::invalid_argument("'" + word + "' is no argument");
        }
        const Argument& known = argument(word.substr(0, equals));
        step.records.back()[known.name] = valueOf(known, word.substr(equals + 1));
    }
    return step;
}

}  // namespace velo::model
