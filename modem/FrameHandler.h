// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "host/mox/Frame.h"

namespace velo::modem {

class Connection;

/// Whoever carries out the requests that the server receives; called on the server's thread.
class FrameHandler {
public:
    virtual ~FrameHandler() = default;

    virtual void onRequest(Connection& connection, const mox::Frame& request) = 0;

    /// Of a damaged request only the head is known.
    virtual void onDamagedRequest(Connection& connection, const mox::Frame& head) = 0;
};

}  // namespace velo::modem
