// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace velo::tool {

class CommandLine;

/// What an option or an argument takes, as far as it can be completed.
struct Completable {
    enum class Kind { Other, Words, Files, Keys, Commands };

    Kind kind = Kind::Other;
    std::vector<std::string> words;  ///< of Kind::Words

    static Completable of(const CLI::Option& option);
};

/// Completes command lines from the definitions of the commands. Used by one thread.
class Completion {
public:
    /// @param keys the names of the keys that there are
    Completion(const CommandLine& line, std::vector<std::string> keys);

    /// What the last word may become.
    /// @param words the words before the last one
    /// @param last the beginning of the last word, possibly empty
    std::vector<std::string> candidates(const std::vector<std::string>& words,
                                        const std::string& last) const;

private:
    std::vector<std::string> valuesFor(const Completable& completable,
                                       const std::string& last) const;

    const CommandLine& mLine;
    std::vector<std::string> mKeys;
};

/// The names of all commands.
std::vector<std::string> commandNames();

/// The options and the positional arguments of a parser, in the order in which they were added.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app);
std::vector<const CLI::Option*> argumentsOf(const CLI::App& app);

/// Whether an option is followed by a value.
bool takesValue(const CLI::Option& option);

}  // namespace velo::tool
