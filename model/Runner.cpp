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

#include "model/Generator.h"
#include "model/Shrinker.h"

namespace velo::model {

namespace {

using std::chrono::seconds;

constexpr std::size_t kSequence = 250;
constexpr seconds kSilence{90};
/// How often a job may be asked in vain; one that was stopped with this process loses no turn.
constexpr unsigned int kPatience = 90;
constexpr seconds kProgress{10};
constexpr seconds kShrinking{120};
constexpr int kFailed = 1;

std::string described(int status) {
    if (WIFSIGNALED(status)) return std::string("it ended by: ") + strsignal(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? "" : "it failed";
}

/// How a child ended, after so long at most.
int statusOf(pid_t pid, seconds patience) {
    // Nothing tells a parent with a bound; the child's end is asked for now and then.
    const auto end = std::chrono::steady_clock::now() + patience;
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > end) ::kill(pid, SIGABRT);
        ::poll(nullptr, 0, 1);
    }
    return status;
}

std::string countText(const World::Counts& counts) {
    std::ostringstream out;
    out << counts.refused << ' ' << counts.foreign << ' ' << counts.reports;
    for (const auto& [operation, count] : counts.operations)
        out << ' ' << operation << ' ' << count;
    out << '\n';
    return out.str();
}

/// Adds up what countText() wrote; the operations in it.
std::uint64_t addCounts(const std::string& line, World::Counts& sum) {
    std::istringstream in(line);
    World::Counts counts;
    in >> counts.refused >> counts.foreign >> counts.reports;
    sum.refused += counts.refused;
    sum.foreign += counts.foreign;
    sum.reports += counts.reports;
    std::uint64_t operations = 0;
    std::uint64_t count = 0;
    for (std::string name; in >> name >> count; operations += count) {
        sum.operations[operationNamed(name)] += count;
    }
    return operations;
}

}  // namespace

std::size_t Runner::lengthOf(std::uint64_t sequence) const {
    if (mOptions.operations == 0) return kSequence;
    const std::uint64_t before = sequence * kSequence;
    return before >= mOptions.operations ? 0
                                         : static_cast<std::size_t>(std::min<std::uint64_t>(
                                               kSequence, mOptions.operations - before));
}

bool Runner::run() {
    std::vector<Job> jobs;
    for (unsigned int number = 0; number < mOptions.jobs; ++number)
        jobs.push_back(startJob(number));
    follow(jobs);
    const auto failed =
        std::find_if(jobs.begin(), jobs.end(), [](const Job& job) { return !job.trouble.empty(); });
    reportSummary(failed == jobs.end());
    if (failed != jobs.end()) reportFailure(*failed);
    return failed == jobs.end();
}

Runner::Job Runner::startJob(unsigned int number) {
    int ends[2];
    if (::pipe(ends) != 0) {
        std::perror("velo_model");
        std::exit(2);
    }
    Job job;
    job.next = number;
    job.pid = ::fork();
    if (job.pid == 0) {
        ::close(ends[0]);
        work(number, ends[1]);
        std::exit(0);
    }
    ::close(ends[1]);
    job.pipe = ends[0];
    return job;
}

void Runner::work(unsigned int number, int pipe) const {
    for (std::uint64_t sequence = number; lengthOf(sequence) > 0; sequence += mOptions.jobs) {
        if (mOptions.seconds > 0 && Clock::now() - mBegun > seconds(mOptions.seconds)) return;
        World::Counts counts;
        try {
            World world(mOptions.isModemLying);
            for (const Step& step : generate(mOptions.seed + sequence, lengthOf(sequence))) {
                world.perform(step);
            }
            counts = world.counts();
        } catch (const Violation& violation) {
            print(std::string("Violated: ") + violation.what() + "\n");
            std::exit(kFailed);
        }
        const std::string line = countText(counts);
        if (::write(pipe, line.data(), line.size()) < 0) std::exit(kFailed);
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
        for (const Job& job : jobs) watched.push_back({job.isDone ? -1 : job.pipe, POLLIN, 0});
        const int heard = ::poll(watched.data(), watched.size(), 1000);
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            if (watched[i].revents != 0) listen(jobs[i]);
            if (heard == 0 && !jobs[i].isDone && ++jobs[i].silences > kPatience) {
                ::kill(jobs[i].pid, SIGABRT);
            }
        }
        if (Clock::now() - mShown > kProgress) {
            mShown = Clock::now();
            const auto past = std::chrono::duration_cast<seconds>(mShown - mBegun);
            std::fprintf(stderr, "%llu operations in %lld s\n",
                         static_cast<unsigned long long>(mOperations),
                         static_cast<long long>(past.count()));
        }
    }
    for (Job& job : jobs) {
        if (!job.isDone) {
            ::kill(job.pid, SIGKILL);
            statusOf(job.pid, kSilence);
        }
        ::close(job.pipe);
    }
}

void Runner::listen(Job& job) {
    char buffer[4096];
    const auto size = ::read(job.pipe, buffer, sizeof buffer);
    if (size <= 0) return finish(job);
    job.silences = 0;
    job.text.append(buffer, static_cast<std::size_t>(size));
    for (std::size_t end; (end = job.text.find('\n')) != std::string::npos;) {
        mOperations += addCounts(job.text.substr(0, end), mCounts);
        job.text.erase(0, end + 1);
        job.next += mOptions.jobs;
    }
}

void Runner::finish(Job& job) {
    job.isDone = true;
    job.trouble = described(statusOf(job.pid, kSilence));
}

int Runner::runAlone(const Steps& steps, bool isNarrated) const {
    const pid_t child = ::fork();
    if (child == 0) std::exit(perform(steps, isNarrated));
    return statusOf(child, kSilence);
}

int Runner::perform(const Steps& steps, bool isNarrated) const {
    try {
        World world(mOptions.isModemLying);
        for (std::size_t i = 0; i < steps.size(); ++i) {
            if (isNarrated) {
                print("  " + std::to_string(i + 1) + "  " + steps[i].text() + "\n");
            }
            world.perform(steps[i]);
        }
    } catch (const Violation& violation) {
        if (isNarrated) print(std::string("Violated: ") + violation.what() + "\n");
        return kFailed;
    }
    return 0;
}

bool Runner::replay(const Steps& steps) {
    const std::string trouble = described(runAlone(steps, true));
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
        ++tried;
        return Clock::now() < end && !described(runAlone(candidate, false)).empty();
    };
    if (!fails(steps)) {
        print(
            "It passes when it runs alone: what fails depends on time, or on what went before.\n");
        return;
    }
    steps = shrink(std::move(steps), fails);
    const std::string file = mOptions.failures + "/model-" + std::to_string(seed) + ".steps";
    std::ofstream out(file);
    for (const Step& step : steps) out << step.text() << '\n';
    print("The least that fails, after " + std::to_string(tried) + " trials:\n");
    runAlone(steps, true);
    print("Again: script/model --replay " + file + "\n");
}

void Runner::reportSummary(bool passed) {
    const auto past = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - mBegun);
    std::ostringstream out;
    const auto row = [&](std::string_view name, const auto&... values) {
        out << std::left << std::setw(24) << name;
        (out << ... << values) << '\n';
    };
    row("seed", mOptions.seed);
    row("operations", mOperations);
    for (const auto& [operation, count] : mCounts.operations) {
        row("  " + std::string(operation), count);
    }
    row("exchanges refused", mCounts.refused);
    row("foreign changes", mCounts.foreign);
    row("indications delivered", mCounts.reports);
    row("time", std::fixed, std::setprecision(1), static_cast<double>(past.count()) / 1000, " s");
    row("violations", passed ? 0 : 1);
    print(out.str());
}

void Runner::print(const std::string& text) const {
    if (::write(mOutput, text.data(), text.size()) < 0) {
        std::perror("velo_model: the results cannot be written");
        std::exit(2);
    }
}

}  // namespace velo::model
