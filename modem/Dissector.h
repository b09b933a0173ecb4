// SPDX-License-Identifier: Apache-2.0
//
// `velo-modem dissector`. Stateless: any thread.

#pragma once

#include <string>

namespace velo::modem {

/// A Lua program that shows Wireshark and tshark the packets of a capture: written from the tables
/// of the service, so that it knows every message and field that the codec knows.
std::string dissector();

}  // namespace velo::modem
