// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ctime>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "ForkGuard.h"

namespace velo {

/// A bounded history of log lines with their local time. Any thread may use it. The library's own
/// instance is never destroyed, so that lines logged while the process exits find it alive.
class LocalLogBuffer {
public:
    /// Holds at most `capacity` + 1 lines: an addition trims before it appends.
    LocalLogBuffer(std::string name, int capacity);
    LocalLogBuffer(const LocalLogBuffer&) = delete;
    LocalLogBuffer& operator=(const LocalLogBuffer&) = delete;

    static LocalLogBuffer& getInstance();

    void addLogWithTimestamp(std::string message);

    /// A copy of all lines, oldest first.
    std::vector<std::string> getLogs();
    void flush();
    std::string getName() { return mName; }

private:
    /// Begins a line with its second, whose text is made anew when the second or the time zone is
    /// another.
    void appendSecond(std::string& line, std::time_t second);

    const ForkGuard mForkGuard;
    std::deque<std::string> mLines;
    std::string mName;
    int mCapacity;
    std::mutex mMutex;
    // A lock of its own: no line is kept waiting, nor a reader, while a time is formatted.
    std::mutex mClockMutex;
    std::time_t mSecond = -1;
    long mTimeZone = 0;
    std::string mSecondText;
};

}  // namespace velo
