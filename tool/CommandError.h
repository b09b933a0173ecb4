// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>
#include <string>

namespace velo::tool {

inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;  ///< the operation failed
inline constexpr int kUsage = 2;   ///< the command line or a file is wrong

/// Ends a command. Its text is one clear sentence that says what to do, printed after "velo: ".
class CommandError : public std::runtime_error {
public:
    CommandError(int status, const std::string& text) : std::runtime_error(text), mStatus(status) {}

    int status() const { return mStatus; }

private:
    int mStatus;
};

}  // namespace velo::tool
