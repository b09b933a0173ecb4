// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tool/BashCompletion.h"
#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/CommandLine.h"
#include "tool/Context.h"
#include "tool/GlobalOptions.h"
#include "tool/ManPage.h"
#include "tool/Output.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

constexpr const char* kGroup = "Help";
constexpr Word kShellWords[] = {{"bash", 0}};

/// Prints a text made from the definitions of the commands.
int print(Context& context, const char* name, std::string (*make)(const CommandLine&)) {
    GlobalOptions unused;
    const std::string text = make(CommandLine(unused));
    if (context.output.json()) {
        context.output.document({{name, text}});
    } else {
        context.output.write(text);
    }
    return kDone;
}

Action setupCompletion(CLI::App& app) {
    auto shell = std::make_shared<std::string>();
    app.add_option("SHELL", *shell, "The shell that completes")
        ->type_name(choices(kShellWords))
        ->required();
    return [shell](Context& context) {
        parseWord("shell", kShellWords, *shell);
        return print(context, "script", bashCompletion);
    };
}

Action setupMan(CLI::App&) {
    return [](Context& context) { return print(context, "page", manPage); };
}

}  // namespace

std::vector<Command> documentCommands() {
    return {{"completion", kGroup, "Prints a script that completes velo's commands in a shell",
             "source <(velo completion bash)", setupCompletion},
            {"man", kGroup, "Prints the manual page", "velo man | man -l -", setupMan}};
}

}  // namespace velo::tool
