// SPDX-License-Identifier: Apache-2.0

#include "tool/CommandText.h"

#include "tool/CommandError.h"

namespace velo::tool {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isBlank(char letter) {
    return kBlanks.find(letter) != std::string_view::npos;
}

/// Within double quotes a backslash quotes these alone, and stays in front of anything else.
bool isEscapable(char letter) {
    return letter == '"' || letter == '\\' || letter == '$' || letter == '`';
}

}  // namespace

CommandText CommandText::parse(std::string_view line) {
    CommandText text;
    char quote = '\0';
    const auto add = [&text](char letter) { text.words.back() += letter; };
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char letter = line[i];
        if (quote == '\0' && isBlank(letter)) {
            text.isWordOpen = false;
            continue;
        }
        if (!text.isWordOpen) {
            if (letter == '#') {
                text.isCommented = true;
                break;
            }
            text.words.emplace_back();
            text.lastWordAt = i;
            text.isWordOpen = true;
        }
        if (text.openQuote == '\\') {
            if (quote == '"' && !isEscapable(letter)) {
                add('\\');
            }
            add(letter);
            text.openQuote = quote = quote == '\\' ? '\0' : quote;
        } else if (letter == '\\' && quote != '\'') {
            text.openQuote = '\\';
            quote = quote == '\0' ? '\\' : quote;
        } else if (quote == '\0' && (letter == '\'' || letter == '"')) {
            text.openQuote = quote = letter;
        } else if (quote != '\0' && quote == letter) {
            text.openQuote = quote = '\0';
        } else {
            add(letter);
        }
    }
    return text;
}

std::vector<std::string> wordsOfLine(std::string_view line) {
    CommandText text = CommandText::parse(line);
    if (text.openQuote == '\\') {
        throw CommandError(kUsage, "the line ends in a backslash that quotes nothing");
    }
    if (text.openQuote != '\0') {
        throw CommandError(
            kUsage, std::string("the line lacks the closing ") + text.openQuote + " of a word");
    }
    return text.words;
}

std::string quotedWord(std::string_view word) {
    std::string quoted;
    for (const char letter : word) {
        if (isBlank(letter) || letter == '\'' || letter == '"' || letter == '\\' || letter == '#') {
            quoted += '\\';
        }
        quoted += letter;
    }
    return quoted;
}

}  // namespace velo::tool
