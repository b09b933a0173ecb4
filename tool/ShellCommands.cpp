// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/CommandLine.h"
#include "tool/CommandText.h"
#include "tool/Completion.h"
#include "tool/Context.h"
#include "tool/ExpiryBoard.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/KeyRing.h"
#include "tool/LineEditor.h"
#include "tool/LineReader.h"
#include "tool/LineRunner.h"
#include "tool/Output.h"
#include "tool/ProfileView.h"
#include "tool/Session.h"
#include "tool/Table.h"
#include "tool/TextFile.h"
#include "tool/Words.h"
#include "velo/Manager.h"

namespace velo::tool {

namespace {

constexpr const char* kGroup = "Shell and scripts";

constexpr const char* kStandardInput = "stdin";

using State = std::shared_ptr<ShellState>;
using NextLine = std::function<std::optional<std::string>()>;

LineEditor::Continuations continuations(const CommandLine& line, const KeyRing& keys,
                                        const std::string& beginning) {
    CommandText text = CommandText::parse(beginning);
    if (text.isCommented) {
        return {};
    }
    std::string last;
    LineEditor::Continuations result;
    if (text.isWordOpen) {
        last = text.words.back();
        text.words.pop_back();
        result.replaced = beginning.size() - text.lastWordAt;
    }
    for (const std::string& word : Completion(line, keys.names()).candidates(text.words, last)) {
        result.candidates.push_back(quotedWord(word));
    }
    return result;
}

void runEdited(Context& context, LineRunner& runner) {
    GlobalOptions unused;
    const CommandLine definitions(unused);
    LineEditor editor(
        "velo> ",
        [&](const std::string& beginning) {
            return continuations(definitions, context.keys, beginning);
        },
        context.interruption);
    context.output.remark("help lists the commands, Tab completes, Ctrl-D ends the shell");
    while (!runner.isEnded()) {
        runner.tellExpired();
        const std::optional<std::string> line = editor.read();
        if (!line) {
            return;
        }
        runner.run(*line);
    }
}

/// @throws Interruption::Raised when the lines ended because of it
void runPiped(Context& context, LineRunner& runner) {
    LineReader reader(STDIN_FILENO, context.interruption);
    std::size_t number = 0;
    for (std::optional<std::string> line; !runner.isEnded() && (line = reader.read());) {
        runner.run(*line, kStandardInput + (":" + std::to_string(++number)));
    }
    context.interruption.check();
}

int runShell(Context& context, ShellState& state) {
    if (context.interactive) {
        throw CommandError(kUsage, "a shell does not start within a shell or a script");
    }
    const bool isEdited = LineEditor::isPossible();
    const ResultList list(context.output, context.output.json() && !isEdited);
    LineRunner runner(context, state, isEdited ? "the shell" : kStandardInput);
    if (isEdited) {
        runEdited(context, runner);
        return context.interruption.isRaised() ? context.interruption.status() : kDone;
    }
    runPiped(context, runner);
    return runner.status();
}

int runLines(Context& context, ShellState& state, const NextLine& next, const std::string& name,
             const std::string& source) {
    const ResultList list(context.output, context.output.json() && !context.interactive);
    LineRunner runner(context, state, source);
    std::size_t number = 0;
    std::optional<std::string> line;
    while (!runner.isEnded() && !context.interruption.isRaised() && (line = next())) {
        const std::string where = name + ":" + std::to_string(++number);
        const int status = runner.run(*line, where);
        if (status == kDone) {
            continue;
        }
        if (!std::exchange(state.isTold, true)) {
            context.output.remark(where + ": the line ended with status " + std::to_string(status));
        }
        return status;
    }
    if (!context.interruption.isRaised()) {
        return kDone;
    }
    context.output.remark(name + ": interrupted after line " + std::to_string(number));
    state.isTold = true;
    return context.interruption.status();
}

int runScript(Context& context, ShellState& state, const std::string& path) {
    if (path == "-") {
        LineReader reader(STDIN_FILENO, context.interruption);
        return runLines(
            context, state, [&reader] { return reader.read(); }, kStandardInput, kStandardInput);
    }
    std::istringstream lines(readTextFile(path));
    const NextLine next = [&lines] {
        std::string line;
        return std::getline(lines, line) ? std::optional(line) : std::nullopt;
    };
    return runLines(context, state, next, path, std::filesystem::weakly_canonical(path).string());
}

void requireShell(const Context& context, const std::string& command) {
    if (!context.interactive) {
        throw CommandError(kUsage, command +
                                       " is of use within velo shell or velo run FILE alone, where "
                                       "keys live on from line to line");
    }
}

std::shared_ptr<IProfileKey> requireKey(const KeyRing& keys, const std::string& name) {
    std::shared_ptr<IProfileKey> key = keys.find(name);
    if (key == nullptr) {
        const std::vector<std::string> names = keys.names();
        throw CommandError(kUsage, "there is no key '" + name + "'; " +
                                       (names.empty() ? "there are no keys at all"
                                                      : "the keys are " + join(names, ", ")) +
                                       guess(name, names));
    }
    return key;
}

int listKeys(Context& context) {
    requireShell(context, "keys");
    Table table({"KEY", "PROFILE", "TOKEN", "APN", "TYPES", "STATE"});
    nlohmann::json json = nlohmann::json::array();
    for (const std::string& name : context.keys.names()) {
        const std::shared_ptr<IProfileKey> key = context.keys.find(name);
        ProfileView view = describe(context.session.manager(), key);
        view.key = name;
        const bool isStale = !context.session.manager().getProfile(key);
        json.push_back(toJson(view, context.options));
        json.back()["stale"] = isStale;
        table.add({name, placeOf(view), std::to_string(view.token.value_or(0)),
                   settingText(view.params, "apn", context.options),
                   settingText(view.params, "types", context.options), isStale ? "stale" : ""});
    }
    if (context.output.json()) {
        context.output.document(json);
    } else if (!table.empty()) {
        context.output.table(table);
    }
    return kDone;
}

int dropKeys(Context& context, const std::vector<std::string>& names) {
    requireShell(context, "drop");
    for (const std::string& name : names) {
        requireKey(context.keys, name);
    }
    for (const std::string& name : names) {
        context.keys.drop(name);
    }
    if (context.output.json()) {
        context.output.document({{"dropped", names}});
    } else {
        context.output.line("dropped " + join(names, ", "));
    }
    return kDone;
}

int watchKey(Context& context, const ShellState& state, const std::string& name) {
    requireShell(context, "on-expire");
    const std::shared_ptr<IProfileKey> key = requireKey(context.keys, name);
    if (!context.session.manager().getProfile(key)) {
        throw CommandError(kFailed, "the key " + name + " has expired already; drop it");
    }
    key->registerExpirationListener([board = state.board, name] { board->note(name); });
    if (context.output.json()) {
        context.output.document({{"on_expire", name}});
    } else {
        context.output.line("will tell when key " + name + " expires");
    }
    return kDone;
}

Command runCommand(const State& state) {
    const auto setup = [state](CLI::App& app) -> Action {
        auto path = std::make_shared<std::string>();
        app.add_option("FILE", *path, "Commands, one a line without velo; - for the standard input")
            ->required();
        return [state, path](Context& context) { return runScript(context, *state, *path); };
    };
    return {"run", kGroup, "Runs the commands of a file until one fails",
            "printf 'add --apn internet --key web\\nlist\\n' | velo run -", setup};
}

Command shellCommand(const State& state) {
    const auto setup = [state](CLI::App&) -> Action {
        return [state](Context& context) { return runShell(context, *state); };
    };
    return {"shell", kGroup, "Takes commands one after another, while their keys live on",
            "echo list | velo shell", setup};
}

Command keysCommand() {
    const auto setup = [](CLI::App&) -> Action { return listKeys; };
    return {"keys", kGroup, "Lists the keys that live in the shell or script",
            "printf 'add --apn internet\\nkeys\\n' | velo shell", setup};
}

Command dropCommand() {
    const auto setup = [](CLI::App& app) -> Action {
        auto names = std::make_shared<std::vector<std::string>>();
        app.add_option("KEY", *names, "Names of the keys")->required();
        return [names](Context& context) { return dropKeys(context, *names); };
    };
    return {"drop", kGroup, "Drops keys; the last one takes a profile that is not persistent along",
            "printf 'add --apn internet\\ndrop k1\\nlist\\n' | velo shell", setup};
}

Command onExpireCommand(const State& state) {
    const auto setup = [state](CLI::App& app) -> Action {
        auto name = std::make_shared<std::string>();
        app.add_option("KEY", *name, "Name of the key")->required();
        return [state, name](Context& context) { return watchKey(context, *state, *name); };
    };
    return {"on-expire", kGroup, "Listens to a key, to tell when it expires",
            "printf 'add --apn internet\\non-expire k1\\ndelete k1\\n' | velo shell", setup};
}

Command exitCommand(const State& state) {
    const auto setup = [state](CLI::App& app) -> Action {
        app.alias("quit");
        return [state](Context& context) {
            requireShell(context, "exit");
            state->isEnded = true;
            return kDone;
        };
    };
    return {"exit", kGroup, "Ends the shell or script, as quit and Ctrl-D do",
            "echo exit | velo shell", setup};
}

}  // namespace

std::vector<Command> shellCommands() {
    const auto state = std::make_shared<ShellState>();
    state->board = std::make_shared<ExpiryBoard>();
    return {shellCommand(state), runCommand(state),      keysCommand(),
            dropCommand(),       onExpireCommand(state), exitCommand(state)};
}

}  // namespace velo::tool
