// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "velo/IProfileKey.h"

namespace velo::tool {

/// The keys that a run of commands holds, by name. Dropping a key is a call to the library, and so
/// is the end of the ring. Used by one thread.
class KeyRing {
public:
    /// Keeps a key under `name`, or under the next free "k1", "k2", ... when that is empty; a key
    /// that was kept under the name before is dropped.
    std::string keep(std::shared_ptr<IProfileKey> key, const std::string& name = "");

    /// Empty when there is no key of that name.
    std::shared_ptr<IProfileKey> find(const std::string& name) const;

    bool drop(const std::string& name);
    void clear() { mKeys.clear(); }
    std::vector<std::string> names() const;

private:
    std::map<std::string, std::shared_ptr<IProfileKey>> mKeys;
    unsigned int mLast = 0;
};

}  // namespace velo::tool
