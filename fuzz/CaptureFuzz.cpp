// SPDX-License-Identifier: Apache-2.0
//
// Any file as a capture: it is printed, or refused in one line.

#include <algorithm>
#include <sstream>

#include "fuzz/Scratch.h"
#include "modem/DecodeCommand.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velo;
    static const fuzz::MemoryFile file;
    const std::string path = file.hold({data, size});
    for (const auto format : {modem::DecodeFormat::Text, modem::DecodeFormat::JsonLines}) {
        std::ostringstream out;
        std::ostringstream errors;
        const int status = modem::decodeCommand(path, out, errors, format);
        const std::string text = errors.str();
        fuzz::ensure(status == (text.empty() ? 0 : 2), "a refusal has its status");
        fuzz::ensure(text.empty() || std::count(text.begin(), text.end(), '\n') == 1,
                     "a refusal is one line");
    }
    return 0;
}
