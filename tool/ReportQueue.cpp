// SPDX-License-Identifier: Apache-2.0

#include "tool/ReportQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "tool/CommandError.h"

namespace velo::tool {

ReportQueue::ReportQueue() : mEvent(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (!mEvent) {
        throw CommandError(kFailed, "there is no descriptor left to wait for the modem with");
    }
}

void ReportQueue::post(const std::optional<wds_profile_changed_ind_type_v01>& change) {
    const std::lock_guard lock(mMutex);
    mReports.push_back({std::chrono::system_clock::now(), change});
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(mEvent.get(), &one, sizeof one);
}

std::vector<Report> ReportQueue::take() {
    const std::lock_guard lock(mMutex);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t drained = ::read(mEvent.get(), &count, sizeof count);
    return std::exchange(mReports, {});
}

}  // namespace velo::tool
