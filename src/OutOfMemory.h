// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <new>
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

/// Logs the dump of `subject`. The line is no part of the work that it tells of: without memory for
/// its text it is lost, and the work goes on.
template <typename Subject>
void logDump(LogLevel level, const char* format, Subject& subject) {
    orNothing([&] { logLine(level, format, subject.dump().c_str()); });
}

}  // namespace velo
