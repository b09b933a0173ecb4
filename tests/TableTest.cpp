// SPDX-License-Identifier: Apache-2.0

#include "tool/Table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <sstream>
#include <string>

namespace velo::tool {
namespace {

constexpr const char* kTypes = "default,mms,supl,dun,hipri,fota,ims,cbs,ia,emergency,mcx,xcap";

class TableTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

Table table() {
    Table made({"TECH", "ID", "TOKEN", "APN", "TYPES", "AUTH", "EMERGENCY", "CLASS"});
    made.add({"3gpp", "1", "17", "internet.example", kTypes, "pap_chap", "", ""});
    made.add({"3gpp2", "255", "1018", "a\x1b[2J", "default", "none", "yes", ""});
    return made;
}

TEST_F(TableTest, WideCharactersAlignAndControlCharactersAreShown) {
    Table table({"NAME", "EMPTY", "NUMBER"});
    table.add({"中国", "", "1"});
    table.add({"a\x1b[1mb", "", "2"});
    EXPECT_EQ(table.render(80, false),
              "NAME    NUMBER\n"
              "中国    1\n"
              "a?[1mb  2\n");
    EXPECT_EQ(displayWidth("中国"), 4U);
    EXPECT_EQ(fitted("中国移动", 5), "中国…");
    EXPECT_EQ(table.render(80, true).substr(0, 4), "\x1b[1m");
}

TEST_F(TableTest, FitsEveryWidthAndLosesNoCellThatIsLeftTooLittle) {
    for (std::size_t width = 40; width <= 130; ++width) {
        std::istringstream lines(table().render(width, false));
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(displayWidth(line), width) << line;
            EXPECT_EQ(line.find('\x1b'), std::string::npos);
        }
    }
    std::string narrow = table().render(40, false);
    narrow.erase(std::remove_if(narrow.begin(), narrow.end(), ::isspace), narrow.end());
    EXPECT_NE(narrow.find(kTypes), std::string::npos) << narrow;
    EXPECT_EQ(narrow.find("CLASS"), std::string::npos);
}

TEST_F(TableTest, WithoutALimitOneLongCellPushesNoOtherRow) {
    Table made({"NAME", "LIST", "END"});
    made.add({"a", std::string(500, 'x'), "last"});
    made.add({"b", "y", "last"});
    std::istringstream lines(made.render(kUnlimited, false));
    std::string longest;
    std::string line;
    std::getline(lines, line);
    std::getline(lines, longest);
    std::getline(lines, line);
    EXPECT_NE(longest.find(std::string(500, 'x') + "  last"), std::string::npos);
    EXPECT_LT(line.size(), 50U);
}

}  // namespace
}  // namespace velo::tool
