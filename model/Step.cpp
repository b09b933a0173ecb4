// SPDX-License-Identifier: Apache-2.0

#include "model/Step.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "modem/Dice.h"

namespace velo::model {

namespace {

/// What the values of an argument are called; one that has no names has so many numbers.
struct Argument {
    std::string_view name;
    std::vector<std::string> values;
    unsigned int numbers = 0;

    unsigned int count() const {
        return values.empty() ? numbers : static_cast<unsigned int>(values.size());
    }
    std::string text(unsigned int index) const {
        return values.empty() ? std::to_string(index) : values.at(index);
    }
};

const std::string kEmpty = "(empty)";
const std::string kLong = "(long)";
constexpr std::size_t kSettings = 14;  ///< the first arguments are those that profiles have

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

/// An operation, how often it is chosen, and its arguments: the chance of each setting, and of each
/// other argument, in percent.
struct Operation {
    std::string_view name;
    unsigned int weight;
    unsigned int settings;
    std::string arguments;
    bool hasRecords = false;
};

const std::vector<Operation>& operations() {
    static const std::vector<Operation> table{
        {"add", 12, 25, "tech=60 persistent=40 initial=30 refuse=10"},
        {"modify", 10, 20, "key=97 refuse=10"},
        {"delete", 3, 0, "key=97 refuse=20"},
        {"get", 3, 0, "key=97"},
        {"filter", 10, 10, "keep=60 criteria=60 tech=20 id=8 initial=10 library=10"},
        {"match", 6, 12, "key=97 criteria=60 tech=10 id=5 initial=10 library=10"},
        {"listen", 8, 0, "key=100"},
        {"copy", 2, 0, "key=100"},
        {"drop", 12, 0, "key=100 refuse=10"},
        {"refresh-start", 2, 0, ""},
        {"refresh", 2, 0, "refuse=10"},
        {"data-call", 6, 12, "tech=50 refuse=10"},
        {"emergency", 2, 10, "refuse=10"},
        {"attach", 6, 15, "refuse=10"},
        {"match-attach", 3, 10, "id=100"},
        {"by-class", 3, 15, "class=70 tech=50 refuse=15", true},
        {"by-types", 4, 5, "types=80 home=70 apn=70 refuse=10", true},
        {"allow", 2, 0, "allowed=70"},
        {"foreign-add", 6, 25,
         "tech=40 persistent=50 name=60 override=20 umts=20 high=10 subscription=5"},
        {"foreign-modify", 5, 15, "tech=40 id=100 override=10 umts=10 subscription=5"},
        {"foreign-delete", 5, 0, "tech=40 id=100 subscription=5"},
        {"deliver", 40, 0, "refuse=10"},
        {"deliver-one", 14, 0, "which=60 again=15 refuse=10"},
        {"lose", 2, 0, "which=60"},
        {"report", 2, 0, "tech=60 id=90 event=100 refuse=10"},
        {"power-off", 1, 0, ""},
        {"power-on", 1, 0, ""},
        {"init", 1, 0, "subscription=40"},
    };
    return table;
}

template <typename Entry>
const Entry& named(const char* kind, const std::vector<Entry>& table, std::string_view name) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [&](const Entry& entry) { return entry.name == name; });
    if (found != table.end()) return *found;
    throw std::invalid_argument(std::string("no ") + kind + " '" + std::string(name) + "'");
}

const Argument& argument(std::string_view name) {
    return named("argument", arguments(), name);
}

std::string string(std::string_view name, unsigned int index) {
    const std::string text = argument(name).text(index);
    if (text == kEmpty) return "";
    // Longer than what the modem can hold of it.
    return text == kLong ? "Long-" + std::string(name) + std::string(160, 'X') : text;
}

int number(std::string_view name, unsigned int index) {
    return std::stoi(argument(name).text(index), nullptr, 0);
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

bool chance(modem::Dice& dice, unsigned int percent) {
    return dice.below(100U) < percent;
}

/// The first of the named values are the simple ones, and the first exchanges the certain ones, and
/// a few keys with which much happens tell more than many: they come more often.
unsigned int anyValue(modem::Dice& dice, const Argument& argument) {
    const auto any = dice.below(argument.count());
    const bool isFirstLikely =
        !argument.values.empty() || argument.name == "refuse" || argument.name == "key";
    return static_cast<unsigned int>(isFirstLikely ? std::min(any, dice.below(argument.count()))
                                                   : any);
}

Step::Arguments anyRecord(modem::Dice& dice, const Operation& operation) {
    Step::Arguments record;
    const auto add = [&](const Argument& argument, unsigned int percent) {
        if (chance(dice, percent)) record[argument.name] = anyValue(dice, argument);
    };
    for (std::size_t i = 0; i < kSettings; ++i) add(arguments()[i], operation.settings);
    // Most of what is said about profiles names them.
    if (operation.settings > 0) add(argument("apn"), 60);
    std::istringstream others(operation.arguments);
    std::string name;
    for (unsigned int percent = 0;
         std::getline(others >> std::ws, name, '=') && others >> percent;) {
        add(argument(name), percent);
    }
    return record;
}

Step anyStep(modem::Dice& dice) {
    std::uint64_t total = 0;
    for (const Operation& operation : operations()) total += operation.weight;
    auto left = dice.below(total);
    auto operation = operations().begin();
    for (; left >= operation->weight; ++operation) left -= operation->weight;
    Step step{operation->name, {anyRecord(dice, *operation)}};
    while (operation->hasRecords && step.records.size() < 4 && chance(dice, 50)) {
        step.records.push_back(anyRecord(dice, *operation));
    }
    return step;
}

}  // namespace

unsigned int Step::index(std::string_view name, std::size_t record) const {
    const auto found = records.at(record).find(name);
    return found == records[record].end() ? 0 : found->second;
}

std::string Step::value(std::string_view name) const {
    return argument(name).text(index(name));
}

TechType Step::tech(std::size_t record) const {
    return static_cast<TechType>(index("tech", record));
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
    if (has("tech")) filter.setFilterByTechType(tech());
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
            text += " " + std::string(name) + "=" + argument(name).text(index);
        }
    }
    return text;
}

Step Step::parse(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    Step step{named("operation", operations(), word).name};
    while (words >> word) {
        if (word == "|") {
            step.records.emplace_back();
            continue;
        }
        const auto equals = std::min(word.find('='), word.size());
        const Argument& known = argument(word.substr(0, equals));
        unsigned int index = 0;
        while (index < known.count() && word.substr(equals) != "=" + known.text(index)) ++index;
        if (index == known.count()) throw std::invalid_argument("no value '" + word + "'");
        step.records.back()[known.name] = index;
    }
    return step;
}

Steps generate(std::uint64_t seed, std::size_t length) {
    modem::Dice dice(seed);
    Steps steps;
    while (steps.size() < length) {
        steps.push_back(anyStep(dice));
        // What stops everything else must not last for long.
        std::string_view end;
        if (steps.back().operation == "power-off") end = "power-on";
        if (steps.back().operation == "refresh-start") end = "refresh";
        if (end.empty()) continue;
        for (auto meanwhile = dice.below(9); meanwhile > 0; --meanwhile) {
            steps.push_back(anyStep(dice));
        }
        steps.push_back({end});
    }
    steps.resize(length);
    return steps;
}

}  // namespace velo::model
