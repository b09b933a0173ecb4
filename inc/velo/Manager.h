// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "velo/AddProfileParams.h"
#include "velo/Export.h"
#include "velo/FilterProfileParams.h"
#include "velo/IProfileKey.h"
#include "velo/ModifyProfileParams.h"
#include "velo/ProfileParams.h"

namespace velo {

class ClientRequest;
class ClientRequestManager;
class ClientResponse;

/// The library's entry point: one instance in a process, which keeps an image of each profile in
/// the modem and follows the modem's changes.
///
/// Calls may come from any thread, one at a time: callers serialise them. Dropping the last copy of
/// a key and registering a listener are calls, too. A call blocks until the worker thread has
/// carried it out, which takes up to a second for each exchange with a modem that does not answer.
/// No call may be in progress, or begin, while the process exits.
///
/// Nothing is reported by exception, but a thread or memory that init() cannot have. Operations
/// fail with an empty key, false, an empty list or an empty optional, and log lines that say why;
/// all but dump() fail before the first init(), and all but dump() and refresh() while a refresh of
/// the configuration is in progress. One that fails because memory ran out may have changed the
/// modem all the same, as after a time-out.
class VELO_EXPORT Manager {
public:
    /// The one instance; made at the first call, destroyed when the process exits. Any thread.
    static Manager& getInstance();

    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    /// Connects to the modem and starts the worker. Returns before the modem has answered: the
    /// cache fills by itself when the modem reports its profiles ready. Nothing tells the caller,
    /// so ask until filter() with an empty filter returns something. A profile added earlier is
    /// stored, but its key is stale as soon as the cache fills.
    ///
    /// May be called again: a new cache replaces the old one, and every earlier key is stale. Must
    /// not overlap any other operation, dump() included.
    /// @param instance the modem's subscription, 0 for the first SIM
    /// @param useAdb true to log to the Android log, false to log to the diagnostic service
    /// @throws std::system_error when the worker thread cannot be started, std::bad_alloc when
    /// memory runs out: the library then works as before, but logs where this call asked
    void init(int instance, bool useAdb);

    /// Creates a profile in the modem, which chooses its index. Nothing keeps two profiles from
    /// having the same settings.
    /// @return the key; empty when the modem refused or did not answer in time. In the second case
    ///   the profile may exist all the same: then filter() finds it, and dropping keys does not
    ///   delete it.
    std::shared_ptr<IProfileKey> addProfile(const AddProfileParams& params);

    /// Changes the settings that `params` holds and that differ from the cached ones.
    /// @return false when the key is empty, stale or not the library's; true in every other case,
    ///   also when the modem refused the change or did not answer in time: read back with
    ///   getProfile() what was accepted.
    bool modifyProfile(const ModifyProfileParams& params, std::shared_ptr<IProfileKey> key);

    /// Deletes the profile from the modem, whoever made it and however many keys exist for it; all
    /// of them are stale then.
    /// @return false when the key is empty or stale, or the modem refused or did not answer in
    ///   time; in the last case the profile may be gone all the same.
    bool deleteProfile(std::shared_ptr<IProfileKey> key);

    /// A new key for each cached profile that matches, in no particular order. Each is a claim of
    /// its own, and each that is dropped is a call. Reads the cache alone.
    std::list<std::shared_ptr<IProfileKey>> filter(const FilterProfileParams& params);

    /// The profile's settings as cached, and for a 3GPP profile the two flags that tell who made
    /// it; empty when the key is empty or stale. Reads the cache alone.
    std::optional<ProfileParams> getProfile(std::shared_ptr<IProfileKey> key);

    /// Whether the key's profile matches; false when the key is empty or stale. Reads the cache
    /// alone.
    bool match(const FilterProfileParams& params, std::shared_ptr<IProfileKey> key);

    /// Reports a refresh of the modem's configuration. From REFRESH_STARTED on every other
    /// operation fails, the release of a key included, until REFRESH_COMPLETED, which reads the
    /// modem's profiles anew before it returns and makes every earlier key stale.
    void refresh(PDCRefreshStatus status);

    /// The cache and the changes awaiting their echo, an empty line, "Logs:" and up to 201 log
    /// lines of levels Error and Event, oldest first. Passwords are shown in clear. No call in the
    /// sense above: may run on any thread at the same time as calls, but for init(), and does not
    /// wait for an exchange with the modem.
    std::vector<std::string> dump();

private:
    Manager();
    ~Manager();

    template <typename Response, typename Request>
    std::shared_ptr<Response> submit(const char* operation, const char* failure,
                                     const std::shared_ptr<Request>& request);

    std::unique_ptr<ClientRequestManager> mClientRequestManager;
};

}  // namespace velo
