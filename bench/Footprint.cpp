// SPDX-License-Identifier: Apache-2.0

#include "Footprint.h"

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>
#include <memory>

#include "Bed.h"
#include "LocalLogBuffer.h"
#include "Measure.h"
#include "Process.h"
#include "host/mox/MoxHost.h"
#include "velo/Manager.h"

namespace velo::bench {

namespace {

/// Exact, unlike the counters of statm, which the kernel gathers for each core.
long residentKibibytes() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    for (std::string word; rollup >> word;) {
        if (word != "Rss:") continue;
        rollup >> word;
        return std::atol(word.c_str());
    }
    fail("no resident memory in /proc/self/smaps_rollup");
}

/// Waits for the last profile to be cached, holding no more than its key.
void awaitProfile(std::size_t number) {
    FilterProfileParams last;
    last.setFilterByTechType(number < kWdsMaxProfiles ? TechType::TECH_3GPP : TechType::TECH_3GPP2);
    last.setFilterByProfileId(static_cast<int>(number % kWdsMaxProfiles));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (Manager::getInstance().filter(last).empty()) {
        if (std::chrono::steady_clock::now() > end) fail("the cache was not filled");
    }
}

}  // namespace

double residentBytes(const Holdings& holdings, int repetitions) {
    std::vector<double> bytes;
    for (int i = 0; i < repetitions; ++i) {
        const std::string printed =
            outputOf({ownPath(), kFootprintOption, holdings.socketPath,
                      std::to_string(holdings.profiles), std::to_string(holdings.filters)});
        if (printed.empty()) fail("no footprint");
        bytes.push_back(std::strtod(printed.c_str(), nullptr) * 1024);
    }
    return medianOf(std::move(bytes));
}

void printFootprint(const std::vector<std::string>& arguments, int output) {
    std::vector<std::list<std::shared_ptr<IProfileKey>>> held;
    const std::string& socketPath = arguments.at(0);
    if (!socketPath.empty()) {
        mox::setModemPath(socketPath);
        Manager::getInstance().init(0, false);
        const std::size_t profiles = std::strtoul(arguments.at(1).c_str(), nullptr, 10);
        awaitProfile(profiles - 1);
        const std::size_t filters = std::strtoul(arguments.at(2).c_str(), nullptr, 10);
        while (held.size() < filters)
            held.push_back(Manager::getInstance().filter(FilterProfileParams()));
    }
    // The log's history is the same however much is held; what is free is held by nothing.
    LocalLogBuffer::getInstance().flush();
    malloc_trim(0);
    dprintf(output, "%ld\n", residentKibibytes());
    // As it is: giving all keys back would take longer than the measurement.
    _exit(0);
}

}  // namespace velo::bench
