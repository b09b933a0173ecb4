// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "modem/Modem.h"

namespace CLI {
class App;
}

namespace velo::modem {

/// The options of `velo-modem`, as they were given. A value type.
struct ProgramOptions {
    ModemOptions modem;
    std::string profilesPath;
    std::string faults;
    std::string controlPath;

    /// The options of a running modem. They refer to this object.
    void setup(CLI::App& app);

    /// Those that say where a modem is.
    void setupPlaces(CLI::App& app);

    /// Fills in what was not given and reads the files.
    ///
    /// @throws ModemError for a file or a text that is wrong
    void complete();

    /// Where the control channel is. @throws ModemError when nothing says it
    std::string control() const;

private:
    std::string socket() const;
    void checkDistinct() const;
};

}  // namespace velo::modem
