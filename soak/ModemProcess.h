// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace velo::soak {

/// velo-modem as a child that is killed and started again on the same state. One thread starts and
/// kills it; paths and the count may be read by any.
class ModemProcess {
public:
    /// Everything that it leaves behind is in `folder`.
    explicit ModemProcess(std::string folder);
    ~ModemProcess();
    ModemProcess(const ModemProcess&) = delete;
    ModemProcess& operator=(const ModemProcess&) = delete;

    std::string socket() const { return mFolder + "/modem"; }
    std::string control() const { return socket() + ".control"; }

    /// How many were started.
    unsigned int started() const { return mStarted; }

    /// Does not wait until it listens. @throws std::system_error when it cannot be started
    void start(std::uint64_t seed, const std::string& faults);

    /// SIGKILL, whatever it is doing. Empty, or how it had ended by itself before.
    std::string kill();

private:
    std::string lastWords() const;

    const std::string mFolder;
    pid_t mPid = -1;
    std::atomic<unsigned int> mStarted{0};
};

}  // namespace velo::soak
