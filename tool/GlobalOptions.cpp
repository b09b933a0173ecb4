// SPDX-License-Identifier: Apache-2.0

#include "tool/GlobalOptions.h"

#include <CLI/CLI.hpp>

#include "tool/Words.h"

namespace velo::tool {

namespace {

constexpr Word kLogWords[] = {{"adb", static_cast<std::uint32_t>(LogTarget::Adb)},
                              {"diag", static_cast<std::uint32_t>(LogTarget::Diag)},
                              {"off", static_cast<std::uint32_t>(LogTarget::Off)}};

}  // namespace

void GlobalOptions::setup(CLI::App& app) {
    const char* group = "Options of every command";
    app.add_option("--modem", modemPath, "Socket of a running modem; an embedded modem otherwise")
        ->type_name("PATH")
        ->check([](const std::string& path) {
            return path.empty() ? std::string("the path of the modem's socket is empty") : "";
        })
        ->group(group);
    app.add_option("--instance", instance, "Subscription of the modem, 0 at first")
        ->type_name("N")
        ->check(CLI::Range(0U, 255U).description(""))
        ->group(group);
    app.add_option_function<std::string>(
           "--log",
           [this](const std::string& text) {
               log = static_cast<LogTarget>(parseWord("log", kLogWords, text));
           },
           "Where the library logs: the Android log, the file that DIAG_LOG names, or nowhere")
        ->type_name(choices(kLogWords))
        ->group(group);
    app.add_option("--timeout", timeoutSeconds, "Longest wait for the modem, 10 seconds at first")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.01, 3600.0).description(""))
        ->group(group);
    app.add_flag("--json", json, "Results as JSON")->group(group);
    app.add_flag("--no-color", noColor, "No colour on the terminal, as with NO_COLOR set")
        ->group(group);
    app.add_flag("--show-secrets", showSecrets, "Passwords in clear")->group(group);
    app.add_flag("--numbers", numbers, "Numbers in place of words")->group(group);
}

}  // namespace velo::tool
