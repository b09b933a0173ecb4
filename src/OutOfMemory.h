// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <new>
#include <string>
#include <type_traits>

#include "LogWrapper.h"

namespace velo {

/// What `work` returns; or, when memory runs out in it, an Error line and the result of a failure:
/// null, false or empty. Stands where failures become results: around each call of a client, around
/// each event on the worker, and in callbacks of the messaging library's threads. Any thread.
template <typename Work>
std::invoke_result_t<Work> orNothing(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        logLine(LogLevel::Error, "out of memory");
        return std::invoke_result_t<Work>();
    }
}

/// The dump of `subject` for a line of the log; empty without memory for it, as the line is no part
/// of the work that it tells of.
template <typename Subject>
std::string dumpOf(Subject& subject) {
    try {
        return subject.dump();
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace velo
