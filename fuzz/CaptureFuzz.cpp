// SPDX-License-Identifier: Apache-2.0
//
// Any file as a capture: it is printed, or refused in one line.

#include <algorithm>
#include <sstream>

#include "fuzz/MemoryFile.h"
#include "modem/DecodeCommand.h"

void velo::fuzz::run(Bytes bytes) {
    static const MemoryFile file;
    const std::string path = file.hold(textOf(bytes));
    for (const auto format : {modem::DecodeFormat::Text, modem::DecodeFormat::JsonLines}) {
        std::ostringstream out;
        std::ostringstream errors;
        const int status = modem::decodeCommand(path, out, errors, format);
        const std::string text = errors.str();
        ensure(status == (text.empty() ? 0 : 2), "a refusal has its status");
        ensure(text.empty() || std::count(text.begin(), text.end(), '\n') == 1,
               "a refusal is one line");
    }
}
