// SPDX-License-Identifier: Apache-2.0

#include "AdbWriter.h"

#include <android/log.h>

namespace velo {

AdbWriter::~AdbWriter() = default;

int AdbWriter::convertPrio(LogLevel level) {
    switch (level) {
        case LogLevel::Verbose:
            return ANDROID_LOG_VERBOSE;
        case LogLevel::Debug:
            return ANDROID_LOG_DEBUG;
        case LogLevel::Error:
            return ANDROID_LOG_ERROR;
        case LogLevel::Fatal:
            return ANDROID_LOG_FATAL;
        case LogLevel::Info:
        case LogLevel::Event:
            break;
    }
    return ANDROID_LOG_INFO;
}

void AdbWriter::write(LogLevel level, std::string tag, std::string message) {
    __android_log_print(convertPrio(level), tag.c_str(), "%s", message.c_str());
}

}  // namespace velo
