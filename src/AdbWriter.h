// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "LogWriter.h"

namespace velo {

/// Writes to the Android log. Owned by LogWrapper; any thread.
class AdbWriter : public LogWriter {
public:
    ~AdbWriter() override;

    void write(LogLevel level, std::string tag, std::string message) override;
    int convertPrio(LogLevel level) override;
};

}  // namespace velo
