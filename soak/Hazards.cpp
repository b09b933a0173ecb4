// SPDX-License-Identifier: Apache-2.0

#include "soak/Hazards.h"

#include <android/log.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "ClientRequestManager.h"
#include "host/mox/MoxHost.h"
#include "soak/Table.h"
#include "velo/Manager.h"

namespace velo::soak {

namespace {

using Clock = std::chrono::steady_clock;
using Key = std::shared_ptr<IProfileKey>;

constexpr unsigned int kExchangeMs = 50;
constexpr unsigned int kMostPauseUs = 2000;
/// What a round may take on a machine that has more to do, under a sanitizer.
constexpr std::chrono::seconds kBound{60};
/// Rounds until everything that is made once was made.
constexpr unsigned int kWarmUp = 30;

Manager& manager() {
    return Manager::getInstance();
}

AddProfileParams someProfile() {
    AddProfileParams params(false, TechType::TECH_3GPP, false);
    params.setApnName("hazard");
    return params;
}

std::list<Key> gatherKeys() {
    std::list<Key> keys;
    for (int i = 0; i < 3; ++i) {
        keys.splice(keys.end(), manager().filter(FilterProfileParams()));
        if (Key own = manager().addProfile(someProfile())) keys.push_back(std::move(own));
    }
    return keys;
}

/// Keys that threads fight for: each is taken once.
class KeyPool {
public:
    explicit KeyPool(std::list<Key> keys) : mKeys(std::move(keys)) {}

    /// Empty when there is none left.
    Key take() {
        const std::lock_guard lock(mMutex);
        if (mKeys.empty()) return nullptr;
        auto key = std::move(mKeys.front());
        mKeys.pop_front();
        return key;
    }

private:
    std::mutex mMutex;
    std::list<Key> mKeys;
};

/// Drops the keys of a pool, whose listeners drop others of it, on the worker or wherever images
/// end.
void dropAll(const std::shared_ptr<KeyPool>& pool, modem::Dice dice) {
    while (auto key = pool->take()) {
        if (dice.cast(0.3)) {
            const std::weak_ptr<KeyPool> others = pool;
            key->registerExpirationListener([others] {
                if (const auto alive = others.lock()) alive->take();
            });
        }
        std::this_thread::sleep_for(std::chrono::microseconds(dice.below(kMostPauseUs / 4)));
    }
}

/// A workstation prints it on the standard error, where the sanitizers speak.
void silenceAndroidLog() {
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
}

/// Whether the condition comes true, within the bound.
bool until(const std::function<bool()>& condition) {
    const auto end = Clock::now() + kBound;
    while (!condition()) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Whether the child ended well, within the bound.
bool endsWell(pid_t child) {
    const auto end = Clock::now() + kBound;
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (Clock::now() > end) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

Hazards::Hazards(const HazardOptions& options)
    : mOptions(options), mDice(options.seed), mChatter(options.seed + 1) {
    const std::string path = mChatter.modem().socketPath();
    mox::setModemPath(path);
    // For the processes that end.
    ::setenv("MOX_MODEM", path.c_str(), 1);
    mox::setTimeoutCap(kExchangeMs);
    silenceAndroidLog();
}

Hazards::~Hazards() {
    mox::setModemPath("");
    mox::setTimeoutCap(0);
}

bool Hazards::run() {
    const auto begun = Clock::now();
    mDumper = std::thread([this] { dumpOn(); });
    mWatch = std::thread([this] { watch(); });
    const auto isOver = [&] {
        return mRounds >= mOptions.rounds || !mViolations.empty() ||
               (mOptions.seconds > 0 &&
                Clock::now() - begun > std::chrono::seconds(mOptions.seconds));
    };
    while (!isOver()) {
        round();
        if (++mRounds == kWarmUp) {
            calm();
            mFirst = Usage::now();
            mChatter.start();
        }
    }
    mStop = true;
    mWatch.join();
    mDumper.join();
    settle();
    mTook = std::chrono::duration<double>(Clock::now() - begun).count();
    return mViolations.empty();
}

void Hazards::round() {
    // The process is costly to end: every so often.
    if (mRounds % 100 == 99) return endProcess();
    switch (mDice.below(8)) {
        case 0:
        case 1:
            return replaceManager();
        case 2:
        case 3:
        case 4:
            return dropWhileReplaced();
        case 5:
        case 6:
            return engineComesAndGoes();
        default:
            return fork();
    }
}

void Hazards::init() {
    const std::lock_guard lock(mInit);
    manager().init(mDice.below(2), mDice.cast(0.5));
    ++mInits;
}

void Hazards::replaceManager() {
    init();
    if (mDice.cast(0.5)) pause();
    init();
    useLibrary();
}

void Hazards::dropWhileReplaced() {
    init();
    pause();
    std::list<std::thread> droppers;
    auto keys = gatherKeys();
    mKeys += keys.size();
    const auto pool = std::make_shared<KeyPool>(std::move(keys));
    for (int i = 0; i < 2; ++i) {
        droppers.emplace_back(
            [&pool, dice = modem::Dice(mDice.below(~0ULL))] { dropAll(pool, dice); });
    }
    pause();
    init();
    for (std::thread& dropper : droppers) dropper.join();
}

void Hazards::engineComesAndGoes() {
    auto engine = std::make_unique<ClientRequestManager>(mDice.below(2));
    ++mEngines;
    if (mDice.cast(0.3)) return;
    std::list<Key> keys;
    for (int i = 0; i < 20 && keys.size() < 8; ++i) {
        const auto response = std::dynamic_pointer_cast<FilterResponse>(
            engine->processClientRequest(std::make_shared<FilterRequest>(FilterProfileParams())));
        if (response) keys.splice(keys.end(), response->getFilterResult());
        ++mCalls;
        if (keys.empty()) pause();
    }
    mKeys += keys.size();
    const auto pool = std::make_shared<KeyPool>(std::move(keys));
    std::thread dropper([&pool, dice = modem::Dice(mDice.below(~0ULL))] { dropAll(pool, dice); });
    pause();
    engine.reset();
    dropper.join();
}

void Hazards::fork() {
    useLibrary();
    auto keys = gatherKeys();
    const pid_t child = ::fork();
    if (child == 0) {
        const bool failed = !manager().addProfile(someProfile());
        manager().dump();
        keys.clear();
        ::_exit(failed ? 0 : 1);
    }
    ++mForks;
    if (!endsWell(child)) violated("a forked child does not end as it should");
    pause();
}

void Hazards::endProcess() {
    std::string seed = std::to_string(mDice.below(~0ULL));
    std::string program = mOptions.program;
    std::string option = "--exit-alive";
    char* const arguments[] = {program.data(), option.data(), seed.data(), nullptr};
    pid_t child = -1;
    if (::posix_spawn(&child, arguments[0], nullptr, nullptr, arguments, environ) != 0 ||
        !endsWell(child)) {
        violated("a process does not exit as it should");
    }
    ++mExits;
}

void Hazards::exitAlive(std::uint64_t seed) {
    modem::Dice dice(seed);
    // The one that is made first is destroyed last.
    if (dice.cast(0.5)) manager();
    static std::list<Key> keys;
    mox::setTimeoutCap(kExchangeMs);
    silenceAndroidLog();
    manager().init(dice.below(2), dice.cast(0.5));
    for (int i = 0; i < 20 && keys.empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(dice.below(kMostPauseUs)));
        keys = gatherKeys();
    }
    for (const Key& key : keys) key->registerExpirationListener([] {});
    if (dice.cast(0.3)) manager().init(0, false);
    std::exit(0);
}

void Hazards::useLibrary() {
    const auto key = manager().addProfile(someProfile());
    manager().match(FilterProfileParams(), key);
    manager().getProfile(key);
    ModifyProfileParams params;
    params.setUserName("hazard");
    manager().modifyProfile(params, key);
    if (mDice.cast(0.3)) manager().deleteProfile(key);
    if (mDice.cast(0.2)) {
        manager().refresh(PDCRefreshStatus::REFRESH_STARTED);
        manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    }
    mCalls += 5;
}

void Hazards::pause() {
    std::this_thread::sleep_for(std::chrono::microseconds(mDice.below(kMostPauseUs)));
}

void Hazards::dumpOn() {
    while (!mStop) {
        {
            const std::shared_lock lock(mInit);
            manager().dump();
        }
        ++mDumps;
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
}

void Hazards::watch() {
    unsigned int seen = mRounds;
    auto since = Clock::now();
    while (!mStop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (seen != mRounds) {
            seen = mRounds;
            since = Clock::now();
        } else if (Clock::now() - since > 2 * kBound) {
            std::fprintf(stderr, "velo_soak: round %u hangs\n", seen);
            std::abort();
        }
    }
}

void Hazards::calm() {
    mChatter.stop();
    {
        const std::lock_guard lock(mInit);
        manager().init(0, false);
    }
    if (!until([] { return !manager().filter(FilterProfileParams()).empty(); })) {
        violated("the library does not come back");
    }
}

void Hazards::settle() {
    calm();
    const auto stored = [this] { return mChatter.modem().profiles(0).size(); };
    const auto before = stored();
    auto key = manager().addProfile(someProfile());
    if (!key || stored() != before + 1) violated("a profile cannot be added");
    key.reset();
    if (stored() != before) violated("a released profile stays");
    if (mRounds < kWarmUp) return;
    // The modem closes its side of what was closed in its own time.
    until([this] {
        mLast = Usage::now();
        return mLast.descriptors <= mFirst.descriptors;
    });
    if (auto leak = mLast.leakSince(mFirst); !leak.empty()) violated(leak);
}

void Hazards::violated(const std::string& what) {
    mViolations.push_back("in round " + std::to_string(mRounds) + ": " + what);
}

std::string Hazards::report() const {
    Table table;
    table.row("rounds", mRounds.load());
    table.row("managers built", mInits, ", and ", mEngines, " engines beside them");
    table.row("the modem said", mChatter.said(), " things and restarted ", mChatter.restarts(),
              " times");
    table.row("calls", mCalls);
    table.row("keys", mKeys);
    table.row("dumps beside them", mDumps.load());
    table.row("forks", mForks);
    table.row("exits with keys", mExits);
    table.usage(mFirst, mLast);
    table.row("time", static_cast<unsigned int>(mTook), " s");
    table.violations(mViolations);
    return table.text();
}

}  // namespace velo::soak
