// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/CommandLine.h"
#include "tool/Context.h"
#include "tool/GlobalOptions.h"
#include "tool/Output.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

nlohmann::json optionsOf(const CLI::App& app) {
    nlohmann::json options = nlohmann::json::array();
    for (const CLI::Option* option : app.get_options()) {
        options.push_back({{"name", option->get_name(false, true)},
                           {"takes", option->get_type_name()},
                           {"help", option->get_description()}});
    }
    return options;
}

nlohmann::json toJson(const Command& command, const CLI::App& app) {
    return {{"command", command.name},
            {"group", command.group},
            {"summary", command.summary},
            {"example", command.example},
            {"options", optionsOf(app)}};
}

int help(Context& context, const std::string& name) {
    GlobalOptions unused;
    const CommandLine line(unused);
    nlohmann::json all = nlohmann::json::array();
    std::vector<std::string> names;
    for (const Command& command : commands()) {
        names.push_back(command.name);
        const CLI::App& app = *line.find(command.name);
        if (command.name != name) {
            all.push_back(toJson(command, app));
            continue;
        }
        if (context.output.json()) {
            context.output.document(toJson(command, app));
        } else {
            context.output.write(CommandLine::help(app));
        }
        return kDone;
    }
    if (!name.empty()) {
        throw CommandError(kUsage, "there is no command '" + name + "'; the commands are " +
                                       join(names, ", ") + guess(name, names));
    }
    if (context.output.json()) {
        context.output.document(all);
    } else {
        context.output.write(line.help());
    }
    return kDone;
}

Action setupHelp(CLI::App& app) {
    auto name = std::make_shared<std::string>();
    app.add_option("COMMAND", *name, "The command to tell of; all of them otherwise");
    return [name](Context& context) { return help(context, *name); };
}

}  // namespace

std::vector<Command> helpCommands() {
    return {{"help", "Help", "Shows the options of a command and an example", "velo help provision",
             setupHelp}};
}

}  // namespace velo::tool
