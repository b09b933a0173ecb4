// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>

#include "model/Step.h"

namespace velo::model {

/// The least that still fails, as far as taking things away one after the other finds it: first
/// chunks of the sequence, then single steps, then arguments and the size of values.
Steps shrink(Steps steps, const std::function<bool(const Steps&)>& fails);

}  // namespace velo::model
