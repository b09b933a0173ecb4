// SPDX-License-Identifier: Apache-2.0
//
// `velo-modem decode FILE`. Any thread.

#pragma once

#include <iosfwd>
#include <string>

namespace velo::modem {

enum class DecodeFormat { Text, JsonLines };

/// Prints every packet of a capture. Zero; or 2 for a file that is damaged or no capture: what
/// comes before the damage is printed, and `errors` gets one line.
int decodeCommand(const std::string& path, std::ostream& out, std::ostream& errors,
                  DecodeFormat format = DecodeFormat::Text);

}  // namespace velo::modem
