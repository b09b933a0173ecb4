// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "soak/Journal.h"

namespace velo::soak {

/// Follows the calls to the library by its trace, those that the policies make included: how long
/// each took, and how many exchanges the worker had meanwhile, its own among them, because a call
/// waits for the worker. Any thread; one call at a time.
class CallWatch : public std::enable_shared_from_this<CallWatch> {
public:
    /// @param exchangeMs how long one exchange can take
    explicit CallWatch(unsigned int exchangeMs) : mExchangeMs(exchangeMs) {}

    /// Makes the library write its log here from now on, and hold on to the watch: its worker logs
    /// for as long as the process lives.
    void attach();

    void trace(const std::string& line);

    /// For a call that leaves no trace, such as the drop of a key.
    void begin(const std::string& name);
    void end();

    std::uint64_t calls() const;
    std::chrono::milliseconds longest() const;

    /// The profiles that were modified, and the calls that took too long, since this was asked.
    std::vector<Place> takeModified();
    std::vector<std::string> takeViolations();

private:
    using Clock = std::chrono::steady_clock;

    const unsigned int mExchangeMs;
    mutable std::mutex mMutex;
    std::uint64_t mCalls = 0;
    std::uint64_t mExchanges = 0;
    std::uint64_t mExchangesBefore = 0;
    std::string mName;
    Clock::time_point mBegun;
    Clock::duration mLongest{};
    std::vector<Place> mModified;
    std::vector<std::string> mViolations;
};

}  // namespace velo::soak
