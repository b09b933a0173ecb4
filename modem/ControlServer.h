// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/mox/Descriptor.h"
#include "modem/ListenSocket.h"

namespace velo::modem {

/// The control channel: a local stream socket, for this user alone, on which each line is an order
/// and is answered with a line. Any number of controllers at once; the orders of one are carried
/// out in turn. On a thread of its own, which calls the handler; it can be made and destroyed on
/// any other thread.
///
/// A line of more than kMaxLine bytes is answered with an error and not carried out, nor is one
/// that its controller did not finish.
class ControlServer {
public:
    static constexpr std::size_t kMaxLine = std::size_t{64} * 1024;

    /// Turns an order into its answer, both without a line end.
    using Handler = std::function<std::string(const std::string&)>;

    /// On a stream socket. @throws std::system_error when the thread cannot be started
    ControlServer(ListenSocket socket, Handler handler);
    /// Waits for the order in hand, whose answer is sent as far as its controller takes it.
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

private:
    class Controller;

    void loop();
    bool accept();

    const Handler mHandler;
    ListenSocket mListen;
    const mox::Descriptor mStop;
    std::vector<std::unique_ptr<Controller>> mControllers;
    std::thread mThread;
};

}  // namespace velo::modem
