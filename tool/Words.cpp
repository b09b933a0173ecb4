// SPDX-License-Identifier: Apache-2.0

#include "tool/Words.h"

#include <algorithm>
#include <charconv>
#include <numeric>

#include "tool/CommandError.h"

namespace velo::tool {

namespace {

std::vector<std::string> textsOf(Vocabulary words) {
    std::vector<std::string> texts;
    for (const Word& word : words) {
        texts.emplace_back(word.text);
    }
    return texts;
}

std::size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

}  // namespace

std::uint32_t parseWord(std::string_view what, Vocabulary words, std::string_view text) {
    const std::string lower = lowerCase(text);
    for (const Word& word : words) {
        if (word.text == lower) {
            return word.value;
        }
    }
    const std::vector<std::string> texts = textsOf(words);
    throw CommandError(kUsage, "'" + std::string(text) + "' is no " + std::string(what) +
                                   "; the words are " + join(texts, ", ") + guess(text, texts));
}

std::uint32_t parseMask(std::string_view what, Vocabulary words, std::string_view text) {
    const std::vector<std::string> parts = splitList(text);
    if (parts.size() == 1 && parts.front() == "none") {
        return 0;
    }
    if (parts.empty()) {
        throw CommandError(kUsage, "the " + std::string(what) +
                                       " list is empty; give words such as " +
                                       std::string(words.front().text) + ", or none");
    }
    std::uint32_t mask = 0;
    for (const std::string& part : parts) {
        mask |= parseWord(what, words, part);
    }
    return mask;
}

bool parseYesNo(std::string_view what, std::string_view text) {
    static constexpr Word kWords[] = {{"yes", 1}, {"no", 0}};
    const std::string lower = lowerCase(text);
    if (lower == "true" || lower == "false") {
        return lower == "true";
    }
    return parseWord("value of " + std::string(what), kWords, text) != 0;
}

int parseNumber(std::string_view what, std::string_view text, int least, int most) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc{} && end == text.data() + text.size() && number >= least &&
        number <= most) {
        return number;
    }
    throw CommandError(kUsage, "'" + std::string(text) + "' is no " + std::string(what) +
                                   "; give a number from " + std::to_string(least) + " to " +
                                   std::to_string(most));
}

std::string wordOf(Vocabulary words, std::uint32_t value) {
    for (const Word& word : words) {
        if (word.value == value) {
            return std::string(word.text);
        }
    }
    return std::to_string(value);
}

std::vector<std::string> wordsOf(Vocabulary words, std::uint32_t mask) {
    std::vector<std::string> texts;
    for (const Word& word : words) {
        if ((mask & word.value) != 0) {
            texts.emplace_back(word.text);
        }
    }
    return texts;
}

std::string choices(Vocabulary words) {
    return join(textsOf(words), "|");
}

std::string join(const std::vector<std::string>& parts, std::string_view separator) {
    std::string text;
    for (const std::string& part : parts) {
        if (!text.empty()) {
            text += separator;
        }
        text += part;
    }
    return text;
}

std::vector<std::string> splitList(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        std::string_view part = text.substr(begin, end - begin);
        begin = end + 1;
        const std::size_t first = part.find_first_not_of(kBlanks);
        if (first == std::string_view::npos) {
            continue;
        }
        part = part.substr(first, part.find_last_not_of(kBlanks) - first + 1);
        parts.push_back(lowerCase(part));
    }
    return parts;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower) {
        if (letter >= 'A' && letter <= 'Z') {
            letter = static_cast<char>(letter - 'A' + 'a');
        }
    }
    return lower;
}

std::string nearest(std::string_view text, const std::vector<std::string>& candidates) {
    const std::string lower = lowerCase(text);
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(lower.size() / 2, 1) + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t distance = editDistance(lower, candidate);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = candidate;
        }
    }
    return best;
}

std::string guess(std::string_view text, const std::vector<std::string>& candidates) {
    const std::string best = nearest(text, candidates);
    return best.empty() ? "" : "; did you mean '" + best + "'?";
}

}  // namespace velo::tool
