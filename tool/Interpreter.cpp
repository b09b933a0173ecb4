// SPDX-License-Identifier: Apache-2.0

#include "tool/Interpreter.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <utility>

#include "tool/CommandError.h"
#include "tool/CommandLine.h"
#include "tool/Context.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/Output.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

/// The words that the parser could not place, with a guess for the first one.
std::string describeExtras(const CommandLine& line) {
    const CLI::App* command = line.selected();
    const std::vector<std::string> extras = line.app().remaining(true);
    if (extras.empty()) {
        return "the command line is incomplete; see velo --help";
    }
    const std::string& word = extras.front();
    std::vector<std::string> candidates;
    if (command == nullptr && word.front() != '-') {
        for (const Command& known : commands()) {
            candidates.push_back(known.name);
        }
        return "there is no command '" + word + "'; the commands are " + join(candidates, ", ") +
               guess(word, candidates);
    }
    for (const CLI::App* app : {command, &line.app()}) {
        if (app == nullptr) {
            continue;
        }
        for (const CLI::Option* option : app->get_options()) {
            candidates.push_back(option->get_name());
        }
    }
    return "'" + word + "' is not expected here" + guess(word, candidates) + " (see velo help" +
           (command == nullptr ? "" : " " + command->get_name()) + ")";
}

std::string sentence(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

}  // namespace

int Interpreter::execute(const std::vector<std::string>& words) {
    try {
        return parseAndRun(words);
    } catch (const CommandError& error) {
        mContext.output.error(error.what());
        return error.status();
    } catch (const Interruption::Raised&) {
        mContext.output.error("interrupted");
        return mContext.interruption.status();
    } catch (const Output::Closed&) {
        return kDone;
    } catch (const std::exception& error) {
        mContext.output.error(error.what());
        return kFailed;
    }
}

int Interpreter::parseAndRun(std::vector<std::string> words) {
    CommandLine line(mContext.options);
    std::reverse(words.begin(), words.end());
    try {
        line.app().parse(std::move(words));
    } catch (const CLI::CallForHelp&) {
        if (line.selected() == nullptr && !line.app().remaining().empty()) {
            throw CommandError(kUsage, describeExtras(line));
        }
        mContext.output.write(line.help());
        return kDone;
    } catch (const CLI::CallForVersion& version) {
        mContext.output.line(version.what());
        return kDone;
    } catch (const CLI::ExtrasError&) {
        throw CommandError(kUsage, describeExtras(line));
    } catch (const CLI::RequiredError& error) {
        if (line.selected() == nullptr) {
            throw CommandError(kUsage, describeExtras(line));
        }
        throw CommandError(kUsage, sentence(error.what()) + " (see velo help " +
                                       line.selected()->get_name() + ")");
    } catch (const CLI::ParseError& error) {
        throw CommandError(kUsage, sentence(error.what()));
    }
    return line.action()(mContext);
}

}  // namespace velo::tool
