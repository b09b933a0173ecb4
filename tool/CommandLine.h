// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tool/Command.h"

namespace velo::tool {

struct GlobalOptions;

/// The parser of a whole command line, made from the table of commands: every command is a
/// subcommand, and the global options are taken before and after it. What prints help, completes
/// words or describes the commands asks this, so that all of them agree.
class CommandLine {
public:
    explicit CommandLine(GlobalOptions& options);
    ~CommandLine();

    CLI::App& app() { return *mApp; }
    const CLI::App& app() const { return *mApp; }

    /// The parser of one command; null when there is none of that name.
    CLI::App* find(const std::string& name) const;

    /// The command that the parsed line names, and what carries it out; null and an empty function
    /// before.
    CLI::App* selected() const;
    Action action() const;

    /// Help for the selected command, or for all.
    std::string help() const;
    static std::string help(const CLI::App& app);

private:
    std::unique_ptr<CLI::App> mApp;
    std::vector<std::pair<CLI::App*, Action>> mActions;
};

}  // namespace velo::tool
