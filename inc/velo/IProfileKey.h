// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "velo/Export.h"
#include "velo/ProfileTypes.h"

namespace velo {

/// The key of one cached profile, and the caller's claim on it. Keys come from Manager and Util and
/// are shared by reference counting; any thread may hold one.
///
/// Dropping the last copy is the release: a call to the library, under the rules of Manager, that
/// blocks until the worker has answered. When the last key of a profile is released that this
/// library made in this process and that is not persistent, the profile is deleted from the modem.
/// Once the manager is gone, dropping a key does nothing.
///
/// A key is stale when its profile was deleted, or when the cache was rebuilt: the modem restarted,
/// its subscription or configuration changed, Manager::init ran again. Operations on a stale key
/// fail, its release does nothing, and a new key is had from Manager::filter.
class VELO_EXPORT IProfileKey : public std::enable_shared_from_this<IProfileKey> {
public:
    /// Keys are made by the library alone; one made by a program is refused everywhere.
    IProfileKey() = default;
    IProfileKey(const IProfileKey&) = delete;
    IProfileKey& operator=(const IProfileKey&) = delete;
    virtual ~IProfileKey();

    /// The modem's index of the profile, 0 to 255; unique within a technology. The number from when
    /// the key was made, also when the key is stale: then another profile may have it. Any thread.
    virtual int getProfileId() = 0;

    /// The technology of the profile. Any thread.
    virtual TechType getTechType() = 0;

    /// Has `listener` called once when the profile's cached image goes while this key still lives:
    /// the profile was deleted, changed by somebody else, or the cache was rebuilt. A call to the
    /// library; nothing tells when it fails, as it does on a stale key and while a refresh of the
    /// configuration is in progress.
    ///
    /// The listener runs on the library's worker thread, or on the thread that destroys the manager
    /// (in Manager::init, or at process exit). It must not be empty, throw, call the library, own a
    /// key, or take a lock that is held around a call.
    virtual void registerExpirationListener(std::function<void()> listener) = 0;

    /// Technology, ":", profile id, " token=" and the cache's number of the image; for example
    /// "3GPP:5 token=12". Any thread.
    virtual std::string dump() = 0;
};

}  // namespace velo
