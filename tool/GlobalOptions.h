// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace CLI {
class App;
}

namespace velo::tool {

enum class LogTarget { Adb, Diag, Off };

/// The options that every command takes. Filled by the parser; read by everybody else.
struct GlobalOptions {
    std::string modemPath;  ///< socket of a running modem; empty for the embedded one
    unsigned int instance = 0;
    LogTarget log = LogTarget::Diag;
    double timeoutSeconds = 10;
    bool json = false;
    bool noColor = false;
    bool showSecrets = false;
    bool numbers = false;  ///< enumerations as numbers instead of words

    void setup(CLI::App& app);
};

}  // namespace velo::tool
