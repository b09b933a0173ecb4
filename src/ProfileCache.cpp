// SPDX-License-Identifier: Apache-2.0

#include "ProfileCache.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <new>
#include <utility>

#include "LogWrapper.h"
#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"
#include "OutOfMemory.h"

namespace velo {
namespace {

/// What an image shows of itself, or of its absence.
std::string textOf(const std::shared_ptr<ModemProfile>& profile) {
    return profile ? dumpOf(*profile) : "null";
}

bool isImageOf(const std::shared_ptr<ModemProfile>& profile, TechType tech, int profileId) {
    return profile && profile->getTechType() == tech && profile->getProfileId() == profileId;
}

std::shared_ptr<ModemProfile> makeProfile(AddProfileParams& params) {
    switch (params.getTechType()) {
        case TechType::TECH_3GPP2:
            return std::make_shared<Modem3gpp2Profile>(params);
        case TechType::TECH_3GPP: {
            auto profile = std::make_shared<Modem3gppProfile>(params);
            profile->setProfileName(params.getIsIAProfile() ? Modem3gppProfile::kVeloIAProfileName
                                                            : Modem3gppProfile::kVeloProfileName);
            return profile;
        }
    }
    return nullptr;
}

}  // namespace

ProfileCache::ProfileCache(EventManager& eventManager, int modemInstance, PostRequest postRequest)
    : mEventManager(eventManager),
      mPostRequest(std::make_shared<const PostRequest>(std::move(postRequest))),
      mWdsProxy(mEventManager, modemInstance) {
    mWdsProxy.registerProfileChangedInd([this](ProfileChangedInd ind) { onIndication(ind); });
}

unsigned long long ProfileCache::generateToken() {
    // Two caches live at the same time while a manager replaces another.
    static std::atomic<unsigned long long> next = 0;
    const unsigned long long token = next.fetch_add(1);
    if (token == std::numeric_limits<unsigned long long>::max()) std::abort();
    return token;
}

std::shared_ptr<ProfileKey> ProfileCache::add(AddProfileParams& params) {
    const unsigned long long token = generateToken();
    const std::shared_ptr<ModemProfile> profile = makeProfile(params);
    if (!profile) {
        logLine(LogLevel::Error, "ProfileCache: failed to create profile");
        return nullptr;
    }
    profile->setIsPersistent(params.getIsPersistent());
    profile->setIsVeloCreated(true);
    const TechType tech = params.getTechType();
    Pending made{{tech, 0, ProfileChangedEvent::Create}, {tech, 0, ProfileChangedEvent::Modify}};
    Pending undone{{tech, 0, ProfileChangedEvent::Delete}};
    if (!mWdsProxy.add(*profile)) return nullptr;

    const int profileId = profile->getProfileId();
    profile->incRefCount();
    try {
        insert(token, profile);
        auto key = std::make_shared<ProfileKey>(tech, profileId, token, mPostRequest);
        addPending(made, profileId);
        logLine(LogLevel::Event, "Added: %s", dumpOf(*profile).c_str());
        return key;
    } catch (const std::bad_alloc&) {
        // A profile that nobody holds a key of would stay for ever. One that cannot be removed
        // comes back with its echo, as a foreign one.
        if (mWdsProxy.remove(tech, profileId)) {
            addPending(made, profileId);
            addPending(undone, profileId);
        }
        const auto entry = mProfiles.find(token);
        if (entry != mProfiles.end()) eraseEntry(entry);
        throw;
    }
}

bool ProfileCache::modify(ModifyProfileParams& params, std::shared_ptr<ProfileKey> key) {
    if (!key) return false;
    const auto entry = find(key->getToken(), LogLevel::Event);
    if (entry == mProfiles.end()) return false;
    ModemProfile* const profile = entry->second.get();
    if (profile == nullptr) return true;

    const std::shared_ptr<ModemProfile> diff = profile->diff(params);
    if (!diff) {
        logLine(LogLevel::Event, "ProfileCache: profile is unchanged");
        return true;
    }
    const TechType tech = profile->getTechType();
    const int profileId = profile->getProfileId();
    Pending changed{{tech, profileId, ProfileChangedEvent::Modify}};
    if (!mWdsProxy.modify(*diff, tech, profileId)) {
        logLine(LogLevel::Error, "ProfileCache: failed to modify modem profile");
        return true;
    }
    logLine(LogLevel::Event, "Diff: %s", dumpOf(*diff).c_str());
    {
        const std::lock_guard lock(mMutex);
        profile->apply(diff);
    }
    addPending(changed, profileId);
    return true;
}

bool ProfileCache::remove(std::shared_ptr<ProfileKey> key) {
    if (!key) return false;
    const auto entry = find(key->getToken());
    if (entry == mProfiles.end()) return false;
    const ModemProfile* const profile = entry->second.get();
    const TechType tech = profile ? profile->getTechType() : key->getTechType();
    const int profileId = profile ? profile->getProfileId() : key->getProfileId();
    Pending deleted{{tech, profileId, ProfileChangedEvent::Delete}};
    if (!mWdsProxy.remove(key->getTechType(), key->getProfileId())) {
        logLine(LogLevel::Error, "ProfileCache: Failed to remove profile");
        return false;
    }
    eraseEntry(entry);
    addPending(deleted, profileId);
    return true;
}

std::optional<ProfileParams> ProfileCache::get(std::shared_ptr<ProfileKey> key) {
    if (!key) return std::nullopt;
    const auto entry = find(key->getToken());
    if (entry == mProfiles.end() || !entry->second) return std::nullopt;
    return entry->second->get();
}

std::list<std::shared_ptr<IProfileKey>> ProfileCache::filter(FilterProfileParams& params) {
    std::list<std::shared_ptr<IProfileKey>> keys;
    for (const auto& [token, profile] : mProfiles) {
        if (!profile) {
            logLine(LogLevel::Error, "ProfileCache: null profile");
            continue;
        }
        if (!profile->match(params)) continue;
        // From its making on, a key that goes gives one count back.
        auto& key = keys.emplace_back();
        key = std::make_shared<ProfileKey>(profile->getTechType(), profile->getProfileId(), token,
                                           mPostRequest);
        profile->incRefCount();
    }
    return keys;
}

bool ProfileCache::match(FilterProfileParams& params, std::shared_ptr<ProfileKey> key) {
    if (!key) return false;
    const auto entry = find(key->getToken());
    if (entry == mProfiles.end() || !entry->second) return false;
    return entry->second->match(params);
}

bool ProfileCache::registerExpirationListener(std::function<void()> listener,
                                              std::weak_ptr<IProfileKey> key,
                                              unsigned long long token) {
    logLine(LogLevel::Verbose, "ProfileCache: registerExpirationListener %d",
            static_cast<int>(token));
    const auto entry = find(token);
    if (entry != mProfiles.end() && entry->second) {
        entry->second->registerExpirationListener(std::move(listener), std::move(key));
    }
    return false;
}

bool ProfileCache::releaseProfile(unsigned long long token) {
    logLine(LogLevel::Event, "ProfileCache: releaseProfile token=%d", static_cast<int>(token));
    const auto entry = find(token);
    if (entry == mProfiles.end() || !entry->second) return false;

    ModemProfile& profile = *entry->second;
    profile.clearExpiredListeners();
    if (profile.getRefCount() >= 2) {
        profile.decRefCount();
        return true;
    }
    if (profile.getIsPersistent() || !profile.getIsVeloCreated()) {
        // The count stays: such an image is kept whatever its keys do.
        logLine(LogLevel::Event, "ProfileCache: ignoring non-persistent or non-velo created");
        return true;
    }
    return releaseLast(entry);
}

bool ProfileCache::releaseLast(ProfileMap::iterator entry) {
    ModemProfile& profile = *entry->second;
    const TechType tech = profile.getTechType();
    const int profileId = profile.getProfileId();
    // A release comes but once and must not want for memory: without the entry its echo is taken
    // for a foreign one, and erases nothing but a profile that got the same index meanwhile.
    Pending deleted = orNothing([&] {
        return Pending{{tech, profileId, ProfileChangedEvent::Delete}};
    });
    if (!mWdsProxy.remove(tech, profileId)) {
        logLine(LogLevel::Error, "ProfileCache: failed to release profile");
        return false;
    }
    profile.decRefCount();
    logLine(LogLevel::Event, "Released profile %d", profileId);
    addPending(deleted, profileId);
    eraseEntry(entry);
    return true;
}

bool ProfileCache::refresh() {
    eraseAll();
    for (auto& profile : mWdsProxy.getAllProfiles()) {
        // Memory that is wanting for one does not cost the others.
        orNothing([&] { insert(generateToken(), std::move(profile)); });
    }
    logLine(LogLevel::Event, "Refreshed Profiles:");
    for (const auto& [token, profile] : mProfiles) {
        logLine(LogLevel::Event, "%s", textOf(profile).c_str());
    }
    return true;
}

void ProfileCache::onIndication(ProfileChangedInd ind) {
    logLine(LogLevel::Event, "ProfileCache: onIndication < %s", dumpOf(ind).c_str());
    if (confirmPending(ind)) {
        logLine(LogLevel::Event, "ProfileCache: pending transaction confirmed");
        return;
    }
    logLine(LogLevel::Event, "ProfileCache: updating cache due to indication!");
    switch (ind.event) {
        case ProfileChangedEvent::Create: {
            const unsigned long long token = generateToken();
            insert(token, mWdsProxy.get(ind.techType, ind.profileId));
            return;
        }
        case ProfileChangedEvent::Delete:
            eraseImages(ind.techType, ind.profileId);
            return;
        case ProfileChangedEvent::Modify:
            rereadImages(ind.techType, ind.profileId);
            return;
        case ProfileChangedEvent::SubscriptionChange:
        case ProfileChangedEvent::ProfileReady:
            refresh();
            return;
    }
    logLine(LogLevel::Error, "Invalid ProfileChangedEvent");
}

std::vector<std::string> ProfileCache::dump() {
    const std::lock_guard lock(mMutex);
    std::vector<std::string> lines{"Cache:"};
    for (const auto& [token, profile] : mProfiles) {
        lines.push_back("  " + std::to_string(token) + ": " + (profile ? profile->dump() : "null"));
    }
    lines.emplace_back("Pending:");
    for (const ProfileChangedInd& pending : mPendingTransactions) {
        lines.push_back("  " + pending.dump());
    }
    return lines;
}

ProfileCache::ProfileMap::iterator ProfileCache::find(unsigned long long token, LogLevel level) {
    const auto entry = mProfiles.find(token);
    if (entry == mProfiles.end()) {
        logLine(level, "ProfileCache: token is not present or expired");
    }
    return entry;
}

void ProfileCache::insert(unsigned long long token, std::shared_ptr<ModemProfile> profile) {
    const std::lock_guard lock(mMutex);
    mProfiles.emplace(token, std::move(profile));
}

// In each of the following the images are declared before the lock, so that they end after its
// release. None of them needs memory.

ProfileCache::ProfileMap::iterator ProfileCache::eraseEntry(ProfileMap::iterator entry) {
    std::shared_ptr<ModemProfile> image;
    const std::lock_guard lock(mMutex);
    image.swap(entry->second);
    return mProfiles.erase(entry);
}

void ProfileCache::eraseImages(TechType tech, int profileId) {
    for (auto entry = mProfiles.begin(); entry != mProfiles.end();) {
        entry = isImageOf(entry->second, tech, profileId) ? eraseEntry(entry) : std::next(entry);
    }
}

void ProfileCache::eraseAll() {
    ProfileMap images;
    const std::lock_guard lock(mMutex);
    images.swap(mProfiles);
}

void ProfileCache::rereadImages(TechType tech, int profileId) {
    for (auto& [token, profile] : mProfiles) {
        if (!isImageOf(profile, tech, profileId)) continue;
        std::shared_ptr<ModemProfile> image = mWdsProxy.get(tech, profileId);
        const std::lock_guard lock(mMutex);
        profile.swap(image);
    }
}

void ProfileCache::addPending(Pending& echoes, int profileId) {
    for (ProfileChangedInd& echo : echoes) echo.profileId = profileId;
    const std::lock_guard lock(mMutex);
    mPendingTransactions.splice(mPendingTransactions.end(), echoes);
}

bool ProfileCache::confirmPending(const ProfileChangedInd& ind) {
    const std::lock_guard lock(mMutex);
    const auto echo = std::find(mPendingTransactions.begin(), mPendingTransactions.end(), ind);
    if (echo == mPendingTransactions.end()) return false;
    mPendingTransactions.erase(echo);
    return true;
}

}  // namespace velo
