// SPDX-License-Identifier: Apache-2.0

#include "LogWrapper.h"

#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "LocalLogBuffer.h"

namespace velo {

namespace {

constexpr std::size_t kMessageLimit = 512;

bool isKept(LogLevel level) {
    return level == LogLevel::Error || level == LogLevel::Event;
}

}  // namespace

LogWrapper::LogWrapper() {
    ForkGuard::protect(mMutex);
}

LogWrapper& LogWrapper::getInstance() {
    static LogWrapper* const instance = new LogWrapper;
    struct WriterAtExit {
        ~WriterAtExit() { instance->setLogWriter(nullptr); }
    };
    static const WriterAtExit writerAtExit;
    return *instance;
}

void LogWrapper::setLogWriter(std::unique_ptr<LogWriter> writer) {
    std::shared_ptr<LogWriter> other = std::move(writer);
    const std::lock_guard lock(mMutex);
    mWriter.swap(other);
    mListening = mWriter ? mWriter->listening() : nullptr;
    mHasWriter = mWriter != nullptr;
    if (mWriterGuard.inForkedChild()) {
        mInherited.push_back(std::move(other));
        mWriterGuard = ForkGuard();
    }
}

std::shared_ptr<LogWriter> LogWrapper::currentWriter() {
    // Not held while the writer writes: that takes locks of its own, which a fork may have taken
    // first.
    const std::lock_guard lock(mMutex);
    return mWriterGuard.inForkedChild() ? nullptr : mWriter;
}

bool LogWrapper::isHeard(LogLevel level) const {
    if (!mHasWriter) {
        return false;
    }
    const LogWriter::Listening listening = mListening;
    return listening == nullptr || listening(level);
}

bool LogWrapper::isWanted(LogLevel level) const {
    return isKept(level) || isHeard(level);
}

void LogWrapper::log(LogLevel level, const char* tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    vlog(level, tag, format, arguments);
    va_end(arguments);
}

void LogWrapper::vlog(LogLevel level, const char* tag, const char* format, std::va_list arguments) {
    // Most lines are traces; nobody pays for them while nobody listens.
    const bool isHeardNow = isHeard(level);
    if (!isHeardNow && !isKept(level)) {
        return;
    }
    char buffer[kMessageLimit];
    buffer[0] = '\0';
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    try {
        if (isHeardNow) {
            if (const auto writer = currentWriter()) {
                writer->write(level, tag, buffer);
            }
        }
        if (isKept(level)) {
            LocalLogBuffer::getInstance().addLogWithTimestamp(buffer);
        }
    } catch (const std::bad_alloc&) {
        // A line that there is no memory for is lost; what it was to tell goes on.
    }
}

void logLine(LogLevel level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    LogWrapper::getInstance().vlog(level, "VELO", format, arguments);
    va_end(arguments);
}

}  // namespace velo
