// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "tool/ProfileView.h"
#include "tool/ReportQueue.h"

namespace velo::tool {

/// Something that a watcher saw.
struct WatchEvent {
    enum class Kind { ProfileChanged, SubscriptionChanged, ModemGone, ModemBack };

    std::chrono::system_clock::time_point time;
    Kind kind = Kind::ProfileChanged;
    ProfileChange change;  ///< of Kind::ProfileChanged
};

/// Follows the profiles of a subscription as the modem reports their changes, over connections of
/// its own and across restarts of the modem. Used by one thread; the messaging library's threads
/// only leave reports.
class Watcher {
public:
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    /// Connects and reads the profiles as they are. @throws CommandError when that fails
    explicit Watcher(unsigned int subscription);
    ~Watcher();

    /// How many profiles the modem holds, as far as it was seen.
    std::size_t profiles() const { return mProfiles.size(); }

    /// Waits for the next event; nothing when `stopFd` became readable or the deadline has passed.
    /// A report after which everything is as it was is no event.
    std::optional<WatchEvent> next(int stopFd, const Deadline& deadline);

private:
    struct Link;

    bool wait(int stopFd, const Deadline& deadline);
    void connect();
    void reconnect();
    void lose(std::chrono::system_clock::time_point time);
    void handleReports();
    void handle(const Report& report);
    void readAgain(const Report& report);
    void adopt(std::chrono::system_clock::time_point time, std::vector<ProfileView> profiles);

    const unsigned int mSubscription;
    ReportQueue mReports;
    std::unique_ptr<Link> mLink;  ///< empty while the modem is gone
    std::vector<ProfileView> mProfiles;
    std::deque<WatchEvent> mEvents;
};

}  // namespace velo::tool
