// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "ClientRequest.h"
#include "EventManager.h"
#include "LogLevel.h"
#include "ModemProfile.h"
#include "MoxWdsProxy.h"
#include "ProfileChangedInd.h"
#include "ProfileKey.h"
#include "velo/AddProfileParams.h"
#include "velo/FilterProfileParams.h"
#include "velo/IProfileKey.h"
#include "velo/ModifyProfileParams.h"
#include "velo/ProfileParams.h"

namespace velo {

/// The mirror of the modem's profiles, each under a token that is never used again. Owned by the
/// request manager; everything runs on its worker thread, but construction, destruction, stop() and
/// dump().
///
/// What the cache changes in the modem comes back as an indication; it is noted as pending, so that
/// the echo is told from a change that somebody else made. A profile that could not be read is a
/// null image.
class ProfileCache {
public:
    /// @param modemInstance the modem's subscription
    /// @param postRequest how the keys reach the worker; must not be empty
    ProfileCache(EventManager& eventManager, int modemInstance, PostRequest postRequest);
    ProfileCache(const ProfileCache&) = delete;
    ProfileCache& operator=(const ProfileCache&) = delete;

    /// From any thread: has the worker come back after one exchange with the modem at most.
    void stop() { mWdsProxy.stop(); }

    /// The key of the created profile; empty when the modem refused or the technology is none.
    std::shared_ptr<ProfileKey> add(AddProfileParams& params);

    /// False for an empty or unknown key only: a change that the modem refused is no failure here.
    bool modify(ModifyProfileParams& params, std::shared_ptr<ProfileKey> key);

    /// Deletes the profile from the modem, whoever made it and however many keys there are.
    bool remove(std::shared_ptr<ProfileKey> key);

    std::optional<ProfileParams> get(std::shared_ptr<ProfileKey> key);

    /// The most keys that a filter can yield.
    std::size_t size() const { return mProfiles.size(); }

    /// How many keys are alive at most: each shares the function, and only the worker makes any.
    std::size_t keys() const { return static_cast<std::size_t>(mPostRequest.use_count()) - 1; }

    /// A new key for each matching profile, counted in its image.
    std::list<std::shared_ptr<IProfileKey>> filter(FilterProfileParams& params);

    bool match(FilterProfileParams& params, std::shared_ptr<ProfileKey> key);

    /// Always false.
    bool registerExpirationListener(std::function<void()> listener, std::weak_ptr<IProfileKey> key,
                                    unsigned long long token);

    /// Gives back one key of a profile; the last one deletes a profile that the library made and
    /// that is not persistent.
    bool releaseProfile(unsigned long long token);

    /// Drops every image, then reads the modem's profiles anew. Always true.
    bool refresh();

    /// Swallows the echo of an own change, or follows a foreign one.
    void onIndication(ProfileChangedInd ind);

    /// From any thread: images and pending changes, one a line.
    std::vector<std::string> dump();

    /// The next token of this process; aborts when there is none left.
    static unsigned long long generateToken();

private:
    using ProfileMap = std::unordered_map<unsigned long long, std::shared_ptr<ModemProfile>>;
    /// Oldest first. What a change of the modem will add is made before the exchange: afterwards
    /// memory may be wanting, and nobody would know the echo.
    using Pending = std::list<ProfileChangedInd>;

    /// The entry of a token; for an unknown one logs at `level` and returns the end.
    ProfileMap::iterator find(unsigned long long token, LogLevel level = LogLevel::Error);
    void insert(unsigned long long token, std::shared_ptr<ModemProfile> profile);
    /// The entry after the erased one.
    ProfileMap::iterator eraseEntry(ProfileMap::iterator entry);
    void eraseImages(TechType tech, int profileId);
    void eraseAll();
    void rereadImages(TechType tech, int profileId);
    void addPending(Pending& echoes, int profileId);
    bool confirmPending(const ProfileChangedInd& ind);
    bool releaseLast(ProfileMap::iterator entry);

    EventManager& mEventManager;
    std::shared_ptr<const PostRequest> mPostRequest;
    MoxWdsProxy mWdsProxy;
    ProfileMap mProfiles;
    Pending mPendingTransactions;
    /// Lets dump() read what the worker changes: held for each change of the map, the list and an
    /// image's settings, never across an exchange, a log line or the end of an image, whose
    /// listeners run then.
    std::mutex mMutex;
};

}  // namespace velo
