// SPDX-License-Identifier: Apache-2.0
//
// The faults that a modem can be made to have. Constant data: any thread.

#pragma once

#include <array>
#include <cstddef>

namespace velo::modem {

enum class Fault : std::size_t {
    Reject,
    Drop,
    Delay,
    DamageAnswer,
    Close,
    Restart,
    Foreign,
    Duplicate,
    Reorder,
    DamageIndication,
    Unknown,
    Spurious
};

inline constexpr std::size_t kFaultCount = static_cast<std::size_t>(Fault::Spurious) + 1;

struct FaultDefinition {
    const char* name;
    const char* summary;  ///< what happens, and for each what the dice are cast
};

/// In the order of the enumeration.
extern const std::array<FaultDefinition, kFaultCount> kFaults;

}  // namespace velo::modem
