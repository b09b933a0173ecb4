// SPDX-License-Identifier: Apache-2.0

#include "LocalLogBuffer.h"

#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <utility>

namespace velo {

namespace {

/// The local time of a forked child, without the C library: that guards its time zone with a lock
/// which any thread of the parent may have held.
std::tm localTimeAt(std::time_t seconds, long offset) {
    using std::chrono::days;
    const std::chrono::sys_seconds now(std::chrono::seconds(seconds + offset));
    const auto midnight = std::chrono::floor<days>(now);
    const std::chrono::year_month_day date(midnight);
    const std::chrono::hh_mm_ss time(now - midnight);
    std::tm local{};
    local.tm_year = static_cast<int>(date.year()) - 1900;
    local.tm_mon = static_cast<int>(static_cast<unsigned int>(date.month())) - 1;
    local.tm_mday = static_cast<int>(static_cast<unsigned int>(date.day()));
    local.tm_hour = static_cast<int>(time.hours().count());
    local.tm_min = static_cast<int>(time.minutes().count());
    local.tm_sec = static_cast<int>(time.seconds().count());
    return local;
}

std::tm localTime(std::time_t seconds, bool inForkedChild) {
    // East of Greenwich in seconds, for the children.
    static constinit std::atomic<long> offset{0};
    if (inForkedChild) {
        return localTimeAt(seconds, offset);
    }
    std::tm local{};
    localtime_r(&seconds, &local);
    offset = local.tm_gmtoff;
    return local;
}

std::string timestamp(bool inForkedChild) {
    timeval now{};
    gettimeofday(&now, nullptr);
    const std::tm local = localTime(now.tv_sec, inForkedChild);
    char seconds[50] = {};
    std::strftime(seconds, sizeof seconds, "%F %X", &local);
    char text[100] = {};
    std::snprintf(text, sizeof text, "%s.%03d", seconds, static_cast<int>(now.tv_usec / 1000));
    return text;
}

}  // namespace

LocalLogBuffer::LocalLogBuffer(std::string name, int capacity)
    : mName(std::move(name)), mCapacity(capacity) {}

LocalLogBuffer& LocalLogBuffer::getInstance() {
    static LocalLogBuffer* const instance = [] {
        auto* const buffer = new LocalLogBuffer("VELO", 200);
        ForkGuard::protect(buffer->mMutex);
        return buffer;
    }();
    return *instance;
}

void LocalLogBuffer::addLogWithTimestamp(std::string message) {
    std::string line =
        "    " + timestamp(mForkGuard.inForkedChild()) + " [" + mName + "]" + message;
    const std::lock_guard lock(mMutex);
    while (static_cast<long long>(mLines.size()) > mCapacity) {
        mLines.pop_front();
    }
    mLines.push_back(std::move(line));
}

std::vector<std::string> LocalLogBuffer::getLogs() {
    const std::lock_guard lock(mMutex);
    return {mLines.begin(), mLines.end()};
}

void LocalLogBuffer::flush() {
    const std::lock_guard lock(mMutex);
    mLines.clear();
}

}  // namespace velo
