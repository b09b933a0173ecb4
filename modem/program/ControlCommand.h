// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace velo::modem {

/// The order that words say: its name, then its members, each as `--name value` or, in the order of
/// the table, by its value alone. A single word that is a JSON object is taken as it is.
///
/// @throws ModemError when there is no such order or member
std::string orderFromWords(const std::vector<std::string>& words);

/// Sends an order to the modem of that control channel and prints the answer. Zero, or 1 when the
/// answer is an error.
///
/// @throws ModemError as orderFromWords does, std::system_error when there is no modem
int controlCommand(const std::string& path, const std::vector<std::string>& words,
                   std::ostream& out);

}  // namespace velo::modem
