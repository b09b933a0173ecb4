// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <list>
#include <string>
#include <vector>

#include "model/CacheModel.h"

namespace velo::model {

/// The rules of the policies, which are callers of the facade: what they ask of it, in which order,
/// and what they say.
class PolicyModel {
public:
    explicit PolicyModel(CacheModel& cache) : mCache(cache) {}

    void setProfileUpdateAllowed(bool allowed);
    KeyPtr dataCall(TechType tech, const ProfileParams& params);
    KeyPtr emergencyCall(const ProfileParams& params);
    KeyPtr attach(const ProfileParams& params);
    bool matchAttach(int id, const ProfileParams& params);
    void updateByClass(const std::list<ProfileParams>& params3gpp,
                       const std::list<ProfileParams>& params3gpp2);
    void updateTypes(const std::list<ProfileParams>& records);

private:
    using Keys = CacheModel::Keys;

    void say(const std::string& text, LogLevel level = LogLevel::Event) {
        mCache.expect(level, text);
    }
    KeyPtr first(const FilterProfileParams& filter);
    void modifyEach(Keys keys, const ModifyProfileParams& update, const std::string& with);
    KeyPtr findExact(const ProfileParams& params);
    KeyPtr findLoose(const ProfileParams& params, ModifyProfileParams& update);
    KeyPtr findInitial(const ProfileParams& params, ModifyProfileParams& update);
    void updateByClass(const ProfileParams& params, TechType tech);
    void updateCombined(unsigned int mask, const std::string& apn);
    void updateByTech(TechType tech, unsigned int v4, unsigned int v6, unsigned int v4v6,
                      const std::string& apn);
    bool updateByIPType(TechType tech, IPType type, unsigned int mask, const std::string& apn);

    CacheModel& mCache;
    bool mIsUpdateAllowed = false;
};

}  // namespace velo::model
