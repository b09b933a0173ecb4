// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <thread>

namespace velo::mox {

/// What a caller's opaque handle stands for: something with a thread of its own that calls back.
/// Shared by the registry, its thread, and whoever is in a call on it.
class Handle {
public:
    Handle() = default;
    virtual ~Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    /// Ends it; called once. When it has returned no callback runs, save the one that called it.
    virtual void release() = 0;

protected:
    /// Starts a thread that takes none of the application's signals.
    static std::thread startThread(std::function<void()> body);

    /// Waits for the thread to end, except on that very thread: it then ends by itself.
    static void finish(std::thread& thread);
};

}  // namespace velo::mox
