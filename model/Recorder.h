// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "model/Trace.h"

namespace velo::model {

/// Takes down what the library logs, and waits for lines of it. Any thread may log; one thread uses
/// it.
class Recorder {
public:
    Recorder() { attach(); }
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Manager::init installs a writer of its own: to be repeated after it.
    void attach();

    /// The lines since the last call that a user relies on: events, errors, requests and what the
    /// policies say.
    std::vector<Trace::Line> take();

    /// Waits until the worker has handled so many indications since the last take(), and everything
    /// that they made it do. @throws Violation when that does not happen
    void waitForIndications(std::size_t count);

    /// Waits until a line was logged since the last take(). @throws Violation
    void waitFor(const std::string& text);

private:
    struct Store {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<Trace::Line> lines;
    };
    class Writer;

    void wait(const std::string& what,
              const std::function<bool(const std::vector<Trace::Line>&)>& isOver);

    const std::shared_ptr<Store> mStore = std::make_shared<Store>();
};

}  // namespace velo::model
