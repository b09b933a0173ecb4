// SPDX-License-Identifier: Apache-2.0
//
// The comparison of the library with the model of its rules, in short: that it passes, and that it
// can fail.

#include <gmock/gmock.h>

#include "SpawnedCommand.h"
#include "Support.h"

namespace velo::test {
namespace {

using ::testing::HasSubstr;

TEST(ModelTest, AFewThousandOperations) {
    const TemporaryFolder folder;
    const auto result = SpawnedCommand(VELO_MODEL, {"--operations", "2000", "--seed", "1",
                                                    "--failures", folder.path()})
                            .finish();
    EXPECT_EQ(0, result.status) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("operations              2000\n"));
}

TEST(ModelTest, ALieIsFoundShortenedAndReplayed) {
    const TemporaryFolder folder;
    const auto found = SpawnedCommand(VELO_MODEL, {"--lying-modem", "--operations", "250", "--seed",
                                                   "1", "--jobs", "1", "--failures", folder.path()})
                           .finish();
    EXPECT_EQ(1, found.status) << found.out << found.err;
    const std::string file = folder / "model-1.steps";
    EXPECT_THAT(found.out, HasSubstr("Again: script/model --replay " + file));
    const auto again = SpawnedCommand(VELO_MODEL, {"--lying-modem", "--replay", file}).finish();
    EXPECT_EQ(1, again.status) << again.out << again.err;
    // Next to nothing is left of the 250 steps.
    EXPECT_THAT(again.out, HasSubstr("  2  "));
    EXPECT_THAT(again.out, ::testing::Not(HasSubstr("  9  ")));
    const auto honest = SpawnedCommand(VELO_MODEL, {"--replay", file}).finish();
    EXPECT_EQ(0, honest.status) << honest.out << honest.err;
}

TEST(ModelTest, WhatIsNoStepIsRefused) {
    const auto result = SpawnedCommand(VELO_MODEL, {"--replay", "/nowhere"}).finish();
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("velo_model: cannot read /nowhere\n", result.err);
}

}  // namespace
}  // namespace velo::test
