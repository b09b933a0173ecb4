// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

namespace velo {
class IProfileKey;
}

namespace velo::tool {

struct GlobalOptions;
class Interruption;
class KeyRing;
class Output;
class Session;

/// What a command works with. All of it outlives the command: a program that runs many commands in
/// a row gives each the same session and keys.
struct Context {
    GlobalOptions& options;
    Output& output;
    Session& session;
    KeyRing& keys;
    Interruption& interruption;
    bool interactive;  ///< whether keys live on after the command

    /// The key of that name, or a new one for the profile that the text names.
    /// @throws CommandError when there is neither
    std::shared_ptr<IProfileKey> key(const std::string& text) const;
};

}  // namespace velo::tool
