// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>

namespace velo::modem {

/// What is wrong with a file that the modem was given, in one sentence for the person who wrote it.
class ModemError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace velo::modem
