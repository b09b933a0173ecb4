// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velo::tool {

struct Context;

/// Carries out a command whose line was parsed. @return the exit status
using Action = std::function<int(Context&)>;

/// One command. `setup` adds its options to a parser and returns what carries them out; the action
/// holds what the options are parsed into, so that the parser and the action live together.
struct Command {
    std::string name;
    std::string group;
    std::string summary;
    std::string example;  ///< a line that works when pasted
    std::function<Action(CLI::App&)> setup;
};

/// Every command, in the order in which the help lists them.
const std::vector<Command>& commands();

// One function for each file of commands.
std::vector<Command> provisionCommands();
std::vector<Command> profileCommands();
std::vector<Command> changeCommands();
std::vector<Command> searchCommands();
std::vector<Command> policyCommands();
std::vector<Command> carrierCommands();
std::vector<Command> watchCommands();
std::vector<Command> shellCommands();
std::vector<Command> helpCommands();
std::vector<Command> documentCommands();

}  // namespace velo::tool
