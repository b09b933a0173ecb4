// SPDX-License-Identifier: Apache-2.0

#include "LocalLogBuffer.h"

#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <utility>

namespace velo {

namespace {

/// Of a line's indentation, date and time, for the room that it needs.
constexpr std::size_t kTimeLength = 23;

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

char digit(int number) {
    return static_cast<char>('0' + number % 10);
}

std::tm localTime(std::time_t seconds, bool inForkedChild) {
    // East of Greenwich in seconds, for the children.
    static constinit std::atomic<long> offset{0};
    if (inForkedChild) {
        return localTimeAt(seconds, offset);
    }
    // The process may have changed its time zone: localtime_r alone would not notice.
    tzset();
    std::tm local{};
    localtime_r(&seconds, &local);
    offset = local.tm_gmtoff;
    return local;
}

}  // namespace

LocalLogBuffer::LocalLogBuffer(std::string name, int capacity)
    : mName(std::move(name)), mCapacity(capacity) {}

LocalLogBuffer& LocalLogBuffer::getInstance() {
    static LocalLogBuffer* const instance = [] {
        auto* const buffer = new LocalLogBuffer("VELO", 200);
        ForkGuard::protect(buffer->mMutex);
        ForkGuard::protect(buffer->mClockMutex);
        return buffer;
    }();
    return *instance;
}

void LocalLogBuffer::addLogWithTimestamp(std::string message) {
    timeval now{};
    gettimeofday(&now, nullptr);
    const auto milliseconds = static_cast<int>(now.tv_usec / 1000);
    const char fraction[] = {'.', digit(milliseconds / 100), digit(milliseconds / 10),
                             digit(milliseconds)};
    std::string line;
    line.reserve(kTimeLength + sizeof fraction + mName.size() + message.size() + 3);
    appendSecond(line, now.tv_sec);
    line.append(fraction, sizeof fraction);
    line.append(" [").append(mName).append("]").append(message);
    const std::lock_guard lock(mMutex);
    while (static_cast<long long>(mLines.size()) > mCapacity) {
        mLines.pop_front();
    }
    mLines.push_back(std::move(line));
}

void LocalLogBuffer::appendSecond(std::string& line, std::time_t second) {
    const std::lock_guard lock(mClockMutex);
    if (second != mSecond || timezone != mTimeZone) {
        const std::tm local = localTime(second, mForkGuard.inForkedChild());
        char text[50] = {};
        std::strftime(text, sizeof text, "    %F %X", &local);
        mSecondText = text;
        mSecond = second;
        mTimeZone = timezone;
    }
    line.append(mSecondText);
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
