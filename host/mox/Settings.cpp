// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Settings.h"

#include <pthread.h>

#include <algorithm>
#include <cstdlib>

#include "host/mox/MoxHost.h"

namespace velo::mox {

Settings& Settings::getInstance() {
    static auto* const instance = new Settings;
    return *instance;
}

Settings::Settings() {
    // A fork while another thread holds the lock would leave it locked for ever in the child.
    ::pthread_atfork([] { getInstance().mMutex.lock(); }, [] { getInstance().mMutex.unlock(); },
                     [] { getInstance().mMutex.unlock(); });
}

void Settings::setModemPath(const std::string& path) {
    const std::lock_guard lock(mMutex);
    mModemPath = path;
}

std::string Settings::modemPath() const {
    const std::lock_guard lock(mMutex);
    if (!mModemPath.empty()) {
        return mModemPath;
    }
    const char* path = std::getenv("MOX_MODEM");
    return path == nullptr ? "" : path;
}

unsigned int Settings::capped(unsigned int milliseconds) const {
    const unsigned int cap = mTimeoutCap;
    return cap == 0 ? milliseconds : std::min(cap, milliseconds);
}

void setModemPath(const std::string& path) {
    Settings::getInstance().setModemPath(path);
}

std::string modemPath() {
    return Settings::getInstance().modemPath();
}

void setTimeoutCap(unsigned int milliseconds) {
    Settings::getInstance().setTimeoutCap(milliseconds);
}

}  // namespace velo::mox
