// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velo::tool {

/// A command line taken apart as a shell does: words separated by blanks, '...' and "..." and
/// backslashes to quote, and # at the beginning of a word for a comment up to the end.
struct CommandText {
    std::vector<std::string> words;
    char openQuote = '\0';       ///< a quote or a backslash that lacks its end
    bool isWordOpen = false;     ///< whether more text would belong to the last word
    std::size_t lastWordAt = 0;  ///< where in the line the last word begins
    bool isCommented = false;    ///< whether the line ends in a comment

    static CommandText parse(std::string_view line);
};

/// The words of a whole line. @throws CommandError when a quote is left open
std::vector<std::string> wordsOfLine(std::string_view line);

/// The text of one word, quoted where it needs to be.
std::string quotedWord(std::string_view word);

}  // namespace velo::tool
