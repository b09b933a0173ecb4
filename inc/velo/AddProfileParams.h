// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "velo/ProfileParams.h"

namespace velo {

/// What Manager::addProfile needs: the settings, and how the profile is to live. A value type.
class VELO_EXPORT AddProfileParams : public ProfileParams {
public:
    /// @param isPersistent the modem keeps the profile over restarts, and the library does not
    /// delete it
    ///        when the last key for it is dropped
    /// @param isIAProfile the profile is for initial attach (3GPP only)
    AddProfileParams(bool isPersistent, TechType techType, bool isIAProfile);

    /// Copies every setting of `params`; `isIAProfile` replaces whatever `params` says of it.
    AddProfileParams(const ProfileParams& params, bool isPersistent, TechType techType,
                     bool isIAProfile);
    AddProfileParams(const AddProfileParams&) = default;
    AddProfileParams(AddProfileParams&&) = default;
    AddProfileParams& operator=(const AddProfileParams&) = default;
    AddProfileParams& operator=(AddProfileParams&&) = default;
    ~AddProfileParams() override;

    /// Technology, " persist=", true or false, ": ", then the settings as ProfileParams::dump
    /// writes them.
    std::string dump() const override;

    bool getIsPersistent() const { return mIsPersistent; }
    TechType getTechType() const { return mTechType; }

private:
    bool mIsPersistent;
    TechType mTechType;
};

}  // namespace velo
