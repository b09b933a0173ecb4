// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "modem/StoredProfile.h"

namespace velo::soak {

/// Sends orders to the modem's control channel, each over a connection of its own because the modem
/// may be another one by then. Without state beside the path: any thread.
class Controller {
public:
    explicit Controller(std::string path) : mPath(std::move(path)) {}

    /// The answer; empty when none came, and then the order may have been carried out or not.
    std::optional<nlohmann::json> order(const nlohmann::json& order) const;

    /// What the modem stores for the subscription that the library uses.
    std::optional<std::vector<modem::StoredProfile>> list() const;

private:
    std::string mPath;
};

}  // namespace velo::soak
