// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "velo/ProfileParams.h"

namespace velo {

/// What Manager::addProfile needs: the settings, and how the profile is to live. A value type.
class VELO_EXPORT AddProfileParams : public ProfileParams {
public:
    /// A profile without settings.
    /// @param isPersistent whether the modem keeps the profile over restarts; dropping the last key
    ///   of such a profile does not delete it
    /// @param techType technology of the profile; with any other value adding fails
    /// @param isIAProfile whether the profile is for initial attach; 3GPP only
    AddProfileParams(bool isPersistent, TechType techType, bool isIAProfile);

    /// Copies every setting of `params`; `isIAProfile` replaces whatever `params` says of it.
    AddProfileParams(const ProfileParams& params, bool isPersistent, TechType techType,
                     bool isIAProfile);
    ///@{
    /// Values and what is present go along.
    AddProfileParams(const AddProfileParams&) = default;
    AddProfileParams(AddProfileParams&&) = default;
    AddProfileParams& operator=(const AddProfileParams&) = default;
    AddProfileParams& operator=(AddProfileParams&&) = default;
    ///@}
    ~AddProfileParams() override;

    /// Technology, " persist=", true or false, ": ", then the settings as ProfileParams::dump
    /// writes them.
    std::string dump() const override;

    /// As given to the constructor.
    bool getIsPersistent() const { return mIsPersistent; }

    /// As given to the constructor.
    TechType getTechType() const { return mTechType; }

private:
    bool mIsPersistent;
    TechType mTechType;
};

}  // namespace velo
