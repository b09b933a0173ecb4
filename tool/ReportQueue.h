// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <vector>

#include "host/mox/Descriptor.h"
#include "mox/wds_v01.h"

namespace velo::tool {

/// What the modem reported: a change of a profile, or by its absence the loss of the connection.
struct Report {
    std::chrono::system_clock::time_point time;
    std::optional<wds_profile_changed_ind_type_v01> change;
};

/// Hands reports from the threads of the messaging library to the one that works on them.
class ReportQueue {
public:
    /// @throws CommandError when no descriptor is left
    ReportQueue();

    /// Any thread.
    void post(const std::optional<wds_profile_changed_ind_type_v01>& change);

    /// Readable while there are reports.
    int fd() const { return mEvent.get(); }

    /// All reports so far, oldest first.
    std::vector<Report> take();

private:
    mox::Descriptor mEvent;
    std::mutex mMutex;
    std::vector<Report> mReports;
};

}  // namespace velo::tool
