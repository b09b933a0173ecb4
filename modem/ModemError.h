// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>
#include <string>

namespace velo::modem {

/// What is wrong with a file that the modem was given, in one sentence for the person who wrote it.
class ModemError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Does the work and returns its result; a ModemError of it gets the place before its text.
template <typename Work>
auto inPlace(const std::string& place, Work work) {
    try {
        return work();
    } catch (const ModemError& error) {
        throw ModemError(place + ": " + error.what());
    }
}

}  // namespace velo::modem
