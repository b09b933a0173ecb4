// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "velo/ProfileParams.h"

namespace velo::tool {

/// One access point of a carrier list. A value type.
struct ApnRecord {
    std::string carrier;
    TechType tech = TechType::TECH_3GPP;
    ProfileParams params;
};

/// The access points of one network, as its SIM wants them, in the order of the list.
struct ApnNetwork {
    std::string id;  ///< country and network code, or "none" for records without
    std::vector<ApnRecord> records;

    /// The names of its carriers, each once.
    std::vector<std::string> carriers() const;
};

}  // namespace velo::tool
