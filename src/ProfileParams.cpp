// SPDX-License-Identifier: Apache-2.0

#include "velo/ProfileParams.h"

#include "EnumText.h"

namespace velo {

namespace {

template <typename T>
const T& shown(const T& value) {
    return value;
}

const char* shown(bool value) {
    return value ? "true" : "false";
}

}  // namespace

ProfileParams::~ProfileParams() = default;

const std::string& ProfileParams::textOf(const std::optional<std::string>& setting) {
    // Never destroyed: callers may read records while the process exits.
    static const std::string* const empty = new std::string;
    return setting ? *setting : *empty;
}

std::string ProfileParams::dump() const {
    TextStream out;
    const auto item = [&out](const char* label, const auto& setting) {
        if (setting) {
            out << label << '=' << shown(*setting) << ',';
        }
    };
    std::optional<ApnTypes> apnTypes;
    if (mApnTypesMask) {
        apnTypes = static_cast<ApnTypes>(*mApnTypesMask);
    }

    item("ApnName", mApnName);
    item("UserName", mUserName);
    item("Password", mPassword);
    item("AuthType", mAuthType);
    item("HomeIPType", mHomeIPType);
    item("RoamIPType", mRoamIPType);
    item("ApnTypesMask", apnTypes);
    item("ApnClass", mApnClass);
    item("IsClatEnabled", mIsClatEnabled);
    item("MaxPdnsConnPerBlock", mMaxPdnsConnPerBlock);
    item("MaxPdnConnTimer", mMaxPdnConnTimer);
    item("PdnReqWaitInterval", mPdnReqWaitInterval);
    item("IsApnDisabled", mIsApnDisabled);
    item("IsEmergencySupported", mIsEmergencySupported);
    item("IsVeloProfile", mIsVeloProfile);
    item("IsIAProfile", mIsIAProfile);
    return out.str();
}

}  // namespace velo
