// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "velo/ProfileTypes.h"

namespace velo {
class IProfileKey;
class Manager;
}  // namespace velo

namespace velo::modem {
class Modem;
}

namespace velo::tool {

struct GlobalOptions;
class Interruption;
class Output;
struct ProfileView;

/// The modem that commands work on and the library connected to it. Both are started when they are
/// first asked for, and live on until the end; a process has one library, so that one session at a
/// time has it. Used by one thread.
class Session {
public:
    Session(const GlobalOptions& options, Output& output, const Interruption& interruption);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// The socket of the modem. @throws CommandError when there is none
    const std::string& modemPath();

    /// The embedded modem; null when another one was named.
    modem::Modem* embedded();

    /// The library, its cache filled.
    Manager& manager();

    /// Connects the library to the modem anew and waits until its cache is filled; keys are stale
    /// after.
    /// @throws CommandError when that takes too long
    void connect();

    /// Leaves the library to another session; whoever asks for it next has it connected anew, and
    /// keys are stale then. The modem stays.
    void leave() {
        mConnected = false;
        ++mConnections;
    }

    /// What the modem holds, asked of it directly.
    std::vector<ProfileView> modemProfiles();

    /// The cached profile that a text names: "3", "3gpp:3" or "3gpp2:0". @throws CommandError
    std::shared_ptr<IProfileKey> profile(const std::string& text);

    /// Whether the library's history holds `text` after the last line that holds `since`.
    bool loggedSince(const std::string& since, const std::string& text);

private:
    bool cacheFilled();
    void warnOfRefusals();
    /// @throws CommandError when the modem is sure not to have the subscription
    void requireSubscription();
    /// Whether the first connection logged this.
    bool loggedFromStart(const std::string& text);

    const GlobalOptions& mOptions;
    Output& mOutput;
    const Interruption& mInterruption;
    std::unique_ptr<modem::Modem> mEmbedded;
    std::string mPath;
    bool mConnected = false;
    /// This session's, and those of the session that it was left to, as one.
    unsigned int mConnections = 0;
};

/// The technology and the id that a text names. @throws CommandError
std::pair<TechType, int> parseProfileId(const std::string& text);

}  // namespace velo::tool
