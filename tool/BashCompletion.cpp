// SPDX-License-Identifier: Apache-2.0

#include "tool/BashCompletion.h"

#include <CLI/CLI.hpp>
#include <map>
#include <vector>

#include "tool/Command.h"
#include "tool/CommandLine.h"
#include "tool/Completion.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

constexpr const char* kHead = R"(# Completion of velo for bash. Made by: velo completion bash

# Offers the words of $1 for the last piece of a list separated by commas.
_velo_words() {
    local done= piece=$word
    if [[ $word == *,* ]]; then
        done=${word%,*},
        piece=${word##*,}
    fi
    COMPREPLY=($(compgen -P "$done" -W "$1" -- "$piece"))
}

_velo_files() {
    compopt -o filenames 2>/dev/null
    local IFS=$'\n'
    COMPREPLY=($(compgen -f -- "$word"))
}

_velo() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local command= options= i
    COMPREPLY=()
    if [[ $word == = ]]; then
        word=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD-2]}
    fi
)";

constexpr const char* kTail = R"(    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
        return
    fi
)";

/// What is done where an option or an argument is expected; nothing where it cannot be completed.
std::string offerOf(const Completable& completable) {
    switch (completable.kind) {
        case Completable::Kind::Words:
            return "_velo_words '" + join(completable.words, " ") + "'";
        case Completable::Kind::Files:
            return "_velo_files";
        case Completable::Kind::Commands:
            return "_velo_words '" + join(commandNames(), " ") + "'";
        case Completable::Kind::Keys:
        case Completable::Kind::Other:
            break;
    }
    return ":";
}

std::vector<std::string> dashed(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

std::string branch(const std::vector<std::string>& patterns, const std::string& body) {
    return "        " + join(patterns, "|") + ") " + body + " ;;\n";
}

/// Finds the command among the words before the last, passing over the values of options.
std::string commandSearch(const CLI::App& app) {
    std::vector<std::string> valued;
    for (const CLI::Option* option : optionsOf(app)) {
        for (const std::string& name : dashed(*option)) {
            if (takesValue(*option)) {
                valued.push_back(name);
            }
        }
    }
    return "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        case ${COMP_WORDS[i]} in\n    " +
           branch(valued, "((++i))") + "    " +
           branch(commandNames(), "command=${COMP_WORDS[i]}; break") + "        esac\n    done\n";
}

/// The words that each option takes; commands that agree on an option share a branch.
std::string optionValues(const CommandLine& line) {
    std::map<std::string, std::vector<std::string>> patterns;
    const auto collect = [&patterns](const CLI::App& app, const std::string& command) {
        for (const CLI::Option* option : optionsOf(app)) {
            for (const std::string& name : dashed(*option)) {
                if (takesValue(*option)) {
                    patterns[offerOf(Completable::of(*option))].push_back(
                        join({command, name}, ":"));
                }
            }
        }
    };
    for (const Command& command : commands()) {
        collect(*line.find(command.name), command.name);
    }
    collect(line.app(), "*");

    std::string text = "    case $command:$previous in\n";
    for (const auto& [offer, some] : patterns) {
        text += branch(some, offer + "; return");
    }
    return text + "    esac\n";
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : optionsOf(app)) {
        for (const std::string& name : dashed(*option)) {
            names.push_back(name);
        }
    }
    return names;
}

std::string optionLists(const CommandLine& line) {
    std::string text = "    case $command in\n";
    for (const Command& command : commands()) {
        text += branch({command.name},
                       "options='" + join(optionNames(*line.find(command.name)), " ") + "'");
    }
    return text + "    esac\n    options+=' " + join(optionNames(line.app()), " ") + "'\n";
}

std::string arguments(const CommandLine& line) {
    std::string text = "    case $command in\n";
    text += branch({"''"}, "_velo_words '" + join(commandNames(), " ") + "'");
    for (const Command& command : commands()) {
        for (const CLI::Option* argument : argumentsOf(*line.find(command.name))) {
            const std::string offer = offerOf(Completable::of(*argument));
            if (offer != ":") {
                text += branch({command.name}, offer);
            }
        }
    }
    return text + "    esac\n";
}

}  // namespace

std::string bashCompletion(const CommandLine& line) {
    return kHead + commandSearch(line.app()) + optionValues(line) + optionLists(line) + kTail +
           arguments(line) + "}\n\ncomplete -F _velo velo\n";
}

}  // namespace velo::tool
