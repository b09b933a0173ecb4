// SPDX-License-Identifier: Apache-2.0

#include "velo/IProfileKey.h"

namespace velo {

IProfileKey::~IProfileKey() = default;

}  // namespace velo
