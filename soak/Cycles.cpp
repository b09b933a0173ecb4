// SPDX-License-Identifier: Apache-2.0

#include "soak/Cycles.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "host/mox/MoxHost.h"
#include "modem/Modem.h"
#include "soak/Table.h"
#include "velo/Manager.h"

namespace velo::soak {

namespace {

using Clock = std::chrono::steady_clock;

/// After which the history and the allocator have what they keep.
constexpr std::uint64_t kWarmUp = 2000;

bool cycle() {
    AddProfileParams params(false, TechType::TECH_3GPP, false);
    params.setApnName("internet.of.this.cycle.example");
    params.setHomeIPType(IPType::V4V6);
    return Manager::getInstance().addProfile(params) != nullptr;
}

}  // namespace

bool Cycles::run() {
    const modem::Modem modem;
    mox::setModemPath(modem.socketPath());
    Manager::getInstance().init(0, false);
    while (Manager::getInstance().filter(FilterProfileParams()).empty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const std::size_t profiles = modem.profiles(0).size();
    const std::uint64_t warmUp = std::min(kWarmUp, mWanted / 2);
    const auto begun = Clock::now();
    const auto end = begun + std::chrono::seconds(mSeconds);
    for (; mDone < mWanted && (mSeconds == 0 || Clock::now() < end); ++mDone) {
        if (mDone == warmUp) mFirst = Usage::now();
        if (!cycle()) mViolations.emplace_back("a profile could not be added");
        if (!mViolations.empty()) break;
    }
    mLast = Usage::now();
    mTook = std::chrono::duration<double>(Clock::now() - begun).count();
    if (modem.profiles(0).size() != profiles) mViolations.emplace_back("profiles are left behind");
    if (auto leak = mLast.leakSince(mFirst); mDone > warmUp && !leak.empty()) {
        mViolations.push_back(std::move(leak));
    }
    return mViolations.empty();
}

std::string Cycles::report() const {
    Table table;
    table.row("cycles", mDone);
    table.usage(mFirst, mLast);
    table.row("time", static_cast<unsigned int>(mTook), " s");
    table.violations(mViolations);
    return table.text();
}

}  // namespace velo::soak
