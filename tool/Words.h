// SPDX-License-Identifier: Apache-2.0
//
// The words in which values are given and shown, and what is said of a wrong one.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velo::tool {

struct Word {
    std::string_view text;
    std::uint32_t value;
};

using Vocabulary = std::span<const Word>;

inline constexpr Word kTechWords[] = {{"3gpp", 0}, {"3gpp2", 1}};
inline constexpr Word kIpWords[] = {{"v4", 1}, {"v6", 2}, {"v4v6", 3}, {"unknown", 0}};
inline constexpr Word kAuthWords[] = {{"none", 0}, {"pap", 1}, {"chap", 2}, {"pap_chap", 3}};
inline constexpr Word kClassWords[] = {{"ims", 1}, {"admn", 2}, {"inet", 3}, {"app", 4}};
inline constexpr Word kTypeWords[] = {{"default", 0x001},   {"mms", 0x002},   {"supl", 0x004},
                                      {"dun", 0x008},       {"hipri", 0x010}, {"fota", 0x020},
                                      {"ims", 0x040},       {"cbs", 0x080},   {"ia", 0x100},
                                      {"emergency", 0x200}, {"mcx", 0x400},   {"xcap", 0x800}};
inline constexpr Word kCriteriaWords[] = {{"home-ip-subset", 0x01},   {"roam-ip-subset", 0x02},
                                          {"apn-subset", 0x04},       {"types-subset", 0x08},
                                          {"home-ip-superset", 0x10}, {"roam-ip-superset", 0x20}};

/// The value of a word, in whatever case. @throws CommandError that lists the right words and
/// guesses
std::uint32_t parseWord(std::string_view what, Vocabulary words, std::string_view text);

/// The OR of comma-separated words; "none" alone is 0.
std::uint32_t parseMask(std::string_view what, Vocabulary words, std::string_view text);

bool parseYesNo(std::string_view what, std::string_view text);

/// @throws CommandError for anything but a number from `least` to `most`
int parseNumber(std::string_view what, std::string_view text, int least, int most);

/// The word of a value, its number when it has none.
std::string wordOf(Vocabulary words, std::uint32_t value);

/// The words of the bits that are set; bits without a word are left out.
std::vector<std::string> wordsOf(Vocabulary words, std::uint32_t mask);

/// The words separated by "|", the form in which the help shows what an option takes.
std::string choices(Vocabulary words);

std::string join(const std::vector<std::string>& parts, std::string_view separator);

/// The parts of a comma-separated list: lower case, without blanks around them, empty ones left
/// out.
std::vector<std::string> splitList(std::string_view text);

std::string lowerCase(std::string_view text);

/// The candidate that takes the fewest edits, or an empty text when none is near.
std::string nearest(std::string_view text, const std::vector<std::string>& candidates);

/// "; did you mean 'X'?" or nothing.
std::string guess(std::string_view text, const std::vector<std::string>& candidates);

}  // namespace velo::tool
