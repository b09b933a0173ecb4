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
#include <fstream>
#include <iomanip>
#include <sstream>
#include <utility>

#include "model/Shrinker.h"

namespace velo::model {

namespace {

using std::chrono::seconds;

constexpr std::uint64_t kSequence = 250;
constexpr seconds kSilence{90};
/// How often a job may be asked in vain; one that was stopped with this process loses no turn.
constexpr unsigned int kPatience = 90;
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

std::size_t Runner::lengthOf(std::uint64_t sequence) const {
    const std::uint64_t before = std::min(sequence * kSequence, mOptions.operations);
    return static_cast<std::size_t>(std::min(kSequence, mOptions.operations - before));
}

bool Runner::run() {
    std::vector<Job> jobs;
    for (unsigned int i = 0; i < mOptions.jobs; ++i) jobs.push_back(startJob(i));
    follow(jobs);
    const auto failed =
        std::find_if(jobs.begin(), jobs.end(), [](const Job& job) { return !job.trouble.empty(); });
    reportSummary(failed == jobs.end());
    if (failed != jobs.end()) reportFailure(*failed);
    return failed == jobs.end();
}

Runner::Job Runner::startJob(unsigned int number) const {
    int ends[2];
    if (::pipe(ends) != 0) {
        std::perror("velo_model");
        std::exit(2);
    }
    Job job;
    job.next = number;
    job.pipe = ends[0];
    job.pid = ::fork();
    if (job.pid == 0) {
        ::close(ends[0]);
        work(number, ends[1]);
        std::exit(0);
    }
    ::close(ends[1]);
    return job;
}

void Runner::work(unsigned int number, int pipe) const {
    for (std::uint64_t sequence = number; lengthOf(sequence) > 0; sequence += mOptions.jobs) {
        if (mOptions.seconds > 0 && Clock::now() - mBegun > seconds(mOptions.seconds)) return;
        World::Counts counts;
        const Steps steps = generate(mOptions.seed + sequence, lengthOf(sequence));
        const std::string violation = perform(steps, false, counts);
        if (!violation.empty()) {
            print(violation);
            std::exit(1);
        }
        std::ostringstream line;
        for (const auto& [name, count] : counts) line << count << ':' << name << '\t';
        line << '\n';
        if (::write(pipe, line.str().data(), line.str().size()) < 0) std::exit(1);
    }
}

void Runner::follow(std::vector<Job>& jobs) {
    const auto isOver = [&] {
        return std::all_of(jobs.begin(), jobs.end(), [](const Job& job) { return job.isDone; }) ||
               std::any_of(jobs.begin(), jobs.end(),
                           [](const Job& job) { return !job.trouble.empty(); });
    };
    while (!isOver()) {
        std::vector<pollfd> watched;
        watched.reserve(jobs.size());
        for (const Job& job : jobs) watched.push_back({job.isDone ? -1 : job.pipe, POLLIN, 0});
        const int heard = ::poll(watched.data(), watched.size(), 1000);
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            if (watched[i].revents != 0) listen(jobs[i]);
            if (heard == 0 && !jobs[i].isDone && ++jobs[i].silences > kPatience) {
                ::kill(jobs[i].pid, SIGABRT);
            }
        }
        showProgress(std::to_string(mOperations) + " operations");
    }
    for (Job& job : jobs) {
        if (!job.isDone) {
            ::kill(job.pid, SIGKILL);
            troubleOf(job.pid);
        }
        ::close(job.pipe);
    }
}

void Runner::listen(Job& job) {
    char buffer[4096];
    const auto size = ::read(job.pipe, buffer, sizeof buffer);
    if (size <= 0) {
        job.isDone = true;
        job.trouble = troubleOf(job.pid);
        return;
    }
    job.silences = 0;
    job.text.append(buffer, static_cast<std::size_t>(size));
    for (std::size_t end; (end = job.text.find('\n')) != std::string::npos;) {
        std::istringstream counts(job.text.substr(0, end));
        std::string name;
        for (std::uint64_t count = 0;
             counts >> count && std::getline(counts.ignore(), name, '\t');) {
            mCounts[name] += count;
        }
        job.text.erase(0, end + 1);
        mOperations += lengthOf(job.next);
        job.next += mOptions.jobs;
    }
}

std::string Runner::troubleAlone(const Steps& steps, bool isNarrated) const {
    const pid_t child = ::fork();
    if (child == 0) {
        World::Counts counts;
        const std::string violation = perform(steps, isNarrated, counts);
        if (isNarrated) print(violation);
        std::exit(violation.empty() ? 0 : 1);
    }
    return troubleOf(child);
}

std::string Runner::perform(const Steps& steps, bool isNarrated, World::Counts& counts) const {
    for (int trial = 1;; ++trial) {
        auto begun = Clock::now();
        try {
            World world(mOptions.isModemLying);
            for (std::size_t i = 0; i < steps.size(); ++i) {
                if (isNarrated) print("  " + std::to_string(i + 1) + "  " + steps[i].text() + "\n");
                begun = Clock::now();
                world.perform(steps[i]);
            }
            counts = world.counts();
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

void Runner::reportFailure(const Job& job) {
    const std::uint64_t seed = mOptions.seed + job.next;
    Steps steps = generate(seed, lengthOf(job.next));
    print("Sequence " + std::to_string(job.next) + ": " + job.trouble + ". Again with --seed " +
          std::to_string(seed) + " --operations " + std::to_string(steps.size()) + ".\n");
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
    const std::string file = mOptions.failures + "/model-" + std::to_string(seed) + ".steps";
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
