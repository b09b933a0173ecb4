// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "velo/ProfileParams.h"

namespace velo {

/// What Manager::modifyProfile is to change: each setting that is present; the others stay as they
/// are.
class VELO_EXPORT ModifyProfileParams : public ProfileParams {
public:
    ModifyProfileParams() = default;
    explicit ModifyProfileParams(const ProfileParams& params);
    ModifyProfileParams(const ModifyProfileParams&) = default;
    ModifyProfileParams(ModifyProfileParams&&) = default;
    ModifyProfileParams& operator=(const ModifyProfileParams&) = default;
    ModifyProfileParams& operator=(ModifyProfileParams&&) = default;
    ~ModifyProfileParams() override;
};

}  // namespace velo
