// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "LogWriter.h"

namespace velo {

/// Writes to the modem's diagnostic service, of which it is one user while it lives. Owned by
/// LogWrapper; any thread.
class DiagWriter : public LogWriter {
public:
    DiagWriter();
    ~DiagWriter() override;

    void write(LogLevel level, std::string tag, std::string message) override;
    int convertPrio(LogLevel level) override;
    Listening listening() override;
};

}  // namespace velo
