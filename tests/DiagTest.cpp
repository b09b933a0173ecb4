// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Support.h"
#include "diag/diag.h"

namespace velo::test {
namespace {

const diag_message_descriptor kDescriptor{116, 63, 4, "|%s| %s", "somewhere"};

/// DIAG_LOG names a file of the test's own.
class DiagTest : public ::testing::Test {
protected:
    DiagTest() { ::setenv("DIAG_LOG", mPath.c_str(), 1); }
    ~DiagTest() override { ::unsetenv("DIAG_LOG"); }

    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        std::ifstream file(mPath);
        for (std::string line; std::getline(file, line);) {
            result.push_back(line);
        }
        return result;
    }

    const TemporaryFolder mFolder;
    const std::string mPath = mFolder / "log";
};

TEST_F(DiagTest, OneLineAMessageWithTimeSubsystemMaskAndText) {
    ASSERT_EQ(1, Diag_LSM_Init(nullptr));
    msg_sprintf(&kDescriptor, "VELO", "first\nstill %s first");
    msg_sprintf(&kDescriptor, "VELO", std::string(2000, 'x').c_str());
    EXPECT_EQ(1, Diag_LSM_DeInit());
    ASSERT_EQ(2U, lines().size());
    EXPECT_THAT(lines()[0],
                ::testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}"
                                        "\\.[0-9]{3} 63 4 \\|VELO\\| first\\\\nstill %s first"));
    EXPECT_NE(std::string::npos, lines()[1].find(std::string(2000, 'x')));
}

TEST_F(DiagTest, ANewLogIsItsOwnersAlone) {
    Diag_LSM_Init(nullptr);
    Diag_LSM_DeInit();
    EXPECT_EQ(std::filesystem::perms{0600}, std::filesystem::status(mPath).permissions());
}

TEST_F(DiagTest, DropsWhenNobodyHasOpenedIt) {
    msg_sprintf(&kDescriptor, "VELO", "too early");
    Diag_LSM_Init(nullptr);
    Diag_LSM_DeInit();
    msg_sprintf(&kDescriptor, "VELO", "too late");
    EXPECT_EQ(0, Diag_LSM_DeInit());
    EXPECT_TRUE(lines().empty());
}

TEST_F(DiagTest, UsersAreCounted) {
    Diag_LSM_Init(nullptr);
    Diag_LSM_Init(nullptr);
    Diag_LSM_DeInit();
    msg_sprintf(&kDescriptor, "VELO", "the second still listens");
    Diag_LSM_DeInit();
    EXPECT_EQ(1U, lines().size());
}

TEST_F(DiagTest, SilentWithoutAFileOrRoom) {
    for (const char* path : {"", "/dev/full", "/no/such/folder/log"}) {
        ::setenv("DIAG_LOG", path, 1);
        EXPECT_EQ(1, Diag_LSM_Init(nullptr));
        msg_sprintf(&kDescriptor, "VELO", "lost");
        EXPECT_EQ(1, Diag_LSM_DeInit());
    }
}

TEST_F(DiagTest, LinesOfManyThreadsStayWhole) {
    Diag_LSM_Init(nullptr);
    constexpr int kThreads = 4;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            const std::string text(100, static_cast<char>('a' + thread));
            for (int i = 0; i < 100; ++i) {
                msg_sprintf(&kDescriptor, "VELO", text.c_str());
                Diag_LSM_Init(nullptr);
                Diag_LSM_DeInit();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    Diag_LSM_DeInit();
    EXPECT_EQ(400U, lines().size());
    for (const auto& line : lines()) {
        const std::string text = line.substr(line.find("| ") + 2);
        EXPECT_EQ(std::string(100, text[0]), text);
    }
}

}  // namespace
}  // namespace velo::test
