// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <list>
#include <string>

#include "velo/ProfileParams.h"

namespace velo::tool {

/// The profiles that a file wants: a JSON list of records with the keys of `velo list --json`, or
/// the access points of one network of a carrier list.
struct WantedRecords {
    std::list<ProfileParams> on3gpp;
    std::list<ProfileParams> on3gpp2;

    std::list<ProfileParams> all() const;

    /// @param sim the network to take from a carrier list; may be empty when the list has only one
    /// @throws CommandError when the file is wrong
    static WantedRecords read(const std::string& path, const std::string& sim);
};

}  // namespace velo::tool
