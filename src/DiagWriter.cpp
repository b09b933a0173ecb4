// SPDX-License-Identifier: Apache-2.0

#include "DiagWriter.h"

#include "diag/diag.h"

namespace velo {

namespace {

constexpr int kLow = 1;
constexpr int kHigh = 4;
constexpr int kFatal = 16;
constexpr int kMaskBits = 0x1F;

int maskOf(LogLevel level) {
    switch (level) {
        case LogLevel::Error:
        case LogLevel::Event:
            return kHigh;
        case LogLevel::Fatal:
            return kFatal;
        case LogLevel::Verbose:
        case LogLevel::Debug:
        case LogLevel::Info:
            break;
    }
    return kLow;
}

/// The service takes a descriptor as constant for the life of the process, so the first line
/// decides the mask of all of them.
const diag_message_descriptor& descriptorFor(int mask) {
    static const diag_message_descriptor descriptor{116, 63, static_cast<uint32_t>(mask), "|%s| %s",
                                                    "src/LocalLogBuffer"};
    return descriptor;
}

}  // namespace

DiagWriter::DiagWriter() {
    Diag_LSM_Init(nullptr);
}

DiagWriter::~DiagWriter() {
    Diag_LSM_DeInit();
}

int DiagWriter::convertPrio(LogLevel level) {
    return maskOf(level);
}

void DiagWriter::write(LogLevel level, std::string tag, std::string message) {
    const int mask = convertPrio(level);
    if ((mask & kMaskBits) == 0) {
        return;
    }
    msg_sprintf(&descriptorFor(mask), tag.c_str(), message.c_str());
}

LogWriter::Listening DiagWriter::listening() {
    if (diag_is_listening == nullptr) {
        return nullptr;
    }
    return [](LogLevel level) { return diag_is_listening(descriptorFor(maskOf(level)).mask) != 0; };
}

}  // namespace velo
