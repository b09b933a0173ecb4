// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <signal.h>

namespace velo {

/// Blocks the asynchronous signals of the calling thread while it lives. A thread that is started
/// meanwhile inherits the mask: it then never runs the application's handlers. Faults of the thread
/// itself stay unblocked. A local of one thread.
class SignalBlock {
public:
    SignalBlock();
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t mPrevious;
};

}  // namespace velo
