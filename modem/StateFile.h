// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/mox/Descriptor.h"
#include "modem/StoredProfile.h"

namespace velo::modem {

/// Where the persistent profiles of a modem outlive it: a JSON file that at every instant, kill and
/// power loss included, holds the stores as they were last saved. Belongs to one live modem:
/// FILE.lock beside it is locked while the object lives, and stays, so that no two modems lock
/// different ones. Owned by the modem and touched on its thread only.
class StateFile {
public:
    /// The profiles of each subscription.
    using Stores = std::vector<std::vector<StoredProfile>>;

    /// @throws ModemError when another modem has the file, or its folder cannot be used
    explicit StateFile(const std::string& path);
    ~StateFile();
    StateFile(const StateFile&) = delete;
    StateFile& operator=(const StateFile&) = delete;

    /// What the stores hold when the modem starts: what the file says, or `factory` at the first
    /// start, when the file is made. `capacity` is that of each technology of a subscription.
    ///
    /// @throws ModemError for a file that says no stores that this modem could have saved, which is
    /// not touched; and when the first one cannot be written
    Stores boot(const Stores& factory, std::size_t capacity) const;

    /// Replaces what the file says by the persistent ones of these profiles; they are on the disk
    /// when it returns. Else the errno of what failed: the file is as it was, unless it was the
    /// very last step, the flush of its folder, that failed.
    int save(const Stores& stores) const;

private:
    [[noreturn]] void refuse(const std::string& what) const;
    void lock();
    bool exists() const;

    std::string mPath;
    std::string mName;  ///< within mFolder
    mox::Descriptor mFolder;
    mox::Descriptor mLock;
};

}  // namespace velo::modem
