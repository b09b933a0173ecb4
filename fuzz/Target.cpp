// SPDX-License-Identifier: Apache-2.0
//
// How a target begins, and where the fuzzer hands it one input after another.

#include <memory>

#include "LogWrapper.h"
#include "LogWriter.h"
#include "fuzz/Input.h"

namespace velo::fuzz {
namespace {

/// Has the library put every line of its log into words, and throws them away.
class Nowhere : public LogWriter {
    void write(LogLevel, std::string, std::string) override {}
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }
};

}  // namespace
}  // namespace velo::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    velo::LogWrapper::getInstance().setLogWriter(std::make_unique<velo::fuzz::Nowhere>());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    velo::fuzz::run({data, size});
    return 0;
}
