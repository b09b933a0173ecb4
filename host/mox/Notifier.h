// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "host/mox/Descriptor.h"
#include "host/mox/Handle.h"
#include "mox/mox_client.h"

namespace velo::mox {

/// Tells when the modem accepts connections: once a callback is registered, and again each time
/// that the modem went away and came back. It holds an idle connection to notice that. The callback
/// runs on the notifier's own thread; any thread may call.
class Notifier : public Handle, public std::enable_shared_from_this<Notifier> {
public:
    Notifier(mox_client_type self, mox_service_object_type service, std::string modemPath);

    /// Starts watching. Only the first registration counts.
    int registerCallback(mox_client_notify_cb callback, void* data);

    void release() override;

private:
    void watchLoop(mox_client_notify_cb callback, void* data) const;

    /// Waits until `fd` (none when negative) reports something. False once the notifier was
    /// released.
    bool wait(int fd, int timeoutMs) const;

    const mox_client_type mSelf;
    const mox_service_object_type mService;
    const std::string mModemPath;
    const Descriptor mStop;

    std::mutex mMutex;
    bool mReleased = false;
    bool mRegistered = false;
    std::thread mThread;
};

}  // namespace velo::mox
