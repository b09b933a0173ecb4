// SPDX-License-Identifier: Apache-2.0

#include "soak/Usage.h"

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace velo::soak {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kGrowthKb = std::size_t{512} * 1024;
#else
constexpr std::size_t kGrowthKb = std::size_t{4} * 1024;
#endif

}  // namespace

Usage Usage::now() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    std::ifstream statm("/proc/self/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    statm >> size >> resident;
    return {static_cast<std::size_t>(std::distance(begin(open), end(open))),
            resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) / 1024,
            ::mallinfo2().uordblks / 1024};
}

std::string Usage::leakSince(const Usage& before) const {
    if (descriptors > before.descriptors) return "descriptors leak";
    if (residentKb > before.residentKb + kGrowthKb) return "memory leaks";
    return "";
}

}  // namespace velo::soak
