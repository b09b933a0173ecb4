// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <mutex>
#include <string>

namespace velo::mox {

/// What a host program has set on the messaging client. One for the process, never destroyed,
/// because clients may outlive static destruction. Any thread; usable in a forked child.
class Settings {
public:
    static Settings& getInstance();

    void setModemPath(const std::string& path);

    /// The path that was set, else MOX_MODEM of the environment, else empty.
    std::string modemPath() const;

    void setTimeoutCap(unsigned int milliseconds) { mTimeoutCap = milliseconds; }
    unsigned int capped(unsigned int milliseconds) const;

private:
    Settings();

    mutable std::mutex mMutex;
    std::string mModemPath;
    std::atomic<unsigned int> mTimeoutCap{0};
};

}  // namespace velo::mox
