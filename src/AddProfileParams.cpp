// SPDX-License-Identifier: Apache-2.0

#include "velo/AddProfileParams.h"

#include "EnumText.h"

namespace velo {

AddProfileParams::AddProfileParams(bool isPersistent, TechType techType, bool isIAProfile)
    : AddProfileParams(ProfileParams(), isPersistent, techType, isIAProfile) {}

AddProfileParams::AddProfileParams(const ProfileParams& params, bool isPersistent,
                                   TechType techType, bool isIAProfile)
    : ProfileParams(params), mIsPersistent(isPersistent), mTechType(techType) {
    mIsIAProfile = isIAProfile;
}

AddProfileParams::~AddProfileParams() = default;

std::string AddProfileParams::dump() const {
    TextStream out;
    out << mTechType << " persist=" << (mIsPersistent ? "true" : "false") << ": "
        << ProfileParams::dump();
    return out.str();
}

}  // namespace velo
