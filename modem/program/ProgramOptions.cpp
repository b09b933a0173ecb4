// SPDX-License-Identifier: Apache-2.0

#include "modem/program/ProgramOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "modem/FactoryProfiles.h"
#include "modem/ModemError.h"

namespace velo::modem {

namespace {

constexpr unsigned int kMostSubscriptions = 255;
constexpr unsigned int kMostLatencyMs = 60000;

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// What is wrong with a seed's text, or nothing: the parser of the options would let one wrap.
std::string complaintAboutSeed(const std::string& text) {
    std::uint64_t seed = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seed);
    return error == std::errc() && stop == end ? "" : text + " is not a number from 0 to 2^64-1";
}

}  // namespace

void ProgramOptions::setupPlaces(CLI::App& app) {
    app.add_option("--socket", modem.socketPath,
                   "Socket for clients; else MOX_MODEM of the environment, or velo-modem.sock in "
                   "XDG_RUNTIME_DIR")
        ->type_name("PATH");
    app.add_option("--control", controlPath,
                   "Socket of the control channel; else that for clients with .control behind it")
        ->type_name("PATH");
}

void ProgramOptions::setup(CLI::App& app) {
    setupPlaces(app);
    app.add_option("--state", modem.stateFile,
                   "File in which persistent profiles outlive the modem; made when it does not "
                   "exist")
        ->type_name("FILE");
    app.add_option("--profiles", profilesPath,
                   "JSON file with the factory profiles; else a built-in set")
        ->type_name("FILE");
    app.add_option("--subscriptions", modem.subscriptions, "How many subscriptions, 2 at first")
        ->type_name("N")
        ->check(CLI::Range(1U, kMostSubscriptions).description(""));
    app.add_option("--capacity", modem.capacity,
                   "Profiles of each technology that a subscription can hold, 255 at first")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, kWdsMaxProfiles).description(""));
    app.add_option("--latency", modem.latencyMs,
                   "Milliseconds that everything the modem sends is under way, 0 at first")
        ->type_name("MS")
        ->check(CLI::Range(0U, kMostLatencyMs).description(""));
    app.add_option("--seed", modem.seed, "Seed of the faults' dice, 0 at first")
        ->type_name("N")
        ->check(CLI::Validator(complaintAboutSeed, ""));
    app.add_option("--faults", faults,
                   "Chances of faults from 0 to 1: NAME=CHANCE,...; all=CHANCE for every one, "
                   "delay-ms=MS for the longest delay")
        ->type_name("CHANCES");
    app.add_option("--capture", modem.captureFile,
                   "File in which every frame is recorded, passwords included (pcapng)")
        ->type_name("FILE");
}

void ProgramOptions::complete() {
    modem.socketPath = socket();
    controlPath = control();
    checkDistinct();
    modem.faults = inPlace("--faults", [this] { return FaultChances().with(faults); });
    if (!profilesPath.empty()) {
        modem.factoryProfiles = readFactoryProfiles(profilesPath);
    }
}

void ProgramOptions::checkDistinct() const {
    std::map<std::filesystem::path, std::string> owners;
    for (const auto& [option, path] : {std::pair{"--socket", modem.socketPath},
                                       {"--control", controlPath},
                                       {"--state", modem.stateFile},
                                       {"--profiles", profilesPath},
                                       {"--capture", modem.captureFile}}) {
        std::error_code error;
        const auto place = std::filesystem::weakly_canonical(path, error);
        if (path.empty() || error) {
            continue;
        }
        const auto [owner, first] = owners.emplace(place, option);
        if (!first) {
            throw ModemError(owner->second + " and " + option + " are the same file, " + path);
        }
    }
}

std::string ProgramOptions::control() const {
    return controlPath.empty() ? socket() + ".control" : controlPath;
}

std::string ProgramOptions::socket() const {
    if (!modem.socketPath.empty()) {
        return modem.socketPath;
    }
    if (auto path = environment("MOX_MODEM"); !path.empty()) {
        return path;
    }
    if (const auto folder = environment("XDG_RUNTIME_DIR"); !folder.empty()) {
        return folder + "/velo-modem.sock";
    }
    throw ModemError("where is the socket? Give --socket PATH, or set MOX_MODEM");
}

}  // namespace velo::modem
