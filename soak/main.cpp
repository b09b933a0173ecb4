// SPDX-License-Identifier: Apache-2.0

#include <malloc.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>

#include "soak/Cycles.h"
#include "soak/Hazards.h"
#include "soak/Soak.h"
#include "tool/Output.h"

namespace {

constexpr unsigned int kBriefSeconds = 40;
constexpr unsigned int kBriefKills = 25;

struct Options {
    velo::soak::SoakOptions soak;
    unsigned int hazards = 0;
    std::uint64_t cycles = 0;
    std::uint64_t exitAlive = 0;
    bool brief = false;
};

/// Ends the process when there is nothing to run: help was asked for, or a word is wrong.
Options parse(int argc, char** argv) {
    Options options;
    options.soak.seed = std::random_device()();
    CLI::App app(
        "Shows that the library survives: kills of the modem, builds and teardowns, cycles");
    auto* const kills =
        app.add_option("--kills", options.soak.kills,
                       "Kill velo-modem that often; 1000 when nothing is asked for");
    auto* const hazards = app.add_option(
        "--hazards", options.hazards,
        "Build the library up and tear it down that often, under a modem that talks");
    auto* const cycles =
        app.add_option("--cycles", options.cycles, "Add and release a profile that often");
    kills->excludes(hazards)->excludes(cycles);
    hazards->excludes(cycles);
    app.add_option("--seconds", options.soak.seconds, "After which no further round begins");
    app.add_option("--seed", options.soak.seed, "Of all dice; a new one when absent");
    app.add_flag("--brief", options.brief, "Not more than a minute of it");
    auto* const exitAlive = app.add_option("--exit-alive", options.exitAlive)->group("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) std::exit(app.exit(error));
        std::fprintf(stderr, "velo_soak: %s (--help lists the options)\n", error.what());
        std::exit(2);
    }
    if (exitAlive->count() > 0) velo::soak::Hazards::exitAlive(options.exitAlive);
    if (options.brief) {
        if (options.soak.seconds == 0) options.soak.seconds = kBriefSeconds;
        if (kills->count() == 0) options.soak.kills = kBriefKills;
    }
    return options;
}

using Print = std::function<bool(const std::string&)>;

template <typename Run>
bool report(Run&& run, const Print& print) {
    const bool passed = run.run();
    return print(run.report()) && passed;
}

bool soak(const Options& options, const Print& print) {
    std::string folder = std::filesystem::temp_directory_path() / "velo-soak-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) {
        std::perror("velo_soak");
        return false;
    }
    const bool passed = report(velo::soak::Soak(options.soak, folder), print);
    std::filesystem::remove_all(folder);
    return passed;
}

bool run(const Options& options, const Print& print) {
    const auto& limits = options.soak;
    if (options.cycles > 0) {
        return report(velo::soak::Cycles(options.cycles, limits.seconds), print);
    }
    if (options.hazards > 0) {
        return report(
            velo::soak::Hazards({options.hazards, limits.seconds, limits.seed, "/proc/self/exe"}),
            print);
    }
    return soak(options, print);
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);

    // Memory that is spread over an arena for each thread would hide a leak.
    ::mallopt(M_ARENA_MAX, 1);
    // The library writes to the standard output on its own account.
    const int results = velo::tool::takeStandardOutput();
    const Print print = [results](const std::string& text) {
        return results < 0 || ::write(results, text.data(), text.size()) >= 0;
    };
    print("seed                    " + std::to_string(options.soak.seed) + "\n");
    const bool passed = run(options, print);
    if (!passed) print("It failed; the seed is " + std::to_string(options.soak.seed) + ".\n");
    return passed ? 0 : 1;
}
