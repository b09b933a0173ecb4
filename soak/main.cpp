// SPDX-License-Identifier: Apache-2.0

#include <malloc.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "soak/Soak.h"
#include "tool/Output.h"

int main(int argc, char** argv) {
    velo::soak::SoakOptions options;
    options.seed = std::random_device()();
    CLI::App app("Kills velo-modem under the library, with every fault on, and checks both");
    app.add_option("--kills", options.kills, "How often, 1000 when absent");
    app.add_option("--seconds", options.seconds, "After which no further round begins");
    app.add_option("--seed", options.seed, "Of all dice; a new one when absent");
    CLI11_PARSE(app, argc, argv);

    // Memory that is spread over an arena for each thread would hide a leak.
    ::mallopt(M_ARENA_MAX, 1);
    // The library writes to the standard output on its own account.
    const int results = velo::tool::takeStandardOutput();
    const auto print = [results](const std::string& text) {
        return results < 0 || ::write(results, text.data(), text.size()) >= 0;
    };
    std::string folder = std::filesystem::temp_directory_path() / "velo-soak-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) {
        std::perror("velo_soak");
        return 1;
    }
    print("seed                    " + std::to_string(options.seed) + "\n");
    bool passed = false;
    {
        velo::soak::Soak soak(options, folder);
        passed = soak.run();
        print(soak.report());
    }
    std::filesystem::remove_all(folder);
    if (!passed) print("The soak failed; its seed is " + std::to_string(options.seed) + ".\n");
    return passed ? 0 : 1;
}
