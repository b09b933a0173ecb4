// SPDX-License-Identifier: Apache-2.0

#include "model/Runner.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <utility>

#include "model/Shrinker.h"
#include "model/World.h"

namespace velo::model {

namespace {

using std::chrono::seconds;

constexpr std::uint64_t kSequence = 250;
constexpr seconds kSilence{90};
constexpr seconds kProgress{5};
constexpr seconds kShrinking{120};
constexpr seconds kExchange{1};
constexpr int kTrials = 3;

/// What was wrong with a child, once it has ended: after kSilence it is made to.
std::string troubleOf(pid_t pid) {
    // No wait for a child takes a bound.
    const auto end = std::chrono::steady_clock::now() + kSilence;
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > end) ::kill(pid, SIGABRT);
        ::poll(nullptr, 0, 1);
    }
    if (WIFSIGNALED(status)) return std::string("it ended by: ") + strsignal(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? "" : "it failed";
}

}  // namespace

bool Runner::run() {
    // Its next end is waited for in their order: all take about as long.
    std::deque<Job> jobs;
    for (;;) {
        while (jobs.size() < mOptions.jobs && mayBegin()) jobs.push_back(begin());
        if (jobs.empty()) break;
        const Job job = std::move(jobs.front());
        jobs.pop_front();
        const std::string trouble = end(job);
        if (trouble.empty()) continue;
        for (const Job& other : jobs) end(other);
        reportSummary(false);
        reportFailure(job, trouble);
        return false;
    }
    reportSummary(true);
    return true;
}

bool Runner::mayBegin() const {
    const bool isLate = mOptions.seconds > 0 && Clock::now() - mBegun > seconds(mOptions.seconds);
    return !isLate && mBegunOperations < mOptions.operations;
}

Runner::Job Runner::begin() {
    const std::uint64_t seed = mOptions.seed + mBegunOperations / kSequence;
    const std::uint64_t length = std::min(kSequence, mOptions.operations - mBegunOperations);
    mBegunOperations += length;
    Steps steps = generate(seed, static_cast<std::size_t>(length));
    const pid_t pid = start(steps, false);
    return {pid, seed, std::move(steps)};
}

std::string Runner::end(const Job& job) {
    std::string trouble = troubleOf(job.pid);
    mOperations += job.steps.size();
    for (const Step& step : job.steps) ++mCounts["  " + std::string(step.operation)];
    showProgress(std::to_string(mOperations) + " operations");
    return trouble;
}

pid_t Runner::start(const Steps& steps, bool isNarrated) const {
    const pid_t child = ::fork();
    if (child < 0) {
        std::perror("velo_model");
        std::exit(2);
    }
    if (child > 0) return child;
    const std::string violation = perform(steps, isNarrated);
    if (isNarrated) print(violation);
    std::exit(violation.empty() ? 0 : 1);
}

std::string Runner::troubleAlone(const Steps& steps, bool isNarrated) const {
    return troubleOf(start(steps, isNarrated));
}

std::string Runner::perform(const Steps& steps, bool isNarrated) const {
    for (int trial = 1;; ++trial) {
        auto begun = Clock::now();
        try {
            World world(mOptions.isModemLying);
            for (std::size_t i = 0; i < steps.size(); ++i) {
                if (isNarrated) print("  " + std::to_string(i + 1) + "  " + steps[i].text() + "\n");
                begun = Clock::now();
                world.perform(steps[i]);
            }
            return "";
        } catch (const Violation& violation) {
            // The library gives an exchange up when the machine has no time for it: what a step
            // shows that took as long proves nothing.
            if (trial == kTrials || Clock::now() - begun < kExchange) {
                return std::string("Violated: ") + violation.what() + "\n";
            }
        }
    }
}

bool Runner::replay(const Steps& steps) {
    const std::string trouble = troubleAlone(steps, true);
    print(trouble.empty() ? "Nothing is violated.\n" : "Replayed: " + trouble + ".\n");
    return trouble.empty();
}

void Runner::reportFailure(const Job& job, const std::string& trouble) {
    Steps steps = job.steps;
    print("A sequence: " + trouble + ". Again with --seed " + std::to_string(job.seed) +
          " --operations " + std::to_string(steps.size()) + ".\n");
    const auto end = Clock::now() + kShrinking;
    unsigned int tried = 0;
    const auto fails = [&](const Steps& candidate) {
        showProgress("shortening, " + std::to_string(++tried) + " trials");
        return Clock::now() < end && !troubleAlone(candidate, false).empty();
    };
    if (!fails(steps)) {
        print(
            "It passes when it runs alone: what fails depends on time, or on what went before.\n");
        return;
    }
    steps = shrink(std::move(steps), fails);
    const std::string file = mOptions.failures + "/model-" + std::to_string(job.seed) + ".steps";
    std::string text;
    for (const Step& step : steps) text += step.text() + "\n";
    // Closed before the next child is forked, which would flush its copy, too.
    std::ofstream(file) << text;
    print("The least that fails, after " + std::to_string(tried) + " trials:\n");
    troubleAlone(steps, true);
    print("Again: script/model --replay " + file + "\n");
}

void Runner::reportSummary(bool passed) {
    const auto past = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - mBegun);
    std::ostringstream out;
    out << std::left << std::fixed << std::setprecision(1);
    const auto row = [&](const std::string& name, auto value) -> std::ostream& {
        return out << std::setw(24) << name << value;
    };
    row("seed", mOptions.seed) << '\n';
    row("operations", mOperations) << '\n';
    for (const auto& [name, count] : mCounts) row(name, count) << '\n';
    row("time", static_cast<double>(past.count()) / 1000) << " s\n";
    row("violations", passed ? 0 : 1) << '\n';
    print(out.str());
}

void Runner::showProgress(const std::string& text) {
    if (Clock::now() - mShown < kProgress) return;
    mShown = Clock::now();
    const auto past = std::chrono::duration_cast<seconds>(mShown - mBegun);
    std::fprintf(stderr, "%s in %lld s\n", text.c_str(), static_cast<long long>(past.count()));
}

void Runner::print(const std::string& text) const {
    if (::write(mOutput, text.data(), text.size()) < 0) {
        std::perror("velo_model: the results cannot be written");
        std::exit(2);
    }
}

}  // namespace velo::model
