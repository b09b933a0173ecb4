// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "model/Step.h"

namespace velo::model {

struct RunOptions {
    std::uint64_t seed = 0;
    std::uint64_t operations = 0;
    unsigned int seconds = 0;  ///< after which no further sequence begins; zero for no limit
    unsigned int jobs = 1;
    std::string failures = ".";  ///< folder for the steps of what failed
    bool isModemLying = false;
};

/// Runs sequences of steps, each in a fresh world, in processes of their own: whatever the library
/// does to one, be it a crash, is seen from outside. Used by one thread, the only one in its
/// process: the library is never used in it.
class Runner {
public:
    /// @param output where results are written
    Runner(const RunOptions& options, int output) : mOptions(options), mOutput(output) {}

    /// Whether every sequence passed. One that fails ends the run and is shortened.
    bool run();

    /// Performs the steps and says what each was and what came of it.
    bool replay(const Steps& steps);

private:
    using Clock = std::chrono::steady_clock;
    /// A process that performs one sequence.
    struct Job {
        pid_t pid;
        std::uint64_t seed;
        Steps steps;
    };

    bool mayBegin() const;
    Job begin();
    std::string end(const Job& job);
    pid_t start(const Steps& steps, bool isNarrated) const;
    std::string troubleAlone(const Steps& steps, bool isNarrated) const;
    /// What the steps violate; empty for nothing.
    std::string perform(const Steps& steps, bool isNarrated) const;
    void reportFailure(const Job& job, const std::string& trouble);
    void reportSummary(bool passed);
    void showProgress(const std::string& text);
    void print(const std::string& text) const;

    const RunOptions mOptions;
    const int mOutput;
    const Clock::time_point mBegun = Clock::now();
    Clock::time_point mShown = mBegun;
    std::map<std::string, std::uint64_t> mCounts;
    std::uint64_t mBegunOperations = 0;
    std::uint64_t mOperations = 0;
};

}  // namespace velo::model
