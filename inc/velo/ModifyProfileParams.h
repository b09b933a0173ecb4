// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "velo/ProfileParams.h"

namespace velo {

/// What Manager::modifyProfile is to change: each setting that is present; the others stay as they
/// are. There is no way to take a setting away from a profile; text is cleared with the empty
/// string. A value type.
class VELO_EXPORT ModifyProfileParams : public ProfileParams {
public:
    /// No change.
    ModifyProfileParams() = default;

    /// A change to every setting that `params` holds. The flags that tell who made a profile are
    /// copied and ignored.
    explicit ModifyProfileParams(const ProfileParams& params);
    ///@{
    /// Values and what is present go along.
    ModifyProfileParams(const ModifyProfileParams&) = default;
    ModifyProfileParams(ModifyProfileParams&&) = default;
    ModifyProfileParams& operator=(const ModifyProfileParams&) = default;
    ModifyProfileParams& operator=(ModifyProfileParams&&) = default;
    ///@}
    ~ModifyProfileParams() override;
};

}  // namespace velo
