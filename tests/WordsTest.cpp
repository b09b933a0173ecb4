// SPDX-License-Identifier: Apache-2.0

#include "tool/Words.h"

#include <gtest/gtest.h>

#include <functional>

#include "tool/CommandError.h"

namespace velo::tool {
namespace {

std::string errorOf(const std::function<void()>& parse) {
    try {
        parse();
    } catch (const CommandError& error) {
        EXPECT_EQ(error.status(), kUsage);
        return error.what();
    }
    return "";
}

TEST(Words, MasksAreReadWithoutRegardToCaseAndBlanks) {
    EXPECT_EQ(parseMask("type", kTypeWords, " Default , IMS,xcap"), 0x841U);
    EXPECT_EQ(parseMask("type", kTypeWords, "none"), 0U);
    EXPECT_EQ(join(wordsOf(kTypeWords, 0x841), ","), "default,ims,xcap");
    EXPECT_EQ(parseWord("auth", kAuthWords, "PAP_CHAP"), 3U);
    EXPECT_EQ(wordOf(kClassWords, 4), "app");
    EXPECT_EQ(wordOf(kClassWords, 9), "9");
}

TEST(Words, AWrongWordGetsTheRightOnesAndTheNearestGuess) {
    EXPECT_EQ(
        errorOf([] { parseMask("APN type", kTypeWords, "default,emergancy"); }),
        "'emergancy' is no APN type; the words are default, mms, supl, dun, hipri, fota, ims, "
        "cbs, ia, emergency, mcx, xcap; did you mean 'emergency'?");
    EXPECT_EQ(errorOf([] { parseWord("IP type", kIpWords, "zzzzzzz"); }),
              "'zzzzzzz' is no IP type; the words are v4, v6, v4v6, unknown");
    EXPECT_NE(errorOf([] { parseMask("APN type", kTypeWords, " , "); }), "");
    EXPECT_NE(errorOf([] { parseMask("APN type", kTypeWords, "none,ims"); }), "");
}

TEST(Words, NumbersHaveToBeWholeAndWithinTheirBounds) {
    EXPECT_EQ(parseNumber("profile id", "255", 0, 255), 255);
    for (const char* wrong : {"", "256", "-1", "3x", " 3", "99999999999999999999"}) {
        EXPECT_NE(errorOf([&] { parseNumber("profile id", wrong, 0, 255); }), "") << wrong;
    }
}

}  // namespace
}  // namespace velo::tool
