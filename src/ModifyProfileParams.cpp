// SPDX-License-Identifier: Apache-2.0

#include "velo/ModifyProfileParams.h"

namespace velo {

ModifyProfileParams::ModifyProfileParams(const ProfileParams& params) : ProfileParams(params) {}

ModifyProfileParams::~ModifyProfileParams() = default;

}  // namespace velo
