// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "modem/StoredProfile.h"
#include "velo/ProfileTypes.h"

namespace velo::soak {

/// Where the modem keeps a profile.
using Place = std::pair<TechType, int>;

std::string textOf(const Place& place);

/// The profile as the library shows it when it has read it without a fault.
std::string imageOf(const modem::StoredProfile& profile);
std::string apnOf(const modem::StoredProfile& profile);
Place placeOf(const modem::StoredProfile& profile);

/// What the modem acknowledged, and so must not lose or bring back: persistent profiles with
/// names that are never used twice, and user names that tell their versions. A change that was not
/// acknowledged may have happened or not.
///
/// Any thread. Whoever makes a change that may delete a profile, or a persistent one, holds the
/// journal around the change and its entry, so that a place is not taken by another in between.
class Journal {
public:
    std::unique_lock<std::recursive_mutex> hold() { return std::unique_lock(mMutex); }

    /// A number that was never given before.
    std::string fresh();

    void added(const Place& place, const std::string& apn, const std::string& user);
    void mayChange(const Place& place, const std::string& user);
    void changed(const Place& place, const std::string& user);
    /// Somebody wrote into it what he meant for another: it is there, under whatever name.
    void overwritten(const Place& place);
    void mayBeGone(const Place& place);
    void deleted(const Place& place);

    /// What the modem lost, brought back or mixed up.
    std::vector<std::string> violations(const std::vector<modem::StoredProfile>& store);

    /// Takes for acknowledged what the modem has, where that is open.
    void adopt(const std::vector<modem::StoredProfile>& store);

private:
    struct Entry {
        std::string apn;
        std::set<std::string> users;
        bool overwritten = false;
    };

    std::recursive_mutex mMutex;
    unsigned int mLast = 0;
    std::map<Place, Entry> mEntries;
    std::set<std::string> mGone;
    std::vector<std::string> mViolations;
};

}  // namespace velo::soak
