// SPDX-License-Identifier: Apache-2.0

#include "tool/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tool/Command.h"
#include "tool/CommandLine.h"

namespace velo::tool {

namespace {

bool beginsWith(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

/// The words that begin as `last` does; in a list, those that begin as its last piece, after the
/// rest.
std::vector<std::string> matching(const std::vector<std::string>& words, const std::string& last,
                                  bool isList) {
    const std::size_t comma = isList ? last.rfind(',') : std::string::npos;
    const std::string done = comma == std::string::npos ? "" : last.substr(0, comma + 1);
    std::vector<std::string> found;
    for (const std::string& word : words) {
        if (beginsWith(done + word, last)) {
            found.push_back(done + word);
        }
    }
    return found;
}

/// The entries of the folder that `last` names, folders with a slash at their end.
std::vector<std::string> matchingFiles(const std::string& last) {
    const std::size_t slash = last.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : last.substr(0, slash + 1);
    std::vector<std::string> found;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder.empty() ? "." : folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string name = folder + entry->path().filename().string();
        std::error_code ignored;
        if (beginsWith(name, last)) {
            found.push_back(entry->is_directory(ignored) ? name + "/" : name);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

const CLI::Option* findOption(const CLI::App* app, const std::string& name) {
    if (app == nullptr) {
        return nullptr;
    }
    for (const CLI::Option* option : optionsOf(*app)) {
        if (option->check_name(name)) {
            return option;
        }
    }
    return nullptr;
}

}  // namespace

Completable Completable::of(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::string place = option.get_positional() ? option.get_name(true) : type;
    const std::vector<std::string> parts = split(type, '|');
    if (place == "FILE" || place == "PATH") {
        return {Kind::Files, {}};
    }
    if (place == "KEY" || place == "ID") {
        return {Kind::Keys, {}};
    }
    if (place == "COMMAND") {
        return {Kind::Commands, {}};
    }
    // Placeholders are upper case: a single word in lower case is a choice of one.
    if (parts.size() > 1 || (!type.empty() && type.front() >= 'a' && type.front() <= 'z')) {
        return {Kind::Words, parts};
    }
    return {};
}

Completion::Completion(const CommandLine& line, std::vector<std::string> keys)
    : mLine(line), mKeys(std::move(keys)) {}

std::vector<std::string> Completion::candidates(const std::vector<std::string>& words,
                                                const std::string& last) const {
    const CLI::App* command = nullptr;
    const CLI::Option* awaiting = nullptr;
    for (const std::string& word : words) {
        if (awaiting != nullptr) {
            awaiting = nullptr;
        } else if (beginsWith(word, "-")) {
            awaiting = findOption(command, word);
            awaiting = awaiting == nullptr ? findOption(&mLine.app(), word) : awaiting;
            awaiting = awaiting != nullptr && takesValue(*awaiting) ? awaiting : nullptr;
        } else if (command == nullptr) {
            command = mLine.find(word);
        }
    }
    if (awaiting != nullptr) {
        return valuesFor(Completable::of(*awaiting), last);
    }

    std::vector<std::string> found;
    const auto add = [&found](std::vector<std::string> more) {
        std::move(more.begin(), more.end(), std::back_inserter(found));
    };
    for (const CLI::App* app : {command, &mLine.app()}) {
        if (app != nullptr && beginsWith(last, "-")) {
            std::vector<std::string> names;
            for (const CLI::Option* option : optionsOf(*app)) {
                names.push_back(option->get_name());
            }
            add(matching(names, last, false));
        }
    }
    if (command == nullptr) {
        add(matching(commandNames(), last, false));
    } else {
        for (const CLI::Option* argument : argumentsOf(*command)) {
            add(valuesFor(Completable::of(*argument), last));
        }
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::vector<std::string> Completion::valuesFor(const Completable& completable,
                                               const std::string& last) const {
    switch (completable.kind) {
        case Completable::Kind::Words:
            return matching(completable.words, last, true);
        case Completable::Kind::Files:
            return matchingFiles(last);
        case Completable::Kind::Keys:
            return matching(mKeys, last, false);
        case Completable::Kind::Commands:
            return matching(commandNames(), last, false);
        case Completable::Kind::Other:
            break;
    }
    return {};
}

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    for (const Command& command : commands()) {
        names.push_back(command.name);
    }
    return names;
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

}  // namespace velo::tool
