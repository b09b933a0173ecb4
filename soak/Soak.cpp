// SPDX-License-Identifier: Apache-2.0

#include "soak/Soak.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/mox/MoxHost.h"
#include "soak/Table.h"
#include "velo/Manager.h"

namespace velo::soak {

namespace {

using std::chrono::milliseconds;
using Images = std::vector<std::string>;

constexpr unsigned int kExchangeMs = 50;
constexpr unsigned int kKillsOfRound = 25;
/// After so many it is connected anew.
constexpr unsigned int kSettlingsOfLibrary = 8;
constexpr unsigned int kMostPauseMs = 200;
constexpr std::size_t kMostOwn = 60;
constexpr milliseconds kBound{10000};
/// For how long the modem holds back an indication that is to come after another.
constexpr milliseconds kHeld{60};

constexpr const char* kFaults = "all=0.03,foreign=0.05,close=0.01,restart=0.004,delay-ms=120";

/// Every cached image, in order, and the least token.
struct Cache {
    Images images;
    unsigned long long leastToken = ~0ULL;
    unsigned long long lastToken = 0;
};

Cache cache() {
    Cache result;
    bool inside = false;
    for (const std::string& line : Manager::getInstance().dump()) {
        if (inside && !line.starts_with("  ")) break;
        if (inside) {
            const unsigned long long token = std::stoull(line.substr(2));
            result.leastToken = std::min(result.leastToken, token);
            result.lastToken = std::max(result.lastToken, token);
            result.images.push_back(line.substr(line.find(": ") + 2));
        }
        inside = inside || line == "Cache:";
    }
    std::sort(result.images.begin(), result.images.end());
    return result;
}

Images imagesOf(const std::vector<modem::StoredProfile>& store) {
    Images images;
    for (const modem::StoredProfile& profile : store) images.push_back(imageOf(profile));
    std::sort(images.begin(), images.end());
    return images;
}

/// What is in one of them only.
std::string difference(const Images& cached, const Images& stored) {
    Images only;
    std::set_difference(cached.begin(), cached.end(), stored.begin(), stored.end(),
                        std::back_inserter(only));
    std::string text = std::to_string(only.size()) + " differ in the first: ";
    if (!only.empty()) text += only.front();
    only.clear();
    std::set_difference(stored.begin(), stored.end(), cached.begin(), cached.end(),
                        std::back_inserter(only));
    text += "; " + std::to_string(only.size()) + " in the second: ";
    if (!only.empty()) text += only.front();
    return text;
}

}  // namespace

Soak::Soak(const SoakOptions& options, const std::string& folder)
    : mOptions(options),
      mDice(options.seed),
      mModem(folder),
      mController(mModem.control()),
      mWatch(std::make_shared<CallWatch>(kExchangeMs)),
      mApplication(mJournal, *mWatch, options.seed + 1),
      mOther(mModem, mJournal, options.seed + 2) {
    mox::setModemPath(mModem.socket());
    mox::setTimeoutCap(kExchangeMs);
}

bool Soak::run() {
    // The library is up before the modem exists.
    Manager::getInstance().init(0, false);
    mWatch->attach();
    mModem.start(mOptions.seed, "");
    while (!isOver()) {
        if (mSettlings % kSettlingsOfLibrary == kSettlingsOfLibrary - 1) {
            Manager::getInstance().init(0, false);
            mWatch->attach();
        }
        waitForStore();
        mController.order({{"order", "chance"}, {"faults", kFaults}});
        round(std::min(kKillsOfRound, mOptions.kills - mKills));
        settle();
    }
    mApplication.dropKeys();
    return mViolations.empty();
}

bool Soak::isOver() const {
    const bool late = mOptions.seconds > 0 && std::chrono::steady_clock::now() - mBegun >
                                                  std::chrono::seconds(mOptions.seconds);
    return late || mKills >= mOptions.kills || !mViolations.empty();
}

void Soak::round(unsigned int kills) {
    std::atomic<bool> stop = false;
    std::thread killer([&] {
        for (unsigned int i = 0; i < kills; ++i) {
            std::this_thread::sleep_for(milliseconds(1 + mDice.below(kMostPauseMs)));
            kill();
            mModem.start(mOptions.seed + mModem.started(), kFaults);
        }
        stop = true;
    });
    std::thread other([&] { mOther.run(stop); });
    mApplication.run(stop);
    other.join();
    killer.join();
}

void Soak::kill() {
    const std::string trouble = mModem.kill();
    if (!trouble.empty()) violated(trouble);
    ++mKills;
}

void Soak::settle() {
    waitForStore();
    mOther.count();
    mController.order({{"order", "chance"}, {"faults", "all=0"}});
    std::this_thread::sleep_for(kHeld);
    mApplication.dropKeys();
    for (const std::string& what : mJournal.violations(waitForStore())) violated(what);

    // A library whose registration was lost on the way hears nothing until its connection ends.
    if (isLibraryRegistered()) settleCache("faults over");

    std::vector<modem::StoredProfile> kept = waitForStore();
    std::erase_if(kept, [](const modem::StoredProfile& profile) { return !profile.persistent; });
    kill();
    mModem.start(mOptions.seed, "");
    const auto store = waitForStore();
    if (imagesOf(store) != imagesOf(kept)) {
        violated("not what was stored, after a kill: " +
                 difference(imagesOf(store), imagesOf(kept)));
    }
    if (waitUntil([this] { return isLibraryRegistered(); })) {
        settleCache("started again");
    } else {
        violated("the library does not come back");
    }
    for (const std::string& what : mWatch->takeViolations()) violated(what);
    tidy(store);

    mLast = Usage::now();
    if (mSettlings++ == 0) mFirst = mLast;
    if (const auto leak = mLast.leakSince(mFirst); !leak.empty()) violated(leak);
}

void Soak::settleCache(const char* when) {
    const auto lastToken = cache().lastToken;
    mController.order({{"order", "subscription-change"}});
    const Images stored = imagesOf(waitForStore());
    const bool agreed = waitUntil([&] {
        const Cache now = cache();
        return now.leastToken > lastToken && now.images == stored;
    });
    if (!agreed) {
        violated(std::string(when) +
                 ", but cache and modem differ: " + difference(cache().images, stored));
    }
    const auto keys = Manager::getInstance().filter(FilterProfileParams());
    if (keys.size() != stored.size()) violated("the filter does not find every profile");
    for (const auto& key : keys) {
        if (!Manager::getInstance().getProfile(key)) violated("a profile cannot be read");
    }
}

bool Soak::isLibraryRegistered() const {
    const auto status = mController.order({{"order", "status"}});
    if (!status) return false;
    const auto& clients = status->at("clients");
    return std::any_of(clients.begin(), clients.end(), [](const nlohmann::json& client) {
        return client.at("registered") == true && client.at("subscription") == 0;
    });
}

std::vector<modem::StoredProfile> Soak::waitForStore() {
    std::vector<modem::StoredProfile> store;
    const bool answered = waitUntil([&] {
        const auto listed = mController.list();
        if (listed) store = *listed;
        return listed.has_value();
    });
    if (!answered) violated("the modem does not come up");
    return store;
}

void Soak::tidy(const std::vector<modem::StoredProfile>& store) {
    mJournal.adopt(store);
    std::size_t own = 0;
    for (const modem::StoredProfile& profile : store) {
        const std::string apn = apnOf(profile);
        if (!apn.starts_with("soak.") && !apn.starts_with("other.")) continue;
        if (++own <= kMostOwn) continue;
        const Place place = placeOf(profile);
        mController.order({{"order", "delete"},
                           {"technology", place.first == TechType::TECH_3GPP ? "3gpp" : "3gpp2"},
                           {"index", place.second}});
        mJournal.deleted(place);
    }
}

bool Soak::waitUntil(const std::function<bool()>& condition) const {
    const auto end = std::chrono::steady_clock::now() + kBound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

void Soak::violated(const std::string& what) {
    mViolations.push_back("after " + std::to_string(mKills) + " kills: " + what);
}

std::string Soak::report() const {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - mBegun);
    Table table;
    table.row("kills survived", mKills);
    table.row("calls made", mWatch->calls());
    table.row("changes of the other", mOther.changes());
    table.row("faults injected", "at least ", mOther.injected());
    table.row("settlings checked", mSettlings);
    table.row("longest call", mWatch->longest().count(), " ms");
    table.usage(mFirst, mLast);
    table.row("time", seconds.count(), " s");
    table.violations(mViolations);
    return table.text();
}

}  // namespace velo::soak
