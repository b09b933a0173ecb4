// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "velo/Export.h"
#include "velo/ProfileTypes.h"

namespace velo {

/// The key of one cached profile, and the caller's claim on it. Keys come from Manager and are
/// shared by reference counting. Dropping the last copy is the release: a call to the library that
/// blocks until the worker has answered. When the last key of a profile that the library made, and
/// that is not persistent, is released, the profile is deleted from the modem.
///
/// A rebuild of the cache (the modem restarted, its subscription or configuration changed,
/// Manager::init ran again) makes every key stale: operations on it fail, its release does nothing.
class VELO_EXPORT IProfileKey : public std::enable_shared_from_this<IProfileKey> {
public:
    IProfileKey() = default;
    IProfileKey(const IProfileKey&) = delete;
    IProfileKey& operator=(const IProfileKey&) = delete;
    virtual ~IProfileKey();

    /// The modem's index of the profile, 0 to 255; unique within a technology.
    virtual int getProfileId() = 0;
    virtual TechType getTechType() = 0;

    /// Has `listener` called once when the profile's cached image goes, while this key still lives:
    /// the profile was deleted, changed by somebody else, or the cache was rebuilt. A call to the
    /// library. The listener runs on the library's worker thread, or on the thread that destroys
    /// the manager. It must not be empty, throw, call the library, own a key, or take a lock that
    /// is held around a call.
    virtual void registerExpirationListener(std::function<void()> listener) = 0;

    /// Technology, ":", profile id, " token=" and the cache's token; for example "3GPP:5 token=12".
    virtual std::string dump() = 0;
};

}  // namespace velo
