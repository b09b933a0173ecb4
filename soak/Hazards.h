// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdint>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include "modem/Dice.h"
#include "soak/Chatter.h"
#include "soak/Usage.h"

namespace velo::soak {

struct HazardOptions {
    unsigned int rounds = 0;
    unsigned int seconds = 0;  ///< after which no further round begins; zero for no limit
    std::uint64_t seed = 0;
    std::string program;  ///< this one, for the rounds that end a process
};

/// Builds the library up and tears it down, round after round, while its modem never stops talking,
/// another thread dumps, and keys go in other threads at any instant. A sanitizer judges; what can
/// be judged without one is. Used by one thread, which is the one that calls init.
class Hazards {
public:
    explicit Hazards(const HazardOptions& options);
    ~Hazards();
    Hazards(const Hazards&) = delete;
    Hazards& operator=(const Hazards&) = delete;

    /// Whether nothing was violated. A round that hangs aborts the process.
    bool run();

    std::string report() const;

    /// What a process does in the round that ends one: it uses the library, and exits in the middle
    /// of everything with its keys alive.
    [[noreturn]] static void exitAlive(std::uint64_t seed);

private:
    void round();
    void init();
    void replaceManager();
    void dropWhileReplaced();
    void engineComesAndGoes();
    void fork();
    void endProcess();
    void useLibrary();
    void pause();
    void watch();
    void dumpOn();
    void calm();
    void settle();
    void violated(const std::string& what);

    const HazardOptions mOptions;
    modem::Dice mDice;
    Chatter mChatter;
    // Held exclusively around init, which must not overlap a dump.
    std::shared_mutex mInit;
    std::atomic<bool> mStop{false};
    std::atomic<unsigned int> mRounds{0};
    std::atomic<std::uint64_t> mDumps{0};
    std::uint64_t mInits = 0;
    std::uint64_t mEngines = 0;
    std::uint64_t mForks = 0;
    std::uint64_t mExits = 0;
    std::uint64_t mCalls = 0;
    std::uint64_t mKeys = 0;
    double mTook = 0;
    Usage mFirst;
    Usage mLast;
    std::vector<std::string> mViolations;
    std::thread mDumper;
    std::thread mWatch;
};

}  // namespace velo::soak
