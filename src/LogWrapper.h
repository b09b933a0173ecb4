// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdarg>
#include <list>
#include <memory>
#include <mutex>

#include "ForkGuard.h"
#include "LogLevel.h"
#include "LogWriter.h"

namespace velo {

/// The process-wide log. Any thread may log at any time, also while the writer is replaced, while
/// the process exits and in a forked child: the instance is never destroyed, at exit only its
/// writer goes. A forked child logs to the history alone until it installs a writer of its own.
class LogWrapper {
public:
    static LogWrapper& getInstance();

    LogWrapper(const LogWrapper&) = delete;
    LogWrapper& operator=(const LogWrapper&) = delete;

    /// Installs `writer`, or none when it is empty. The previous one is destroyed when no thread
    /// writes to it any more, which is before this returns unless one is at it right now.
    void setLogWriter(std::unique_ptr<LogWriter> writer);

    /// Whether a line of that level would be kept or heard; for who has to make a text for it.
    bool isWanted(LogLevel level) const;

    /// Writes one message, cut to 511 characters. Without memory for it the line is lost.
    void log(LogLevel level, const char* tag, const char* format, ...)
        __attribute__((format(printf, 4, 5)));
    void vlog(LogLevel level, const char* tag, const char* format, std::va_list arguments)
        __attribute__((format(printf, 4, 0)));

private:
    LogWrapper();
    bool isHeard(LogLevel level) const;
    std::shared_ptr<LogWriter> currentWriter();

    std::mutex mMutex;
    std::atomic<bool> mHasWriter{false};
    std::atomic<LogWriter::Listening> mListening{nullptr};
    // Shared with the threads that are writing.
    std::shared_ptr<LogWriter> mWriter;
    // Of the process that installed the writer. In a forked child its channel may be locked for
    // ever, and is the parent's: the writer is then neither used nor destroyed.
    ForkGuard mWriterGuard;
    std::list<std::shared_ptr<LogWriter>> mInherited;
};

/// Logs with the library's own tag. A line that nobody keeps or hears costs no formatting.
void logLine(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace velo
