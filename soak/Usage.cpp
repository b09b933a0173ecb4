// SPDX-License-Identifier: Apache-2.0

#include "soak/Usage.h"

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/Sanitized.h"

namespace velo::soak {

namespace {

#ifdef VELO_EMULATED
constexpr bool kEmulated = true;
#else
constexpr bool kEmulated = false;
#endif

constexpr std::size_t kHeapGrowthKb = std::size_t{4} * 1024;
/// A sanitizer keeps what was freed in memory, an emulator what it has translated.
constexpr std::size_t kGrowthKb =
    test::kSanitized || kEmulated ? std::size_t{512} * 1024 : kHeapGrowthKb;

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
    if (heapKb > before.heapKb + kHeapGrowthKb || residentKb > before.residentKb + kGrowthKb) {
        return "memory leaks";
    }
    return "";
}

}  // namespace velo::soak
