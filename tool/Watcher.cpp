// SPDX-License-Identifier: Apache-2.0

#include "tool/Watcher.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tool/CommandError.h"
#include "tool/ModemView.h"
#include "tool/WdsClient.h"

namespace velo::tool {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr milliseconds kRetryPause{100};
constexpr milliseconds kLongestWait{60'000};

bool isProfile(const ProfileView& view, const wds_profile_identifier_v01& id) {
    return view.tech == static_cast<TechType>(id.profile_type) && view.id == id.profile_index;
}

}  // namespace

/// The connections while there is a modem: one hears of changes, the other reads.
struct Watcher::Link {
    Link(unsigned int subscription, ReportQueue& reports)
        : client(
              subscription,
              [&reports](const wds_profile_changed_ind_type_v01& change) { reports.post(change); },
              [&reports] { reports.post(std::nullopt); }),
          view(subscription) {
        client.registerForChanges();
    }

    WdsClient client;
    ModemView view;
};

Watcher::Watcher(unsigned int subscription) : mSubscription(subscription) {
    connect();
    mEvents.clear();
}

Watcher::~Watcher() = default;

std::optional<WatchEvent> Watcher::next(int stopFd, const Deadline& deadline) {
    while (mEvents.empty()) {
        if (!wait(stopFd, deadline)) {
            return std::nullopt;
        }
        if (mLink) {
            handleReports();
        } else {
            reconnect();
        }
    }
    WatchEvent event = std::move(mEvents.front());
    mEvents.pop_front();
    return event;
}

bool Watcher::wait(int stopFd, const Deadline& deadline) {
    milliseconds pause = mLink ? kLongestWait : kRetryPause;
    if (deadline) {
        const auto left = std::chrono::ceil<milliseconds>(*deadline - steady_clock::now());
        if (left <= milliseconds::zero()) {
            return false;
        }
        pause = std::min(pause, left);
    }
    pollfd waited[] = {{stopFd, POLLIN, 0}, {mReports.fd(), POLLIN, 0}};
    if (::poll(waited, std::size(waited), static_cast<int>(pause.count())) < 0 && errno != EINTR) {
        throw CommandError(kFailed,
                           std::string("the modem cannot be waited for: ") + std::strerror(errno));
    }
    return waited[0].revents == 0;
}

void Watcher::connect() {
    auto link = std::make_unique<Link>(mSubscription, mReports);
    std::vector<ProfileView> profiles = link->view.profiles();
    mLink = std::move(link);
    mEvents.push_back({system_clock::now(), WatchEvent::Kind::ModemBack, {}});
    adopt(system_clock::now(), std::move(profiles));
}

void Watcher::reconnect() {
    try {
        connect();
    } catch (const CommandError&) {
        // Still gone, or gone again: what it reported meanwhile is of no use.
        mReports.take();
    }
}

void Watcher::lose(system_clock::time_point time) {
    mLink.reset();
    mReports.take();
    mEvents.push_back({time, WatchEvent::Kind::ModemGone, {}});
}

void Watcher::handleReports() {
    for (const Report& report : mReports.take()) {
        if (!report.change) {
            return lose(report.time);
        }
        try {
            handle(report);
        } catch (const CommandError&) {
            return lose(system_clock::now());
        }
    }
}

void Watcher::handle(const Report& report) {
    switch (report.change->event) {
        case WDS_PROFILE_EVENT_CREATE:
        case WDS_PROFILE_EVENT_MODIFY:
        case WDS_PROFILE_EVENT_DELETE:
            return readAgain(report);
        case WDS_PROFILE_EVENT_SUBSCRIPTION_CHANGE:
            mEvents.push_back({report.time, WatchEvent::Kind::SubscriptionChanged, {}});
            break;
        case WDS_PROFILE_EVENT_READY:
            break;
    }
    adopt(report.time, mLink->view.profiles());
}

void Watcher::readAgain(const Report& report) {
    const wds_profile_identifier_v01 id{report.change->profile_type, report.change->profile_index};
    std::vector<ProfileView> profiles = mProfiles;
    const auto place = std::find_if(profiles.begin(), profiles.end(),
                                    [&](const ProfileView& view) { return isProfile(view, id); });
    if (report.change->event == WDS_PROFILE_EVENT_DELETE) {
        // Not read: the index may serve another profile by now, whose creation is yet to be
        // handled.
        if (place != profiles.end()) {
            profiles.erase(place);
        }
        return adopt(report.time, std::move(profiles));
    }
    const auto stored = mLink->view.read(id);
    if (stored && place != profiles.end()) {
        *place = describe(*stored);
    } else if (stored) {
        profiles.push_back(describe(*stored));
    } else if (place == profiles.end() && report.change->event == WDS_PROFILE_EVENT_CREATE) {
        // Deleted again before it could be read: both are told, its contents nobody knows.
        profiles.push_back(
            {.tech = static_cast<TechType>(id.profile_type), .id = id.profile_index});
    }
    adopt(report.time, std::move(profiles));
}

void Watcher::adopt(system_clock::time_point time, std::vector<ProfileView> profiles) {
    for (ProfileChange& change : changesBetween(mProfiles, profiles)) {
        mEvents.push_back({time, WatchEvent::Kind::ProfileChanged, std::move(change)});
    }
    mProfiles = std::move(profiles);
}

}  // namespace velo::tool
