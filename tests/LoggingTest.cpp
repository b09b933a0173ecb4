// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "AdbWriter.h"
#include "DiagWriter.h"
#include "LocalLogBuffer.h"
#include "LogWrapper.h"
#include "Support.h"

namespace velo {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Matches;
using ::testing::MatchesRegex;

/// The history's lines from their message on.
std::vector<std::string> history() {
    std::vector<std::string> messages;
    for (const std::string& line : LocalLogBuffer::getInstance().getLogs()) {
        messages.push_back(line.substr(line.find("[VELO]") + 6));
    }
    return messages;
}

TEST(LoggingTest, ErrorsAndEventsAreKeptAndEverythingIsWritten) {
    const test::LogRecorder log;
    LocalLogBuffer::getInstance().flush();
    for (const LogLevel level : {LogLevel::Verbose, LogLevel::Debug, LogLevel::Info,
                                 LogLevel::Error, LogLevel::Fatal, LogLevel::Event}) {
        LogWrapper::getInstance().log(level, "VELO", "level %d", static_cast<int>(level));
        EXPECT_TRUE(log.has(level, "level " + std::to_string(static_cast<int>(level))));
    }
    EXPECT_EQ(history(), (std::vector<std::string>{"level 3", "level 5"}));
}

TEST(LoggingTest, HistoryKeepsTheLast201Lines) {
    LocalLogBuffer::getInstance().flush();
    for (int i = 0; i < 250; ++i) {
        logLine(LogLevel::Error, "line %d", i);
    }
    const auto lines = history();
    ASSERT_EQ(lines.size(), 201U);
    EXPECT_EQ(lines.front(), "line 49");
    EXPECT_EQ(lines.back(), "line 249");
    LocalLogBuffer::getInstance().flush();
    EXPECT_TRUE(history().empty());
}

TEST(LoggingTest, HistoryLineHasLocalTime) {
    LocalLogBuffer::getInstance().flush();
    logLine(LogLevel::Event, "ready");
    EXPECT_THAT(LocalLogBuffer::getInstance().getLogs(),
                ElementsAre(MatchesRegex("    [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}"
                                         "\\.[0-9]{3} \\[VELO\\]ready")));
}

TEST(LoggingTest, HistoryFollowsTheTimeZone) {
    logLine(LogLevel::Event, "before");
    constexpr time_t kEast = 20700;
    setenv("TZ", "TST-05:45", 1);
    EXPECT_TRUE(test::waitUntil([] {
        const time_t shifted = time(nullptr) + kEast;
        char text[32] = {};
        strftime(text, sizeof text, "    %F %X", gmtime(&shifted));
        logLine(LogLevel::Event, "after");
        return LocalLogBuffer::getInstance().getLogs().back().starts_with(text);
    }));
    unsetenv("TZ");
    tzset();
}

TEST(LoggingTest, WritersNumberLevelsAsTheirChannels) {
    const int android[] = {2, 3, 4, 6, 7, 4, 4};
    const int diag[] = {1, 1, 1, 4, 16, 4, 1};
    AdbWriter adbWriter;
    DiagWriter diagWriter;
    for (int level = 0; level < 7; ++level) {
        EXPECT_EQ(adbWriter.convertPrio(static_cast<LogLevel>(level)), android[level]);
        EXPECT_EQ(diagWriter.convertPrio(static_cast<LogLevel>(level)), diag[level]);
    }
}

/// Ends a child of the process that made it when the child writes to it or destroys it.
class OwnersWriter : public LogWriter {
public:
    ~OwnersWriter() override { check(); }
    void write(LogLevel, std::string, std::string) override { check(); }
    int convertPrio(LogLevel) override { return 0; }

private:
    void check() const {
        if (getpid() != mOwner) _exit(2);
    }
    const pid_t mOwner = getpid();
};

std::string localTime() {
    // time() may still tell the second before the one that a line just had.
    timeval precise{};
    gettimeofday(&precise, nullptr);
    const time_t now = precise.tv_sec;
    char text[32] = {};
    strftime(text, sizeof text, "    %F %X", localtime(&now));
    return text;
}

TEST(LoggingTest, ForkedChildLogsToItsHistoryAlone) {
    setenv("TZ", "TST-05:45", 1);
    tzset();
    LogWrapper::getInstance().setLogWriter(std::make_unique<OwnersWriter>());
    logLine(LogLevel::Event, "parent");
    const pid_t child = fork();
    if (child == 0) {
        // Another zone has the line's time made anew, which stays the parent's.
        const std::string before = localTime();
        setenv("TZ", "UTC", 1);
        tzset();
        logLine(LogLevel::Event, "child");
        const std::string line = LocalLogBuffer::getInstance().getLogs().back();
        setenv("TZ", "TST-05:45", 1);
        tzset();
        const std::string stamp = line.substr(0, before.size());
        const bool logged =
            before <= stamp && stamp <= localTime() && Matches(EndsWith("[VELO]child"))(line);
        const test::LogRecorder own;
        logLine(LogLevel::Info, "own writer");
        _exit(logged && own.has(LogLevel::Info, "own writer") ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    LogWrapper::getInstance().setLogWriter(nullptr);
    unsetenv("TZ");
    tzset();
}

TEST(LoggingTest, NobodyListeningCostsNoLineAndLosesNone) {
    unsetenv("DIAG_LOG");
    LocalLogBuffer::getInstance().flush();
    auto& wrapper = LogWrapper::getInstance();
    EXPECT_FALSE(wrapper.isWanted(LogLevel::Info));
    wrapper.setLogWriter(std::make_unique<DiagWriter>());
    EXPECT_FALSE(wrapper.isWanted(LogLevel::Info));
    EXPECT_TRUE(wrapper.isWanted(LogLevel::Event));
    logLine(LogLevel::Event, "kept");
    EXPECT_EQ(history(), std::vector<std::string>{"kept"});
    const test::LogRecorder log;
    EXPECT_TRUE(wrapper.isWanted(LogLevel::Verbose));
}

/// Logs to a diagnostic file through two writers in a row, and returns what it holds.
std::string diagText() {
    const test::TemporaryFolder folder;
    setenv("DIAG_LOG", (folder / "log").c_str(), 1);
    LogWrapper::getInstance().setLogWriter(std::make_unique<DiagWriter>());
    logLine(LogLevel::Info, "first");
    logLine(LogLevel::Error, "second");
    LogWrapper::getInstance().setLogWriter(std::make_unique<DiagWriter>());
    logLine(LogLevel::Fatal, "third");
    LogWrapper::getInstance().setLogWriter(nullptr);
    return test::textOf(folder / "log");
}

TEST(LoggingDeathTest, FirstDiagnosticLineDecidesTheMaskOfAll) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto asExpected = [] {
        return Matches(
            MatchesRegex(".* 63 1 .VELO. first\n.* 63 1 .VELO. second\n.* 63 1 "
                         ".VELO. third\n"))(diagText());
    };
    EXPECT_EXIT(exit(asExpected() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace velo
