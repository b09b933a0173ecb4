// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "Placement.h"

namespace velo::bench {

/// A message bus of the benchmark's own, a daemon configured as a system's is, with a service that
/// answers calls with their argument, both processes of their own: what a modem manager's cheapest
/// call costs. For the main thread.
class MessageBus {
public:
    /// Null, with the reason in `why`, when the daemon or its client library is not installed.
    static std::unique_ptr<MessageBus> start(std::string& why);

    ~MessageBus();
    MessageBus(const MessageBus&) = delete;
    MessageBus& operator=(const MessageBus&) = delete;

    /// Caller and service on one core, the daemon with them or on another.
    void place(Placement placement) const;

    void call();

    /// The service, as a program: answers until the bus goes. `argument` is what start() passed.
    static int serve(const std::string& argument);
    static constexpr const char* kServeOption = "--serve-message-bus";

private:
    class Connection;
    MessageBus();

    std::string mFolder;
    pid_t mDaemon = -1;
    pid_t mService = -1;
    std::unique_ptr<Connection> mConnection;
};

}  // namespace velo::bench
