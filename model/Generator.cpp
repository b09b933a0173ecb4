// SPDX-License-Identifier: Apache-2.0

#include "model/Generator.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "modem/Dice.h"

namespace velo::model {

namespace {

/// An operation, how often it is chosen, and its arguments: the chance of each setting, and of each
/// other argument, in percent.
struct Operation {
    std::string_view name;
    unsigned int weight;
    unsigned int settings;
    std::vector<std::pair<std::string_view, unsigned int>> arguments;
    bool hasRecords = false;
};

const std::vector<Operation>& operations() {
    static const std::vector<Operation> table{
        {"add", 12, 25, {{"tech", 60}, {"persistent", 40}, {"initial", 30}, {"refuse", 10}}},
        {"modify", 10, 20, {{"key", 97}, {"refuse", 10}}},
        {"delete", 3, 0, {{"key", 97}, {"refuse", 20}}},
        {"get", 3, 0, {{"key", 97}}},
        {"filter",
         10,
         10,
         {{"keep", 60},
          {"criteria", 60},
          {"tech", 20},
          {"id", 8},
          {"initial", 10},
          {"library", 10}}},
        {"match",
         6,
         12,
         {{"key", 97},
          {"criteria", 60},
          {"tech", 10},
          {"id", 5},
          {"initial", 10},
          {"library", 10}}},
        {"listen", 8, 0, {{"key", 100}}},
        {"copy", 2, 0, {{"key", 100}}},
        {"drop", 12, 0, {{"key", 100}, {"refuse", 10}}},
        {"refresh-start", 2, 0, {}},
        {"refresh", 2, 0, {{"refuse", 10}}},
        {"data-call", 6, 12, {{"tech", 50}, {"refuse", 10}}},
        {"emergency", 2, 10, {{"refuse", 10}}},
        {"attach", 6, 15, {{"refuse", 10}}},
        {"match-attach", 3, 10, {{"id", 100}}},
        {"by-class", 3, 15, {{"class", 70}, {"tech", 50}, {"refuse", 15}}, true},
        {"by-types", 4, 5, {{"types", 80}, {"home", 70}, {"apn", 70}, {"refuse", 10}}, true},
        {"allow", 2, 0, {{"allowed", 70}}},
        {"foreign-add",
         6,
         25,
         {{"tech", 40},
          {"persistent", 50},
          {"name", 60},
          {"override", 20},
          {"umts", 20},
          {"high", 10},
          {"subscription", 5}}},
        {"foreign-modify",
         5,
         15,
         {{"tech", 40}, {"id", 100}, {"override", 10}, {"umts", 10}, {"subscription", 5}}},
        {"foreign-delete", 5, 0, {{"tech", 40}, {"id", 100}, {"subscription", 5}}},
        {"deliver", 40, 0, {{"refuse", 10}}},
        {"deliver-one", 14, 0, {{"which", 60}, {"again", 15}, {"refuse", 10}}},
        {"lose", 2, 0, {{"which", 60}}},
        {"report", 2, 0, {{"tech", 60}, {"id", 90}, {"event", 100}, {"refuse", 10}}},
        {"power-off", 1, 0, {}},
        {"power-on", 1, 0, {}},
        {"init", 1, 0, {{"subscription", 40}}},
    };
    return table;
}

unsigned int totalWeight() {
    unsigned int total = 0;
    for (const Operation& operation : operations()) total += operation.weight;
    return total;
}

bool chance(modem::Dice& dice, unsigned int percent) {
    return dice.below(100) < percent;
}

/// The first of the named values are the simple ones, and the first exchanges the certain ones; a
/// few keys with which much happens tell more than many:
/// they come more often.
unsigned int value(modem::Dice& dice, std::string_view name) {
    const unsigned int count = valuesOf(name);
    const auto any = dice.below(count);
    const bool isFirstLikely = isNamed(name) || name == "refuse" || name == "key";
    return static_cast<unsigned int>(isFirstLikely ? std::min(any, dice.below(count)) : any);
}

Step::Arguments record(modem::Dice& dice, const Operation& operation) {
    Step::Arguments arguments;
    for (const std::string_view name : settingNames()) {
        if (chance(dice, operation.settings)) arguments[name] = value(dice, name);
    }
    // Most of what is said about profiles names them.
    if (operation.settings > 0 && chance(dice, 60)) arguments["apn"] = value(dice, "apn");
    for (const auto& [name, percent] : operation.arguments) {
        if (chance(dice, percent)) arguments[name] = value(dice, name);
    }
    return arguments;
}

Step step(modem::Dice& dice, const Operation& operation) {
    Step step{operation.name, {record(dice, operation)}};
    while (operation.hasRecords && step.records.size() < 4 && chance(dice, 50)) {
        step.records.push_back(record(dice, operation));
    }
    return step;
}

const Operation& anyOperation(modem::Dice& dice) {
    static const unsigned int total = totalWeight();
    auto left = dice.below(total);
    for (const Operation& operation : operations()) {
        if (left < operation.weight) return operation;
        left -= operation.weight;
    }
    return operations().front();
}

}  // namespace

std::string_view operationNamed(std::string_view name) {
    for (const Operation& operation : operations()) {
        if (operation.name == name) return operation.name;
    }
    return {};
}

Steps generate(std::uint64_t seed, std::size_t length) {
    modem::Dice dice(seed);
    Steps steps;
    while (steps.size() < length) {
        steps.push_back(step(dice, anyOperation(dice)));
        // What stops everything else must not last for long.
        std::string_view end;
        if (steps.back().operation == "power-off") end = "power-on";
        if (steps.back().operation == "refresh-start") end = "refresh";
        if (end.empty()) continue;
        for (auto meanwhile = dice.below(9); meanwhile > 0; --meanwhile) {
            steps.push_back(step(dice, anyOperation(dice)));
        }
        steps.push_back({operationNamed(end)});
    }
    steps.resize(length);
    return steps;
}

}  // namespace velo::model
