// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "model/Step.h"

namespace velo::model {

/// The name of a step's operation as it lives as long as the program; empty when there is none.
std::string_view operationNamed(std::string_view name);

/// A random sequence, the same for the same seed.
Steps generate(std::uint64_t seed, std::size_t length);

}  // namespace velo::model
