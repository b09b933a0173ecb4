// SPDX-License-Identifier: Apache-2.0
//
// The porting guide against what it describes: whoever brings the library to a device relies on its
// tables.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>

#include "Sanitized.h"

namespace velo::test {
namespace {

using Numbers = std::map<std::string, std::string>;

std::string textOf(const std::string& path) {
    std::ifstream file(std::string(VELO_SOURCES) + "/" + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Names and numbers as a pattern with two groups finds them.
Numbers find(const std::string& text, const std::string& pattern) {
    Numbers numbers;
    const std::regex regex(pattern);
    for (std::sregex_iterator hit(text.begin(), text.end(), regex), end; hit != end; ++hit) {
        numbers[(*hit)[1]] = (*hit)[2];
    }
    return numbers;
}

/// The C functions that the library takes from neither the C nor the C++ library: those carry a
/// version, or a name that is reserved.
std::set<std::string> functionsTaken() {
    const std::string command = "nm -D --undefined-only '" VELO_LIBRARY "'";
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
    std::set<std::string> functions;
    char line[512];
    const std::regex own("\\s+[Uw] ([^_@\\s][^@\\s]*|__android[^@\\s]*)\\s*");
    while (std::fgets(line, sizeof(line), output.get()) != nullptr) {
        std::cmatch match;
        if (std::regex_match(static_cast<const char*>(line), match, own))
            functions.insert(match[1]);
    }
    return functions;
}

TEST(PortingTest, GuideListsEveryFunctionThatTheLibraryTakes) {
    if (kSanitized) GTEST_SKIP() << "the sanitizers take functions of their own";
    std::set<std::string> listed;
    const Numbers rows =
        find(textOf("docs/porting.md"),
             "\\| `(\\w+)` \\| (WDS definition|messaging client|diagnostic service|liblog) \\|");
    for (const auto& [function, from] : rows) listed.insert(function);
    EXPECT_FALSE(listed.empty());
    EXPECT_EQ(listed, functionsTaken());
}

struct Table {
    const char* name;
    const char* inGuide;
    const char* inHeader;
};

class GuideTable : public ::testing::TestWithParam<Table> {};

TEST_P(GuideTable, SaysWhatTheHeaderHolds) {
    const Numbers held = find(textOf("platform/mox/wds_v01.h"), GetParam().inHeader);
    EXPECT_FALSE(held.empty());
    EXPECT_EQ(find(textOf("docs/porting.md"), GetParam().inGuide), held);
}

INSTANTIATE_TEST_SUITE_P(
    PortingTest, GuideTable,
    ::testing::Values(
        Table{"Messages", "\\| `kWds(\\w+)` \\| (0x\\w+) \\|", "kWds(\\w+(?:Req|Ind)) = (0x\\w+);"},
        Table{"Sizes", "\\| `(\\w+_v01)` \\| (\\d+) \\|", "sizeof\\((\\w+)\\) == (\\d+)"},
        Table{"Offsets", "\\| `\\w+_v01\\.([\\w.]+)` \\| (\\d+) \\|",
              "offsetof\\(\\w+,\\s*([\\w.]+)\\)\\s*==\\s*(\\d+)"}),
    [](const auto& table) { return std::string(table.param.name); });

}  // namespace
}  // namespace velo::test
