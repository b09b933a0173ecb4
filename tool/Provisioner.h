// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "modem/StoredProfile.h"
#include "tool/ApnRecord.h"
#include "tool/ExpectedStore.h"
#include "tool/ProfileView.h"

namespace velo {
class IProfileKey;
class Util;
}  // namespace velo

namespace velo::tool {

struct GlobalOptions;
class Interruption;
class Session;

/// One request of a bring-up and the profile that served it.
struct ProvisionStep {
    std::string request;  ///< "attach", "data call internet", "emergency"
    std::string outcome;  ///< "created", "found", "failed" or "skipped"
    std::optional<ExpectedStore::Place> place;
};

/// What a bring-up did, and what was wrong with it.
struct ProvisionResult {
    std::string network;
    bool updateAllowed = false;
    bool again = false;  ///< on a modem that has been through it before
    std::vector<ProvisionStep> steps;
    std::vector<ProfileView> profiles;  ///< the modem's, while the keys were held
    std::size_t created = 0;
    std::size_t reused = 0;
    std::size_t leftOver = 0;
    std::uint64_t calls = 0;
    std::uint64_t exchanges = 0;  ///< with the embedded modem
    std::vector<std::string> differences;
};

/// Brings up one SIM after the other the way a data framework does, and holds what the modem's
/// store then has against what it must have. Used by one thread.
class Provisioner {
public:
    Provisioner(Session& session, const GlobalOptions& options, const Interruption& interruption);

    /// @param again whether the embedded modem is only restarted, its store kept, rather than made
    /// as new.
    ///        A modem that is not embedded is taken as it is.
    /// @throws Interruption::Raised between two requests; what they came to is released
    ProvisionResult bringUp(const ApnNetwork& network, bool updateAllowed, bool again);

private:
    struct Run;

    std::vector<modem::StoredProfile> store();
    void attach(Run& run, const ApnNetwork& network);
    void dataCalls(Run& run, const ApnNetwork& network);
    void emergency(Run& run, const ApnNetwork& network);
    /// Takes note of the key that a request came back with and whether it is new; the place that it
    /// names, nothing when there is none.
    std::optional<ExpectedStore::Place> note(Run& run, const std::string& request,
                                             std::shared_ptr<IProfileKey> key);
    void compare(Run& run, const char* when);

    Session& mSession;
    const GlobalOptions& mOptions;
    const Interruption& mInterruption;
};

}  // namespace velo::tool
