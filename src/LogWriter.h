// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "LogLevel.h"

namespace velo {

/// Where log lines go. Owned by LogWrapper; any thread writes at any time, several at once.
class LogWriter {
public:
    LogWriter() = default;
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;
    virtual ~LogWriter();

    virtual void write(LogLevel level, std::string tag, std::string message) = 0;

    /// The level as the channel numbers it.
    virtual int convertPrio(LogLevel level) = 0;

    /// Tells whether a line of that level would be heard by anybody now.
    using Listening = bool (*)(LogLevel level);

    /// What to ask before a line is made; null when every line is wanted. A plain function: it is
    /// asked by threads that do not hold the writer, which may be gone.
    virtual Listening listening() { return nullptr; }
};

}  // namespace velo
