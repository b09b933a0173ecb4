// SPDX-License-Identifier: Apache-2.0

#include "LogWriter.h"

namespace velo {

LogWriter::~LogWriter() = default;

}  // namespace velo
