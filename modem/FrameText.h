// SPDX-License-Identifier: Apache-2.0
//
// Captured frames for people and for programs. Stateless: any thread.

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "modem/CapturedFrame.h"

namespace velo::modem {

/// One line for the packet, then one for each field, indented; everything is shown, passwords
/// included. What is wrong with a damaged frame stands at the end of the first line:
/// "[malformed: apn_name is cut short]".
std::string frameText(const CapturedFrame& frame);

/// The same as an object: numbers as numbers, strings as strings (bytes that are no UTF-8
/// replaced), the problems as a list that is empty for a sound frame.
nlohmann::ordered_json frameJson(const CapturedFrame& frame);

}  // namespace velo::modem
