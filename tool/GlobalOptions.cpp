// SPDX-License-Identifier: Apache-2.0

#include "tool/GlobalOptions.h"

#include <CLI/CLI.hpp>

#include "tool/Words.h"

namespace velo::tool {

namespace {

constexpr Word kLogWords[] = {{"adb", static_cast<std::uint32_t>(LogTarget::Adb)},
                              {"diag", static_cast<std::uint32_t>(LogTarget::Diag)},
                              {"off", static_cast<std::uint32_t>(LogTarget::Off)}};

/// @return what is wrong with a number; empty when it is within its bounds
template <typename Number>
std::string check(const std::string& text, Number least, Number most, const char* wanted) {
    Number number{};
    return CLI::detail::lexical_cast(text, number) && number >= least && number <= most
               ? std::string()
               : "'" + text + "' is no " + wanted;
}

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
        ->check([](const std::string& text) {
            return check<unsigned int>(text, 0, 255, "subscription; give a number from 0 to 255");
        })
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
        ->check([](const std::string& text) {
            return check(text, 0.01, 3600.0, "time-out; give seconds from 0.01 to 3600");
        })
        ->group(group);
    app.add_flag("--json", json, "Results as JSON")->group(group);
    app.add_flag("--no-color", noColor, "No colour on the terminal, as with NO_COLOR set")
        ->group(group);
    app.add_flag("--show-secrets", showSecrets, "Passwords in clear")->group(group);
    app.add_flag("--numbers", numbers, "Numbers in place of words")->group(group);
}

}  // namespace velo::tool
