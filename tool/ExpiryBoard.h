// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velo::tool {

/// Where listeners on keys leave word that theirs has expired. Listeners run on the library's
/// worker, or while the process ends: each holds the board by std::shared_ptr. Any thread may use
/// it; its lock is held for no longer than a note takes.
class ExpiryBoard {
public:
    void note(const std::string& key) {
        const std::lock_guard lock(mMutex);
        mExpired.push_back(key);
    }

    /// The names left since the last call, oldest first.
    std::vector<std::string> take() {
        const std::lock_guard lock(mMutex);
        return std::exchange(mExpired, {});
    }

private:
    std::mutex mMutex;
    std::vector<std::string> mExpired;
};

}  // namespace velo::tool
