// SPDX-License-Identifier: Apache-2.0

#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>

#include "tool/GlobalOptions.h"

namespace velo::tool {

CommandLine::CommandLine(GlobalOptions& options)
    : mApp(std::make_unique<CLI::App>("Manages the data profiles of a modem.", "velo")) {
    mApp->fallthrough();
    mApp->require_subcommand(1);
    mApp->set_help_flag("-h,--help", "This help, or that of a command");
    mApp->set_version_flag("--version", "velo " VELO_VERSION, "The version");
    mApp->get_formatter()->column_width(34);
    mApp->footer(
        "Without --modem every command works on an embedded modem of its own.\n"
        "velo help COMMAND tells more of a command.");
    options.setup(*mApp);
    for (const Command& command : commands()) {
        CLI::App* app = mApp->add_subcommand(command.name, command.summary);
        app->group(command.group);
        app->set_help_flag("-h,--help", "This help");
        app->footer("The options of every command are listed by velo --help.\n\nExample:\n  " +
                    command.example);
        mActions.emplace_back(app, command.setup(*app));
    }
}

CommandLine::~CommandLine() = default;

CLI::App* CommandLine::find(const std::string& name) const {
    for (const auto& [app, action] : mActions) {
        if (app->get_name() == name) {
            return app;
        }
    }
    return nullptr;
}

CLI::App* CommandLine::selected() const {
    const std::vector<CLI::App*> chosen = mApp->get_subcommands();
    return chosen.empty() ? nullptr : chosen.front();
}

Action CommandLine::action() const {
    const CLI::App* chosen = selected();
    for (const auto& [app, action] : mActions) {
        if (app == chosen) {
            return action;
        }
    }
    return {};
}

std::string CommandLine::help() const {
    const CLI::App* chosen = selected();
    return help(chosen == nullptr ? *mApp : *chosen);
}

std::string CommandLine::help(const CLI::App& app) {
    return app.get_parent() == nullptr ? app.help() : app.help("velo");
}

}  // namespace velo::tool
