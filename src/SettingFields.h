// SPDX-License-Identifier: Apache-2.0
//
// The settings of the parameter records as values, so that a setting is copied, compared and
// collected by naming it once, and what profile images do with their optional settings. Stateless;
// for any thread.

#pragma once

#include <optional>
#include <utility>

#include "EnumText.h"
#include "velo/ProfileParams.h"

namespace velo {

/// One optional setting of a parameter record: how it is asked for, read and written.
template <typename Value, typename Result>
struct SettingField {
    bool (ProfileParams::*has)() const;
    Result (ProfileParams::*get)() const;
    void (ProfileParams::*set)(Value);

    bool isIn(const ProfileParams& params) const { return (params.*has)(); }

    std::optional<Value> read(const ProfileParams& params) const {
        if (!isIn(params)) return std::nullopt;
        return (params.*get)();
    }

    void write(ProfileParams& params, const std::optional<Value>& value) const {
        if (value) (params.*set)(*value);
    }

    void copy(const ProfileParams& from, ProfileParams& to) const {
        if (isIn(from)) (to.*set)((from.*get)());
    }

    bool differs(const ProfileParams& requested, const std::optional<Value>& own) const {
        return isIn(requested) && own != (requested.*get)();
    }

    /// Copies what is requested and differs from `own`; sets `changed` then.
    void collect(const ProfileParams& requested, const std::optional<Value>& own,
                 ProfileParams& changes, bool& changed) const {
        if (!differs(requested, own)) return;
        copy(requested, changes);
        changed = true;
    }
};

template <typename Value, typename Result>
SettingField(bool (ProfileParams::*)() const, Result (ProfileParams::*)() const,
             void (ProfileParams::*)(Value)) -> SettingField<Value, Result>;

namespace setting {

inline constexpr SettingField kApnName{&ProfileParams::hasApnName, &ProfileParams::getApnName,
                                       &ProfileParams::setApnName};
inline constexpr SettingField kUserName{&ProfileParams::hasUserName, &ProfileParams::getUserName,
                                        &ProfileParams::setUserName};
inline constexpr SettingField kPassword{&ProfileParams::hasPassword, &ProfileParams::getPassword,
                                        &ProfileParams::setPassword};
inline constexpr SettingField kAuthType{&ProfileParams::hasAuthType, &ProfileParams::getAuthType,
                                        &ProfileParams::setAuthType};
inline constexpr SettingField kHomeIPType{
    &ProfileParams::hasHomeIPType, &ProfileParams::getHomeIPType, &ProfileParams::setHomeIPType};
inline constexpr SettingField kRoamIPType{
    &ProfileParams::hasRoamIPType, &ProfileParams::getRoamIPType, &ProfileParams::setRoamIPType};
inline constexpr SettingField kApnTypesMask{&ProfileParams::hasApnTypesMask,
                                            &ProfileParams::getApnTypesMask,
                                            &ProfileParams::setApnTypesMask};
inline constexpr SettingField kApnClass{&ProfileParams::hasApnClass, &ProfileParams::getApnClass,
                                        &ProfileParams::setApnClass};
inline constexpr SettingField kIsClatEnabled{&ProfileParams::hasIsClatEnabled,
                                             &ProfileParams::getIsClatEnabled,
                                             &ProfileParams::setIsClatEnabled};
inline constexpr SettingField kIsEmergencySupported{&ProfileParams::hasIsEmergencySupported,
                                                    &ProfileParams::getIsEmergencySupported,
                                                    &ProfileParams::setIsEmergencySupported};
inline constexpr SettingField kIsApnDisabled{&ProfileParams::hasIsApnDisabled,
                                             &ProfileParams::getIsApnDisabled,
                                             &ProfileParams::setIsApnDisabled};
inline constexpr SettingField kMaxPdnsConnPerBlock{&ProfileParams::hasMaxPdnsConnPerBlock,
                                                   &ProfileParams::getMaxPdnsConnPerBlock,
                                                   &ProfileParams::setMaxPdnsConnPerBlock};
inline constexpr SettingField kMaxPdnConnTimer{&ProfileParams::hasMaxPdnConnTimer,
                                               &ProfileParams::getMaxPdnConnTimer,
                                               &ProfileParams::setMaxPdnConnTimer};
inline constexpr SettingField kPdnReqWaitInterval{&ProfileParams::hasPdnReqWaitInterval,
                                                  &ProfileParams::getPdnReqWaitInterval,
                                                  &ProfileParams::setPdnReqWaitInterval};

}  // namespace setting

/// Takes over what a change holds, moving it, and keeps the own value otherwise.
template <typename T>
void merge(std::optional<T>& own, std::optional<T>& change) {
    if (change) own = std::move(change);
}

/// Puts a requested value into a delta when it is present and not the own one; whether it did.
template <typename T>
bool mergeDifference(std::optional<T>& delta, const std::optional<T>& own,
                     const std::optional<T>& requested) {
    if (!requested || own == requested) return false;
    delta = requested;
    return true;
}

/// Label, value and "," when the value is present.
template <typename T>
void dumpItem(TextStream& out, const char* label, const std::optional<T>& value) {
    if (value) out << label << *value << ',';
}

}  // namespace velo
