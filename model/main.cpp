// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

#include "model/Runner.h"
#include "tool/Output.h"

namespace {

constexpr std::uint64_t kOperations = 1'000'000;
constexpr std::uint64_t kBriefOperations = 20'000;

velo::model::Steps read(const std::string& file) {
    std::ifstream in(file);
    if (!in) throw std::invalid_argument("cannot read " + file);
    velo::model::Steps steps;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.front() != '#') steps.push_back(velo::model::Step::parse(line));
    }
    return steps;
}

}  // namespace

int main(int argc, char** argv) {
    velo::model::RunOptions options;
    options.seed = std::random_device()();
    options.jobs = std::max(1U, std::thread::hardware_concurrency());
    std::string file;
    bool isBrief = false;
    CLI::App app(
        "Compares the library with a model of its rules, in random sequences of operations");
    app.add_option("--seed", options.seed, "Of the sequences; a new one when absent");
    app.add_option("--operations", options.operations,
                   "How many; 1000000 when neither this nor --seconds is given");
    app.add_option("--seconds", options.seconds, "After which no further sequence begins");
    app.add_flag("--brief", isBrief, "20000 operations");
    app.add_option("--jobs", options.jobs, "Processes at the same time; one for each processor");
    app.add_option("--replay", file, "Performs the steps of a file instead");
    app.add_option("--failures", options.failures, "Folder for the steps of what fails");
    app.add_flag("--lying-modem", options.isModemLying,
                 "Has the modem withhold the APN types of IMS profiles, which must be noticed");
    CLI11_PARSE(app, argc, argv);
    if (isBrief) options.operations = kBriefOperations;
    if (options.operations == 0) {
        options.operations =
            options.seconds == 0 ? kOperations : std::numeric_limits<std::uint64_t>::max();
    }

    velo::model::Steps steps;
    try {
        if (!file.empty()) steps = read(file);
    } catch (const std::invalid_argument& error) {
        std::cerr << "velo_model: " << error.what() << '\n';
        return 2;
    }
    // The library writes to the standard output on its own account.
    velo::model::Runner runner(options, velo::tool::takeStandardOutput());
    return (file.empty() ? runner.run() : runner.replay(steps)) ? 0 : 1;
}
